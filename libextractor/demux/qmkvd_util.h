// Small numeric helpers shared by the parsers.
#pragma once

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

static inline double qmkvd_double_from_bits(uint64_t bits) {
  double d;
  memcpy(&d, &bits, sizeof(d));
  return d;
}

static inline float qmkvd_float_from_bits(uint32_t bits) {
  float f;
  memcpy(&f, &bits, sizeof(f));
  return f;
}

// Float to integer conversions that a hostile value cannot turn into undefined behaviour: they
// saturate like the target's conversion instructions (NaN gives 0).
static inline uint64_t qmkvd_double_to_u64(double d) {
  if (!(d > 0.0)) return 0;
  if (d >= 18446744073709551616.0) return UINT64_MAX;
  return static_cast<uint64_t>(d);
}

static inline int64_t qmkvd_double_to_i64(double d) {
  if (d != d) return 0;
  if (d >= 9223372036854775808.0) return INT64_MAX;
  if (d < -9223372036854775808.0) return INT64_MIN;
  return static_cast<int64_t>(d);
}

static inline uint32_t qmkvd_double_to_u32(double d) {
  if (!(d > 0.0)) return 0;
  if (d >= 4294967296.0) return UINT32_MAX;
  return static_cast<uint32_t>(d);
}

// Time arithmetic on values derived from the file: two's-complement wrap instead of signed
// overflow, as the 32-bit target's registers do.
static inline int64_t qmkvd_time_add(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

static inline int64_t qmkvd_time_sub(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}

static inline int64_t qmkvd_time_mul(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b));
}

// Grows a calloc'd array holding `count` entries to *capacity + step entries. The old array is
// freed only once the new one exists, so a failure (no memory, or a capacity past 32 bits)
// leaves it as it was.
template <typename T>
bool qmkvd_grow_array(T** entries, uint32_t count, uint32_t* capacity, uint32_t step) {
  if (step == 0 || *capacity > UINT32_MAX - step || count > *capacity) return false;
  const uint32_t grown = *capacity + step;
  T* bigger = static_cast<T*>(calloc(grown, sizeof(T)));
  if (!bigger) return false;
  if (count > 0) memcpy(bigger, *entries, count * sizeof(T));
  free(*entries);
  *entries = bigger;
  *capacity = grown;
  return true;
}
