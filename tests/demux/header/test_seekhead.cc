// SeekHead: a chain of SeekHeads is followed and a loop ends, and Cues without entries do not
// count as found.
#include <gtest/gtest.h>

#include "demux_harness.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

using namespace id;

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

// A Seek that names another SeekHead is followed (mkvmerge and mkvpropedit put a second one
// near the end), and what that one names is found; SeekHeads that name each other end after a
// few.
TEST(SeekHead, ASecondSeekHeadIsFollowedAndLoopsEnd) {
  auto first_head = [](uint64_t first, uint64_t second) {
    return SeekHead({FixedSeek(kSeekHead, second), FixedSeek(kSeekHead, first)});
  };
  auto second_head = [](uint64_t first, uint64_t second, uint64_t tracks, uint64_t tags) {
    return SeekHead({FixedSeek(kTracks, tracks), FixedSeek(kTags, tags),
                     FixedSeek(kSeekHead, first), FixedSeek(kSeekHead, second)});
  };
  std::vector<Element> kids = {first_head(0, 0),        MinimalInfo(), SmallCluster(),   Wall(),
                               second_head(0, 0, 0, 0), OneTrack(),    Master(kTags, {})};
  const uint64_t first = OffsetOf(kids, 0), second = OffsetOf(kids, 4);
  kids[0] = first_head(first, second);
  kids[4] = second_head(first, second, OffsetOf(kids, 5), OffsetOf(kids, 6));
  HeaderParse p(MkvFile(kids));
  EXPECT_EQ(p.status(), 0);
  EXPECT_EQ(p->found.tracks, 1);
  EXPECT_EQ(p->found.tags, 1);
  EXPECT_EQ(p->found.seekheads, 4);
}

// Cues reached through a SeekHead count only when they yield entries, so the walk does not
// stop at the first Cluster and later elements are still found.
TEST(SeekHead, CuesWithoutEntriesDoNotCount) {
  std::vector<Element> kids = {SeekHead({FixedSeek(kCues, 0)}),
                               MinimalInfo(),
                               OneTrack(),
                               SmallCluster(),
                               Master(kTags, {}),
                               Cues({})};
  kids[0] = SeekHead({FixedSeek(kCues, OffsetOf(kids, 5))});
  HeaderParse p(MkvFile(kids));
  EXPECT_EQ(p.status(), 0);
  EXPECT_EQ(p->found.tags, 1);
  EXPECT_EQ(p->found.cues, 1);  // taken by the level-1 walk in the end
}

}  // namespace
}  // namespace mkvtest
