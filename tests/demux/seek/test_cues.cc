// The cue table: which CuePoints are kept, a track's seek table taken from them, and the search
// modes around and between entries.
#include <gtest/gtest.h>

#include "demux/seek/qmkvd_cues.h"
#include "demux_harness.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

using namespace id;

Element Point(uint64_t time, uint64_t track, uint64_t cluster_pos) {
  return CuePoint(time, track, cluster_pos);
}

// The header parse of a file with a video track 1, an audio track 2 and these Cues.
std::vector<uint8_t> WithCues(std::vector<Element> points, bool tracks_first = true) {
  Element tracks = Tracks({VideoTrack(1), AudioTrack(2, {})});
  Element cues = Cues(std::move(points));
  if (tracks_first) return MkvFile({MinimalInfo(), tracks, cues, SmallCluster()});
  return MkvFile({MinimalInfo(), cues, tracks, SmallCluster()});
}

TEST(Cues, KeepsPointsWithAPositionOfNonAudioTracks) {
  HeaderParse p(WithCues({Point(0, 1, 100), Point(10, 2, 200), Point(20, 1, 0),
                          Master(kCuePoint, {Uint(kCueTime, 30)}), Point(40, 3, 400),
                          Binary(kVoid, {0, 0, 0})}));
  ASSERT_EQ(p.status(), 0);
  const QMKVD_CUE_TABLE& t = p->cues;
  ASSERT_EQ(t.count, 2u);
  EXPECT_EQ(t.capacity, 256u);
  EXPECT_EQ(t.entries[0].time, 0u);
  EXPECT_EQ(t.entries[0].cluster_pos, 100u);
  EXPECT_EQ(t.entries[1].time, 40u);
  EXPECT_EQ(t.entries[1].track, 3u);  // a track that does not exist is not audio
  EXPECT_EQ(t.entries[1].positions_count, 1u);
}

// Each CueTrackPositions of a CuePoint is an entry of its own at the point's time, whichever
// child comes first; an audio track's positions are still left out.
TEST(Cues, EveryTrackPositionsIsAnEntry) {
  HeaderParse p(WithCues({Master(
      kCuePoint, {Master(kCueTrackPositions, {Uint(kCueTrack, 1), Uint(kCueClusterPosition, 100),
                                              Uint(kCueBlockNumber, 3)}),
                  Master(kCueTrackPositions, {Uint(kCueTrack, 2), Uint(kCueClusterPosition, 200)}),
                  Master(kCueTrackPositions, {Uint(kCueTrack, 4), Uint(kCueClusterPosition, 300),
                                              Uint(kCueRelativePosition, 9)}),
                  Uint(kCueTime, 5)})}));
  ASSERT_EQ(p.status(), 0);
  ASSERT_EQ(p->cues.count, 2u);
  const QMKVD_CUE& video = p->cues.entries[0];
  const QMKVD_CUE& other = p->cues.entries[1];
  EXPECT_EQ(video.time, 5u);
  EXPECT_EQ(video.track, 1u);
  EXPECT_EQ(video.cluster_pos, 100u);
  EXPECT_EQ(video.block_number, 3u);
  EXPECT_EQ(other.time, 5u);
  EXPECT_EQ(other.track, 4u);
  EXPECT_EQ(other.cluster_pos, 300u);
  EXPECT_EQ(other.block_number, 0u);  // not carried over from the first
}

// The file's Cues read again, element by element, by the streaming parsers.
class StreamedCues {
 public:
  explicit StreamedCues(std::vector<Element> points) : p_(WithCues(std::move(points))) {
    QCMN_MFAL* mfal = &p_.ctx()->mfal;
    fp_ = mfal->open(mfal, 0);
    table_.data_pos = p_->cues.data_pos;
    table_.size = p_->cues.size;
  }
  ~StreamedCues() {
    p_.ctx()->mfal.close(fp_);
    free(table_.entries);
    free(seek_.entries);
  }
  int ParseAll() { return parse_cues_ctx(p_.ctx(), &p_.ctx()->mfal, fp_, &table_); }
  int ParseFor(uint32_t track) {
    return parse_cues(p_.ctx(), &p_.ctx()->mfal, fp_, &table_, &seek_, track);
  }
  const QMKVD_CUE_TABLE& table() const { return table_; }
  const QMKVD_SEEK_TABLE& seek() const { return seek_; }

