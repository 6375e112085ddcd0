// Track sources through the framework's C tables: a seek past the end, PCM turned into what the
// format promises, frames larger than the buffer, and the fatal checks on framework misuse.
#include <gtest/gtest.h>
#include <string.h>

#include <android-base/properties.h>
#include <host/host_binder.h>
#include <host/host_log.h>

#include "mkv_ids.h"
#include "mkv_shapes.h"
#include "plugin_harness.h"
#include "plugin_peer.h"

namespace mkvtest {
namespace {

using namespace id;

using Bytes = std::vector<uint8_t>;
using android::SEEK_CLOSEST;
using android::SEEK_CLOSEST_SYNC;
using android::SEEK_NEXT_SYNC;
using android::SEEK_PREVIOUS_SYNC;

const uint8_t kKey = 0x80;

Element InfoOfMs(double ms) {
  return Info({Uint(0x2AD7B1, 1000000), Float(0x4489, ms, 8), String(0x4D80, "mkvtest")});
}

// ------------------------------------------------------------------------------------------
// Seeking

// MPEG-4 part 2 frames that open with a VOP header: intra, then predicted.
const Bytes kIntra = {0, 0, 1, 0xB6, 0x00, 0x11};
const Bytes kPredicted = {0, 0, 1, 0xB6, 0x40, 0x22};

// Five one-second Clusters, a key frame at each second and predicted frames every 200 ms, with
// a cue for every Cluster.
Bytes SecondsFile() {
  std::vector<Element> segment = {InfoOfMs(5000), Tracks({VideoTrack(1, {}, "V_MPEG4/ISO/ASP")})};
  std::vector<Element> points(5, CuePoint(0, 1, 0, 4));
  segment.push_back(Cues(points));
  uint64_t at = EncodedSize(segment);
  for (int i = 0; i < 5; ++i) {
    points[i] = CuePoint(1000u * i, 1, at, 4);
    segment.push_back(
        Cluster({Uint(kTimecode, 1000u * i), SimpleBlock(1, 0, kKey, kIntra),
                 SimpleBlock(1, 200, 0, kPredicted), SimpleBlock(1, 400, 0, kPredicted),
                 SimpleBlock(1, 600, 0, kPredicted), SimpleBlock(1, 800, 0, kPredicted)}));
    at += EncodedSize(segment.back());
  }
  segment[2] = Cues(points);
  return MkvFile(segment);
}

struct Opened {
  explicit Opened(Bytes bytes, size_t index = 0) : plugin(std::move(bytes)) {
    EXPECT_TRUE(plugin.Open());
    track = plugin.Track(index);
    EXPECT_NE(track, nullptr);
  }
  Plugin plugin;
  std::unique_ptr<PluginTrack> track;
};

TEST(PluginSeek, PastTheEndFailsAndTheSourceGoesOn) {
  Opened o(SecondsFile());
  ASSERT_EQ(o.track->Start(), AMEDIA_OK);
  Packet p;
  // The duration itself (5 s) is still in the file; a microsecond past it is not.
  ASSERT_EQ(o.track->Seek(5000000, SEEK_PREVIOUS_SYNC, &p), AMEDIA_OK);
  EXPECT_EQ(p.time_us, 4000000);
  EXPECT_EQ(o.track->Seek(5000001, SEEK_PREVIOUS_SYNC, &p), AMEDIA_ERROR_END_OF_STREAM);
  EXPECT_EQ(o.track->Seek(INT64_MAX, SEEK_CLOSEST, &p), AMEDIA_ERROR_END_OF_STREAM);
  EXPECT_EQ(o.track->group().acquired_count(), 0u);
  // Past the last cue in next-sync mode: nothing to land on.
  EXPECT_EQ(o.track->Seek(4500000, SEEK_NEXT_SYNC, &p), AMEDIA_ERROR_END_OF_STREAM);
  ASSERT_EQ(o.track->Seek(2000000, SEEK_PREVIOUS_SYNC, &p), AMEDIA_OK);
  EXPECT_EQ(p.time_us, 2000000);
  ASSERT_EQ(o.track->Read(&p), AMEDIA_OK);
  EXPECT_EQ(p.time_us, 2200000);
}

// ------------------------------------------------------------------------------------------
// PCM

// One PCM track with one block of these bytes.
Bytes PcmFile(const std::string& codec, uint64_t bits, const Bytes& block,
              std::vector<Element> more_blocks = {}) {
  std::vector<Element> cluster = {Uint(kTimecode, 0), SimpleBlock(1, 0, kKey, block)};
  for (Element& e : more_blocks) cluster.push_back(std::move(e));
  return MkvFile(
      {InfoOfMs(1000),
       Tracks({AudioTrack(
           1, {Float(kSamplingFrequency, 48000.0), Uint(kChannels, 2), Uint(kBitDepth, bits)},
           codec)}),
       Cluster(cluster), Binary(0xEC, Bytes(128, 0))});
}

Bytes FirstBlock(const Bytes& file, media_status_t* status = nullptr) {
  Opened o(file);
  EXPECT_EQ(o.track->Start(), AMEDIA_OK);
  Packet p;
  media_status_t s = o.track->Read(&p);
  if (status) *status = s;
  EXPECT_EQ(p.time_us, 0);
  return p.bytes;
}

Bytes Int16s(std::initializer_list<int16_t> v) {
  Bytes out(v.size() * 2);
  memcpy(out.data(), std::data(v), out.size());
  return out;
}

Bytes Floats(std::initializer_list<float> v) {
  Bytes out(v.size() * 4);
  memcpy(out.data(), std::data(v), out.size());
  return out;
}

Bytes Doubles(std::initializer_list<double> v) {
  Bytes out(v.size() * 8);
  memcpy(out.data(), std::data(v), out.size());
  return out;
}

TEST(PluginPcm, SixteenBitOutput) {
  EXPECT_EQ(FirstBlock(PcmFile("A_PCM/INT/LIT", 8, {0x00, 0x80, 0xFF})),
            Int16s({-32768, 0, 32512}));
  EXPECT_EQ(FirstBlock(PcmFile("A_PCM/INT/LIT", 16, {0x34, 0x12, 0xCD, 0xAB, 0x77})),
            Int16s({0x1234, static_cast<int16_t>(0xABCD)}));
  EXPECT_EQ(FirstBlock(PcmFile("A_PCM/INT/LIT", 24, {0x12, 0x34, 0x56, 0xFF, 0xFF, 0xFF})),
            Int16s({0x5634, -1}));
  EXPECT_EQ(FirstBlock(PcmFile("A_PCM/INT/LIT", 32, {0, 0, 0x00, 0x40, 0, 0, 0x00, 0x80})),
            Int16s({0x4000, -32768}));
  EXPECT_EQ(FirstBlock(PcmFile("A_PCM/FLOAT/IEEE", 32, Floats({0.5f, -1.0f, 2.0f}))),
            Int16s({16384, -32768, 32767}));
  // 64-bit floats are samples of their own, not two 32-bit ones.
  EXPECT_EQ(FirstBlock(PcmFile("A_PCM/FLOAT/IEEE", 64, Doubles({0.5, -1.0, 2.0, -0.25}))),
            Int16s({16384, -32768, 32767, -8192}));
}

TEST(PluginPcm, BigEndianIsSwappedFirst) {
  EXPECT_EQ(FirstBlock(PcmFile("A_PCM/INT/BIG", 16, {0x12, 0x34, 0xAB, 0xCD})),
            Int16s({0x1234, static_cast<int16_t>(0xABCD)}));
  EXPECT_EQ(FirstBlock(PcmFile("A_PCM/INT/BIG", 32, {0x40, 0x00, 0x11, 0x22})), Int16s({0x4000}));
  // Seven bytes of 24-bit: two whole samples swapped, the stray byte dropped by the conversion.
  EXPECT_EQ(FirstBlock(PcmFile("A_PCM/INT/BIG", 24, {0x56, 0x34, 0x12, 0x80, 0x00, 0x01, 0x99})),
            Int16s({0x5634, static_cast<int16_t>(0x8000)}));
}

// A group of one buffer, exactly as big as asked, whose range does not start at 0 when it is
// handed out: the source must work on bytes, wherever the range was.
class OffsetGroup {
 public:
  OffsetGroup() {
    group_ = {this, Init, AddBuffer, Acquire, HasBuffers};
    buffer_ = {this, Release, Data, Size, RangeOffset, RangeLength, SetRange, Meta};
  }
  ~OffsetGroup() { AMediaFormat_delete(meta_); }
  android::CMediaBufferGroup* c() { return &group_; }
  size_t offset = 0, length = 0;

