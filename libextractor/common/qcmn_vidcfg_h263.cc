// H.263 picture header: the size from the source format, or from the custom picture format of
// an H.263+ extended header. A PLUSPTYPE header that does not repeat its options (UFEP 0)
// carries no size: the next picture is asked for.
#include "common/qcmn_bitreader.h"
#include "common/qcmn_vidcfg_internal.h"

namespace qvid {
namespace {

constexpr uint32_t kExtendedPtype = 7;
constexpr uint32_t kCustomFormat = 6;

// Source formats 1..5: sub-QCIF, QCIF, CIF, 4CIF, 16CIF.
bool StandardSize(uint32_t format, uint32_t* w, uint32_t* h) {
  static constexpr uint32_t kW[] = {0, 128, 176, 352, 704, 1408};
  static constexpr uint32_t kH[] = {0, 96, 144, 288, 576, 1152};
  if (format < 1 || format > 5) return false;
  *w = kW[format];
  *h = kH[format];
  return true;
}

int32_t ParsePicture(const uint8_t* data, size_t size, QVID_CONFIG* out) {
  QcmnBitReader br(data, size);
  br.Skip(22);                          // picture start code
  br.Skip(8);                           // temporal reference
  if (br.Bits(2) != 2) return kBroken;  // PTYPE bits 1 and 2 are always 1, 0
  br.Skip(3);                           // split screen, document camera, freeze picture release
  const uint32_t format = br.Bits(3);
  uint32_t width = 0, height = 0;
  if (format != kExtendedPtype) {
    if (br.error() || !StandardSize(format, &width, &height)) return kBroken;
  } else {
    const uint32_t ufep = br.Bits(3);
    if (ufep == 0) return br.error() ? kBroken : kNeedMore;
    if (ufep != 1) return kBroken;
    const uint32_t plus_format = br.Bits(3);
    br.Skip(11);                          // optional mode flags of OPPTYPE
    if (br.Bits(4) != 8) return kBroken;  // OPPTYPE ends in 1 0 0 0
    br.Skip(3 + 3);                       // picture type, RPR, RRU, rounding
    if (br.Bits(3) != 1) return kBroken;  // MPPTYPE ends in 0 0 1
    if (br.Flag()) br.Skip(2);            // CPM, then PSBI
    if (plus_format == kCustomFormat) {
      const uint32_t par = br.Bits(4);
      const uint32_t width_indication = br.Bits(9);
      if (br.Bits(1) != 1) return kBroken;
      const uint32_t height_indication = br.Bits(9);
      if (br.error() || par == 0 || height_indication == 0) return kBroken;
      width = (width_indication + 1) * 4;
      height = height_indication * 4;
    } else if (!StandardSize(plus_format, &width, &height)) {
      return kBroken;
    }
  }
  if (br.error()) return kBroken;
  if (!SideOk(width) || !SideOk(height)) return kBroken;
  out->profile = kUnsignalled;
  out->level = kUnsignalled;
  out->width = width;
  out->height = height;
  return kFound;
}

}  // namespace

int32_t ParseH263(const uint8_t* data, uint32_t length, QVID_CONFIG* out) {
  // The picture start code, byte-aligned: 0000 0000 0000 0000 1000 00.
  for (uint32_t p = 0; p + 3 <= length; ++p) {
    if (data[p] == 0 && data[p + 1] == 0 && (data[p + 2] & 0xFC) == 0x80) {
      return ParsePicture(data + p, length - p, out);
    }
  }
  return kNeedMore;
}

}  // namespace qvid
