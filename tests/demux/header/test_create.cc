// Creation of the demuxer context: a file without a usable track is refused, and every
// truncation of a valid file ends in a status.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include "demux/header/qmkvd_header.h"
#include "demux_harness.h"
#include "log_capture.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

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

}  // namespace
}  // namespace mkvtest
