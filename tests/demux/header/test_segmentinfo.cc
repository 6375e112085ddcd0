// Segment Info: defaults, the two float forms of Duration, text and UID limits.
#include <gtest/gtest.h>

#include <string.h>

#include "demux_harness.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

using namespace id;

// Header parse of a file whose Info holds these children.
std::unique_ptr<HeaderParse> ParseInfo(std::vector<Element> children) {
  return std::make_unique<HeaderParse>(
      MkvFile({Info(std::move(children)), OneTrack(), SmallCluster()}));
}

TEST(SegmentInfo, TimecodeScaleDefaultsToOneMillisecond) {
  EXPECT_EQ(ParseInfo({})->ctx()->info.timecode_scale, 1000000u);
  EXPECT_EQ(ParseInfo({Uint(kTimecodeScale, 0)})->ctx()->info.timecode_scale, 1000000u);
  EXPECT_EQ(ParseInfo({Uint(kTimecodeScale, 500)})->ctx()->info.timecode_scale, 500u);
  // Only the low 32 bits of a wider value are kept.
  EXPECT_EQ(ParseInfo({Uint(kTimecodeScale, 0x100000007ull)})->ctx()->info.timecode_scale, 7u);
}

TEST(SegmentInfo, DurationAsDoubleSingleOrMissing) {
  auto d8 = ParseInfo({Float(kDuration, 1234.75, 8)});
  EXPECT_EQ(d8->ctx()->info.duration, 1234.75);
  EXPECT_EQ(d8->ctx()->info.duration_int, 1234u);
  // A single-precision Duration loses its fraction.
  auto d4 = ParseInfo({Float(kDuration, 1234.75, 4)});
  EXPECT_EQ(d4->ctx()->info.duration, 1234.0);
  EXPECT_EQ(d4->ctx()->info.duration_int, 1234u);
  for (auto& p : {ParseInfo({}), ParseInfo({Float(kDuration, 0.0, 8)}),
                  ParseInfo({Float(kDuration, 0.25, 8)})}) {
    EXPECT_EQ(p->ctx()->info.duration, 1.0);
    EXPECT_EQ(p->ctx()->info.duration_int, 1u);
  }
  // Any other width changes nothing, and a Duration over 8 bytes fails the file.
  EXPECT_EQ(ParseInfo({Uint(kDuration, 0x123456).Width(3)})->ctx()->info.duration, 1.0);
  EXPECT_EQ(ParseInfo({Uint(kDuration, 1).Width(9)})->status(), -1);
}

TEST(SegmentInfo, EmptyChildrenAreSkippedAndHugeOnesRefused) {
  auto empty = ParseInfo({String(kTitle, ""), Binary(kTimecodeScale, {})});
  EXPECT_EQ(empty->status(), 0);
  EXPECT_EQ(empty->ctx()->info.timecode_scale, 1000000u);
  EXPECT_EQ(ParseInfo({Binary(0xEC, {}).DeclaredSize(0x80000000ull)})->status(), -1);
}

}  // namespace
}  // namespace mkvtest
