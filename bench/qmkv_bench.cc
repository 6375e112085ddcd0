// qmkv_bench: the plug-in measured as the framework uses it, through its C tables over a data
// source on a file that counts readAt calls and bytes.
//
//   qmkv_bench demux FILE   every frame of every track into a buffer, nothing printed; the
//                           tracks read interleaved by time, as a player reads them (always the
//                           track whose last frame is earliest), each through its own source
//   qmkv_bench open FILE    sniff, create, the file format and every track's format
//   qmkv_bench seek FILE    200 seeks at fixed pseudo-random times in each of the four modes on
//                           the first track, each followed by one read
//   qmkv_bench pread FILE   the floor: the whole file read with 64 KiB preads
//
// Options: --plugin PATH (default: libqmkvextractor.so beside this program). Prints one line of
// key=value pairs: seconds, frames, payload bytes, readAt calls and bytes, peak RSS in KiB.
#include <dlfcn.h>
#include <fcntl.h>
#include <inttypes.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include <host/host_buffer_group.h>
#include <media/NdkMediaFormat.h>

#include "file_source.h"
#include "probe_plugin.h"

namespace {

using qmkvtools::FileSource;

double Now() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

long PeakRssKiB() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

std::string BesideSelf(const char* name) {
  char path[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof(path) - 1);
  if (n <= 0) return name;
  path[n] = '\0';
  std::string dir(path);
  return dir.substr(0, dir.rfind('/') + 1) + name;
}

struct Opened {
  android::CMediaExtractor* extractor = nullptr;
  size_t tracks = 0;
};

bool Open(const qmkvtools::Plugin& plugin, FileSource* source, Opened* out) {
  const qmkvtools::SniffResult sniff = qmkvtools::Sniff(plugin, source->csource());
  if (!sniff.creator) return false;
  out->extractor = qmkvtools::Create(sniff, source->csource());
  if (!out->extractor) return false;
  out->tracks = out->extractor->countTracks(out->extractor->data);
  return true;
}

// One track as a player drives it: its own buffer group, started, read, stopped, freed.
class Track {
 public:
  Track(android::CMediaExtractor* e, size_t index) : track_(e->getTrack(e->data, index)) {
    if (track_ && track_->start(track_->data, group_.wrapper()) != AMEDIA_OK) {
      track_->free(track_->data);
      free(track_);
      track_ = nullptr;
    }
  }
  ~Track() {
    if (!track_) return;
    track_->stop(track_->data);
    track_->free(track_->data);
    free(track_);
  }
  Track(const Track&) = delete;
  Track& operator=(const Track&) = delete;

  bool ok() const { return track_ != nullptr; }
  // One read (with a seek when options say so): the payload's size and time; false at the end
  // or on an error.
  bool Read(uint32_t options, int64_t seek_us, size_t* size, int64_t* time_us) {
    android::CMediaBuffer* buffer = nullptr;
    if (track_->read(track_->data, &buffer, options, seek_us) != AMEDIA_OK || !buffer) {
      return false;
    }
    *size = buffer->range_length(buffer->handle);
    AMediaFormat* meta = buffer->meta_data(buffer->handle);
    *time_us = 0;
    AMediaFormat_getInt64(meta, AMEDIAFORMAT_KEY_TIME_US, time_us);
    buffer->release(buffer->handle);
    return true;
  }

