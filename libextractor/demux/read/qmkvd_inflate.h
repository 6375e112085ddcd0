// Frames and codec data stored zlib-compressed (ContentCompAlgo 0) are inflated before anything
// reads them. A few bytes of deflate data can claim gigabytes, so every inflation is bounded:
// what one frame (or one block) may grow to is capped, absolutely and relative to its stored
// size, and going past the cap ends that frame with an error.
#pragma once

#include <stdint.h>

#include "demux/qmkvd_types.h"

enum : int64_t {
  QMKVD_INFLATE_MAX = 64 << 20,   // bytes a block or a CodecPrivate may inflate to, at most
  QMKVD_INFLATE_FLOOR = 1 << 20,  // ...and never more than this,
  QMKVD_INFLATE_RATIO = 256,      // ...or this many times its stored size, whichever is more
};

// The most that `stored` bytes of zlib data may inflate to.
int64_t qmkvd_inflate_limit(int64_t stored);

// Whether the track's frames (scope 1) or its CodecPrivate (scope 2) are zlib-compressed.
bool qmkvd_track_inflates_frames(const QMKVD_TRACK* track);
bool qmkvd_track_inflates_private(const QMKVD_TRACK* track);

// Inflates `size` bytes of zlib data in memory to a new buffer (malloc'd, *out_size bytes).
// 0, -1 (not zlib data, or it ends early), -3 (inflates past the limit) or -4 (no memory).
int32_t qmkvd_inflate_buffer(const uint8_t* in, uint32_t size, uint8_t** out, uint32_t* out_size);

// Inflates the first bytes of the zlib data at fp's position (at most `stored` bytes are read)
// to out: true when `want` bytes came out.
bool qmkvd_inflate_head(QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, int64_t stored, uint8_t* out,
                        uint32_t want);

// The state a stream keeps to inflate its blocks (buffers reused from block to block).
struct QMKVD_INFLATER;
QMKVD_INFLATER* qmkvd_inflater_new();
void qmkvd_inflater_free(QMKVD_INFLATER* inflater);

// Makes the frames of the stream's current block (lacing read, handle at the first frame) ready
// to read from s->frame_mfal / s->frame_fp: as stored, or, on a stream with an inflater, every
// lace inflated (its lace size becomes the inflated size). 0, -1 (read failure or damaged zlib
// data), -3 (a frame inflates past the limit) or -4 (no memory).
int32_t qmkvd_frames_ready(QMKVDS_CTX* s);
