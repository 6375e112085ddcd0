// What a decoder needs from a track: its codec-configuration block and a summary record per
// track kind.
#pragma once

#include <stdint.h>

#include "common/qcmn_mt.h"
#include "demux/qmkvd.h"

// The MPEG-4 sampling-frequency index of a rate in Hz (96000 -> 0 ... 8000 -> 11), or -1.
int32_t get_aac_frequency_index(uint32_t frequency);

// --- Used inside the format code ---------------------------------------------------------------

// The block size of the MPEG layer-3 extension, from the first frame header of the track.
// False when no frame header could be read; *has_size false when the header's sampling rate
// has no block size (the size is then not written).
bool qmkvd_mp3_block_size(QMKVD_CTX* ctx, const QMKVD_TRACK* track, uint16_t* block_size,
                          bool* has_size);
