// The duration of each frame of a laced block, so that every frame gets the block's time plus
// the exact durations of the frames before it: the track's DefaultDuration when it has one;
// otherwise the codec's own framing (AAC's 1024 or 960 samples at the core sampling rate, the
// frame size and count of Opus' TOC byte, Vorbis' block sizes by the modes of its setup
// header). A codec without such a rule, or a frame it cannot read, has no duration here, and the
// reader spreads the gap to the next block instead.
#pragma once

#include <stdint.h>

#include "demux/qmkvd_types.h"

// Bytes at the start of a frame that the rules look at.
enum : int32_t { QMKVD_FRAMING_HEAD = 2 };

// What a stream's rule needs, taken from its track once.
void qmkvd_framing_init(const QMKVD_TRACK* track, QMKVD_FRAMING* framing);

// The frame's duration in ns, from its first bytes (`head`, `length` of them, up to
// QMKVD_FRAMING_HEAD); -1 when no rule applies. A Vorbis frame's duration depends on the frame
// before it: `framing` keeps that frame's block size, and qmkvd_framing_commit() moves it on
// once the frame is delivered.
int64_t qmkvd_framing_duration(const QMKVD_FRAMING* framing, const uint8_t* head, int32_t length,
                               uint32_t* block_size);
void qmkvd_framing_commit(QMKVD_FRAMING* framing, uint32_t block_size);
// Whether the rule reads the frame's bytes at all (a DefaultDuration or AAC's does not).
bool qmkvd_framing_reads_frames(const QMKVD_FRAMING* framing);
