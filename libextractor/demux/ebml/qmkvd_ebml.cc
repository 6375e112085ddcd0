#include "demux/ebml/qmkvd_ebml.h"

#include "common/qcmn_log.h"

namespace {

// Leading zero bits within a nibble.
const uint8_t kNibbleLeadingZeros[16] = {4, 3, 2, 2, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0};

// Longest IDs (4 bytes) and sizes (8 or 4 bytes) we accept, as leading-zero counts.
constexpr uint32_t kMaxIdZeros = 3;
constexpr uint32_t kMaxSize64Zeros = 7;
constexpr uint32_t kMaxSize32Zeros = 3;

// Shifts count bytes into value, most significant first.
uint64_t FoldBytes(uint64_t value, const uint8_t* bytes, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) value = (value << 8) | bytes[i];
  return value;
}

// Reads exactly count bytes; a short read is a failure (the position keeps what was read).
bool ReadExact(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint8_t* out, uint32_t count) {
  return mfal->read(fp, out, static_cast<int>(count)) == static_cast<int>(count);
}

int ReadId(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint32_t* id, bool log_read_failure) {
  uint8_t first = 0;
  if (mfal->read(fp, &first, 1) != 1) {
    if (log_read_failure) qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_UTIL, "get_id_len32 read buf error");
    return -1;
  }
  if (first == 0) return -1;
  uint32_t zeros = qmkvd_get_clz(first);
  if (zeros > kMaxIdZeros) return -1;
  uint8_t rest[kMaxIdZeros];
  if (zeros > 0 && !ReadExact(mfal, fp, rest, zeros)) return -1;
  *id = static_cast<uint32_t>(FoldBytes(first, rest, zeros));
  return 0;
}

// An element size of zeros + 1 bytes: all value bits set is the unknown size, in any width.
uint64_t ElementSize(uint64_t value, uint32_t zeros) {
  const uint64_t all_ones = (uint64_t{1} << (7 * (zeros + 1))) - 1;
  return value == all_ones ? QMKVD_SIZE_UNKNOWN : value;
}

enum SizeKind : bool { kPlainNumber = false, kElementSize = true };

// Reads a size whose first byte may have up to max_zeros leading zeros. coded_length, when
// given, receives the size's byte count as soon as it is known. Element sizes report the
// unknown size as QMKVD_SIZE_UNKNOWN; plain numbers (lace sizes, block track numbers) as coded.
int ReadSize(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint32_t max_zeros, uint64_t* size,
             uint32_t* coded_length, SizeKind kind) {
  uint8_t first = 0;
  if (mfal->read(fp, &first, 1) != 1 || first == 0) return -1;
  uint32_t zeros = qmkvd_get_clz(first);
  if (coded_length) *coded_length = zeros + 1;
  if (zeros > max_zeros) return -1;
  uint8_t rest[kMaxSize64Zeros];
  if (zeros > 0 && !ReadExact(mfal, fp, rest, zeros)) return -1;
  const uint64_t value = FoldBytes(first & (0x7Fu >> zeros), rest, zeros);
  *size = kind == kElementSize ? ElementSize(value, zeros) : value;
  return 0;
}

}  // namespace

uint32_t qmkvd_get_clz(uint32_t b) {
  uint32_t high = (b >> 4) & 0xF;
  if (high != 0) return kNibbleLeadingZeros[high];
  return kNibbleLeadingZeros[0] + kNibbleLeadingZeros[b & 0xF];
}

int qmkvd_ebml_get_id_len64(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint32_t* id,
                            uint64_t* size) {
  if (ReadId(mfal, fp, id, false) != 0) return -1;
  return ReadSize(mfal, fp, kMaxSize64Zeros, size, nullptr, kElementSize);
}

int qmkvd_ebml_get_id_len32(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint32_t* id,
                            uint32_t* size) {
  if (ReadId(mfal, fp, id, true) != 0) return -1;
  uint64_t value = 0;
  if (ReadSize(mfal, fp, kMaxSize32Zeros, &value, nullptr, kElementSize) != 0) return -1;
  *size = static_cast<uint32_t>(value);
  return 0;
}

int qmkvd_ebml_get_len64(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint64_t* size) {
  return ReadSize(mfal, fp, kMaxSize64Zeros, size, nullptr, kPlainNumber);
}

int qmkvd_ebml_get_len32(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint32_t* size) {
  uint64_t value = 0;
  if (ReadSize(mfal, fp, kMaxSize32Zeros, &value, nullptr, kPlainNumber) != 0) return -1;
  *size = static_cast<uint32_t>(value);
  return 0;
}

int qmkvd_ebml_get_len32_rel(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint32_t* value,
                             uint32_t* coded_length) {
  uint64_t v = 0;
  if (ReadSize(mfal, fp, kMaxSize32Zeros, &v, coded_length, kPlainNumber) != 0) return -1;
  *value = static_cast<uint32_t>(v);
  return 0;
}

int qmkvd_ebml_get_id_len64_buff(const uint8_t* buf, int avail, uint32_t* id, uint64_t* size) {
  if (!buf || avail < 1 || buf[0] == 0) return -1;
  uint32_t a = qmkvd_get_clz(buf[0]);
  if (a > kMaxIdZeros || static_cast<int>(a) + 1 >= avail) return -1;
  uint8_t size_first = buf[a + 1];
  if (size_first == 0) return -1;
  uint32_t b = qmkvd_get_clz(size_first);
  if (b > kMaxSize64Zeros || static_cast<int>(a + b) + 1 >= avail) return -1;
  *id = static_cast<uint32_t>(FoldBytes(buf[0], buf + 1, a));
  *size = ElementSize(FoldBytes(size_first & (0x7Fu >> b), buf + a + 2, b), b);
  return static_cast<int>(a + b + 2);
}

uint64_t qmkvd_b2v_u64(const uint8_t* buf, int count) {
  if (count < 1) return 0;
  return FoldBytes(0, buf, static_cast<uint32_t>(count));
}

uint32_t qmkvd_b2v_u32(const uint8_t* buf, int count) {
  return static_cast<uint32_t>(qmkvd_b2v_u64(buf, count));
}
