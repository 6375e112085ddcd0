// json_check [--probe] FILE: exits 0 when FILE holds exactly one well-formed JSON document
// (RFC 8259: strict numbers, escapes and UTF-8), else prints where it breaks and exits 1.
// With --probe the document must also have the shape qmkvprobe --json prints. Small on purpose:
// the test machines have no Python or JSON tools.
#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <utility>
#include <vector>

namespace {

struct Value {
  enum Type { kNull, kBool, kNumber, kString, kArray, kObject } type = kNull;
  bool boolean = false;
  double number = 0;
  bool integer = false;  // written without fraction or exponent
  std::string text;
  std::vector<Value> items;
  std::vector<std::pair<std::string, Value>> members;

  const Value* Member(const char* name) const {
    for (const auto& m : members) {
      if (m.first == name) return &m.second;
    }
    return nullptr;
  }
};

class Parser {
 public:
  explicit Parser(const std::string& text) : s_(text) {}

  bool Document(Value* root) {
    Space();
    if (!Parse(root, 0)) return false;
    Space();
    return at_ == s_.size() || Fail("text after the document");
  }
  const std::string& error() const { return error_; }
  size_t at() const { return at_; }

 private:
  bool Fail(const char* why) {
    if (error_.empty()) error_ = why;
    return false;
  }
  void Space() {
    while (at_ < s_.size() && strchr(" \t\r\n", s_[at_]) && s_[at_] != '\0') at_++;
  }
  bool Eat(char c) {
    if (at_ < s_.size() && s_[at_] == c) {
      at_++;
      return true;
    }
    return false;
  }
  bool Literal(const char* word) {
    const size_t n = strlen(word);
    if (s_.compare(at_, n, word) != 0) return Fail("unknown literal");
    at_ += n;
    return true;
  }
  bool Digits() {
    const size_t start = at_;
    while (at_ < s_.size() && s_[at_] >= '0' && s_[at_] <= '9') at_++;
    return at_ > start;
  }

  bool Parse(Value* v, int depth) {
    if (depth > 64) return Fail("nested too deep");
    if (at_ >= s_.size()) return Fail("unexpected end");
    const char c = s_[at_];
    if (c == '{') return Object(v, depth);
    if (c == '[') return Array(v, depth);
    if (c == '"') {
      v->type = Value::kString;
      return String(&v->text);
    }
    if (c == 't' || c == 'f') {
      v->type = Value::kBool;
      v->boolean = c == 't';
      return Literal(c == 't' ? "true" : "false");
    }
    if (c == 'n') return Literal("null");
    return Number(v);
  }

  bool Number(Value* v) {
    const size_t start = at_;
    Eat('-');
    if (Eat('0')) {
      if (at_ < s_.size() && s_[at_] >= '0' && s_[at_] <= '9') return Fail("leading zero");
    } else if (!Digits()) {
      return Fail("expected a value");
    }
    v->integer = true;
    if (Eat('.')) {
      v->integer = false;
      if (!Digits()) return Fail("digits expected after '.'");
    }
    if (Eat('e') || Eat('E')) {
      v->integer = false;
      if (!Eat('+')) Eat('-');
      if (!Digits()) return Fail("digits expected in exponent");
    }
    v->type = Value::kNumber;
    v->number = strtod(s_.substr(start, at_ - start).c_str(), nullptr);
    return true;
  }

  // Well-formed UTF-8 only: no overlong forms, surrogates or values past U+10FFFF.
  bool Utf8() {
    const unsigned char c = static_cast<unsigned char>(s_[at_]);
    size_t n = 0;
    unsigned char lo = 0x80, hi = 0xBF;
    if (c >= 0xC2 && c <= 0xDF) n = 1;
    if (c >= 0xE0 && c <= 0xEF) n = 2, lo = c == 0xE0 ? 0xA0 : 0x80, hi = c == 0xED ? 0x9F : 0xBF;
    if (c >= 0xF0 && c <= 0xF4) n = 3, lo = c == 0xF0 ? 0x90 : 0x80, hi = c == 0xF4 ? 0x8F : 0xBF;
    if (n == 0) return Fail("invalid UTF-8");
    for (size_t i = 1; i <= n; ++i) {
      if (at_ + i >= s_.size()) return Fail("invalid UTF-8");
      const unsigned char b = static_cast<unsigned char>(s_[at_ + i]);
      if (b < (i == 1 ? lo : 0x80) || b > (i == 1 ? hi : 0xBF)) return Fail("invalid UTF-8");
    }
    at_ += n + 1;
    return true;
  }

  bool String(std::string* out) {
    at_++;  // opening quote
    const size_t start = at_;
    while (at_ < s_.size()) {
      const unsigned char c = static_cast<unsigned char>(s_[at_]);
      if (c == '"') {
        *out = s_.substr(start, at_ - start);  // escapes kept as written
        at_++;
        return true;
      }
      if (c < 0x20) return Fail("control character in a string");
      if (c == '\\') {
        at_++;
        if (at_ >= s_.size()) break;
        if (s_[at_] == 'u') {
          for (int i = 1; i <= 4; ++i) {
            if (at_ + i >= s_.size() || !isxdigit(static_cast<unsigned char>(s_[at_ + i]))) {
              return Fail("bad \\u escape");
            }
          }
          at_ += 5;
        } else if (strchr("\"\\/bfnrt", s_[at_]) && s_[at_] != '\0') {
          at_++;
        } else {
          return Fail("bad escape");
        }
      } else if (c >= 0x80) {
        if (!Utf8()) return false;
      } else {
        at_++;
      }
    }
    return Fail("unterminated string");
  }

