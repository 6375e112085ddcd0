// Creation and deletion of the demuxer context: status codes, messages, what is left to the
// caller on each failure, and every truncation of a valid file.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include "demux/header/qmkvd_header.h"
#include "demux_harness.h"
#include "log_capture.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

bool AllBytesAre(const void* p, size_t n, uint8_t value) {
  const uint8_t* b = static_cast<const uint8_t*>(p);
  for (size_t i = 0; i < n; ++i) {
    if (b[i] != value) return false;
  }
  return true;
}

TEST(Create, SourceThatCannotBeOpenedLeavesInfoUntouched) {
  QCMN_MFAL mfal;
  ASSERT_EQ(qcmn_mfal_init(&mfal, nullptr), 0);
  QMKVD_FILE_INFO info;
  memset(&info, 0xAB, sizeof(info));
  int32_t err = 0;
  uint32_t flags = QMKVD_FLAG_PTS;
  LogCapture log;
  EXPECT_EQ(qmkvd_create(&mfal, &flags, &info, &err), nullptr);
  EXPECT_EQ(err, -4);
  EXPECT_TRUE(log.Has(6, "qmkvd", "[qmkv_create] file open failed")) << log.Dump();
  EXPECT_TRUE(AllBytesAre(&info, sizeof(info), 0xAB));
  // The error pointer is optional.
  EXPECT_EQ(qmkvd_create(&mfal, &flags, &info, nullptr), nullptr);
  qcmn_mfal_deinit(&mfal);
}

TEST(Create, HeaderFailureClearsInfo) {
  LogCapture log;
  Created c(std::vector<uint8_t>{1, 2, 3});
  EXPECT_EQ(c.err(), -6);
  EXPECT_EQ(c.ctx(), nullptr);
  EXPECT_TRUE(AllBytesAre(&c.info(), sizeof(c.info()), 0));
  EXPECT_TRUE(log.Has(6, "qmkvd", "[qmkvd_create] header parsing failed")) << log.Dump();
}

TEST(Create, FileWithoutUsableTrackIsRefused) {
  LogCapture log;
  Created c(MkvFile({MinimalInfo(), Tracks({}), SmallCluster()}));
  EXPECT_EQ(c.err(), -2);
  EXPECT_EQ(c.ctx(), nullptr);
  EXPECT_TRUE(log.Has(6, "qmkvd", "stream count == 0!!!")) << log.Dump();
}

// Every prefix of a valid file is refused with a status, never a crash, a leak or a hang (the
// sanitizer build checks the last two), and with short reads of any size.
TEST(Create, EveryPrefixOfAValidFileEndsInAStatus) {
  const std::vector<uint8_t> whole = MkvFile(
      {SeekHead({Master(0x4DBB, {Binary(0x53AB, {0x15, 0x49, 0xA9, 0x66}), Uint(0x53AC, 40)})}),
       MinimalInfo(), OneTrack(), Master(0x1254C367, {}), SmallCluster()});
  Created full(whole);
  const int32_t full_err = full.err();
  for (size_t n = 0; n < whole.size(); ++n) {
    Created c(std::vector<uint8_t>(whole.begin(), whole.begin() + n));
    EXPECT_TRUE(c.err() == -6 || c.err() == -2 || c.err() == 0) << n << ": " << c.err();
  }
  EXPECT_TRUE(full_err == 0 || full_err == -2) << full_err;
}

TEST(Delete, AcceptsNullAndIgnoresForeignBlocks) {
  qmkvd_delete(nullptr);
  // A block without the check word is not ours to free: freeing it here would be caught as a
  // double free by the sanitizer build.
  QMKVD_CTX* foreign = static_cast<QMKVD_CTX*>(calloc(1, sizeof(QMKVD_CTX)));
  foreign->check = 0x12345678;
  qmkvd_delete(foreign);
  free(foreign);
}

}  // namespace
}  // namespace mkvtest
