// Block times of a stream, in 100-ns units.
#include "demux/read/qmkvd_stream.h"

#include "demux/ebml/qmkvd_util.h"
#include "demux/qmkvd_status.h"

int64_t get_time_pts(QMKVDS_CTX* s, uint64_t cluster_timecode, int16_t relative_timecode) {
  if (!s || s->check != QMKVDS_CHECK) return QMKVD_ERR_HANDLE;
  if (!s->open) return QMKVD_ERR_NOT_FOUND;
  return qmkvd_block_time(cluster_timecode, relative_timecode, s->timecode_scale);
}

// Decoding-order times: frames are numbered and spaced by the default duration, so B-frame
// reordering in the file does not disturb them. The block's own timecode is not used.
int64_t get_time_dts(QMKVDS_CTX* s, uint64_t, int16_t) {
  if (!s || s->check != QMKVDS_CHECK) return QMKVD_ERR_HANDLE;
  int64_t time = qmkvd_time_add(
      qmkvd_time_mul(static_cast<int64_t>(s->frame_counter), s->frame_duration), s->target_time);
  s->frame_counter++;
  return time;
}
