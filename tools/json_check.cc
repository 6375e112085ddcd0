// json_check [--probe] FILE|-: exits 0 when FILE holds exactly one well-formed JSON document
// (RFC 8259: strict numbers, escapes and UTF-8, surrogate escapes in pairs, no byte order mark,
// nothing after it), else prints where it breaks and exits 1; a usage error exits 2. With --probe
// the document must also have the shape qmkvprobe --json prints. A compiled program rather than
// a script: CTest runs it on qmkvprobe's output in every flavour, under the emulator in the ARM
// one.
#include <stdio.h>
#include <string.h>

#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

namespace {

// Member order matters to the shape check, so objects keep the order they were written in.
using Json = nlohmann::ordered_json;

// Deeper than this is no qmkvprobe document, and no sane one.
constexpr int kMaxDepth = 64;

// What the parser itself does not refuse but we do, noted while it runs: nesting past
// kMaxDepth, and a member name given twice in one object (the parsed object would keep only
// one of them, which would hide a second "file" or "tracks" from the shape check).
class Watch {
 public:
  bool Event(int depth, Json::parse_event_t event, const Json& parsed) {
    using Event = Json::parse_event_t;
    if (event == Event::object_start || event == Event::array_start || event == Event::value) {
      if (depth > kMaxDepth) Note("nested too deep");
    }
    if (event == Event::object_start) names_.emplace_back();
    if (event == Event::object_end && !names_.empty()) names_.pop_back();
    if (event == Event::key && !names_.empty() &&
        !names_.back().insert(parsed.get<std::string>()).second) {
      duplicate_ = true;
    }
    return true;  // keep every value: the shape check looks at the whole document
  }
  const std::string& error() const { return error_; }
  bool duplicate() const { return duplicate_; }

 private:
  void Note(const char* why) {
    if (error_.empty()) error_ = why;
  }
  std::vector<std::set<std::string>> names_;
  std::string error_;
  bool duplicate_ = false;
};

bool IsCount(const Json* v) {
  return v && (v->is_number_unsigned() || (v->is_number_integer() && v->get<int64_t>() >= 0));
}

bool IsMd5(const Json* v) {
  if (!v || !v->is_string()) return false;
  const std::string& text = v->get_ref<const std::string&>();
  if (text.size() != 32) return false;
  for (char c : text) {
    if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
  }
  return true;
}

const Json* Member(const Json& object, const char* name) {
  if (!object.is_object()) return nullptr;
  const auto it = object.find(name);
  return it == object.end() ? nullptr : &*it;
}

bool PacketShape(const Json& p) {
  if (!p.is_object()) return false;
  const Json* time = Member(p, "time_us");
  const Json* sync = Member(p, "sync");
  const Json* duration = Member(p, "duration_us");
  const Json* valid = Member(p, "valid_samples");
  return time && (time->is_null() || time->is_number()) && IsCount(Member(p, "size")) && sync &&
         sync->is_number() && (sync->get<double>() == 0 || sync->get<double>() == 1) &&
         (!duration || duration->is_number()) && (!valid || valid->is_number()) &&
         IsMd5(Member(p, "md5"));
}

bool TrackShape(const Json& t) {
  const Json* format = Member(t, "format");
  const Json* packets = Member(t, "packets");
  const Json* end = Member(t, "end");
  if (!IsCount(Member(t, "index")) || !format || !format->is_object() || !packets ||
      !packets->is_array() || !end || !end->is_string()) {
    return false;
  }
  for (const Json& p : *packets) {
    if (!PacketShape(p)) return false;
  }
  const std::string& how = end->get_ref<const std::string&>();
  return how == "eos" || how == "count" || how.compare(0, 6, "error ") == 0;
}

// {"file", "sniff": {"claimed", "confidence"}, "metadata", "tracks": [...]}, in that order.
const char* ProbeShape(const Json& root, bool duplicate) {
  static const char* const kOrder[] = {"file", "sniff", "metadata", "tracks"};
  if (duplicate) return "a member name appears twice in one object";
  if (!root.is_object() || root.size() != 4) return "not the four top members";
  size_t i = 0;
  for (const auto& member : root.items()) {
    if (member.key() != kOrder[i++]) return "top members out of order";
  }
  const Json* file = Member(root, "file");
  const Json* sniff = Member(root, "sniff");
  const Json* claimed = sniff ? Member(*sniff, "claimed") : nullptr;
  const Json* confidence = sniff ? Member(*sniff, "confidence") : nullptr;
  if (!file || !file->is_string() || !claimed || !claimed->is_boolean() || !confidence ||
      !confidence->is_number()) {
    return "bad file or sniff";
  }
  if (!Member(root, "metadata")->is_object()) return "metadata is not an object";
  const Json* tracks = Member(root, "tracks");
  if (!tracks->is_array()) return "tracks is not an array";
  for (const Json& t : *tracks) {
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

// nlohmann's messages start with "[json.exception.parse_error.101] "; the rest gives the line,
// the column and what was wrong there.
const char* Reason(const char* what) {
  const char* end = what[0] == '[' ? strstr(what, "] ") : nullptr;
  return end ? end + 2 : what;
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
  // Two things the parser lets pass: it skips a leading byte order mark, which a JSON text must
  // not have, and takes a NUL byte for the end of its input, which would hide what follows.
  if (text.compare(0, 3, "\xEF\xBB\xBF") == 0) {
    fprintf(stderr, "json_check: %s: a byte order mark before the document\n", path);
    return 1;
  }
  if (const size_t nul = text.find('\0'); nul != std::string::npos) {
    fprintf(stderr, "json_check: %s: a NUL byte at byte %zu\n", path, nul);
    return 1;
  }
  Watch watch;
  Json root;
  try {
    root = Json::parse(
        text,
        [&watch](int depth, Json::parse_event_t event, Json& parsed) {
          return watch.Event(depth, event, parsed);
        },
        /*allow_exceptions=*/true, /*ignore_comments=*/false);
  } catch (const Json::parse_error& e) {
    fprintf(stderr, "json_check: %s: %s\n", path, Reason(e.what()));
    return 1;
  }
  if (!watch.error().empty()) {
    fprintf(stderr, "json_check: %s: %s\n", path, watch.error().c_str());
    return 1;
  }
  if (probe) {
    if (const char* why = ProbeShape(root, watch.duplicate())) {
      fprintf(stderr, "json_check: %s: not a qmkvprobe document: %s\n", path, why);
      return 1;
    }
  }
  return 0;
}
