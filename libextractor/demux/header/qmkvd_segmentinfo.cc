// Segment Info: timing, identity and naming of the Segment.
#include <string.h>

#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_util.h"
#include "demux/ebml/qmkvd_walk.h"
#include "demux/header/qmkvd_header.h"

namespace {

// NextUID is taken up to 256 bytes, though only 16 fit its field: the whole payload is read
// (a short read still fails) and what fits is kept.
int ReadNextUid(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_INFO* info = static_cast<QMKVD_INFO*>(record);
  uint8_t scratch[QMKVD_NEXT_UID_MAX];
  if (child->size > QMKVD_NEXT_UID_MAX) return -1;
  if (qmkvd_walk_read_bytes(walk, scratch, child->size) != 0) return -1;
  size_t keep = child->size < sizeof(info->next_uid) ? child->size : sizeof(info->next_uid);
  memcpy(info->next_uid, scratch, keep);
  return QMKVD_WALK_NEXT;
}

// A Duration of 0 would divide later computations by nothing useful; 1 tick stands in for it.
void DefaultDuration(QMKVD_INFO* info) {
  if (info->duration_int == 0) {
    info->duration_int = 1;
    info->duration = 1.0;
  }
}

// Duration is a float element: 8 bytes a double, 4 bytes a single whose fraction is dropped.
int ReadDuration(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_INFO* info = static_cast<QMKVD_INFO*>(record);
  uint64_t bits = 0;
  if (qmkvd_walk_read_uint(walk, child, QMKVD_UINT_MAX, &bits) != 0) return -1;
  info->has_duration = 1;
  if (child->size == 8) {
    info->duration = qmkvd_double_from_bits(bits);
    info->duration_int = qmkvd_double_to_u64(info->duration);
  } else if (child->size == 4) {
    info->duration_int = qmkvd_double_to_u64(qmkvd_float_from_bits(static_cast<uint32_t>(bits)));
    info->duration = static_cast<double>(info->duration_int);
  }
  DefaultDuration(info);
  return QMKVD_WALK_NEXT;
}

const QMKVD_CHILD_RULE kInfoRules[] = {
    QMKVD_RULE_BYTES(MKV_ID_SEGMENT_UID, QMKVD_INFO, segment_uid),
    QMKVD_RULE_TEXT(MKV_ID_SEGMENT_FILENAME, QMKVD_INFO, segment_filename),
    QMKVD_RULE_BYTES(MKV_ID_PREV_UID, QMKVD_INFO, prev_uid),
    QMKVD_RULE_TEXT(MKV_ID_PREV_FILENAME, QMKVD_INFO, prev_filename),
    QMKVD_RULE_HANDLER(MKV_ID_NEXT_UID, ReadNextUid),
    QMKVD_RULE_TEXT(MKV_ID_NEXT_FILENAME, QMKVD_INFO, next_filename),
    QMKVD_RULE_UINT(MKV_ID_TIMECODE_SCALE, QMKVD_INFO, timecode_scale, QMKVD_UINT_MAX),
    QMKVD_RULE_HANDLER(MKV_ID_DURATION, ReadDuration),
    QMKVD_RULE_TEXT(MKV_ID_TITLE, QMKVD_INFO, title),
    QMKVD_RULE_TEXT(MKV_ID_MUXING_APP, QMKVD_INFO, muxing_app),
    QMKVD_RULE_TEXT(MKV_ID_WRITING_APP, QMKVD_INFO, writing_app),
    QMKVD_RULE_UINT(MKV_ID_DATE_UTC, QMKVD_INFO, date_utc, QMKVD_UINT_MAX),
};
const QMKVD_MASTER kInfo =
    QMKVD_MASTER_OF(kInfoRules, /*skip_empty=*/true, /*cap_size=*/true, QMKVD_OVERRUN_FOLLOW);

}  // namespace

int parse_segmentinfo(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_INFO* info) {
  QMKVD_ELEMENT_POS pos = info->pos;
  memset(info, 0, sizeof(*info));
  info->pos = pos;
  if (qmkvd_walk_children(ctx, mfal, fp, pos.data_pos, pos.size, &kInfo, info, nullptr) != 0) {
    return -1;
  }
  if (info->timecode_scale == 0) info->timecode_scale = QMKVD_DEFAULT_TIMECODE_SCALE;
  DefaultDuration(info);
  return 0;
}
