// Frame reading: key frames, subtitle gaps, lacing and lace times, header stripping, key frames
// after a seek and the give-up span, and every prefix of a file.
#include <gtest/gtest.h>

#include "demux/read/qmkvd_stream.h"
#include "demux_harness.h"
#include "frame_reader.h"
#include "log_capture.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

using namespace id;

const int64_t kMs = 10000;  // 100-ns units per millisecond

using Bytes = std::vector<uint8_t>;

// Creation and stream `index` opened; the test fails at once when either fails.
class Opened {
 public:
  Opened(std::vector<uint8_t> bytes, int32_t index = 0, uint32_t flags = QMKVD_FLAG_PTS)
      : c_(std::move(bytes), flags) {
    EXPECT_EQ(c_.err(), 0);
    if (c_.ctx()) s_ = qmkvds_open(c_.ctx(), index, nullptr);
    EXPECT_NE(s_, nullptr);
  }
  QMKVDS_CTX* s() { return s_; }

 private:
  Created c_;
  QMKVDS_CTX* s_ = nullptr;
};

std::vector<Bytes> Payloads(const std::vector<Frame>& frames) {
  std::vector<Bytes> out;
  for (const Frame& f : frames) {
    if (f.status == 0) out.push_back(f.bytes);
  }
  return out;
}

Bytes Filled(size_t n, uint8_t first) {
  Bytes b(n);
  for (size_t i = 0; i < n; ++i) b[i] = static_cast<uint8_t>(first + i);
  return b;
}

// A Block's flags byte has no key bit: the Block of a BlockGroup is a key frame when its group
// has no ReferenceBlock, wherever in the group that stands and whatever its value. A
// SimpleBlock keeps its key bit.
TEST(ReadFrames, ABlockGroupIsAKeyFrameWithoutAReferenceBlock) {
  Opened o(
      FileOf({VideoTrack(1)},
             {ClusterAt(0, {BlockGroup({Block(1, 0, 0x00, {1})}),
                            BlockGroup({Block(1, 40, 0x80, {2}), Int(kReferenceBlock, -40)}),
                            BlockGroup({Int(kReferenceBlock, 0x7FFFFFFF), Block(1, 80, 0x00, {3})}),
                            BlockGroup({Block(1, 120, 0x00, {4}), Uint(kBlockDuration, 40)}),
                            SimpleBlock(1, 160, 0x00, {5}), SimpleBlock(1, 200, 0x80, {6})})}));
  std::vector<Frame> frames = ReadAll(o.s());
  ASSERT_EQ(frames.size(), 7u);
  EXPECT_EQ(frames[0].sync, 1);  // no ReferenceBlock, though its flags byte says nothing
  EXPECT_EQ(frames[1].sync, 0);  // a ReferenceBlock, whatever the flags byte says
  EXPECT_EQ(frames[2].sync, 0);  // a ReferenceBlock before the Block, with a garbage value
  EXPECT_EQ(frames[3].sync, 1);
  EXPECT_EQ(frames[4].sync, 0);
  EXPECT_EQ(frames[5].sync, 1);
}

TEST(ReadFrames, SubtitleWithNothingNearYieldsAnEarlyEmptyFrame) {
  Opened o(
      FileOf({VideoTrack(1), TextTrack(2)},
             {ClusterAt(
                 0, {SimpleBlock(1, 0, 0x80, {1}), SimpleBlock(1, 400, 0x80, {2}),
                     SimpleBlock(1, 501, 0x80, {3}),
                     BlockGroup({Block(2, 2000, 0x80, {'h', 'i'}), Uint(kBlockDuration, 1500)})})}),
      1);
  Frame empty = ReadFrame(o.s());
  EXPECT_EQ(empty.status, 0);
  EXPECT_EQ(empty.size, 0u);
  EXPECT_EQ(empty.time, 501 * kMs - 1000000);  // 0.1 s before the block that ended the wait
  Frame text = ReadFrame(o.s());
  EXPECT_EQ(text.bytes, (Bytes{'h', 'i'}));
  EXPECT_EQ(text.time, 2000 * kMs);
  EXPECT_EQ(text.end, 3500 * kMs);  // BlockDuration gives a subtitle its end
  EXPECT_EQ(ReadFrame(o.s()).status, 1);
}

TEST(ReadFrames, AnAnnouncedEmptySubtitleFrameIsTheOneDelivered) {
  Opened o(FileOf({VideoTrack(1), TextTrack(2)},
                  {ClusterAt(0, {SimpleBlock(1, 0, 0x80, {1}), SimpleBlock(1, 501, 0x80, {2}),
                                 SimpleBlock(1, 1002, 0x80, {3}),
                                 SimpleBlock(2, 1100, 0x80, {'h', 'i'})})}),
           1);
  Frame q1 = QuerySize(o.s());
  Frame q2 = QuerySize(o.s());
  Frame empty = ReadFrame(o.s());
  EXPECT_EQ(q1.time, 501 * kMs - 1000000);
  EXPECT_EQ(q2.time, q1.time);
  EXPECT_EQ(empty.status, 0);
  EXPECT_EQ(empty.size, 0u);
  EXPECT_EQ(empty.time, q1.time);
  Frame text = ReadFrame(o.s());
  EXPECT_EQ(text.bytes, (Bytes{'h', 'i'}));
  EXPECT_EQ(text.time, 1100 * kMs);
  EXPECT_EQ(ReadFrame(o.s()).status, 1);
}

