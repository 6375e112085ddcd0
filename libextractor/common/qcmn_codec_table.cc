// The codec table. Rows are grouped by kind; within a kind a code appears once.
#include "common/qcmn_codec_table.h"

#include <media/stagefright/MediaDefs.h>

#include "common/qcmn_fourcc.h"
#include "common/qcmn_mimetypes.h"

namespace {

using namespace android;

// Our own MIME types need an addressable variable like the framework's.
const char* const kDts = QCMN_MIMETYPE_AUDIO_DTS;
const char* const kAss = QCMN_MIMETYPE_TEXT_ASS;
const char* const kSsa = QCMN_MIMETYPE_TEXT_SSA;

constexpr uint8_t kPlayable = QCMN_CODEC_PLAYABLE;
constexpr uint8_t kLacesWhole = QCMN_CODEC_LACES_WHOLE;
// 4K for the codecs with hardware decoders that reach it, full HD for the other played video
// codecs. Edit here for another device.
constexpr QCMN_DECODER_LIMIT k4k = QCMN_LIMIT_4K;
constexpr QCMN_DECODER_LIMIT kHd = QCMN_LIMIT_HD;
constexpr QCMN_DECODER_LIMIT kNoLimit = QCMN_LIMIT_NONE;
constexpr QCMN_VIDEO_CONFIG kNoParser = QCMN_VIDCFG_NONE;
constexpr QCMN_CODEC_KIND kAudio = QCMN_KIND_AUDIO, kVideo = QCMN_KIND_VIDEO,
                          kSubtitle = QCMN_KIND_SUBTITLE, kDrm = QCMN_KIND_DRM;

}  // namespace

