// H.264 sequence parameter set: profile, level and the coded size in macroblocks.
#include "common/qcmn_bitreader.h"
#include "common/qcmn_vidcfg_internal.h"

namespace qvid {
namespace {

// The fields we need end before the VUI; even a 12-list scaling matrix fits well within this.
constexpr size_t kMaxSps = 1024;

bool HasChromaFields(uint32_t profile_idc) {
  switch (profile_idc) {
    case 100:
    case 110:
    case 122:
    case 244:
    case 44:
    case 83:
    case 86:
    case 118:
    case 128:
    case 138:
    case 139:
    case 134:
    case 135: return true;
    default: return false;
  }
}

bool SkipScalingList(QcmnBitReader* br, int size) {
  int32_t last = 8;
  int32_t next = 8;
  for (int j = 0; j < size; ++j) {
    if (next != 0) {
      const int32_t delta = br->Se();
      if (br->error() || delta < -128 || delta > 127) return false;
      next = (last + delta + 256) % 256;
    }
    last = next == 0 ? last : next;
  }
  return !br->error();
}

int32_t ParseSps(const uint8_t* rbsp, size_t size, QVID_CONFIG* out) {
  QcmnBitReader br(rbsp, size);
  br.Skip(8);  // NAL header
  const uint32_t profile_idc = br.Bits(8);
  br.Skip(8);  // constraint flags and reserved bits
  const uint32_t level_idc = br.Bits(8);
  if (br.Ue() > 31) return kBroken;  // seq_parameter_set_id
  uint32_t chroma_format_idc = 1;
  bool separate_planes = false;
  if (HasChromaFields(profile_idc)) {
    chroma_format_idc = br.Ue();
    if (chroma_format_idc > 3) return kBroken;
    if (chroma_format_idc == 3) separate_planes = br.Flag();
    if (br.Ue() > 6 || br.Ue() > 6) return kBroken;  // bit depths, luma then chroma
    br.Skip(1);                                      // qpprime_y_zero_transform_bypass_flag
    if (br.Flag()) {                                 // seq_scaling_matrix_present_flag
      const int lists = chroma_format_idc != 3 ? 8 : 12;
      for (int i = 0; i < lists; ++i) {
        if (br.Flag() && !SkipScalingList(&br, i < 6 ? 16 : 64)) return kBroken;
      }
    }
  }
  if (br.Ue() > 12) return kBroken;  // log2_max_frame_num_minus4
  const uint32_t poc_type = br.Ue();
  if (poc_type == 0) {
    if (br.Ue() > 12) return kBroken;  // log2_max_pic_order_cnt_lsb_minus4
  } else if (poc_type == 1) {
    br.Skip(1);  // delta_pic_order_always_zero_flag
    br.Se();     // offset_for_non_ref_pic
    br.Se();     // offset_for_top_to_bottom_field
    const uint32_t cycle = br.Ue();
    if (cycle > 255) return kBroken;
    for (uint32_t i = 0; i < cycle && !br.error(); ++i) br.Se();
  } else if (poc_type != 2) {
    return kBroken;
  }
  if (br.Ue() > 16) return kBroken;  // max_num_ref_frames
  br.Skip(1);                        // gaps_in_frame_num_value_allowed_flag
  const uint64_t width_mbs = uint64_t{br.Ue()} + 1;
  const uint64_t height_map_units = uint64_t{br.Ue()} + 1;
  const bool frame_mbs_only = br.Flag();
  if (!frame_mbs_only) br.Skip(1);  // mb_adaptive_frame_field_flag
  br.Skip(1);                       // direct_8x8_inference_flag
  const uint64_t width = width_mbs * 16;
  const uint64_t height = height_map_units * 16 * (frame_mbs_only ? 1 : 2);
  if (br.Flag()) {  // frame_cropping_flag
    const uint64_t left = br.Ue(), right = br.Ue(), top = br.Ue(), bottom = br.Ue();
    // Crop units follow the chroma subsampling, doubled vertically for field coding.
    const bool no_chroma = chroma_format_idc == 0 || separate_planes;
    const uint64_t unit_x = no_chroma || chroma_format_idc == 3 ? 1 : 2;
    const uint64_t unit_y =
        (no_chroma || chroma_format_idc != 1 ? 1 : 2) * (frame_mbs_only ? 1 : 2);
    if (br.error()) return kBroken;
    if ((left + right) * unit_x >= width || (top + bottom) * unit_y >= height) return kBroken;
  }
  if (br.error()) return kBroken;
  return Found(out, profile_idc, level_idc, width, height);
}

}  // namespace

int32_t ParseH264(const uint8_t* data, uint32_t length, QVID_CONFIG* out) {
  uint32_t pos = 0;
  Unit unit;
  while (NextUnit(data, length, &pos, &unit)) {
    if (unit.size == 0 || (unit.data[0] & 0x1F) != 7) continue;
    uint8_t rbsp[kMaxSps];
    const size_t n = qcmn_unescape_rbsp(unit.data, unit.size, rbsp, sizeof(rbsp));
    return ParseSps(rbsp, n, out);
  }
  return kNeedMore;
}

}  // namespace qvid
