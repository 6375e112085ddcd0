// Seeking a stream: a jump to the Cluster a cue names when the file's cues can be trusted, a
// crawl over the stream's Clusters otherwise.
#include "demux/seek/qmkvd_seek.h"

#include <stdlib.h>

#include "common/qcmn_log.h"
#include "demux/ebml/qmkvd_ebml.h"
#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_util.h"
#include "demux/ebml/qmkvd_walk.h"
#include "demux/qmkvd_status.h"
#include "demux/read/qmkvd_stream.h"
#include "demux/seek/qmkvd_cluster.h"
#include "demux/seek/qmkvd_cues.h"

namespace {

// Cues whose positions are checked before the table is trusted: the first two and the middle.
const uint32_t kProbedCues = 3;

// --- State shared by the streams of one file ---------------------------------------------------
// Every change a seek makes to the demuxer context is one of these three.

void SetSegmentBase(QMKVD_CTX* ctx, int64_t base) {
  ctx->seek.segment_base = base;
}

void DisableCues(QMKVD_CTX* ctx) {
  ctx->seek.cues_usable = 0;
  free(ctx->cues.entries);
  ctx->cues.entries = nullptr;
  ctx->cues.count = 0;
  ctx->cues.capacity = 0;
}

void SetCueIndex(QMKVD_CTX* ctx, int32_t index) {
  ctx->seek.cue_index = index;
}

bool CuesUsable(const QMKVD_CTX* ctx) {
  return ctx->seek.cues_usable && ctx->cues.entries && ctx->cues.count > 0;
}

// --- Positions
// ------------------------------------------------------------------------------------

struct Header {
  uint32_t id;
  uint64_t size;
  int64_t payload;
};

bool ReadHeaderAt(QMKVDS_CTX* s, int64_t pos, Header* h) {
  return s->mfal->setpos(s->fp, &pos) == 0 &&
         qmkvd_ebml_get_id_len64(s->mfal, s->fp, &h->id, &h->size) == 0 &&
         s->mfal->getpos(s->fp, &h->payload) == 0;
}

int64_t CueTarget(const QMKVD_CTX* ctx, uint64_t cluster_pos) {
  return qmkvd_pos_add(ctx->seek.segment_base, cluster_pos);
}

// --- Read state
// -----------------------------------------------------------------------------------

// Frames left over from a laced block are dropped, except for the audio codecs whose blocks are
// delivered whole (their reader keeps no lace state between calls).
void ApplyLaceRule(QMKVDS_CTX* s) {
  if (s->kind == QMKVD_TRACK_AUDIO && !support_lacing(static_cast<int32_t>(s->codec_tag))) {
    s->lace_cursor = -1;
  }
}

void SetOut(int64_t* out, int64_t value) {
  if (out) *out = value;
}

// Back to the first Cluster, time 0.
int32_t Rewind(QMKVDS_CTX* s, int64_t* out) {
  qmkvd_cluster_enter(&s->cluster, s->cluster.first_data_pos, s->cluster.first_size,
                      s->cluster.first_unknown_size != 0);
  if (parse_cluster(s->mfal, s->fp, &s->cluster) != 0) return QMKVD_ERR_READ;
  s->target_time = 0;
  qmkvds_forget_frame(s);
  ApplyLaceRule(s);
  SetOut(out, 0);
  return QMKVD_OK;
}

// --- Cues
// -------------------------------------------------------------------------------------------

// Once per stream: the Segment base is taken from the first cue when the cues count from
// elsewhere than the header said, and a few cue positions are checked for Clusters. Cues that
// point elsewhere are dropped for the whole file.
void CheckCues(QMKVDS_CTX* s) {
  QMKVD_CTX* ctx = s->owner;
  if (!CuesUsable(ctx) || s->seek_table_built) return;
  const int64_t first_cluster = ctx->first_cluster.pos.elem_pos;
  const uint64_t first_cue = ctx->cues.entries[0].cluster_pos;
  if (first_cluster >= 0 && first_cue < static_cast<uint64_t>(first_cluster)) {
    SetSegmentBase(ctx, first_cluster - static_cast<int64_t>(first_cue));
  }
  const uint32_t count = ctx->cues.count;
  for (uint32_t i = 0; i < kProbedCues && i < count; ++i) {
    const uint32_t entry = i < 2 ? i : count / 2;
    Header h;
    if (!ReadHeaderAt(s, CueTarget(ctx, ctx->cues.entries[entry].cluster_pos), &h)) return;
    if (h.id != MKV_ID_CLUSTER) {
      DisableCues(ctx);
      return;
    }
  }
}

// The table a stream searches: its own seek table, or the whole cue table when its track has
// no cue of its own.
int32_t EntryCount(const QMKVDS_CTX* s) {
  const uint32_t n = s->search_all_cues ? s->owner->cues.count : s->seek_table.count;
  return n > INT32_MAX ? INT32_MAX : static_cast<int32_t>(n);
}

bool EntryAt(const QMKVDS_CTX* s, int32_t index, uint64_t* ticks, uint64_t* cluster_pos) {
  if (index < 0 || index >= EntryCount(s)) return false;
  if (s->search_all_cues) {
    *ticks = s->owner->cues.entries[index].time;
    *cluster_pos = s->owner->cues.entries[index].cluster_pos;
  } else {
    *ticks = s->seek_table.entries[index].time;
    *cluster_pos = s->seek_table.entries[index].cluster_pos;
  }
  return true;
}

int32_t Search(const QMKVDS_CTX* s, int64_t time, uint32_t mode) {
  if (s->search_all_cues) return qmkvd_get_searchidx(s->owner, nullptr, time, mode);
  return qmkvd_get_searchidx2(s->owner, nullptr, time, &s->seek_table, mode);
}

// Jumps to the Cluster of entry `index`. The stream then skips to the block at the cue's time
// and, for video, to a key frame.
int32_t Jump(QMKVDS_CTX* s, int32_t index, uint32_t mode, int64_t* out) {
  const int32_t unreadable =
      (mode == QMKVD_SEEK_AFTER || mode == QMKVD_SEEK_BACK) ? QMKVD_ERR_READ : QMKVD_ERR_UNUSABLE;
  uint64_t ticks = 0;
  uint64_t cluster_pos = 0;
  // The shared index may come from another stream's table, which can be longer than this one.
  if (!EntryAt(s, index, &ticks, &cluster_pos)) return QMKVD_ERR_UNUSABLE;
  const int64_t time = qmkvd_ticks_to_time(ticks, s->owner->info.timecode_scale);
  SetOut(out, time);
  Header h;
  const int64_t target = CueTarget(s->owner, cluster_pos);
  if (!ReadHeaderAt(s, target, &h)) return unreadable;
  if (h.id != MKV_ID_CLUSTER) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "###seek position error");
    return QMKVD_ERR_UNUSABLE;
  }
  ApplyLaceRule(s);
  qmkvds_forget_frame(s);
  s->skip_pending = 1;
  s->key_frame_pending = 1;
  s->target_time = time;
  qmkvd_cluster_enter(&s->cluster, h.payload, h.size, qmkvd_ebml_size_is_unknown(h.size));
  if (parse_cluster(s->mfal, s->fp, &s->cluster) != 0) return QMKVD_ERR_UNUSABLE;
  return QMKVD_OK;
}

