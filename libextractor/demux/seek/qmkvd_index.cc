// The key-frame index of a video track, taken from the cues: the times a caller may seek to.
#include <string.h>

#include "common/qcmn_log.h"
#include "demux/ebml/qmkvd_util.h"
#include "demux/qmkvd_status.h"
#include "demux/read/qmkvd_stream.h"
#include "demux/seek/qmkvd_seek.h"

namespace {

// An index entry: flags (written 0), a reserved word left as the caller had it, the time.
const uint32_t kEntryBytes = 16;
const size_t kFlagsOffset = 0;
const size_t kTimeOffset = 8;

void WriteEntry(uint8_t* out, int64_t time) {
  const uint32_t flags = 0;
  memcpy(out + kFlagsOffset, &flags, sizeof(flags));
  memcpy(out + kTimeOffset, &time, sizeof(time));
}

}  // namespace

int32_t qmkvds_get_idx_table(QMKVDS_CTX* s, void* buffer, int32_t buffer_size, uint32_t* byte_count,
                             uint32_t* entry_count) {
  if (!s || s->check != QMKVDS_CHECK) return QMKVD_ERR_HANDLE;
  if (!s->open) return QMKVD_ERR_NOT_FOUND;
  if (!s->owner->seek.cues_usable || s->key_frame_test != 1) return QMKVD_ERR_UNUSABLE;
  if (!s->seek_table_built && qmkvds_build_seek_table(s) != QMKVD_OK) return QMKVD_ERR_UNUSABLE;
  const QMKVD_SEEK_TABLE& table = s->seek_table;
  if (table.count == 0) return QMKVD_ERR_UNUSABLE;
  // A cue table held in memory has far fewer than 2^28 entries; the product fits 32 bits.
  const uint64_t bytes = static_cast<uint64_t>(table.count) * kEntryBytes;
  if (bytes > UINT32_MAX) return QMKVD_ERR_UNUSABLE;
  if (entry_count) *entry_count = table.count;
  if (byte_count) *byte_count = static_cast<uint32_t>(bytes);
  if (!buffer) return QMKVD_OK;
  if (buffer_size < 0 || static_cast<uint64_t>(buffer_size) < bytes) return QMKVD_ERR_SMALL;
  uint8_t* out = static_cast<uint8_t*>(buffer);
  for (uint32_t i = 0; i < table.count; ++i, out += kEntryBytes) {
    WriteEntry(out, qmkvd_ticks_to_time(table.entries[i].time, s->owner->info.timecode_scale));
  }
  return QMKVD_OK;
}

int32_t qmkvd_get_idx_table(QMKVD_CTX* ctx, int32_t track, void* buffer, int32_t buffer_size,
                            uint32_t* byte_count, uint32_t* entry_count) {
  if (!ctx || ctx->check != QMKVD_CHECK || track < 0 || track >= ctx->stream_count) {
    return QMKVD_ERR_HANDLE;
  }
  if (!ctx->seek.cues_usable || ctx->streams[track].key_frame_test != 1) {
    return QMKVD_ERR_UNUSABLE;
  }
  int32_t err = QMKVD_OK;
  QMKVDS_CTX* s = qmkvds_open(ctx, track, &err);
  if (!s) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "qmkvds_open() failed!");
    return err;
  }
  const int32_t result = qmkvds_get_idx_table(s, buffer, buffer_size, byte_count, entry_count);
  qmkvds_close(s);
  return result;
}
