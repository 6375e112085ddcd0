// MPEG-2 video (ISO/IEC 13818-2) sequence header and sequence extension: the size with its
// extension bits, and profile and level. Without an extension (an MPEG-1 style header) the
// size is the header's alone and profile and level are not signalled.
#include "common/qcmn_bitreader.h"
#include "common/qcmn_vidcfg_internal.h"

namespace qvid {
namespace {

constexpr uint8_t kSequenceHeader = 0xB3;
constexpr uint8_t kExtension = 0xB5;
constexpr uint32_t kSequenceExtensionId = 1;

}  // namespace

int32_t ParseMpeg2(const uint8_t* data, uint32_t length, QVID_CONFIG* out) {
  uint32_t pos = 0;
  Unit unit;
  bool have_header = false;
  uint32_t width = 0, height = 0;
  while (NextUnit(data, length, &pos, &unit)) {
    if (unit.size == 0) continue;
    if (!have_header) {
      if (unit.data[0] != kSequenceHeader) continue;
      QcmnBitReader br(unit.data, unit.size);
      br.Skip(8);
      width = br.Bits(12);
      height = br.Bits(12);
      const uint32_t aspect = br.Bits(4);
      const uint32_t frame_rate = br.Bits(4);
      br.Skip(18);                          // bit_rate_value
      if (br.Bits(1) != 1) return kBroken;  // marker
      br.Skip(10 + 1);                      // vbv_buffer_size_value, constrained_parameters
      if (br.Flag()) br.Skip(64 * 8);       // intra_quantiser_matrix
      if (br.Flag()) br.Skip(64 * 8);       // non_intra_quantiser_matrix
      if (br.error() || aspect == 0 || frame_rate == 0) return kBroken;
      if (width == 0 || height == 0) return kBroken;
      have_header = true;
      continue;
    }
    if (unit.data[0] != kExtension) break;  // no sequence extension right after the header
    QcmnBitReader br(unit.data, unit.size);
    br.Skip(8);
    if (br.Bits(4) != kSequenceExtensionId) continue;  // other extensions may come first
    const uint32_t pli = br.Bits(8);
    br.Skip(1);  // progressive_sequence
    const uint32_t chroma = br.Bits(2);
    const uint32_t width_ext = br.Bits(2);
    const uint32_t height_ext = br.Bits(2);
    if (br.error() || chroma == 0) return kBroken;
    width |= width_ext << 12;
    height |= height_ext << 12;
    if (!SideOk(width) || !SideOk(height)) return kBroken;
    // profile_and_level_indication: escape bit, profile (4 Main, 1 High), level (8 Main, 4 High).
    out->profile = static_cast<int32_t>((pli >> 4) & 7);
    out->level = static_cast<int32_t>(pli & 15);
    out->width = width;
    out->height = height;
    return kFound;
  }
  if (!have_header) return kNeedMore;
  out->profile = kUnsignalled;
  out->level = kUnsignalled;
  out->width = width;
  out->height = height;
  return kFound;
}

}  // namespace qvid
