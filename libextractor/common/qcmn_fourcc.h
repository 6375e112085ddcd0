// Four-character codes as the demuxer stores them: the little-endian word of the four bytes.
#pragma once

#include <stdint.h>

constexpr uint32_t qcmn_fourcc(const char (&s)[5]) {
  return static_cast<uint32_t>(static_cast<uint8_t>(s[0])) |
         static_cast<uint32_t>(static_cast<uint8_t>(s[1])) << 8 |
         static_cast<uint32_t>(static_cast<uint8_t>(s[2])) << 16 |
         static_cast<uint32_t>(static_cast<uint8_t>(s[3])) << 24;
}

constexpr uint32_t qcmn_fourcc_bytes(uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
  return static_cast<uint32_t>(a) | static_cast<uint32_t>(b) << 8 | static_cast<uint32_t>(c) << 16 |
         static_cast<uint32_t>(d) << 24;
}
