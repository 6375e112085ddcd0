#include "demux/read/qmkvd_nal.h"

#include "demux/qmkvd_status.h"

namespace {

enum { kStartCodeSize = 4 };
const uint8_t kStartCode[kStartCodeSize] = {0, 0, 0, 1};

struct Rewrite {
  const QCMN_MFAL* mfal;
  QCMN_MFAL_FILE* fp;
  uint8_t* out;
  int64_t capacity;  // < 1: unchecked (size queries only)
  int32_t nal_length_size;
  int32_t prefix_length;
  const uint8_t* prefix;
};

enum Outcome { kDone, kGiveUp, kOverflow };

bool ReadExact(const Rewrite& r, uint8_t* buf, int32_t count) {
  return r.mfal->read(r.fp, buf, count) == count;
}

// The length field of the next unit, big-endian. The first field of a prefixed frame starts
// with the prefix; the rest of it is read a byte at a time.
bool ReadLengthField(const Rewrite& r, bool first, uint32_t* length) {
  uint8_t field[4] = {0, 0, 0, 0};
  const int32_t n = r.nal_length_size;
  if (first && r.prefix_length > 0) {
    if (r.prefix_length >= n) return false;
    for (int32_t i = 0; i < r.prefix_length; ++i) field[i] = r.prefix[i];
    for (int32_t i = r.prefix_length; i < n; ++i) {
      if (!ReadExact(r, &field[i], 1)) return false;
    }
  } else if (!ReadExact(r, field, n)) {
    return false;
  }
  uint32_t value = 0;
  for (int32_t i = 0; i < n; ++i) value = (value << 8) | field[i];
  *length = value;
  return true;
}

bool Checked(const Rewrite& r) {
  return r.out != nullptr || r.capacity >= 1;
}

Outcome RewriteUnits(const Rewrite& r, int64_t remaining, int64_t* written) {
  uint8_t* cursor = r.out;
  bool first = true;
  for (;;) {
    if (Checked(r) && *written > r.capacity) return kOverflow;
    // The start code goes out only where it fits; if it does not, the unit check below fails
    // the frame anyway (or the frame is given up), so nothing is lost by holding it back.
    if (cursor && *written + kStartCodeSize <= r.capacity) {
      for (uint8_t b : kStartCode) *cursor++ = b;
    }
    uint32_t length = 0;
    if (!ReadLengthField(r, first, &length)) return kGiveUp;
    first = false;
    remaining -= r.nal_length_size;
    if (remaining < 1) return kGiveUp;
    const int64_t unit = length < remaining ? static_cast<int64_t>(length) : remaining;
    if (Checked(r) && *written + kStartCodeSize + unit > r.capacity) return kOverflow;
    if (unit > 0) {
      if (cursor) {
        if (!ReadExact(r, cursor, static_cast<int32_t>(unit))) return kGiveUp;
        cursor += unit;
      } else if (r.mfal->skip(r.fp, &unit) != 0) {
        return kGiveUp;
      }
    }
    remaining -= unit;
    *written += kStartCodeSize + unit;
    if (remaining < 1) return kDone;
  }
}

int32_t Run(const Rewrite& r, int32_t frame_size, uint32_t* written) {
  *written = 0;
  if (frame_size < 0) frame_size = 0;
  int64_t start = 0;
  if (r.mfal->getpos(r.fp, &start) != 0) return QMKVD_ERR_READ;
  const int64_t end = start + frame_size;
  int64_t total = 0;
  const Outcome outcome =
      (r.nal_length_size < 1 || r.nal_length_size > 4)
          ? kGiveUp
          : RewriteUnits(r, static_cast<int64_t>(frame_size) + r.prefix_length, &total);
  if (outcome == kDone) {
    *written = static_cast<uint32_t>(total);
    if (!r.out) return r.mfal->setpos(r.fp, &start) == 0 ? QMKVD_OK : QMKVD_ERR_READ;
    int64_t now = 0;
    if (r.mfal->getpos(r.fp, &now) == 0 && now == end) return QMKVD_OK;
    return r.mfal->setpos(r.fp, &end) == 0 ? QMKVD_OK : QMKVD_ERR_READ;
  }
  r.mfal->setpos(r.fp, &end);
  return outcome == kOverflow ? QMKVD_ERR_SMALL : QMKVD_OK;
}

}  // namespace

int32_t modify_nal_header2(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint8_t* out,
                           int32_t frame_size, int32_t capacity, int32_t nal_length_size,
                           uint32_t* written) {
  const Rewrite r{mfal, fp, out, capacity, nal_length_size, 0, nullptr};
  return Run(r, frame_size, written);
}

int32_t modify_nal_header3(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint8_t* out,
                           int32_t frame_size, int32_t capacity, int32_t nal_length_size,
                           uint32_t* written, int32_t prefix_length, const uint8_t* prefix) {
  const Rewrite r{mfal, fp, out, capacity, nal_length_size, prefix ? prefix_length : 0, prefix};
  return Run(r, frame_size, written);
}
