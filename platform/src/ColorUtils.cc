// ISO colour codes reach the platform values in two steps, through the codec aspects. Codes the
// aspects cannot name collapse there (to Unspecified or Other), which is why, for example, an
// unspecified matrix turns BT.709 primaries into an extended standard rather than BT.709.
#include <media/stagefright/foundation/ColorUtils.h>

namespace android {

namespace {

ColorAspects::Primaries IsoPrimaries(int32_t iso) {
  switch (iso) {
    case 1: return ColorAspects::PrimariesBT709_5;
    case 4: return ColorAspects::PrimariesBT470_6M;
    case 5: return ColorAspects::PrimariesBT601_6_625;
    case 6:
    case 7: return ColorAspects::PrimariesBT601_6_525;
    case 8: return ColorAspects::PrimariesGenericFilm;
    case 9: return ColorAspects::PrimariesBT2020;
    case 10: return ColorAspects::PrimariesOther;
    default: return ColorAspects::PrimariesUnspecified;
  }
}

ColorAspects::Transfer IsoTransfer(int32_t iso) {
  switch (iso) {
    case 1:
    case 6:
    case 14:
    case 15: return ColorAspects::TransferSMPTE170M;
    case 4: return ColorAspects::TransferGamma22;
    case 5: return ColorAspects::TransferGamma28;
    case 7: return ColorAspects::TransferSMPTE240M;
    case 8: return ColorAspects::TransferLinear;
    case 9:
    case 10: return ColorAspects::TransferOther;
    case 11: return ColorAspects::TransferXvYCC;
    case 12: return ColorAspects::TransferBT1361;
    case 13: return ColorAspects::TransferSRGB;
    case 16: return ColorAspects::TransferST2084;
    case 17: return ColorAspects::TransferST428;
    case 18: return ColorAspects::TransferHLG;
    default: return ColorAspects::TransferUnspecified;
  }
}

ColorAspects::MatrixCoeffs IsoMatrix(int32_t iso) {
  switch (iso) {
    case 0:
    case 8: return ColorAspects::MatrixOther;
    case 1: return ColorAspects::MatrixBT709_5;
    case 4: return ColorAspects::MatrixBT470_6M;
    case 5:
    case 6: return ColorAspects::MatrixBT601_6;
    case 7: return ColorAspects::MatrixSMPTE240M;
    case 9: return ColorAspects::MatrixBT2020;
    case 10: return ColorAspects::MatrixBT2020Constant;
    default: return ColorAspects::MatrixUnspecified;
  }
}

int32_t PlatformRange(ColorAspects::Range range) {
  switch (range) {
    case ColorAspects::RangeFull: return ColorUtils::kColorRangeFull;
    case ColorAspects::RangeLimited: return ColorUtils::kColorRangeLimited;
    case ColorAspects::RangeUnspecified: return ColorUtils::kColorRangeUnspecified;
    default: return static_cast<int32_t>(ColorUtils::kColorRangeVendorStart + range);
  }
}

int32_t PlatformTransfer(ColorAspects::Transfer transfer) {
  const uint32_t t = transfer;
  if (t <= ColorAspects::TransferHLG) return static_cast<int32_t>(t);
  if (t >= ColorAspects::TransferSMPTE240M && t <= ColorAspects::TransferST428) {
    return static_cast<int32_t>(ColorUtils::kColorTransferExtendedStart + t);
  }
  return static_cast<int32_t>(ColorUtils::kColorTransferVendorStart + t);
}

// The primaries and matrix pairs that have a standard of their own; first match wins.
struct StandardPair {
  ColorAspects::Primaries primaries;
  ColorAspects::MatrixCoeffs matrix;
  ColorUtils::ColorStandard standard;
};

const StandardPair kStandardPairs[] = {
    {ColorAspects::PrimariesUnspecified, ColorAspects::MatrixUnspecified,
     ColorUtils::kColorStandardUnspecified},
    {ColorAspects::PrimariesBT709_5, ColorAspects::MatrixBT709_5, ColorUtils::kColorStandardBT709},
    {ColorAspects::PrimariesBT601_6_625, ColorAspects::MatrixBT601_6,
     ColorUtils::kColorStandardBT601_625},
    {ColorAspects::PrimariesBT601_6_625, ColorAspects::MatrixBT709_5,
     ColorUtils::kColorStandardBT601_625_Unadjusted},
    {ColorAspects::PrimariesBT601_6_525, ColorAspects::MatrixBT601_6,
     ColorUtils::kColorStandardBT601_525},
    {ColorAspects::PrimariesBT601_6_525, ColorAspects::MatrixSMPTE240M,
     ColorUtils::kColorStandardBT601_525_Unadjusted},
    {ColorAspects::PrimariesBT2020, ColorAspects::MatrixBT2020, ColorUtils::kColorStandardBT2020},
    {ColorAspects::PrimariesBT2020, ColorAspects::MatrixBT2020Constant,
     ColorUtils::kColorStandardBT2020Constant},
    {ColorAspects::PrimariesBT470_6M, ColorAspects::MatrixBT470_6M,
     ColorUtils::kColorStandardBT470M},
    {ColorAspects::PrimariesGenericFilm, ColorAspects::MatrixBT2020,
     ColorUtils::kColorStandardFilm},
};

int32_t PlatformStandard(ColorAspects::Primaries primaries, ColorAspects::MatrixCoeffs matrix) {
  for (const StandardPair& pair : kStandardPairs) {
    if (pair.primaries == primaries && pair.matrix == matrix) return pair.standard;
  }
  const uint32_t p = primaries;
  const uint32_t m = matrix;
  // Pairs of named aspects without a standard of their own are numbered after the known ones;
  // anything involving Other is a vendor value carrying both aspects.
  if (p <= ColorAspects::PrimariesBT2020 && m <= ColorAspects::MatrixBT2020Constant) {
    return static_cast<int32_t>(ColorUtils::kColorStandardExtendedStart + p +
                                (ColorAspects::MatrixBT2020Constant + 1) * m);
  }
  return static_cast<int32_t>(ColorUtils::kColorStandardVendorStart + p + 256 * m);
}

void PutLittleEndian16(uint8_t* at, uint16_t value) {
  at[0] = static_cast<uint8_t>(value & 0xff);
  at[1] = static_cast<uint8_t>(value >> 8);
}

}  // namespace

void ColorUtils::convertIsoColorAspectsToPlatformAspects(int32_t primaries, int32_t isotransfer,
                                                         int32_t coeffs, bool fullRange,
                                                         int32_t* range, int32_t* standard,
                                                         int32_t* transfer) {
  ColorAspects aspects;
  aspects.mRange = fullRange ? ColorAspects::RangeFull : ColorAspects::RangeLimited;
  aspects.mPrimaries = IsoPrimaries(primaries);
  aspects.mTransfer = IsoTransfer(isotransfer);
  aspects.mMatrixCoeffs = IsoMatrix(coeffs);

  *range = PlatformRange(aspects.mRange);
  *standard = PlatformStandard(aspects.mPrimaries, aspects.mMatrixCoeffs);
  *transfer = PlatformTransfer(aspects.mTransfer);
}

void ColorUtils::setHDRStaticInfoIntoAMediaFormat(const HDRStaticInfo& info, AMediaFormat* format) {
  uint8_t data[25];
  static_assert(sizeof(data) == sizeof(HDRStaticInfo), "one descriptor byte, then Type 1");
  data[0] = info.mID;
  const HDRStaticInfo::Type1& t = info.sType1;
  const uint16_t fields[12] = {
      t.mR.x,
      t.mR.y,
      t.mG.x,
      t.mG.y,
      t.mB.x,
      t.mB.y,
      t.mW.x,
      t.mW.y,
      t.mMaxDisplayLuminance,
      t.mMinDisplayLuminance,
      t.mMaxContentLightLevel,
      t.mMaxFrameAverageLightLevel,
  };
  for (int i = 0; i < 12; ++i) PutLittleEndian16(data + 1 + 2 * i, fields[i]);
  AMediaFormat_setBuffer(format, AMEDIAFORMAT_KEY_HDR_STATIC_INFO, data, sizeof(data));
}

}  // namespace android
