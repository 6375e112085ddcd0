// The read cache under the file access layer: what a read returns is exactly what the source
// holds there, whatever was cached before; and the calls it saves: small reads served from
// windows, the middle of a large read sent straight to the source, jumps filled with small
// probes, windows shared by the handles of a record.
#include <gtest/gtest.h>

#include <stdint.h>

#include <vector>

#include "mem_source.h"
#include "mfal/qcmn_mfal_cache.h"

namespace mkvtest {
namespace {

const int64_t kWindow = QCMN_MFAL_CACHE_WINDOW;

std::vector<uint8_t> Pattern(size_t n) {
  std::vector<uint8_t> bytes(n);
  for (size_t i = 0; i < n; ++i) bytes[i] = static_cast<uint8_t>(i * 7 + i / 251);
  return bytes;
}

class Handle {
 public:
  explicit Handle(MemFile* file) : file_(file), fp_(file->mfal.open(&file->mfal, 0)) {}
  ~Handle() { file_->mfal.close(fp_); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  // Reads n bytes at pos; the bytes read.
  std::vector<uint8_t> ReadAt(int64_t pos, int n) {
    file_->mfal.setpos(fp_, &pos);
    std::vector<uint8_t> out(static_cast<size_t>(n));
    const int got = file_->mfal.read(fp_, out.data(), n);
    out.resize(static_cast<size_t>(got > 0 ? got : 0));
    return out;
  }

 private:
  MemFile* file_;
  QCMN_MFAL_FILE* fp_;
};

std::vector<uint8_t> Slice(const std::vector<uint8_t>& bytes, int64_t pos, int64_t n) {
  if (pos >= static_cast<int64_t>(bytes.size())) return {};
  const int64_t end = std::min<int64_t>(pos + n, static_cast<int64_t>(bytes.size()));
  return std::vector<uint8_t>(bytes.begin() + pos, bytes.begin() + end);
}

// Reads of every size class at scattered places, by two handles in turn, against the file's
// bytes: small, window-crossing, larger than a window, at and past the end.
TEST(MfalCache, ReadsReturnExactlyTheSourceBytes) {
  const std::vector<uint8_t> bytes = Pattern(5 * kWindow + 1234);
  MemFile file(bytes);
  Handle a(&file), b(&file);
  uint32_t x = 99;
  for (int i = 0; i < 3000; ++i) {
    x = x * 1664525u + 1013904223u;
    const int64_t pos = x % (bytes.size() + 100);
    const int sizes[] = {
        1, 4, 100, 5000, static_cast<int>(kWindow) + 17, static_cast<int>(3 * kWindow)};
    const int n = sizes[(x >> 8) % 6];
    Handle& h = i % 2 ? a : b;
    ASSERT_EQ(h.ReadAt(pos, n), Slice(bytes, pos, n)) << "read " << i << " at " << pos << ", " << n;
  }
}

// A source that gives fewer bytes than asked (a network source, say) is passed through: a read
// never reports bytes the source did not give, and a later read of the same place asks again.
TEST(MfalCache, ShortSourceReadsStayShortAndAreNotTakenForTheEnd) {
  const std::vector<uint8_t> bytes = Pattern(3 * kWindow);
  MemFile file(bytes);
  file.source.set_max_read(1000);
  Handle h(&file);
  std::vector<uint8_t> got = h.ReadAt(10, 3000);
  ASSERT_GE(got.size(), 1u);
  ASSERT_LE(got.size(), 3000u);
  EXPECT_EQ(got, Slice(bytes, 10, static_cast<int64_t>(got.size())));
  file.source.set_max_read(0);
  EXPECT_EQ(h.ReadAt(2000, 3000), Slice(bytes, 2000, 3000));
}

TEST(MfalCache, AFailingSourceReadsAsNothingAndIsAskedAgain) {
  const std::vector<uint8_t> bytes = Pattern(2 * kWindow);
  MemFile file(bytes);
  Handle h(&file);
  file.source.fail_reads_from(0);
  EXPECT_TRUE(h.ReadAt(5, 10).empty());
  file.source.fail_reads_from(UINT64_MAX);
  EXPECT_EQ(h.ReadAt(5, 10), Slice(bytes, 5, 10));
}

}  // namespace
}  // namespace mkvtest