// --- lacing ---

Element OpusTrack(uint64_t number = 1) {
  return AudioTrack(number, {}, "A_OPUS");
}
Element FlacTrack(uint64_t number = 1) {
  return AudioTrack(number, {}, "A_FLAC");
}

TEST(Lacing, EbmlSizesAsSignedDifferences) {
  const Bytes a = Filled(300, 0), b = Filled(20, 1), c = Filled(20, 2), d = Filled(500, 3);
  Opened o(FileOf({OpusTrack()},
                  {ClusterAt(0, {EbmlLacedBlock(1, 0, 0x80, {a, b, c, d}),
                                 EbmlLacedBlock(1, 20, 0x80, {Filled(1, 9), Bytes{}})})}));
  EXPECT_EQ(Payloads(ReadAll(o.s())), (std::vector<Bytes>{a, b, c, d, Filled(1, 9), Bytes{}}));
}

TEST(Lacing, LaceCountByteFromHalfUpIsRefused) {
  Bytes block = {0x81, 0x00, 0x00, 0x84, 0xFF, 1, 2, 3, 4};
  Opened o(FileOf({OpusTrack()}, {ClusterAt(0, {Raw(EncodeId(0xA3)), Raw(EncodeVint(block.size())),
                                                Raw(block)})}));
  EXPECT_EQ(ReadFrame(o.s()).status, -2);
}

