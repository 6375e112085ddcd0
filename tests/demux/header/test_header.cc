// The header parse: EBML header checks, the Segment, and the level-1 walk with its stopping
// rules and messages.
#include <gtest/gtest.h>

#include "demux_harness.h"
#include "log_capture.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

const char kHeaderTag[] = "qmkvd_header";

TEST(HeaderParse, NeedsInfoTracksAndACluster) {
  std::vector<std::vector<Element>> incomplete = {
      {OneTrack(), SmallCluster()},
      {MinimalInfo(), SmallCluster()},
      {MinimalInfo(), OneTrack()},
  };
  for (auto& children : incomplete) {
    LogCapture log;
    HeaderParse p(MkvFile(children));
    EXPECT_EQ(p.status(), -1);
    EXPECT_TRUE(log.Has(6, kHeaderTag, "Cannot find enough information. Check file")) << log.Dump();
  }
}

}  // namespace
}  // namespace mkvtest
