// Length-prefixed NAL units rewritten to start codes, as frames are read.
#include <gtest/gtest.h>

#include <vector>

#include "demux/read/qmkvd_nal.h"
#include "mem_source.h"

namespace mkvtest {
namespace {

// A file handle on bytes, positioned at `at`.
class Handle {
 public:
  explicit Handle(std::vector<uint8_t> bytes, int64_t at = 0) : file_(std::move(bytes)) {
    fp_ = file_.mfal.open(&file_.mfal, 0);
    file_.mfal.setpos(fp_, &at);
  }
  ~Handle() { file_.mfal.close(fp_); }
  const QCMN_MFAL* mfal() const { return &file_.mfal; }
  QCMN_MFAL_FILE* fp() { return fp_; }
  int64_t pos() {
    int64_t p = -1;
    file_.mfal.getpos(fp_, &p);
    return p;
  }

 private:
  MemFile file_;
  QCMN_MFAL_FILE* fp_;
};

struct Rewritten {
  int32_t status;
  uint32_t written;
  std::vector<uint8_t> out;
  int64_t pos_after;
};

// Two units, 5 and 3 bytes, behind length fields of `width` bytes, after two bytes of padding.
std::vector<uint8_t> TwoUnits(int width) {
  std::vector<uint8_t> file = {0xEE, 0xEE};
  auto length = [&](uint32_t n) {
    for (int i = width - 1; i >= 0; --i) file.push_back(static_cast<uint8_t>(n >> (8 * i)));
  };
  length(5);
  for (uint8_t b : {0x65, 1, 2, 3, 4}) file.push_back(b);
  length(3);
  for (uint8_t b : {0x41, 5, 6}) file.push_back(b);
  file.push_back(0xFF);  // after the frame
  return file;
}

const std::vector<uint8_t> kAnnexB = {0, 0, 0, 1, 0x65, 1, 2, 3, 4, 0, 0, 0, 1, 0x41, 5, 6};

Rewritten Rewrite(std::vector<uint8_t> file, int32_t frame_size, int32_t capacity, int32_t width,
                  bool with_output = true) {
  Handle h(std::move(file), 2);
  Rewritten r;
  r.out.assign(64, 0xCC);
  r.written = 12345;
  r.status = modify_nal_header2(h.mfal(), h.fp(), with_output ? r.out.data() : nullptr, frame_size,
                                capacity, width, &r.written);
  r.out.resize(with_output ? r.written : 0);
  r.pos_after = h.pos();
  return r;
}

TEST(NalRewrite, EveryLengthWidthBecomesAStartCode) {
  for (int width = 1; width <= 4; ++width) {
    const int32_t frame = 2 * width + 8;
    Rewritten r = Rewrite(TwoUnits(width), frame, 64, width);
    EXPECT_EQ(r.status, 0) << width;
    EXPECT_EQ(r.written, 16u) << width;
    EXPECT_EQ(r.out, kAnnexB) << width;
    EXPECT_EQ(r.pos_after, 2 + frame) << width;
  }
}

}  // namespace
}  // namespace mkvtest
