// The Cues read element by element through the file access layer, with or without the seek
// table of one track filled in the same pass. The demuxer itself reads Cues from memory
// (qmkvd_cues.cc); these are entry points for callers that want every CuePoint as stored.
#include <stdlib.h>

#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_util.h"
#include "demux/ebml/qmkvd_walk.h"
#include "demux/qmkvd_status.h"
#include "demux/seek/qmkvd_cues.h"

namespace {

// Arrays start at this many entries and grow by as many.
const uint32_t kStreamStep = 4096;
// A time or position not seen in a CuePoint.
const uint64_t kUnset = UINT64_MAX;

// The seek table being filled, or none; and the track it is for.
struct CueFilter {
  QMKVD_SEEK_TABLE* seek;
  uint32_t track;
};

// The seek table's next slot, which the CuePoint being parsed fills; null when there is no
// table or it has no room.
QMKVD_SEEK_ENTRY* NextSlot(const CueFilter* filter) {
  QMKVD_SEEK_TABLE* seek = filter ? filter->seek : nullptr;
  if (!seek || !seek->entries || seek->count >= seek->capacity) return nullptr;
  return &seek->entries[seek->count];
}

// --- CueTrackPositions -------------------------------------------------------------------------

const QMKVD_CHILD_RULE kTrackPositionsRules[] = {
    QMKVD_RULE_UINT(MKV_ID_CUE_TRACK, QMKVD_CUE, track, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_CUE_CLUSTER_POSITION, QMKVD_CUE, cluster_pos, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_CUE_BLOCK_NUMBER, QMKVD_CUE, block_number, QMKVD_UINT_MAX),
};
// Sizes of 2^31 or more fail; a child longer than the rest of the element ends it.
const QMKVD_MASTER kTrackPositions =
    QMKVD_MASTER_OF(kTrackPositionsRules, true, true, QMKVD_OVERRUN_STOP);

int WalkTrackPositions(QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_CUE* cue,
                       const CueFilter* filter) {
  cue->cluster_pos = kUnset;
  QMKVD_SEEK_ENTRY* slot = NextSlot(filter);
  if (slot) slot->cluster_pos = kUnset;
  const int walked =
      qmkvd_walk_children(nullptr, mfal, fp, static_cast<int64_t>(cue->positions_data_pos),
                          cue->positions_size, &kTrackPositions, cue, nullptr);
  if (walked < 0) return QMKVD_ERR_READ;
  // Only the last CueTrackPositions decides: an earlier one of the wanted track is undone by
  // the reset above.
  if (slot && cue->track == filter->track) slot->cluster_pos = cue->cluster_pos;
  return QMKVD_OK;
}

// --- CuePoint -----------------------------------------------------------------------------------

int OnCueTime(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_CUE* cue = static_cast<QMKVD_CUE*>(record);
  if (qmkvd_walk_read_uint(walk, child, QMKVD_UINT_MAX, &cue->time) != 0) return -1;
  QMKVD_SEEK_ENTRY* slot = NextSlot(static_cast<const CueFilter*>(walk->user));
  if (slot) slot->time = cue->time;
  return QMKVD_WALK_NEXT;
}

int OnTrackPositions(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_CUE* cue = static_cast<QMKVD_CUE*>(record);
  cue->positions_data_pos = static_cast<uint64_t>(child->data_pos);
  cue->positions_size = static_cast<uint32_t>(child->size);
  cue->positions_count++;
  const int parsed =
      WalkTrackPositions(walk->mfal, walk->fp, cue, static_cast<const CueFilter*>(walk->user));
  return parsed == QMKVD_OK ? QMKVD_WALK_NEXT : -1;
}

const QMKVD_CHILD_RULE kCuePointRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_CUE_TIME, OnCueTime),
    QMKVD_RULE_HANDLER(MKV_ID_CUE_TRACK_POSITIONS, OnTrackPositions),
};
const QMKVD_MASTER kCuePoint = QMKVD_MASTER_OF(kCuePointRules, true, false, QMKVD_OVERRUN_FOLLOW);

int WalkCuePoint(QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_CUE* cue, CueFilter* filter) {
  cue->positions_count = 0;
  QMKVD_SEEK_ENTRY* slot = NextSlot(filter);
  if (slot) slot->time = kUnset;
  const int walked = qmkvd_walk_children(nullptr, mfal, fp, static_cast<int64_t>(cue->data_pos),
                                         cue->size, &kCuePoint, cue, filter);
  return walked < 0 ? QMKVD_ERR_READ : QMKVD_OK;
}

