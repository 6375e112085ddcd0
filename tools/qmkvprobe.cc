// qmkvprobe: the host's stand-in for the media framework in front of the extractor plug-in.
// Loads the plug-in library, sniffs a file with it, opens it and reads every track through the
// plug-in's C tables in the framework's order, then reports what came out: a summary, or with
// --json every packet (time, size, sync, MD5 of the payload).
//
// Exit status: 0 the file was read; 1 the plug-in could not be loaded, did not claim the file or
// could not open it, a track ended in an error, or --extract could not write; 2 usage error.
#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "file_source.h"
#include "probe_extract.h"
#include "probe_plugin.h"
#include "probe_report.h"

namespace {

using qmkvtools::PacketSink;
using qmkvtools::PacketView;

const char kUsage[] =
    "usage: qmkvprobe [options] FILE\n"
    "  --json                 print every packet as one JSON document\n"
    "  --plugin PATH          plug-in library (default: libqmkvextractor.so beside qmkvprobe)\n"
    "  --track N              only track N\n"
    "  --seek TIME            seek each track to TIME before its first read: microseconds\n"
    "                         (1500000), seconds (1.5, 1.5s, 1500ms) or [HH:]MM:SS[.fff]\n"
    "  --mode MODE            seek mode: previous, next, closest-sync (default), closest\n"
    "  --count K              stop each track after K packets\n"
    "  --extract N OUT        write track N's payloads to OUT (Annex-B, IVF, ADTS, FLAC or raw)\n"
    "exit status: 0 read, 1 not loaded, not claimed, not opened or a track ended in an error,\n"
    "             2 usage error\n";

struct Options {
  bool json = false;
  std::string plugin;
  bool one_track = false;
  size_t track = 0;
  qmkvtools::ReadRequest read;
  bool mode_given = false;
  bool extract = false;
  size_t extract_track = 0;
  std::string extract_path;
  std::string file;
};

int UsageError(const std::string& why) {
  fprintf(stderr, "qmkvprobe: %s (qmkvprobe --help for usage)\n", why.c_str());
  return 2;
}

bool ParseInt(const char* text, long long min, long long* value) {
  char* end = nullptr;
  errno = 0;
  *value = strtoll(text, &end, 10);
  return text[0] != '\0' && *end == '\0' && errno == 0 && *value >= min;
}

// A non-negative decimal number of at most 12 digits before the point; the digits after it are
// kept to microseconds (further ones are dropped). `end` gets the first character after it.
bool ParseDecimal(const char* text, long long* whole, long long* micros, bool* fraction,
                  const char** end) {
  const char* p = text;
  *whole = 0;
  *micros = 0;
  int digits = 0;
  for (; *p >= '0' && *p <= '9'; ++p, ++digits) {
    if (digits == 12) return false;
    *whole = *whole * 10 + (*p - '0');
  }
  *fraction = *p == '.';
  if (*fraction) {
    long long scale = 100000;
    for (++p; *p >= '0' && *p <= '9'; ++p, scale /= 10) *micros += (*p - '0') * scale;
  }
  *end = p;
  return digits > 0 || (*fraction && p > text + 1);
}

// A seek time: microseconds as a whole number (1500000); seconds with a point (1.5) or a unit
// (1.5s, 1500ms, 1500000us); or a clock, [HH:]MM:SS[.fff]. Negative times only as microseconds.
bool ParseTime(const char* text, long long* us) {
  if (text[0] == '-') return ParseInt(text, LLONG_MIN, us);
  const char* rest = nullptr;
  long long whole = 0, micros = 0;
  bool fraction = false;
  if (strchr(text, ':')) {
    long long total = 0;
    int fields = 0;
    for (const char* p = text;; ++p) {
      if (!ParseDecimal(p, &whole, &micros, &fraction, &rest) || ++fields > 3) return false;
      if (*rest != ':') break;
      if (fraction || (fields > 1 && whole >= 60)) return false;
      total = total * 60 + whole;
      p = rest;
    }
    const long long kMaxSeconds = 999999999999;  // what 12 digits of seconds can say
    if (*rest != '\0' || fields < 2 || whole >= 60 || total > kMaxSeconds / 60) return false;
    *us = (total * 60 + whole) * 1000000 + micros;
    return true;
  }
  if (!ParseDecimal(text, &whole, &micros, &fraction, &rest)) return false;
  const long long seconds = whole * 1000000 + micros;
  if (*rest == '\0') {
    *us = fraction ? seconds : whole;
    return true;
  }
  if (strcmp(rest, "s") == 0) {
    *us = seconds;
  } else if (strcmp(rest, "ms") == 0) {
    *us = seconds / 1000;
  } else if (strcmp(rest, "us") == 0 && !fraction) {
    *us = whole;
  } else {
    return false;
  }
  return true;
}

bool ParseMode(const char* text, uint32_t* mode) {
  static const char* const kModes[] = {"previous", "next", "closest-sync", "closest"};
  for (uint32_t i = 0; i < 4; ++i) {
    if (strcmp(text, kModes[i]) == 0) {
      *mode = i;
      return true;
    }
  }
  return false;
}

// Returns -1 when the options are fine, else the exit status to leave with.
int ParseOptions(int argc, char** argv, Options* o) {
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool has_value = i + 1 < argc;
    long long n = 0;
    if (arg == "--help" || arg == "-h") {
      fputs(kUsage, stdout);
      return 0;
    } else if (arg == "--json") {
      o->json = true;
    } else if (arg == "--plugin" || arg == "--track" || arg == "--seek" || arg == "--mode" ||
               arg == "--count" || arg == "--extract") {
      if (!has_value || (arg == "--extract" && i + 2 >= argc)) {
        return UsageError(arg + " needs a value");
      }
      const char* value = argv[++i];
      if (arg == "--plugin") {
        o->plugin = value;
      } else if (arg == "--mode") {
        if (!ParseMode(value, &o->read.mode))
          return UsageError("unknown seek mode " + std::string(value));
        o->mode_given = true;
      } else if (arg == "--seek") {
        if (!ParseTime(value, &n)) return UsageError("bad time " + std::string(value));
        o->read.seek = true;
        o->read.seek_us = n;
      } else if (arg == "--count") {
        if (!ParseInt(value, 1, &n)) return UsageError("bad count " + std::string(value));
        o->read.count = static_cast<uint64_t>(n);
      } else {
        if (!ParseInt(value, 0, &n)) return UsageError("bad track " + std::string(value));
        if (arg == "--track") {
          o->one_track = true;
          o->track = static_cast<size_t>(n);
        } else {
          o->extract = true;
          o->extract_track = static_cast<size_t>(n);
          o->extract_path = argv[++i];
        }
      }
    } else if (arg.size() > 1 && arg[0] == '-') {
      return UsageError("unknown option " + arg);
    } else if (!o->file.empty()) {
      return UsageError("one file at a time");
    } else {
      o->file = arg;
    }
  }
  if (o->file.empty()) return UsageError("no file given");
  if (o->mode_given && !o->read.seek) return UsageError("--mode goes with --seek");
  if (o->extract && o->one_track && o->extract_track != o->track) {
    return UsageError("--extract names a track that --track leaves out");
  }
  return -1;
}

