#include "demux/seek/qmkvd_cues.h"

#include <stdlib.h>
#include <string.h>

#include "demux/ebml/qmkvd_ebml.h"
#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_util.h"
#include "demux/ebml/qmkvd_walk.h"
#include "demux/header/qmkvd_tracks.h"
#include "demux/qmkvd_limits.h"
#include "demux/qmkvd_status.h"
#include "mfal/qcmn_mfal_mem.h"

// The Cues are read in one piece and walked in memory, through the same child walker as the
// rest of the header (over an access record on the buffer), so the cue table costs one read.

namespace {

enum : uint32_t {
  kFirstCapacity = 256,  // also the floor of the estimate
  kMaxFirstCapacity = 4096,
  kEstimateThreshold = 2561,  // CuePoints per first-CuePoint size before the estimate is used
};
// Zero bytes after the Cues payload, so that an element header near its end reads zeros, as a
// cut-off file would give nothing, and fails.
const size_t kBufferPadding = 16;

// The Cues payload in memory, as the walks see it: offsets in it are offsets from the start of
// the Cues payload in the file.
struct CueBuffer {
  QCMN_MFAL_MEM mem;
  const uint8_t* bytes;
  QMKVD_CTX* ctx;
  int64_t file_pos;  // where the payload starts in the file
};

void OpenBuffer(CueBuffer* buffer, QMKVD_CTX* ctx, const uint8_t* bytes, int64_t size,
                int64_t file_pos) {
  qcmn_mfal_mem_init(&buffer->mem);
  qcmn_mfal_mem_set(&buffer->mem, bytes, size);
  buffer->bytes = bytes;
  buffer->ctx = ctx;
  buffer->file_pos = file_pos;
}

const uint8_t* Payload(const QMKVD_WALK* walk, const QMKVD_CHILD* child) {
  return static_cast<const CueBuffer*>(walk->user)->bytes + child->data_pos;
}

uint64_t PayloadValue(const QMKVD_WALK* walk, const QMKVD_CHILD* child) {
  return qmkvd_b2v_u64(Payload(walk, child), static_cast<int>(child->size));
}

// Walks the children of [data, data + size) of the buffer. No context: children of unknown size
// are taken at their word, and fail the size cap.
int WalkBuffer(CueBuffer* buffer, int64_t data, int64_t size, const QMKVD_MASTER* master,
               void* record) {
  const int walked =
      qmkvd_walk_children(nullptr, &buffer->mem.mfal, qcmn_mfal_mem_handle(&buffer->mem), data,
                          static_cast<uint64_t>(size), master, record, buffer);
  return walked < 0 ? QMKVD_ERR_READ : QMKVD_OK;
}

// ---- CueTrackPositions ------------------------------------------------------------------------

int ReadClusterPosition(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  static_cast<QMKVD_CUE*>(record)->cluster_pos = PayloadValue(walk, child);
  return QMKVD_WALK_NEXT;
}

int ReadBlockNumber(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  static_cast<QMKVD_CUE*>(record)->block_number = static_cast<uint32_t>(PayloadValue(walk, child));
  return QMKVD_WALK_NEXT;
}

// Cue points of audio tracks are left out: audio seeks by the video's cues.
int ReadCueTrack(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_CUE* cue = static_cast<QMKVD_CUE*>(record);
  cue->track = static_cast<uint32_t>(PayloadValue(walk, child));
  const QMKVD_TRACK* track = qmkvd_find_track(static_cast<CueBuffer*>(walk->user)->ctx, cue->track);
  if (!track || track->type != QMKVD_TRACK_AUDIO) return QMKVD_WALK_NEXT;
  cue->cluster_pos = 0;
  return QMKVD_WALK_STOP;
}

// The children of a CuePoint or CueTrackPositions payload: a header that cannot be read or a
// size of 2^31 or more fails; a child longer than what is left ends the walk successfully.
const QMKVD_CHILD_RULE kPositionsRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_CUE_CLUSTER_POSITION, ReadClusterPosition),
    QMKVD_RULE_HANDLER(MKV_ID_CUE_BLOCK_NUMBER, ReadBlockNumber),
    QMKVD_RULE_HANDLER(MKV_ID_CUE_TRACK, ReadCueTrack),
};
const QMKVD_MASTER kPositions = QMKVD_MASTER_OF(kPositionsRules, /*skip_empty=*/false,
                                                /*cap_size=*/true, QMKVD_OVERRUN_STOP);

int WalkPositions(CueBuffer* buffer, int64_t data, int64_t size, QMKVD_CUE* cue) {
  cue->cluster_pos = 0;
  if (size < 1) return QMKVD_OK;
  return WalkBuffer(buffer, data, size, &kPositions, cue);
}