// --- Cues ---------------------------------------------------------------------------------------

struct CuesWalk {
  QMKVD_CUE_TABLE* cues;
  CueFilter filter;
};

// Every CuePoint is kept, whatever it holds; the seek table keeps only complete slots.
int OnCuePoint(QMKVD_WALK* walk, const QMKVD_CHILD* child, void*) {
  CuesWalk* state = static_cast<CuesWalk*>(walk->user);
  QMKVD_CUE_TABLE* cues = state->cues;
  if (cues->count >= cues->capacity &&
      !qmkvd_grow_array(&cues->entries, cues->count, &cues->capacity, kStreamStep)) {
    return -1;
  }
  QMKVD_SEEK_TABLE* seek = state->filter.seek;
  if (seek && seek->count >= seek->capacity &&
      !qmkvd_grow_array(&seek->entries, seek->count, &seek->capacity, kStreamStep)) {
    return -1;
  }
  QMKVD_CUE* cue = &cues->entries[cues->count];
  cue->data_pos = static_cast<uint64_t>(child->data_pos);
  cue->size = static_cast<uint32_t>(child->size);
  if (WalkCuePoint(walk->mfal, walk->fp, cue, seek ? &state->filter : nullptr) != QMKVD_OK) {
    return -1;
  }
  cues->count++;
  if (seek) {
    const QMKVD_SEEK_ENTRY& slot = seek->entries[seek->count];
    if (slot.time != kUnset && slot.cluster_pos != kUnset) seek->count++;
  }
  return QMKVD_WALK_NEXT;
}

const QMKVD_CHILD_RULE kCuesRules[] = {QMKVD_RULE_HANDLER(MKV_ID_CUE_POINT, OnCuePoint)};
const QMKVD_MASTER kCues = QMKVD_MASTER_OF(kCuesRules, false, false, QMKVD_OVERRUN_FOLLOW);

// A fresh array of kStreamStep entries in place of whatever the table held.
template <typename T>
bool StartArray(T** entries, uint32_t* count, uint32_t* capacity) {
  free(*entries);
  *entries = nullptr;
  *count = 0;
  *capacity = 0;
  return qmkvd_grow_array(entries, 0, capacity, kStreamStep);
}

int WalkCues(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_CUE_TABLE* cues,
             QMKVD_SEEK_TABLE* seek, uint32_t track) {
  if (!StartArray(&cues->entries, &cues->count, &cues->capacity)) return QMKVD_ERR_READ;
  if (seek && !StartArray(&seek->entries, &seek->count, &seek->capacity)) return QMKVD_ERR_READ;
  CuesWalk state = {cues, {seek, track}};
  const int walked =
      qmkvd_walk_children(ctx, mfal, fp, cues->data_pos, cues->size, &kCues, nullptr, &state);
  return walked < 0 ? QMKVD_ERR_READ : QMKVD_OK;
}

}  // namespace

int parse_cues_ctx(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_CUE_TABLE* cues) {
  return WalkCues(ctx, mfal, fp, cues, nullptr, 0);
}

int parse_cuepoint_ctx(QMKVD_CUE*, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_CUE* cue) {
  return WalkCuePoint(mfal, fp, cue, nullptr);
}

int parse_cuetrackpositions_ctx(void*, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_CUE* cue) {
  return WalkTrackPositions(mfal, fp, cue, nullptr);
}

int parse_cues(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_CUE_TABLE* cues,
               QMKVD_SEEK_TABLE* seek, uint32_t track) {
  return WalkCues(ctx, mfal, fp, cues, seek, track);
}

int parse_cuepoint(QMKVD_CUE*, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_CUE* cue,
                   QMKVD_SEEK_TABLE* seek, uint32_t track) {
  CueFilter filter = {seek, track};
  return WalkCuePoint(mfal, fp, cue, &filter);
}

int parse_cuetrackpositions(uint32_t, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_CUE* cue,
                            QMKVD_SEEK_TABLE* seek, uint32_t track) {
  CueFilter filter = {seek, track};
  return WalkTrackPositions(mfal, fp, cue, &filter);
}
