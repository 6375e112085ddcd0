// Stream handles and the cluster list: a stream needs a Cluster or Cues, and the index of
// Clusters built for seeking without cues.
#include <gtest/gtest.h>

#include "demux/read/qmkvd_stream.h"
#include "demux/seek/qmkvd_cluster.h"
#include "demux_harness.h"
#include "log_capture.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

using namespace id;

TEST(StreamOpen, NeedsAClusterOrCues) {
  // Creation already refuses a file without a Cluster; the stream checks again on its own, as
  // seen here with the flags cleared after creation.
  Created c(MinimalFile());
  ASSERT_EQ(c.err(), 0);
  c.ctx()->found.cluster = 0;
  LogCapture log;
  int32_t err = 0;
  EXPECT_EQ(qmkvds_open(c.ctx(), 0, &err), nullptr);
  EXPECT_EQ(err, -3);
  EXPECT_TRUE(log.Has(6, "qmkvd", "strm_open() failed"));
  EXPECT_EQ(c.ctx()->streams[0].fp, nullptr);  // the handle taken is given back
  EXPECT_EQ(c.ctx()->streams[0].open, 0);

  c.ctx()->found.cues = 1;  // Cues alone will do
  EXPECT_NE(qmkvds_open(c.ctx(), 0, &err), nullptr);
  EXPECT_EQ(err, 0);
}

// --- the cluster list ---

std::vector<uint8_t> ThreeClustersThenCues(uint64_t first_timecode = 0) {
  return MkvFile({MinimalInfo(), OneTrack(),
                  Cluster({Uint(kTimecode, first_timecode), SimpleBlock(1, 0, 0x80, {1})}),
                  Cluster({Uint(kTimecode, 5000), SimpleBlock(1, 0, 0x80, {2})}),
                  Cluster({Uint(kTimecode, 10000), SimpleBlock(1, 0, 0x80, {3})}),
                  Cues({Master(kCuePoint, {Uint(kCueTime, 0)})})});
}

std::vector<int64_t> ListTimes(const QMKVDS_CTX* s) {
  std::vector<int64_t> times;
  const QMKVD_CLUSTER* prev = nullptr;
  for (const QMKVD_CLUSTER* n = s->node_list; n; n = n->next) {
    EXPECT_EQ(n->prev, prev);
    prev = n;
    times.push_back(n->time);
  }
  return times;
}

TEST(ClusterList, OneNodePerClusterEndingAtTheCues) {
  Created c(ThreeClustersThenCues());
  QMKVDS_CTX* s = qmkvds_open(c.ctx(), 0, nullptr);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(qmkvds_make_cluster_list(s), 0);
  EXPECT_EQ(ListTimes(s), (std::vector<int64_t>{0, 5000000000, 10000000000}));
  EXPECT_EQ(s->node_list->data_pos, c.ctx()->first_cluster.pos.data_pos);
  EXPECT_EQ(s->node_list->size, c.ctx()->first_cluster.pos.size);
}

// --- the cluster walkers ---

}  // namespace
}  // namespace mkvtest
