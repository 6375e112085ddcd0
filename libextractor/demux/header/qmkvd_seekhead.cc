// SeekHead: follows each Seek entry straight to the level-1 element it names, so that Info,
// Tracks, Cues and Tags are found even when they stand behind the Clusters.
#include <string.h>

#include "common/qcmn_log.h"
#include "demux/ebml/qmkvd_ebml.h"
#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_walk.h"
#include "demux/header/qmkvd_header.h"

namespace {

// What one Seek entry says.
struct SeekEntry {
  uint64_t id;
  uint64_t position;
};

int ReadSeekId(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  SeekEntry* entry = static_cast<SeekEntry*>(record);
  if (qmkvd_walk_read_uint(walk, child, QMKVD_UINT_MAX, &entry->id) != 0) return -1;
  // The first Cluster is already known: nothing to follow.
  if (entry->id == MKV_ID_CLUSTER && walk->ctx->found.cluster) return QMKVD_WALK_STOP;
  return QMKVD_WALK_NEXT;
}

const QMKVD_CHILD_RULE kSeekRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_SEEK_ID, ReadSeekId),
    QMKVD_RULE_UINT(MKV_ID_SEEK_POSITION, SeekEntry, position, QMKVD_UINT_MAX),
};
const QMKVD_MASTER kSeek =
    QMKVD_MASTER_OF(kSeekRules, /*skip_empty=*/true, /*cap_size=*/false, QMKVD_OVERRUN_FOLLOW);

// Each entry stands on its own: one that leads nowhere is left out, and the others are
// followed. What no entry finds, the walk over the Segment finds in file order.
int FollowSeek(QMKVD_WALK* walk, const QMKVD_CHILD* child, void*) {
  if (parse_seekhead_seek(walk->ctx, walk->mfal, walk->fp, child->data_pos,
                          static_cast<int64_t>(child->size)) != 0) {
    qcmn_log(QCMN_LOG_WARN, nullptr, "parse_seekhead_seek failed: Seek entry left out");
  }
  return QMKVD_WALK_NEXT;
}

const QMKVD_CHILD_RULE kSeekHeadRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_SEEK, FollowSeek),
};
const QMKVD_MASTER kSeekHead =
    QMKVD_MASTER_OF(kSeekHeadRules, /*skip_empty=*/false, /*cap_size=*/false, QMKVD_OVERRUN_FOLLOW);

// SeekHeads walked at most, the first one included: mkvmerge and mkvpropedit chain a second one
// near the end of the file; more are followed no further, which also ends any loop.
const uint32_t kMaxSeekHeads = 4;

void StorePos(QMKVD_ELEMENT_POS* pos, int64_t data_pos, uint64_t size) {
  pos->data_pos = data_pos;
  pos->size = static_cast<uint32_t>(size);
}

// Parses the level-1 element found at a Seek's target, unless that kind is already known.
int ParseTarget(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint32_t id, int64_t elem_pos,
                int64_t data_pos, uint64_t size) {
  QMKVD_FOUND* found = &ctx->found;
  switch (id) {
    case MKV_ID_INFO:
      if (found->info) return 0;
      StorePos(&ctx->info.pos, data_pos, size);
      if (parse_segmentinfo(ctx, mfal, fp, &ctx->info) != 0) return -1;
      found->info = 1;
      return 0;
    case MKV_ID_TRACKS:
      if (found->tracks) return 0;
      StorePos(&ctx->tracks.pos, data_pos, size);
      if (parse_track(ctx, mfal, fp, &ctx->tracks) != 0) return -1;
      found->tracks = 1;
      return 0;
    case MKV_ID_CUES:
      if (found->cues) return 0;
      ctx->cues.data_pos = data_pos;
      ctx->cues.size = static_cast<uint32_t>(size);
      if (parse_cues_ctx_fast(ctx, mfal, fp, &ctx->cues) != 0) return -1;
      // Cues that yield nothing do not count, so a later Cues element may still be taken.
      if (ctx->cues.entries && ctx->cues.count > 0) found->cues = 1;
      return 0;
    case MKV_ID_CLUSTER:
      if (found->cluster) return 0;
      found->cluster = 1;
      ctx->first_cluster.pos.elem_pos = elem_pos;
      StorePos(&ctx->first_cluster.pos, data_pos, size);
      ctx->first_cluster.current_data_pos = data_pos;
      ctx->first_cluster.current_size = static_cast<uint32_t>(size);
      return 0;
    case MKV_ID_TAGS:
    case MKV_ID_CHAPTERS:
    case MKV_ID_ATTACHMENTS:
      return qmkvd_parse_descriptive(ctx, mfal, fp, id, elem_pos, data_pos, size);
    case MKV_ID_SEEKHEAD: {
      QMKVD_ELEMENT_POS next = {elem_pos, data_pos, static_cast<uint32_t>(size)};
      return parse_seekhead(ctx, mfal, fp, &next);
    }
    default: return 0;
  }
}

}  // namespace

int parse_seekhead(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                   QMKVD_ELEMENT_POS* seekhead) {
  if (ctx->found.seekheads >= kMaxSeekHeads) return 0;
  ++ctx->found.seekheads;
  return qmkvd_walk_children(ctx, mfal, fp, seekhead->data_pos, seekhead->size, &kSeekHead, nullptr,
                             nullptr) == 0
             ? 0
             : -1;
}

int parse_seekhead_seek(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, int64_t data_pos,
                        int64_t size) {
  SeekEntry entry = {0, 0};
  int walked =
      qmkvd_walk_children(ctx, mfal, fp, data_pos, size < 0 ? 0 : size, &kSeek, &entry, nullptr);
  if (walked < 0) return -1;
  if (walked == QMKVD_WALK_STOP) return 0;

  // Positions count from the Segment's data, whatever stands before the SeekHead.
  int64_t target = qmkvd_pos_add(ctx->segment_data_pos, entry.position);
  mfal->setpos(fp, &target);
  uint32_t id = 0;
  uint64_t target_size = 0;
  if (qmkvd_ebml_get_id_len64(mfal, fp, &id, &target_size) != 0) {
    qcmn_log(QCMN_LOG_WARN, nullptr, "parse_seekhead_seek : qmkvd_ebml_get_id_len64 failed");
    return -1;
  }
  if (id != entry.id) {
    qcmn_log(QCMN_LOG_WARN, nullptr, "could not find seekid, seekid = %zu, id = %d",
             static_cast<size_t>(entry.id), static_cast<int>(id));
    return -1;
  }
  int64_t target_data = 0;
  mfal->getpos(fp, &target_data);
  return ParseTarget(ctx, mfal, fp, id, target, target_data, target_size);
}
