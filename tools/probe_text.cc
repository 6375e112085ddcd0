// The summary a person reads: what the plug-in published for the file and each track, and what
// reading every frame gave. Counts only; nothing is hashed, so a run times a plain demux.
#include <inttypes.h>
#include <string.h>

#include "probe_format.h"
#include "probe_report.h"

namespace qmkvtools {
namespace {

const char kErrorType[] = "vendor.qmkv.error-type";

std::string Seconds(int64_t us) {
  char text[48];
  snprintf(text, sizeof(text), "%.3f s", static_cast<double>(us) / 1e6);
  return text;
}

// Text as it is, but control characters escaped so a tag cannot break the layout.
std::string Printable(const std::string& text) {
  std::string out;
  for (unsigned char c : text) {
    if (c >= 0x20 && c != 0x7F) {
      out += static_cast<char>(c);
    } else {
      char escape[8];
      snprintf(escape, sizeof(escape), "\\x%02x", c);
      out += escape;
    }
  }
  return out;
}

// A buffer's size, and its text when it is short printable text (a track name).
std::string BufferText(const FormatEntry& e) {
  const std::string size = std::to_string(e.size) + " bytes";
  if (e.size == 0 || e.size > 64) return size;
  for (size_t i = 0; i < e.size; ++i) {
    if (e.bytes[i] < 0x20 || e.bytes[i] == 0x7F) return size;
  }
  return "\"" + std::string(reinterpret_cast<const char*>(e.bytes), e.size) + "\" (" + size + ")";
}

// Codec codes are four characters packed first byte lowest; shown as such when printable.
std::string IntegerText(const FormatEntry& e) {
  std::string text = std::to_string(e.integer);
  const size_t n = e.name.size();
  if (e.kind != FormatEntry::kInt32 || n < 6 || e.name.compare(n - 6, 6, "fourcc") != 0) {
    return text;
  }
  std::string chars;
  for (int i = 0; i < 4; ++i) {
    const char c = static_cast<char>((static_cast<uint32_t>(e.integer) >> (8 * i)) & 0xFF);
    if (c < 0x20 || c > 0x7E) return text;
    chars += c;
  }
  return text + " (" + chars + ")";
}

std::string ValueText(const FormatEntry& e) {
  switch (e.kind) {
    case FormatEntry::kInt32: return IntegerText(e);
    case FormatEntry::kInt64:
    case FormatEntry::kSize: return std::to_string(e.integer);
    case FormatEntry::kFloat: return JsonReal(e.real, true);
    case FormatEntry::kDouble: return JsonReal(e.real, false);
    case FormatEntry::kString: return Printable(e.text);
    case FormatEntry::kBuffer: return BufferText(e);
    case FormatEntry::kRect: {
      char r[64];
      snprintf(r, sizeof(r), "(%d, %d)-(%d, %d)", e.rect[0], e.rect[1], e.rect[2], e.rect[3]);
      return r;
    }
    case FormatEntry::kUnreadable: break;
  }
  return "?";
}

// The entries a summary line picks out by name, so the rest can be listed after it.
class Picker {
 public:
  explicit Picker(AMediaFormat* format) : entries_(FormatEntries(format)) {}

  const FormatEntry* Take(const char* name) {
    const FormatEntry* e = FindEntry(entries_, name);
    if (e) taken_.push_back(e->name);
    return e;
  }
  // Appends "<prefix><value><suffix>" when the entry is there.
  void Add(std::vector<std::string>* parts, const char* name, const std::string& prefix,
           const std::string& suffix = "") {
    if (const FormatEntry* e = Take(name)) parts->push_back(prefix + ValueText(*e) + suffix);
  }
  std::vector<const FormatEntry*> Rest() const {
    std::vector<const FormatEntry*> rest;
    for (const FormatEntry& e : entries_) {
      bool taken = false;
      for (const std::string& t : taken_) taken = taken || t == e.name;
      if (!taken) rest.push_back(&e);
    }
    return rest;
  }

