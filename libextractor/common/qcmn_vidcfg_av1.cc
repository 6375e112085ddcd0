// AV1: the sequence header OBU, found either in an av1C record's configOBUs or in a temporal
// unit of low-overhead OBUs. Profile is seq_profile, level the first operating point's
// seq_level_idx, the size max_frame_width/height.
#include "common/qcmn_bitreader.h"
#include "common/qcmn_vidcfg_internal.h"

namespace qvid {
namespace {

constexpr uint32_t kObuSequenceHeader = 1;
constexpr uint8_t kAv1cMarkerVersion1 = 0x81;
constexpr size_t kAv1cFixedSize = 4;

// uvlc(): a leading-zero count then that many value bits; 32 zeros or more mean "maximum".
void SkipUvlc(QcmnBitReader* br) {
  int zeros = 0;
  while (!br->error() && !br->Flag()) {
    if (++zeros >= 32) return;
  }
  br->Skip(static_cast<size_t>(zeros));
}

int32_t ParseSequenceHeader(const uint8_t* data, size_t size, QVID_CONFIG* out) {
  QcmnBitReader br(data, size);
  const uint32_t profile = br.Bits(3);
  if (profile > 2) return kBroken;
  br.Skip(1);  // still_picture
  uint32_t level = 0;
  if (br.Flag()) {  // reduced_still_picture_header
    level = br.Bits(5);
  } else {
    bool decoder_model_info = false;
    uint32_t buffer_delay_bits = 0;
    if (br.Flag()) {  // timing_info_present_flag
      br.Skip(32 + 32);
      if (br.Flag()) SkipUvlc(&br);  // equal_picture_interval
      decoder_model_info = br.Flag();
      if (decoder_model_info) {
        buffer_delay_bits = br.Bits(5) + 1;
        br.Skip(32 + 5 + 5);
      }
    }
    const bool initial_display_delay = br.Flag();
    const uint32_t points = br.Bits(5) + 1;
    for (uint32_t i = 0; i < points && !br.error(); ++i) {
      br.Skip(12);  // operating_point_idc
      const uint32_t op_level = br.Bits(5);
      if (i == 0) level = op_level;
      if (op_level > 7) br.Skip(1);  // seq_tier
      if (decoder_model_info && br.Flag()) br.Skip(2 * buffer_delay_bits + 1);
      if (initial_display_delay && br.Flag()) br.Skip(4);
    }
  }
  const int width_bits = static_cast<int>(br.Bits(4)) + 1;
  const int height_bits = static_cast<int>(br.Bits(4)) + 1;
  const uint64_t width = uint64_t{br.Bits(width_bits)} + 1;
  const uint64_t height = uint64_t{br.Bits(height_bits)} + 1;
  if (br.error()) return kBroken;
  return Found(out, profile, level, width, height);
}

// leb128() of at most 8 bytes; false when cut short or too large.
bool ReadLeb128(const uint8_t* data, uint32_t length, uint32_t* pos, uint64_t* value) {
  uint64_t v = 0;
  for (int i = 0; i < 8; ++i) {
    if (*pos >= length) return false;
    const uint8_t b = data[(*pos)++];
    v |= uint64_t{b & 0x7Fu} << (7 * i);
    if (!(b & 0x80)) {
      *value = v;
      return true;
    }
  }
  return false;
}

int32_t ParseObus(const uint8_t* data, uint32_t length, QVID_CONFIG* out) {
  uint32_t pos = 0;
  while (pos < length) {
    const uint8_t header = data[pos++];
    if (header & 0x80) return kBroken;  // obu_forbidden_bit
    const uint32_t type = (header >> 3) & 0x0F;
    if (header & 0x04) ++pos;  // obu_extension_header
    uint64_t size = 0;
    if (header & 0x02) {
      if (!ReadLeb128(data, length, &pos, &size)) return kBroken;
    } else {
      if (pos > length) return kBroken;
      size = length - pos;  // the last OBU runs to the end
    }
    if (pos > length || size > length - pos) return kBroken;
    if (type == kObuSequenceHeader) {
      return ParseSequenceHeader(data + pos, static_cast<size_t>(size), out);
    }
    pos += static_cast<uint32_t>(size);
  }
  return kNeedMore;
}

}  // namespace

int32_t ParseAv1(const uint8_t* data, uint32_t length, QVID_CONFIG* out) {
  // An OBU header has its top bit clear, so a first byte with it set is an av1C record.
  if (data[0] & 0x80) {
    if (data[0] != kAv1cMarkerVersion1 || length < kAv1cFixedSize) return kBroken;
    if (length == kAv1cFixedSize) return kNeedMore;  // no configOBUs: the frames must tell
    return ParseObus(data + kAv1cFixedSize, length - kAv1cFixedSize, out);
  }
  return ParseObus(data, length, out);
}

}  // namespace qvid
