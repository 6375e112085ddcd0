// The cue table: which CuePoints are kept, how the table is sized and grown, what fails it, and
// a track's seek table taken from it.
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

TEST(Cues, AudioPointsAreKeptWhenTracksComeLater) {
  HeaderParse p(WithCues({Point(0, 2, 100)}, /*tracks_first=*/false));
  ASSERT_EQ(p.status(), 0);
  EXPECT_EQ(p->cues.count, 1u);
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

TEST(Cues, EmptyCuesSucceedWithNoTable) {
  HeaderParse p(WithCues({}));
  ASSERT_EQ(p.status(), 0);
  EXPECT_EQ(p->cues.entries, nullptr);
  EXPECT_EQ(p->cues.count, 0u);
  EXPECT_EQ(p->found.cues, 1);
}

// CuePoints of 17 payload bytes (19 in all), so that the estimate (payload size over the first
// point's size) is n * 19 / 17.
Element WidePoint(uint64_t time) {
  return Master(kCuePoint,
                {Uint(kCueTime, time).Width(4),
                 Master(kCueTrackPositions,
                        {Uint(kCueTrack, 1), Uint(kCueClusterPosition, 1000 + time).Width(4)})});
}

TEST(Cues, FirstCapacityIsEstimatedAndIsAlsoTheGrowthStep) {
  struct Case {
    uint32_t points;
    uint32_t first;  // expected first capacity
  };
  ASSERT_EQ(EncodedSize(WidePoint(0)), 19u);
  // 2235 and 2561 points per first-point size give the floor, 3352 gives a tenth of it, 55882
  // the ceiling.
  for (const Case& c : {Case{2000, 256}, Case{2292, 256}, Case{3000, 335}, Case{50000, 4096}}) {
    std::vector<Element> points;
    for (uint32_t i = 0; i < c.points; ++i) points.push_back(WidePoint(i));
    HeaderParse p(WithCues(points));
    ASSERT_EQ(p.status(), 0) << c.points;
    EXPECT_EQ(p->cues.count, c.points);
    EXPECT_EQ(p->cues.capacity, (c.points + c.first - 1) / c.first * c.first) << c.points;
  }
}

TEST(Cues, APointOverrunningTheCuesFailsTheWholeTable) {
  Element bad = Point(10, 1, 200);
  bad.DeclaredSize(500);
  HeaderParse p(
      MkvFile({MinimalInfo(), Tracks({VideoTrack(1)}),
               Cues({Point(0, 1, 100), bad})
                   .DeclaredSize(EncodedSize(Point(0, 1, 100)) + EncodedSize(Point(10, 1, 200))),
               SmallCluster()}));
  EXPECT_NE(p.status(), 0);
  EXPECT_EQ(p->cues.entries, nullptr);
  EXPECT_EQ(p->cues.count, 0u);
}

TEST(Cues, HugeChildSizeFailsButALongOneEndsThePoint) {
  Element huge = Master(
      kCuePoint, {Uint(kCueTime, 1), Raw({0xF1, 0x08, 0x80, 0, 0, 0}),
                  Master(kCueTrackPositions, {Uint(kCueTrack, 1), Uint(kCueClusterPosition, 9)})});
  HeaderParse bad(WithCues({huge}));
  EXPECT_NE(bad.status(), 0);

  // CueTime claims more than the point holds: the point ends there, successfully, and without
  // a position it is not kept.
  Element longer = Master(kCuePoint, {Raw({0xB3, 0x88, 1})});
  HeaderParse ok(WithCues({Point(0, 1, 100), longer}));
  ASSERT_EQ(ok.status(), 0);
  EXPECT_EQ(ok->cues.count, 1u);
}

TEST(SeekFromCues, OneTracksPairsInFileOrder) {
  HeaderParse p(
      WithCues({Point(0, 1, 100), Point(5, 3, 150), Point(10, 1, 200), Point(20, 3, 300)}));
  ASSERT_EQ(p.status(), 0);
  QMKVD_SEEK_TABLE seek = QMKVD_SEEK_TABLE();
  ASSERT_EQ(get_seek_from_cues(nullptr, nullptr, nullptr, &p->cues, &seek, 3), 0);
  ASSERT_EQ(seek.count, 2u);
  EXPECT_EQ(seek.capacity, 4u);
  EXPECT_EQ(seek.entries[0].time, 5u);
  EXPECT_EQ(seek.entries[0].cluster_pos, 150u);
  EXPECT_EQ(seek.entries[1].time, 20u);
  ASSERT_EQ(get_seek_from_cues(nullptr, nullptr, nullptr, &p->cues, &seek, 7), 0);
  EXPECT_EQ(seek.count, 0u);
  free(seek.entries);
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

TEST(StreamedCues, EveryPointIsKeptAsStored) {
  StreamedCues c({Point(0, 1, 100), Point(10, 2, 200), Point(20, 1, 0),
                  Master(kCuePoint, {Uint(kCueTime, 30)}), Binary(kVoid, {0})});
  ASSERT_EQ(c.ParseAll(), 0);
  const QMKVD_CUE_TABLE& t = c.table();
  ASSERT_EQ(t.count, 4u);  // audio, zero position and no position all stay
  EXPECT_EQ(t.capacity, 4096u);
  EXPECT_EQ(t.entries[1].track, 2u);
  EXPECT_EQ(t.entries[2].cluster_pos, 0u);
  EXPECT_EQ(t.entries[3].time, 30u);
  EXPECT_EQ(t.entries[3].positions_count, 0u);
  EXPECT_EQ(t.entries[3].cluster_pos, 0u);  // never reset: no CueTrackPositions at all
  EXPECT_EQ(t.entries[0].positions_data_pos + t.entries[0].positions_size,
            t.entries[0].data_pos + t.entries[0].size);
}

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

TEST(StreamedCues, OversizedFieldsAndChildrenFail) {
  // A CueTime of nine bytes, which the buffered parser would fold into its last eight.
  Element wide_time = Master(
      kCuePoint, {Uint(kCueTime, 1).Width(9),
                  Master(kCueTrackPositions, {Uint(kCueTrack, 1), Uint(kCueClusterPosition, 9)})});
  EXPECT_EQ(StreamedCues({Point(0, 1, 100), wide_time}).ParseAll(), -1);
  // A child of 2^31 bytes inside CueTrackPositions.
  Element huge =
      Master(kCuePoint, {Master(kCueTrackPositions, {Raw({0xF1, 0x08, 0x80, 0, 0, 0})})});
  EXPECT_EQ(StreamedCues({huge}).ParseAll(), -1);
  // A child merely longer than the rest of its CueTrackPositions ends it: the position stays
  // unset (all ones).
  Element longer =
      Master(kCuePoint, {Master(kCueTrackPositions, {Uint(kCueTrack, 1), Raw({0xF1, 0x88, 1})})});
  StreamedCues c({longer});
  ASSERT_EQ(c.ParseAll(), 0);
  EXPECT_EQ(c.table().entries[0].cluster_pos, UINT64_MAX);
  EXPECT_EQ(c.table().entries[0].track, 1u);
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

TEST_F(SearchTable, EmptyTablesFindNothing) {
  seek_.count = 0;
  for (uint32_t mode = 0; mode <= 3; ++mode) EXPECT_EQ(Find(10, mode), -1);
  EXPECT_EQ(qmkvd_get_searchidx(&ctx_, nullptr, 10, 1), -1);  // no cue table at all
}

TEST(SearchCues, TheFileTableConvertsTicks) {
  HeaderParse p(WithCues({Point(0, 1, 100), Point(1000, 1, 200), Point(2000, 3, 300)}));
  ASSERT_EQ(p.status(), 0);
  const int64_t second = 10000000;
  EXPECT_EQ(qmkvd_get_searchidx(p.ctx(), nullptr, second + 1, 0), 1);
  EXPECT_EQ(qmkvd_get_searchidx(p.ctx(), nullptr, second + 1, 1), 2);
  EXPECT_EQ(qmkvd_get_searchidx(p.ctx(), nullptr, second * 3 / 2 + 1, 3), 2);
}

}  // namespace
}  // namespace mkvtest
