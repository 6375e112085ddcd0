// Seeking a stream to a sync point, and the key-frame index of a video track.
#pragma once

#include <stdint.h>

#include "demux/qmkvd.h"

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
