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
