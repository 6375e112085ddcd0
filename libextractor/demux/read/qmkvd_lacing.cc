// A block's flags byte and lacing: how its payload splits into frames.
#include <string.h>

#include "demux/ebml/qmkvd_ebml.h"
#include "demux/qmkvd_status.h"
#include "demux/read/qmkvd_block.h"
#include "demux/read/qmkvd_inflate.h"

namespace {

// The bytes of a block header, read from the file in chunks rather than one call per byte.
class HeaderBytes {
 public:
  HeaderBytes(QMKVDS_CTX* s, int64_t pos, int64_t end) : s_(s), pos_(pos), end_(end) {}

  bool Next(uint8_t* byte) {
    if (at_ == len_ && !Refill()) return false;
    *byte = buf_[at_++];
    return true;
  }
  // File position of the next unread byte.
  int64_t Position() const { return pos_ - (len_ - at_); }

 private:
  bool Refill() {
    const int64_t left = end_ - pos_;
    if (left < 1) return false;
    const int want = left < static_cast<int64_t>(sizeof(buf_)) ? static_cast<int>(left)
                                                               : static_cast<int>(sizeof(buf_));
    if (s_->mfal->read(s_->fp, buf_, want) != want) return false;
    pos_ += want;
    len_ = want;
    at_ = 0;
    return true;
  }

  QMKVDS_CTX* s_;
  int64_t pos_;  // file position after the buffered bytes
  int64_t end_;
  uint8_t buf_[64];
  int len_ = 0;
  int at_ = 0;
};

// One Xiph lace size: bytes of 255 continue it.
bool XiphSize(HeaderBytes* in, int64_t* size) {
  int64_t total = 0;
  uint8_t b = 255;
  while (b == 255) {
    if (!in->Next(&b)) return false;
    total += b;
  }
  *size = total;
  return true;
}

// An EBML-coded unsigned number of 1 to 4 bytes, and its coded length.
bool EbmlNumber(HeaderBytes* in, int64_t* value, int* length) {
  uint8_t first = 0;
  if (!in->Next(&first) || first == 0) return false;
  int zeros = 0;
  while (!(first & (0x80 >> zeros))) ++zeros;
  if (zeros > 3) return false;
  int64_t v = first & (0x7F >> zeros);
  for (int i = 0; i < zeros; ++i) {
    uint8_t b = 0;
    if (!in->Next(&b)) return false;
    v = (v << 8) | b;
  }
  *value = v;
  *length = zeros + 1;
  return true;
}

// Sizes of frames 0 to n-1; the last one takes what is left.
bool ReadSizes(HeaderBytes* in, int lacing, int n, int64_t sizes[]) {
  for (int i = 0; i < n; ++i) {
    if (lacing == QMKVD_LACING_XIPH) {
      if (!XiphSize(in, &sizes[i])) return false;
      continue;
    }
    int64_t raw = 0;
    int length = 0;
    if (!EbmlNumber(in, &raw, &length)) return false;
    // Later sizes are signed differences from the previous one, biased by 2^(7L-1) - 1.
    sizes[i] = i == 0 ? raw : sizes[i - 1] + raw - ((int64_t{1} << (7 * length - 1)) - 1);
    if (sizes[i] < 0) return false;
  }
  return true;
}

void StoreSizes(QMKVDS_CTX* s, const int64_t sizes[], int count) {
  for (int i = 0; i < count; ++i) s->lace_sizes[i] = static_cast<uint32_t>(sizes[i]);
}

}  // namespace

int32_t qmkvd_read_lacing(QMKVDS_CTX* s, int64_t payload_end) {
  memset(s->lace_sizes, 0, sizeof(s->lace_sizes));
  s->lace_count = 0;
  s->lace_cursor = -1;
  int64_t pos = 0;
  if (s->mfal->getpos(s->fp, &pos) != 0) return QMKVD_ERR_READ;
  HeaderBytes in(s, pos, payload_end);
  uint8_t flags = 0;
  if (!in.Next(&flags)) return QMKVD_ERR_READ;
  s->block_flags = flags;
  const int lacing = qmkvd_lacing_of(flags);
  int n = 0;
  int64_t sizes[QMKVDS_MAX_LACES] = {0};
  if (lacing != QMKVD_LACING_NONE) {
    uint8_t count = 0;
    if (!in.Next(&count)) return QMKVD_ERR_READ;
    // The count is kept in a signed byte: 0xFF cannot stand for 256 frames, nor any count from
    // 0x80 up for more than 128.
    if (count >= 0x80) return QMKVD_ERR_NOT_FOUND;
    n = count;
    if (lacing != QMKVD_LACING_FIXED && !ReadSizes(&in, lacing, n, sizes)) return QMKVD_ERR_READ;
  }
  const int64_t data_pos = in.Position();
  const int64_t left = payload_end - data_pos;
  if (left < 0) return QMKVD_ERR_READ;
  if (lacing == QMKVD_LACING_FIXED) {
    for (int i = 0; i <= n; ++i) sizes[i] = left / (n + 1);  // a remainder is dropped
  } else {
    int64_t used = 0;
    for (int i = 0; i < n; ++i) used += sizes[i];
    if (used > left) return QMKVD_ERR_READ;
    sizes[n] = left - used;
  }
  for (int i = 0; i <= n; ++i) {
    if (sizes[i] > UINT32_MAX) return QMKVD_ERR_READ;
  }
  StoreSizes(s, sizes, n + 1);
  s->lace_count = static_cast<int8_t>(n);
  s->lace_cursor = static_cast<int8_t>(n);
  return s->mfal->setpos(s->fp, &data_pos) == 0 ? QMKVD_OK : QMKVD_ERR_READ;
}

int qmkvd_block_head(const uint8_t* buf, int64_t avail, uint32_t* track, int16_t* relative) {
  if (avail < 1 || buf[0] == 0) return -1;
  const uint32_t zeros = qmkvd_get_clz(buf[0]);
  if (zeros > 3 || static_cast<int64_t>(zeros) + 3 > avail) return -1;
  uint32_t number = buf[0] & (0x7Fu >> zeros);
  for (uint32_t i = 1; i <= zeros; ++i) number = (number << 8) | buf[i];
  *track = number;
  *relative = static_cast<int16_t>((buf[zeros + 1] << 8) | buf[zeros + 2]);
  return static_cast<int>(zeros) + 3;
}

int32_t qmkvd_take_frames(QMKVDS_CTX* s, int64_t payload_end) {
  const int32_t laced = qmkvd_read_lacing(s, payload_end);
  return laced == QMKVD_OK ? qmkvd_frames_ready(s) : laced;
}

int64_t qmkvd_block_bytes(const QMKVDS_CTX* s) {
  int64_t total = 0;
  for (int i = 0; i <= s->lace_count && i < static_cast<int>(QMKVDS_MAX_LACES); ++i) {
    total += s->lace_sizes[i];
  }
  return total;
}
