// Pieces shared by the frame readers: a block's timing and its lacing.
#pragma once

#include <stdint.h>

#include "demux/read/qmkvd_stream.h"

// The lacing a block's flags byte names, in its bits 1 and 2.
enum : int {
  QMKVD_LACING_NONE = 0,
  QMKVD_LACING_XIPH = 1,
  QMKVD_LACING_FIXED = 2,
  QMKVD_LACING_EBML = 3
};
inline int qmkvd_lacing_of(uint8_t flags) {
  return (flags >> 1) & 3;
}

// A block's track number (a 1- to 4-byte vint) and signed relative timecode from its first
// `avail` bytes. The bytes they take (the flags byte follows), or -1.
int qmkvd_block_head(const uint8_t* buf, int64_t avail, uint32_t* track, int16_t* relative);

// Times a new block with the stream's time function and updates the stream's block times and
// frame duration. Returns the block time.
int64_t qmkvd_time_block(QMKVDS_CTX* stream, const QMKVD_BLOCK* block);

// Reads the flags byte at the stream's position and the lacing after it; leaves the handle at
// the first frame's bytes with the lace sizes, count and cursor set. 0, -1 (read failure or
// sizes that do not fit the block) or -2 (a lace count byte of 0xFF).
int32_t qmkvd_read_lacing(QMKVDS_CTX* stream, int64_t payload_end);

// The lacing as above, then the block's frames made ready to read from the stream's frame
// handle (inflated when the track stores them zlib-compressed; lace sizes are then the inflated
// sizes). The statuses of both steps.
int32_t qmkvd_take_frames(QMKVDS_CTX* stream, int64_t payload_end);

// Bytes of all frames of the current block, without stripped headers: as stored, or as
// inflated once the frames were taken.
int64_t qmkvd_block_bytes(const QMKVDS_CTX* stream);
