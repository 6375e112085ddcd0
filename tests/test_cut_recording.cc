// A recording cut off: ffmpeg's recording into a pipe (tests/data/conformance/h264_pipe_ffmpeg.mkv,
// Segment of unknown size), cut at several points inside its last Cluster, through the plug-in.
// Every block that lies wholly before the cut comes out byte for byte as ffprobe read it from the
// whole file, the block the cut runs through does not, and every track then ends with the end
// of the stream, not an error.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ffprobe_ref.h"
#include "md5.h"
#include "plugin_harness.h"
#include "real_file.h"

namespace mkvtest {
namespace {

const char kFile[] = "conformance/h264_pipe_ffmpeg.mkv";
// The block header before the frame: a 1-byte track number, the relative timecode, the flags.
const int64_t kBlockHeader = 4;

int64_t FrameEnd(const RefPacket& p) {
  return p.pos + kBlockHeader + p.size;
}

// What the packet's bytes are in the file (start codes back into the 4-byte length fields the
// file has for AVC).
std::string StoredMd5(const Packet& p, bool avc) {
  std::vector<uint8_t> stored = p.bytes;
  if (avc && !ToLengthPrefixed(p.bytes, 4, &stored).empty()) return "not Annex-B";
  return qmkvtools::Md5Hex(stored.data(), stored.size());
}

TEST(CutRecording, EveryWholeBlockBeforeTheCutAndThenTheEnd) {
  const std::vector<uint8_t> whole = ReadDataFile(kFile);
  FfprobeRef ref;
  ASSERT_EQ(LoadRefOf(kFile, &ref), "");
  ASSERT_EQ(ref.streams.size(), 2u);
  const std::vector<RefPacket> video = ref.PacketsOf(0);
  ASSERT_GT(video.size(), 30u);
  // Cut points: inside four late video frames, and just after one.
  std::vector<int64_t> cuts;
  for (size_t back : {20u, 9u, 3u, 1u}) {
    const RefPacket& p = video[video.size() - back];
    cuts.push_back(p.pos + kBlockHeader + p.size / 2);
  }
  cuts.push_back(FrameEnd(video[video.size() - 5]));

  for (int64_t cut : cuts) {
    SCOPED_TRACE("cut at " + std::to_string(cut) + " of " + std::to_string(whole.size()));
    Plugin plugin(std::vector<uint8_t>(whole.begin(), whole.begin() + cut));
    ASSERT_TRUE(plugin.Open());
    ASSERT_EQ(plugin.CountTracks(), 2u);
    for (int track = 0; track < 2; ++track) {
      std::vector<RefPacket> want;
      for (const RefPacket& p : ref.PacketsOf(track)) {
        if (FrameEnd(p) <= cut) want.push_back(p);
      }
      std::unique_ptr<PluginTrack> t = plugin.Track(track);
      ASSERT_NE(t, nullptr);
      ASSERT_EQ(t->Start(), AMEDIA_OK);
      std::vector<Packet> got;
      EXPECT_EQ(t->ReadAll(&got), AMEDIA_ERROR_END_OF_STREAM) << "track " << track;
      ASSERT_EQ(got.size(), want.size()) << "track " << track;
      for (size_t i = 0; i < got.size(); ++i) {
        ASSERT_EQ(StoredMd5(got[i], track == 0), want[i].md5)
            << "track " << track << " packet " << i << " (ffprobe line " << want[i].line << ")";
      }
    }
  }
}

}  // namespace
}  // namespace mkvtest
