// Track entries: values and defaults, the deliberate quirks (TrackType's odd step, the
// SamplingFrequency overwrite, the 127-entry limit), dropped tracks and content encodings.
#include <gtest/gtest.h>

#include <string.h>

#include "demux/read/qmkvd_stream.h"
#include "demux_harness.h"
#include "log_capture.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

using namespace id;

// A file made of Info, these Tracks and one Cluster.
std::vector<uint8_t> FileWithTracks(std::vector<Element> entries) {
  return MkvFile({MinimalInfo(), Tracks(std::move(entries)), SmallCluster()});
}

TEST(Tracks, ReadsTheTrackValues) {
  Created c(FileWithTracks({TrackEntry({
      Uint(kTrackNumber, 7),
      Uint(kTrackUid, 0x1122334455667788ull),
      Uint(kTrackType, 1),
      Uint(kFlagEnabled, 1),
      Uint(kFlagDefault, 1),
      Uint(kFlagForced, 1),
      Uint(kFlagLacing, 1),
      Uint(kDefaultDuration, 40000000),
      String(kName, "Main"),
      String(kLanguage, "ger"),
      String(kCodecId, "V_VP9"),
      Binary(kCodecPrivate, {1, 2, 3}),
      String(kCodecName, "vp9"),
      Uint(kSeekPreRoll, 80000000),
      Uint(kCodecDelay, 6500000),
      Master(kVideo, {Uint(kPixelWidth, 1920), Uint(kPixelHeight, 1080), Uint(kDisplayWidth, 1440),
                      Uint(kDisplayUnit, 3)}),
  })}));
  ASSERT_EQ(c.err(), 0);
  const QMKVD_TRACK& t = c.ctx()->tracks.slots[0];
  EXPECT_EQ(t.number, 7u);
  EXPECT_EQ(t.uid, 0x1122334455667788ull);
  EXPECT_EQ(t.type, 1);
  EXPECT_EQ(t.flag_enabled + t.flag_default + t.flag_forced + t.flag_lacing, 4);
  EXPECT_EQ(t.default_duration, 40000000u);
  EXPECT_STREQ(t.name, "Main");
  EXPECT_STREQ(t.language, "ger");
  EXPECT_STREQ(t.codec_id, "V_VP9");
  ASSERT_EQ(t.codec_private_size, 3u);
  EXPECT_EQ(t.codec_private[2], 3);
  EXPECT_STREQ(t.codec_name, "vp9");
  EXPECT_EQ(t.seek_pre_roll, 80000000u);
  EXPECT_EQ(t.codec_delay, 6500000u);
  EXPECT_EQ(t.video.pixel_width, 1920u);
  EXPECT_EQ(t.video.pixel_height, 1080u);
  EXPECT_EQ(t.video.display_width, 1440u);
  EXPECT_EQ(t.video.display_unit, 3u);
  EXPECT_EQ(t.video.colour, nullptr);
  // The stream holds a copy, sharing the owned buffers.
  const QMKVDS_CTX& s = c.ctx()->streams[0];
  EXPECT_EQ(s.track.number, 7u);
  EXPECT_EQ(s.track.codec_private, t.codec_private);
  EXPECT_EQ(s.frame_duration, 400000);
  EXPECT_EQ(s.kind, 1);
}

TEST(Tracks, DefaultsWhenAbsent) {
  Created c(FileWithTracks({TrackEntry({Uint(kTrackNumber, 1), Uint(kTrackType, 2)})}));
  ASSERT_EQ(c.err(), 0);
  const QMKVD_TRACK& t = c.ctx()->tracks.slots[0];
  EXPECT_STREQ(t.language, "eng");
  EXPECT_EQ(t.flag_enabled, 0);
  EXPECT_EQ(t.flag_default, 0);
  EXPECT_EQ(t.flag_lacing, 0);
  EXPECT_EQ(t.codec_private, nullptr);
}

// A TrackType of 9 bytes or more is read from its first byte, and the walk resumes one byte
// into it: here the rest of its payload holds a CodecID element, which is then read.
TEST(Tracks, WideTrackTypeTakesItsFirstByteAndStepsOne) {
  std::vector<uint8_t> payload = {0x02, 0x86, 0x86, 'A', '_', 'O', 'P', 'U', 'S'};
  ASSERT_EQ(payload.size(), 9u);
  Created c(FileWithTracks({TrackEntry({Uint(kTrackNumber, 1), Binary(kTrackType, payload)})}));
  ASSERT_EQ(c.err(), 0);
  EXPECT_EQ(c.ctx()->tracks.slots[0].type, 2);
  EXPECT_STREQ(c.ctx()->tracks.slots[0].codec_id, "A_OPUS");
}