 private:
  static OffsetGroup* G(void* h) { return static_cast<OffsetGroup*>(h); }
  static bool Init(void*, size_t, size_t, size_t) { return true; }
  static void AddBuffer(void* h, size_t size) { G(h)->data_.resize(size); }
  static media_status_t Acquire(void* h, android::CMediaBuffer** out, bool, size_t) {
    G(h)->offset = 16;
    G(h)->length = G(h)->data_.size() - 16;
    *out = &G(h)->buffer_;
    return AMEDIA_OK;
  }
  static bool HasBuffers(void*) { return true; }
  static void Release(void*) {}
  static void* Data(void* h) { return G(h)->data_.data(); }
  static size_t Size(void* h) { return G(h)->data_.size(); }
  static size_t RangeOffset(void* h) { return G(h)->offset; }
  static size_t RangeLength(void* h) { return G(h)->length; }
  static void SetRange(void* h, size_t offset, size_t length) {
    ASSERT_LE(offset + length, G(h)->data_.size());
    G(h)->offset = offset;
    G(h)->length = length;
  }
  static AMediaFormat* Meta(void* h) {
    if (!G(h)->meta_) G(h)->meta_ = AMediaFormat_new();
    return G(h)->meta_;
  }
  android::CMediaBufferGroup group_;
  android::CMediaBuffer buffer_;
  std::vector<uint8_t> data_;
  AMediaFormat* meta_ = nullptr;