 private:
  HeaderParse p_;
  QCMN_MFAL_FILE* fp_;
  QMKVD_CUE_TABLE table_ = QMKVD_CUE_TABLE();
  QMKVD_SEEK_TABLE seek_ = QMKVD_SEEK_TABLE();
};

TEST(StreamedCues, TheSeekTableTakesPointsWhoseLastPositionsAreTheTracks) {
  Element one_then_three = Master(
      kCuePoint, {Uint(kCueTime, 5),
                  Master(kCueTrackPositions, {Uint(kCueTrack, 1), Uint(kCueClusterPosition, 50)}),
                  Master(kCueTrackPositions, {Uint(kCueTrack, 3), Uint(kCueClusterPosition, 60)})});
  Element three_then_one = Master(
      kCuePoint, {Uint(kCueTime, 6),
                  Master(kCueTrackPositions, {Uint(kCueTrack, 3), Uint(kCueClusterPosition, 70)}),
                  Master(kCueTrackPositions, {Uint(kCueTrack, 1), Uint(kCueClusterPosition, 80)})});
  Element no_time = Master(
      kCuePoint, {Master(kCueTrackPositions, {Uint(kCueTrack, 1), Uint(kCueClusterPosition, 90)})});
  Element no_position =
      Master(kCuePoint, {Uint(kCueTime, 8), Master(kCueTrackPositions, {Uint(kCueTrack, 1)})});
  StreamedCues c(
      {Point(0, 1, 100), one_then_three, three_then_one, no_time, no_position, Point(9, 2, 200)});
  ASSERT_EQ(c.ParseFor(1), 0);
  EXPECT_EQ(c.table().count, 6u);
  const QMKVD_SEEK_TABLE& seek = c.seek();
  ASSERT_EQ(seek.count, 2u);
  EXPECT_EQ(seek.capacity, 4096u);
  EXPECT_EQ(seek.entries[0].time, 0u);
  EXPECT_EQ(seek.entries[0].cluster_pos, 100u);
  EXPECT_EQ(seek.entries[1].time, 6u);
  EXPECT_EQ(seek.entries[1].cluster_pos, 80u);
}

}  // namespace
}  // namespace mkvtest

namespace mkvtest {
namespace {

// Seek entries at 10, 20 and 30 in 100-ns units, with a TimecodeScale of 100 ns (one unit per
// tick).
class SearchTable : public ::testing::Test {
 protected:
  SearchTable() {
    ctx_.info.timecode_scale = 100;
    seek_.entries = entries_;
    seek_.count = 3;
    seek_.capacity = 3;
  }
  int32_t Find(int64_t time, uint32_t mode) {
    return qmkvd_get_searchidx2(&ctx_, nullptr, time, &seek_, mode);
  }
  QMKVD_CTX ctx_ = QMKVD_CTX();
  QMKVD_SEEK_ENTRY entries_[3] = {{10, 1}, {20, 2}, {30, 3}};
  QMKVD_SEEK_TABLE seek_ = QMKVD_SEEK_TABLE();
};

TEST_F(SearchTable, ModesAroundAndBetweenEntries) {
  EXPECT_EQ(Find(5, 0), -1);
  EXPECT_EQ(Find(5, 1), 0);
  EXPECT_EQ(Find(25, 0), 1);
  EXPECT_EQ(Find(25, 2), 1);
  EXPECT_EQ(Find(25, 1), 2);
  EXPECT_EQ(Find(25, 3), 1);  // equally far: the earlier wins
  EXPECT_EQ(Find(26, 3), 2);
  EXPECT_EQ(Find(35, 0), 2);
  EXPECT_EQ(Find(35, 1), -1);
  EXPECT_EQ(Find(35, 3), 2);
  EXPECT_EQ(Find(20, 0), 1);  // an exact match in every mode
  EXPECT_EQ(Find(20, 1), 1);
  EXPECT_EQ(Find(20, 3), 1);
}

}  // namespace
}  // namespace mkvtest
