#include "demux/seek/qmkvd_cues.h"

#include <stdlib.h>
#include <string.h>

#include "demux/ebml/qmkvd_ebml.h"
#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_util.h"
#include "demux/qmkvd_limits.h"
#include "demux/qmkvd_status.h"

namespace {

enum : uint32_t {
  kFirstCapacity = 256,  // also the floor of the estimate
  kMaxFirstCapacity = 4096,
  kEstimateThreshold = 2561,  // CuePoints per first-CuePoint size before the estimate is used
};
// Children above this size are corrupt.
const uint64_t kMaxChildSize = 0x7FFFFFFF;
// Zero bytes after the Cues payload: the element-header reader is given the whole payload as its
// bound at every offset, so a header near the end may look up to 12 bytes further.
const size_t kBufferPadding = 16;

// One child of a master held in memory.
struct Child {
  uint32_t id;
  uint64_t size;
  int64_t data;  // offset of its payload
};

// Reads the child header at `offset`; `bound` is what the header reader is told is available.
bool ReadChild(const uint8_t* base, int64_t offset, int64_t bound, Child* child) {
  uint64_t size = 0;
  uint32_t id = 0;
  const int header =
      qmkvd_ebml_get_id_len64_buff(base + offset, static_cast<int>(bound), &id, &size);
  if (header < 0) return false;
  *child = Child{id, size, offset + header};
  return true;
}

const QMKVD_TRACK* FindTrack(const QMKVD_CTX* ctx, uint32_t number) {
  for (uint32_t i = 0; i < ctx->tracks.count && i < QMKVD_MAX_TRACKS; ++i) {
    if (ctx->tracks.slots[i].number == number) return &ctx->tracks.slots[i];
  }
  return nullptr;
}

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

int AppendCuePoint(QMKVD_CTX* ctx, QMKVD_CUE_TABLE* cues, const uint8_t* data, int32_t length,
                   const QMKVD_CUE& point, uint32_t* step);

// Walks the Cues payload held in `buffer`.
int WalkCues(QMKVD_CTX* ctx, QMKVD_CUE_TABLE* cues, uint8_t* buffer) {
  const int64_t size = cues->size;
  uint32_t step = 0;
  for (int64_t offset = 0; offset < size;) {
    Child child;
    if (!ReadChild(buffer, offset, size, &child)) return Fail(cues, buffer);
    if (child.id == MKV_ID_CUE_POINT) {
      if (cues->capacity == 0) {
        step = FirstCapacity(cues->size, child.size);
        if (!Grow(cues, step)) return Fail(cues, buffer);
      }
      QMKVD_CUE point = QMKVD_CUE();
      point.data_pos = static_cast<uint64_t>(cues->data_pos + child.data);
      point.size = static_cast<uint32_t>(child.size);
      if (static_cast<int64_t>(point.size) + child.data > size) return Fail(cues, buffer);
      if (AppendCuePoint(ctx, cues, buffer + child.data, static_cast<int32_t>(point.size), point,
                         &step) != 0) {
        return Fail(cues, buffer);
      }
    }
    if (child.size > static_cast<uint64_t>(size)) break;
    offset = child.data + static_cast<int64_t>(child.size);
  }
  free(buffer);
  if (cues->count == 0) {
    free(cues->entries);
    cues->entries = nullptr;
  }
  return QMKVD_OK;
}

// The children of a CuePoint or CueTrackPositions payload: a header that cannot be read or a
// size of 2^31 or more fails; a child longer than what is left ends the walk successfully.
template <typename Visit>
int WalkPayload(const uint8_t* data, int32_t length, Visit visit) {
  for (int64_t offset = 0; offset < length;) {
    Child child;
    if (!ReadChild(data, offset, length, &child)) return QMKVD_ERR_READ;
    if (child.size > kMaxChildSize) return QMKVD_ERR_READ;
    if (static_cast<int64_t>(child.size) > length - child.data) return QMKVD_OK;
    int visited = visit(child);
    if (visited != 1) return visited;  // 1: go on
    offset = child.data + static_cast<int64_t>(child.size);
  }
  return QMKVD_OK;
}

enum { kGoOn = 1 };

// A CuePoint becomes one entry per CueTrackPositions that has a cluster position and does not
// index an audio track, each at the point's time: ffmpeg cues its video and audio key frames of
// one moment in one CuePoint, and every track keeps its own entries.
int AppendCuePoint(QMKVD_CTX* ctx, QMKVD_CUE_TABLE* cues, const uint8_t* data, int32_t length,
                   const QMKVD_CUE& point, uint32_t* step) {
  QMKVD_CUE timed = point;
  const int timing = WalkPayload(data, length, [&](const Child& child) {
    if (child.id == MKV_ID_CUE_TIME) {
      timed.time = qmkvd_b2v_u64(data + child.data, static_cast<int>(child.size));
    }
    return static_cast<int>(kGoOn);
  });
  if (timing != QMKVD_OK) return timing;
  return WalkPayload(data, length, [&](const Child& child) {
    if (child.id != MKV_ID_CUE_TRACK_POSITIONS) return static_cast<int>(kGoOn);
    QMKVD_CUE cue = timed;
    cue.positions_data_pos = point.data_pos + static_cast<uint64_t>(child.data);
    cue.positions_size = static_cast<uint32_t>(child.size);
    cue.positions_count = 1;
    if (parse_cuetrackpositions_ctx_fast(ctx, data + child.data, static_cast<int32_t>(child.size),
                                         &cue) != 0) {
      return static_cast<int>(QMKVD_ERR_READ);
    }
    if (cue.cluster_pos == 0) return static_cast<int>(kGoOn);
    if (cues->count >= cues->capacity && !Grow(cues, *step)) {
      return static_cast<int>(QMKVD_ERR_READ);
    }
    cues->entries[cues->count++] = cue;
    return static_cast<int>(kGoOn);
  });
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
  // Zeroed, so that bytes the file does not have read as zero (and fail as headers).
  uint8_t* buffer = static_cast<uint8_t*>(calloc(cues->size + kBufferPadding, 1));
  if (!buffer) return Fail(cues, buffer);
  if (cues->size > 0) mfal->read(fp, buffer, static_cast<int>(cues->size));
  if (cues->size == 0) {
    free(buffer);
    return QMKVD_OK;
  }
  return WalkCues(ctx, cues, buffer);
}

int parse_cuepoint_ctx_fast(QMKVD_CTX* ctx, const uint8_t* data, int32_t length, QMKVD_CUE* cue) {
  cue->positions_count = 0;
  if (length < 1) return QMKVD_OK;
  return WalkPayload(data, length, [&](const Child& child) {
    if (child.id == MKV_ID_CUE_TRACK_POSITIONS) {
      cue->positions_data_pos = cue->data_pos + static_cast<uint64_t>(child.data);
      cue->positions_size = static_cast<uint32_t>(child.size);
      cue->positions_count++;
      if (parse_cuetrackpositions_ctx_fast(ctx, data + child.data, static_cast<int32_t>(child.size),
                                           cue) != 0) {
        return static_cast<int>(QMKVD_ERR_READ);
      }
    } else if (child.id == MKV_ID_CUE_TIME) {
      cue->time = qmkvd_b2v_u64(data + child.data, static_cast<int>(child.size));
    }
    return static_cast<int>(kGoOn);
  });
}

int parse_cuetrackpositions_ctx_fast(QMKVD_CTX* ctx, const uint8_t* data, int32_t length,
                                     QMKVD_CUE* cue) {
  cue->cluster_pos = 0;
  if (length < 1) return QMKVD_OK;
  return WalkPayload(data, length, [&](const Child& child) {
    const uint64_t value = qmkvd_b2v_u64(data + child.data, static_cast<int>(child.size));
    switch (child.id) {
      case MKV_ID_CUE_CLUSTER_POSITION: cue->cluster_pos = value; break;
      case MKV_ID_CUE_BLOCK_NUMBER: cue->block_number = static_cast<uint32_t>(value); break;
      case MKV_ID_CUE_TRACK: {
        cue->track = static_cast<uint32_t>(value);
        // Cue points of audio tracks are left out: audio seeks by the video's cues.
        const QMKVD_TRACK* track = FindTrack(ctx, cue->track);
        if (track && track->type == QMKVD_TRACK_AUDIO) {
          cue->cluster_pos = 0;
          return static_cast<int>(QMKVD_OK);
        }
        break;
      }
      default: break;
    }
    return static_cast<int>(kGoOn);
  });
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
