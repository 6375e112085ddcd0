// The codec-configuration parsers and the format-block code on arbitrary bytes. The first byte
// picks the parser: the video configuration parser for one of its codec families, the AAC
// configuration parser, or one track of a given CodecID in a small well-formed file whose
// CodecPrivate and first frame come from the input; that file then goes through the format
// block, the per-kind summaries and the first frames of the stream.
#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "common/qcmn_audcfg.h"
#include "common/qcmn_fourcc.h"
#include "common/qcmn_mt.h"
#include "common/qcmn_vidcfg.h"
#include "demux/header/qmkvd_format.h"
#include "demux/read/qmkvd_stream.h"
#include "demux_harness.h"
#include "mkv_shapes.h"
#include "quiet_log.h"

namespace {

const char* const kVideoCodes[] = {"avc1", "hvc1", "mp4v", "MPG2", "h263", "av01", "MP43", "WMV3"};

const char* const kCodecIds[] = {
    "V_MPEG4/ISO/AVC",
    "V_MPEGH/ISO/HEVC",
    "V_MPEG4/ISO/ASP",
    "V_MPEG4/ISO/SP",
    "V_MPEG4/MS/V3",
    "V_MPEG1",
    "V_MPEG2",
    "V_MS/VFW/FOURCC",
    "V_AV1",
    "V_VP8",
    "V_VP9",
    "V_REAL/RV",
    "V_THEORA",
    "V_SNOW",
    "V_X",
    "A_AAC",
    "A_AAC/MPEG2/LC",
    "A_AAC/MPEG4/LC",
    "A_AC3",
    "A_EAC3",
    "A_DTS",
    "A_FLAC",
    "A_MPEG/L1",
    "A_MPEG/L2",
    "A_MPEG/L3",
    "A_MS/ACM",
    "A_OPUS",
    "A_VORBIS",
    "A_PCM/INT/LIT",
    "A_PCM/INT/BIG",
    "A_PCM/FLOAT/IEEE",
    "A_ALAC",
    "A_REAL",
    "A_TTA1",
    "A_WAVPACK4",
    "A_X",
    "S_TEXT/UTF8",
    "S_TEXT/ASCII",
    "S_TEXT/ASS",
    "S_TEXT/SSA",
    "S_X",
};
constexpr size_t kCodecIdCount = sizeof(kCodecIds) / sizeof(kCodecIds[0]);
constexpr size_t kVideoCodeCount = sizeof(kVideoCodes) / sizeof(kVideoCodes[0]);

void VideoConfig(uint32_t code, const uint8_t* data, size_t size) {
  QVID_CONFIG_INPUT in = {data, static_cast<uint32_t>(size), code};
  QVID_CONFIG out;
  qvid_config_parser(&in, &out);
}

void AudioConfig(uint32_t code, const uint8_t* data, size_t size) {
  QAUD_CONFIG_INPUT in = {data, static_cast<uint32_t>(size), code};
  QAUD_CONFIG out = {};
  qaud_config_parser(&in, &out);
}

// data: [private length][params][private...][frame...]
void OneTrackFile(const std::string& codec, const uint8_t* data, size_t size) {
  if (size < 2) return;
  const size_t rest = size - 2;
  const size_t private_size = data[0] < rest ? data[0] : rest;
  const uint8_t params = data[1];
  const uint8_t* priv = data + 2;
  std::vector<uint8_t> codec_private(priv, priv + private_size);
  std::vector<uint8_t> frame(priv + private_size, data + size);

  using mkvtest::Binary;
  using mkvtest::Element;
  using mkvtest::Float;
  using mkvtest::Master;
  using mkvtest::Uint;
  std::vector<Element> extra = {Binary(0x63A2, codec_private)};
  if (params & 0x80) extra.push_back(Uint(0x23E383, 40000000));  // DefaultDuration
  Element track;
  if (codec[0] == 'V') {
    extra.push_back(
        Master(0xE0, {Uint(0xB0, 16u << (params & 7)), Uint(0xBA, 9u << (params & 7))}));
    track = mkvtest::VideoTrack(1, extra, codec);
  } else if (codec[0] == 'A') {
    static const double kRates[] = {8000, 11025, 22050, 44100, 48000, 96000, 0, 7350};
    track = mkvtest::AudioTrack(1,
                                {Float(0xB5, kRates[params & 7]), Uint(0x9F, (params >> 3) & 7),
                                 Uint(0x6264, (params & 0x40) ? 24 : 16)},
                                codec, extra);
  } else {
    track = mkvtest::TextTrack(1, codec);
  }
  const bool key = params & 0x20;
  std::vector<uint8_t> file = mkvtest::MkvFile(
      {mkvtest::MinimalInfo(), mkvtest::Tracks({track}),
       mkvtest::Cluster({Uint(0xE7, 0), mkvtest::SimpleBlock(1, 0, key ? 0x80 : 0x00, frame),
                         mkvtest::SimpleBlock(1, 1, 0x00, frame)})});

  mkvtest::Created created(std::move(file));
  QMKVD_CTX* ctx = created.ctx();
  if (!ctx) return;
  uint32_t format_size = 0;
  if (qmkvd_get_format(ctx, 0, nullptr, &format_size) == 0 && format_size < (1u << 24)) {
    std::vector<uint8_t> block(format_size);
    qmkvd_get_format(ctx, 0, block.data(), &format_size);
    // One byte short of what was asked for must be refused, never overrun.
    if (format_size > 0) {
      std::vector<uint8_t> small(format_size - 1);
      uint32_t small_size = format_size - 1;
      qmkvd_get_format(ctx, 0, small.data(), &small_size);
    }
  }
  QMKVD_VIDEO_INFO vid;
  QMKVD_AUDIO_INFO aud;
  QMKVD_TEXT_INFO txt;
  qmkvd_get_info_vid(ctx, 0, &vid);
  qmkvd_get_info_aud(ctx, 0, &aud);
  qmkvd_get_info_txt(ctx, 0, &txt);

  int32_t err = 0;
  QMKVDS_CTX* s = qmkvds_open(ctx, 0, &err);
  if (!s) return;
  qmkvds_get_info_vid(s, &vid);
  qmkvds_get_info_aud(s, &aud);
  std::vector<uint8_t> buffer(frame.size() * 2 + 64);
  for (int n = 0; n < 3; ++n) {
    uint32_t got = 0;
    int64_t time = 0, end_time = 0;
    int32_t sync = 0;
    if (qmkvds_get_frm(s, buffer.data(), static_cast<int32_t>(buffer.size()), &got, &time,
                       &end_time, &sync) != 0) {
      break;
    }
  }
  qmkvds_close(s);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const uint8_t pick = data[0];
  ++data;
  --size;
  if (pick < kVideoCodeCount) {
    const char* c = kVideoCodes[pick];
    VideoConfig(qcmn_fourcc_bytes(c[0], c[1], c[2], c[3]), data, size);
  } else if (pick < kVideoCodeCount + 3) {
    static const uint32_t kAudioCodes[] = {QCMN_TAG_AAC, qcmn_fourcc("mp4a"), qcmn_fourcc("MP4A")};
    AudioConfig(kAudioCodes[pick - kVideoCodeCount], data, size);
  } else {
    OneTrackFile(kCodecIds[(pick - kVideoCodeCount - 3) % kCodecIdCount], data, size);
  }
  return 0;
}