  bool Array(Value* v, int depth) {
    v->type = Value::kArray;
    at_++;
    Space();
    if (Eat(']')) return true;
    for (;;) {
      v->items.emplace_back();
      if (!Parse(&v->items.back(), depth + 1)) return false;
      Space();
      if (Eat(']')) return true;
      if (!Eat(',')) return Fail("expected ',' or ']'");
      Space();
    }
  }

  bool Object(Value* v, int depth) {
    v->type = Value::kObject;
    at_++;
    Space();
    if (Eat('}')) return true;
    for (;;) {
      if (at_ >= s_.size() || s_[at_] != '"') return Fail("expected a member name");
      std::string name;
      if (!String(&name)) return false;
      Space();
      if (!Eat(':')) return Fail("expected ':'");
      Space();
      v->members.emplace_back(name, Value());
      if (!Parse(&v->members.back().second, depth + 1)) return false;
      Space();
      if (Eat('}')) return true;
      if (!Eat(',')) return Fail("expected ',' or '}'");
      Space();
    }
  }

  const std::string& s_;
  size_t at_ = 0;
  std::string error_;
};

bool Is(const Value* v, Value::Type type) {
  return v && v->type == type;
}
bool IsCount(const Value* v) {
  return Is(v, Value::kNumber) && v->integer && v->number >= 0;
}

bool IsMd5(const Value* v) {
  if (!Is(v, Value::kString) || v->text.size() != 32) return false;
  for (char c : v->text) {
    if (!strchr("0123456789abcdef", c) || c == '\0') return false;
  }
  return true;
}

bool PacketShape(const Value& p) {
  const Value* time = p.Member("time_us");
  const Value* sync = p.Member("sync");
  const Value* duration = p.Member("duration_us");
  const Value* valid = p.Member("valid_samples");
  return Is(&p, Value::kObject) && (Is(time, Value::kNull) || Is(time, Value::kNumber)) &&
         IsCount(p.Member("size")) && Is(sync, Value::kNumber) &&
         (sync->number == 0 || sync->number == 1) && (!duration || Is(duration, Value::kNumber)) &&
         (!valid || Is(valid, Value::kNumber)) && IsMd5(p.Member("md5"));
}

bool TrackShape(const Value& t) {
  const Value* packets = t.Member("packets");
  const Value* end = t.Member("end");
  if (!Is(&t, Value::kObject) || !IsCount(t.Member("index")) ||
      !Is(t.Member("format"), Value::kObject) || !Is(packets, Value::kArray) ||
      !Is(end, Value::kString)) {
    return false;
  }
  for (const Value& p : packets->items) {
    if (!PacketShape(p)) return false;
  }
  return end->text == "eos" || end->text == "count" || end->text.compare(0, 6, "error ") == 0;
}

// {"file", "sniff": {"claimed", "confidence"}, "metadata", "tracks": [...]}, in that order.
const char* ProbeShape(const Value& root) {
  static const char* const kOrder[] = {"file", "sniff", "metadata", "tracks"};
  if (!Is(&root, Value::kObject) || root.members.size() != 4) return "not the four top members";
  for (size_t i = 0; i < 4; ++i) {
    if (root.members[i].first != kOrder[i]) return "top members out of order";
  }
  const Value* sniff = root.Member("sniff");
  if (!Is(root.Member("file"), Value::kString) || !Is(sniff, Value::kObject) ||
      !Is(sniff->Member("claimed"), Value::kBool) ||
      !Is(sniff->Member("confidence"), Value::kNumber)) {
    return "bad file or sniff";
  }
  if (!Is(root.Member("metadata"), Value::kObject)) return "metadata is not an object";
  const Value* tracks = root.Member("tracks");
  if (!Is(tracks, Value::kArray)) return "tracks is not an array";
  for (const Value& t : tracks->items) {
    if (!TrackShape(t)) return "a track is malformed";
  }
  return nullptr;
}

bool ReadAll(const char* path, std::string* text) {
  FILE* f = strcmp(path, "-") == 0 ? stdin : fopen(path, "rb");
  if (!f) return false;
  char chunk[65536];
  size_t n;
  while ((n = fread(chunk, 1, sizeof(chunk), f)) > 0) text->append(chunk, n);
  const bool ok = !ferror(f);
  if (f != stdin) fclose(f);
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  const bool probe = argc == 3 && strcmp(argv[1], "--probe") == 0;
  if (argc != 2 && !probe) {
    fprintf(stderr, "usage: json_check [--probe] FILE|-\n");
    return 2;
  }
  const char* path = argv[argc - 1];
  std::string text;
  if (!ReadAll(path, &text)) {
    fprintf(stderr, "json_check: cannot read %s\n", path);
    return 1;
  }
  Value root;
  Parser parser(text);
  if (!parser.Document(&root)) {
    fprintf(stderr, "json_check: %s: byte %zu: %s\n", path, parser.at(), parser.error().c_str());
    return 1;
  }
  if (probe) {
    if (const char* why = ProbeShape(root)) {
      fprintf(stderr, "json_check: %s: not a qmkvprobe document: %s\n", path, why);
      return 1;
    }
  }
  return 0;
}
