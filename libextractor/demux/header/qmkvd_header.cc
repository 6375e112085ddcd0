// The header parse: EBML header, Segment, and the walk over the Segment's level-1 elements up
// to the first Cluster (or further, when Info, Tracks or Cues are still missing).
#include <string.h>

#include "common/qcmn_log.h"
#include "demux/ebml/qmkvd_ebml.h"
#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_walk.h"
#include "demux/header/qmkvd_header.h"
#include "demux/seek/qmkvd_cluster.h"

namespace {

const QMKVD_CHILD_RULE kEbmlHeaderRules[] = {
    QMKVD_RULE_UINT(MKV_ID_EBML_VERSION, QMKVD_CTX, ebml_version, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_EBML_READ_VERSION, QMKVD_CTX, ebml_read_version, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_EBML_MAX_ID_LENGTH, QMKVD_CTX, ebml_max_id_length, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_EBML_MAX_SIZE_LENGTH, QMKVD_CTX, ebml_max_size_length, QMKVD_UINT_MAX),
    QMKVD_RULE_TEXT(MKV_ID_DOCTYPE, QMKVD_CTX, doctype),
    QMKVD_RULE_UINT(MKV_ID_DOCTYPE_VERSION, QMKVD_CTX, doctype_version, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_DOCTYPE_READ_VERSION, QMKVD_CTX, doctype_read_version, QMKVD_UINT_MAX),
};
const QMKVD_MASTER kEbmlHeader = QMKVD_MASTER_OF(kEbmlHeaderRules, /*skip_empty=*/true,
                                                 /*cap_size=*/true, QMKVD_OVERRUN_FOLLOW);

// EBML header: its ID, then its children. The DocType is stored, never judged here.
int ParseEbmlHeader(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp) {
  uint32_t id = 0;
  uint64_t size = 0;
  if (qmkvd_ebml_get_id_len64(&ctx->mfal, fp, &id, &size) != 0) return -1;
  if (id != MKV_ID_EBML) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_HEADER, "[parser] ebml is not founded");
    return -1;
  }
  ctx->ebml_size = static_cast<uint32_t>(size);
  mfal->getpos(fp, &ctx->ebml_data_pos);
  if (qmkvd_walk_children(ctx, mfal, fp, ctx->ebml_data_pos, ctx->ebml_size, &kEbmlHeader, ctx,
                          nullptr) != 0) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_HEADER, "[parser] ebml data is not founded");
    return -1;
  }
  return 0;
}

int FindSegment(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp) {
  int64_t pos = qmkvd_pos_add(ctx->ebml_data_pos, ctx->ebml_size);
  mfal->setpos(fp, &pos);
  uint32_t id = 0;
  uint64_t size = 0;
  if (qmkvd_ebml_get_id_len64(mfal, fp, &id, &size) != 0) return -1;
  if (id != MKV_ID_SEGMENT) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_HEADER, "[parser] segment is not founded");
    return -1;
  }
  ctx->segment_size = static_cast<int64_t>(size);
  mfal->getpos(fp, &ctx->segment_data_pos);
  return 0;
}

void SetPos(QMKVD_ELEMENT_POS* pos, const QMKVD_CHILD* el) {
  pos->elem_pos = el->elem_pos;
  pos->data_pos = el->data_pos;
  pos->size = static_cast<uint32_t>(el->size);
}

bool HaveHeaderEssentials(const QMKVD_FOUND* found) {
  return found->cues && found->tracks && found->info;
}

// One level-1 element. Returns -1 when the element fails the whole parse, QMKVD_WALK_STOP when
// the walk has all it needs, 0 to go on.
int DispatchLevel1(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, const QMKVD_CHILD* el) {
  QMKVD_FOUND* found = &ctx->found;
  switch (el->id) {
    case MKV_ID_INFO:
      if (found->info) break;
      found->info = 1;
      SetPos(&ctx->info.pos, el);
      if (parse_segmentinfo(ctx, mfal, fp, &ctx->info) != 0) return -1;
      break;
    case MKV_ID_TRACKS:
      if (found->tracks) break;
      SetPos(&ctx->tracks.pos, el);
      if (parse_track(ctx, mfal, fp, &ctx->tracks) != 0) return -1;
      found->tracks = 1;
      break;
    case MKV_ID_CUES:
      if (found->cues) break;
      ctx->cues.elem_pos = static_cast<uint64_t>(el->elem_pos);
      ctx->cues.data_pos = el->data_pos;
      ctx->cues.size = static_cast<uint32_t>(el->size);
      if (parse_cues_ctx_fast(ctx, mfal, fp, &ctx->cues) != 0) return -1;
      found->cues = 1;
      break;
    case MKV_ID_CLUSTER: {
      // A Cluster of unknown size (a live recording) cannot be stepped over: the walk ends
      // with it, with what it has found before.
      const bool unknown = qmkvd_ebml_size_is_unknown(el->size);
      if (!found->cluster) {
        found->cluster = 1;
        SetPos(&ctx->first_cluster.pos, el);
        ctx->first_cluster.current_data_pos = el->data_pos;
        ctx->first_cluster.current_size = static_cast<uint32_t>(el->size);
        ctx->first_cluster.unknown_size = unknown ? 1 : 0;
        if (unknown) {
          ctx->first_cluster.pos.size = UINT32_MAX;
          ctx->first_cluster.current_size = UINT32_MAX;
        }
      }
      return (unknown || HaveHeaderEssentials(found)) ? QMKVD_WALK_STOP : 0;
    }
    case MKV_ID_SEEKHEAD:
      if (!found->seekhead) ctx->seekhead.elem_pos = el->elem_pos;
      ctx->seekhead.data_pos = el->data_pos;
      ctx->seekhead.size = static_cast<uint32_t>(el->size);
      found->seekhead = 1;
      if (parse_seekhead(ctx, mfal, fp, &ctx->seekhead) != 0) found->seekhead = 0;
      break;
    case MKV_ID_ATTACHMENTS:
    case MKV_ID_CHAPTERS:
    case MKV_ID_TAGS:
      qmkvd_parse_descriptive(ctx, mfal, fp, el->id, el->elem_pos, el->data_pos, el->size);
      break;
    default: break;
  }
  return (found->cluster && HaveHeaderEssentials(found)) ? QMKVD_WALK_STOP : 0;
}

