// Length-prefixed H.264/H.265 frames to Annex B: every NAL length field becomes 00 00 00 01.
#pragma once

#include <stdint.h>

#include "mfal/qcmn_mfal.h"

// Reads the frame of frame_size bytes at fp's position and writes it to out with start codes.
// out null: reports the size the real call would write and leaves fp at the frame start.
// capacity < 1 without out means unchecked. A frame that cannot be rewritten (a truncated length
// field or unit) is skipped: *written = 0, fp at the frame end, result 0.
// Returns 0, -8 (would overflow capacity; *written = 0, fp at the frame end) or -1 (position
// could not be read or restored).
int32_t modify_nal_header2(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint8_t* out,
                           int32_t frame_size, int32_t capacity, int32_t nal_length_size,
                           uint32_t* written);

// The same for a frame whose first prefix_length bytes were stripped from the file: they form
// the start of the first length field. A prefix as long as the length field gives the frame up.
int32_t modify_nal_header3(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint8_t* out,
                           int32_t frame_size, int32_t capacity, int32_t nal_length_size,
                           uint32_t* written, int32_t prefix_length, const uint8_t* prefix);
