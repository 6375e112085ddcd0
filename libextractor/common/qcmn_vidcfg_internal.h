// What the per-codec configuration parsers share. Each takes the bytes as the front end gives
// them and fills a cleared record; the results follow qvid_config_parser's convention.
#pragma once

#include <stdint.h>

#include "common/qcmn_vidcfg.h"

namespace qvid {

constexpr int32_t kFound = 0;
constexpr int32_t kNeedMore = 1;
constexpr int32_t kBroken = -1;
constexpr int32_t kUnknownCodec = -2;

// The largest picture side any of our decoders could be asked for; anything beyond is taken as
// a corrupt header rather than a real stream.
constexpr uint32_t kMaxSide = 16384;

// Profile or level that the stream does not signal.
constexpr int32_t kUnsignalled = -1;

inline bool SideOk(uint64_t v) {
  return v != 0 && v <= kMaxSide;
}

// Fills the record once a header is read through: kFound, or kBroken for a size no decoder
// could be asked for.
inline int32_t Found(QVID_CONFIG* out, int64_t profile, int64_t level, uint64_t width,
                     uint64_t height) {
  if (!SideOk(width) || !SideOk(height)) return kBroken;
  out->profile = static_cast<int32_t>(profile);
  out->level = static_cast<int32_t>(level);
  out->width = static_cast<uint32_t>(width);
  out->height = static_cast<uint32_t>(height);
  return kFound;
}

// One unit behind a 00 00 01 start code: from the byte after the start code up to the next
// start code (or the end). Returns false when there is none from *pos on.
struct Unit {
  const uint8_t* data;
  uint32_t size;
};
bool NextUnit(const uint8_t* data, uint32_t length, uint32_t* pos, Unit* unit);

int32_t ParseH264(const uint8_t* data, uint32_t length, QVID_CONFIG* out);
int32_t ParseHevc(const uint8_t* data, uint32_t length, QVID_CONFIG* out);
int32_t ParseMpeg4(const uint8_t* data, uint32_t length, QVID_CONFIG* out);
int32_t ParseMpeg2(const uint8_t* data, uint32_t length, QVID_CONFIG* out);
int32_t ParseH263(const uint8_t* data, uint32_t length, QVID_CONFIG* out);
int32_t ParseAv1(const uint8_t* data, uint32_t length, QVID_CONFIG* out);

}  // namespace qvid