// ---- CuePoint ---------------------------------------------------------------------------------

int ReadCueTime(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  static_cast<QMKVD_CUE*>(record)->time = PayloadValue(walk, child);
  return QMKVD_WALK_NEXT;
}

// A CuePoint read as one cue: its time, and its last CueTrackPositions with their count.
int ReadOnePositions(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  CueBuffer* buffer = static_cast<CueBuffer*>(walk->user);
  QMKVD_CUE* cue = static_cast<QMKVD_CUE*>(record);
  cue->positions_data_pos = static_cast<uint64_t>(buffer->file_pos + child->data_pos);
  cue->positions_size = static_cast<uint32_t>(child->size);
  cue->positions_count++;
  return WalkPositions(buffer, child->data_pos, cue->positions_size, cue) == QMKVD_OK
             ? QMKVD_WALK_NEXT
             : -1;
}

const QMKVD_CHILD_RULE kPointRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_CUE_TIME, ReadCueTime),
    QMKVD_RULE_HANDLER(MKV_ID_CUE_TRACK_POSITIONS, ReadOnePositions),
};
const QMKVD_MASTER kPoint = QMKVD_MASTER_OF(kPointRules, /*skip_empty=*/false,
                                            /*cap_size=*/true, QMKVD_OVERRUN_STOP);

// ---- Cues -------------------------------------------------------------------------------------

// The table being filled, and the CuePoint being split into entries.
struct TableFill {
  QMKVD_CUE_TABLE* cues;
  uint32_t step;
  QMKVD_CUE timed;  // the CuePoint's position and time, copied into each entry
};

uint32_t FirstCapacity(uint32_t cues_size, uint64_t first_point_size) {
  if (first_point_size < 1) return kFirstCapacity;
  const int64_t q = static_cast<int64_t>(cues_size) / static_cast<int64_t>(first_point_size);
  if (q < kEstimateThreshold) return kFirstCapacity;
  const uint32_t estimate = static_cast<uint32_t>(q) / 10;
  return estimate > kMaxFirstCapacity ? kMaxFirstCapacity : estimate;
}

bool Grow(QMKVD_CUE_TABLE* cues, uint32_t step) {
  return qmkvd_grow_array(&cues->entries, cues->count, &cues->capacity, step);
}

// A CueTrackPositions becomes an entry when it has a cluster position and does not index an
// audio track, at its CuePoint's time: ffmpeg cues its video and audio key frames of one moment
// in one CuePoint, and every track keeps its own entries.
int AppendPositions(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  CueBuffer* buffer = static_cast<CueBuffer*>(walk->user);
  TableFill* fill = static_cast<TableFill*>(record);
  QMKVD_CUE cue = fill->timed;
  cue.positions_data_pos = static_cast<uint64_t>(buffer->file_pos + child->data_pos);
  cue.positions_size = static_cast<uint32_t>(child->size);
  cue.positions_count = 1;
  if (WalkPositions(buffer, child->data_pos, cue.positions_size, &cue) != QMKVD_OK) return -1;
  if (cue.cluster_pos == 0) return QMKVD_WALK_NEXT;
  QMKVD_CUE_TABLE* cues = fill->cues;
  if (cues->count >= cues->capacity && !Grow(cues, fill->step)) return -1;
  cues->entries[cues->count++] = cue;
  return QMKVD_WALK_NEXT;
}

int ReadPointTime(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  return ReadCueTime(walk, child, &static_cast<TableFill*>(record)->timed);
}

const QMKVD_CHILD_RULE kPointEntriesRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_CUE_TIME, ReadPointTime),
    QMKVD_RULE_HANDLER(MKV_ID_CUE_TRACK_POSITIONS, AppendPositions),
};
const QMKVD_MASTER kPointEntries = QMKVD_MASTER_OF(kPointEntriesRules, /*skip_empty=*/false,
                                                   /*cap_size=*/true, QMKVD_OVERRUN_STOP);

// A CuePoint: one entry per CueTrackPositions, all at the CuePoint's time wherever its CueTime
// stands (the last one read, when there are more).
int AppendCuePoint(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  CueBuffer* buffer = static_cast<CueBuffer*>(walk->user);
  TableFill* fill = static_cast<TableFill*>(record);
  QMKVD_CUE_TABLE* cues = fill->cues;
  if (cues->capacity == 0) {
    fill->step = FirstCapacity(cues->size, child->size);
    if (!Grow(cues, fill->step)) return -1;
  }
  fill->timed = QMKVD_CUE();
  fill->timed.data_pos = static_cast<uint64_t>(buffer->file_pos + child->data_pos);
  fill->timed.size = static_cast<uint32_t>(child->size);
  const int64_t length = fill->timed.size;
  if (length + child->data_pos > static_cast<int64_t>(cues->size)) return -1;
  const uint32_t first = cues->count;
  if (WalkBuffer(buffer, child->data_pos, length, &kPointEntries, fill) != QMKVD_OK) return -1;
  for (uint32_t i = first; i < cues->count; ++i) cues->entries[i].time = fill->timed.time;
  return QMKVD_WALK_NEXT;
}

