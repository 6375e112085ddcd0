// The framework's side of the plug-in for tests: everything goes through GETEXTRACTORDEF and the
// C tables, as the media-extractor service drives a plug-in.
#pragma once

#include <stdint.h>

#include <memory>
#include <string>
#include <vector>

#include <host/host_buffer_group.h>
#include <media/MediaExtractorPluginApi.h>
#include <media/NdkMediaFormat.h>

#include "mem_source.h"

namespace mkvtest {

// A format owned by the test.
struct Format {
  Format() : f(AMediaFormat_new()) {}
  ~Format() { AMediaFormat_delete(f); }
  Format(const Format&) = delete;
  Format& operator=(const Format&) = delete;
  int32_t Int32(const char* key, int32_t missing = INT32_MIN) const;
  int64_t Int64(const char* key, int64_t missing = INT64_MIN) const;
  std::string String(const char* key, const std::string& missing = "<none>") const;
  std::vector<uint8_t> Buffer(const char* key) const;  // empty when missing
  bool Has(const char* key) const;
  AMediaFormat* f;
};

// One frame as the framework sees it after a read.
struct Packet {
  std::vector<uint8_t> bytes;  // the buffer's range
  size_t range_offset = 0;
  int64_t time_us = INT64_MIN;
  int32_t sync = -1;
  int64_t duration_us = INT64_MIN;    // INT64_MIN: not carried
  int32_t valid_samples = INT32_MIN;  // INT32_MIN: not carried
};

class PluginTrack {
 public:
  explicit PluginTrack(android::CMediaTrack* track) : track_(track) {}
  ~PluginTrack();
  PluginTrack(const PluginTrack&) = delete;
  PluginTrack& operator=(const PluginTrack&) = delete;

  media_status_t Start() { return track_->start(track_->data, group_.wrapper()); }
  media_status_t Stop() { return track_->stop(track_->data); }
  // One read; the buffer is copied into *packet (when given) and released.
  media_status_t Read(Packet* packet = nullptr, uint32_t options = 0, int64_t seek_us = 0);
  media_status_t Seek(int64_t seek_us, uint32_t mode, Packet* packet = nullptr) {
    return Read(packet, android::SEEK | mode, seek_us);
  }
  // Reads until a status other than OK; returns that status.
  media_status_t ReadAll(std::vector<Packet>* packets, size_t limit = SIZE_MAX);
  media_status_t GetFormat(Format* format) { return track_->getFormat(track_->data, format->f); }
  host::MediaBufferGroup& group() { return group_; }
  android::CMediaTrack* c() { return track_; }

 private:
  android::CMediaTrack* track_;
  host::MediaBufferGroup group_;
};

class Plugin {
 public:
  explicit Plugin(std::vector<uint8_t> bytes);
  ~Plugin();
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  // The definition's sniff; null when the file is not claimed.
  android::CreatorFunc Sniff(float* confidence);
  // Sniffs and creates the extractor; false when the file is not claimed.
  bool Open();
  android::CMediaExtractor* extractor() { return extractor_; }
  // Frees the extractor as the framework does (its tracks may live on).
  void Close();
  size_t CountTracks() { return extractor_->countTracks(extractor_->data); }
  media_status_t TrackFormat(size_t index, Format* format) {
    return extractor_->getTrackMetaData(extractor_->data, format->f, index, 0);
  }
  media_status_t FileFormat(Format* format) {
    return extractor_->getMetaData(extractor_->data, format->f);
  }
  uint32_t Flags() { return extractor_->flags(extractor_->data); }
  // Null when the extractor gives no track for the index.
  std::unique_ptr<PluginTrack> Track(size_t index);
  MemSource& source() { return source_; }

 private:
  MemSource source_;
  android::CMediaExtractor* extractor_ = nullptr;
};

}  // namespace mkvtest