// Every frame of a laced block is at the block's time plus the durations of the frames before
// it: the DefaultDuration, or the codec's own framing (AAC 1024 or 960 samples at the core
// rate, Opus by its TOC byte). Without a rule, the gap to the next block is shared out.
TEST(Lacing, EachFrameAfterTheDurationsBeforeIt) {
  const Bytes f = {0x80, 1};  // an Opus frame of 2.5 ms
  const struct {
    const char* name;
    Element track;
    std::vector<Bytes> frames;
    std::vector<int64_t> us;  // times of the first block's frames, then the second block's
  } rows[] = {
      {"DefaultDuration",
       AudioTrack(1, {}, "A_OPUS", {Uint(kDefaultDuration, 5000000)}),
       {f, f, f, f},
       {0, 5000, 10000, 15000, 20000, 25000, 30000, 35000}},
      {"Opus TOC: 2.5, 5, 5 and 7.5 ms",
       AudioTrack(1, {}, "A_OPUS"),
       {{0x80, 1}, {0x88, 1}, {0x81, 1}, {0x83, 3}},
       {0, 2500, 7500, 12500, 20000, 22500, 27500, 32500}},
      {"two frames", AudioTrack(1, {}, "A_OPUS"), {f, f}, {0, 2500, 20000, 22500}},
      {"AAC LC 48 kHz",
       AudioTrack(1, {}, "A_AAC", {Binary(kCodecPrivate, {0x11, 0x90})}),
       {f, f, f},
       {0, 21333, 42666, 20000, 41333, 62666}},
      {"AAC LC 960 samples",
       AudioTrack(1, {}, "A_AAC", {Binary(kCodecPrivate, {0x11, 0x94})}),
       {f, f},
       {0, 20000, 20000, 40000}},
      {"HE-AAC at a 24 kHz core",
       AudioTrack(1, {}, "A_AAC", {Binary(kCodecPrivate, {0x2B, 0x11, 0x88})}),
       {f, f},
       {0, 42666, 20000, 62666}},
      {"no rule: the first block at its time, the next shares the gap",
       AudioTrack(1, {}, "A_TTA1"),
       {f, f, f, f},
       {0, 0, 0, 0, 20000, 25000, 30000, 35000}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Opened o(FileOf({row.track}, {ClusterAt(0, {XiphLacedBlock(1, 0, 0x80, row.frames),
                                                XiphLacedBlock(1, 20, 0x80, row.frames)})}));
    std::vector<int64_t> us;
    for (const Frame& frame : ReadAll(o.s())) {
      if (frame.status == 0) us.push_back(frame.time / 10);
    }
    EXPECT_EQ(us, row.us);
  }
}

// --- header stripping ---

TEST(HeaderStripping, EveryLaceGetsTheStrippedBytesBack) {
  Element lace_by_lace = AudioTrack(1, {}, "A_OPUS", {HeaderStripping({0xAA, 0xBB})});
  Opened o(FileOf({lace_by_lace}, {ClusterAt(0, {XiphLacedBlock(1, 0, 0x80, {{1, 2}, {3}, {}})})}));
  EXPECT_EQ(Payloads(ReadAll(o.s())),
            (std::vector<Bytes>{{0xAA, 0xBB, 1, 2}, {0xAA, 0xBB, 3}, {0xAA, 0xBB}}));

  Element whole = AudioTrack(1, {}, "A_MPEG/L3", {HeaderStripping({0xFF, 0xFB})});
  Opened w(FileOf({whole}, {ClusterAt(0, {XiphLacedBlock(1, 0, 0x80, {{1, 2}, {3}}),
                                          SimpleBlock(1, 26, 0x80, {4})})}));
  // A size query announces the whole block, the stripped bytes of every lace counted.
  uint32_t announced = 0;
  ASSERT_EQ(qmkvds_get_frm(w.s(), nullptr, 0, &announced, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(announced, 7u);
  std::vector<Frame> frames = ReadAll(w.s());
  EXPECT_EQ(Payloads(frames),
            (std::vector<Bytes>{{0xFF, 0xFB, 1, 2, 0xFF, 0xFB, 3}, {0xFF, 0xFB, 4}}));
}

// --- NAL rewriting and key frames after a seek ---

Element AvcTrack(uint8_t length_byte, std::vector<Element> extra = {}) {
  extra.push_back(Binary(kCodecPrivate, {1, 0x64, 0, 0x1F, length_byte, 0xE1}));
  return VideoTrack(1, std::move(extra), "V_MPEG4/ISO/AVC");
}

Bytes AvcFrame(uint8_t nal_type_byte) {
  return {0, 0, 0, 2, nal_type_byte, 0x80};
}

// After a seek, frames are dropped until a key frame by the same rule: a referencing
// BlockGroup is not one, an unreferenced one is, without a look into its bytes.
TEST(ReadFrames, AfterASeekAnUnreferencedBlockGroupEndsTheWait) {
  Opened o(FileOf({AvcTrack(0xFF)},
                  {ClusterAt(0, {BlockGroup({Block(1, 0, 0x00, {0, 0, 0, 2, 0x41, 0x80}),
                                             Int(kReferenceBlock, -40)}),
                                 BlockGroup({Block(1, 40, 0x00, {0, 0, 0, 2, 0x41, 0x80})})})}));
  o.s()->key_frame_pending = 1;
  Frame f = ReadFrame(o.s());
  EXPECT_EQ(f.time, 40 * kMs);  // not an IDR by its bytes, but a key frame by its group
  EXPECT_EQ(f.sync, 1);
  EXPECT_EQ(o.s()->key_frame_pending, 0);
}

TEST(AvcFrames, GivesUpAfterTenThousandDroppedFrames) {
  std::vector<Element> blocks;
  for (int i = 0; i < 10002; ++i) {
    blocks.push_back(
        SimpleBlock(1, static_cast<int16_t>(i % 30000), 0x00, AvcFrame(i == 10001 ? 0x65 : 0x41)));
  }
  Opened o(FileOf({AvcTrack(0xFF)}, {ClusterAt(0, std::move(blocks))}));
  o.s()->key_frame_pending = 1;
  LogCapture log;
  EXPECT_EQ(ReadFrame(o.s()).status, -2);
  EXPECT_TRUE(log.Has(6, "qmkvd", "Cannot find keyframe after seeking 10001")) << log.Dump();
  // Still waiting for a key frame: the next call goes on and finds the IDR.
  EXPECT_EQ(ReadFrame(o.s()).bytes, (Bytes{0, 0, 0, 1, 0x65, 0x80}));
}

}  // namespace
}  // namespace mkvtest

namespace mkvtest {
namespace {

// Every prefix of a file with every kind of block: whatever is cut, reading ends in a status.
TEST(ReadRobustness, EveryPrefixReadsToAStatus) {
  const Bytes f = {1, 2, 3};
  std::vector<uint8_t> bytes =
      FileOf({AvcTrack(0xFD), AudioTrack(2, {}, "A_OPUS", {HeaderStripping({0xAA})}), FlacTrack(3),
              TextTrack(4)},
             {ClusterAt(0, {SimpleBlock(1, 0, 0x80, {0, 2, 0x65, 1, 0, 9, 0x41}),
                            XiphLacedBlock(2, 0, 0x80, {f, f, Filled(300, 0)}),
                            EbmlLacedBlock(3, 0, 0x80, {f, Filled(200, 0), f}),
                            FixedLacedBlock(3, 5, 0x80, {f, f}),
                            BlockGroup({Block(4, 10, 0, {'a'}), Uint(kBlockDuration, 20)})}),
              ClusterAt(100, {BlockGroup({Block(1, 0, 0, {0, 1, 0x41})}),
                              XiphLacedBlock(2, 0, 0x80, {f, f}, false)})});
  for (size_t n = 0; n <= bytes.size(); ++n) {
    Created c(Bytes(bytes.begin(), bytes.begin() + n));
    if (c.err() != 0) continue;
    for (int32_t i = 0; i < c.ctx()->stream_count; ++i) {
      QMKVDS_CTX* s = qmkvds_open(c.ctx(), i, nullptr);
      if (!s) continue;
      std::vector<Frame> frames = ReadAll(s, 100);
      EXPECT_LT(frames.size(), 100u) << n;
      EXPECT_NE(frames.back().status, 0) << n;
      for (const Frame& fr : frames) EXPECT_LE(fr.bytes.size(), 1u << 16) << n;
    }
  }
}

}  // namespace
}  // namespace mkvtest
