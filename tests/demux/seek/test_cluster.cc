// Clusters whose size is EBML's unknown size, as live recordings write them: each runs to the
// next element that can only stand at the Segment's level, or to the end of the data. Read
// through the plug-in: seeks by the cues and by crawling, damage between Clusters, and unknown
// sizes in every width on every master.
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

const Bytes kIntra = {0, 0, 1, 0xB6, 0x00, 0x11};  // MPEG-4 part 2 VOPs: intra, predicted
const Bytes kPredicted = {0, 0, 1, 0xB6, 0x40, 0x22};

Element SecondCluster(int second, int size_width) {
  // A Void before the blocks: a child of the Cluster that is not a block and not its end.
  std::vector<Element> children = {Uint(kTimecode, 1000u * second), Binary(kVoid, {0, 0, 0})};
  for (int k = 0; k < 5; ++k) {
    children.push_back(SimpleBlock(1, static_cast<int16_t>(200 * k), k == 0 ? 0x80 : 0,
                                   k == 0 ? kIntra : kPredicted));
  }
  Element cluster = Cluster(children);
  if (size_width > 0) cluster.SizeWidth(size_width);
  return std::move(cluster).UnknownSize();
}

// The same second with its size known.
Element KnownCluster(int second) {
  std::vector<Element> children = {Uint(kTimecode, 1000u * second)};
  for (int k = 0; k < 5; ++k) {
    children.push_back(SimpleBlock(1, static_cast<int16_t>(200 * k), k == 0 ? 0x80 : 0,
                                   k == 0 ? kIntra : kPredicted));
  }
  return Cluster(children);
}

// An unknown-size Segment: a SeekHead (naming the Cues when there are any: the header walk
// cannot step over a Cluster of unknown size to find them), Info, Tracks, then four one-second
// Clusters of unknown size (size fields of 1 and 8 bytes), the Cues, and Tags at the end.
Bytes LiveFile(bool with_cues) {
  const uint32_t kCuesId = 0x1C53BB6B;
  uint64_t cues_at = 0xFFFF;  // a placeholder of the real value's width
  for (int pass = 0; pass < 2; ++pass) {
    std::vector<Element> children;
    if (with_cues) children.push_back(SeekHead({SeekEntry(kCuesId, cues_at)}));
    children.push_back(Info({Uint(0x2AD7B1, 1000000), Float(0x4489, 4000.0, 8)}));
    children.push_back(Tracks({VideoTrack(1, {}, "V_MPEG4/ISO/ASP")}));
    std::vector<uint64_t> at;
    for (int i = 0; i < 4; ++i) {
      at.push_back(EncodedSize(children));
      children.push_back(SecondCluster(i, i % 2 ? 8 : 0));
    }
    if (with_cues) {
      cues_at = EncodedSize(children);
      std::vector<Element> points;
      for (int i = 0; i < 4; ++i) points.push_back(CuePoint(1000u * i, 1, at[i], 4));
      children.push_back(Cues(points));
    }
    children.push_back(Master(kTags, {}));
    if (pass == 1 || !with_cues) {
      return Serialize({EbmlHeader(), Segment(children).UnknownSize()});
    }
  }
  return {};
}

std::unique_ptr<PluginTrack> Start(Plugin* plugin) {
  EXPECT_TRUE(plugin->Open());
  std::unique_ptr<PluginTrack> track = plugin->Track(0);
  EXPECT_NE(track, nullptr);
  if (track) {
    EXPECT_EQ(track->Start(), AMEDIA_OK);
  }
  return track;
}

class UnknownClusters : public ::testing::TestWithParam<bool> {};

// By the cues, straight to a Cluster of unknown size; without them, by crawling Clusters whose
// ends are found by walking their children. Forward and back.
TEST_P(UnknownClusters, SeeksLandInClustersOfUnknownSize) {
  Plugin plugin(LiveFile(GetParam()));
  std::unique_ptr<PluginTrack> track = Start(&plugin);
  ASSERT_NE(track, nullptr);
  Packet p;
  ASSERT_EQ(track->Seek(2500000, SEEK_NEXT_SYNC, &p), AMEDIA_OK);
  EXPECT_EQ(p.time_us, 3000000);
  ASSERT_EQ(track->Seek(1500000, SEEK_PREVIOUS_SYNC, &p), AMEDIA_OK);
  EXPECT_EQ(p.time_us, 1000000);
  ASSERT_EQ(track->Read(&p), AMEDIA_OK);
  EXPECT_EQ(p.time_us, 1200000);
  ASSERT_EQ(track->Seek(3900000, SEEK_NEXT_SYNC, &p), AMEDIA_ERROR_END_OF_STREAM);
}

