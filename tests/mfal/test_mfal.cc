// The file access layer over the framework's data source: reads advance the handle's own
// position, and stop short at the end; a null argument is logged where it was caught.
#include <gtest/gtest.h>

#include <stdio.h>
#include <string.h>

#include <fstream>
#include <string>

#include "log_capture.h"
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

// The message names the header and the line of the check that caught the null argument: that
// line, read back from the source tree (the parent of tests/data), holds the check.
TEST(MfalChecks, ANullArgumentIsLoggedWithTheFileAndLineOfItsCheck) {
  LogCapture log;
  uint8_t buf[1];
  EXPECT_EQ(qcmn_mfal_read(nullptr, buf, 1), -1);
  ASSERT_EQ(log.lines().size(), 1u);
  const std::string file = "libextractor/mfal/qcmn_mfal_android_q.h";
  int line = 0;
  char what[8] = {};
  ASSERT_EQ(sscanf(log.lines()[0].text.c_str(),
                   ("[" + file + ":%d] assert failed! (%7[^)])").c_str(), &line, what),
            2)
      << log.lines()[0].text;
  EXPECT_STREQ(what, "fp");
  std::ifstream source(std::string(QMKV_TEST_DATA_DIR) + "/../../" + file);
  std::string at;
  for (int i = 0; i < line && std::getline(source, at); ++i) {
  }
  EXPECT_NE(at.find("QCMN_MFAL_ASSERT_FAILED(\"fp\")"), std::string::npos) << line << ": " << at;
}

}  // namespace
}  // namespace mkvtest
