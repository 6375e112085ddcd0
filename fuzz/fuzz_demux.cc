// The demuxer alone, below the plug-in: create over an in-memory file, open every stream, read
// its frames (some after a size-only query, some straight into a buffer), ask for the stream's
// format block, summary and key-frame index, seek in every mode, close and delete.
#include <stddef.h>
#include <stdint.h>

#include <vector>

#include "demux/header/qmkvd_format.h"
#include "demux/header/qmkvd_header.h"
#include "demux/qmkvd_types.h"
#include "demux/read/qmkvd_stream.h"
#include "demux/seek/qmkvd_seek.h"
#include "demux_harness.h"
#include "quiet_log.h"

namespace {

constexpr size_t kMaxReads = 2000;
// The plug-in's largest frame buffer is of this order; a frame that does not fit is an answer
// (-8) like any other.
constexpr int32_t kCapacity = 1 << 20;

// A seek time in 100-ns units from the input's last bytes (see fuzz_plugin.cc).
int64_t SeekTime(const uint8_t* data, size_t size, size_t which) {
  uint64_t v = 0;
  for (size_t i = 0; i < 8; ++i) {
    const size_t back = which * 8 + i + 1;
    v = (v << 8) | (back <= size ? data[size - back] : 0);
  }
  const int64_t range = 4LL * 3600 * 10000000;
  return static_cast<int64_t>(v % (2 * range)) - range / 8;
}

void ReadFrames(QMKVDS_CTX* s, std::vector<uint8_t>* buffer, size_t max_reads, bool query) {
  for (size_t n = 0; n < max_reads; ++n) {
    uint32_t size = 0;
    int64_t time = 0, end_time = 0;
    int32_t sync = 0;
    // Every other frame is announced first: the size-only call leaves it pending.
    if (query && (n & 1)) {
      const int32_t r = qmkvds_get_frm(s, nullptr, 0, &size, &time, &end_time, &sync);
      if (r != 0) return;
    }
    const int32_t r = qmkvds_get_frm(s, buffer->data(), kCapacity, &size, &time, &end_time, &sync);
    if (r != 0 && r != -8) return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Inputs whose last byte has bit 0 set ask for decoding-order times.
  const uint32_t flags = (size > 0 && (data[size - 1] & 1)) ? 0u : uint32_t{QMKVD_FLAG_PTS};
  mkvtest::Created created(std::vector<uint8_t>(data, data + size), flags);
  QMKVD_CTX* ctx = created.ctx();
  if (!ctx) return 0;
  const uint32_t count = created.info().stream_count;

  std::vector<uint8_t> buffer(kCapacity);
  std::vector<uint8_t> scratch;
  for (uint32_t i = 0; i <= count && i < QMKVD_MAX_TRACKS; ++i) {
    uint32_t format_size = 0;
    if (qmkvd_get_format(ctx, static_cast<int32_t>(i), nullptr, &format_size) == 0 &&
        format_size < (1u << 24)) {
      scratch.resize(format_size);
      qmkvd_get_format(ctx, static_cast<int32_t>(i), scratch.data(), &format_size);
    }
    QMKVD_VIDEO_INFO vid;
    QMKVD_AUDIO_INFO aud;
    QMKVD_TEXT_INFO txt;
    qmkvd_get_info_vid(ctx, static_cast<int32_t>(i), &vid);
    qmkvd_get_info_aud(ctx, static_cast<int32_t>(i), &aud);
    qmkvd_get_info_txt(ctx, static_cast<int32_t>(i), &txt);
  }

  std::vector<QMKVDS_CTX*> streams;
  for (uint32_t i = 0; i < count; ++i) {
    int32_t err = 0;
    QMKVDS_CTX* s = qmkvds_open(ctx, static_cast<int32_t>(i), &err);
    if (s) streams.push_back(s);
  }
  for (size_t i = 0; i < streams.size(); ++i) {
    QMKVDS_CTX* s = streams[i];
    uint32_t format_size = 0;
    if (qmkvds_get_format(s, nullptr, &format_size) == 0 && format_size < (1u << 24)) {
      scratch.resize(format_size);
      qmkvds_get_format(s, scratch.data(), &format_size);
    }
    uint32_t bytes = 0, entries = 0;
    if (qmkvds_get_idx_table(s, nullptr, 0, &bytes, &entries) == 0 && bytes < (1u << 24)) {
      scratch.resize(bytes);
      qmkvds_get_idx_table(s, scratch.data(), static_cast<int32_t>(bytes), &bytes, &entries);
    }
    ReadFrames(s, &buffer, kMaxReads, i & 1);
    for (uint32_t mode = 0; mode < 4; ++mode) {
      const int64_t time = SeekTime(data, size, i * 4 + mode);
      int64_t out_time = 0;
      qmkvds_seek(s, &time, &out_time, mode);
      ReadFrames(s, &buffer, 4, mode & 1);
    }
    // Mode 1 without a time: after the last frame read.
    int64_t out_time = 0;
    qmkvds_seek(s, nullptr, &out_time, 1);
    ReadFrames(s, &buffer, 2, false);
  }
  for (QMKVDS_CTX* s : streams) qmkvds_close(s);
  return 0;  // ~Created deletes the context
}