// Mode 1 found nothing at or after the time: the stream has nothing more to read.
int32_t AtEnd(QMKVDS_CTX* s, int64_t* out) {
  ApplyLaceRule(s);
  s->cluster.data_pos = 0;
  s->cluster.size = 0;
  s->cluster.block_pos = 0;
  SetOut(out, 0);
  return QMKVD_END;
}

// Without cues: the key frame at or before the time (before: a time before the first one
// starts the stream again), at or after it, or the nearer of the two (a tie to the earlier).
int32_t Crawl(QMKVDS_CTX* s, int64_t time, int64_t* out, uint32_t mode) {
  const uint32_t kForward = 1, kBackward = 0;
  int32_t result = QMKVD_OK;
  if (mode == QMKVD_SEEK_AFTER) {
    result = qmkvds_seek_crawl(s, time, out, kForward);
  } else if (mode == QMKVD_SEEK_BEFORE) {
    result = qmkvds_seek_crawl(s, time, out, kBackward);
  } else {
    int64_t before = 0, after = 0;
    const bool has_before = qmkvds_seek_crawl(s, time, &before, kBackward) == QMKVD_OK;
    const bool has_after = qmkvds_seek_crawl(s, time, &after, kForward) == QMKVD_OK;
    if (has_after && (!has_before || after - time < time - before)) {
      SetOut(out, after);  // the forward crawl, the last one run, stands
    } else {
      result = has_before ? qmkvds_seek_crawl(s, time, out, kBackward) : QMKVD_ERR_NOT_FOUND;
    }
  }
  if (result != QMKVD_OK && mode != QMKVD_SEEK_AFTER) return Rewind(s, out);
  ApplyLaceRule(s);
  return result;
}

