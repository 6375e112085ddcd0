// The file access layer over the framework's data source: reads advance the handle's own
// position, and stop short at the end.
#include <gtest/gtest.h>

#include <string.h>

#include "mem_source.h"

namespace mkvtest {
namespace {

class MfalTest : public ::testing::Test {
 protected:
  MfalTest() : file_(std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}) {
    fp_ = file_.mfal.open(&file_.mfal, 0);
  }
  ~MfalTest() override {
    if (fp_) file_.mfal.close(fp_);
  }
  int64_t Pos() {
    int64_t p = -99;
    file_.mfal.getpos(fp_, &p);
    return p;
  }
  MemFile file_;
  QCMN_MFAL_FILE* fp_ = nullptr;
};

TEST_F(MfalTest, ReadsAdvanceTheHandlePositionOnly) {
  ASSERT_NE(fp_, nullptr);
  uint8_t buf[4] = {};
  EXPECT_EQ(file_.mfal.read(fp_, buf, 4), 4);
  EXPECT_EQ(buf[0], 1);
  EXPECT_EQ(buf[3], 4);
  EXPECT_EQ(Pos(), 4);
  // A second handle on the same record has its own position.
  QCMN_MFAL_FILE* other = file_.mfal.open(&file_.mfal, 6);
  ASSERT_NE(other, nullptr);
  EXPECT_EQ(file_.mfal.read(other, buf, 1), 1);
  EXPECT_EQ(buf[0], 1);
  EXPECT_EQ(Pos(), 4);
  file_.mfal.close(other);
}

TEST_F(MfalTest, ReadPastTheEndIsShortThenEmpty) {
  int64_t eight = 8;
  file_.mfal.setpos(fp_, &eight);
  uint8_t buf[8] = {};
  EXPECT_EQ(file_.mfal.read(fp_, buf, 8), 2);
  EXPECT_EQ(Pos(), 10);
  EXPECT_EQ(file_.mfal.read(fp_, buf, 8), 0);
  EXPECT_EQ(Pos(), 10);
}

}  // namespace
}  // namespace mkvtest
