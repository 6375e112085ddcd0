#include "common/qcmn_vidcfg.h"

#include <string.h>

#include "common/qcmn_codec_table.h"
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

QCMN_VIDEO_CONFIG ParserOf(uint32_t code) {
  const QCMN_CODEC* row = qcmn_codec(code, QCMN_KIND_VIDEO);
  return row ? row->config : QCMN_VIDCFG_NONE;
}

}  // namespace

int32_t qvid_config_parser(const QVID_CONFIG_INPUT* in, QVID_CONFIG* out) {
  if (out == nullptr) return qvid::kBroken;
  memset(out, 0, sizeof(*out));
  if (in == nullptr) return qvid::kBroken;
  const QCMN_VIDEO_CONFIG parser = ParserOf(in->code);
  if (parser == QCMN_VIDCFG_NONE) return qvid::kUnknownCodec;
  // MS MPEG-4 v3 carries no picture size in its frames; the container's size is all there is.
  if (parser == QCMN_VIDCFG_MSMPEG4V3) return qvid::kFound;
  if (in->data == nullptr && in->length != 0) return qvid::kBroken;
  if (in->length == 0) return qvid::kNeedMore;

  int32_t r = qvid::kUnknownCodec;
  switch (parser) {
    case QCMN_VIDCFG_H264: r = qvid::ParseH264(in->data, in->length, out); break;
    case QCMN_VIDCFG_HEVC: r = qvid::ParseHevc(in->data, in->length, out); break;
    case QCMN_VIDCFG_MPEG4: r = qvid::ParseMpeg4(in->data, in->length, out); break;
    case QCMN_VIDCFG_MPEG2: r = qvid::ParseMpeg2(in->data, in->length, out); break;
    case QCMN_VIDCFG_H263: r = qvid::ParseH263(in->data, in->length, out); break;
    case QCMN_VIDCFG_AV1: r = qvid::ParseAv1(in->data, in->length, out); break;
    default: break;
  }
  // A half-filled record must not be mistaken for a result.
  if (r != qvid::kFound) memset(out, 0, sizeof(*out));
  return r;
}
