// Small numeric helpers shared by the parsers.
#pragma once

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "demux/qmkvd.h"

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

// Time arithmetic on values derived from the file. A hostile timecode, scale or duration can
// push a time past the 64-bit range; the result then saturates at the range's end, so a time is
// far off but never wraps (a device build traps on any wrap-around or signed overflow).
static inline int64_t qmkvd_time_add(int64_t a, int64_t b) {
  int64_t sum;
  if (__builtin_add_overflow(a, b, &sum)) return b > 0 ? INT64_MAX : INT64_MIN;
  return sum;
}

static inline int64_t qmkvd_time_sub(int64_t a, int64_t b) {
  int64_t difference;
  if (__builtin_sub_overflow(a, b, &difference)) return b < 0 ? INT64_MAX : INT64_MIN;
  return difference;
}

static inline int64_t qmkvd_time_mul(int64_t a, int64_t b) {
  int64_t product;
  if (__builtin_mul_overflow(a, b, &product)) return (a < 0) != (b < 0) ? INT64_MIN : INT64_MAX;
  return product;
}

static inline int64_t qmkvd_clamp_to_i64(uint64_t value) {
  return value > static_cast<uint64_t>(INT64_MAX) ? INT64_MAX : static_cast<int64_t>(value);
}

// A block's place in ticks: its Cluster's Timecode plus the block's signed offset. A block that
// would stand before the start of the file is taken to be at its start.
static inline int64_t qmkvd_block_ticks(uint64_t cluster_timecode, int16_t relative) {
  const int64_t ticks = qmkvd_time_add(qmkvd_clamp_to_i64(cluster_timecode), relative);
  return ticks < 0 ? 0 : ticks;
}

constexpr int64_t QMKVD_NS_PER_SECOND = 1000000000;

// Nanoseconds from the demuxer's 100-ns units, saturating.
static inline int64_t qmkvd_time_to_ns(int64_t time) {
  return qmkvd_time_mul(time, 100);
}

// Ticks (Cluster, block and cue times, durations) to nanoseconds and to the demuxer's 100-ns
// units, by the Segment's TimecodeScale (nanoseconds per tick).
static inline int64_t qmkvd_ticks_to_ns(int64_t ticks, uint64_t ns_per_tick) {
  return qmkvd_time_mul(ticks, qmkvd_clamp_to_i64(ns_per_tick));
}

static inline int64_t qmkvd_ticks_to_time(uint64_t ticks, uint64_t ns_per_tick) {
  return qmkvd_ns_to_time(qmkvd_ticks_to_ns(qmkvd_clamp_to_i64(ticks), ns_per_tick));
}

// A block's time in the demuxer's units: its Cluster's Timecode plus its own offset, in ticks of
// ns_per_tick nanoseconds.
static inline int64_t qmkvd_block_time(uint64_t cluster_timecode, int16_t relative,
                                       uint64_t ns_per_tick) {
  return qmkvd_ticks_to_time(static_cast<uint64_t>(qmkvd_block_ticks(cluster_timecode, relative)),
                             ns_per_tick);
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
