#include "audio/qaud_pcm.h"

#include <math.h>
#include <string.h>

namespace {

// Samples are loaded and stored through byte copies: in place, the source and destination are
// the same bytes seen as different types.
template <typename T>
T Load(const void* base, size_t index) {
  T v;
  memcpy(&v, static_cast<const uint8_t*>(base) + index * sizeof(T), sizeof(T));
  return v;
}

template <typename T>
void Store(void* base, size_t index, T v) {
  memcpy(static_cast<uint8_t*>(base) + index * sizeof(T), &v, sizeof(T));
}

// The signed value of a packed little-endian 24-bit sample, in the top 24 bits of 32.
int32_t P24Top(const uint8_t* src, size_t index) {
  const uint8_t* p = src + 3 * index;
  const uint32_t bits = static_cast<uint32_t>(p[0]) << 8 | static_cast<uint32_t>(p[1]) << 16 |
                        static_cast<uint32_t>(p[2]) << 24;
  return static_cast<int32_t>(bits);
}

// Widening conversions go from the last sample to the first, so that in place no source sample
// is overwritten before it is read.
template <typename Convert>
void LastToFirst(size_t count, Convert convert) {
  for (size_t i = count; i > 0; --i) convert(i - 1);
}

template <typename Convert>
void FirstToLast(size_t count, Convert convert) {
  for (size_t i = 0; i < count; ++i) convert(i);
}

const float kScale15 = 1.0f / 32768.0f;       // 2^-15
const float kScale7 = 1.0f / 128.0f;          // 2^-7
const float kScale31 = 1.0f / 2147483648.0f;  // 2^-31

}  // namespace

void memcpy_to_i16_from_u8(int16_t* dst, const uint8_t* src, size_t count) {
  LastToFirst(count, [&](size_t i) {
    Store(dst, i, static_cast<int16_t>((static_cast<uint16_t>(src[i]) << 8) ^ 0x8000u));
  });
}

void memcpy_to_i16_from_i32(int16_t* dst, const int32_t* src, size_t count) {
  FirstToLast(count,
              [&](size_t i) { Store(dst, i, static_cast<int16_t>(Load<int32_t>(src, i) >> 16)); });
}

void memcpy_to_i16_from_p24(int16_t* dst, const uint8_t* src, size_t count) {
  FirstToLast(count, [&](size_t i) {
    const uint8_t* p = src + 3 * i;
    Store(dst, i, static_cast<int16_t>(static_cast<uint16_t>(p[1] | p[2] << 8)));
  });
}

void memcpy_to_i16_from_float(int16_t* dst, const float* src, size_t count) {
  FirstToLast(count, [&](size_t i) {
    // fminf/fmaxf return the number when the other operand is NaN: a NaN becomes 32767.
    float v = fminf(Load<float>(src, i) * 32768.0f, 32767.0f);
    v = fmaxf(v, -32768.0f);
    Store(dst, i, static_cast<int16_t>(lroundf(v)));
  });
}

void memcpy_to_i16_from_double(int16_t* dst, const double* src, size_t count) {
  FirstToLast(count, [&](size_t i) {
    // fmin/fmax return the number when the other operand is NaN: a NaN becomes 32767.
    double v = fmin(Load<double>(src, i) * 32768.0, 32767.0);
    v = fmax(v, -32768.0);
    Store(dst, i, static_cast<int16_t>(lround(v)));
  });
}

void memcpy_to_float_from_double(float* dst, const double* src, size_t count) {
  FirstToLast(count, [&](size_t i) {
    // Beyond the float range a sample is clipped, not made infinite by the narrowing.
    double v = fmin(Load<double>(src, i), 3.0e38);
    v = fmax(v, -3.0e38);
    Store(dst, i, static_cast<float>(v));
  });
}

void memcpy_to_float_from_i16(float* dst, const int16_t* src, size_t count) {
  LastToFirst(count, [&](size_t i) {
    Store(dst, i, static_cast<float>(Load<int16_t>(src, i)) * kScale15);
  });
}

void memcpy_to_float_from_u8(float* dst, const uint8_t* src, size_t count) {
  LastToFirst(count, [&](size_t i) {
    Store(dst, i, static_cast<float>(static_cast<int>(src[i]) - 128) * kScale7);
  });
}

void memcpy_to_float_from_p24(float* dst, const uint8_t* src, size_t count) {
  LastToFirst(count,
              [&](size_t i) { Store(dst, i, static_cast<float>(P24Top(src, i)) * kScale31); });
}

void memcpy_to_float_from_i32(float* dst, const int32_t* src, size_t count) {
  FirstToLast(count, [&](size_t i) {
    Store(dst, i, static_cast<float>(Load<int32_t>(src, i)) * kScale31);
  });
}
