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

// A few entries of each mapping, the ones that break a pattern (two CodecIDs to one tag, a
// tag in another case, the formats of unknown IDs), rather than the whole table again.
TEST(CodecTag, VideoByPrefix) {
  EXPECT_EQ(TagOf(1, "V_MPEG4/ISO/AVC"), qcmn_fourcc("AVC1"));
  EXPECT_EQ(TagOf(1, "V_MPEG4/ISO/SPX"), qcmn_fourcc("MP4V"));
  EXPECT_EQ(TagOf(1, "V_MPEGH/ISO/HEVC"), qcmn_fourcc("hev1"));
  EXPECT_EQ(TagOf(1, "V_MPEG2"), qcmn_fourcc("mpg2"));
  EXPECT_EQ(TagOf(1, "V_MPEG4/MS/V3"), qcmn_fourcc("MP43"));
  EXPECT_EQ(TagOf(1, "V_REAL/RV40"), qcmn_fourcc("RV40"));
  EXPECT_EQ(TagOf(1, "V_XYZ"), qcmn_fourcc("*XYZ"));
  EXPECT_EQ(TagOf(1, "V_X"), qcmn_fourcc("*???"));
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

TEST(CodecTag, AudioByPrefix) {
  EXPECT_EQ(TagOf(2, "A_AAC/MPEG4/LC/SBR"), 255u);
  EXPECT_EQ(TagOf(2, "A_AC3"), 0x2000u);
  EXPECT_EQ(TagOf(2, "A_MPEG/L3"), 85u);
  EXPECT_EQ(TagOf(2, "A_MPEG/L1"), 80u);
  EXPECT_EQ(TagOf(2, "A_PCM/INT/LIT"), 1u);
  EXPECT_EQ(TagOf(2, "A_PCM/INT/BIG"), qcmn_fourcc("lpcm"));
  EXPECT_EQ(TagOf(2, "A_PCM/FLOAT/IEEE"), 3u);
  EXPECT_EQ(TagOf(2, "A_WAVPACK4"), 0x5756u);
  EXPECT_EQ(TagOf(2, "A_MS/ACM", {0x55, 0x00, 2, 0}), 85u);
  EXPECT_EQ(TagOf(2, "A_MS/ACM"), 0u);
  EXPECT_EQ(TagOf(2, "A_QUUX"), qcmn_fourcc("#QUU"));
  EXPECT_EQ(TagOf(2, "A_Q"), qcmn_fourcc("#???"));
}

TEST(CodecTag, SubtitlesAndOthers) {
  EXPECT_EQ(TagOf(17, "S_TEXT/UTF8"), qcmn_fourcc("SSRT"));
  EXPECT_EQ(TagOf(17, "S_TEXT/SSA"), 0x41535353u);
  EXPECT_EQ(TagOf(17, "S_TEXT/ASS"), 0x53534153u);
  EXPECT_EQ(TagOf(17, "S_TEXT/ASCII"), 0u);
  EXPECT_EQ(TagOf(17, "S_VOBSUB"), 0u);
  EXPECT_EQ(TagOf(3, "B_VOBBTN"), 0u);
}

TEST(MediaType, VideoAndAudioTables) {
  for (const char* c : {"XVID", "dx50", "FMP4", "m4s2"}) {
    EXPECT_EQ(qcmn_fcc2mt_vid(qcmn_fourcc_bytes(c[0], c[1], c[2], c[3])), 102) << c;
  }
  // The same letters in another case may be another type, or none.
  EXPECT_EQ(qcmn_fcc2mt_vid(qcmn_fourcc("s263")), 103);
  EXPECT_EQ(qcmn_fcc2mt_vid(qcmn_fourcc("S263")), 299);
  EXPECT_EQ(qcmn_fcc2mt_vid(qcmn_fourcc("x264")), 104);
  EXPECT_EQ(qcmn_fcc2mt_vid(qcmn_fourcc("av1C")), 122);
  EXPECT_EQ(qcmn_fcc2mt_vid(qcmn_fourcc("mpg2")), 299);
  EXPECT_EQ(qcmn_fcc2mt_aud(0), 499);
  EXPECT_EQ(qcmn_fcc2mt_aud(1), 300);
  EXPECT_EQ(qcmn_fcc2mt_aud(3), 499);
  EXPECT_EQ(qcmn_fcc2mt_aud(0x160), 312);
  EXPECT_EQ(qcmn_fcc2mt_aud(0x161), 312);
  EXPECT_EQ(qcmn_fcc2mt_aud(0x163), 314);
  EXPECT_EQ(qcmn_fcc2mt_aud(qcmn_fourcc("mp4a")), 306);
  EXPECT_EQ(qcmn_fcc2mt_aud(qcmn_fourcc("MP4A")), 499);
  EXPECT_EQ(qcmn_fcc2mt_aud(qcmn_fourcc("ac-4")), 338);
}

TEST(MediaType, CombinedOrderAndGroups) {
  EXPECT_EQ(qcmn_fcc2mt(0x55), 305);
  EXPECT_EQ(qcmn_fcc2mt(qcmn_fourcc("avc1")), 104);
  EXPECT_EQ(qcmn_fcc2mt(qcmn_fourcc("DIVX")), 102);
  EXPECT_EQ(qcmn_fcc2mt_drm(qcmn_fourcc("DIVX")), 1100);
  EXPECT_EQ(qcmn_fcc2mt_drm(qcmn_fourcc("XVID")), 1299);
  EXPECT_EQ(qcmn_fcc2mt(0), 3199);
  EXPECT_EQ(qcmn_fcc2mt(qcmn_fourcc("SSRT")), 3000);
  EXPECT_EQ(qcmn_fcc2mt(qcmn_fourcc("sbtl")), 3006);
  EXPECT_EQ(qcmn_fcc2mt(qcmn_fourcc("SASS")), 3007);
  EXPECT_EQ(qcmn_fcc2mt(qcmn_fourcc("SSSA")), 3008);
  EXPECT_EQ(qcmn_fcc2mt_sub(qcmn_fourcc("avc1")), 3199);
}

}  // namespace
}  // namespace mkvtest
