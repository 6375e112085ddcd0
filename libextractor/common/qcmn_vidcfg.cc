#include "common/qcmn_vidcfg.h"

#include <string.h>

#include "common/qcmn_fourcc.h"
#include "common/qcmn_vidcfg_internal.h"

namespace qvid {

bool NextUnit(const uint8_t* data, uint32_t length, uint32_t* pos, Unit* unit) {
  uint32_t p = *pos;
  while (p + 3 <= length && !(data[p] == 0 && data[p + 1] == 0 && data[p + 2] == 1)) ++p;
  if (p + 3 > length) {
    *pos = length;
    return false;
  }
  const uint32_t begin = p + 3;
  uint32_t end = begin;
  while (end + 3 <= length && !(data[end] == 0 && data[end + 1] == 0 && data[end + 2] == 1)) ++end;
  if (end + 3 > length) end = length;
  unit->data = data + begin;
  unit->size = end - begin;
  *pos = end;
  return true;
}

}  // namespace qvid

namespace {

enum class Family { kUnknown, kMpeg4, kH264, kHevc, kMsMpeg4v3, kAv1, kH263, kMpeg2 };

Family FamilyOf(uint32_t code) {
  struct Entry {
    uint32_t code;
    Family family;
  };
  static constexpr Entry kTable[] = {
      {qcmn_fourcc("xvid"), Family::kMpeg4},     {qcmn_fourcc("XVID"), Family::kMpeg4},
      {qcmn_fourcc("fmp4"), Family::kMpeg4},     {qcmn_fourcc("FMP4"), Family::kMpeg4},
      {qcmn_fourcc("MP4V"), Family::kMpeg4},     {qcmn_fourcc("mp4v"), Family::kMpeg4},
      {qcmn_fourcc("h264"), Family::kH264},      {qcmn_fourcc("H264"), Family::kH264},
      {qcmn_fourcc("x264"), Family::kH264},      {qcmn_fourcc("X264"), Family::kH264},
      {qcmn_fourcc("AVC1"), Family::kH264},      {qcmn_fourcc("avc1"), Family::kH264},
      {qcmn_fourcc("hvc1"), Family::kHevc},      {qcmn_fourcc("hev1"), Family::kHevc},
      {qcmn_fourcc("MP43"), Family::kMsMpeg4v3}, {qcmn_fourcc("av01"), Family::kAv1},
      {qcmn_fourcc("s263"), Family::kH263},      {qcmn_fourcc("S263"), Family::kH263},
      {qcmn_fourcc("h263"), Family::kH263},      {qcmn_fourcc("H263"), Family::kH263},
      {qcmn_fourcc("MPG2"), Family::kMpeg2},     {qcmn_fourcc("mpg2"), Family::kMpeg2},
  };
  for (const Entry& e : kTable) {
    if (e.code == code) return e.family;
  }
  return Family::kUnknown;
}

}  // namespace

int32_t qvid_config_parser(const QVID_CONFIG_INPUT* in, QVID_CONFIG* out) {
  if (out == nullptr) return qvid::kBroken;
  memset(out, 0, sizeof(*out));
  if (in == nullptr) return qvid::kBroken;
  const Family family = FamilyOf(in->code);
  if (family == Family::kUnknown) return qvid::kUnknownCodec;
  // MS MPEG-4 v3 carries no picture size in its frames; the container's size is all there is.
  if (family == Family::kMsMpeg4v3) return qvid::kFound;
  if (in->data == nullptr && in->length != 0) return qvid::kBroken;
  if (in->length == 0) return qvid::kNeedMore;

  int32_t r = qvid::kUnknownCodec;
  switch (family) {
    case Family::kH264: r = qvid::ParseH264(in->data, in->length, out); break;
    case Family::kHevc: r = qvid::ParseHevc(in->data, in->length, out); break;
    case Family::kMpeg4: r = qvid::ParseMpeg4(in->data, in->length, out); break;
    case Family::kMpeg2: r = qvid::ParseMpeg2(in->data, in->length, out); break;
    case Family::kH263: r = qvid::ParseH263(in->data, in->length, out); break;
    case Family::kAv1: r = qvid::ParseAv1(in->data, in->length, out); break;
    default: break;
  }
  // A half-filled record must not be mistaken for a result.
  if (r != qvid::kFound) memset(out, 0, sizeof(*out));
  return r;
}
