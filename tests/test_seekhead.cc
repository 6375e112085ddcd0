// SeekHead: following Seek entries to elements the level-1 walk cannot reach, the position
// base, and the failures that leave the file usable.
#include <gtest/gtest.h>

#include "demux_harness.h"
#include "log_capture.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

enum : uint32_t {
  kInfoId = 0x1549A966,
  kTracksId = 0x1654AE6B,
  kClusterId = 0x1F43B675,
  kCuesId = 0x1C53BB6B,
  kTagsId = 0x1254C367,
  kVoid = 0xEC
};

std::vector<uint8_t> IdBytes(uint32_t id) {
  std::vector<uint8_t> out;
  for (int shift = 24; shift >= 0; shift -= 8) {
    if (!out.empty() || (id >> shift) & 0xFF) out.push_back(static_cast<uint8_t>(id >> shift));
  }
  return out;
}

// A Seek whose size does not depend on the position, so offsets can be computed up front.
Element FixedSeek(uint32_t id, uint64_t position) {
  return Master(0x4DBB, {Binary(0x53AB, IdBytes(id)), Uint(0x53AC, position).Width(4)});
}

// Offset of child i from the start of the Segment's data.
uint64_t OffsetOf(const std::vector<Element>& children, size_t i) {
  uint64_t offset = 0;
  for (size_t k = 0; k < i; ++k) offset += EncodedSize(children[k]);
  return offset;
}

// A byte that no element header can start with: the level-1 walk ends there.
Element Wall() {
  return Raw({0x00});
}

TEST(SeekHead, FindsInfoAndTracksBehindTheClusters) {
  std::vector<Element> kids = {SeekHead({FixedSeek(kInfoId, 0), FixedSeek(kTracksId, 0)}),
                               SmallCluster(), Wall(), MinimalInfo(), OneTrack()};
  kids[0] =
      SeekHead({FixedSeek(kInfoId, OffsetOf(kids, 3)), FixedSeek(kTracksId, OffsetOf(kids, 4))});
  HeaderParse p(MkvFile(kids));
  EXPECT_EQ(p.status(), 0);
  EXPECT_EQ(p->found.seekhead, 1);
  EXPECT_EQ(p->info.timecode_scale, 1000000u);
  EXPECT_STREQ(p->info.muxing_app, "mkvtest");
  EXPECT_EQ(p->found.tracks, 1);

  // Without the SeekHead the same layout cannot be opened.
  HeaderParse without(MkvFile({SmallCluster(), Wall(), MinimalInfo(), OneTrack()}));
  EXPECT_EQ(without.status(), -1);
}

TEST(SeekHead, WrongTargetFailsTheSeekHeadButNotTheFile) {
  std::vector<Element> kids = {SeekHead({FixedSeek(kInfoId, 0)}), MinimalInfo(), OneTrack(),
                               SmallCluster()};
  kids[0] = SeekHead({FixedSeek(kInfoId, OffsetOf(kids, 2))});  // points at Tracks
  LogCapture log;
  HeaderParse p(MkvFile(kids));
  EXPECT_EQ(p.status(), 0);
  EXPECT_EQ(p->found.seekhead, 0);
  EXPECT_TRUE(log.Has(5, "", "could not find seekid, seekid = 357149030, id = 374648427"))
      << log.Dump();
  EXPECT_TRUE(log.Has(5, "", "parse_seekhead_seek failed")) << log.Dump();
}

TEST(SeekHead, TargetBeyondTheDataFails) {
  LogCapture log;
  HeaderParse p(MkvFile(
      {SeekHead({FixedSeek(kInfoId, 1u << 30)}), MinimalInfo(), OneTrack(), SmallCluster()}));
  EXPECT_EQ(p.status(), 0);
  EXPECT_EQ(p->found.seekhead, 0);
  EXPECT_TRUE(log.Has(5, "", "parse_seekhead_seek : qmkvd_ebml_get_id_len64 failed")) << log.Dump();
}

// Positions count from the first SeekHead's own element, wherever it stands.
TEST(SeekHead, PositionsAreRelativeToTheFirstSeekHead) {
  std::vector<Element> kids = {Binary(kVoid, std::vector<uint8_t>(7)),
                               MinimalInfo(),
                               SeekHead({FixedSeek(kTracksId, 0)}),
                               SmallCluster(),
                               Wall(),
                               OneTrack()};
  kids[2] = SeekHead({FixedSeek(kTracksId, OffsetOf(kids, 5) - OffsetOf(kids, 2))});
  HeaderParse p(MkvFile(kids));
  EXPECT_EQ(p.status(), 0);
  EXPECT_EQ(p->found.tracks, 1);

  // A second SeekHead is parsed too, against the first one's base.
  std::vector<Element> two = {SeekHead({FixedSeek(kInfoId, 0)}),
                              Binary(kVoid, {1, 2}),
                              SeekHead({FixedSeek(kTracksId, 0)}),
                              SmallCluster(),
                              Wall(),
                              MinimalInfo(),
                              OneTrack()};
  two[0] = SeekHead({FixedSeek(kInfoId, OffsetOf(two, 5))});
  two[2] = SeekHead({FixedSeek(kTracksId, OffsetOf(two, 6))});
  HeaderParse q(MkvFile(two));
  EXPECT_EQ(q.status(), 0);
  EXPECT_EQ(q->found.info, 1);
  EXPECT_EQ(q->found.tracks, 1);
  EXPECT_EQ(q->seekhead.elem_pos, q->segment_data_pos);
}

