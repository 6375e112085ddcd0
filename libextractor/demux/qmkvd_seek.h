// Seeking a stream to a sync point, and the key-frame index of a video track.
#pragma once

#include <stdint.h>

#include "demux/qmkvd_types.h"

// Seek modes.
enum : uint32_t {
  QMKVD_SEEK_BEFORE = 0,   // last cue (without cues: key frame) at or before the time
  QMKVD_SEEK_AFTER = 1,    // first cue (key frame) at or after the time
  QMKVD_SEEK_BACK = 2,     // the cue before the one last jumped to (cues only)
  QMKVD_SEEK_NEAREST = 3,  // nearest cue (key frame), ties to the earlier
};

// Repositions the stream so that the next frame read starts at a sync point near *time
// (100-ns units; may be null in mode 1: the time of the last frame read). *out_time gets the
// time of that sync point. 0 positioned; 1 nothing at or after the time (the stream is at its
// end); -1 unreadable data at the target; -2 stream not open or no key frame within reach;
// -3 bad mode, unusable cue position or Cluster, mode 2 without cues; -7 bad handle.
int32_t qmkvds_seek(QMKVDS_CTX* stream, const int64_t* time, int64_t* out_time, uint32_t mode);

// The seek without cues: walks the stream's Clusters and tests frames. direction 1 lands on the
// first key frame at or after `time`; 0 on the last one at or before it. Codes as qmkvds_seek.
int32_t qmkvds_seek_crawl(QMKVDS_CTX* stream, int64_t time, int64_t* out_time, uint32_t direction);

// The key-frame times of a video track from the cues, as 16-byte QMKVD_INDEX_ENTRY records:
// call with a null buffer for the counts, then with a buffer of *byte_count bytes.
// 0; -2 stream not open; -3 no usable cues, not a video track or no cue for it; -7 bad
// handle or index; -8 buffer too small; or the error of opening the stream.
int32_t qmkvd_get_idx_table(QMKVD_CTX* ctx, int32_t track, void* buffer, int32_t buffer_size,
                            uint32_t* byte_count, uint32_t* entry_count);
int32_t qmkvds_get_idx_table(QMKVDS_CTX* stream, void* buffer, int32_t buffer_size,
                             uint32_t* byte_count, uint32_t* entry_count);

// --- Used inside the demuxer -------------------------------------------------------------------

// Sets up the seek state of a freshly parsed file: cues are usable when the table has entries.
void qmkvd_seek_state_init(QMKVD_CTX* ctx);

// Builds the stream's seek table from the cue table, once. 0, or -3 without memory.
int32_t qmkvds_build_seek_table(QMKVDS_CTX* stream);

// What every repositioning does to the read state: an announced frame, an announced empty
// subtitle frame, a pending skip to a cue's time and the decoding-time frame count are
// forgotten.
void qmkvds_forget_frame(QMKVDS_CTX* stream);
