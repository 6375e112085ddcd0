// Files made by real muxers (tests/data, with the script that made them): what the header model
// reads must agree with ffprobe's report in tests/data/ref.
#include <gtest/gtest.h>

#include <string>

#include "common/qcmn_fourcc.h"
#include "demux_harness.h"
#include "real_file.h"

namespace mkvtest {
namespace {

std::string Text(const QMKVD_METADATA_SLOT& slot) {
  return std::string(reinterpret_cast<const char*>(slot.text), slot.length);
}

// Values below are those of tests/data/ref/sample.streams.json.
TEST(RealFiles, SampleAgreesWithFfprobe) {
  std::vector<uint8_t> bytes = ReadDataFile("sample.mkv");
  ASSERT_GT(bytes.size(), 1000u);
  Created c(bytes);
  ASSERT_EQ(c.err(), 0);
  const QMKVD_FILE_INFO& info = c.info();
  ASSERT_EQ(info.stream_count, 2u);
  EXPECT_EQ(info.video_count, 1u);
  EXPECT_EQ(info.audio_count, 1u);
  EXPECT_EQ(info.duration, 20260000);  // 2.026000 s
  EXPECT_EQ(info.codec_tag[0], qcmn_fourcc("AVC1"));
  EXPECT_EQ(info.codec_tag[1], 255u);

  const QMKVD_TRACK& video = c.ctx()->streams[0].track;
  EXPECT_STREQ(video.codec_id, "V_MPEG4/ISO/AVC");
  EXPECT_EQ(video.video.pixel_width, 320u);
  EXPECT_EQ(video.video.pixel_height, 240u);
  EXPECT_EQ(video.default_duration, 40000000u);
  EXPECT_EQ(c.ctx()->streams[0].nal_length_size, 4);

  const QMKVD_TRACK& audio = c.ctx()->streams[1].track;
  EXPECT_STREQ(audio.codec_id, "A_AAC");
  EXPECT_EQ(audio.audio.sampling_frequency, 48000u);
  EXPECT_EQ(audio.audio.channels, 2u);
  EXPECT_STREQ(audio.language, "fre");

  ASSERT_NE(info.metadata, nullptr);
  EXPECT_EQ(Text(info.metadata->slots[0]), "Sample clip");
  EXPECT_EQ(Text(info.metadata->slots[1]), "Test Artist");
  ASSERT_EQ(info.pos_count, 2u);  // first Cluster and Cues, found through the SeekHead
}

// Every prefix of a real file ends in a status, never a crash, leak or hang.
TEST(RealFiles, EveryPrefixOfTheSampleHeaderEndsInAStatus) {
  std::vector<uint8_t> bytes = ReadDataFile("sample.mkv");
  ASSERT_GT(bytes.size(), 6000u);
  for (size_t n = 0; n < 6000; n += 7) {
    Created c(std::vector<uint8_t>(bytes.begin(), bytes.begin() + n));
    EXPECT_TRUE(c.err() == -6 || c.err() == -2 || c.err() == 0) << n;
  }
}

}  // namespace
}  // namespace mkvtest