// Notes on single rows:
// - WAVE tag 0x50 (QCMN_TAG_MPEG_AUDIO) covers layers I and II; layer II is what such tracks
//   nearly always are, and the framework's MPEG audio decoders take both layers under either
//   type.
// - 0x92 is AC-3 carried as in S/PDIF; 0x6751 a Vorbis WAVE tag; 0x31 GSM 6.10 through A_MS/ACM.
// - PCM in every layout we deliver is raw audio; the format's PCM keys say which layout.
const QCMN_CODEC QCMN_CODECS[] = {
    // Audio
    {QCMN_TAG_PCM, kAudio, QCMN_MT_PCM, &MEDIA_MIMETYPE_AUDIO_RAW, kPlayable | kLacesWhole,
     kNoLimit, kNoParser},
    {QCMN_TAG_ALAW, kAudio, QCMN_MT_ALAW, &MEDIA_MIMETYPE_AUDIO_G711_ALAW, 0, kNoLimit, kNoParser},
    {QCMN_TAG_MULAW, kAudio, QCMN_MT_MULAW, &MEDIA_MIMETYPE_AUDIO_G711_MLAW, 0, kNoLimit,
     kNoParser},
    {QCMN_TAG_MPEG_AUDIO, kAudio, QCMN_MT_MPEG_AUDIO, &MEDIA_MIMETYPE_AUDIO_MPEG_LAYER_II,
     kPlayable | kLacesWhole, kNoLimit, kNoParser},
    {QCMN_TAG_MP3, kAudio, QCMN_MT_MP3, &MEDIA_MIMETYPE_AUDIO_MPEG, kPlayable | kLacesWhole,
     kNoLimit, kNoParser},
    {QCMN_TAG_AAC, kAudio, QCMN_MT_AAC, &MEDIA_MIMETYPE_AUDIO_AAC, kPlayable, kNoLimit, kNoParser},
    {qcmn_fourcc("aac "), kAudio, QCMN_MT_AAC, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("mp4a"), kAudio, QCMN_MT_AAC, &MEDIA_MIMETYPE_AUDIO_AAC, kPlayable, kNoLimit,
     kNoParser},
    {QCMN_TAG_AC3, kAudio, QCMN_MT_AC3, &MEDIA_MIMETYPE_AUDIO_AC3, kPlayable | kLacesWhole,
     kNoLimit, kNoParser},
    {qcmn_fourcc("ac-3"), kAudio, QCMN_MT_AC3, nullptr, 0, kNoLimit, kNoParser},
    {QCMN_TAG_DTS, kAudio, QCMN_MT_DTS, &kDts, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("samr"), kAudio, QCMN_MT_AMR_NB, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("sawb"), kAudio, QCMN_MT_AMR_WB, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("sqcp"), kAudio, QCMN_MT_QCELP, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("dqcp"), kAudio, QCMN_MT_QCELP, nullptr, 0, kNoLimit, kNoParser},
    {QCMN_TAG_WMA1, kAudio, QCMN_MT_WMA, &MEDIA_MIMETYPE_AUDIO_WMA, kPlayable, kNoLimit, kNoParser},
    {QCMN_TAG_WMA2, kAudio, QCMN_MT_WMA, &MEDIA_MIMETYPE_AUDIO_WMA, kPlayable, kNoLimit, kNoParser},
    {QCMN_TAG_WMA_PRO, kAudio, QCMN_MT_WMA_PRO, &MEDIA_MIMETYPE_AUDIO_WMA, 0, kNoLimit, kNoParser},
    {QCMN_TAG_WMA_LOSSLESS, kAudio, QCMN_MT_WMA_LOSSLESS, &MEDIA_MIMETYPE_AUDIO_WMA, 0, kNoLimit,
     kNoParser},
    {qcmn_fourcc("evrc"), kAudio, QCMN_MT_EVRC, nullptr, 0, kNoLimit, kNoParser},
    {QCMN_TAG_FLAC, kAudio, QCMN_MT_FLAC, &MEDIA_MIMETYPE_AUDIO_FLAC, kPlayable | kLacesWhole,
     kNoLimit, kNoParser},
    {qcmn_fourcc("fLaC"), kAudio, QCMN_MT_FLAC, nullptr, 0, kNoLimit, kNoParser},
    {QCMN_TAG_VORBIS, kAudio, QCMN_MT_VORBIS, &MEDIA_MIMETYPE_AUDIO_VORBIS, kPlayable, kNoLimit,
     kNoParser},
    {QCMN_TAG_IMA_ADPCM, kAudio, QCMN_MT_IMA_ADPCM, &MEDIA_MIMETYPE_AUDIO_DVI_IMA_ADPCM, kPlayable,
     kNoLimit, kNoParser},
    {QCMN_TAG_MS_ADPCM, kAudio, QCMN_MT_MS_ADPCM, &MEDIA_MIMETYPE_AUDIO_MS_ADPCM, kPlayable,
     kNoLimit, kNoParser},
    {qcmn_fourcc("sipr"), kAudio, QCMN_MT_SIPR, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("cook"), kAudio, QCMN_MT_COOK, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("Opus"), kAudio, QCMN_MT_OPUS, &MEDIA_MIMETYPE_AUDIO_OPUS, kPlayable, kNoLimit,
     kNoParser},
    {qcmn_fourcc("DSD "), kAudio, QCMN_MT_DSD, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("ec-3"), kAudio, QCMN_MT_EAC3, &MEDIA_MIMETYPE_AUDIO_EAC3, kPlayable | kLacesWhole,
     kNoLimit, kNoParser},
    {qcmn_fourcc("ac-4"), kAudio, QCMN_MT_AC4, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("MP4A"), kAudio, QCMN_MT_AUDIO_UNKNOWN, &MEDIA_MIMETYPE_AUDIO_AAC, kPlayable,
     kNoLimit, kNoParser},
    {0x6751, kAudio, QCMN_MT_AUDIO_UNKNOWN, &MEDIA_MIMETYPE_AUDIO_VORBIS, kPlayable, kNoLimit,
     kNoParser},
    {0x92, kAudio, QCMN_MT_AUDIO_UNKNOWN, &MEDIA_MIMETYPE_AUDIO_AC3, kPlayable, kNoLimit,
     kNoParser},
    {qcmn_fourcc("lpcm"), kAudio, QCMN_MT_AUDIO_UNKNOWN, &MEDIA_MIMETYPE_AUDIO_RAW,
     kPlayable | kLacesWhole, kNoLimit, kNoParser},
    {QCMN_TAG_IEEE_FLOAT, kAudio, QCMN_MT_AUDIO_UNKNOWN, &MEDIA_MIMETYPE_AUDIO_RAW,
     kPlayable | kLacesWhole, kNoLimit, kNoParser},
    {0x31, kAudio, QCMN_MT_AUDIO_UNKNOWN, &MEDIA_MIMETYPE_AUDIO_MSGSM, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("alac"), kAudio, QCMN_MT_AUDIO_UNKNOWN, &MEDIA_MIMETYPE_AUDIO_ALAC, 0, kNoLimit,
     kNoParser},
    // Video
    {qcmn_fourcc("XVID"), kVideo, QCMN_MT_MPEG4, &MEDIA_MIMETYPE_VIDEO_MPEG4, kPlayable, kHd,
     QCMN_VIDCFG_MPEG4},
    {qcmn_fourcc("xvid"), kVideo, QCMN_MT_MPEG4, &MEDIA_MIMETYPE_VIDEO_MPEG4, kPlayable, kHd,
     QCMN_VIDCFG_MPEG4},
    {qcmn_fourcc("DIVX"), kVideo, QCMN_MT_MPEG4, &MEDIA_MIMETYPE_VIDEO_DIVX, 0, kNoLimit,
     kNoParser},
    {qcmn_fourcc("divx"), kVideo, QCMN_MT_MPEG4, &MEDIA_MIMETYPE_VIDEO_DIVX, 0, kNoLimit,
     kNoParser},
    {qcmn_fourcc("DX50"), kVideo, QCMN_MT_MPEG4, &MEDIA_MIMETYPE_VIDEO_DIVX, 0, kNoLimit,
     kNoParser},
    {qcmn_fourcc("dx50"), kVideo, QCMN_MT_MPEG4, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("FMP4"), kVideo, QCMN_MT_MPEG4, &MEDIA_MIMETYPE_VIDEO_MPEG4, kPlayable, kHd,
     QCMN_VIDCFG_MPEG4},
    {qcmn_fourcc("DIV4"), kVideo, QCMN_MT_MPEG4, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("div4"), kVideo, QCMN_MT_MPEG4, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("MP4V"), kVideo, QCMN_MT_MPEG4, &MEDIA_MIMETYPE_VIDEO_MPEG4, kPlayable, kHd,
     QCMN_VIDCFG_MPEG4},
    {qcmn_fourcc("mp4v"), kVideo, QCMN_MT_MPEG4, &MEDIA_MIMETYPE_VIDEO_MPEG4, kPlayable, kHd,
     QCMN_VIDCFG_MPEG4},
    {qcmn_fourcc("M4S2"), kVideo, QCMN_MT_MPEG4, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("m4s2"), kVideo, QCMN_MT_MPEG4, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("H263"), kVideo, QCMN_MT_H263, &MEDIA_MIMETYPE_VIDEO_H263, kPlayable, kHd,
     QCMN_VIDCFG_H263},
    {qcmn_fourcc("h263"), kVideo, QCMN_MT_H263, &MEDIA_MIMETYPE_VIDEO_H263, kPlayable, kHd,
     QCMN_VIDCFG_H263},
    {qcmn_fourcc("d263"), kVideo, QCMN_MT_H263, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("s263"), kVideo, QCMN_MT_H263, &MEDIA_MIMETYPE_VIDEO_H263, kPlayable, kHd,
     QCMN_VIDCFG_H263},
    {qcmn_fourcc("avc1"), kVideo, QCMN_MT_H264, &MEDIA_MIMETYPE_VIDEO_AVC, kPlayable, k4k,
     QCMN_VIDCFG_H264},
    {qcmn_fourcc("AVC1"), kVideo, QCMN_MT_H264, &MEDIA_MIMETYPE_VIDEO_AVC, kPlayable, k4k,
     QCMN_VIDCFG_H264},
    {qcmn_fourcc("avcC"), kVideo, QCMN_MT_H264, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("h264"), kVideo, QCMN_MT_H264, &MEDIA_MIMETYPE_VIDEO_AVC, kPlayable, k4k,
     QCMN_VIDCFG_H264},
    {qcmn_fourcc("H264"), kVideo, QCMN_MT_H264, &MEDIA_MIMETYPE_VIDEO_AVC, kPlayable, k4k,
     QCMN_VIDCFG_H264},
    {qcmn_fourcc("x264"), kVideo, QCMN_MT_H264, &MEDIA_MIMETYPE_VIDEO_AVC, kPlayable, k4k,
     QCMN_VIDCFG_H264},
    {qcmn_fourcc("X264"), kVideo, QCMN_MT_H264, &MEDIA_MIMETYPE_VIDEO_AVC, kPlayable, k4k,
     QCMN_VIDCFG_H264},
    {qcmn_fourcc("WMV1"), kVideo, QCMN_MT_WMV7, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("wmv1"), kVideo, QCMN_MT_WMV7, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("WMV2"), kVideo, QCMN_MT_WMV8, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("wmv2"), kVideo, QCMN_MT_WMV8, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("WMV3"), kVideo, QCMN_MT_WMV9, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("wmv3"), kVideo, QCMN_MT_WMV9, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("DIV3"), kVideo, QCMN_MT_DIVX3, &MEDIA_MIMETYPE_VIDEO_DIVX3, 0, kNoLimit,
     kNoParser},
    {qcmn_fourcc("div3"), kVideo, QCMN_MT_DIVX3, &MEDIA_MIMETYPE_VIDEO_DIVX3, 0, kNoLimit,
     kNoParser},
    {qcmn_fourcc("FLV1"), kVideo, QCMN_MT_FLV1, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("RV10"), kVideo, QCMN_MT_RV10, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("RV20"), kVideo, QCMN_MT_RV20, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("RV30"), kVideo, QCMN_MT_RV30, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("RV40"), kVideo, QCMN_MT_RV40, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("MP43"), kVideo, QCMN_MT_MSMPEG4V3, &MEDIA_MIMETYPE_VIDEO_DIVX3, kPlayable, kHd,
     QCMN_VIDCFG_MSMPEG4V3},
    {qcmn_fourcc("mp43"), kVideo, QCMN_MT_MSMPEG4V3, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("WVC1"), kVideo, QCMN_MT_VC1, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("wvc1"), kVideo, QCMN_MT_VC1, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("vc-1"), kVideo, QCMN_MT_VC1, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("VP80"), kVideo, QCMN_MT_VP8, &MEDIA_MIMETYPE_VIDEO_VP8, kPlayable, kHd,
     kNoParser},
    {qcmn_fourcc("hvc1"), kVideo, QCMN_MT_HEVC, &MEDIA_MIMETYPE_VIDEO_HEVC, kPlayable, k4k,
     QCMN_VIDCFG_HEVC},
    {qcmn_fourcc("hev1"), kVideo, QCMN_MT_HEVC, &MEDIA_MIMETYPE_VIDEO_HEVC, kPlayable, k4k,
     QCMN_VIDCFG_HEVC},
    {qcmn_fourcc("hvcC"), kVideo, QCMN_MT_HEVC, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("smhC"), kVideo, QCMN_MT_HEVC, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("VP90"), kVideo, QCMN_MT_VP9, &MEDIA_MIMETYPE_VIDEO_VP9, kPlayable, k4k,
     kNoParser},
    {qcmn_fourcc("av01"), kVideo, QCMN_MT_AV1, &MEDIA_MIMETYPE_VIDEO_AV1, kPlayable, k4k,
     QCMN_VIDCFG_AV1},
    {qcmn_fourcc("av1C"), kVideo, QCMN_MT_AV1, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("fmp4"), kVideo, QCMN_MT_VIDEO_UNKNOWN, &MEDIA_MIMETYPE_VIDEO_MPEG4, kPlayable,
     kHd, QCMN_VIDCFG_MPEG4},
    {qcmn_fourcc("S263"), kVideo, QCMN_MT_VIDEO_UNKNOWN, &MEDIA_MIMETYPE_VIDEO_H263, kPlayable, kHd,
     QCMN_VIDCFG_H263},
    {qcmn_fourcc("MPG2"), kVideo, QCMN_MT_VIDEO_UNKNOWN, &MEDIA_MIMETYPE_VIDEO_MPEG2, kPlayable,
     kHd, QCMN_VIDCFG_MPEG2},
    {qcmn_fourcc("mpg2"), kVideo, QCMN_MT_VIDEO_UNKNOWN, &MEDIA_MIMETYPE_VIDEO_MPEG2, kPlayable,
     kHd, QCMN_VIDCFG_MPEG2},
    {qcmn_fourcc("MJPG"), kVideo, QCMN_MT_VIDEO_UNKNOWN, &MEDIA_MIMETYPE_VIDEO_MJPEG, 0, kNoLimit,
     kNoParser},
    // Subtitles
    {qcmn_fourcc("SSRT"), kSubtitle, QCMN_MT_SRT, &MEDIA_MIMETYPE_TEXT_SUBRIP, kPlayable, kNoLimit,
     kNoParser},
    {qcmn_fourcc("TX3G"), kSubtitle, QCMN_MT_TX3G, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("tx3g"), kSubtitle, QCMN_MT_TX3G, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("SBTL"), kSubtitle, QCMN_MT_TX3G, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("sbtl"), kSubtitle, QCMN_MT_TX3G, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("SASS"), kSubtitle, QCMN_MT_ASS, &kAss, kPlayable, kNoLimit, kNoParser},
    {qcmn_fourcc("SSSA"), kSubtitle, QCMN_MT_SSA, &kSsa, kPlayable, kNoLimit, kNoParser},
    // DRM
    {qcmn_fourcc("DIVX"), kDrm, QCMN_MT_DIVX_DRM, nullptr, 0, kNoLimit, kNoParser},
    {qcmn_fourcc("divx"), kDrm, QCMN_MT_DIVX_DRM, nullptr, 0, kNoLimit, kNoParser},
};
const size_t QCMN_CODEC_COUNT = sizeof(QCMN_CODECS) / sizeof(QCMN_CODECS[0]);

