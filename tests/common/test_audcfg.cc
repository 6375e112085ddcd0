// The AAC AudioSpecificConfig parser: what ffmpeg's encoder writes, the escapes, and every
// truncation of them.
#include <gtest/gtest.h>

#include <vector>

#include "bit_writer.h"
#include "common/qcmn_audcfg.h"

namespace mkvtest {
namespace {

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
}  // namespace mkvtest
