// PCM sample conversion: the values at the edges of each format, rounding and clamping of
// float input, and in-place conversion giving what a separate buffer gives.
#include <gtest/gtest.h>

#include <math.h>
#include <string.h>

#include <vector>

#include "audio/qaud_pcm.h"

namespace {

TEST(Pcm, ToSixteenBits) {
  const uint8_t u8[] = {0, 128, 255, 1};
  int16_t out[4];
  memcpy_to_i16_from_u8(out, u8, 4);
  EXPECT_EQ(out[0], -32768);
  EXPECT_EQ(out[1], 0);
  EXPECT_EQ(out[2], 32512);
  EXPECT_EQ(out[3], -32512);

  const int32_t i32[] = {0x7FFFFFFF, INT32_MIN, 0x0001FFFF, -1};
  memcpy_to_i16_from_i32(out, i32, 4);
  EXPECT_EQ(out[0], 32767);
  EXPECT_EQ(out[1], -32768);
  EXPECT_EQ(out[2], 1);   // truncated, not rounded
  EXPECT_EQ(out[3], -1);  // an arithmetic shift

  const uint8_t p24[] = {0x12, 0x34, 0x56, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x80};
  memcpy_to_i16_from_p24(out, p24, 3);
  EXPECT_EQ(out[0], 0x5634);
  EXPECT_EQ(out[1], -1);
  EXPECT_EQ(out[2], -32768);
}

TEST(Pcm, FloatToSixteenBitsRoundsAwayFromZeroAndClamps) {
  const float in[] = {0.5f,          1.5f, -2.0f, 1.0f,     -1.0f,     0.5f / 32768, -0.5f / 32768,
                      1.49f / 32768, NAN,  -NAN,  INFINITY, -INFINITY, 0.0f};
  const int16_t want[] = {16384, 32767, -32768, 32767, -32768, 1, -1,
                          1,     32767, 32767,  32767, -32768, 0};
  int16_t out[13];
  memcpy_to_i16_from_float(out, in, 13);
  for (int i = 0; i < 13; ++i) EXPECT_EQ(out[i], want[i]) << "sample " << i;
}

TEST(Pcm, ToFloat) {
  float out[4];
  const int16_t i16[] = {-32768, 16384, 1, 32767};
  memcpy_to_float_from_i16(out, i16, 4);
  EXPECT_EQ(out[0], -1.0f);
  EXPECT_EQ(out[1], 0.5f);
  EXPECT_EQ(out[2], 3.0517578125e-05f);
  EXPECT_LT(out[3], 1.0f);

  const uint8_t u8[] = {0, 128, 255};
  memcpy_to_float_from_u8(out, u8, 3);
  EXPECT_EQ(out[0], -1.0f);
  EXPECT_EQ(out[1], 0.0f);
  EXPECT_EQ(out[2], 127.0f / 128);

  const uint8_t p24[] = {0x00, 0x00, 0x80, 0xFF, 0xFF, 0x7F};
  memcpy_to_float_from_p24(out, p24, 2);
  EXPECT_EQ(out[0], -1.0f);
  EXPECT_EQ(out[1], 8388607.0f / 8388608.0f);

  const int32_t i32[] = {INT32_MIN, 0x7FFFFFFF, 0x40000000};
  memcpy_to_float_from_i32(out, i32, 3);
  EXPECT_EQ(out[0], -1.0f);
  EXPECT_EQ(out[1], 1.0f);  // 2^31 - 1 rounds up to 2^31 as a float
  EXPECT_EQ(out[2], 0.5f);
}

// Source bytes placed at the start of a buffer big enough for the result, converted there, must
// give what converting into a separate buffer gives.
template <typename Dst, typename Src>
void ExpectSameInPlace(void (*convert)(Dst*, const Src*, size_t), size_t src_bytes_per_sample) {
  const size_t n = 257;
  std::vector<uint8_t> src(n * src_bytes_per_sample);
  uint32_t seed = 12345;
  for (uint8_t& b : src) {
    seed = seed * 1103515245u + 12345u;
    b = static_cast<uint8_t>(seed >> 16);
  }
  if (src_bytes_per_sample == 4 && sizeof(Src) == 4) {
    // Keep float input finite so that both runs see numbers.
    for (size_t i = 0; i < n; ++i) src[4 * i + 3] &= 0x3F;
  }
  std::vector<uint8_t> separate(n * sizeof(Dst));
  convert(reinterpret_cast<Dst*>(separate.data()), reinterpret_cast<const Src*>(src.data()), n);
  std::vector<uint8_t> shared(std::max(src.size(), separate.size()));
  memcpy(shared.data(), src.data(), src.size());
  convert(reinterpret_cast<Dst*>(shared.data()), reinterpret_cast<const Src*>(shared.data()), n);
  EXPECT_EQ(memcmp(shared.data(), separate.data(), separate.size()), 0);
}

TEST(Pcm, InPlaceEqualsSeparate) {
  ExpectSameInPlace(memcpy_to_i16_from_u8, 1);
  ExpectSameInPlace(memcpy_to_i16_from_i32, 4);
  ExpectSameInPlace(memcpy_to_i16_from_p24, 3);
  ExpectSameInPlace(memcpy_to_i16_from_float, 4);
  ExpectSameInPlace(memcpy_to_float_from_i16, 2);
  ExpectSameInPlace(memcpy_to_float_from_u8, 1);
  ExpectSameInPlace(memcpy_to_float_from_p24, 3);
  ExpectSameInPlace(memcpy_to_float_from_i32, 4);
}

}  // namespace
