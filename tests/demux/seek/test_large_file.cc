// Files larger than 4 GiB, through the plug-in: Clusters and Cues past the 32-bit boundary, found
// through the SeekHead, read and seeked to. The data source holds only the two ends of the file
// (zeros between), so the test needs no disk or memory of that size; the 32-bit ARM build runs
// it too.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "mkv_ids.h"
#include "mkv_shapes.h"
#include "plugin_harness.h"

namespace mkvtest {
namespace {

using namespace id;

using Bytes = std::vector<uint8_t>;
using android::SEEK_NEXT_SYNC;
using android::SEEK_PREVIOUS_SYNC;

const uint8_t kKey = 0x80;
const Bytes kIntra = {0, 0, 1, 0xB6, 0x00, 0x11};  // MPEG-4 part 2 VOPs: intra, predicted
const Bytes kPredicted = {0, 0, 1, 0xB6, 0x40, 0x22};

// The Void that pushes everything after it past 4 GiB: this many payload bytes.
const uint64_t kGap = (uint64_t{1} << 32) + 4321;

struct LargeFile {
  Bytes head;           // EBML header, Segment header, SeekHead, Info, Tracks, the Void's header
  uint64_t tail_at;     // file offset of the tail: beyond 4 GiB
  Bytes tail;           // three one-second Clusters, then the Cues when asked for
  uint64_t cluster[3];  // Segment-relative positions of the Clusters
};

LargeFile MakeLargeFile(bool with_cues) {
  const Element info = Info({Uint(0x2AD7B1, 1000000), Float(0x4489, 3000.0, 8)});
  const Element tracks = Tracks({VideoTrack(1, {}, "V_MPEG4/ISO/ASP")});
  const Element gap = Binary(kVoid, {}).DeclaredSize(kGap).SizeWidth(8);
  // Segment-relative layout: SeekHead, Info, Tracks, Void, Clusters, Cues.
  // The SeekHead's positions are 8 bytes wide, so its size does not depend on them.
  auto build_seek_head = [&](uint64_t cues_at, uint64_t info_at, uint64_t tracks_at) {
    auto entry = [](uint32_t id, uint64_t at) {
      Bytes position(8);
      for (int i = 0; i < 8; ++i) position[i] = static_cast<uint8_t>(at >> (56 - 8 * i));
      return Master(0x4DBB, {Binary(0x53AB, EncodeId(id)), Binary(0x53AC, position)});
    };
    std::vector<Element> entries = {entry(kInfo, info_at), entry(kTracks, tracks_at)};
    if (with_cues) entries.push_back(entry(kCues, cues_at));
    return SeekHead(entries);
  };
  const uint64_t seek_head_size = EncodedSize(build_seek_head(0, 0, 0));
  const uint64_t info_at = seek_head_size;
  const uint64_t tracks_at = info_at + EncodedSize(info);
  const uint64_t gap_at = tracks_at + EncodedSize(tracks);
  const uint64_t clusters_at = gap_at + HeaderSize(gap) + kGap;

  LargeFile f;
  std::vector<Element> clusters;
  uint64_t at = clusters_at;
  for (int i = 0; i < 3; ++i) {
    f.cluster[i] = at;
    std::vector<Element> blocks = {Uint(kTimecode, 1000u * i)};
    for (int k = 0; k < 5; ++k) {
      blocks.push_back(SimpleBlock(1, static_cast<int16_t>(200 * k), k == 0 ? kKey : 0,
                                   k == 0 ? kIntra : kPredicted));
    }
    clusters.push_back(Cluster(blocks));
    at += EncodedSize(clusters.back());
  }
  const uint64_t cues_at = at;
  std::vector<Element> tail = clusters;
  if (with_cues) {
    std::vector<Element> points;
    for (int i = 0; i < 3; ++i) points.push_back(CuePoint(1000u * i, 1, f.cluster[i], 8));
    tail.push_back(Cues(points));
  }
  f.tail = Serialize(tail);

  const std::vector<Element> front = {build_seek_head(cues_at, info_at, tracks_at), info, tracks,
                                      gap};
  const uint64_t segment_size = EncodedSize(front) + kGap + f.tail.size();
  f.head = Serialize(EbmlHeader());
  const Bytes segment_header =
      Serialize(Binary(kSegment, {}).DeclaredSize(segment_size).SizeWidth(8));
  f.head.insert(f.head.end(), segment_header.begin(), segment_header.end());
  const uint64_t segment_data_at = f.head.size();
  const Bytes front_bytes = Serialize(front);
  f.head.insert(f.head.end(), front_bytes.begin(), front_bytes.end());
  f.tail_at = segment_data_at + clusters_at;
  return f;
}

std::unique_ptr<Plugin> OpenLarge(const LargeFile& f) {
  auto plugin = std::make_unique<Plugin>(f.head);
  plugin->source().PlaceAt(f.tail_at, f.tail);
  return plugin;
}

class LargeFileTest : public ::testing::TestWithParam<bool> {};

TEST_P(LargeFileTest, ClustersBeyondFourGiBReadToTheEnd) {
  const LargeFile f = MakeLargeFile(GetParam());
  ASSERT_GT(f.tail_at, uint64_t{1} << 32);
  std::unique_ptr<Plugin> plugin = OpenLarge(f);
  ASSERT_TRUE(plugin->Open());
  ASSERT_EQ(plugin->CountTracks(), 1u);
  std::unique_ptr<PluginTrack> track = plugin->Track(0);
  ASSERT_NE(track, nullptr);
  ASSERT_EQ(track->Start(), AMEDIA_OK);
  std::vector<Packet> packets;
  EXPECT_EQ(track->ReadAll(&packets), AMEDIA_ERROR_END_OF_STREAM);
  ASSERT_EQ(packets.size(), 15u);
  for (size_t i = 0; i < packets.size(); ++i) {
    EXPECT_EQ(packets[i].time_us, static_cast<int64_t>(200000 * i)) << i;
    EXPECT_EQ(packets[i].sync, i % 5 == 0 ? 1 : 0) << i;
    EXPECT_EQ(packets[i].bytes, i % 5 == 0 ? kIntra : kPredicted) << i;
  }
}

// With Cues: the cue positions past 4 GiB take the seek straight to their Cluster. Without: the
// seek walks the Clusters there, forward or back, and lands alike.
TEST_P(LargeFileTest, SeeksLandOnClustersBeyondFourGiB) {
  const LargeFile f = MakeLargeFile(GetParam());
  std::unique_ptr<Plugin> plugin = OpenLarge(f);
  ASSERT_TRUE(plugin->Open());
  std::unique_ptr<PluginTrack> track = plugin->Track(0);
  ASSERT_NE(track, nullptr);
  ASSERT_EQ(track->Start(), AMEDIA_OK);
  Packet p;
  ASSERT_EQ(track->Seek(1500000, SEEK_NEXT_SYNC, &p), AMEDIA_OK);
  EXPECT_EQ(p.time_us, 2000000);
  EXPECT_EQ(p.sync, 1);
  ASSERT_EQ(track->Seek(1500000, SEEK_PREVIOUS_SYNC, &p), AMEDIA_OK);
  EXPECT_EQ(p.time_us, 1000000);
  ASSERT_EQ(track->Read(&p), AMEDIA_OK);
  EXPECT_EQ(p.time_us, 1200000);
  ASSERT_EQ(track->Seek(2400000, SEEK_PREVIOUS_SYNC, &p), AMEDIA_OK);
  EXPECT_EQ(p.time_us, 2000000);
}

INSTANTIATE_TEST_SUITE_P(Cues, LargeFileTest, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return std::string(info.param ? "WithCues" : "WithoutCues");
                         });

}  // namespace
}  // namespace mkvtest
