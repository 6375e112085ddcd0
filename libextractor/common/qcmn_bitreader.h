// MSB-first bit reading over a bounded buffer, with the exp-Golomb codes of the video
// standards. Reading past the end never touches memory: it sets a sticky error and yields 0,
// so parsers can read a whole header and check error() once at the points that matter.
#pragma once

#include <stddef.h>
#include <stdint.h>

class QcmnBitReader {
 public:
  QcmnBitReader(const uint8_t* data, size_t size) : data_(data), size_bits_(size * 8) {}

  // n in 0..32. Past the end: 0 and error() from then on.
  uint32_t Bits(int n);
  bool Flag() { return Bits(1) != 0; }
  void Skip(size_t n);
  // Unsigned exp-Golomb; codes longer than 32 bits are errors (no standard field needs them).
  uint32_t Ue();
  int32_t Se();

  bool error() const { return error_; }
  size_t BitsLeft() const { return error_ ? 0 : size_bits_ - pos_; }
  size_t pos() const { return pos_; }
  bool ByteAligned() const { return (pos_ & 7) == 0; }

 private:
  const uint8_t* data_;
  size_t size_bits_;
  size_t pos_ = 0;
  bool error_ = false;
};

// Copies a NAL unit's payload to out without its emulation-prevention bytes (the 03 of every
// 00 00 03). Stops at out_cap bytes; returns the bytes written.
size_t qcmn_unescape_rbsp(const uint8_t* in, size_t in_size, uint8_t* out, size_t out_cap);
