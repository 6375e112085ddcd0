#include "demux/read/qmkvd_stream.h"

#include <stdlib.h>

#include "common/qcmn_codec_table.h"
#include "common/qcmn_log.h"
#include "common/qcmn_mt.h"
#include "demux/qmkvd_status.h"
#include "demux/read/qmkvd_inflate.h"
#include "demux/seek/qmkvd_cluster.h"

namespace {

void FreeNodeList(QMKVDS_CTX* s) {
  // Each node's second word is its successor.
  QMKVD_CLUSTER* node = s->node_list;
  while (node) {
    QMKVD_CLUSTER* next = node->next;
    free(node);
    node = next;
  }
  s->node_list = nullptr;
}

// File-open modes by stream type; the access layer passes them through unused.
unsigned long OpenMode(uint8_t kind) {
  switch (kind) {
    case QMKVD_TRACK_VIDEO: return 6;
    case QMKVD_TRACK_AUDIO: return 2;
    default: return 0;
  }
}

void SetErr(int32_t* err, int32_t value) {
  if (err) *err = value;
}

// A handle taken for an opening that then fails is given back, so that nothing leaks and a
// later opening starts clean.
void DropFile(QMKVDS_CTX* s) {
  if (s->fp) s->mfal->close(s->fp);
  s->fp = nullptr;
  qmkvd_inflater_free(s->inflater);
  s->inflater = nullptr;
}

void ResetReadState(QMKVDS_CTX* s) {
  s->index_pair[0] = s->index_pair[1] = 0;
  s->index_buffer = nullptr;
  s->index_count = 0;
  s->lace_duration = 0;
  s->pending_size = 0;
  s->frame_announced = 0;
  s->frames_in_block = 0;
  s->lace_count = 0;
  s->lace_cursor = -1;
  s->prev_block_time = -1;
  s->block_time = 0;
  s->block_end_time = 0;
  s->key_frame_pending = 0;
  s->block_flags = 0;
  s->block_key = 0;
  s->empty_pending = 0;
  s->lace_offset_ns = 0;
  s->lace_ns = 0;
  s->framing.previous = s->framing.block_sizes[0];
}

}  // namespace

QMKVDS_CTX* qmkvds_open(QMKVD_CTX* ctx, int32_t stream, int32_t* err) {
  if (!ctx || stream < 0 || ctx->check != QMKVD_CHECK || stream >= ctx->stream_count) {
    return nullptr;
  }
  QMKVDS_CTX* s = &ctx->streams[stream];
  if (s->open) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "stream already opened");
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "strm_open() failed");
    SetErr(err, QMKVD_ERR_ALLOC);
    return nullptr;
  }
  s->mfal = &ctx->mfal;
  s->fp = ctx->mfal.open(&ctx->mfal, OpenMode(s->kind));
  if (!s->fp) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "[qmkvds_open] qmkv_fopen() failed");
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "strm_open() failed");
    SetErr(err, QMKVD_ERR_ALLOC);
    return nullptr;
  }
  s->frame_mfal = s->mfal;
  s->frame_fp = s->fp;
  if (qmkvd_track_inflates_frames(&s->track)) {
    s->inflater = qmkvd_inflater_new();
    if (!s->inflater) {
      qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "strm_open() failed");
      DropFile(s);
      SetErr(err, QMKVD_ERR_ALLOC);
      return nullptr;
    }
  }
  if (!ctx->found.cluster && !ctx->found.cues) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "strm_open() failed");
    DropFile(s);
    SetErr(err, QMKVD_ERR_UNUSABLE);
    return nullptr;
  }
  s->data_size = 0;
  if (s->mfal->getsize(s->fp, &s->data_size) != 0 || s->data_size < 0) s->data_size = 0;
  s->cluster = QMKVD_CLUSTER_STATE();
  s->cluster.first_data_pos = ctx->first_cluster.pos.data_pos;
  s->cluster.first_size = ctx->first_cluster.pos.size;
  s->cluster.first_unknown_size = ctx->first_cluster.unknown_size;
  s->cluster.data_pos = s->cluster.first_data_pos;
  s->cluster.size = s->cluster.first_size;
  s->cluster.unknown_size = s->cluster.first_unknown_size;
  if (parse_cluster(s->mfal, s->fp, &s->cluster) != 0) {
    DropFile(s);
    return nullptr;
  }
  ResetReadState(s);
  s->index = stream;
  s->self = s;
  s->open = 1;
  SetErr(err, QMKVD_OK);
  return s;
}

void qmkvds_close(QMKVDS_CTX* s) {
  if (!s || s->check != QMKVDS_CHECK) return;
  if (!s->open) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "ERR: stream %d already closed!", s->index);
    return;
  }
  DropFile(s);
  s->frame_mfal = nullptr;
  s->frame_fp = nullptr;
  FreeNodeList(s);
  free(s->seek_table.entries);
  s->seek_table = QMKVD_SEEK_TABLE();
  s->seek_table_built = 0;
  s->search_all_cues = 0;
  free(s->index_buffer);
  s->index_buffer = nullptr;
  s->index_count = 0;
  s->index_pair[0] = s->index_pair[1] = 0;
  s->open = 0;
}

int32_t support_lacing(int32_t codec) {
  const QCMN_CODEC* row = qcmn_codec(static_cast<uint32_t>(codec), QCMN_KIND_AUDIO);
  return row && (row->traits & QCMN_CODEC_LACES_WHOLE) ? 1 : 0;
}
