// Seeking over builder-made files whose sync points are known: the four modes by cues, the cue
// checks that drop bad cues for the whole file, the crawl's steps and give-up span, hostile
// files, and the key-frame index export.
#include <gtest/gtest.h>

#include <string.h>

#include "demux/seek/qmkvd_seek.h"
#include "demux_harness.h"
#include "frame_reader.h"
#include "log_capture.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

using namespace id;

const uint8_t kKey = 0x80;
const int64_t kMs = 10000;  // 100-ns units per millisecond
// MPEG-4 part 2 frames that open with a VOP header: intra, then predicted.
const std::vector<uint8_t> kIntra = {0, 0, 1, 0xB6, 0x00, 0x11};
const std::vector<uint8_t> kPredicted = {0, 0, 1, 0xB6, 0x40, 0x22};

// Cluster i, at i seconds: video (track 1) with an intra frame first and predicted frames every
// 200 ms; audio (track 2) at 100 and 500 ms.
Element SecondCluster(int i) {
  const uint8_t tag = static_cast<uint8_t>(i);
  return Cluster({Uint(kTimecode, 1000u * i), SimpleBlock(1, 0, kKey, kIntra),
                  SimpleBlock(2, 100, kKey, {0xA0, tag}), SimpleBlock(1, 200, 0, kPredicted),
                  SimpleBlock(1, 400, 0, kPredicted), SimpleBlock(2, 500, kKey, {0xA5, tag}),
                  SimpleBlock(1, 600, 0, kPredicted), SimpleBlock(1, 800, 0, kPredicted)});
}

// A CuePoint at `cluster`'s time for `track`; its position is the Cluster's plus `shift`
// (a shift of 1 names a byte inside the Cluster's ID, where no Cluster starts).
struct Cue {
  int cluster;
  uint32_t track = 1;
  int64_t shift = 0;
};

// `after` follows the last Cluster (an empty Raw element writes nothing).
std::vector<uint8_t> SecondsFile(int clusters, const std::vector<Cue>& cues = {},
                                 std::vector<Element> tracks = {}, Element after = Element()) {
  if (tracks.empty()) {
    tracks = {VideoTrack(1, {}, "V_MPEG4/ISO/ASP"), AudioTrack(2, {})};
  }
  std::vector<Element> segment = {MinimalInfo(), Tracks(std::move(tracks))};
  std::vector<Element> points(cues.size(), CuePoint(0, 1, 0, 4));
  if (!cues.empty()) segment.push_back(Cues(points));
  std::vector<uint64_t> cluster_pos;
  uint64_t at = EncodedSize(segment);
  for (int i = 0; i < clusters; ++i) {
    cluster_pos.push_back(at);
    segment.push_back(SecondCluster(i));
    at += EncodedSize(segment.back());
  }
  // The positions are 4 bytes wide whatever their value: filling them in moves nothing.
  for (size_t k = 0; k < cues.size(); ++k) {
    points[k] = CuePoint(1000u * cues[k].cluster, cues[k].track,
                         cluster_pos[cues[k].cluster] + cues[k].shift, 4);
  }
  if (!cues.empty()) segment[2] = Cues(points);
  segment.push_back(after);
  return MkvFile(segment);
}

std::vector<Cue> VideoCues(int clusters, int from = 0) {
  std::vector<Cue> cues;
  for (int i = from; i < clusters; ++i) cues.push_back(Cue{i});
  return cues;
}

// A demuxer over the file with stream `index` open.
class Opened {
 public:
  explicit Opened(std::vector<uint8_t> bytes) : c_(std::move(bytes)) {}
  QMKVDS_CTX* Open(int32_t index) {
    int32_t err = 0;
    QMKVDS_CTX* s = qmkvds_open(c_.ctx(), index, &err);
    EXPECT_NE(s, nullptr) << "open stream " << index << ": " << err;
    return s;
  }
  QMKVD_CTX* ctx() { return c_.ctx(); }

 private:
  Created c_;
};

int32_t SeekMs(QMKVDS_CTX* s, int64_t ms, uint32_t mode, int64_t* out) {
  const int64_t time = ms * kMs;
  *out = -1;
  return qmkvds_seek(s, &time, out, mode);
}

// The seek's result, where it said it landed and the first frame read afterwards.
struct Landing {
  int32_t status;
  int64_t out_ms;
  int64_t frame_ms;
  int32_t sync;
};

Landing SeekAndRead(QMKVDS_CTX* s, int64_t ms, uint32_t mode) {
  int64_t out = 0;
  Landing l = {SeekMs(s, ms, mode, &out), out / kMs, -1, -1};
  if (l.status != 0) return l;
  const Frame f = ReadFrame(s);
  if (f.status == 0) {
    l.frame_ms = f.time / kMs;
    l.sync = f.sync;
  }
  return l;
}

void ExpectLanding(const Landing& l, int64_t at_ms) {
  EXPECT_EQ(l.status, 0);
  EXPECT_EQ(l.out_ms, at_ms);
  EXPECT_EQ(l.frame_ms, at_ms);
  EXPECT_EQ(l.sync, 1);
}

