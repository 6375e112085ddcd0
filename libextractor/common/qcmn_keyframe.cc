#include "common/qcmn_keyframe.h"

namespace {

// A frame's bytes; reading past the end gives 0 instead of touching memory that is not ours.
struct Bytes {
  const uint8_t* data;
  int32_t count;
  uint8_t operator[](int32_t i) const { return (i >= 0 && i < count) ? data[i] : 0; }
};

bool TwoZeros(const Bytes& b, int32_t p) {
  return b[p] == 0 && b[p + 1] == 0;
}
bool StartCode(const Bytes& b, int32_t p) {
  return TwoZeros(b, p) && b[p + 2] == 1;
}

// A short-header (H.263 style) picture header's coding type: 1 intra, 0 inter, -1 undecided
// (extended source format, scan on).
int ShortHeaderPicture(const Bytes& b, int32_t p) {
  if ((b[p + 3] & 3) != 2) return 0;
  if ((b[p + 4] & 0x1C) < 0x1C) return (b[p + 4] & 0x02) == 0 ? 1 : 0;
  return -1;
}

int32_t Mpeg4(const Bytes& b) {
  if (b.count < 5) return 0;
  for (int32_t p = 0; p <= b.count - 5; ++p) {
    if (!TwoZeros(b, p)) continue;
    if ((b[p + 2] & 0xFC) == 0x80) {
      int intra = ShortHeaderPicture(b, p);
      if (intra >= 0) return intra;
    } else if (b[p + 2] == 0x01 && b[p + 3] == 0xB6) {
      return b[p + 4] < 0x40 ? 1 : 0;  // vop_coding_type 0: intra
    }
  }
  return 0;
}

bool NoBits6And5(uint8_t v) {
  return (v & 0x60) == 0;
}

int32_t H263(const Bytes& b) {
  if (b.count < 7) return 0;
  for (int32_t p = 0; p <= b.count - 7; ++p) {
    if (!TwoZeros(b, p)) continue;
    const uint8_t code = b[p + 2] >> 2;
    if (code == 0x21) {  // Sorenson (FLV1) picture start
      if (b[p + 3] != 0 || (b[p + 4] & 0x80)) return NoBits6And5(b[p + 8]) ? 1 : 0;
      return NoBits6And5(b[p + 6]) ? 1 : 0;
    }
    if (code == 0x20) {  // H.263 picture start
      if ((b[p + 3] & 3) != 2) return 0;
      const uint8_t t = b[p + 4];
      if ((t & 0x1C) < 0x1C) return (t & 0x02) == 0 ? 1 : 0;
      const uint8_t u = b[p + 5];
      if (((u >> 7) | ((t & 3) << 1)) != 1) return (u & 0x70) == 0 ? 1 : 0;
      return (b[p + 7] & 0x1C) == 0 ? 1 : 0;
    }
  }
  return 0;
}

int32_t H264(const Bytes& b) {
  if (b.count < 4) return 0;
  for (int32_t p = 0; p <= b.count - 4; ++p) {
    if (!StartCode(b, p)) continue;
    const int type = b[p + 3] & 0x1F;
    if (type == 5) return 1;  // IDR slice
    if (type == 1) return 0;  // non-IDR slice
  }
  return 0;
}

int32_t Hevc(const Bytes& b) {
  if (b.count < 4) return 0;
  for (int32_t p = 0; p <= b.count - 4; ++p) {
    if (!StartCode(b, p)) continue;
    const int type = (b[p + 3] >> 1) & 0x3F;
    if (type >= 16 && type <= 21) return 1;  // BLA, IDR, CRA
    if (type < 10) return 0;                 // a non-random-access slice
  }
  return 0;
}

int32_t Vp9(const Bytes& b) {
  const uint8_t first = b[0];
  if ((first & 0x08) == 0) return (first & 0x04) == 0 ? 1 : 0;
  return (b[1] & 0x80) == 0 ? 1 : 0;
}

}  // namespace

int32_t qcmn_is_vkeyfrm(QCMN_MT mt, const uint8_t* data, int32_t count) {
  if (!data || count < 0) count = 0;
  const Bytes b{data, count};
  switch (mt) {
    case QCMN_MT_MPEG4: return Mpeg4(b);
    case QCMN_MT_H263:
    case QCMN_MT_FLV1: return H263(b);
    case QCMN_MT_H264: return H264(b);
    case QCMN_MT_HEVC: return Hevc(b);
    case QCMN_MT_WMV7:
    case QCMN_MT_DIVX3: return count > 0 && b[0] < 0x40 ? 1 : 0;
    case QCMN_MT_WMV8: return count > 0 && (b[0] & 0x80) == 0 ? 1 : 0;
    case QCMN_MT_VP8: return b[3] == 0x9D && b[4] == 0x01 && b[5] == 0x2A ? 1 : 0;
    case QCMN_MT_VP9: return count > 0 ? Vp9(b) : 0;
    default: return 0;
  }
}
