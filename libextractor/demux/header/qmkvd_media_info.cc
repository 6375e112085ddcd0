// Codec tags from CodecIDs: a four-character code or a WAVE-style audio format tag per stream,
// chosen by prefix in table order (first match wins).
#include <stddef.h>
#include <string.h>

#include "common/qcmn_fourcc.h"
#include "common/qcmn_mt.h"
#include "demux/header/qmkvd_header.h"

namespace {

enum class Derive : uint8_t {
  kFixed,          // the row's tag
  kBitmapFourcc,   // the compression field of the BITMAPINFOHEADER in CodecPrivate
  kRealVideo,      // "RV" + CodecID characters 9 and 10
  kRealAudio,      // CodecID characters 7 to 10
  kWaveFormatTag,  // the format tag of the WAVEFORMATEX in CodecPrivate
  kNoChange,
};

struct PrefixRule {
  const char* prefix;  // compared over its own length
  Derive derive;
  uint32_t tag;
};

const PrefixRule kVideoRules[] = {
    {"V_MS/VFW/FOURCC", Derive::kBitmapFourcc, 0},
    {"V_REAL/RV", Derive::kRealVideo, 0},
    // MPEG-1 video is played by the MPEG-2 decoder, and published as MPEG-2.
    {"V_MPEG1", Derive::kFixed, qcmn_fourcc("mpg2")},
    {"V_MPEG2", Derive::kFixed, qcmn_fourcc("mpg2")},
    {"V_THEORA", Derive::kFixed, qcmn_fourcc("THEO")},
    {"V_SNOW", Derive::kFixed, qcmn_fourcc("SNOW")},
    {"V_MPEG4/ISO/SP", Derive::kFixed, qcmn_fourcc("MP4V")},
    {"V_MPEG4/ISO/ASP", Derive::kFixed, qcmn_fourcc("MP4V")},
    {"V_MPEG4/ISO/AVC", Derive::kFixed, qcmn_fourcc("AVC1")},
    {"V_MPEGH/ISO/HEVC", Derive::kFixed, qcmn_fourcc("hev1")},
    {"V_VP8", Derive::kFixed, qcmn_fourcc("VP80")},
    {"V_VP9", Derive::kFixed, qcmn_fourcc("VP90")},
    {"V_MPEG4/MS/V3", Derive::kFixed, qcmn_fourcc("MP43")},
    {"V_AV1", Derive::kFixed, qcmn_fourcc("av01")},
};

const PrefixRule kAudioRules[] = {
    {"A_AC3", Derive::kFixed, QCMN_TAG_AC3},
    {"A_EAC3", Derive::kFixed, qcmn_fourcc("ec-3")},
    {"A_MPEG/L3", Derive::kFixed, QCMN_TAG_MP3},
    {"A_MPEG/L2", Derive::kFixed, QCMN_TAG_MPEG_AUDIO},
    {"A_MPEG/L1", Derive::kFixed, QCMN_TAG_MPEG_AUDIO},
    {"A_AAC", Derive::kFixed, QCMN_TAG_AAC},
    {"A_DTS", Derive::kFixed, QCMN_TAG_DTS},
    {"A_PCM/INT/LIT", Derive::kFixed, QCMN_TAG_PCM},
    {"A_PCM/INT/BIG", Derive::kFixed, qcmn_fourcc("lpcm")},
    {"A_PCM/FLOAT/IEEE", Derive::kFixed, QCMN_TAG_IEEE_FLOAT},
    {"A_ALAC", Derive::kFixed, qcmn_fourcc("alac")},
    {"A_TTA1", Derive::kFixed, QCMN_TAG_TTA},
    {"A_WAVPACK4", Derive::kFixed, QCMN_TAG_WAVPACK},
    {"A_VORBIS", Derive::kFixed, QCMN_TAG_VORBIS},
    {"A_FLAC", Derive::kFixed, QCMN_TAG_FLAC},
    {"A_REAL", Derive::kRealAudio, 0},
    {"A_MS/ACM", Derive::kWaveFormatTag, 0},
    {"A_OPUS", Derive::kFixed, qcmn_fourcc("Opus")},
};

const PrefixRule kSubtitleRules[] = {
    {"S_TEXT/ASCII", Derive::kNoChange, 0},
    {"S_TEXT/UTF8", Derive::kFixed, qcmn_fourcc("SSRT")},
    {"S_TEXT/SSA", Derive::kFixed, qcmn_fourcc("SSSA")},
    {"S_TEXT/ASS", Derive::kFixed, qcmn_fourcc("SASS")},
};

// Where the codec code sits inside CodecPrivate.
constexpr uint32_t kBitmapCompressionOffset = 16;

bool StartsWith(const char* s, const char* prefix) {
  return strncmp(s, prefix, strlen(prefix)) == 0;
}

// Applies a matched rule. CodecPrivate too short to hold the field leaves the tag unchanged.
void Apply(const PrefixRule& rule, const QMKVD_TRACK* t, uint32_t* tag) {
  const uint8_t* id = reinterpret_cast<const uint8_t*>(t->codec_id);
  const uint8_t* priv = t->codec_private;
  switch (rule.derive) {
    case Derive::kFixed: *tag = rule.tag; return;
    case Derive::kBitmapFourcc:
      if (priv && t->codec_private_size >= kBitmapCompressionOffset + 4) {
        const uint8_t* p = priv + kBitmapCompressionOffset;
        *tag = qcmn_fourcc_bytes(p[0], p[1], p[2], p[3]);
      }
      return;
    case Derive::kRealVideo: *tag = qcmn_fourcc_bytes('R', 'V', id[9], id[10]); return;
    case Derive::kRealAudio: *tag = qcmn_fourcc_bytes(id[7], id[8], id[9], id[10]); return;
    case Derive::kWaveFormatTag:
      if (priv && t->codec_private_size >= 2) *tag = qcmn_fourcc_bytes(priv[0], priv[1], 0, 0);
      return;
    case Derive::kNoChange: return;
  }
}

// Matches the CodecID against a table; returns false when no row matched.
template <size_t kCount>
bool MatchTable(const PrefixRule (&rules)[kCount], const QMKVD_TRACK* t, uint32_t* tag) {
  for (const PrefixRule& rule : rules) {
    if (StartsWith(t->codec_id, rule.prefix)) {
      Apply(rule, t, tag);
      return true;
    }
  }
  return false;
}

// An unknown CodecID of a known kind: the kind's mark and CodecID characters 2 to 4.
void Unknown(char mark, const char* codec_id, uint32_t* tag) {
  if (strlen(codec_id) >= 5) {
    *tag = qcmn_fourcc_bytes(mark, codec_id[2], codec_id[3], codec_id[4]);
  } else {
    *tag = qcmn_fourcc_bytes(mark, '?', '?', '?');
  }
}

}  // namespace

int qmkvd_media_info(QMKVD_CTX*, QMKVDS_CTX* stream, QMKVD_FILE_INFO* info, int32_t index) {
  const QMKVD_TRACK* t = &stream->track;
  uint32_t* tag = &stream->codec_tag;
  if (StartsWith(t->codec_id, "V_")) {
    if (!MatchTable(kVideoRules, t, tag)) Unknown('*', t->codec_id, tag);
  } else if (StartsWith(t->codec_id, "A_")) {
    if (!MatchTable(kAudioRules, t, tag)) Unknown('#', t->codec_id, tag);
  } else if (StartsWith(t->codec_id, "S_")) {
    MatchTable(kSubtitleRules, t, tag);
  }
  if (index >= 0 && index < static_cast<int32_t>(QMKVD_MAX_TRACKS)) {
    info->codec_tag[index] = *tag;
  }
  return 0;
}
