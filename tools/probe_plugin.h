// Loading the extractor plug-in and opening a file with it, the way the media framework does:
// dlopen, GETEXTRACTORDEF, sniff, create; then driving one track through the C tables.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <string>

#include <media/MediaExtractorPluginApi.h>
#include <media/NdkMediaFormat.h>

namespace qmkvtools {

// The loaded library and the definition it returned. Closes the library when destroyed, so it
// must outlive every extractor made from it.
class Plugin {
 public:
  Plugin() = default;
  ~Plugin();
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  // Loads the library and checks its definition as the framework's loader does. On failure
  // returns false with a one-line reason.
  bool Load(const std::string& path, std::string* error);

  const android::ExtractorDef& def() const { return *def_; }
  const std::string& path() const { return path_; }

 private:
  void* handle_ = nullptr;
  std::string path_;
  std::unique_ptr<android::ExtractorDef> def_;  // const members: copied once, never assigned
};

struct SniffResult {
  android::CreatorFunc creator = nullptr;  // null: the plug-in did not claim the source
  float confidence = 0;
  void* meta = nullptr;
  android::FreeMetaFunc free_meta = nullptr;
};

SniffResult Sniff(const Plugin& plugin, android::CDataSource* source);

// Calls the creator with the sniffer's meta and then frees that meta, as the framework does.
// Returns the extractor (null when the plug-in could not make one).
android::CMediaExtractor* Create(const SniffResult& sniff, android::CDataSource* source);

// Frees the extractor and its malloc'ed table.
void FreeExtractor(android::CMediaExtractor* extractor);

// One packet as the framework takes it from a returned buffer: the bytes in the buffer's range
// and the per-buffer keys it reads.
struct PacketView {
  const uint8_t* data = nullptr;
  size_t size = 0;
  bool has_time = false;
  int64_t time_us = 0;
  int32_t sync = 0;  // is-sync-frame; absent counts as 0, as in the framework
  bool has_duration = false;
  int64_t duration_us = 0;
  bool has_valid_samples = false;
  int32_t valid_samples = 0;
};

class PacketSink {
 public:
  virtual ~PacketSink() = default;
  virtual void Packet(const PacketView& packet) = 0;
};

struct ReadRequest {
  bool seek = false;
  int64_t seek_us = 0;
  uint32_t mode = android::SEEK_CLOSEST_SYNC;
  uint64_t count = 0;  // stop after this many packets; 0 reads to the end
};

enum class TrackEnd { kEndOfStream, kError, kCount, kNoTrack, kStartFailed };

struct TrackResult {
  TrackEnd end = TrackEnd::kError;
  media_status_t status = AMEDIA_OK;  // the status that ended the reads (or start's)
  size_t buffers_held = 0;            // buffers the plug-in still held after stop
};

// getTrack, start with a fresh buffer group, read until a status other than AMEDIA_OK (or the
// count), releasing each buffer after handing it to the sink, stop, free the track.
TrackResult ReadTrack(android::CMediaExtractor* extractor, size_t index, const ReadRequest& request,
                      PacketSink* sink);

// "eos", "count", "error -10007", ...: how a track's reads ended.
std::string EndName(const TrackResult& result);

}  // namespace qmkvtools
