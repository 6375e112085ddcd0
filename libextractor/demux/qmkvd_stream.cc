#include "demux/qmkvd_stream.h"

#include <stdlib.h>

#include "common/qcmn_fourcc.h"
#include "common/qcmn_log.h"
#include "common/qcmn_mt.h"

namespace {

void FreeNodeList(QMKVDS_CTX* s) {
  // Each node's second word is its successor.
  void* node = s->node_list;
  while (node) {
    void* next = static_cast<void**>(node)[1];
    free(node);
    node = next;
  }
  s->node_list = nullptr;
}

void FreeClusterList(QMKVDS_CTX* s) {
  QMKVD_CLUSTER* node = s->cluster_list;
  while (node) {
    QMKVD_CLUSTER* next = node->next;
    free(node);
    node = next;
  }
  s->cluster_list = nullptr;
}

}  // namespace

void qmkvds_close(QMKVDS_CTX* s) {
  if (!s || s->check != QMKVDS_CHECK) return;
  if (!s->open) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "ERR: stream %d already closed!", s->index);
    return;
  }
  if (s->fp) {
    s->mfal->close(s->fp);
    s->fp = nullptr;
  }
  FreeNodeList(s);
  FreeClusterList(s);
  free(s->seek_table.entries);
  s->seek_table = QMKVD_SEEK_TABLE();
  free(s->index_buffer);
  s->index_buffer = nullptr;
  s->index_count = 0;
  s->index_pair[0] = s->index_pair[1] = 0;
  s->open = 0;
}

int32_t support_lacing(int32_t codec) {
  switch (static_cast<uint32_t>(codec)) {
    case QCMN_TAG_PCM:
    case QCMN_TAG_IEEE_FLOAT:
    case QCMN_TAG_MPEG_AUDIO:
    case QCMN_TAG_MP3:
    case QCMN_TAG_AC3:
    case QCMN_TAG_FLAC:
    case qcmn_fourcc("ec-3"):
    case qcmn_fourcc("lpcm"):
      return 1;
    default:
      return 0;
  }
}
