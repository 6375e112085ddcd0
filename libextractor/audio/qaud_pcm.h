// PCM sample conversion: 8-bit unsigned, 16-bit, packed 24-bit, 32-bit and float samples to the
// 16-bit or float samples handed to the framework. Each takes (destination, source, samples
// over all channels) and works in place as well: widening conversions run from the last sample
// to the first, the others from the first to the last. The names and signatures are those of
// the platform's sample-format primitives.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

void memcpy_to_i16_from_u8(int16_t* dst, const uint8_t* src, size_t count);
void memcpy_to_i16_from_i32(int16_t* dst, const int32_t* src, size_t count);
void memcpy_to_i16_from_p24(int16_t* dst, const uint8_t* src, size_t count);
void memcpy_to_i16_from_float(int16_t* dst, const float* src, size_t count);
void memcpy_to_float_from_i16(float* dst, const int16_t* src, size_t count);
void memcpy_to_float_from_u8(float* dst, const uint8_t* src, size_t count);
void memcpy_to_float_from_p24(float* dst, const uint8_t* src, size_t count);
void memcpy_to_float_from_i32(float* dst, const int32_t* src, size_t count);
// 64-bit float samples (A_PCM/FLOAT/IEEE with BitDepth 64); they only ever shrink.
void memcpy_to_i16_from_double(int16_t* dst, const double* src, size_t count);
void memcpy_to_float_from_double(float* dst, const double* src, size_t count);

#ifdef __cplusplus
}
#endif