const QCMN_CODEC* qcmn_codec(uint32_t code, QCMN_CODEC_KIND kind) {
  for (const QCMN_CODEC& row : QCMN_CODECS) {
    if (row.code == code && row.kind == kind) return &row;
  }
  return nullptr;
}

const QCMN_CODEC* qcmn_codec_with_mime(uint32_t code) {
  for (const QCMN_CODEC& row : QCMN_CODECS) {
    if (row.code == code && row.mime) return &row;
  }
  return nullptr;
}

namespace {

QCMN_MT MediaType(uint32_t code, QCMN_CODEC_KIND kind, QCMN_MT unknown) {
  const QCMN_CODEC* row = qcmn_codec(code, kind);
  return row ? row->media_type : unknown;
}

bool Playable(uint32_t code, QCMN_CODEC_KIND kind) {
  const QCMN_CODEC* row = qcmn_codec(code, kind);
  return row && (row->traits & QCMN_CODEC_PLAYABLE);
}

}  // namespace

QCMN_MT qcmn_fcc2mt_vid(uint32_t code) {
  return MediaType(code, QCMN_KIND_VIDEO, QCMN_MT_VIDEO_UNKNOWN);
}
QCMN_MT qcmn_fcc2mt_aud(uint32_t code) {
  return MediaType(code, QCMN_KIND_AUDIO, QCMN_MT_AUDIO_UNKNOWN);
}
QCMN_MT qcmn_fcc2mt_sub(uint32_t code) {
  return MediaType(code, QCMN_KIND_SUBTITLE, QCMN_MT_SUBTITLE_UNKNOWN);
}
QCMN_MT qcmn_fcc2mt_drm(uint32_t code) {
  return MediaType(code, QCMN_KIND_DRM, QCMN_MT_DRM_UNKNOWN);
}

QCMN_MT qcmn_fcc2mt(uint32_t code) {
  QCMN_MT type = qcmn_fcc2mt_aud(code);
  if (type != QCMN_MT_AUDIO_UNKNOWN) return type;
  type = qcmn_fcc2mt_vid(code);
  if (type != QCMN_MT_VIDEO_UNKNOWN) return type;
  type = qcmn_fcc2mt_sub(code);
  if (type != QCMN_MT_SUBTITLE_UNKNOWN) return type;
  return qcmn_fcc2mt_drm(code) == QCMN_MT_DIVX_DRM ? QCMN_MT_DIVX_DRM : QCMN_MT_SUBTITLE_UNKNOWN;
}

bool qcmn_is_audio_code(uint32_t code) {
  return Playable(code, QCMN_KIND_AUDIO);
}
bool qcmn_is_video_code(uint32_t code) {
  return Playable(code, QCMN_KIND_VIDEO);
}
bool qcmn_is_subtitle_code(uint32_t code) {
  return Playable(code, QCMN_KIND_SUBTITLE);
}
