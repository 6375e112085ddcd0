// The file access layer: positions, reads at and past the end, argument checks and their
// messages, and the record's lifecycle.
#include <gtest/gtest.h>

#include <string.h>

#include "log_capture.h"
#include "mem_source.h"

namespace mkvtest {
namespace {

const char kTag[] = "QMKVExtractorSO";

std::string AssertText(int line, const char* what) {
  return "[libextractor/mfal/qcmn_mfal_android_q:" + std::to_string(line) + "] assert failed! (" +
         what + ")\n";
}

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

TEST_F(MfalTest, NegativeOrFarPositionsAreAcceptedAndReadNothing) {
  uint8_t buf[2];
  for (int64_t p : {int64_t{-5}, int64_t{1000}, INT64_MAX}) {
    EXPECT_EQ(file_.mfal.setpos(fp_, &p), 0);
    EXPECT_EQ(Pos(), p);
    EXPECT_EQ(file_.mfal.read(fp_, buf, 2), 0);
    EXPECT_EQ(Pos(), p);
  }
}

TEST_F(MfalTest, SourceErrorReadsAsZeroAndKeepsThePosition) {
  file_.source.fail_reads_from(0);
  uint8_t buf[2];
  EXPECT_EQ(file_.mfal.read(fp_, buf, 2), 0);
  EXPECT_EQ(Pos(), 0);
}

TEST_F(MfalTest, EmptyOrNegativeReadReturnsZeroWithoutChecks) {
  LogCapture log;
  EXPECT_EQ(file_.mfal.read(nullptr, nullptr, 0), 0);
  EXPECT_EQ(file_.mfal.read(nullptr, nullptr, -3), 0);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(file_.source.read_calls(), 0u);
}

TEST_F(MfalTest, SkipMovesForwardOnly) {
  int64_t three = 3, zero = 0, minus = -1;
  EXPECT_EQ(file_.mfal.skip(fp_, &three), 0);
  EXPECT_EQ(Pos(), 3);
  LogCapture log;
  EXPECT_EQ(file_.mfal.skip(fp_, &zero), -1);
  EXPECT_EQ(file_.mfal.skip(fp_, &minus), -1);
  EXPECT_EQ(Pos(), 3);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(MfalTest, GetSizeReportsTheSourceSizeOrZero) {
  int64_t size = -1;
  EXPECT_EQ(file_.mfal.getsize(fp_, &size), 0);
  EXPECT_EQ(size, 10);
  file_.source.set_size_unknown(true);
  size = -1;
  EXPECT_EQ(file_.mfal.getsize(fp_, &size), 0);
  EXPECT_EQ(size, 0);
}

TEST_F(MfalTest, IoctlAcceptsCodeOneOnly) {
  int arg = 42;
  EXPECT_EQ(file_.mfal.ioctl(fp_, 1, &arg), 0);
  EXPECT_EQ(file_.mfal.ioctl(fp_, 0, &arg), -1);
  EXPECT_EQ(file_.mfal.ioctl(fp_, 2, &arg), -1);
  EXPECT_EQ(arg, 42);
  EXPECT_EQ(file_.mfal.write(fp_, &arg, 4), 0);
}

// Every null argument is reported with the header path and a fixed line; when both pointers
// are null, the argument is named, not the handle.
TEST_F(MfalTest, NullArgumentsAreReportedWithFixedLines) {
  LogCapture log;
  uint8_t buf[1];
  int64_t v = 0;
  EXPECT_EQ(qcmn_mfal_open(nullptr, 0), nullptr);
  qcmn_mfal_close(nullptr);
  EXPECT_EQ(qcmn_mfal_read(fp_, nullptr, 1), -1);
  EXPECT_EQ(qcmn_mfal_read(nullptr, buf, 1), -1);
  EXPECT_EQ(qcmn_mfal_read(nullptr, nullptr, 1), -1);
  EXPECT_EQ(qcmn_mfal_write(nullptr, buf, 1), -1);
  EXPECT_EQ(qcmn_mfal_getpos(nullptr, nullptr), -1);
  EXPECT_EQ(qcmn_mfal_getpos(nullptr, &v), -1);
  EXPECT_EQ(qcmn_mfal_setpos(nullptr, nullptr), -1);
  EXPECT_EQ(qcmn_mfal_setpos(nullptr, &v), -1);
  EXPECT_EQ(qcmn_mfal_skip(nullptr, nullptr), -1);
  EXPECT_EQ(qcmn_mfal_skip(nullptr, &v), -1);
  EXPECT_EQ(qcmn_mfal_getsize(nullptr, nullptr), -1);
  EXPECT_EQ(qcmn_mfal_getsize(nullptr, &v), -1);
  EXPECT_EQ(qcmn_mfal_ioctl(nullptr, 1, nullptr), -1);
  EXPECT_EQ(qcmn_mfal_ioctl(fp_, 1, nullptr), -1);

  const std::vector<std::pair<int, const char*>> expected = {
      {102, "mfal"},  {134, "fp"}, {151, "buf"}, {152, "fp"}, {151, "buf"},   {165, "fp"},
      {174, "p"},     {175, "fp"}, {188, "p"},   {189, "fp"}, {203, "fsize"}, {204, "fp"},
      {224, "fsize"}, {225, "fp"}, {239, "fp"},  {240, "arg"}};
  ASSERT_EQ(log.lines().size(), expected.size()) << log.Dump();
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(log.lines()[i].text, AssertText(expected[i].first, expected[i].second)) << i;
    EXPECT_EQ(log.lines()[i].tag, kTag);
    EXPECT_EQ(log.lines()[i].prio, 6);
  }
}

TEST(MfalRecord, OpenWithoutDataSourceIsNotSupported) {
  QCMN_MFAL mfal;
  ASSERT_EQ(qcmn_mfal_init(&mfal, nullptr), 0);
  LogCapture log;
  EXPECT_EQ(mfal.open(&mfal, 0), nullptr);
  EXPECT_TRUE(log.Has(6, kTag, "not supported")) << log.Dump();
  qcmn_mfal_deinit(&mfal);
}

TEST(MfalRecord, DeinitClearsTheRecordAndMayRepeat) {
  MemSource source({1, 2});
  QCMN_MFAL mfal;
  ASSERT_EQ(qcmn_mfal_init(&mfal, source.helper()), 0);
  qcmn_mfal_deinit(&mfal);
  const uint8_t* raw = reinterpret_cast<const uint8_t*>(&mfal);
  for (size_t i = 0; i < sizeof(mfal); ++i) ASSERT_EQ(raw[i], 0) << i;
  qcmn_mfal_deinit(&mfal);
  qcmn_mfal_deinit(nullptr);
}

}  // namespace
}  // namespace mkvtest
