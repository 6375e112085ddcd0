// Video decoder capabilities of the device.
#include "common/qcmn_mmcaps.h"

#include "common/qcmn_codec_table.h"

namespace {

struct Capability {
  uint32_t max_width;  // the landscape limit; portrait is the same box turned
  uint32_t max_height;
};

// The picture limits the codec table names (4096 x 2176 and 1920 x 1088, macroblock-aligned).
bool Find(uint32_t code, Capability* cap) {
  const QCMN_CODEC* row = qcmn_codec(code, QCMN_KIND_VIDEO);
  if (!row || row->limit == QCMN_LIMIT_NONE) return false;
  *cap = row->limit == QCMN_LIMIT_4K ? Capability{4096, 2176} : Capability{1920, 1088};
  return true;
}

}  // namespace

int32_t qvid_get_mm_spec(int32_t query, uint32_t code, void* answer) {
  if (query != QVID_MM_QUERY_SUPPORT && query != QVID_MM_QUERY_LIMITS) {
    return QVID_MM_ERR_UNKNOWN_QUERY;
  }
  if (!answer) return QVID_MM_ERR_NULL_ANSWER;
  Capability cap = {0, 0};
  const bool found = Find(code, &cap);
  if (query == QVID_MM_QUERY_SUPPORT) {
    static_cast<QVID_MM_SUPPORT*>(answer)->supported = found ? 1 : 0;
    return found ? QVID_MM_OK : QVID_MM_ERR_UNSUPPORTED;
  }
  if (!found) return QVID_MM_ERR_UNSUPPORTED;
  QVID_MM_LIMITS* limits = static_cast<QVID_MM_LIMITS*>(answer);
  limits->landscape_width = cap.max_width;
  limits->landscape_height = cap.max_height;
  limits->portrait_width = cap.max_height;
  limits->portrait_height = cap.max_width;
  return QVID_MM_OK;
}
