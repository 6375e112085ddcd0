// MPEG-4 Visual (ISO/IEC 14496-2) video object layer header: the rectangular picture size and
// data_partitioned, with profile and level from the visual object sequence header when one
// comes first. Shapes, sprites and complexity estimation are rare enough that a header using
// them is refused rather than guessed at.
#include "common/qcmn_bitreader.h"
#include "common/qcmn_vidcfg_internal.h"

namespace qvid {
namespace {

constexpr uint8_t kVosStart = 0xB0;
constexpr uint8_t kVopStart = 0xB6;
constexpr uint32_t kRectangular = 0;
constexpr uint32_t kGrayscale = 3;
constexpr uint32_t kSpriteGmc = 2;

bool Marker(QcmnBitReader* br) {
  return br->Bits(1) == 1;
}

// A quantiser matrix: up to 64 values, ended early by a zero.
void SkipQuantMatrix(QcmnBitReader* br) {
  for (int i = 0; i < 64 && !br->error(); ++i) {
    if (br->Bits(8) == 0) break;
  }
}

int32_t ParseVol(const uint8_t* data, size_t size, QVID_CONFIG* out) {
  QcmnBitReader br(data, size);
  br.Skip(8);  // start code value 0x20..0x2F
  br.Skip(1);  // random_accessible_vol
  br.Skip(8);  // video_object_type_indication
  uint32_t verid = 1;
  if (br.Flag()) {  // is_object_layer_identifier
    verid = br.Bits(4);
    br.Skip(3);  // video_object_layer_priority
    if (verid != 1 && verid != 2 && verid != 4 && verid != 5) return kBroken;
  }
  if (br.Bits(4) == 15) br.Skip(16);  // extended pixel aspect ratio
  if (br.Flag()) {                    // vol_control_parameters
    br.Skip(2 + 1);                   // chroma_format, low_delay
    if (br.Flag()) {                  // vbv_parameters: values split around marker bits
      br.Skip(15);
      if (!Marker(&br)) return kBroken;
      br.Skip(15);
      if (!Marker(&br)) return kBroken;
      br.Skip(15);
      if (!Marker(&br)) return kBroken;
      br.Skip(3 + 11);
      if (!Marker(&br)) return kBroken;
      br.Skip(15);
      if (!Marker(&br)) return kBroken;
    }
  }
  const uint32_t shape = br.Bits(2);
  if (shape != kRectangular) return kBroken;  // no picture size to report
  if (!Marker(&br)) return kBroken;
  const uint32_t resolution = br.Bits(16);  // vop_time_increment_resolution
  if (resolution == 0 || !Marker(&br)) return kBroken;
  if (br.Flag()) {  // fixed_vop_rate: an increment as wide as resolution - 1 needs
    int bits = 1;
    while (bits < 16 && (1u << bits) < resolution) ++bits;
    br.Skip(static_cast<size_t>(bits));
  }
  if (!Marker(&br)) return kBroken;
  const uint32_t width = br.Bits(13);
  if (!Marker(&br)) return kBroken;
  const uint32_t height = br.Bits(13);
  if (!Marker(&br)) return kBroken;
  br.Skip(1);  // interlaced
  br.Skip(1);  // obmc_disable
  const uint32_t sprite = br.Bits(verid == 1 ? 1 : 2);
  if (sprite != 0 && sprite != kSpriteGmc) return kBroken;  // static sprites
  if (sprite == kSpriteGmc) {
    br.Skip(6 + 2 + 1);  // warping points, accuracy, brightness change
  }
  if (br.Flag()) {  // not_8_bit
    const uint32_t quant_precision = br.Bits(4);
    const uint32_t bits_per_pixel = br.Bits(4);
    if (quant_precision < 3 || quant_precision > 9 || bits_per_pixel < 4 || bits_per_pixel > 12) {
      return kBroken;
    }
  }
  static_assert(kGrayscale != kRectangular, "only rectangular shapes get here");
  if (br.Flag()) {  // quant_type: MPEG quantisation, matrices may follow
    if (br.Flag()) SkipQuantMatrix(&br);
    if (br.Flag()) SkipQuantMatrix(&br);
  }
  if (verid != 1) br.Skip(1);      // quarter_sample
  if (!br.Flag()) return kBroken;  // complexity_estimation_disable == 0: not supported
  br.Skip(1);                      // resync_marker_disable
  const bool data_partitioned = br.Flag();
  if (br.error()) return kBroken;
  if (!SideOk(width) || !SideOk(height)) return kBroken;
  out->width = width;
  out->height = height;
  out->is_mp4_dp = data_partitioned ? 1 : 0;
  return kFound;
}

}  // namespace

int32_t ParseMpeg4(const uint8_t* data, uint32_t length, QVID_CONFIG* out) {
  int32_t profile = kUnsignalled;
  int32_t level = kUnsignalled;
  uint32_t pos = 0;
  Unit unit;
  while (NextUnit(data, length, &pos, &unit)) {
    if (unit.size == 0) continue;
    const uint8_t id = unit.data[0];
    if (id == kVosStart) {
      if (unit.size < 2) return kBroken;
      // profile_and_level_indication: profile in the high nibble, level in the low one
      // (0x08 is Simple profile level 0, 0xF3 Advanced Simple level 3).
      profile = unit.data[1] >> 4;
      level = unit.data[1] & 0x0F;
    } else if (id >= 0x20 && id <= 0x2F) {
      const int32_t r = ParseVol(unit.data, unit.size, out);
      if (r != kFound) return r;
      out->profile = profile;
      out->level = level;
      return kFound;
    } else if (id == kVopStart) {
      return kNeedMore;  // a picture before any layer header: this frame cannot tell
    }
  }
  // No layer header at all: the stream may use the short video header, an H.263 picture
  // header that gives the size itself.
  return ParseH263(data, length, out);
}

}  // namespace qvid
