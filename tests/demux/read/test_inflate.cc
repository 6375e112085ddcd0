// Tracks stored zlib-compressed, through the plug-in: every frame comes out inflated (laced or
// not, rewritten to start codes or not, in both frame readers), a CodecPrivate is inflated when
// the encoding's scope says so, and damaged or exploding zlib data costs the frame, never the
// process.
#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

#include "log_capture.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"
#include "plugin_harness.h"

namespace mkvtest {
namespace {

using namespace id;

using Bytes = std::vector<uint8_t>;

const uint8_t kKey = 0x80;
const Bytes kOpusHead = {'O',  'p', 'u',  's',  'H', 'e', 'a', 'd', 1, 2,
                         0x38, 1,   0x80, 0xBB, 0,   0,   0,   0,   0};
// avcC with 2-byte NAL lengths (so that frames are rewritten, not only copied), one SPS, one PPS.
const Bytes kAvcC = {1,    0x42, 0,    0x1E, 0xFD, 0xE1, 0, 10, 0x67, 0x42, 0,    0x1E, 0x95,
                     0xA8, 0x28, 0x0F, 0x68, 0x40, 1,    0, 4,  0x68, 0xCE, 0x3C, 0x80};
// An MPEG-1 layer III frame header (128 kbit/s, 44.1 kHz), then the frame's body.
Bytes Mp3Frame(uint8_t fill) {
  Bytes frame = {0xFF, 0xFB, 0x90, 0x64};
  frame.resize(417, fill);
  return frame;
}

Bytes Deflate(const Bytes& plain) {
  uLongf size = compressBound(plain.size());
  Bytes out(size);
  EXPECT_EQ(compress2(out.data(), &size, plain.data(), plain.size(), 9), Z_OK);
  out.resize(size);
  return out;
}

Element Zlib(uint64_t scope) {
  return Master(kContentEncodings, {Master(kContentEncoding, {Uint(kContentEncodingScope, scope),
                                                              Master(kContentCompression, {})})});
}

Bytes Repeat(const std::string& text, size_t times) {
  Bytes out;
  for (size_t i = 0; i < times; ++i) out.insert(out.end(), text.begin(), text.end());
  return out;
}

// One track (number 1) and its frames, each stored deflated; laced into one block when `laced`.
// A video track without frames follows, since a file of text tracks alone is not opened.
Bytes ZlibFile(Element track, const std::vector<Bytes>& frames, bool laced) {
  std::vector<Element> blocks = {Uint(kTimecode, 0)};
  std::vector<Bytes> stored;
  for (const Bytes& f : frames) stored.push_back(Deflate(f));
  if (laced) {
    blocks.push_back(XiphLacedBlock(1, 0, kKey, stored));
  } else {
    for (size_t i = 0; i < stored.size(); ++i) {
      blocks.push_back(BlockGroup(
          {Block(1, static_cast<int16_t>(20 * i), 0, stored[i]), Uint(kBlockDuration, 20)}));
    }
  }
  return MkvFile({MinimalInfo(), Tracks({std::move(track), VideoTrack(2)}),
                  Cluster(std::move(blocks)), Binary(kVoid, Bytes(128, 0))});
}

// What the framework gets: start codes in place of the 2-byte NAL lengths.
Bytes AnnexB(const Bytes& frame) {
  Bytes out;
  for (size_t i = 0; i + 2 <= frame.size();) {
    const size_t n = (frame[i] << 8) | frame[i + 1];
    out.insert(out.end(), {0, 0, 0, 1});
    out.insert(out.end(), frame.begin() + i + 2, frame.begin() + i + 2 + n);
    i += 2 + n;
  }
  return out;
}

std::vector<Bytes> Packets(Plugin* p, media_status_t* end) {
  std::vector<Bytes> out;
  std::unique_ptr<PluginTrack> t = p->Track(0);
  if (!t || t->Start() != AMEDIA_OK) return out;
  std::vector<Packet> packets;
  *end = t->ReadAll(&packets);
  t->Stop();
  for (const Packet& packet : packets) out.push_back(packet.bytes);
  return out;
}

Bytes WithNul(Bytes text) {
  text.push_back(0);
  return text;
}

Element ZlibText() {
  return TextTrack(1, "S_TEXT/UTF8", {Zlib(1)});
}

Element ZlibAudio(const char* codec, double rate, std::vector<Element> extra) {
  extra.insert(extra.begin(), Zlib(1));
  return AudioTrack(1, {Float(kSamplingFrequency, rate), Uint(kChannels, 2)}, codec,
                    std::move(extra));
}

TEST(Zlib, EveryFrameComesOutInflated) {
  const Bytes nal1 = {0, 5, 0x65, 0x88, 0x84, 0x21, 0xA0, 0, 3, 0x41, 0x9A, 0x02};
  const Bytes nal2 = {0, 4, 0x41, 0x9A, 0x21, 0x6C};
  const std::vector<Bytes> vp9 = {Repeat("vp9", 200), Repeat("VP9", 3)};
  const std::vector<Bytes> opus = {Repeat("\xFC opus frame ", 20), Repeat("\xFC another ", 30),
                                   Repeat("\xFC opus frame ", 20)};
  const std::vector<Bytes> mp3 = {Mp3Frame(1), Mp3Frame(2), Mp3Frame(3)};
  const Bytes srt = Repeat("a subtitle line ", 300);  // 4.8 KB: more than a text buffer holds
  struct Row {
    const char* name;
    Element track;
    std::vector<Bytes> frames;
    bool laced;
    std::vector<Bytes> expected;
  } rows[] = {
      {"vp9 video", VideoTrack(1, {Zlib(1)}), vp9, false, vp9},
      {"avc video, NAL lengths rewritten",
       VideoTrack(1, {Zlib(1), Binary(kCodecPrivate, kAvcC)}, "V_MPEG4/ISO/AVC"),
       {nal1, nal2},
       false,
       {AnnexB(nal1), AnnexB(nal2)}},
      {"opus laced, frame by frame", ZlibAudio("A_OPUS", 48000, {Binary(kCodecPrivate, kOpusHead)}),
       opus, true, opus},
      {"mp3 laced, the block whole", ZlibAudio("A_MPEG/L3", 44100, {}), mp3, true, {Concat(mp3)}},
      {"text longer than a text buffer", ZlibText(), {srt}, false, {WithNul(srt)}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Plugin p(ZlibFile(row.track, row.frames, row.laced));
    ASSERT_TRUE(p.Open());
    ASSERT_EQ(p.CountTracks(), 2u);
    media_status_t end = AMEDIA_OK;
    EXPECT_EQ(Packets(&p, &end), row.expected);
    EXPECT_EQ(end, AMEDIA_ERROR_END_OF_STREAM);
  }
}

// Damaged, cut short or exploding zlib data: that frame's read fails with an error (the track
// ends there, as for any unreadable frame), and nothing is allocated beyond the bound.
TEST(Zlib, BadDataCostsTheFrameOnly) {
  const Bytes text = Repeat("subtitle ", 50);
  Bytes damaged = Deflate(text);
  damaged[damaged.size() / 2] ^= 0x55;
  damaged[damaged.size() / 2 + 1] ^= 0xAA;
  Bytes cut = Deflate(text);
  cut.resize(cut.size() / 2);
  // 4 MiB of zeros deflate to about 4 KB: past both the ratio and the floor.
  const Bytes bomb = Deflate(Bytes(4 << 20, 0));
  const Bytes not_zlib = {'p', 'l', 'a', 'i', 'n'};
  const char kDamaged[] = "frame cannot be inflated: damaged zlib data";
  const struct {
    const Bytes* stored;
    const char* message;
  } rows[] = {{&damaged, kDamaged},
              {&cut, kDamaged},
              {&bomb, "frame inflates past 1048576 bytes"},
              {&not_zlib, kDamaged}};
  for (const auto& row : rows) {
    const Bytes* stored = row.stored;
    SCOPED_TRACE(stored->size());
    LogCapture log;
    Plugin p(MkvFile({MinimalInfo(), Tracks({ZlibText(), VideoTrack(2)}),
                      Cluster({Uint(kTimecode, 0),
                               BlockGroup({Block(1, 0, 0, *stored), Uint(kBlockDuration, 20)})}),
                      Binary(kVoid, Bytes(128, 0))}));
    ASSERT_TRUE(p.Open());
    media_status_t end = AMEDIA_OK;
    EXPECT_TRUE(Packets(&p, &end).empty());
    EXPECT_NE(end, AMEDIA_OK);
    EXPECT_NE(end, AMEDIA_ERROR_END_OF_STREAM);
    EXPECT_TRUE(log.Has(row.message)) << log.Dump();
  }
}

// Scope 2 (and 3): the CodecPrivate is stored deflated too; the published codec data is the
// inflated one. Scope 2 alone leaves the frames as stored.
TEST(Zlib, CodecPrivateIsInflatedWhenTheScopeSaysSo) {
  const Bytes frame = {0xFC, 1, 2, 3};
  for (uint64_t scope : {2, 3}) {
    SCOPED_TRACE(scope);
    Element track = AudioTrack(1, {Float(kSamplingFrequency, 48000.0), Uint(kChannels, 2)},
                               "A_OPUS", {Zlib(scope), Binary(kCodecPrivate, Deflate(kOpusHead))});
    const Bytes stored = scope == 3 ? Deflate(frame) : frame;
    Plugin p(MkvFile({MinimalInfo(), Tracks({track}),
                      Cluster({Uint(kTimecode, 0), SimpleBlock(1, 0, kKey, stored)}),
                      Binary(kVoid, Bytes(128, 0))}));
    ASSERT_TRUE(p.Open());
    Format format;
    ASSERT_EQ(p.TrackFormat(0, &format), AMEDIA_OK);
    EXPECT_EQ(format.Buffer("csd-0"), kOpusHead);
    media_status_t end = AMEDIA_OK;
    EXPECT_EQ(Packets(&p, &end), std::vector<Bytes>{frame});
  }
}

}  // namespace
}  // namespace mkvtest