 private:
  android::CMediaTrack* track_;
  host::MediaBufferGroup group_;
};

int Demux(const qmkvtools::Plugin& plugin, const char* path) {
  FileSource source(path);
  Opened o;
  const double start = Now();
  if (!source.ok() || !Open(plugin, &source, &o)) return 1;
  std::vector<std::unique_ptr<Track>> tracks;
  std::vector<int64_t> last(o.tracks, INT64_MIN);
  for (size_t i = 0; i < o.tracks; ++i) tracks.push_back(std::make_unique<Track>(o.extractor, i));
  uint64_t frames = 0, payload = 0;
  for (;;) {
    size_t next = o.tracks;
    for (size_t i = 0; i < o.tracks; ++i) {
      if (tracks[i] && tracks[i]->ok() && (next == o.tracks || last[i] < last[next])) next = i;
    }
    if (next == o.tracks) break;
    size_t size = 0;
    if (!tracks[next]->Read(0, 0, &size, &last[next])) {
      tracks[next].reset();
      continue;
    }
    frames++;
    payload += size;
  }
  tracks.clear();
  qmkvtools::FreeExtractor(o.extractor);
  const double seconds = Now() - start;
  printf("mode=demux seconds=%.4f frames=%" PRIu64 " payload=%" PRIu64
         " calls=%llu bytes=%llu "
         "file=%llu rss_kib=%ld\n",
         seconds, frames, payload, source.read_calls(), source.bytes_read(), source.size(),
         PeakRssKiB());
  return 0;
}

int OpenOnly(const qmkvtools::Plugin& plugin, const char* path) {
  FileSource source(path);
  Opened o;
  const double start = Now();
  if (!source.ok() || !Open(plugin, &source, &o)) return 1;
  AMediaFormat* format = AMediaFormat_new();
  o.extractor->getMetaData(o.extractor->data, format);
  for (size_t i = 0; i < o.tracks; ++i) {
    o.extractor->getTrackMetaData(o.extractor->data, format, i, 0);
  }
  AMediaFormat_delete(format);
  const double seconds = Now() - start;
  printf("mode=open seconds=%.6f tracks=%zu calls=%llu bytes=%llu file=%llu rss_kib=%ld\n", seconds,
         o.tracks, source.read_calls(), source.bytes_read(), source.size(), PeakRssKiB());
  qmkvtools::FreeExtractor(o.extractor);
  return 0;
}

int Seek(const qmkvtools::Plugin& plugin, const char* path) {
  const int kSeeks = 200;
  FileSource source(path);
  Opened o;
  if (!source.ok() || !Open(plugin, &source, &o) || o.tracks == 0) return 1;
  int64_t duration_us = 0;
  AMediaFormat* format = AMediaFormat_new();
  o.extractor->getTrackMetaData(o.extractor->data, format, 0, 0);
  AMediaFormat_getInt64(format, AMEDIAFORMAT_KEY_DURATION, &duration_us);
  AMediaFormat_delete(format);
  if (duration_us <= 0) return 1;
  const char* const kModes[] = {"previous", "next", "closest_sync", "closest"};
  for (uint32_t mode = 0; mode < 4; ++mode) {
    Track track(o.extractor, 0);
    if (!track.ok()) return 1;
    uint32_t x = 12345;
    uint64_t calls_total = 0, calls_max = 0, calls_first = 0;
    int failed = 0;
    const double start = Now();
    for (int i = 0; i < kSeeks; ++i) {
      x = x * 1664525u + 1013904223u;
      const int64_t t = static_cast<int64_t>(static_cast<double>(x) / 4294967296.0 *
                                             static_cast<double>(duration_us));
      const unsigned long long before = source.read_calls();
      size_t size = 0;
      int64_t time_us = 0;
      if (!track.Read(android::SEEK | mode, t, &size, &time_us)) failed++;
      const uint64_t calls = source.read_calls() - before;
      if (i == 0) calls_first = calls;
      calls_total += calls;
      if (calls > calls_max) calls_max = calls;
    }
    const double seconds = Now() - start;
    printf("mode=seek seek_mode=%s seeks=%d seconds=%.6f failed=%d calls_first=%" PRIu64
           " calls_avg=%.2f calls_max=%" PRIu64 "\n",
           kModes[mode], kSeeks, seconds, failed, calls_first,
           static_cast<double>(calls_total) / kSeeks, calls_max);
  }
  qmkvtools::FreeExtractor(o.extractor);
  return 0;
}

int Pread(const char* path) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return 1;
  std::vector<uint8_t> buffer(64 << 10);
  uint64_t total = 0, calls = 0, sum = 0;
  const double start = Now();
  for (;;) {
    const ssize_t n = pread64(fd, buffer.data(), buffer.size(), static_cast<off64_t>(total));
    calls++;
    if (n <= 0) break;
    sum += buffer[0];  // touch the data
    total += static_cast<uint64_t>(n);
  }
  close(fd);
  const double seconds = Now() - start;
  printf("mode=pread seconds=%.4f calls=%" PRIu64 " bytes=%" PRIu64 " touch=%" PRIu64
         " rss_kib=%ld\n",
         seconds, calls, total, sum, PeakRssKiB());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::string plugin_path = BesideSelf("../libqmkvextractor.so");
  std::vector<const char*> args;
  for (int i = 1; i < argc; ++i) {
    if (strcmp(argv[i], "--plugin") == 0 && i + 1 < argc) {
      plugin_path = argv[++i];
    } else {
      args.push_back(argv[i]);
    }
  }
  if (args.size() != 2) {
    fprintf(stderr, "usage: qmkv_bench [--plugin PATH] demux|open|seek|pread FILE\n");
    return 2;
  }
  const std::string mode = args[0];
  if (mode == "pread") return Pread(args[1]);
  qmkvtools::Plugin plugin;
  std::string error;
  if (!plugin.Load(plugin_path, &error)) {
    fprintf(stderr, "qmkv_bench: %s\n", error.c_str());
    return 1;
  }
  if (mode == "demux") return Demux(plugin, args[1]);
  if (mode == "open") return OpenOnly(plugin, args[1]);
  if (mode == "seek") return Seek(plugin, args[1]);
  fprintf(stderr, "qmkv_bench: unknown mode %s\n", mode.c_str());
  return 2;
}
