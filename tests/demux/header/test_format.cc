// Codec-configuration blocks and the per-kind track summaries: the AAC configuration made from
// the rate and channels, and the records' fields.
#include <gtest/gtest.h>

#include <string.h>

#include "common/qcmn_fourcc.h"
#include "demux/header/qmkvd_format.h"
#include "demux/read/qmkvd_stream.h"
#include "demux_harness.h"
#include "log_capture.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

using namespace id;

using Bytes = std::vector<uint8_t>;

Element Private(Bytes bytes) {
  return Binary(kCodecPrivate, std::move(bytes));
}

std::vector<uint8_t> OneTrackFile(Element track) {
  return MkvFile({MinimalInfo(), Tracks({std::move(track)}), SmallCluster()});
}

// The block of track 0 after a size query and a fetch into a buffer of exactly that size.
struct Block {
  int32_t query_status = -100;
  int32_t status = -100;
  uint32_t queried = 0xDEAD;
  Bytes bytes;
};

Block FormatOf(QMKVD_CTX* ctx, uint32_t initial_size = 0xDEAD) {
  Block b;
  b.queried = initial_size;
  b.query_status = qmkvd_get_format(ctx, 0, nullptr, &b.queried);
  Bytes buffer(b.queried < 4096 ? b.queried : 0);
  uint32_t size = static_cast<uint32_t>(buffer.size());
  b.status = qmkvd_get_format(ctx, 0, buffer.data() ? buffer.data() : nullptr, &size);
  buffer.resize(size < buffer.size() ? size : buffer.size());
  b.bytes = buffer;
  return b;
}

Block FormatOf(Element track) {
  Created c(OneTrackFile(std::move(track)));
  EXPECT_EQ(c.err(), 0);
  return FormatOf(c.ctx());
}

TEST(FormatAac, ConfigSynthesisedFromRateAndChannels) {
  auto aac = [](const char* id, uint32_t rate, uint32_t channels) {
    return FormatOf(
        AudioTrack(1, {Float(kSamplingFrequency, rate), Uint(kChannels, channels)}, id));
  };
  EXPECT_EQ(aac("A_AAC/MPEG4/LC", 44100, 2).bytes, (Bytes{0x12, 0x10}));
  EXPECT_EQ(aac("A_AAC/MPEG4/LC", 48000, 6).bytes, (Bytes{0x11, 0xB0}));
  EXPECT_EQ(aac("A_AAC/MPEG2/LC/SBR", 22050, 1).bytes, (Bytes{0x13, 0x88}));
  EXPECT_EQ(aac("A_AAC/MPEG2/LC", 44100, 2).queried, 2u);
  LogCapture log;
  Block none = aac("A_AAC/MPEG4/LC", 7350, 2);
  EXPECT_EQ(none.queried, 0u);
  EXPECT_EQ(none.status, 0);
  EXPECT_TRUE(
      log.Has(5, "qmkvd", "get_aac_default_format(): warning! frequency 7350 not supported"))
      << log.Dump();
  // Plain A_AAC carries its own configuration.
  EXPECT_EQ(FormatOf(AudioTrack(1, {}, "A_AAC", {Private({0x12, 0x10, 0x56})})).bytes,
            (Bytes{0x12, 0x10, 0x56}));

  EXPECT_EQ(get_aac_frequency_index(96000), 0);
  EXPECT_EQ(get_aac_frequency_index(8000), 11);
  EXPECT_EQ(get_aac_frequency_index(7350), -1);
  EXPECT_EQ(get_aac_frequency_index(0), -1);
}

TEST(TrackInfo, FieldsOfEachKind) {
  Created c(MkvFile(
      {MinimalInfo(),
       Tracks({VideoTrack(1,
                          {Uint(kDefaultDuration, 40000000),
                           Master(kVideo, {Uint(kPixelWidth, 640), Uint(kPixelHeight, 360)})},
                          "V_MPEG4/ISO/ASP"),
               AudioTrack(2, {Float(kSamplingFrequency, 48000), Uint(kChannels, 2)}, "A_OPUS",
                          {String(kLanguage, "deu"), String(kName, "Kommentar")}),
               AudioTrack(
                   3, {Float(kSamplingFrequency, 44100), Uint(kChannels, 1), Uint(kBitDepth, 24)},
                   "A_PCM/INT/LIT", {String(kLanguage, "en")}),
               VideoTrack(4), TextTrack(5)}),
       SmallCluster()}));
  ASSERT_EQ(c.err(), 0);
  QMKVD_VIDEO_INFO v;
  memset(&v, 0xFF, sizeof(v));
  ASSERT_EQ(qmkvd_get_info_vid(c.ctx(), 0, &v), 0);
  EXPECT_EQ(v.track_number, 1u);
  EXPECT_EQ(v.codec_tag, qcmn_fourcc("MP4V"));
  EXPECT_EQ(v.width, 640u);
  EXPECT_EQ(v.height, 360u);
  EXPECT_EQ(v.max_frame_size, 640 * 360 * 3 / 2);
  EXPECT_EQ(v.present, 1);
  EXPECT_EQ(v.frame_rate, 25u);
  EXPECT_EQ(v.frame_count, 25u);  // a second of Duration at 40 ms per frame
  EXPECT_EQ(v.reserved, 0u);
  EXPECT_EQ(v.colour, nullptr);
  ASSERT_EQ(qmkvd_get_info_vid(c.ctx(), 3, &v), 0);  // no DefaultDuration
  EXPECT_EQ(v.frame_rate, 0u);
  EXPECT_EQ(v.frame_count, 0u);

  QMKVD_AUDIO_INFO a;
  ASSERT_EQ(qmkvd_get_info_aud(c.ctx(), 1, &a), 0);
  EXPECT_EQ(a.sampling_frequency, 48000u);
  EXPECT_EQ(a.channels, 2u);
  EXPECT_EQ(a.bits_per_sample, 16u);  // none given
  EXPECT_STREQ(a.language, "deu");
  EXPECT_EQ(a.name_encoding, 703u);
  EXPECT_EQ(a.name_length, 9u);
  EXPECT_STREQ(a.name, "Kommentar");
  ASSERT_EQ(qmkvd_get_info_aud(c.ctx(), 2, &a), 0);
  EXPECT_EQ(a.bits_per_sample, 24u);
  EXPECT_STREQ(a.language, "en");
  EXPECT_EQ(a.name_length, 0u);

  QMKVD_TEXT_INFO t;
  ASSERT_EQ(qmkvd_get_info_txt(c.ctx(), 4, &t), 0);
  EXPECT_EQ(t.track_number, 5u);
  EXPECT_EQ(t.codec_tag, qcmn_fourcc("SSRT"));
  EXPECT_STREQ(t.language, "eng");  // Matroska's default
}

}  // namespace
}  // namespace mkvtest
