// Video decoder capabilities of the device.
#include "common/qcmn_mmcaps.h"

#include "common/qcmn_fourcc.h"

namespace {

struct Capability {
  uint32_t code;
  uint32_t max_width;  // the landscape limit; portrait is the same box turned
  uint32_t max_height;
};

// 4K (4096 x 2176, macroblock-aligned) for the codecs with hardware decoders that reach it;
// full HD (1920 x 1088) for the rest. Edit here for another device.
constexpr uint32_t k4kW = 4096, k4kH = 2176;
constexpr uint32_t kHdW = 1920, kHdH = 1088;

const Capability kCapabilities[] = {
    {qcmn_fourcc("h264"), k4kW, k4kH}, {qcmn_fourcc("H264"), k4kW, k4kH},
    {qcmn_fourcc("x264"), k4kW, k4kH}, {qcmn_fourcc("X264"), k4kW, k4kH},
    {qcmn_fourcc("AVC1"), k4kW, k4kH}, {qcmn_fourcc("avc1"), k4kW, k4kH},
    {qcmn_fourcc("hvc1"), k4kW, k4kH}, {qcmn_fourcc("hev1"), k4kW, k4kH},
    {qcmn_fourcc("VP90"), k4kW, k4kH}, {qcmn_fourcc("av01"), k4kW, k4kH},

    {qcmn_fourcc("xvid"), kHdW, kHdH}, {qcmn_fourcc("XVID"), kHdW, kHdH},
    {qcmn_fourcc("fmp4"), kHdW, kHdH}, {qcmn_fourcc("FMP4"), kHdW, kHdH},
    {qcmn_fourcc("MP4V"), kHdW, kHdH}, {qcmn_fourcc("mp4v"), kHdW, kHdH},
    {qcmn_fourcc("VP80"), kHdW, kHdH}, {qcmn_fourcc("MP43"), kHdW, kHdH},
    {qcmn_fourcc("s263"), kHdW, kHdH}, {qcmn_fourcc("S263"), kHdW, kHdH},
    {qcmn_fourcc("h263"), kHdW, kHdH}, {qcmn_fourcc("H263"), kHdW, kHdH},
    {qcmn_fourcc("MPG2"), kHdW, kHdH}, {qcmn_fourcc("mpg2"), kHdW, kHdH},
};

const Capability* Find(uint32_t code) {
  for (const Capability& c : kCapabilities) {
    if (c.code == code) return &c;
  }
  return nullptr;
}

}  // namespace

int32_t qvid_get_mm_spec(int32_t query, uint32_t code, void* answer) {
  if (query != QVID_MM_QUERY_SUPPORT && query != QVID_MM_QUERY_LIMITS) {
    return QVID_MM_ERR_UNKNOWN_QUERY;
  }
  if (!answer) return QVID_MM_ERR_NULL_ANSWER;
  const Capability* cap = Find(code);
  if (query == QVID_MM_QUERY_SUPPORT) {
    static_cast<QVID_MM_SUPPORT*>(answer)->supported = cap ? 1 : 0;
    return cap ? QVID_MM_OK : QVID_MM_ERR_UNSUPPORTED;
  }
  if (!cap) return QVID_MM_ERR_UNSUPPORTED;
  QVID_MM_LIMITS* limits = static_cast<QVID_MM_LIMITS*>(answer);
  limits->landscape_width = cap->max_width;
  limits->landscape_height = cap->max_height;
  limits->portrait_width = cap->max_height;
  limits->portrait_height = cap->max_width;
  return QVID_MM_OK;
}
