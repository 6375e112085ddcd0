// Stream handles: one per track, each with its own file handle and position, and the frame
// readers that walk a track's blocks.
#pragma once

#include <stdint.h>

#include "demux/qmkvd.h"

// 1 for the audio codecs whose laced blocks are delivered whole, as one buffer; 0 for those
// delivered lace by lace.
int32_t support_lacing(int32_t codec);

// Block time from the cluster and block timecodes (presentation order).
int64_t get_time_pts(QMKVDS_CTX* stream, uint64_t cluster_timecode, int16_t relative_timecode);
// Block time by frame count and default duration (decoding order); the timecodes are ignored.
int64_t get_time_dts(QMKVDS_CTX* stream, uint64_t cluster_timecode, int16_t relative_timecode);

// What the block walk found: the block's header fields and where its payload ends.
struct QMKVD_BLOCK {
  uint32_t track;
  int16_t relative_timecode;
  uint32_t duration;    // BlockDuration in ticks, 0 when absent
  int64_t time;         // 100-ns units, from the cluster and block timecodes
  int64_t payload_end;  // first byte after the block
  int32_t other_track;  // 1 when the walk ended on a block of another track (text give-up)
  uint8_t in_group;     // the Block of a BlockGroup
  uint8_t referenced;   // ... whose group has a ReferenceBlock
};

// Positions the stream at the flags byte of its next block. 0: a block; 1: end of data (or, for
// a text stream, 0 with other_track set when nothing came within the give-up span); -1: read
// error.
int32_t get_blockgroup(QMKVDS_CTX* stream, QMKVD_BLOCK* block);

// A whole block per call.
int32_t qmkvds_get_frm_default(QMKVDS_CTX* stream, uint8_t* buffer, int32_t capacity,
                               uint32_t* size, int64_t* time, int64_t* end_time, int32_t* sync);
// One lace per call.
int32_t qmkvds_get_frm_onebyone(QMKVDS_CTX* stream, uint8_t* buffer, int32_t capacity,
                                uint32_t* size, int64_t* time, int64_t* end_time, int32_t* sync);
