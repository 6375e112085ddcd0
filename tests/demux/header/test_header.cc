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

TEST(HeaderParse, UnknownSizeSegmentEndsWhereNoHeaderCanBeRead) {
  LogCapture log;
  std::vector<uint8_t> bytes =
      Serialize({EbmlHeader(),
                 Segment({MinimalInfo(), OneTrack(), SmallCluster()}).SizeWidth(8).UnknownSize()});
  HeaderParse p(bytes);
  EXPECT_EQ(p.status(), 0);
  EXPECT_EQ(p->segment_size, 72057594037927935LL);
  EXPECT_TRUE(log.Has(6, kHeaderTag, "Unknown data. Check file. Abnormal file.")) << log.Dump();
}

}  // namespace
}  // namespace mkvtest