TEST(Tracks, AudioRatesAndTheirOrder) {
  Created c(FileWithTracks({
      AudioTrack(1,
                 {Float(kSamplingFrequency, 44100.0, 4), Uint(kChannels, 2), Uint(kBitDepth, 16)}),
      AudioTrack(
          2, {Float(kSamplingFrequency, 24000.0, 8), Float(kOutputSamplingFrequency, 48000.0, 4)}),
      // SamplingFrequency writes both rates, so an earlier OutputSamplingFrequency is lost.
      AudioTrack(
          3, {Float(kOutputSamplingFrequency, 48000.0, 4), Float(kSamplingFrequency, 24000.0, 8)}),
      // What mkvmerge writes for 8 kHz mono: neither the rate nor the channel count.
      AudioTrack(4, {Uint(kBitDepth, 8)}),
  }));
  ASSERT_EQ(c.err(), 0);
  const QMKVD_AUDIO& a0 = c.ctx()->tracks.slots[0].audio;
  EXPECT_EQ(a0.sampling_frequency, 44100u);
  EXPECT_EQ(a0.output_sampling_frequency, 44100u);
  EXPECT_EQ(a0.channels, 2u);
  EXPECT_EQ(a0.bit_depth, 16u);
  EXPECT_EQ(c.ctx()->tracks.slots[1].audio.sampling_frequency, 24000u);
  EXPECT_EQ(c.ctx()->tracks.slots[1].audio.output_sampling_frequency, 48000u);
  EXPECT_EQ(c.ctx()->tracks.slots[2].audio.output_sampling_frequency, 24000u);
  const QMKVD_AUDIO& a3 = c.ctx()->tracks.slots[3].audio;
  EXPECT_EQ(a3.sampling_frequency, 8000u);
  EXPECT_EQ(a3.output_sampling_frequency, 8000u);
  EXPECT_EQ(a3.channels, 1u);
  EXPECT_EQ(a3.bit_depth, 8u);
}

TEST(Tracks, BadEntriesAreDroppedAndTheRestCloseUp) {
  LogCapture log;
  Created c(FileWithTracks({
      VideoTrack(1),
      VideoTrack(2, {String(kName, std::string(4096, 'n'))}),  // a long name costs nothing
      VideoTrack(3, {Master(kContentEncodings,
                            {Master(kContentEncoding, {Master(kContentEncryption, {})})})}),
      VideoTrack(4, {Master(kContentEncodings,  // bzlib
                            {Master(kContentEncoding,
                                    {Master(kContentCompression, {Uint(kContentCompAlgo, 1)})})})}),
      // An empty ContentCompression is zlib, which is undone.
      VideoTrack(5, {Master(kContentEncodings,
                            {Master(kContentEncoding, {Master(kContentCompression, {})})})}),
      VideoTrack(6, {Uint(kTrackUid, 1).Width(9)}),
      VideoTrack(7, {Binary(kCodecPrivate, {1, 2}).DeclaredSize(1u << 20)}),
      VideoTrack(8),
  }));
  ASSERT_EQ(c.err(), 0);
  EXPECT_EQ(c.info().stream_count, 4u);
  EXPECT_EQ(c.ctx()->tracks.count, 4u);
  EXPECT_EQ(c.ctx()->streams[0].track.number, 1u);
  EXPECT_EQ(c.ctx()->streams[1].track.number, 2u);
  EXPECT_EQ(strlen(c.ctx()->streams[1].track.name), 255u);
  EXPECT_EQ(c.ctx()->streams[2].track.number, 5u);
  EXPECT_EQ(c.ctx()->streams[3].track.number, 8u);
  EXPECT_EQ(c.ctx()->streams[3].index, 3);
  EXPECT_TRUE(log.Has(5, "", "parse_contentencoding : encryption type is not supported"))
      << log.Dump();
  EXPECT_TRUE(log.Has(5, "", "parse_contentencoding : 1 algorism is not supported")) << log.Dump();
}

// Only the first ContentEncoding is read; a child running past its parent ends that parent.
TEST(Tracks, OnlyTheFirstContentEncodingCounts) {
  Element second = Master(kContentEncoding, {Master(kContentEncryption, {})});
  Created c(FileWithTracks({VideoTrack(
      1, {Master(kContentEncodings,
                 {Master(kContentEncoding,
                         {Master(kContentCompression,
                                 {Uint(kContentCompAlgo, 3), Binary(kContentCompSettings, {7})})}),
                  second})})}));
  ASSERT_EQ(c.err(), 0);
  EXPECT_EQ(c.ctx()->tracks.slots[0].encodings.count, 2u);

  Created overrun(FileWithTracks({VideoTrack(
      1, {Master(kContentEncodings,
                 {Master(kContentEncoding,
                         {Master(kContentCompression,
                                 {Uint(kContentCompAlgo, 3), Binary(kContentCompSettings, {7})}),
                          Raw({0x50, 0x33, 0x88})})})})}));  // ContentEncodingType claiming 8 bytes
                                                             // it does not have
  ASSERT_EQ(overrun.err(), 0);
  EXPECT_EQ(overrun.ctx()->streams[0].stripped_count, 1);
}

std::vector<Element> ManyTracks(int n) {
  std::vector<Element> entries;
  for (int i = 1; i <= n; ++i) entries.push_back(VideoTrack(static_cast<uint64_t>(i)));
  return entries;
}

TEST(Tracks, AtMost127EntriesAreHeld) {
  Created ok(FileWithTracks(ManyTracks(127)));
  ASSERT_EQ(ok.err(), 0);
  EXPECT_EQ(ok.info().stream_count, 127u);
  EXPECT_EQ(ok.info().video_count, 127u);
  Created refused(FileWithTracks(ManyTracks(128)));
  EXPECT_EQ(refused.err(), -6);
}

}  // namespace
}  // namespace mkvtest
