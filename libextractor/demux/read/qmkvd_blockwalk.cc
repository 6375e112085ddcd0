// The block walk: from the stream's cursor to the next block of its track, across Clusters.
#include <string.h>

#include "common/qcmn_log.h"
#include "demux/ebml/qmkvd_ebml.h"
#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_util.h"
#include "demux/ebml/qmkvd_walk.h"
#include "demux/qmkvd_status.h"
#include "demux/read/qmkvd_block.h"
#include "demux/seek/qmkvd_cluster.h"

namespace {

enum : int64_t {
  // A subtitle stream waits this long (100-ns units) past the first block the walk met, then
  // yields an empty frame, so that a player never waits on it.
  kTextGiveUpSpan = 5000000,  // 0.5 s
  // Other streams wait as long as the data goes on (audio delayed by a minute, a long still in
  // variable-frame-rate video); one call walks at most this many bytes of other tracks' blocks,
  // so that a track that ended early does not read the rest of a long file at once.
  kMaxWalkBytes = int64_t{512} << 20,
};

// Header bytes of a block: track number (1-4 bytes), relative timecode (2), flags (1).
enum { kBlockHeaderMax = 7 };

// Where the current Cluster's data ends as far as reading on inside it goes: a Cluster of
// unknown size is read until an element in it is not a block.
int64_t ClusterEnd(const QMKVD_CLUSTER_STATE* c) {
  return c->unknown_size ? INT64_MAX : qmkvd_pos_add(c->data_pos, c->size);
}

// Makes the Cluster after the current one the current Cluster. 0 found and parsed, 1 none, -1
// parse failure.
int32_t MoveToNextCluster(QMKVDS_CTX* s) {
  const int64_t from = qmkvd_cluster_end(s->mfal, s->fp, &s->cluster);
  uint64_t size = 0;
  int64_t payload = 0;
  if (!qmkvd_cluster_next(s->mfal, s->fp, from, &size, &payload)) return QMKVD_END;
  qmkvd_cluster_enter(&s->cluster, payload, size, qmkvd_ebml_size_is_unknown(size));
  return parse_cluster(s->mfal, s->fp, &s->cluster) == 0 ? QMKVD_OK : QMKVD_ERR_READ;
}

// Track number and relative timecode from the block's first bytes.
bool ReadBlockHeader(QMKVDS_CTX* s, const QMKVD_BLOCK_LOCATOR* loc, QMKVD_BLOCK* block) {
  uint8_t buf[kBlockHeaderMax];
  const int want = loc->size < kBlockHeaderMax ? static_cast<int>(loc->size) : kBlockHeaderMax;
  if (s->mfal->setpos(s->fp, &loc->data_pos) != 0) return false;
  if (want < 1 || s->mfal->read(s->fp, buf, want) != want) return false;
  const int head = qmkvd_block_head(buf, want, &block->track, &block->relative_timecode);
  if (head < 0) return false;
  // Leave the handle at the flags byte.
  const int64_t flags_pos = loc->data_pos + head;
  return s->mfal->setpos(s->fp, &flags_pos) == 0;
}

int64_t BlockTime(const QMKVDS_CTX* s, int16_t relative) {
  return qmkvd_block_time(s->cluster.timecode, relative, s->timecode_scale);
}

}  // namespace

int32_t get_blockgroup(QMKVDS_CTX* s, QMKVD_BLOCK* block) {
  memset(block, 0, sizeof(*block));
  const bool text = s->kind == QMKVD_TRACK_TEXT;
  bool have_first = false;
  int64_t first_pos = 0;
  int64_t first_time = 0;
  // A cursor without a Cluster (a seek found nothing after its time): nothing more to read.
  // No Cluster payload starts at offset 0, where the EBML header stands.
  if (s->cluster.data_pos == 0) return QMKVD_END;
  for (;;) {
    QMKVD_BLOCK_LOCATOR loc = QMKVD_BLOCK_LOCATOR();
    const bool in_cluster = s->cluster.block_pos < ClusterEnd(&s->cluster);
    if (!in_cluster || parse_cluster_blockgroup(s->mfal, s->fp, &loc, &s->cluster, 1) != QMKVD_OK) {
      const int32_t moved = MoveToNextCluster(s);
      if (moved != QMKVD_OK) return moved;
      continue;
    }
    if (loc.data_pos == 0) continue;  // a BlockGroup without a Block
    // A recording cut off inside this block: the blocks before it were the last.
    if (s->data_size > 0 && qmkvd_pos_add(loc.data_pos, loc.size) > s->data_size) {
      return QMKVD_END;
    }
    if (!ReadBlockHeader(s, &loc, block)) return QMKVD_ERR_READ;
    if (block->relative_timecode < 0 && s->cluster.timecode == 0) block->relative_timecode = 0;
    block->duration = loc.duration;
    block->in_group = loc.in_group;
    block->referenced = loc.referenced;
    block->payload_end = qmkvd_pos_add(loc.data_pos, loc.size);
    block->time = BlockTime(s, block->relative_timecode);
    if (s->skip_pending && block->time == s->target_time) s->skip_pending = 0;
    if (!have_first) {
      have_first = true;
      first_time = block->time;
      first_pos = loc.data_pos;
    } else if (text && qmkvd_time_sub(block->time, first_time) > kTextGiveUpSpan) {
      // A subtitle's own block ends the wait too, and is then delivered: only a block of
      // another track stands for "nothing due", or the cue it ends the wait with would be lost.
      block->other_track = block->track != s->track.number || s->skip_pending;
      return QMKVD_OK;
    } else if (loc.data_pos - first_pos > kMaxWalkBytes) {
      return QMKVD_END;
    }
    if (block->track == s->track.number && !s->skip_pending) return QMKVD_OK;
  }
}

int64_t qmkvd_time_block(QMKVDS_CTX* s, const QMKVD_BLOCK* block) {
  const int64_t t = s->time_fn(s, s->cluster.timecode, block->relative_timecode);
  const bool have_previous = s->prev_block_time != -1;
  if (have_previous && (s->frame_duration == 0 || s->kind == QMKVD_TRACK_AUDIO)) {
    s->frame_duration = qmkvd_time_sub(t, s->prev_block_time);
  }
  s->prev_block_time = t;
  s->block_time = t;
  int64_t duration = s->frame_duration;
  if (s->kind == QMKVD_TRACK_TEXT && block->duration != 0) {
    duration = qmkvd_ticks_to_time(block->duration, s->timecode_scale);
  }
  s->block_end_time = qmkvd_time_add(t, duration);
  return t;
}
