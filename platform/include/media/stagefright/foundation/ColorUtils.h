// Host stand-in of <media/stagefright/foundation/ColorUtils.h>: the conversions an extractor
// needs from ISO colour codes and HDR metadata to the platform's format values.
#pragma once

#include <stdint.h>

#include <media/NdkMediaFormat.h>
#include <media/hardware/VideoAPI.h>

namespace android {

struct ColorUtils {
  // The platform values of the color-range, color-standard and color-transfer format keys.
  enum ColorRange : uint32_t {
    kColorRangeUnspecified = 0,
    kColorRangeFull = 1,
    kColorRangeLimited = 2,
    kColorRangeExtendedStart = 0x8,
    kColorRangeVendorStart = 0x10000,
  };

  enum ColorStandard : uint32_t {
    kColorStandardUnspecified = 0,
    kColorStandardBT709 = 1,
    kColorStandardBT601_625 = 2,
    kColorStandardBT601_625_Unadjusted = 3,
    kColorStandardBT601_525 = 4,
    kColorStandardBT601_525_Unadjusted = 5,
    kColorStandardBT2020 = 6,
    kColorStandardBT2020Constant = 7,
    kColorStandardBT470M = 8,
    kColorStandardFilm = 9,
    kColorStandardDCI_P3 = 10,
    kColorStandardExtendedStart = 64,
    kColorStandardVendorStart = 0x10000,
  };

  enum ColorTransfer : uint32_t {
    kColorTransferUnspecified = 0,
    kColorTransferLinear = 1,
    kColorTransferSRGB = 2,
    kColorTransferSMPTE_170M = 3,
    kColorTransferGamma22 = 4,
    kColorTransferGamma28 = 5,
    kColorTransferST2084 = 6,
    kColorTransferHLG = 7,
    kColorTransferGamma26 = 8,
    kColorTransferExtendedStart = 32,
    kColorTransferVendorStart = 0x10000,
  };

  // ISO/IEC 23001-8 (H.273) colour primaries, transfer characteristics and matrix coefficients,
  // plus the full-range flag, to platform range, standard and transfer. Goes through the codec
  // aspects, so codes the codecs cannot express come out as unspecified or as vendor values.
  static void convertIsoColorAspectsToPlatformAspects(int32_t primaries, int32_t isotransfer,
                                                      int32_t coeffs, bool fullRange,
                                                      int32_t* range, int32_t* standard,
                                                      int32_t* transfer);

  // Stores the 25-byte CTA-861.3 descriptor (little-endian 16-bit fields) under
  // "hdr-static-info", replacing any earlier value.
  static void setHDRStaticInfoIntoAMediaFormat(const HDRStaticInfo& info, AMediaFormat* format);
};

}  // namespace android