TEST(SeekByCues, EachModeLandsOnItsCue) {
  Opened f(SecondsFile(5, VideoCues(5)));
  QMKVDS_CTX* video = f.Open(0);
  ExpectLanding(SeekAndRead(video, 2500, QMKVD_SEEK_BEFORE), 2000);
  ExpectLanding(SeekAndRead(video, 2500, QMKVD_SEEK_AFTER), 3000);
  ExpectLanding(SeekAndRead(video, 2400, QMKVD_SEEK_NEAREST), 2000);
  ExpectLanding(SeekAndRead(video, 2500, QMKVD_SEEK_NEAREST), 2000);  // a tie: the earlier
  ExpectLanding(SeekAndRead(video, 2600, QMKVD_SEEK_NEAREST), 3000);
  ExpectLanding(SeekAndRead(video, 4000, QMKVD_SEEK_BEFORE), 4000);  // exactly on a cue
  EXPECT_EQ(f.ctx()->seek.cue_index, 4);
  // Mode 2 steps back from the entry the last seek used; the time is not looked at.
  ExpectLanding(SeekAndRead(video, 0, QMKVD_SEEK_BACK), 3000);
  ExpectLanding(SeekAndRead(video, 0, QMKVD_SEEK_BACK), 2000);
  EXPECT_EQ(f.ctx()->seek.cue_index, 2);
  ExpectLanding(SeekAndRead(video, 0, QMKVD_SEEK_BACK), 1000);
  ExpectLanding(SeekAndRead(video, 0, QMKVD_SEEK_BACK), 0);  // from the second entry to the first
  EXPECT_EQ(f.ctx()->seek.cue_index, 0);
  EXPECT_TRUE(f.ctx()->seek.cues_usable);
}

TEST(SeekByCues, EdgesOfTheTable) {
  Opened f(SecondsFile(4, VideoCues(4, /*from=*/1)));  // no cue for the first second
  QMKVDS_CTX* video = f.Open(0);
  // Before the first cue: back to the start.
  ExpectLanding(SeekAndRead(video, 500, QMKVD_SEEK_BEFORE), 0);
  // After the last cue: the end, with time 0, and nothing more to read.
  int64_t out = -1;
  EXPECT_EQ(SeekMs(video, 3500, QMKVD_SEEK_AFTER, &out), 1);
  EXPECT_EQ(out, 0);
  EXPECT_EQ(ReadFrame(video).status, 1);
  // Mode 1 without a time seeks from the last frame read.
  ExpectLanding(SeekAndRead(video, 1000, QMKVD_SEEK_BEFORE), 1000);
  EXPECT_EQ(qmkvds_seek(video, nullptr, &out, QMKVD_SEEK_AFTER), 0);
  EXPECT_EQ(out, 1000 * kMs);
  // Mode 2 at the first entry stays there.
  ExpectLanding(SeekAndRead(video, 0, QMKVD_SEEK_BACK), 1000);
  EXPECT_EQ(f.ctx()->seek.cue_index, 0);
}

TEST(SeekByCues, CuesAtTheWrongPlacesAreDroppedForTheWholeFile) {
  Opened f(SecondsFile(4, {Cue{0}, Cue{1, 1, 1}, Cue{2}, Cue{3}}));
  QMKVDS_CTX* video = f.Open(0);
  QMKVDS_CTX* audio = f.Open(1);
  // The second cue is probed and holds no Cluster: the seek crawls instead.
  ExpectLanding(SeekAndRead(video, 1500, QMKVD_SEEK_BEFORE), 1000);
  EXPECT_FALSE(f.ctx()->seek.cues_usable);
  EXPECT_EQ(f.ctx()->cues.entries, nullptr);
  EXPECT_EQ(f.ctx()->cues.count, 0u);
  // Other streams crawl from then on too; mode 2 needs cues.
  int64_t out = 0;
  EXPECT_EQ(SeekMs(audio, 1500, QMKVD_SEEK_BEFORE, &out), 0);
  EXPECT_EQ(out, 1500 * kMs);
  EXPECT_EQ(SeekMs(audio, 1500, QMKVD_SEEK_BACK, &out), -3);
}

// --- Without cues ----------------------------------------------------------------------------

// A Void and a Tags element between Clusters end neither the cluster list, nor a seek, nor the
// reading.
TEST(SeekByCrawling, ElementsBetweenClustersAreSteppedOver) {
  Opened f(
      MkvFile({MinimalInfo(), Tracks({VideoTrack(1, {}, "V_MPEG4/ISO/ASP"), AudioTrack(2, {})}),
               SecondCluster(0), SecondCluster(1), Binary(0xEC, std::vector<uint8_t>(300, 0)),
               Master(0x1254C367, {}), SecondCluster(2), SecondCluster(3)}));
  QMKVDS_CTX* video = f.Open(0);
  ExpectLanding(SeekAndRead(video, 1500, QMKVD_SEEK_AFTER), 2000);
  ExpectLanding(SeekAndRead(video, 3500, QMKVD_SEEK_BEFORE), 3000);
  ExpectLanding(SeekAndRead(video, 2500, QMKVD_SEEK_BEFORE), 2000);
  ExpectLanding(SeekAndRead(video, 0, QMKVD_SEEK_BEFORE), 0);
  int frames = 1;  // the one read after the last seek
  while (ReadFrame(video).status == 0) ++frames;
  EXPECT_EQ(frames, 20);
}