// A CuePoint running past the Cues fails them; anything else that does ends them.
const QMKVD_CHILD_RULE kCuesRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_CUE_POINT, AppendCuePoint),
};
const QMKVD_MASTER kCues =
    QMKVD_MASTER_OF(kCuesRules, /*skip_empty=*/false, /*cap_size=*/false, QMKVD_OVERRUN_FOLLOW);

int Fail(QMKVD_CUE_TABLE* cues, uint8_t* buffer) {
  free(buffer);
  free(cues->entries);
  cues->entries = nullptr;
  cues->count = 0;
  return QMKVD_ERR_READ;
}

// The payload is read with one allocation of its declared size: refused when it is larger than
// the rest of the file (a truncated file, or a hostile size), or, where the source cannot tell
// its size, larger than any real cue table.
bool PayloadFitsFile(QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, const QMKVD_CUE_TABLE* cues) {
  if (cues->size > QMKVD_MAX_CUES_SIZE) return false;
  int64_t file_size = 0;
  if (mfal->getsize(fp, &file_size) != 0 || file_size <= 0) return true;
  return cues->data_pos >= 0 && cues->data_pos <= file_size &&
         static_cast<int64_t>(cues->size) <= file_size - cues->data_pos;
}

}  // namespace

int parse_cues_ctx_fast(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                        QMKVD_CUE_TABLE* cues) {
  free(cues->entries);  // a table from an earlier parse is replaced
  cues->entries = nullptr;
  cues->count = 0;
  cues->capacity = 0;
  mfal->setpos(fp, &cues->data_pos);
  if (!PayloadFitsFile(mfal, fp, cues)) return QMKVD_ERR_READ;
  if (cues->size == 0) return QMKVD_OK;
  // Zeroed, so that bytes the file does not have read as zero (and fail as headers).
  uint8_t* bytes = static_cast<uint8_t*>(calloc(cues->size + kBufferPadding, 1));
  if (!bytes) return Fail(cues, bytes);
  mfal->read(fp, bytes, static_cast<int>(cues->size));
  CueBuffer buffer;
  OpenBuffer(&buffer, ctx, bytes, static_cast<int64_t>(cues->size) + kBufferPadding,
             cues->data_pos);
  TableFill fill = {cues, 0, QMKVD_CUE()};
  if (WalkBuffer(&buffer, 0, cues->size, &kCues, &fill) != QMKVD_OK) return Fail(cues, bytes);
  free(bytes);
  if (cues->count == 0) {
    free(cues->entries);
    cues->entries = nullptr;
  }
  return QMKVD_OK;
}

int parse_cuepoint_ctx_fast(QMKVD_CTX* ctx, const uint8_t* data, int32_t length, QMKVD_CUE* cue) {
  cue->positions_count = 0;
  if (length < 1) return QMKVD_OK;
  CueBuffer buffer;
  OpenBuffer(&buffer, ctx, data, length, static_cast<int64_t>(cue->data_pos));
  return WalkBuffer(&buffer, 0, length, &kPoint, cue);
}

int parse_cuetrackpositions_ctx_fast(QMKVD_CTX* ctx, const uint8_t* data, int32_t length,
                                     QMKVD_CUE* cue) {
  CueBuffer buffer;
  OpenBuffer(&buffer, ctx, data, length, 0);
  return WalkPositions(&buffer, 0, length, cue);
}

int get_seek_from_cues(void*, void*, void*, const QMKVD_CUE_TABLE* cues, QMKVD_SEEK_TABLE* seek,
                       uint32_t track) {
  free(seek->entries);  // a table built before is replaced
  seek->entries = nullptr;
  seek->count = 0;
  seek->capacity = cues->count;
  if (cues->count == 0 || !cues->entries) return QMKVD_OK;
  seek->entries = static_cast<QMKVD_SEEK_ENTRY*>(calloc(cues->count, sizeof(QMKVD_SEEK_ENTRY)));
  if (!seek->entries) return QMKVD_ERR_READ;
  for (uint32_t i = 0; i < cues->count; ++i) {
    const QMKVD_CUE& cue = cues->entries[i];
    if (cue.track != track) continue;
    seek->entries[seek->count++] = QMKVD_SEEK_ENTRY{cue.time, cue.cluster_pos};
  }
  return QMKVD_OK;
}
