// The JSON document:
// {"file": NAME, "sniff": {"claimed": BOOL, "confidence": FLOAT}, "metadata": {KEY: VALUE...},
//  "tracks": [{"index": N, "format": {KEY: VALUE...}, "packets": [{"time_us": N, "size": N,
//  "sync": 0|1, ["duration_us": N,] ["valid_samples": N,] "md5": HEX}...], "end": END}...]}
// Written as it goes, so a long file does not pile up in memory.
#include <inttypes.h>
#include <math.h>
#include <stdlib.h>

#include "md5.h"
#include "probe_format.h"
#include "probe_report.h"

namespace qmkvtools {
namespace {

// Length of the well-formed UTF-8 sequence at text[0], or 0 when it is not one.
size_t Utf8Length(const unsigned char* s, size_t left) {
  auto cont = [&](size_t i, unsigned char lo, unsigned char hi) {
    return i < left && s[i] >= lo && s[i] <= hi;
  };
  const unsigned char c = s[0];
  if (c < 0x80) return 1;
  if (c >= 0xC2 && c <= 0xDF) return cont(1, 0x80, 0xBF) ? 2 : 0;
  if (c >= 0xE0 && c <= 0xEF) {
    const unsigned char lo = c == 0xE0 ? 0xA0 : 0x80;
    const unsigned char hi = c == 0xED ? 0x9F : 0xBF;
    return cont(1, lo, hi) && cont(2, 0x80, 0xBF) ? 3 : 0;
  }
  if (c >= 0xF0 && c <= 0xF4) {
    const unsigned char lo = c == 0xF0 ? 0x90 : 0x80;
    const unsigned char hi = c == 0xF4 ? 0x8F : 0xBF;
    return cont(1, lo, hi) && cont(2, 0x80, 0xBF) && cont(3, 0x80, 0xBF) ? 4 : 0;
  }
  return 0;
}

void AppendEscape(std::string* out, unsigned value) {
  char u[8];
  snprintf(u, sizeof(u), "\\u%04x", value);
  *out += u;
}

void AppendEntryValue(std::string* out, const FormatEntry& e) {
  switch (e.kind) {
    case FormatEntry::kInt32:
    case FormatEntry::kInt64:
    case FormatEntry::kSize: *out += std::to_string(e.integer); break;
    case FormatEntry::kFloat: *out += JsonReal(e.real, true); break;
    case FormatEntry::kDouble: *out += JsonReal(e.real, false); break;
    case FormatEntry::kString: *out += JsonQuote(e.text); break;
    case FormatEntry::kBuffer: *out += "\"" + HexOf(e.bytes, e.size) + "\""; break;
    case FormatEntry::kRect: {
      char r[64];
      snprintf(r, sizeof(r), "[%d, %d, %d, %d]", e.rect[0], e.rect[1], e.rect[2], e.rect[3]);
      *out += r;
      break;
    }
    case FormatEntry::kUnreadable: *out += "null"; break;
  }
}

std::string FormatObject(AMediaFormat* format) {
  std::string out = "{";
  bool first = true;
  for (const FormatEntry& e : FormatEntries(format)) {
    if (!first) out += ", ";
    first = false;
    out += JsonQuote(e.name) + ": ";
    AppendEntryValue(&out, e);
  }
  return out + "}";
}

class JsonReport : public Report {
 public:
  explicit JsonReport(FILE* out) : out_(out) {}

  void Sniffed(const SniffInfo& sniff) override {
    fprintf(out_, "{\"file\": %s,\n \"sniff\": {\"claimed\": %s, \"confidence\": %s}",
            JsonQuote(sniff.file).c_str(), sniff.claimed ? "true" : "false",
            JsonReal(sniff.confidence, true).c_str());
  }

  void Opened(AMediaFormat* metadata, media_status_t, size_t) override {
    fprintf(out_, ",\n \"metadata\": %s,\n \"tracks\": [", FormatObject(metadata).c_str());
    opened_ = true;
  }

  void TrackFormat(size_t index, AMediaFormat* format, media_status_t) override {
    fprintf(out_, "%s\n  {\"index\": %zu, \"format\": %s,\n   \"packets\": [",
            tracks_ > 0 ? "," : "", index, FormatObject(format).c_str());
    tracks_++;
    packets_ = 0;
  }

  void Packet(const PacketView& p) override {
    std::string line = packets_ > 0 ? ",\n    {" : "\n    {";
    line += "\"time_us\": " + (p.has_time ? std::to_string(p.time_us) : std::string("null"));
    line += ", \"size\": " + std::to_string(p.size);
    line += ", \"sync\": " + std::to_string(p.sync != 0 ? 1 : 0);
    if (p.has_duration) line += ", \"duration_us\": " + std::to_string(p.duration_us);
    if (p.has_valid_samples) line += ", \"valid_samples\": " + std::to_string(p.valid_samples);
    line += ", \"md5\": \"" + Md5Hex(p.data, p.size) + "\"}";
    fputs(line.c_str(), out_);
    packets_++;
  }

  void TrackRead(const TrackResult& result) override {
    fprintf(out_, "],\n   \"end\": %s}", JsonQuote(EndName(result)).c_str());
  }

  void Finish() override {
    if (!opened_) fputs(",\n \"metadata\": {},\n \"tracks\": [", out_);
    fputs("]}\n", out_);
    fflush(out_);
  }

 private:
  FILE* out_;
  bool opened_ = false;
  size_t tracks_ = 0;
  uint64_t packets_ = 0;
};

}  // namespace

// Well-formed UTF-8 passes as is; any other byte is written as the \u escape of its value
// (read as Latin-1), so the document is always valid UTF-8 whatever a tag holds.
std::string JsonQuote(const std::string& text) {
  std::string out = "\"";
  const unsigned char* s = reinterpret_cast<const unsigned char*>(text.data());
  size_t i = 0;
  while (i < text.size()) {
    const unsigned char c = s[i];
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
      i++;
    } else if (c == '\n') {
      out += "\\n", i++;
    } else if (c == '\t') {
      out += "\\t", i++;
    } else if (c == '\r') {
      out += "\\r", i++;
    } else if (c < 0x20) {
      AppendEscape(&out, c), i++;
    } else if (size_t n = Utf8Length(s + i, text.size() - i)) {
      out.append(text, i, n);
      i += n;
    } else {
      AppendEscape(&out, c), i++;
    }
  }
  return out + "\"";
}

// The shortest decimal that reads back as the same value (so 0.6f prints as 0.6, not
// 0.600000024); JSON has no infinities or NaN, those print as null.
std::string JsonReal(double value, bool single_precision) {
  if (!isfinite(value)) return "null";
  char text[40];
  for (int digits = 1; digits <= 17; ++digits) {
    snprintf(text, sizeof(text), "%.*g", digits, value);
    const bool same = single_precision ? strtof(text, nullptr) == static_cast<float>(value)
                                       : strtod(text, nullptr) == value;
    if (same) break;
  }
  return text;
}

std::string HexOf(const uint8_t* data, size_t size) {
  static const char kDigits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(size * 2);
  for (size_t i = 0; i < size; ++i) {
    hex += kDigits[data[i] >> 4];
    hex += kDigits[data[i] & 15];
  }
  return hex;
}

std::unique_ptr<Report> MakeJsonReport(FILE* out) {
  return std::unique_ptr<Report>(new JsonReport(out));
}

}  // namespace qmkvtools
