// Colour and mastering metadata: values kept to their low 32 bits, mastering values within
// their ranges, and floats of either width.
#include <gtest/gtest.h>

#include "demux_harness.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

using namespace id::colour;  // NOLINT: the element IDs read best unqualified here

// Creates a file whose only track's Video holds this Colour, and returns its colour record.
class ColourFile {
 public:
  explicit ColourFile(std::vector<Element> colour_children, Element* replace = nullptr)
      : created_(
            MkvFile({MinimalInfo(),
                     Tracks({TrackEntry(
                         {Uint(0xD7, 1), Uint(0x83, 1), String(0x86, "V_VP9"),
                          Master(0xE0, {Uint(0xB0, 64),
                                        replace ? *replace : Master(kColour, colour_children)})})}),
                     SmallCluster()})) {}
  int32_t err() const { return created_.err(); }
  const QMKVD_COLOUR* colour() { return created_.ctx()->tracks.slots[0].video.colour; }
  const QMKVD_MASTERING* mastering() { return colour()->mastering; }

 private:
  Created created_;
};

TEST(Colour, ValuesKeepTheirLow32Bits) {
  ColourFile f({Uint(kMatrix, 9), Uint(kBits, 10), Uint(kRange, 1), Uint(kPrimaries, 9),
                Uint(kMaxCll, 1000), Uint(kMaxFall, 0x1FFFFFFFFull)});
  ASSERT_EQ(f.err(), 0);
  EXPECT_EQ(f.colour()->matrix_coefficients, 9);
  EXPECT_EQ(f.colour()->bits_per_channel, 10);
  EXPECT_EQ(f.colour()->range, 1);
  EXPECT_EQ(f.colour()->max_cll, 1000);
  EXPECT_EQ(f.colour()->max_fall, 0xFFFFFFFFLL);
}

TEST(Colour, MasteringValuesWithinTheirRanges) {
  ColourFile f({Master(kMastering, {Float(kRx, 0.68, 4), Float(kRy, 0.32, 4), Float(kGx, 1.5, 4),
                                    Float(kWx, 0.3127, 4), Float(kWy, 0.329, 4),
                                    Float(kLumMax, 10000.0, 4), Float(kLumMin, 0.005, 4)})});
  ASSERT_EQ(f.err(), 0);
  const QMKVD_MASTERING* m = f.mastering();
  ASSERT_NE(m, nullptr);
  ASSERT_NE(m->red, nullptr);
  EXPECT_FLOAT_EQ(m->red->x, 0.68f);
  EXPECT_FLOAT_EQ(m->red->y, 0.32f);
  ASSERT_NE(m->green, nullptr);  // a coordinate out of range still allocates its pair
  EXPECT_EQ(m->green->x, 0.0f);
  EXPECT_EQ(m->blue, nullptr);
  EXPECT_FLOAT_EQ(m->white_point->x, 0.3127f);
  EXPECT_EQ(m->luminance_max, 0.0f);  // 10000 is out of range
  EXPECT_FLOAT_EQ(m->luminance_min, 0.005f);

  ColourFile g({Master(kMastering, {Float(kLumMax, 1000.0, 4), Float(kLumMin, 1000.0, 4)})});
  EXPECT_EQ(g.mastering()->luminance_max, 1000.0f);
  EXPECT_EQ(g.mastering()->luminance_min, 0.0f);
}

// Mastering values are read whatever their float width (ffmpeg writes doubles, mkvmerge
// singles); a float of another width holds no value and is stepped over.
TEST(Colour, MasteringValuesOfEitherWidthAreRead) {
  for (int width : {4, 8}) {
    SCOPED_TRACE(width);
    ColourFile f({Master(kMastering, {Float(kLumMax, 1000.0, width), Float(kLumMin, 0.005, width),
                                      Float(kRx, 0.708, width), Float(kWy, 0.329, width)})});
    ASSERT_EQ(f.err(), 0);
    EXPECT_EQ(f.mastering()->luminance_max, 1000.0f);
    EXPECT_EQ(f.mastering()->luminance_min, 0.005f);
    ASSERT_NE(f.mastering()->red, nullptr);
    EXPECT_EQ(f.mastering()->red->x, 0.708f);
    ASSERT_NE(f.mastering()->white_point, nullptr);
    EXPECT_EQ(f.mastering()->white_point->y, 0.329f);
  }
  ColourFile odd({Master(kMastering, {Uint(kLumMax, 1).Width(3), Float(kLumMin, 0.5, 4)})});
  ASSERT_EQ(odd.err(), 0);
  EXPECT_EQ(odd.mastering()->luminance_max, 0.0f);
  EXPECT_EQ(odd.mastering()->luminance_min, 0.5f);
}

}  // namespace
}  // namespace mkvtest
