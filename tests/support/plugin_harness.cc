#include "plugin_harness.h"

#include <stdlib.h>

namespace android {
extern "C" ExtractorDef GETEXTRACTORDEF();
}

namespace mkvtest {

int32_t Format::Int32(const char* key, int32_t missing) const {
  int32_t v = 0;
  return AMediaFormat_getInt32(f, key, &v) ? v : missing;
}

int64_t Format::Int64(const char* key, int64_t missing) const {
  int64_t v = 0;
  return AMediaFormat_getInt64(f, key, &v) ? v : missing;
}

std::string Format::String(const char* key, const std::string& missing) const {
  const char* v = nullptr;
  return AMediaFormat_getString(f, key, &v) ? std::string(v) : missing;
}

std::vector<uint8_t> Format::Buffer(const char* key) const {
  void* data = nullptr;
  size_t size = 0;
  if (!AMediaFormat_getBuffer(f, key, &data, &size)) return {};
  const uint8_t* p = static_cast<const uint8_t*>(data);
  return std::vector<uint8_t>(p, p + size);
}

bool Format::Has(const char* key) const {
  int32_t i;
  int64_t l;
  const char* s;
  void* d;
  size_t n;
  return AMediaFormat_getInt32(f, key, &i) || AMediaFormat_getInt64(f, key, &l) ||
         AMediaFormat_getString(f, key, &s) || AMediaFormat_getBuffer(f, key, &d, &n);
}

PluginTrack::~PluginTrack() {
  track_->free(track_->data);
  free(track_);
}

media_status_t PluginTrack::Read(Packet* packet, uint32_t options, int64_t seek_us) {
  android::CMediaBuffer* buffer = nullptr;
  media_status_t status = track_->read(track_->data, &buffer, options, seek_us);
  if (status != AMEDIA_OK || !buffer) return status;
  if (packet) {
    *packet = Packet();
    const uint8_t* data = static_cast<const uint8_t*>(buffer->data(buffer->handle));
    const size_t offset = buffer->range_offset(buffer->handle);
    const size_t length = buffer->range_length(buffer->handle);
    packet->bytes.assign(data + offset, data + offset + length);
    packet->range_offset = offset;
    AMediaFormat* meta = buffer->meta_data(buffer->handle);
    AMediaFormat_getInt64(meta, AMEDIAFORMAT_KEY_TIME_US, &packet->time_us);
    AMediaFormat_getInt32(meta, AMEDIAFORMAT_KEY_IS_SYNC_FRAME, &packet->sync);
    AMediaFormat_getInt64(meta, AMEDIAFORMAT_KEY_DURATION, &packet->duration_us);
    AMediaFormat_getInt32(meta, AMEDIAFORMAT_KEY_VALID_SAMPLES, &packet->valid_samples);
  }
  buffer->release(buffer->handle);
  return status;
}

media_status_t PluginTrack::ReadAll(std::vector<Packet>* packets, size_t limit) {
  for (size_t n = 0; n < limit; ++n) {
    Packet p;
    media_status_t status = Read(&p);
    if (status != AMEDIA_OK) return status;
    if (packets) packets->push_back(std::move(p));
  }
  return AMEDIA_OK;
}

Plugin::Plugin(std::vector<uint8_t> bytes) : source_(std::move(bytes)) {}

Plugin::~Plugin() {
  Close();
}

void Plugin::Close() {
  if (!extractor_) return;
  extractor_->free(extractor_->data);
  free(extractor_);
  extractor_ = nullptr;
}

android::CreatorFunc Plugin::Sniff(float* confidence) {
  const android::ExtractorDef def = android::GETEXTRACTORDEF();
  void* meta = nullptr;
  android::FreeMetaFunc free_meta = nullptr;
  return def.u.v3.sniff(source_.csource(), confidence, &meta, &free_meta);
}

bool Plugin::Open() {
  float confidence = 0;
  android::CreatorFunc create = Sniff(&confidence);
  if (!create) return false;
  extractor_ = create(source_.csource(), nullptr);
  return extractor_ != nullptr;
}

std::unique_ptr<PluginTrack> Plugin::Track(size_t index) {
  android::CMediaTrack* track = extractor_->getTrack(extractor_->data, index);
  if (!track) return nullptr;
  return std::make_unique<PluginTrack>(track);
}

}  // namespace mkvtest
