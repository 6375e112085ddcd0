// CodecID to codec tag, and codec tag to media type.
#include <gtest/gtest.h>

#include <utility>

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

TEST(CodecTag, AudioByPrefix) {
  // clang-format off
  const TagCase kCases[] = {
      {2, "A_AAC/MPEG4/LC/SBR", 255u},  {2, "A_AAC", 255u},
      {2, "A_AC3", 0x2000u},  {2, "A_EAC3", qcmn_fourcc("ec-3")},
      {2, "A_MPEG/L3", 85u},  {2, "A_MPEG/L2", 80u},
      {2, "A_MPEG/L1", 80u},  {2, "A_DTS", 0x2001u},
      {2, "A_PCM/INT/LIT", 1u},  {2, "A_PCM/INT/BIG", qcmn_fourcc("lpcm")},
      {2, "A_PCM/FLOAT/IEEE", 3u},  {2, "A_ALAC", qcmn_fourcc("alac")},
      {2, "A_TTA1", 0x77A1u},  {2, "A_WAVPACK4", 0x5756u},
      {2, "A_VORBIS", 0x2674Fu},  {2, "A_FLAC", 0xF1ACu},
      {2, "A_OPUS", qcmn_fourcc("Opus")},  {2, "A_REAL/COOK", qcmn_fourcc("COOK")},
      {2, "A_MS/ACM", 0u},  {2, "A_QUUX", qcmn_fourcc("#QUU")},
      {2, "A_Q", qcmn_fourcc("#???")},
  };
  // clang-format on
  for (const TagCase& c : kCases) EXPECT_EQ(TagOf(c.type, c.id), c.tag) << c.id;
  EXPECT_EQ(TagOf(2, "A_MS/ACM", {0x55, 0x00, 2, 0}), 85u);
}

TEST(CodecTag, SubtitlesAndOthers) {
  // clang-format off
  const TagCase kCases[] = {
      {17, "S_TEXT/UTF8", qcmn_fourcc("SSRT")},  {17, "S_TEXT/SSA", 0x41535353u},
      {17, "S_TEXT/ASS", 0x53534153u},  {17, "S_TEXT/ASCII", 0u},
      {17, "S_VOBSUB", 0u},  {3, "B_VOBBTN", 0u},
  };
  // clang-format on
  for (const TagCase& c : kCases) EXPECT_EQ(TagOf(c.type, c.id), c.tag) << c.id;
}

// One code for every media type of the tables (a few of the many spellings of MPEG-4 Visual),
// and the spellings that differ only in case but not in type, or the other way round.
TEST(MediaType, VideoAndAudioTables) {
  for (const char* c : {"XVID", "dx50", "FMP4", "div4", "m4s2"}) {
    EXPECT_EQ(qcmn_fcc2mt_vid(qcmn_fourcc_bytes(c[0], c[1], c[2], c[3])), 102) << c;
  }
  // clang-format off
  const std::pair<const char*, QCMN_MT> kVideo[] = {
      {"s263", 103}, {"d263", 103}, {"S263", 299}, {"x264", 104}, {"wmv3", 107}, {"div3", 110},
      {"FLV1", 111}, {"RV30", 115}, {"mp43", 117}, {"vc-1", 118}, {"VP80", 119}, {"smhC", 120},
      {"VP90", 121}, {"av1C", 122}, {"MPG2", 299}, {"mpg2", 299}};
  const std::pair<uint32_t, QCMN_MT> kAudio[] = {
      {0, 499}, {3, 499}, {1, 300}, {6, 301}, {7, 302}, {0x160, 312}, {0x161, 312}, {0x162, 313},
      {0x163, 314}, {qcmn_fourcc("mp4a"), 306}, {qcmn_fourcc("MP4A"), 499},
      {qcmn_fourcc("DSD "), 335}, {0x2674F, 323}, {0xF1AC, 322}, {17, 329}, {2, 330},
      {qcmn_fourcc("ec-3"), 337}, {qcmn_fourcc("ac-4"), 338}};
  // clang-format on
  for (const auto& [c, mt] : kVideo) {
    EXPECT_EQ(qcmn_fcc2mt_vid(qcmn_fourcc_bytes(c[0], c[1], c[2], c[3])), mt) << c;
  }
  for (const auto& [code, mt] : kAudio) EXPECT_EQ(qcmn_fcc2mt_aud(code), mt) << std::hex << code;
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