int32_t SeekBack(QMKVDS_CTX* s, int64_t* out) {
  QMKVD_CTX* ctx = s->owner;
  if (!CuesUsable(ctx)) return QMKVD_ERR_UNUSABLE;
  int32_t index = ctx->seek.cue_index;
  if (index >= 1) index--;
  SetCueIndex(ctx, index);
  return Jump(s, index, QMKVD_SEEK_BACK, out);
}

}  // namespace

void qmkvd_seek_state_init(QMKVD_CTX* ctx) {
  ctx->seek.cues_usable = ctx->found.cues && ctx->cues.entries && ctx->cues.count > 0;
  ctx->seek.segment_base = ctx->segment_data_pos;
  ctx->seek.cue_index = 0;
}

int32_t qmkvds_build_seek_table(QMKVDS_CTX* s) {
  if (s->seek_table_built) return QMKVD_OK;
  if (get_seek_from_cues(nullptr, nullptr, nullptr, &s->owner->cues, &s->seek_table,
                         s->track.number) != 0) {
    return QMKVD_ERR_UNUSABLE;
  }
  s->seek_table_built = 1;
  s->search_all_cues = s->seek_table.count == 0;
  return QMKVD_OK;
}

void qmkvds_forget_frame(QMKVDS_CTX* s) {
  // A skip left by an earlier cue seek that was never read would wait for a block at that
  // seek's time.
  s->skip_pending = 0;
  s->pending_size = 0;
  s->frame_announced = 0;
  s->empty_pending = 0;
  s->frame_counter = 0;
}

int32_t qmkvds_seek(QMKVDS_CTX* s, const int64_t* time, int64_t* out, uint32_t mode) {
  if (!s || s->check != QMKVDS_CHECK) return QMKVD_ERR_HANDLE;
  if (!s->open) return QMKVD_ERR_NOT_FOUND;
  // The gap to the first block after the seek is no frame duration.
  s->prev_block_time = -1;
  s->pending_size = 0;
  s->frame_announced = 0;
  const bool to_start = mode == QMKVD_SEEK_BEFORE || mode == QMKVD_SEEK_NEAREST;
  if (to_start && time && *time == 0) return Rewind(s, out);
  QMKVD_CTX* ctx = s->owner;
  CheckCues(s);
  if (CuesUsable(ctx) && qmkvds_build_seek_table(s) != QMKVD_OK) return QMKVD_ERR_UNUSABLE;
  if (mode > QMKVD_SEEK_NEAREST) return QMKVD_ERR_UNUSABLE;
  if (mode == QMKVD_SEEK_BACK) return SeekBack(s, out);
  // Only mode 1 has a meaning for "no time" (the last frame read).
  if (!time && mode != QMKVD_SEEK_AFTER) return QMKVD_ERR_HANDLE;
  const int64_t wanted = time ? *time : s->block_time;
  if (!CuesUsable(ctx)) return Crawl(s, wanted, out, mode);
  const int32_t index = Search(s, wanted, mode);
  if (mode == QMKVD_SEEK_AFTER) {
    SetCueIndex(ctx, index);
    if (index < 0 || index >= EntryCount(s)) return AtEnd(s, out);
  } else {
    if (index < 0) return Rewind(s, out);
    SetCueIndex(ctx, index);
  }
  return Jump(s, index, mode, out);
}