// One Cluster: a key frame, then `predicted` non-key frames 1 ms apart, then a key frame.
std::vector<uint8_t> LongGop(int predicted) {
  std::vector<Element> blocks = {Uint(kTimecode, 0), SimpleBlock(1, 0, kKey, kIntra)};
  for (int i = 1; i <= predicted; ++i) {
    blocks.push_back(SimpleBlock(1, static_cast<int16_t>(i), 0, kPredicted));
  }
  blocks.push_back(SimpleBlock(1, static_cast<int16_t>(predicted + 1), kKey, kIntra));
  return MkvFile({MinimalInfo(), Tracks({VideoTrack(1, {}, "V_MPEG4/ISO/ASP")}), Cluster(blocks)});
}

TEST(SeekByCrawling, GivesUpAfter1024NonKeyFrames) {
  const int64_t just_after_start = 1;  // ms: past the first key frame
  {
    Opened f(LongGop(1023));
    int64_t out = 0;
    EXPECT_EQ(SeekMs(f.Open(0), just_after_start, QMKVD_SEEK_AFTER, &out), 0);
    EXPECT_EQ(out, 1024 * kMs);
  }
  for (int predicted : {1024, 1500}) {
    Opened f(LongGop(predicted));
    LogCapture log;
    int64_t out = 0;
    EXPECT_EQ(SeekMs(f.Open(0), just_after_start, QMKVD_SEEK_AFTER, &out), -2) << predicted;
    EXPECT_TRUE(log.Has(6, "qmkvd", "No Key frame found within next 1024 frames"));
  }
}

// --- Hostile files -----------------------------------------------------------------------------

// Creation, every seek mode at several times with a read after each, and a backward crawl:
// whatever the bytes, each returns one of its documented codes.
void SeekEverywhere(std::vector<uint8_t> bytes) {
  Created c(std::move(bytes));
  if (!c.ctx()) return;
  for (int32_t i = 0; i < c.ctx()->stream_count; ++i) {
    QMKVDS_CTX* s = qmkvds_open(c.ctx(), i, nullptr);
    if (!s) continue;
    int64_t out = 0;
    for (uint32_t mode = 0; mode <= 3; ++mode) {
      for (int64_t ms : {0, 700, 1500, 2600, 9000}) {
        const int32_t status = SeekMs(s, ms, mode, &out);
        EXPECT_TRUE(status >= -3 && status <= 1) << status;
        ReadFrame(s);
      }
    }
    const int32_t status = qmkvds_seek_crawl(s, 1500 * kMs, &out, 0);
    EXPECT_TRUE(status >= -3 && status <= 1) << status;
    qmkvds_close(s);
  }
}

TEST(SeekRobustness, EveryTruncationAndByteFlip) {
  const std::vector<uint8_t> file = SecondsFile(3, VideoCues(3));
  for (size_t n = 0; n < file.size(); ++n) {
    SeekEverywhere(std::vector<uint8_t>(file.begin(), file.begin() + n));
  }
  for (size_t at = 0; at < file.size(); ++at) {
    for (uint8_t flip : {0x01, 0x80, 0xFF}) {
      std::vector<uint8_t> bytes = file;
      bytes[at] ^= flip;
      SeekEverywhere(bytes);
    }
  }
}

// --- Key-frame index --------------------------------------------------------------------------

TEST(IndexTable, SizeFirstThenTheEntries) {
  Opened f(SecondsFile(3, VideoCues(3)));
  uint32_t bytes = 0;
  uint32_t count = 0;
  ASSERT_EQ(qmkvd_get_idx_table(f.ctx(), 0, nullptr, 0, &bytes, &count), 0);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(bytes, 48u);
  std::vector<uint8_t> buffer(bytes, 0xEE);
  EXPECT_EQ(qmkvd_get_idx_table(f.ctx(), 0, buffer.data(), bytes - 1, &bytes, &count), -8);
  EXPECT_EQ(buffer, std::vector<uint8_t>(48, 0xEE));  // nothing written
  ASSERT_EQ(qmkvd_get_idx_table(f.ctx(), 0, buffer.data(), bytes, nullptr, nullptr), 0);
  for (int i = 0; i < 3; ++i) {
    QMKVD_INDEX_ENTRY e;
    memcpy(&e, &buffer[16 * i], sizeof(e));
    EXPECT_EQ(e.flags, 0u);
    EXPECT_EQ(e.reserved, 0xEEEEEEEEu);  // never written
    EXPECT_EQ(e.time, i * 1000 * kMs);
  }
  EXPECT_FALSE(f.ctx()->streams[0].open);  // the stream lived for the call only
}

}  // namespace
}  // namespace mkvtest
