// A Segment without Duration gets the end of its last whole block as its duration, read from the
// end of the data in a few reads; with a Duration, nothing is looked for.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "demux/header/qmkvd_duration.h"
#include "demux_harness.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

using namespace id;

using Bytes = std::vector<uint8_t>;

const uint8_t kKey = 0x80;

Element MsInfo(bool with_duration) {
  std::vector<Element> info = {Uint(kTimecodeScale, 1000000)};
  if (with_duration) info.push_back(Float(kDuration, 5000.0));
  return Info(info);
}

// Video track 1 (40 ms frames) and track 2 (no DefaultDuration), then `clusters`.
Bytes FileOf(std::vector<Element> clusters, bool with_duration = false, bool unknown = false) {
  std::vector<Element> segment = {
      MsInfo(with_duration),
      Tracks({VideoTrack(1, {Uint(kDefaultDuration, 40000000)}), VideoTrack(2)})};
  for (Element& c : clusters) segment.push_back(unknown ? std::move(c.UnknownSize()) : c);
  Element s = Segment(std::move(segment));
  if (unknown) s.UnknownSize();
  return Serialize({EbmlHeader(), s});
}

Element Frame(uint64_t track, int16_t rel, size_t size = 8) {
  return SimpleBlock(track, rel, kKey, Bytes(size, 0x11));
}

// The published duration, in milliseconds.
int64_t DurationMs(const Bytes& file) {
  Created c(file);
  EXPECT_EQ(c.err(), 0);
  return c.info().duration / 10000;
}

TEST(FoundDuration, TheEndOfTheLastWholeBlock) {
  const Bytes cluster_id_in_a_frame = {0x1F, 0x43, 0xB6, 0x75, 0x81, 0xE7, 0x81, 0x00};
  // A last block cut off by the end of the file: the recording stopped while writing it.
  Bytes cut = FileOf({ClusterAt(0, {Frame(1, 0)}), ClusterAt(1000, {Frame(1, 0), Frame(2, 500)})});
  cut.resize(cut.size() - 3);
  const struct {
    const char* name;
    Bytes file;
    int64_t ms;
  } rows[] = {
      {"a DefaultDuration adds to the last block",
       FileOf({ClusterAt(0, {Frame(1, 0)}), ClusterAt(1000, {Frame(1, 0), Frame(1, 40)})}), 1080},
      {"the latest end, not the last block",
       FileOf({ClusterAt(1000, {Frame(1, 500), Frame(2, 100)})}), 1540},
      {"a BlockDuration adds to its block",
       FileOf({ClusterAt(2000, {BlockGroup({Block(2, 10, 0, {1}), Uint(kBlockDuration, 990)})})}),
       3000},
      {"a track without DefaultDuration adds nothing", FileOf({ClusterAt(700, {Frame(2, 0)})}),
       700},
      {"a CRC-32 before the Timecode", FileOf({ClusterAt(1200, {Frame(2, 0)}, true)}), 1200},
      {"a cut last block is not counted", cut, 1040},
      {"Clusters and Segment of unknown size",
       FileOf({ClusterAt(0, {Frame(1, 0)}), ClusterAt(900, {Frame(2, 0)})}, false, true), 900},
      {"the Cluster ID inside a frame is no Cluster",
       FileOf({ClusterAt(600, {SimpleBlock(2, 0, kKey, cluster_id_in_a_frame)})}), 600},
      // The last Cluster starts 600 KiB before the end: a second, larger window finds it.
      {"a long last Cluster",
       FileOf(
           {ClusterAt(0, {Frame(1, 0)}), ClusterAt(3000, {Frame(2, 0), Frame(2, 200, 600 << 10)})}),
       3200},
      {"a stated Duration stands",
       FileOf({ClusterAt(0, {Frame(1, 0)}), ClusterAt(9000, {Frame(1, 0)})}, true), 5000},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(DurationMs(row.file), row.ms);
  }
}

// Without a whole block anywhere in the tail, the last cue point's time is the duration; with
// neither, the duration stays the one tick a Segment without Duration had before.
TEST(FoundDuration, TheLastCuePointOtherwise) {
  std::vector<Element> segment = {MsInfo(false), Tracks({VideoTrack(1)})};
  const uint64_t cluster_pos = EncodedSize(segment);
  segment.push_back(Cluster({Uint(kTimecode, 0)}));  // no block
  segment.push_back(Cues({CuePoint(0, 1, cluster_pos), CuePoint(2500, 1, cluster_pos)}));
  EXPECT_EQ(DurationMs(MkvFile(segment)), 2500);
  segment.pop_back();
  EXPECT_EQ(DurationMs(MkvFile(segment)), 1);
}

}  // namespace
}  // namespace mkvtest
