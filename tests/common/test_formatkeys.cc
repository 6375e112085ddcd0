// Format keys, codec-code to MIME mapping, codec capabilities and the AAC configuration parser.
#include <gtest/gtest.h>
#include <media/stagefright/MediaDefs.h>
#include <string.h>

#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "bit_writer.h"
#include "common/qcmn_audcfg.h"
#include "common/qcmn_codecs.h"
#include "common/qcmn_formatkeys.h"
#include "common/qcmn_fourcc.h"
#include "common/qcmn_mimetypes.h"
#include "common/qcmn_mmcaps.h"
#include "common/qcmn_mt.h"

namespace {

using mkvtest::BitWriter;

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
  for (size_t i = 0; i < QCMN_VIDEO_CODE_COUNT; ++i) {
    QVID_MM_LIMITS l = LimitsOf(QCMN_VIDEO_CODES[i], &r);
    EXPECT_EQ(r, QVID_MM_OK);
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

const QAUD_CONFIG kUntouched = {-77, -77, -77, -77, -77};

// Runs the parser with a sentinel output; on failure the output must come back untouched.
int32_t Parse(const std::vector<uint8_t>& bytes, QAUD_CONFIG* out, uint32_t code = 0xFF) {
  QAUD_CONFIG_INPUT in = {bytes.empty() ? nullptr : bytes.data(),
                          static_cast<uint32_t>(bytes.size()), code};
  *out = kUntouched;
  int32_t r = qaud_config_parser(&in, out);
  if (r != QAUD_CFG_OK) {
    EXPECT_EQ(out->aac_profile, -77);
    EXPECT_EQ(out->sample_rate, -77);
    EXPECT_EQ(out->channels, -77);
  }
  return r;
}

void ExpectConfig(const std::vector<uint8_t>& bytes, int32_t profile, int32_t rate,
                  int32_t channels) {
  QAUD_CONFIG c;
  ASSERT_EQ(Parse(bytes, &c), QAUD_CFG_OK);
  EXPECT_EQ(c.aac_profile, profile);
  EXPECT_EQ(c.sample_rate, rate);
  EXPECT_EQ(c.channels, channels);
}

// CodecPrivate of Matroska files from ffmpeg's AAC encoder, as ffprobe -show_data printed it:
//   ffmpeg -f lavfi -i sine=sample_rate=RATE -af aformat=channel_layouts=LAYOUT -c:a aac x.mkv
// The expected values are ffprobe's profile, sample_rate and channels for the same file. The
// encoder appends the SBR sync extension with SBR off (56 E5 00), and for layouts with no
// channel configuration a program config element carrying an "Lavc59.37.100" comment. The
// stereo one is the CodecPrivate of every AAC track in the committed real files.
const std::vector<uint8_t> kQuad48k = {0x11, 0x80, 0x04, 0xC4, 0x04, 0x00, 0x21, 0x10, 0x0D,
                                       'L',  'a',  'v',  'c',  '5',  '9',  '.',  '3',  '7',
                                       '.',  '1',  '0',  '0',  0x56, 0xE5, 0x00};

TEST(AacConfig, EveryTruncation) {
  // Each configuration with the number of bits every configuration of its kind must have;
  // every shorter cut fails, every longer one succeeds with the same fixed fields.
  BitWriter he;
  he.Bits(5, 5).Bits(6, 4).Bits(2, 4).Bits(15, 4).Bits(44100, 24).Bits(31, 5).Bits(0, 6).Bits(0, 3);
  BitWriter esc;
  esc.Bits(31, 5).Bits(10, 6).Bits(15, 4).Bits(32000, 24).Bits(2, 4);
  struct Case {
    std::vector<uint8_t> bytes;
    uint32_t required_bits;
    int32_t profile;
  };
  const Case cases[] = {
      {{0x11, 0x90, 0x56, 0xE5, 0x00}, 13, 2},
      {kQuad48k, 13, 2},
      {he.bytes(), 5 + 4 + 4 + 4 + 24 + 11, 5},
      {esc.bytes(), 11 + 4 + 24 + 4, 42},
  };
  for (const Case& k : cases) {
    for (size_t len = 0; len <= k.bytes.size(); ++len) {
      SCOPED_TRACE(testing::Message() << "profile " << k.profile << " length " << len);
      std::vector<uint8_t> cut(k.bytes.begin(), k.bytes.begin() + len);
      QAUD_CONFIG c;
      int32_t r = Parse(cut, &c);
      if (len == 0) {
        EXPECT_EQ(r, QAUD_CFG_ERR_EMPTY);
      } else if (len * 8 < k.required_bits) {
        EXPECT_EQ(r, QAUD_CFG_ERR_TRUNCATED);
      } else {
        EXPECT_EQ(r, QAUD_CFG_OK);
        EXPECT_EQ(c.aac_profile, k.profile);
      }
    }
  }
  // A program config element that does not fit leaves the count to the container (0), as for
  // a configuration 0 written without one.
  std::vector<uint8_t> cut(kQuad48k.begin(), kQuad48k.begin() + 5);
  ExpectConfig(cut, 2, 48000, 0);
}

}  // namespace
