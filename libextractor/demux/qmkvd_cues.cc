// Cues. The cue table is not filled yet: a Cues element is located and left empty, so seeking
// will crawl Clusters.
#include "demux/qmkvd_header.h"

int parse_cues_ctx_fast(QMKVD_CTX*, QCMN_MFAL*, QCMN_MFAL_FILE*, QMKVD_CUE_TABLE* cues) {
  cues->entries = nullptr;
  cues->count = 0;
  cues->capacity = 0;
  return 0;
}