// libqmkvextractor.so in the directory of this executable.
std::string DefaultPlugin() {
  char self[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", self, sizeof(self) - 1);
  std::string dir = ".";
  if (n > 0) {
    self[n] = '\0';
    const char* slash = strrchr(self, '/');
    if (slash) dir.assign(self, slash - self);
  }
  return dir + "/libqmkvextractor.so";
}

// Hands each packet to the report and, for the extracted track, to the payload writer.
class Tee : public PacketSink {
 public:
  Tee(PacketSink* a, PacketSink* b) : a_(a), b_(b) {}
  void Packet(const PacketView& p) override {
    a_->Packet(p);
    if (b_) b_->Packet(p);
  }

 private:
  PacketSink* a_;
  PacketSink* b_;
};

// The open extractor and the formats the framework fetched at open time.
struct Session {
  android::CMediaExtractor* extractor = nullptr;
  AMediaFormat* metadata = nullptr;
  media_status_t metadata_status = AMEDIA_OK;
  std::vector<AMediaFormat*> formats;
  std::vector<media_status_t> format_status;

  ~Session() {
    for (AMediaFormat* f : formats) AMediaFormat_delete(f);
    if (metadata) AMediaFormat_delete(metadata);
    qmkvtools::FreeExtractor(extractor);
  }
};

// countTracks, getMetaData, getTrackMetaData for each track, each into a fresh format.
void FetchFormats(Session* s) {
  const size_t count = s->extractor->countTracks(s->extractor->data);
  s->metadata = AMediaFormat_new();
  s->metadata_status = s->extractor->getMetaData(s->extractor->data, s->metadata);
  for (size_t i = 0; i < count; ++i) {
    s->formats.push_back(AMediaFormat_new());
    s->format_status.push_back(
        s->extractor->getTrackMetaData(s->extractor->data, s->formats.back(), i, 0));
  }
}

// A path that cannot be a media file gets one line and status 1 before the plug-in is loaded.
bool CheckPath(const std::string& path) {
  struct stat st;
  if (stat(path.c_str(), &st) != 0) {
    fprintf(stderr, "qmkvprobe: %s: %s\n", path.c_str(), strerror(errno));
    return false;
  }
  if (!S_ISREG(st.st_mode)) {
    fprintf(stderr, "qmkvprobe: %s: not a regular file\n", path.c_str());
    return false;
  }
  return true;
}

// Reads the tracks asked for, in index order. Returns false when the extraction failed or a
// track whose format was published ended in an error.
bool ReadTracks(const Options& o, Session* s, qmkvtools::Report* report) {
  bool all_read = true;
  std::unique_ptr<qmkvtools::PayloadWriter> writer;
  std::string error;
  if (o.extract) {
    writer = qmkvtools::MakePayloadWriter(s->formats[o.extract_track], o.extract_path, &error);
    if (!writer) {
      fprintf(stderr, "qmkvprobe: --extract %zu: %s\n", o.extract_track, error.c_str());
      return false;
    }
  }
  for (size_t i = 0; i < s->formats.size(); ++i) {
    if (o.one_track && i != o.track) continue;
    report->TrackFormat(i, s->formats[i], s->format_status[i]);
    Tee sink(report, o.extract && i == o.extract_track ? writer.get() : nullptr);
    const qmkvtools::TrackResult result = qmkvtools::ReadTrack(s->extractor, i, o.read, &sink);
    report->TrackRead(result);
    if (result.end == qmkvtools::TrackEnd::kError && s->format_status[i] == AMEDIA_OK) {
      fprintf(stderr, "qmkvprobe: track %zu: %s\n", i, qmkvtools::EndName(result).c_str());
      all_read = false;
    }
    if (result.buffers_held > 0) {
      fprintf(stderr, "qmkvprobe: track %zu: the plug-in still holds %zu buffers after stop\n", i,
              result.buffers_held);
    }
  }
  if (writer && !writer->Close(&error)) {
    fprintf(stderr, "qmkvprobe: --extract %zu: %s\n", o.extract_track, error.c_str());
    return false;
  }
  return all_read;
}

// Sniffs, opens and reads; the report has been told everything when this returns.
int Probe(const Options& o, const qmkvtools::Plugin& plugin, qmkvtools::Report* report) {
  qmkvtools::FileSource file(o.file.c_str());
  if (!file.ok()) {
    fprintf(stderr, "qmkvprobe: %s: %s\n", o.file.c_str(), strerror(errno));
    return 1;
  }
  const qmkvtools::SniffResult sniff = qmkvtools::Sniff(plugin, file.csource());
  qmkvtools::SniffInfo info{o.file, &plugin, sniff.creator != nullptr, sniff.confidence};
  Session session;
  if (sniff.creator) session.extractor = qmkvtools::Create(sniff, file.csource());
  if (session.extractor) FetchFormats(&session);

  const size_t tracks = session.formats.size();
  for (size_t n : {o.one_track ? o.track : 0, o.extract ? o.extract_track : 0}) {
    if (tracks > 0 && n >= tracks) {
      fprintf(stderr, "qmkvprobe: no track %zu: %s has %zu\n", n, o.file.c_str(), tracks);
      return 2;
    }
  }
  report->Sniffed(info);
  if (session.extractor) report->Opened(session.metadata, session.metadata_status, tracks);

  const char* failure = nullptr;
  if (!sniff.creator)
    failure = "the plug-in does not claim it (not a Matroska file?)";
  else if (!session.extractor)
    failure = "the plug-in claimed it but could not open it";
  else if (tracks == 0)
    failure = "the extractor found no tracks";
  else if (session.metadata_status != AMEDIA_OK)
    failure = "the extractor has no file metadata";
  bool extracted = true;
  if (!failure) extracted = ReadTracks(o, &session, report);
  report->Finish();
  if (failure) {
    fprintf(stderr, "qmkvprobe: %s: %s\n", o.file.c_str(), failure);
    return 1;
  }
  return extracted ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  const int parsed = ParseOptions(argc, argv, &options);
  if (parsed >= 0) return parsed;
  if (!CheckPath(options.file)) return 1;

  qmkvtools::Plugin plugin;
  std::string error;
  if (!plugin.Load(options.plugin.empty() ? DefaultPlugin() : options.plugin, &error)) {
    fprintf(stderr, "qmkvprobe: %s\n", error.c_str());
    return 1;
  }
  std::unique_ptr<qmkvtools::Report> report =
      options.json ? qmkvtools::MakeJsonReport(stdout) : qmkvtools::MakeTextReport(stdout);
  return Probe(options, plugin, report.get());
}
