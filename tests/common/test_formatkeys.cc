// The codec table, codec-code to MIME mapping and the decoders' size limits.
#include <gtest/gtest.h>
#include <media/stagefright/MediaDefs.h>
#include <string.h>

#include <string>
#include <utility>
#include <vector>

#include "common/qcmn_codec_table.h"
#include "common/qcmn_formatkeys.h"
#include "common/qcmn_fourcc.h"
#include "common/qcmn_mimetypes.h"
#include "common/qcmn_mmcaps.h"
#include "common/qcmn_mt.h"

namespace {

// Lookups by code and kind take the first row: a second row of the same code and kind would
// never be read.
TEST(CodecTable, EachCodeOncePerKind) {
  for (size_t i = 0; i < QCMN_CODEC_COUNT; ++i) {
    const QCMN_CODEC& row = QCMN_CODECS[i];
    EXPECT_EQ(qcmn_codec(row.code, row.kind), &row) << std::hex << row.code;
  }
}

TEST(FourCC2MIME, SampleAgainstFrameworkStrings) {
  // One code for each type, so that any entry pointing at a wrong type shows.
  // clang-format off
  const std::pair<uint32_t, const char*> kOnePerType[] = {
      {qcmn_fourcc("X264"), "video/avc"},     {qcmn_fourcc("hev1"), "video/hevc"},
      {qcmn_fourcc("VP90"), "video/x-vnd.on2.vp9"}, {qcmn_fourcc("av01"), "video/av01"},
      {qcmn_fourcc("XVID"), "video/mp4v-es"}, {qcmn_fourcc("MP43"), "video/divx3"},
      {qcmn_fourcc("s263"), "video/3gpp"},    {qcmn_fourcc("mpg2"), "video/mpeg2"},
      {0xFF, "audio/mp4a-latm"},              {0x55, "audio/mpeg"},
      {0x50, "audio/mpeg-L2"},                {0x2674F, "audio/vorbis"},
      {0x92, "audio/ac3"},                    {qcmn_fourcc("ec-3"), "audio/eac3"},
      {qcmn_fourcc("Opus"), "audio/opus"},    {qcmn_fourcc("lpcm"), "audio/raw"},
      {0x11, "audio/x-adpcm-dvi-ima"},        {0x161, "audio/x-ms-wma"},
      {qcmn_fourcc("SSRT"), "application/x-subrip"}};
  // clang-format on
  for (const auto& [code, mime] : kOnePerType) EXPECT_STREQ(FourCC2MIME(code), mime) << mime;
  // Same strings as the framework's variables, whatever pointer they come from.
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("AVC1")), android::MEDIA_MIMETYPE_VIDEO_AVC);
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("alac")), android::MEDIA_MIMETYPE_AUDIO_ALAC);
  // Types the framework has no constant for get ours, and they are told apart.
  EXPECT_STREQ(FourCC2MIME(0x2001), QCMN_MIMETYPE_AUDIO_DTS);
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("SASS")), QCMN_MIMETYPE_TEXT_ASS);
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("SSSA")), QCMN_MIMETYPE_TEXT_SSA);
  EXPECT_STRNE(QCMN_MIMETYPE_TEXT_ASS, QCMN_MIMETYPE_TEXT_SSA);
}

// Limits as the front end reads them: a preset record the call overwrites.
QVID_MM_LIMITS LimitsOf(uint32_t code, int32_t* result) {
  QVID_MM_LIMITS l = {1, 2, 3, 4};
  *result = qvid_get_mm_spec(QVID_MM_QUERY_LIMITS, code, &l);
  return l;
}

TEST(DecoderCaps, LimitsFourKForModernCodecsFullHdOtherwise) {
  int32_t r = 1;
  // clang-format off
  const std::tuple<const char*, uint32_t, uint32_t> kCases[] = {
      {"avc1", 4096, 2176}, {"H264", 4096, 2176}, {"hev1", 4096, 2176}, {"hvc1", 4096, 2176},
      {"VP90", 4096, 2176}, {"av01", 4096, 2176}, {"MP4V", 1920, 1088}, {"xvid", 1920, 1088},
      {"VP80", 1920, 1088}, {"MP43", 1920, 1088}, {"h263", 1920, 1088}, {"mpg2", 1920, 1088}};
  // clang-format on
  for (const auto& [c, w, h] : kCases) {
    char cc[5] = {c[0], c[1], c[2], c[3], 0};
    QVID_MM_LIMITS l = LimitsOf(qcmn_fourcc(cc), &r);
    EXPECT_EQ(r, QVID_MM_OK) << c;
    EXPECT_EQ(l.landscape_width, w) << c;
    EXPECT_EQ(l.landscape_height, h) << c;
    EXPECT_EQ(l.portrait_width, h) << c;
    EXPECT_EQ(l.portrait_height, w) << c;
  }
  // Every published code has limits that hold at least full HD in both orientations.
  for (size_t i = 0; i < QCMN_CODEC_COUNT; ++i) {
    const QCMN_CODEC& row = QCMN_CODECS[i];
    if (row.kind != QCMN_KIND_VIDEO || !(row.traits & QCMN_CODEC_PLAYABLE)) continue;
    QVID_MM_LIMITS l = LimitsOf(row.code, &r);
    EXPECT_EQ(r, QVID_MM_OK) << std::hex << row.code;
    EXPECT_GE(l.landscape_width, 1920u);
    EXPECT_EQ(l.portrait_width, l.landscape_height);
    EXPECT_EQ(l.portrait_height, l.landscape_width);
  }
  // No limits for what is not supported: the caller's preset stays.
  QVID_MM_LIMITS l = LimitsOf(qcmn_fourcc("THEO"), &r);
  EXPECT_EQ(r, QVID_MM_ERR_UNSUPPORTED);
  EXPECT_EQ(l.landscape_width, 1u);
  EXPECT_EQ(l.portrait_height, 4u);
}

}  // namespace