int ReadLevel1(QMKVD_WALK* walk, const QMKVD_CHILD* child, void*) {
  return DispatchLevel1(walk->ctx, walk->mfal, walk->fp, child);
}

// A level-1 element of unknown size ends where the next one starts; a Cluster's end is found
// only when its blocks are read.
const QMKVD_CHILD_RULE kSegmentRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_INFO, ReadLevel1),
    QMKVD_RULE_HANDLER(MKV_ID_TRACKS, ReadLevel1),
    QMKVD_RULE_HANDLER(MKV_ID_CUES, ReadLevel1),
    QMKVD_RULE_HANDLER_UNMEASURED(MKV_ID_CLUSTER, ReadLevel1),
    QMKVD_RULE_HANDLER(MKV_ID_SEEKHEAD, ReadLevel1),
    QMKVD_RULE_HANDLER(MKV_ID_ATTACHMENTS, ReadLevel1),
    QMKVD_RULE_HANDLER(MKV_ID_CHAPTERS, ReadLevel1),
    QMKVD_RULE_HANDLER(MKV_ID_TAGS, ReadLevel1),
};
const QMKVD_MASTER kSegment = {
    kSegmentRules,        sizeof(kSegmentRules) / sizeof(kSegmentRules[0]),
    /*skip_empty=*/false, /*cap_size=*/false,
    QMKVD_OVERRUN_FOLLOW, QMKVD_ENDS_AT_UNREADABLE};

// Walks the Segment's children. A header that cannot be read ends the walk (an unknown-size
// Segment ends this way at the end of the data), but not the parse.
int WalkSegment(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp) {
  const int walked =
      qmkvd_walk_children(ctx, mfal, fp, ctx->segment_data_pos,
                          static_cast<uint64_t>(ctx->segment_size), &kSegment, nullptr, nullptr);
  if (walked == QMKVD_WALK_ENDED) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_HEADER, "Unknown data. Check file. Abnormal file.");
  }
  return walked < 0 ? -1 : 0;
}

}  // namespace

int qmkvd_parse_descriptive(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint32_t id,
                            int64_t elem_pos, int64_t data_pos, uint64_t size) {
  QMKVD_FOUND* found = &ctx->found;
  const QMKVD_CHILD el = {id, size, elem_pos, data_pos};
  int parsed = 0;
  const char* name = "";
  switch (id) {
    case MKV_ID_ATTACHMENTS:
      if (found->attachments) return 0;
      name = "Attachments";
      SetPos(&ctx->attachments, &el);
      parsed = parse_attachments(ctx, mfal, fp, &ctx->attachments);
      if (parsed != 0) ctx->attached.count = 0;
      found->attachments = parsed == 0;
      break;
    case MKV_ID_CHAPTERS:
      if (found->chapters) return 0;
      name = "Chapters";
      SetPos(&ctx->chapters, &el);
      parsed = parse_chapters(ctx, mfal, fp, &ctx->chapters);
      found->chapters = parsed == 0;
      break;
    case MKV_ID_TAGS:
      if (found->tags) return 0;
      name = "Tags";
      SetPos(&ctx->tags.pos, &el);
      parsed = parse_tags(ctx, mfal, fp, &ctx->tags);
      if (parsed < 0) ctx->tags.count = 0;
      found->tags = parsed >= 0;
      break;
    default: return 0;
  }
  if (parsed < 0 || (id != MKV_ID_TAGS && parsed != 0)) {
    qcmn_log(QCMN_LOG_WARN, QCMN_TAG_HEADER, "damaged %s left out", name);
  }
  return 0;
}

int qmkvd_header_parse(QMKVD_CTX* ctx) {
  QCMN_MFAL* mfal = &ctx->mfal;
  QCMN_MFAL_FILE* fp = mfal->open(mfal, 0);
  if (!fp) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_HEADER, "[parser] qmkv_fopen() failed");
    return -1;
  }
  int result = -1;
  if (ParseEbmlHeader(ctx, mfal, fp) == 0 && FindSegment(ctx, mfal, fp) == 0 &&
      WalkSegment(ctx, mfal, fp) == 0) {
    if (ctx->found.info && ctx->found.tracks && ctx->found.cluster) {
      result = 0;
    } else {
      qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_HEADER, "Cannot find enough information. Check file");
    }
  }
  mfal->close(fp);
  return result;
}