 public:
  const std::vector<uint8_t>& data() const { return data_; }
};

TEST(PluginPcm, ConversionWorksOnTheRangeWhereverItStarted) {
  Plugin p(PcmFile("A_PCM/INT/BIG", 24, {0x56, 0x34, 0x12, 0x80, 0x00, 0x01}));
  ASSERT_TRUE(p.Open());
  android::CMediaTrack* t = p.extractor()->getTrack(p.extractor()->data, 0);
  ASSERT_NE(t, nullptr);
  OffsetGroup group;
  ASSERT_EQ(t->start(t->data, group.c()), AMEDIA_OK);
  android::CMediaBuffer* out = nullptr;
  ASSERT_EQ(t->read(t->data, &out, 0, 0), AMEDIA_OK);
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(group.offset, 0u);
  ASSERT_EQ(group.length, 4u);
  EXPECT_EQ(Bytes(group.data().begin(), group.data().begin() + 4),
            Int16s({0x5634, static_cast<int16_t>(0x8000)}));
  t->stop(t->data);
  t->free(t->data);
  free(t);
}

// ------------------------------------------------------------------------------------------
// Framework misuse is fatal, with the condition and the place in the message

void PrintCondition(const char* cond, const char*, const char*) {
  fprintf(stderr, "condition: %s\n", cond);
}

TEST(PluginMisuseDeathTest, StartTwice) {
  Opened o(SecondsFile());
  ASSERT_EQ(o.track->Start(), AMEDIA_OK);
  EXPECT_DEATH(
      {
        host_log_set_assert_hook(PrintCondition);
        o.track->Start();
      },
      "condition: !\\(!mStarted\\)(.|\n)*libextractor/qmkv_source\\.cc:[0-9]+ "
      "CHECK\\(!mStarted\\) failed\\.");
}

TEST(PluginMisuseDeathTest, StopOrReadWithoutStart) {
  Opened o(SecondsFile());
  EXPECT_DEATH(
      {
        host_log_set_assert_hook(PrintCondition);
        o.track->Stop();
      },
      "condition: !\\(mStarted\\)(.|\n)*libextractor/qmkv_source\\.cc:[0-9]+ "
      "CHECK\\(mStarted\\) failed\\.");
  EXPECT_DEATH(o.track->Read(),
               "libextractor/qmkv_source\\.cc:[0-9]+ CHECK\\(mStarted\\) failed\\.");
}

TEST(PluginMisuseDeathTest, SeekModeBeyondTheFour) {
  Opened o(SecondsFile());
  ASSERT_EQ(o.track->Start(), AMEDIA_OK);
  EXPECT_DEATH(
      {
        host_log_set_assert_hook(PrintCondition);
        o.track->Seek(0, 4);
      },
      "condition: !\\(!\"Should not be here\\.\"\\)(.|\n)*"
      "libextractor/qmkv_source\\.cc:[0-9]+ CHECK\\(!\"Should not be here\\.\"\\) failed\\.");
}

TEST(PluginMisuseDeathTest, FormatWithoutMaximumInputSize) {
  Opened o(SecondsFile());
  android::sp<android::QMKVDSF> holder = android::QMKVExtractorPeer::Holder(o.plugin.extractor());
  o.track.reset();  // closes the track's stream so that a new source can open it
  Format empty;
  android::QMKVTrack first = android::QMKVExtractorPeer::Track(o.plugin.extractor(), 0);
  first.format = empty.f;
  auto* source = new android::QMKVSource(first, holder);
  PluginTrack track(android::wrap(source));
  EXPECT_DEATH(track.Start(),
               "libextractor/qmkv_source\\.cc:[0-9]+ "
               "CHECK\\(AMediaFormat_getInt32\\(mFormat, AMEDIAFORMAT_KEY_MAX_INPUT_SIZE, "
               "&max_size\\)\\) failed\\.");
}

TEST(PluginPcm, FloatOutputForTheMediaServer) {
  host_binder_set_calling_uid(1013);
  android::base::SetProperty("media.extractor.float", "true");
  EXPECT_EQ(FirstBlock(PcmFile("A_PCM/INT/LIT", 24, {0x00, 0x00, 0x80, 0xFF, 0xFF, 0x7F})),
            Floats({-1.0f, 8388607.0f / 8388608.0f}));
  EXPECT_EQ(FirstBlock(PcmFile("A_PCM/INT/BIG", 32, {0x80, 0, 0, 0, 0x40, 0, 0, 0})),
            Floats({-1.0f, 0.5f}));
  // Float input stays as it is.
  EXPECT_EQ(FirstBlock(PcmFile("A_PCM/FLOAT/IEEE", 32, Floats({0.25f, 3.0f}))),
            Floats({0.25f, 3.0f}));
  EXPECT_EQ(FirstBlock(PcmFile("A_PCM/FLOAT/IEEE", 64, Doubles({0.25, -3.0, 1e300}))),
            Floats({0.25f, -3.0f, 3.0e38f}));
  // 16 bits and less stay 16-bit.
  EXPECT_EQ(FirstBlock(PcmFile("A_PCM/INT/LIT", 16, {0x34, 0x12})), Int16s({0x1234}));
  host_binder_reset_calling_uid();
  android::base::SetProperty("media.extractor.float", "");
}

// A frame larger than the track's buffer gets a buffer of its own size from the group: PCM
// that doubles when widened, a video frame of several megabytes, a long subtitle event. The
// buffer stays one: the group swaps it for the bigger one.
TEST(PluginFrames, FramesLargerThanTheBufferAreDelivered) {
  // 8-bit samples double in size; the audio buffer holds 0x80000 bytes.
  const Bytes fits(0x40000, 0x80), too_big(0x40001, 0x80);
  Opened o(PcmFile("A_PCM/INT/LIT", 8, too_big,
                   {SimpleBlock(1, 10, kKey, fits), SimpleBlock(1, 20, kKey, {0x81})}));
  ASSERT_EQ(o.track->Start(), AMEDIA_OK);
  Packet p;
  ASSERT_EQ(o.track->Read(&p), AMEDIA_OK);
  EXPECT_EQ(p.bytes.size(), 0x80002u);
  EXPECT_EQ(o.track->group().buffer_count(), 1u);
  ASSERT_EQ(o.track->Read(&p), AMEDIA_OK);
  EXPECT_EQ(p.bytes.size(), 0x80000u);
  EXPECT_EQ(p.time_us, 10000);
  ASSERT_EQ(o.track->Read(&p), AMEDIA_OK);
  EXPECT_EQ(p.bytes, Int16s({256}));

  // A 3 MB video frame, far beyond the maximum input size of a 64x48 picture.
  Bytes frame(3 << 20);
  for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<uint8_t>(i * 7);
  frame[0] = 0x82;  // a VP9 key frame
  Opened v(MkvFile({InfoOfMs(1000), Tracks({VideoTrack(1)}),
                    Cluster({Uint(kTimecode, 0), SimpleBlock(1, 0, kKey, frame),
                             SimpleBlock(1, 40, kKey, {0x82, 1})})}));
  ASSERT_EQ(v.track->Start(), AMEDIA_OK);
  ASSERT_EQ(v.track->Read(&p), AMEDIA_OK);
  EXPECT_EQ(p.bytes, frame);
  ASSERT_EQ(v.track->Read(&p), AMEDIA_OK);
  EXPECT_EQ(p.bytes, (Bytes{0x82, 1}));
}

}  // namespace
}  // namespace mkvtest