// A Seek without a position moves the base to the element it names, if that one is known.
TEST(SeekHead, ZeroPositionRebasesOnTheNamedElement) {
  std::vector<Element> kids = {Binary(kVoid, std::vector<uint8_t>(9)),
                               MinimalInfo(),
                               SeekHead({FixedSeek(kInfoId, 0), FixedSeek(kTracksId, 0)}),
                               SmallCluster(),
                               Wall(),
                               OneTrack()};
  kids[2] = SeekHead(
      {FixedSeek(kInfoId, 0), FixedSeek(kTracksId, OffsetOf(kids, 5) - OffsetOf(kids, 1))});
  HeaderParse p(MkvFile(kids));
  EXPECT_EQ(p.status(), 0);
  EXPECT_EQ(p->found.tracks, 1);
  EXPECT_EQ(p->seekhead.elem_pos, p->info.pos.elem_pos);
}

TEST(SeekHead, ClusterEntryIsIgnoredOnceAClusterIsKnown) {
  LogCapture log;
  HeaderParse known(MkvFile(
      {MinimalInfo(), OneTrack(), SmallCluster(), SeekHead({FixedSeek(kClusterId, 1u << 30)})}));
  EXPECT_EQ(known.status(), 0);
  EXPECT_EQ(known->found.seekhead, 1);
  EXPECT_TRUE(log.lines().empty()) << log.Dump();

  // Before any Cluster the entry is followed, and records the first Cluster.
  std::vector<Element> kids = {SeekHead({FixedSeek(kClusterId, 0)}), MinimalInfo(), OneTrack(),
                               Wall(), SmallCluster()};
  kids[0] = SeekHead({FixedSeek(kClusterId, OffsetOf(kids, 4))});
  HeaderParse p(MkvFile(kids));
  EXPECT_EQ(p.status(), 0);
  EXPECT_EQ(p->first_cluster.pos.elem_pos,
            p->segment_data_pos + static_cast<int64_t>(OffsetOf(kids, 4)));
  EXPECT_EQ(p->first_cluster.current_data_pos, p->first_cluster.pos.data_pos);
}

// Cues reached through a SeekHead count only when they yield entries, so the walk does not
// stop at the first Cluster and later elements are still found.
TEST(SeekHead, CuesWithoutEntriesDoNotCount) {
  std::vector<Element> kids = {SeekHead({FixedSeek(kCuesId, 0)}),
                               MinimalInfo(),
                               OneTrack(),
                               SmallCluster(),
                               Master(kTagsId, {}),
                               Cues({})};
  kids[0] = SeekHead({FixedSeek(kCuesId, OffsetOf(kids, 5))});
  HeaderParse p(MkvFile(kids));
  EXPECT_EQ(p.status(), 0);
  EXPECT_EQ(p->found.tags, 1);
  EXPECT_EQ(p->found.cues, 1);  // taken by the level-1 walk in the end
}

TEST(SeekHead, BrokenTagsThroughASeekFailOnlyTheSeekHead) {
  std::vector<Element> kids = {
      SeekHead({FixedSeek(kTagsId, 0)}),   MinimalInfo(), OneTrack(), SmallCluster(), Wall(),
      Master(kTagsId, {Raw({0x00, 0x00})})};
  kids[0] = SeekHead({FixedSeek(kTagsId, OffsetOf(kids, 5))});
  LogCapture log;
  HeaderParse p(MkvFile(kids));
  EXPECT_EQ(p.status(), 0);
  EXPECT_EQ(p->found.tags, 0);
  EXPECT_EQ(p->found.seekhead, 0);
  EXPECT_TRUE(log.Has("parse_seekhead_seek failed")) << log.Dump();
}

TEST(SeekHead, OversizedSeekFieldsFail) {
  for (Element bad :
       {Master(0x4DBB, {Uint(0x53AB, kInfoId).Width(9)}),
        Master(0x4DBB, {Binary(0x53AB, IdBytes(kInfoId)), Uint(0x53AC, 1).Width(9)})}) {
    LogCapture log;
    HeaderParse p(MkvFile({SeekHead({bad}), MinimalInfo(), OneTrack(), SmallCluster()}));
    EXPECT_EQ(p.status(), 0);
    EXPECT_EQ(p->found.seekhead, 0);
    EXPECT_TRUE(log.Has("parse_seekhead_seek failed")) << log.Dump();
  }
}

}  // namespace
}  // namespace mkvtest
