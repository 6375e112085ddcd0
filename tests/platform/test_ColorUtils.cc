// ISO colour codes to platform values, and the HDR static info buffer, as the framework's
// conversion produces them.
#include <gtest/gtest.h>

#include <media/NdkMediaFormat.h>
#include <media/stagefright/foundation/ColorUtils.h>

#include <vector>

namespace android {
namespace {

struct Platform {
  int32_t range, standard, transfer;
};

Platform Convert(int32_t primaries, int32_t transfer, int32_t matrix, bool full) {
  Platform p{-1, -1, -1};
  ColorUtils::convertIsoColorAspectsToPlatformAspects(primaries, transfer, matrix, full, &p.range,
                                                      &p.standard, &p.transfer);
  return p;
}

// Codes with no aspect of their own: each must behave as "unspecified" (2).
const std::vector<int32_t> kUnnamedPrimaries = {2, 0, 3, 11, 12, 22, -1, 255};
const std::vector<int32_t> kUnnamedMatrices = {2, 3, 11, 14, -1, 255};

TEST(PlatformColour, StandardFromPrimariesAndMatrix) {
  const int32_t matrices[] = {1, 4, 5, 6, 7, 9, 10, 0, 8};
  struct Row {
    std::vector<int32_t> primaries;
    int32_t standard[10];  // per matrix above, then for an unnamed matrix
  };
  const Row rows[] = {
      {{1}, {1, 79, 86, 86, 93, 100, 107, 0x1FF01, 0x1FF01, 65}},
      {{4}, {73, 8, 87, 87, 94, 101, 108, 0x1FF02, 0x1FF02, 66}},
      {{5}, {3, 81, 2, 2, 95, 102, 109, 0x1FF03, 0x1FF03, 67}},
      {{6, 7}, {75, 82, 4, 4, 5, 103, 110, 0x1FF04, 0x1FF04, 68}},
      {{8}, {76, 83, 90, 90, 97, 9, 111, 0x1FF05, 0x1FF05, 69}},
      {{9}, {77, 84, 91, 91, 98, 6, 7, 0x1FF06, 0x1FF06, 70}},
      {{10},
       {0x101FF, 0x102FF, 0x103FF, 0x103FF, 0x104FF, 0x105FF, 0x106FF, 0x1FFFF, 0x1FFFF, 0x100FF}},
      {kUnnamedPrimaries, {71, 78, 85, 85, 92, 99, 106, 0x1FF00, 0x1FF00, 0}},
  };
  for (const Row& row : rows) {
    for (int32_t p : row.primaries) {
      for (int c = 0; c < 9; ++c) {
        // Transfer and range play no part in the standard.
        EXPECT_EQ(Convert(p, 16, matrices[c], c % 2).standard, row.standard[c])
            << "primaries " << p << " matrix " << matrices[c];
      }
      for (int32_t m : kUnnamedMatrices) {
        EXPECT_EQ(Convert(p, 1, m, false).standard, row.standard[9])
            << "primaries " << p << " matrix " << m;
      }
    }
  }
}

TEST(PlatformColour, HdrStaticInfoIsLittleEndianCta861) {
  HDRStaticInfo info;
  info.mID = HDRStaticInfo::kType1;
  HDRStaticInfo::Type1& t = info.sType1;
  t.mR = {0x0102, 0x0304};
  t.mG = {0x0506, 0x0708};
  t.mB = {0x090A, 0x0B0C};
  t.mW = {0x0D0E, 0x0F10};
  t.mMaxDisplayLuminance = 1000;  // 0x03E8
  t.mMinDisplayLuminance = 50;
  t.mMaxContentLightLevel = 0xFFFF;
  t.mMaxFrameAverageLightLevel = 0x0100;
  AMediaFormat* f = AMediaFormat_new();
  AMediaFormat_setInt32(f, "hdr-static-info", 1);  // replaced, type and all
  ColorUtils::setHDRStaticInfoIntoAMediaFormat(info, f);
  void* data = nullptr;
  size_t size = 0;
  ASSERT_TRUE(AMediaFormat_getBuffer(f, AMEDIAFORMAT_KEY_HDR_STATIC_INFO, &data, &size));
  ASSERT_EQ(size, 25u);
  const uint8_t want[25] = {0,    0x02, 0x01, 0x04, 0x03, 0x06, 0x05, 0x08, 0x07,
                            0x0A, 0x09, 0x0C, 0x0B, 0x0E, 0x0D, 0x10, 0x0F, 0xE8,
                            0x03, 50,   0,    0xFF, 0xFF, 0x00, 0x01};
  const uint8_t* got = static_cast<const uint8_t*>(data);
  for (int i = 0; i < 25; ++i) EXPECT_EQ(got[i], want[i]) << "byte " << i;

  info.mID = static_cast<HDRStaticInfo::ID>(1);  // copied as given, even when not Type 1
  ColorUtils::setHDRStaticInfoIntoAMediaFormat(info, f);
  ASSERT_TRUE(AMediaFormat_getBuffer(f, "hdr-static-info", &data, &size));
  EXPECT_EQ(static_cast<const uint8_t*>(data)[0], 1);
  AMediaFormat_delete(f);
}

}  // namespace
}  // namespace android
