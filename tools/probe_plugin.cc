#include "probe_plugin.h"

#include <dlfcn.h>
#include <stdlib.h>

#include <host/host_buffer_group.h>

namespace qmkvtools {

Plugin::~Plugin() {
  if (handle_) dlclose(handle_);
}

bool Plugin::Load(const std::string& path, std::string* error) {
  path_ = path;
  handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle_) {
    const char* why = dlerror();
    *error = "cannot load plug-in: " + std::string(why ? why : path);
    return false;
  }
  void* symbol = dlsym(handle_, "GETEXTRACTORDEF");
  if (!symbol) {
    *error = "plug-in " + path + " has no GETEXTRACTORDEF";
    return false;
  }
  auto get_def = reinterpret_cast<android::GetExtractorDef>(symbol);
  def_.reset(new android::ExtractorDef(get_def()));
  if (def_->def_version != android::EXTRACTORDEF_VERSION_NDK_V2) {
    *error = "plug-in definition version " + std::to_string(def_->def_version) + ", expected " +
             std::to_string(android::EXTRACTORDEF_VERSION_NDK_V2);
    return false;
  }
  if (!def_->extractor_name || def_->extractor_name[0] == '\0') {
    *error = "plug-in has no name";
    return false;
  }
  bool zero_uuid = true;
  for (uint8_t b : def_->extractor_uuid.b) zero_uuid = zero_uuid && b == 0;
  if (zero_uuid) {
    *error = "plug-in has an all-zero UUID";
    return false;
  }
  if (!def_->u.v3.sniff) {
    *error = "plug-in has no sniffer";
    return false;
  }
  return true;
}

SniffResult Sniff(const Plugin& plugin, android::CDataSource* source) {
  SniffResult result;
  result.creator =
      plugin.def().u.v3.sniff(source, &result.confidence, &result.meta, &result.free_meta);
  return result;
}

android::CMediaExtractor* Create(const SniffResult& sniff, android::CDataSource* source) {
  android::CMediaExtractor* extractor = sniff.creator(source, sniff.meta);
  if (sniff.meta && sniff.free_meta) sniff.free_meta(sniff.meta);
  return extractor;
}

void FreeExtractor(android::CMediaExtractor* extractor) {
  if (!extractor) return;
  extractor->free(extractor->data);
  free(extractor);
}

namespace {

// The bytes in the buffer's range and the per-buffer keys the framework copies out.
PacketView ViewOf(android::CMediaBuffer* buffer) {
  PacketView view;
  const size_t size = buffer->size(buffer->handle);
  const size_t offset = buffer->range_offset(buffer->handle);
  const size_t length = buffer->range_length(buffer->handle);
  const uint8_t* data = static_cast<const uint8_t*>(buffer->data(buffer->handle));
  // The group refuses ranges past the end; checked again so a broken buffer cannot make us read
  // outside it.
  if (data && offset <= size && length <= size - offset) {
    view.data = data + offset;
    view.size = length;
  }
  AMediaFormat* meta = buffer->meta_data(buffer->handle);
  if (!meta) return view;
  view.has_time = AMediaFormat_getInt64(meta, AMEDIAFORMAT_KEY_TIME_US, &view.time_us);
  AMediaFormat_getInt32(meta, AMEDIAFORMAT_KEY_IS_SYNC_FRAME, &view.sync);
  view.has_duration = AMediaFormat_getInt64(meta, AMEDIAFORMAT_KEY_DURATION, &view.duration_us);
  view.has_valid_samples =
      AMediaFormat_getInt32(meta, AMEDIAFORMAT_KEY_VALID_SAMPLES, &view.valid_samples);
  return view;
}

// Reads until a status other than AMEDIA_OK or the count; the first read carries the seek.
void ReadAll(android::CMediaTrack* track, const ReadRequest& request, PacketSink* sink,
             TrackResult* result) {
  uint64_t packets = 0;
  bool first = true;
  for (;;) {
    if (request.count != 0 && packets >= request.count) {
      result->end = TrackEnd::kCount;
      return;
    }
    uint32_t options = 0;
    int64_t seek_us = 0;
    if (first && request.seek) {
      options = android::SEEK | request.mode;
      seek_us = request.seek_us;
    }
    first = false;
    android::CMediaBuffer* buffer = nullptr;
    const media_status_t status = track->read(track->data, &buffer, options, seek_us);
    if (status != AMEDIA_OK || !buffer) {
      result->end =
          status == AMEDIA_ERROR_END_OF_STREAM ? TrackEnd::kEndOfStream : TrackEnd::kError;
      result->status = status;
      return;
    }
    sink->Packet(ViewOf(buffer));
    buffer->release(buffer->handle);
    packets++;
  }
}

}  // namespace

TrackResult ReadTrack(android::CMediaExtractor* extractor, size_t index, const ReadRequest& request,
                      PacketSink* sink) {
  TrackResult result;
  android::CMediaTrack* track = extractor->getTrack(extractor->data, index);
  if (!track) {
    result.end = TrackEnd::kNoTrack;
    return result;
  }
  {
    // The framework's group belongs to the track object and goes after the track is freed.
    host::MediaBufferGroup group;
    result.status = track->start(track->data, group.wrapper());
    if (result.status != AMEDIA_OK) {
      result.end = TrackEnd::kStartFailed;
    } else {
      ReadAll(track, request, sink, &result);
      track->stop(track->data);
      result.buffers_held = group.acquired_count();
    }
    track->free(track->data);
    free(track);
  }
  return result;
}

std::string EndName(const TrackResult& result) {
  switch (result.end) {
    case TrackEnd::kEndOfStream: return "eos";
    case TrackEnd::kCount: return "count";
    case TrackEnd::kNoTrack: return "error no track";
    case TrackEnd::kStartFailed: return "error start " + std::to_string(result.status);
    case TrackEnd::kError: break;
  }
  return "error " + std::to_string(result.status);
}

}  // namespace qmkvtools
