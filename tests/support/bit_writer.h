// MSB-first bit writer for hand-built codec headers and configurations.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

namespace mkvtest {

class BitWriter {
 public:
  BitWriter& Bits(uint64_t v, int n) {
    for (int i = n - 1; i >= 0; --i) Bit((v >> i) & 1);
    return *this;
  }
  // Exp-Golomb codes, unsigned and signed.
  BitWriter& Ue(uint32_t v) {
    const uint64_t x = uint64_t{v} + 1;
    int len = 0;
    while ((x >> len) > 1) ++len;
    Bits(0, len);
    return Bits(x, len + 1);
  }
  BitWriter& Se(int32_t v) {
    return Ue(v > 0 ? static_cast<uint32_t>(2 * v - 1) : static_cast<uint32_t>(-2 * int64_t{v}));
  }
  // The bytes so far, the last one padded with zeros.
  const std::vector<uint8_t>& bytes() const { return bytes_; }
  // With rbsp_trailing_bits: a one, then zeros to the byte's end.
  std::vector<uint8_t> Finish() {
    Bit(1);
    while (n_ % 8) Bit(0);
    return bytes_;
  }

 private:
  void Bit(uint64_t b) {
    if (n_ % 8 == 0) bytes_.push_back(0);
    if (b) bytes_.back() |= static_cast<uint8_t>(0x80 >> (n_ % 8));
    ++n_;
  }
  std::vector<uint8_t> bytes_;
  size_t n_ = 0;
};

}  // namespace mkvtest
