// Host stand-in of <media/hardware/VideoAPI.h>: the codec-side colour description and the HDR
// static metadata record, laid out as codecs and the framework exchange them.
#pragma once

#include <stdint.h>

namespace android {

struct __attribute__((__packed__, aligned(alignof(uint32_t)))) ColorAspects {
  enum Range : uint32_t {
    RangeUnspecified,
    RangeFull,
    RangeLimited,
    RangeOther = 0xff,
  };

  enum Primaries : uint32_t {
    PrimariesUnspecified,
    PrimariesBT709_5,
    PrimariesBT470_6M,
    PrimariesBT601_6_625,
    PrimariesBT601_6_525,
    PrimariesGenericFilm,
    PrimariesBT2020,
    PrimariesOther = 0xff,
  };

  enum Transfer : uint32_t {
    TransferUnspecified,
    TransferLinear,
    TransferSRGB,
    TransferSMPTE170M,
    TransferGamma22,
    TransferGamma28,
    TransferST2084,
    TransferHLG,

    TransferSMPTE240M = 0x40,
    TransferXvYCC,
    TransferBT1361,
    TransferST428,
    TransferOther = 0xff,
  };

  enum MatrixCoeffs : uint32_t {
    MatrixUnspecified,
    MatrixBT709_5,
    MatrixBT470_6M,
    MatrixBT601_6,
    MatrixSMPTE240M,
    MatrixBT2020,
    MatrixBT2020Constant,
    MatrixOther = 0xff,
  };

  Range mRange;
  Primaries mPrimaries;
  Transfer mTransfer;
  MatrixCoeffs mMatrixCoeffs;
};

static_assert(sizeof(ColorAspects) == 16, "ColorAspects is four 32-bit fields");

// Static HDR metadata (CTA-861.3 Type 1): mastering display primaries and white point in units of
// 0.00002, luminances in cd/m2 except the minimum, which is in 0.0001 cd/m2.
struct __attribute__((__packed__)) HDRStaticInfo {
  enum ID : uint8_t {
    kType1 = 0,
  } mID;

  struct __attribute__((__packed__)) Primaries1 {
    uint16_t x;
    uint16_t y;
  };

  struct __attribute__((__packed__)) Type1 {
    Primaries1 mR;
    Primaries1 mG;
    Primaries1 mB;
    Primaries1 mW;  // white point
    uint16_t mMaxDisplayLuminance;
    uint16_t mMinDisplayLuminance;
    uint16_t mMaxContentLightLevel;
    uint16_t mMaxFrameAverageLightLevel;
  };

  union {
    Type1 sType1;
  };
};

static_assert(sizeof(HDRStaticInfo::Primaries1) == 4, "Primaries1");
static_assert(sizeof(HDRStaticInfo::Type1) == 24, "Type1");
static_assert(sizeof(HDRStaticInfo) == 25, "HDRStaticInfo");

}  // namespace android
