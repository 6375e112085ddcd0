// Cues: the file's cue table, and a stream's seek table of (time, cluster position) pairs.
#pragma once

#include <stdint.h>

#include "demux/qmkvd_types.h"

// Reads the whole Cues payload (cues->data_pos, cues->size) at once and fills the table with
// one entry per CueTrackPositions that has a cluster position and does not index an audio
// track, at its CuePoint's time. 0, or -1 with an empty table.
int parse_cues_ctx_fast(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_CUE_TABLE* cues);
// One CuePoint, and one CueTrackPositions, from memory. 0 or -1.
int parse_cuepoint_ctx_fast(QMKVD_CTX* ctx, const uint8_t* data, int32_t length, QMKVD_CUE* cue);
int parse_cuetrackpositions_ctx_fast(QMKVD_CTX* ctx, const uint8_t* data, int32_t length,
                                     QMKVD_CUE* cue);

// The same read element by element through the access layer. Every CuePoint is kept as stored
// (no audio filter, an absent cluster position is all ones); CueTime, CueTrack,
// CueClusterPosition and CueBlockNumber of more than 8 bytes fail. The array starts at 4096
// entries and grows by 4096. 0, or -1 with what was gathered left for the caller to free.
int parse_cues_ctx(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_CUE_TABLE* cues);
// One CuePoint at cue->data_pos (cue->size bytes); one CueTrackPositions at
// cue->positions_data_pos (cue->positions_size bytes).
int parse_cuepoint_ctx(QMKVD_CUE* unused_entries, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                       QMKVD_CUE* cue);
int parse_cuetrackpositions_ctx(void* unused, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_CUE* cue);

// As the streaming family, also filling `seek` for `track` in the same pass: a CuePoint gives a
// seek entry when it has a CueTime and its last CueTrackPositions is the track's.
int parse_cues(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_CUE_TABLE* cues,
               QMKVD_SEEK_TABLE* seek, uint32_t track);
// Fill the seek table's next slot (at index seek->count, when there is room); the caller keeps
// it by counting it.
int parse_cuepoint(QMKVD_CUE* unused_entries, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_CUE* cue,
                   QMKVD_SEEK_TABLE* seek, uint32_t track);
int parse_cuetrackpositions(uint32_t unused_track, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                            QMKVD_CUE* cue, QMKVD_SEEK_TABLE* seek, uint32_t track);

// The seek table of one track from the cue table, in cue order. 0, or -1 without memory.
int get_seek_from_cues(void* unused_a, void* unused_b, void* unused_c, const QMKVD_CUE_TABLE* cues,
                       QMKVD_SEEK_TABLE* seek, uint32_t track);

// The entry a seek in `mode` (0 at or before, 1 at or after, 2 as 0, 3 nearest with ties to
// the earlier) should jump to for `time` (100-ns units), over the file's cue table or over one
// stream's seek table. -1 when no entry qualifies.
int32_t qmkvd_get_searchidx(const QMKVD_CTX* ctx, void* unused, int64_t time, uint32_t mode);
int32_t qmkvd_get_searchidx2(const QMKVD_CTX* ctx, void* unused, int64_t time,
                             const QMKVD_SEEK_TABLE* seek, uint32_t mode);
