// Segment Info: defaults, the two float forms of Duration, texts cut at their limits.
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

// Texts keep their first 255 bytes, cut back to a whole UTF-8 character, and the rest of the
// Info is read on: 256 bytes of 'x', 4 KB, and a two-byte character across the cut.
TEST(SegmentInfo, LongTextsAreCutAtACharacter) {
  const std::string e_acute = "\xC3\xA9";
  const struct {
    std::string text;
    size_t kept;
  } rows[] = {{std::string(255, 'x'), 255},
              {std::string(256, 'x'), 255},
              {std::string(4096, 'x'), 255},
              {std::string(254, 'x') + e_acute, 254},
              {std::string(253, 'x') + e_acute + "y", 255}};
  for (uint32_t id :
       {kTitle, kMuxingApp, kWritingApp, kSegmentFilename, kPrevFilename, kNextFilename}) {
    for (const auto& row : rows) {
      auto p = ParseInfo({String(id, row.text), Uint(0x2AD7B1, 1000)});
      ASSERT_EQ(p->status(), 0) << std::hex << id;
      EXPECT_EQ(p->ctx()->info.timecode_scale, 1000u);
      const QMKVD_INFO& info = p->ctx()->info;
      const char* kept = id == kTitle             ? info.title
                         : id == kMuxingApp       ? info.muxing_app
                         : id == kWritingApp      ? info.writing_app
                         : id == kSegmentFilename ? info.segment_filename
                         : id == kPrevFilename    ? info.prev_filename
                                                  : info.next_filename;
      EXPECT_EQ(std::string(kept), row.text.substr(0, row.kept)) << std::hex << id;
    }
  }
  // And through creation, the file opens.
  Created c(MkvFile({Info({String(kTitle, std::string(300, 'x'))}), OneTrack(), SmallCluster()}));
  EXPECT_EQ(c.err(), 0);
}

// A Title claiming more than its Info holds (2 GiB, past the 2 GiB child cap of Info too) keeps
// the bytes the Info holds, less a character they cut short, and the Info still parses.
TEST(SegmentInfo, TextsRunningPastTheInfoEndWithIt) {
  const struct {
    std::string stored;
    std::string kept;
  } rows[] = {{"title", "title"},
              {"ab\xC3", "ab"},
              {"x\xE2\x82\xAC", "x\xE2\x82\xAC"},
              {"x\xF0\x9F\x98", "x"}};
  for (const auto& row : rows) {
    for (uint64_t claim : {uint64_t{300}, uint64_t{1} << 31}) {
      auto p = ParseInfo({Uint(0x2AD7B1, 1000), String(kTitle, row.stored).DeclaredSize(claim)});
      ASSERT_EQ(p->status(), 0) << row.kept << " " << claim;
      EXPECT_EQ(p->ctx()->info.timecode_scale, 1000u);
      EXPECT_EQ(std::string(p->ctx()->info.title), row.kept) << claim;
    }
  }
}

}  // namespace
}  // namespace mkvtest
