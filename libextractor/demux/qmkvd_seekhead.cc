// SeekHead: follows each Seek entry straight to the level-1 element it names, so that Info,
// Tracks, Cues and Tags are found even when they stand behind the Clusters.
#include <string.h>

#include "common/qcmn_log.h"
#include "demux/qmkvd_ebml.h"
#include "demux/qmkvd_header.h"
#include "demux/qmkvd_ids.h"
#include "demux/qmkvd_walk.h"

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

int FollowSeek(QMKVD_WALK* walk, const QMKVD_CHILD* child, void*) {
  if (parse_seekhead_seek(walk->ctx, walk->mfal, walk->fp, child->data_pos,
                          static_cast<int64_t>(child->size)) != 0) {
    qcmn_log(QCMN_LOG_WARN, nullptr, "parse_seekhead_seek failed");
    return -1;
  }
  return QMKVD_WALK_NEXT;
}

const QMKVD_CHILD_RULE kSeekHeadRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_SEEK, FollowSeek),
};
const QMKVD_MASTER kSeekHead =
    QMKVD_MASTER_OF(kSeekHeadRules, /*skip_empty=*/false, /*cap_size=*/false, QMKVD_OVERRUN_FOLLOW);

// Element position already known for a level-1 element, for a Seek with position 0.
bool KnownElementPos(const QMKVD_CTX* ctx, uint64_t id, int64_t* pos) {
  switch (id) {
    case MKV_ID_CHAPTERS: *pos = ctx->chapters.elem_pos; return true;
    case MKV_ID_TAGS: *pos = ctx->tags.pos.elem_pos; return true;
    case MKV_ID_INFO: *pos = ctx->info.pos.elem_pos; return true;
    case MKV_ID_CLUSTER: *pos = ctx->first_cluster.pos.elem_pos; return true;
    case MKV_ID_CUES: *pos = static_cast<int64_t>(ctx->cues.elem_pos); return true;
    case MKV_ID_ATTACHMENTS: *pos = ctx->attachments.elem_pos; return true;
    case MKV_ID_TRACKS: *pos = ctx->tracks.pos.elem_pos; return true;
    default: return false;
  }
}

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
      if (found->tags) return 0;
      StorePos(&ctx->tags.pos, data_pos, size);
      if (parse_tags(ctx, mfal, fp, &ctx->tags) < 0) {
        ctx->tags.count = 0;
        return -1;
      }
      found->tags = 1;
      return 0;
    case MKV_ID_CHAPTERS:
      if (found->chapters) return 0;
      StorePos(&ctx->chapters, data_pos, size);
      if (parse_chapters(ctx, mfal, fp, &ctx->chapters) != 0) return -1;
      found->chapters = 1;
      return 0;
    case MKV_ID_ATTACHMENTS:
      if (found->attachments) return 0;
      StorePos(&ctx->attachments, data_pos, size);
      if (parse_attachments(ctx, mfal, fp, &ctx->attachments) != 0) return -1;
      found->attachments = 1;
      return 0;
    default: return 0;
  }
}

}  // namespace

int parse_seekhead(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                   QMKVD_ELEMENT_POS* seekhead) {
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

  if (entry.position == 0) {
    // No position: the SeekHead's base moves to the element already known by that ID.
    int64_t known = 0;
    if (KnownElementPos(ctx, entry.id, &known)) ctx->seekhead.elem_pos = known;
    return 0;
  }

  int64_t target = qmkvd_pos_add(ctx->seekhead.elem_pos, entry.position);
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
