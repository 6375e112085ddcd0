// EBML element headers and big-endian integers, from the file or from memory.
// File readers return 0 or -1; on failure the position stays where the last read left it.
#pragma once

#include <stdint.h>

#include "mfal/qcmn_mfal.h"

// EBML's unknown size (every value bit of the size field set, in any width from 1 to 8 bytes),
// as the element-header readers report it: the 8-byte form's value, which no element of known
// size can have. Live recorders write it for Segments and Clusters they cannot go back to.
constexpr uint64_t QMKVD_SIZE_UNKNOWN = (uint64_t{1} << 56) - 1;

static inline bool qmkvd_ebml_size_is_unknown(uint64_t size) {
  return size == QMKVD_SIZE_UNKNOWN;
}

// a + b for positions, saturating instead of overflowing.
static inline int64_t qmkvd_pos_add(int64_t a, uint64_t b) {
  if (b > static_cast<uint64_t>(INT64_MAX)) return INT64_MAX;
  const int64_t sb = static_cast<int64_t>(b);
  if (a > 0 && sb > INT64_MAX - a) return INT64_MAX;
  return a + sb;
}

// Leading zero bits of the low 8 bits of b (8 for a zero byte).
uint32_t qmkvd_get_clz(uint32_t b);

int qmkvd_ebml_get_id_len64(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint32_t* id,
                            uint64_t* size);
int qmkvd_ebml_get_id_len32(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint32_t* id,
                            uint32_t* size);
int qmkvd_ebml_get_len64(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint64_t* size);
int qmkvd_ebml_get_len32(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint32_t* size);
// Also reports how many bytes the size took (set before the width is checked).
int qmkvd_ebml_get_len32_rel(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint32_t* value,
                             uint32_t* coded_length);

// The longest element header: a 4-byte ID and an 8-byte size.
constexpr int QMKVD_HEADER_MAX = 12;

// Decodes an element header from memory; returns its length (2 to 12) or -1.
int qmkvd_ebml_get_id_len64_buff(const uint8_t* buf, int avail, uint32_t* id, uint64_t* size);

// Big-endian value of count bytes; with more bytes than fit, the last ones remain.
uint64_t qmkvd_b2v_u64(const uint8_t* buf, int count);
uint32_t qmkvd_b2v_u32(const uint8_t* buf, int count);
