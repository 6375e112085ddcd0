// CodecID to codec tag, and codec tag to media type.
#include <gtest/gtest.h>


#include "common/qcmn_fourcc.h"
#include "common/qcmn_mt.h"
#include "demux_harness.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

// The codec tag that creation gives a track of this type, CodecID and CodecPrivate.
uint32_t TagOf(int type, const std::string& codec_id, std::vector<uint8_t> priv = {}) {
  std::vector<Element> kids = {Uint(0xD7, 1), Uint(0x83, static_cast<uint64_t>(type)),
                               String(0x86, codec_id)};
  if (!priv.empty()) kids.push_back(Binary(0x63A2, priv));
  Created c(MkvFile({MinimalInfo(), Tracks({TrackEntry(kids)}), SmallCluster()}));
  EXPECT_EQ(c.err(), 0) << codec_id;
  if (c.err() != 0) return 0xDEADBEEF;
  EXPECT_EQ(c.info().codec_tag[0], c.ctx()->streams[0].codec_tag);
  return c.info().codec_tag[0];
}

struct TagCase {
  int type;
  const char* id;
  uint32_t tag;
};

TEST(CodecTag, VideoByPrefix) {
  // clang-format off
  const TagCase kCases[] = {
      {1, "V_MPEG4/ISO/AVC", qcmn_fourcc("AVC1")},  {1, "V_MPEG4/ISO/SPX", qcmn_fourcc("MP4V")},
      {1, "V_MPEG4/ISO/ASP", qcmn_fourcc("MP4V")},  {1, "V_MPEGH/ISO/HEVC", qcmn_fourcc("hev1")},
      {1, "V_MPEG1", qcmn_fourcc("mpg2")},  {1, "V_MPEG2", qcmn_fourcc("mpg2")},
      {1, "V_VP8", qcmn_fourcc("VP80")},  {1, "V_VP9", qcmn_fourcc("VP90")},
      {1, "V_AV1", qcmn_fourcc("av01")},  {1, "V_MPEG4/MS/V3", qcmn_fourcc("MP43")},
      {1, "V_THEORA", qcmn_fourcc("THEO")},  {1, "V_REAL/RV40", qcmn_fourcc("RV40")},
      {1, "V_XYZ", qcmn_fourcc("*XYZ")},  {1, "V_X", qcmn_fourcc("*???")},
  };
  // clang-format on
  for (const TagCase& c : kCases) EXPECT_EQ(TagOf(c.type, c.id), c.tag) << c.id;
}

TEST(CodecTag, VideoFourccFromTheBitmapHeader) {
  std::vector<uint8_t> bih(40, 0);
  bih[16] = 'X';
  bih[17] = 'V';
  bih[18] = 'I';
  bih[19] = 'D';
  EXPECT_EQ(TagOf(1, "V_MS/VFW/FOURCC", bih), qcmn_fourcc("XVID"));
  EXPECT_EQ(TagOf(1, "V_MS/VFW/FOURCC"), 0u);
  // A header too short to hold the field leaves the tag alone.
  EXPECT_EQ(TagOf(1, "V_MS/VFW/FOURCC", std::vector<uint8_t>(19, 'a')), 0u);
}

}  // namespace
}  // namespace mkvtest
