// HEVC sequence parameter set: general profile and level, and the picture size in luma samples
// (the conformance window is checked but not applied).
#include "common/qcmn_bitreader.h"
#include "common/qcmn_vidcfg_internal.h"

namespace qvid {
namespace {

constexpr size_t kMaxSps = 1024;
constexpr uint32_t kSpsNal = 33;

int32_t ParseSps(const uint8_t* rbsp, size_t size, QVID_CONFIG* out) {
  QcmnBitReader br(rbsp, size);
  br.Skip(16);  // NAL header
  br.Skip(4);   // sps_video_parameter_set_id
  const uint32_t sub_layers = br.Bits(3) + 1;
  if (sub_layers > 7) return kBroken;
  br.Skip(1);  // sps_temporal_id_nesting_flag

  // profile_tier_level(1, sps_max_sub_layers_minus1)
  br.Skip(2 + 1);  // general_profile_space, general_tier_flag
  const uint32_t profile_idc = br.Bits(5);
  br.Skip(32);  // general_profile_compatibility_flags
  br.Skip(48);  // source flags and the constraint / reserved bits
  const uint32_t level_idc = br.Bits(8);
  bool profile_present[7] = {};
  bool level_present[7] = {};
  for (uint32_t i = 0; i + 1 < sub_layers; ++i) {
    profile_present[i] = br.Flag();
    level_present[i] = br.Flag();
  }
  if (sub_layers > 1) br.Skip(2 * (8 - (sub_layers - 1)));  // reserved_zero_2bits
  for (uint32_t i = 0; i + 1 < sub_layers; ++i) {
    if (profile_present[i]) br.Skip(88);
    if (level_present[i]) br.Skip(8);
  }

  if (br.Ue() > 15) return kBroken;  // sps_seq_parameter_set_id
  const uint32_t chroma_format_idc = br.Ue();
  if (chroma_format_idc > 3) return kBroken;
  bool separate_planes = false;
  if (chroma_format_idc == 3) separate_planes = br.Flag();
  const uint64_t width = br.Ue();
  const uint64_t height = br.Ue();
  if (br.Flag()) {  // conformance_window_flag
    const uint64_t left = br.Ue(), right = br.Ue(), top = br.Ue(), bottom = br.Ue();
    const bool no_chroma = chroma_format_idc == 0 || separate_planes;
    const uint64_t sub_w = !no_chroma && chroma_format_idc != 3 ? 2 : 1;
    const uint64_t sub_h = !no_chroma && chroma_format_idc == 1 ? 2 : 1;
    if (br.error()) return kBroken;
    if ((left + right) * sub_w >= width || (top + bottom) * sub_h >= height) return kBroken;
  }
  if (br.error()) return kBroken;
  return Found(out, profile_idc, level_idc, width, height);
}

}  // namespace

int32_t ParseHevc(const uint8_t* data, uint32_t length, QVID_CONFIG* out) {
  uint32_t pos = 0;
  Unit unit;
  while (NextUnit(data, length, &pos, &unit)) {
    if (unit.size < 2 || ((unit.data[0] >> 1) & 0x3F) != kSpsNal) continue;
    uint8_t rbsp[kMaxSps];
    const size_t n = qcmn_unescape_rbsp(unit.data, unit.size, rbsp, sizeof(rbsp));
    return ParseSps(rbsp, n, out);
  }
  return kNeedMore;
}

}  // namespace qvid