INSTANTIATE_TEST_SUITE_P(Cues, UnknownClusters, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return std::string(info.param ? "WithCues" : "WithoutCues");
                         });

// A hole of zeros (an incomplete download) or garbage between Clusters ends no stream: reading
// and the seek without cues go on at the next Cluster, as players do.
TEST(DamageBetweenClusters, ReadingAndSeekingGoOnAtTheNextCluster) {
  Bytes garbage(5000);
  uint32_t x = 12345;
  for (uint8_t& b : garbage) {
    x = x * 1103515245u + 12345u;
    b = static_cast<uint8_t>(x >> 24);
  }
  for (const Bytes& damage : {Bytes(16384, 0), garbage}) {
    SCOPED_TRACE(damage[0] == 0 ? "zeros" : "garbage");
    std::vector<Element> children = {Info({Uint(0x2AD7B1, 1000000), Float(0x4489, 4000.0, 8)}),
                                     Tracks({VideoTrack(1, {}, "V_MPEG4/ISO/ASP")}),
                                     KnownCluster(0),
                                     KnownCluster(1),
                                     Raw(damage),
                                     KnownCluster(2),
                                     KnownCluster(3)};
    Plugin plugin(Serialize({EbmlHeader(), Segment(children)}));
    std::unique_ptr<PluginTrack> track = Start(&plugin);
    ASSERT_NE(track, nullptr);
    std::vector<Packet> packets;
    EXPECT_EQ(track->ReadAll(&packets), AMEDIA_ERROR_END_OF_STREAM);
    EXPECT_EQ(packets.size(), 20u);
    Packet p;
    ASSERT_EQ(track->Seek(3000000, SEEK_NEXT_SYNC, &p), AMEDIA_OK);
    EXPECT_EQ(p.time_us, 3000000);
  }
}

// Unknown sizes on the Segment, in every width, and on the masters above the frames: Info,
// Tracks, a TrackEntry and its Video, alone and nested in each other. Each such master ends at
// the first element that cannot be its child, so the file opens with both its tracks and every
// frame is read.
TEST(UnknownSizes, EveryWidthAndEveryMasterOpensAndReadsWhole) {
  enum Where { kSegment, kInfo, kTracks, kEntry, kVideo, kNested };
  const uint32_t kTitle = 0x7BA9, kVideoId = 0xE0, kPixelWidth = 0xB0;
  const struct {
    Where where;
    int width;
  } rows[] = {{kSegment, 1}, {kSegment, 2}, {kSegment, 3}, {kSegment, 4}, {kSegment, 5},
              {kSegment, 6}, {kSegment, 7}, {kSegment, 8}, {kInfo, 1},    {kInfo, 8},
              {kTracks, 1},  {kTracks, 8},  {kEntry, 1},   {kEntry, 4},   {kVideo, 2},
              {kNested, 1},  {kNested, 8}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "where " << row.where << ", width " << row.width);
    const bool nested = row.where == kNested;
    auto sized = [&row](Element e, bool unknown) {
      return unknown ? std::move(e.SizeWidth(row.width)).UnknownSize() : e;
    };
    Element video = sized(Master(kVideoId, {Uint(kPixelWidth, 64)}), row.where == kVideo || nested);
    Element entry = sized(VideoTrack(1, {video}, "V_MPEG4/ISO/ASP"), row.where == kEntry || nested);
    std::vector<Element> children = {
        sized(Info({Uint(0x2AD7B1, 1000000), String(kTitle, "t")}), row.where == kInfo),
        sized(Tracks({entry, TextTrack(2)}), row.where == kTracks || nested),
        Binary(kVoid, Bytes(20000, 0)),  // the Cluster beyond what a 1- or 2-byte size spans
        SecondCluster(0, 0)};
    Element segment = sized(Segment(children), row.where == kSegment);
    Plugin plugin(Serialize({EbmlHeader(), segment, Binary(kVoid, Bytes(64, 0))}));
    ASSERT_TRUE(plugin.Open());
    ASSERT_EQ(plugin.CountTracks(), 2u);
    std::unique_ptr<PluginTrack> track = plugin.Track(0);
    ASSERT_NE(track, nullptr);
    ASSERT_EQ(track->Start(), AMEDIA_OK);
    std::vector<Packet> packets;
    EXPECT_EQ(track->ReadAll(&packets), AMEDIA_ERROR_END_OF_STREAM);
    EXPECT_EQ(packets.size(), 5u);
  }
}

}  // namespace
}  // namespace mkvtest
