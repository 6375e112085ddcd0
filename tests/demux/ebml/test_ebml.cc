// EBML primitives: IDs, sizes of every width and the unknown size, the 32-bit limits and the
// in-memory decoder.
#include <gtest/gtest.h>

#include "demux/ebml/qmkvd_ebml.h"
#include "log_capture.h"
#include "mem_source.h"

namespace mkvtest {
namespace {

// A file of the given bytes with a handle open at 0.
class Bytes {
 public:
  explicit Bytes(std::vector<uint8_t> b) : file_(std::move(b)) {
    fp_ = file_.mfal.open(&file_.mfal, 0);
  }
  ~Bytes() { file_.mfal.close(fp_); }
  const QCMN_MFAL* mfal() const { return &file_.mfal; }
  QCMN_MFAL_FILE* fp() { return fp_; }
  int64_t pos() {
    int64_t p = 0;
    file_.mfal.getpos(fp_, &p);
    return p;
  }

 private:
  MemFile file_;
  QCMN_MFAL_FILE* fp_;
};

TEST(Ebml, SizesAtTheirBoundaries) {
  struct Case {
    std::vector<uint8_t> bytes;
    uint64_t value64;
    int result32;
  } cases[] = {
      {{0x80}, 0, 0},
      {{0xFF}, 127, 0},
      {{0x40, 0x01}, 1, 0},
      {{0x10, 0xFF, 0xFF, 0xFF}, 0x00FFFFFF, 0},
      {{0x08, 0, 0, 0, 1}, 1, -1},
      {{0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, 72057594037927935ull, -1},
  };
  for (const auto& c : cases) {
    Bytes f64(c.bytes);
    uint64_t v64 = 0;
    ASSERT_EQ(qmkvd_ebml_get_len64(f64.mfal(), f64.fp(), &v64), 0);
    EXPECT_EQ(v64, c.value64);
    Bytes f32(c.bytes);
    uint32_t v32 = 0;
    EXPECT_EQ(qmkvd_ebml_get_len32(f32.mfal(), f32.fp(), &v32), c.result32);
    if (c.result32 == 0) {
      EXPECT_EQ(v32, c.value64);
    }
  }
}

// Every value bit set is the unknown size in every width, from a file and from memory; one less
// is a plain size. Bare numbers (lace sizes, track numbers) keep their value.
TEST(Ebml, UnknownSizeInEveryWidth) {
  for (uint32_t width = 1; width <= 8; ++width) {
    SCOPED_TRACE(width);
    const uint64_t all_ones = (uint64_t{1} << (7 * width)) - 1;
    for (uint64_t value : {all_ones, all_ones - 1}) {
      std::vector<uint8_t> bytes = {0xEC};
      for (uint32_t i = 0; i < width; ++i) {
        bytes.push_back(static_cast<uint8_t>(value >> (8 * (width - 1 - i))));
      }
      bytes[1] |= static_cast<uint8_t>(0x80 >> (width - 1));
      const uint64_t want = value == all_ones ? QMKVD_SIZE_UNKNOWN : value;
      Bytes f(bytes);
      uint32_t id = 0;
      uint64_t size = 0;
      ASSERT_EQ(qmkvd_ebml_get_id_len64(f.mfal(), f.fp(), &id, &size), 0);
      EXPECT_EQ(size, want);
      EXPECT_EQ(qmkvd_ebml_size_is_unknown(size), value == all_ones);
      std::vector<uint8_t> more = bytes;  // the reader wants a byte past the header
      more.push_back(0);
      ASSERT_EQ(
          qmkvd_ebml_get_id_len64_buff(more.data(), static_cast<int>(more.size()), &id, &size),
          static_cast<int>(bytes.size()));
      EXPECT_EQ(size, want);
      Bytes bare(std::vector<uint8_t>(bytes.begin() + 1, bytes.end()));
      ASSERT_EQ(qmkvd_ebml_get_len64(bare.mfal(), bare.fp(), &size), 0);
      EXPECT_EQ(size, value);
    }
  }
}

TEST(Ebml, Len32IdReadLogsOnlyTheFirstByteFailure) {
  uint32_t id, size;
  {
    Bytes f({});
    LogCapture log;
    EXPECT_EQ(qmkvd_ebml_get_id_len32(f.mfal(), f.fp(), &id, &size), -1);
    EXPECT_TRUE(log.Has(6, "qmkvd_util", "get_id_len32 read buf error")) << log.Dump();
  }
  {
    Bytes f({0x00});
    LogCapture log;
    EXPECT_EQ(qmkvd_ebml_get_id_len32(f.mfal(), f.fp(), &id, &size), -1);
    EXPECT_TRUE(log.lines().empty());
  }
  {
    Bytes f({0xA3, 0x01, 0, 0, 0, 0, 0, 0, 5});  // eight-byte size: too wide for 32 bits
    LogCapture log;
    EXPECT_EQ(qmkvd_ebml_get_id_len32(f.mfal(), f.fp(), &id, &size), -1);
    EXPECT_TRUE(log.lines().empty());
  }
  {
    Bytes f({0xA3, 0x10, 0, 0, 9});
    EXPECT_EQ(qmkvd_ebml_get_id_len32(f.mfal(), f.fp(), &id, &size), 0);
    EXPECT_EQ(id, 0xA3u);
    EXPECT_EQ(size, 9u);
  }
}

TEST(Ebml, HeaderFromMemoryNeedsEveryByteAvailable) {
  const uint8_t ebml[] = {0x1A, 0x45, 0xDF, 0xA3, 0x9F};
  uint32_t id = 0;
  uint64_t size = 0;
  EXPECT_EQ(qmkvd_ebml_get_id_len64_buff(ebml, 5, &id, &size), 5);
  EXPECT_EQ(id, 0x1A45DFA3u);
  EXPECT_EQ(size, 31u);
  EXPECT_EQ(qmkvd_ebml_get_id_len64_buff(ebml, 4, &id, &size), -1);

  const uint8_t two_byte_size[] = {0xB3, 0x40, 0x02};
  EXPECT_EQ(qmkvd_ebml_get_id_len64_buff(two_byte_size, 3, &id, &size), 3);
  EXPECT_EQ(size, 2u);
  EXPECT_EQ(qmkvd_ebml_get_id_len64_buff(two_byte_size, 2, &id, &size), -1);

  const uint8_t eight[] = {0xBB, 0x01, 0, 0, 0, 0, 0, 1, 0};
  EXPECT_EQ(qmkvd_ebml_get_id_len64_buff(eight, 9, &id, &size), 9);
  EXPECT_EQ(size, 256u);

  const uint8_t zero_id[] = {0x00, 0x81};
  const uint8_t zero_size[] = {0xBB, 0x00, 0x81};
  const uint8_t long_id[] = {0x08, 1, 2, 3, 4, 0x81};
  EXPECT_EQ(qmkvd_ebml_get_id_len64_buff(zero_id, 2, &id, &size), -1);
  EXPECT_EQ(qmkvd_ebml_get_id_len64_buff(zero_size, 3, &id, &size), -1);
  EXPECT_EQ(qmkvd_ebml_get_id_len64_buff(long_id, 6, &id, &size), -1);
  EXPECT_EQ(qmkvd_ebml_get_id_len64_buff(ebml, 0, &id, &size), -1);
}

}  // namespace
}  // namespace mkvtest
