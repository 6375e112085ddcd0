// Codec-configuration blocks and the per-kind track summaries: what each CodecID's private data
// becomes, what broken private data gives, and the records' fields.
#include <gtest/gtest.h>

#include <string.h>

#include "common/qcmn_fourcc.h"
#include "demux/header/qmkvd_format.h"
#include "demux/read/qmkvd_stream.h"
#include "demux_harness.h"
#include "ffprobe_ref.h"
#include "log_capture.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"
#include "real_file.h"

namespace mkvtest {
namespace {

using namespace id;

using Bytes = std::vector<uint8_t>;

Element Private(Bytes bytes) {
  return Binary(kCodecPrivate, std::move(bytes));
}

std::vector<uint8_t> OneTrackFile(Element track) {
  return MkvFile({MinimalInfo(), Tracks({std::move(track)}), SmallCluster()});
}

// The block of track 0 after a size query and a fetch into a buffer of exactly that size.
struct Block {
  int32_t query_status = -100;
  int32_t status = -100;
  uint32_t queried = 0xDEAD;
  Bytes bytes;
};

Block FormatOf(QMKVD_CTX* ctx, uint32_t initial_size = 0xDEAD) {
  Block b;
  b.queried = initial_size;
  b.query_status = qmkvd_get_format(ctx, 0, nullptr, &b.queried);
  Bytes buffer(b.queried < 4096 ? b.queried : 0);
  uint32_t size = static_cast<uint32_t>(buffer.size());
  b.status = qmkvd_get_format(ctx, 0, buffer.data() ? buffer.data() : nullptr, &size);
  buffer.resize(size < buffer.size() ? size : buffer.size());
  b.bytes = buffer;
  return b;
}

Block FormatOf(Element track) {
  Created c(OneTrackFile(std::move(track)));
  EXPECT_EQ(c.err(), 0);
  return FormatOf(c.ctx());
}

Bytes Unit(Bytes nal) {
  nal.insert(nal.begin(), {0, 0, 0, 1});
  return nal;
}

Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

TEST(FormatAvc, FirstSpsAndFirstPpsAsStartCodeUnits) {
  const Bytes sps1 = {0x67, 1, 2, 3}, sps2 = {0x67, 9}, pps1 = {0x68, 4, 5}, pps2 = {0x68, 7};
  const Bytes avcc = Cat(
      {{1, 0x64, 0, 0x1E, 0xFF, 0xE2, 0, 4}, sps1, {0, 2}, sps2, {2, 0, 3}, pps1, {0, 2}, pps2});
  Block b = FormatOf(VideoTrack(1, {Private(avcc)}, "V_MPEG4/ISO/AVC"));
  EXPECT_EQ(b.query_status, 0);
  EXPECT_EQ(b.status, 0);
  EXPECT_EQ(b.bytes, Cat({Unit(sps1), Unit(pps1)}));
  EXPECT_EQ(b.queried, b.bytes.size());

  // Seven bytes, an SPS past the end, no PPS count: no block.
  for (const Bytes& broken :
       {Bytes{1, 0x64, 0, 0x1E, 0xFF, 0xE1, 0}, Bytes{1, 0x64, 0, 0x1E, 0xFF, 0xE1, 0, 9, 0x67},
        Cat({{1, 0x64, 0, 0x1E, 0xFF, 0xE1, 0, 4}, sps1})}) {
    Block none = FormatOf(VideoTrack(1, {Private(broken)}, "V_MPEG4/ISO/AVC"));
    EXPECT_EQ(none.query_status, 0);
    EXPECT_EQ(none.queried, 0u);
  }

  // A buffer one byte short: length 0, and still no error.
  Created c(OneTrackFile(VideoTrack(1, {Private(avcc)}, "V_MPEG4/ISO/AVC")));
  Bytes small(Cat({Unit(sps1), Unit(pps1)}).size() - 1, 0xEE);
  uint32_t size = static_cast<uint32_t>(small.size());
  EXPECT_EQ(qmkvd_get_format(c.ctx(), 0, small.data(), &size), 0);
  EXPECT_EQ(size, 0u);
}

TEST(FormatHevc, EveryUnitOfEveryArrayInOrder) {
  const Bytes vps = {0x40, 1}, sps = {0x42, 1, 2}, pps = {0x44, 1};
  Bytes hvcc(22, 0);
  hvcc[21] = 3;  // NAL lengths of 4 bytes
  hvcc.push_back(3);
  hvcc =
      Cat({hvcc, {0x20, 0, 1, 0, 2}, vps, {0x21, 0, 2, 0, 0, 0, 3}, sps, {0x22, 0, 1, 0, 2}, pps});
  Block b = FormatOf(VideoTrack(1, {Private(hvcc)}, "V_MPEGH/ISO/HEVC"));
  EXPECT_EQ(b.status, 0);
  EXPECT_EQ(b.bytes, Cat({Unit(vps), Unit(sps), Unit(pps)}));  // the empty unit is skipped

  // Shorter than the fixed header: the length stays as it came; a header with too little
  // after it: length 0.
  EXPECT_EQ(FormatOf(VideoTrack(1, {Private(Bytes(22, 0))}, "V_MPEGH/ISO/HEVC")).queried, 0xDEADu);
  EXPECT_EQ(FormatOf(VideoTrack(1, {Private(Bytes(26, 0))}, "V_MPEGH/ISO/HEVC")).queried, 0u);
  // A unit longer than the record: the length stays as it came.
  Bytes cut(hvcc.begin(), hvcc.end() - 1);
  EXPECT_EQ(FormatOf(VideoTrack(1, {Private(cut)}, "V_MPEGH/ISO/HEVC")).queried, 0xDEADu);

  // A buffer too small: -1, and the length stays.
  Created c(OneTrackFile(VideoTrack(1, {Private(hvcc)}, "V_MPEGH/ISO/HEVC")));
  Bytes small(10);
  uint32_t size = 10;
  EXPECT_EQ(qmkvd_get_format(c.ctx(), 0, small.data(), &size), -1);
  EXPECT_EQ(size, 10u);
}

TEST(FormatAac, ConfigSynthesisedFromRateAndChannels) {
  auto aac = [](const char* id, uint32_t rate, uint32_t channels) {
    return FormatOf(
        AudioTrack(1, {Float(kSamplingFrequency, rate), Uint(kChannels, channels)}, id));
  };
  EXPECT_EQ(aac("A_AAC/MPEG4/LC", 44100, 2).bytes, (Bytes{0x12, 0x10}));
  EXPECT_EQ(aac("A_AAC/MPEG4/LC", 48000, 6).bytes, (Bytes{0x11, 0xB0}));
  EXPECT_EQ(aac("A_AAC/MPEG2/LC/SBR", 22050, 1).bytes, (Bytes{0x13, 0x88}));
  EXPECT_EQ(aac("A_AAC/MPEG2/LC", 44100, 2).queried, 2u);
  LogCapture log;
  Block none = aac("A_AAC/MPEG4/LC", 7350, 2);
  EXPECT_EQ(none.queried, 0u);
  EXPECT_EQ(none.status, 0);
  EXPECT_TRUE(
      log.Has(5, "qmkvd", "get_aac_default_format(): warning! frequency 7350 not supported"))
      << log.Dump();
  // Plain A_AAC carries its own configuration.
  EXPECT_EQ(FormatOf(AudioTrack(1, {}, "A_AAC", {Private({0x12, 0x10, 0x56})})).bytes,
            (Bytes{0x12, 0x10, 0x56}));

  EXPECT_EQ(get_aac_frequency_index(96000), 0);
  EXPECT_EQ(get_aac_frequency_index(8000), 11);
  EXPECT_EQ(get_aac_frequency_index(7350), -1);
  EXPECT_EQ(get_aac_frequency_index(0), -1);
}

TEST(FormatAudio, WaveFormatExKeepsItsExtraData) {
  auto acm = [](uint16_t tag, Bytes extra) {
    Bytes wfx = {static_cast<uint8_t>(tag), static_cast<uint8_t>(tag >> 8), 2, 0};
    wfx.resize(18, 0);
    wfx.insert(wfx.end(), extra.begin(), extra.end());
    return FormatOf(AudioTrack(1, {}, "A_MS/ACM", {Private(wfx)}));
  };
  EXPECT_EQ(acm(0x0001, {}).queried, 0u);
  EXPECT_EQ(acm(0x0001, {7, 8}).bytes, (Bytes{7, 8}));
  EXPECT_EQ(acm(0x0161, {7, 8}).bytes.size(), 20u);  // Windows Media: the whole record
  const Bytes short_wfx = {0x55, 0, 1, 0};
  EXPECT_EQ(FormatOf(AudioTrack(1, {}, "A_MS/ACM", {Private(short_wfx)})).bytes, short_wfx);
  const Bytes opus = {'O', 'p', 'u', 's', 'H', 'e', 'a', 'd'};
  EXPECT_EQ(FormatOf(AudioTrack(1, {}, "A_OPUS", {Private(opus)})).bytes, opus);
}

// The MP3 block of the file's audio track (number 2), fetched into a 12-byte buffer filled
// with EE first.
Bytes Mp3Block(std::vector<uint8_t> file) {
  Created c(std::move(file));
  Bytes block(12, 0xEE);
  uint32_t size = 12;
  EXPECT_EQ(qmkvd_get_format(c.ctx(), 1, block.data(), &size), 0);
  EXPECT_EQ(size, 12u);
  return block;
}

std::vector<uint8_t> Mp3File(Element first_audio_block, Bytes stripped = {}) {
  std::vector<Element> extra;
  if (!stripped.empty()) extra.push_back(HeaderStripping(stripped));
  return MkvFile({MinimalInfo(),
                  Tracks({VideoTrack(1),
                          AudioTrack(2, {Float(kSamplingFrequency, 44100)}, "A_MPEG/L3", extra)}),
                  Cluster({Uint(kTimecode, 0), SimpleBlock(1, 0, 0x80, {1}), first_audio_block})});
}

TEST(FormatMp3, BlockSizeFromTheFirstFrameHeader) {
  // 128 kbit/s at 44.1 kHz without padding: 417-byte frames; with padding 418.
  const Bytes header = {0xFF, 0xFB, 0x90, 0x64};
  Bytes frame = header;
  frame.resize(300, 0);  // a lace size of 300 takes two Xiph bytes (255, 45)
  const Bytes want = {1, 0, 0, 0, 0, 0, 0xA1, 0x01, 0xEE, 0xEE, 0xEE, 0xEE};
  EXPECT_EQ(Mp3Block(Mp3File(SimpleBlock(2, 0, 0x80, frame))), want);
  EXPECT_EQ(Mp3Block(Mp3File(XiphLacedBlock(2, 0, 0x80, {frame, Bytes(20), Bytes(5)}))), want);
  EXPECT_EQ(Mp3Block(Mp3File(EbmlLacedBlock(2, 0, 0x80, {frame, Bytes(20), Bytes(5)}))), want);
  EXPECT_EQ(Mp3Block(Mp3File(FixedLacedBlock(2, 0, 0x80, {frame, frame}))), want);
  EXPECT_EQ(Mp3Block(Mp3File(SimpleBlock(2, 0, 0x80, {0x90, 0x64}), {0xFF, 0xFB})), want);
  Bytes padded = {0xFF, 0xFB, 0x92, 0x64};
  EXPECT_EQ(Mp3Block(Mp3File(SimpleBlock(2, 0, 0x80, padded)))[6], 0xA2);
  // A reserved sampling rate: identifier and flags only.
  EXPECT_EQ(Mp3Block(Mp3File(SimpleBlock(2, 0, 0x80, {0xFF, 0xFB, 0x9C, 0x64}))),
            (Bytes{1, 0, 0, 0, 0, 0, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
  // No block of the track: nothing written.
  EXPECT_EQ(Mp3Block(Mp3File(SimpleBlock(1, 5, 0x80, {2}))), Bytes(12, 0xEE));

  // The size query reads nothing; a buffer too small gets nothing.
  Created c(Mp3File(SimpleBlock(2, 0, 0x80, frame)));
  const uint64_t reads = c.source().read_calls();
  uint32_t size = 0;
  EXPECT_EQ(qmkvd_get_format(c.ctx(), 1, nullptr, &size), 0);
  EXPECT_EQ(size, 12u);
  EXPECT_EQ(c.source().read_calls(), reads);
  Bytes small(11, 0xEE);
  size = 11;
  EXPECT_EQ(qmkvd_get_format(c.ctx(), 1, small.data(), &size), -1);
  EXPECT_EQ(small, Bytes(11, 0xEE));
}

TEST(TrackInfo, FieldsOfEachKind) {
  Created c(MkvFile(
      {MinimalInfo(),
       Tracks({VideoTrack(1,
                          {Uint(kDefaultDuration, 40000000),
                           Master(kVideo, {Uint(kPixelWidth, 640), Uint(kPixelHeight, 360)})},
                          "V_MPEG4/ISO/ASP"),
               AudioTrack(2, {Float(kSamplingFrequency, 48000), Uint(kChannels, 2)}, "A_OPUS",
                          {String(kLanguage, "deu"), String(kName, "Kommentar")}),
               AudioTrack(
                   3, {Float(kSamplingFrequency, 44100), Uint(kChannels, 1), Uint(kBitDepth, 24)},
                   "A_PCM/INT/LIT", {String(kLanguage, "en")}),
               VideoTrack(4), TextTrack(5)}),
       SmallCluster()}));
  ASSERT_EQ(c.err(), 0);
  QMKVD_VIDEO_INFO v;
  memset(&v, 0xFF, sizeof(v));
  ASSERT_EQ(qmkvd_get_info_vid(c.ctx(), 0, &v), 0);
  EXPECT_EQ(v.track_number, 1u);
  EXPECT_EQ(v.codec_tag, qcmn_fourcc("MP4V"));
  EXPECT_EQ(v.width, 640u);
  EXPECT_EQ(v.height, 360u);
  EXPECT_EQ(v.max_frame_size, 640 * 360 * 3 / 2);
  EXPECT_EQ(v.present, 1);
  EXPECT_EQ(v.frame_rate, 25u);
  EXPECT_EQ(v.frame_count, 25u);  // a second of Duration at 40 ms per frame
  EXPECT_EQ(v.reserved, 0u);
  EXPECT_EQ(v.colour, nullptr);
  ASSERT_EQ(qmkvd_get_info_vid(c.ctx(), 3, &v), 0);  // no DefaultDuration
  EXPECT_EQ(v.frame_rate, 0u);
  EXPECT_EQ(v.frame_count, 0u);

  QMKVD_AUDIO_INFO a;
  ASSERT_EQ(qmkvd_get_info_aud(c.ctx(), 1, &a), 0);
  EXPECT_EQ(a.sampling_frequency, 48000u);
  EXPECT_EQ(a.channels, 2u);
  EXPECT_EQ(a.bits_per_sample, 16u);  // none given
  EXPECT_STREQ(a.language, "deu");
  EXPECT_EQ(a.name_encoding, 703u);
  EXPECT_EQ(a.name_length, 9u);
  EXPECT_STREQ(a.name, "Kommentar");
  ASSERT_EQ(qmkvd_get_info_aud(c.ctx(), 2, &a), 0);
  EXPECT_EQ(a.bits_per_sample, 24u);
  EXPECT_STREQ(a.language, "en");
  EXPECT_EQ(a.name_length, 0u);

  QMKVD_TEXT_INFO t;
  ASSERT_EQ(qmkvd_get_info_txt(c.ctx(), 4, &t), 0);
  EXPECT_EQ(t.track_number, 5u);
  EXPECT_EQ(t.codec_tag, qcmn_fourcc("SSRT"));
  EXPECT_STREQ(t.language, "eng");  // Matroska's default
}

}  // namespace
}  // namespace mkvtest
