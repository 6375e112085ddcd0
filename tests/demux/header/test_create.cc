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

}  // namespace
}  // namespace mkvtest
