#include "common/qcmn_bitreader.h"

uint32_t QcmnBitReader::Bits(int n) {
  if (n <= 0) return 0;
  if (error_ || n > 32 || size_bits_ - pos_ < static_cast<size_t>(n)) {
    error_ = true;
    return 0;
  }
  uint32_t v = 0;
  for (int i = 0; i < n; ++i) {
    const uint8_t byte = data_[pos_ >> 3];
    v = (v << 1) | ((byte >> (7 - (pos_ & 7))) & 1u);
    ++pos_;
  }
  return v;
}

void QcmnBitReader::Skip(size_t n) {
  if (error_ || size_bits_ - pos_ < n) {
    error_ = true;
    return;
  }
  pos_ += n;
}

uint32_t QcmnBitReader::Ue() {
  int zeros = 0;
  while (!error_ && Bits(1) == 0) {
    if (++zeros > 31) {
      error_ = true;
      return 0;
    }
  }
  if (error_) return 0;
  const uint64_t v = (uint64_t{1} << zeros) - 1 + Bits(zeros);
  if (error_ || v > UINT32_MAX) {
    error_ = true;
    return 0;
  }
  return static_cast<uint32_t>(v);
}

int32_t QcmnBitReader::Se() {
  const uint32_t k = Ue();
  // k = 2|v| - (v > 0): odd codes are positive.
  if (k & 1u) return static_cast<int32_t>((k >> 1) + 1);
  return -static_cast<int32_t>(k >> 1);
}

size_t qcmn_unescape_rbsp(const uint8_t* in, size_t in_size, uint8_t* out, size_t out_cap) {
  size_t n = 0;
  int zeros = 0;
  for (size_t i = 0; i < in_size && n < out_cap; ++i) {
    const uint8_t b = in[i];
    if (zeros >= 2 && b == 3) {
      zeros = 0;
      continue;
    }
    out[n++] = b;
    zeros = b == 0 ? zeros + 1 : 0;
  }
  return n;
}