 private:
  std::vector<FormatEntry> entries_;
  std::vector<std::string> taken_;
};

std::string Join(const std::vector<std::string>& parts, const char* separator) {
  std::string out;
  for (size_t i = 0; i < parts.size(); ++i) out += (i ? separator : "") + parts[i];
  return out;
}

// "name value" pairs wrapped under a label, about 100 columns wide.
void PrintWrapped(FILE* out, const char* label, const std::vector<const FormatEntry*>& entries) {
  std::string line = label;
  for (size_t i = 0; i < entries.size(); ++i) {
    std::string item = entries[i]->name + " " + ValueText(*entries[i]);
    if (i + 1 < entries.size()) item += ",";
    if (line.size() > 13 && line.size() + 1 + item.size() > 100) {
      fprintf(out, "%s\n", line.c_str());
      line = std::string(13, ' ');
    }
    line += (line.size() > 13 ? " " : "") + item;
  }
  if (!entries.empty()) fprintf(out, "%s\n", line.c_str());
}

void AddDuration(Picker* p, std::vector<std::string>* parts) {
  if (const FormatEntry* d = p->Take(AMEDIAFORMAT_KEY_DURATION)) {
    parts->push_back(d->kind == FormatEntry::kInt64 ? Seconds(d->integer) : ValueText(*d));
  }
}

std::string TrackLine(Picker* p) {
  std::vector<std::string> parts;
  p->Add(&parts, AMEDIAFORMAT_KEY_MIME, "");
  const FormatEntry* w = p->Take(AMEDIAFORMAT_KEY_WIDTH);
  const FormatEntry* h = p->Take(AMEDIAFORMAT_KEY_HEIGHT);
  if (w && h) parts.push_back(ValueText(*w) + "x" + ValueText(*h));
  const FormatEntry* dw = p->Take(AMEDIAFORMAT_KEY_DISPLAY_WIDTH);
  const FormatEntry* dh = p->Take(AMEDIAFORMAT_KEY_DISPLAY_HEIGHT);
  if (dw && dh) parts.push_back("display " + ValueText(*dw) + "x" + ValueText(*dh));
  p->Add(&parts, AMEDIAFORMAT_KEY_SAMPLE_RATE, "", " Hz");
  p->Add(&parts, AMEDIAFORMAT_KEY_CHANNEL_COUNT, "", " channels");
  p->Add(&parts, AMEDIAFORMAT_KEY_LANGUAGE, "language ");
  AddDuration(p, &parts);
  for (const char* csd : {"csd-0", "csd-1", "csd-2"}) p->Add(&parts, csd, std::string(csd) + " ");
  return Join(parts, ", ");
}

std::string ColourLine(Picker* p) {
  std::vector<std::string> parts;
  p->Add(&parts, AMEDIAFORMAT_KEY_COLOR_RANGE, "range ");
  p->Add(&parts, AMEDIAFORMAT_KEY_COLOR_STANDARD, "standard ");
  p->Add(&parts, AMEDIAFORMAT_KEY_COLOR_TRANSFER, "transfer ");
  p->Add(&parts, AMEDIAFORMAT_KEY_HDR_STATIC_INFO, "HDR static info ");
  return Join(parts, ", ");
}

class TextReport : public Report {
 public:
  explicit TextReport(FILE* out) : out_(out) {}

  void Sniffed(const SniffInfo& s) override {
    fprintf(out_, "file:        %s\n", s.file.c_str());
    if (s.plugin) {
      const android::ExtractorDef& def = s.plugin->def();
      std::vector<std::string> types;
      for (const char** t = def.u.v3.supported_types; t && *t; ++t) types.push_back(*t);
      fprintf(out_, "plug-in:     %s: \"%s\" version %u, types %s\n", s.plugin->path().c_str(),
              def.extractor_name, def.extractor_version, Join(types, " ").c_str());
    }
    fprintf(out_, "sniff:       %s, confidence %s\n", s.claimed ? "claimed" : "not claimed",
            JsonReal(s.confidence, true).c_str());
  }

  void Opened(AMediaFormat* metadata, media_status_t status, size_t tracks) override {
    Picker p(metadata);
    std::vector<std::string> parts;
    p.Add(&parts, AMEDIAFORMAT_KEY_MIME, "");
    AddDuration(&p, &parts);
    if (status != AMEDIA_OK) parts.push_back("getMetaData failed " + std::to_string(status));
    fprintf(out_, "container:   %s\n", Join(parts, ", ").c_str());
    for (const FormatEntry* e : p.Rest()) {
      fprintf(out_, "  %-10s %s\n", e->name.c_str(), ValueText(*e).c_str());
    }
    fprintf(out_, "tracks:      %zu\n", tracks);
  }

  void TrackFormat(size_t index, AMediaFormat* format, media_status_t status) override {
    Picker p(format);
    char label[32];
    snprintf(label, sizeof(label), "track %zu:", index);
    fprintf(out_, "%-12s %s\n", label, TrackLine(&p).c_str());
    if (status != AMEDIA_OK) fprintf(out_, "             getTrackMetaData failed %d\n", status);
    const std::string colour = ColourLine(&p);
    if (!colour.empty()) fprintf(out_, "             colour: %s\n", colour.c_str());
    const FormatEntry* error = p.Take(kErrorType);
    if (error && error->integer != 0) {
      fprintf(out_, "             error type: %s\n", ValueText(*error).c_str());
    }
    PrintWrapped(out_, "             ", p.Rest());
    packets_ = syncs_ = bytes_ = 0;
    first_us_ = last_us_ = 0;
  }

  void Packet(const PacketView& packet) override {
    if (packet.has_time) {
      if (packets_ == 0) first_us_ = packet.time_us;
      last_us_ = packet.time_us;
    }
    packets_++;
    syncs_ += packet.sync != 0 ? 1 : 0;
    bytes_ += packet.size;
  }

  void TrackRead(const TrackResult& result) override {
    std::string ended;
    switch (result.end) {
      case TrackEnd::kEndOfStream: ended = "end of stream"; break;
      case TrackEnd::kCount: ended = "stopped at the count"; break;
      default: ended = EndName(result); break;
    }
    fprintf(out_, "             read: %" PRIu64 " packets (%" PRIu64 " sync), %" PRIu64 " bytes",
            packets_, syncs_, bytes_);
    if (packets_ > 0) {
      fprintf(out_, ", %s .. %s", Seconds(first_us_).c_str(), Seconds(last_us_).c_str());
    }
    fprintf(out_, ", %s\n", ended.c_str());
  }

  void Finish() override { fflush(out_); }

 private:
  FILE* out_;
  uint64_t packets_ = 0, syncs_ = 0, bytes_ = 0;
  int64_t first_us_ = 0, last_us_ = 0;
};

}  // namespace

std::unique_ptr<Report> MakeTextReport(FILE* out) {
  return std::unique_ptr<Report>(new TextReport(out));
}

}  // namespace qmkvtools
