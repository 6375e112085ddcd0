#include "common/qcmn_mt.h"

#include <stddef.h>

#include "common/qcmn_fourcc.h"

namespace {

struct CodeToType {
  uint32_t code;
  QCMN_MT type;
};

template <size_t kCount>
QCMN_MT Lookup(const CodeToType (&table)[kCount], uint32_t code, QCMN_MT unknown) {
  for (const CodeToType& row : table) {
    if (row.code == code) return row.type;
  }
  return unknown;
}

constexpr CodeToType kVideo[] = {
    {qcmn_fourcc("XVID"), QCMN_MT_MPEG4},     {qcmn_fourcc("xvid"), QCMN_MT_MPEG4},
    {qcmn_fourcc("DIVX"), QCMN_MT_MPEG4},     {qcmn_fourcc("divx"), QCMN_MT_MPEG4},
    {qcmn_fourcc("DX50"), QCMN_MT_MPEG4},     {qcmn_fourcc("dx50"), QCMN_MT_MPEG4},
    {qcmn_fourcc("FMP4"), QCMN_MT_MPEG4},     {qcmn_fourcc("DIV4"), QCMN_MT_MPEG4},
    {qcmn_fourcc("div4"), QCMN_MT_MPEG4},     {qcmn_fourcc("MP4V"), QCMN_MT_MPEG4},
    {qcmn_fourcc("mp4v"), QCMN_MT_MPEG4},     {qcmn_fourcc("M4S2"), QCMN_MT_MPEG4},
    {qcmn_fourcc("m4s2"), QCMN_MT_MPEG4},     {qcmn_fourcc("H263"), QCMN_MT_H263},
    {qcmn_fourcc("h263"), QCMN_MT_H263},      {qcmn_fourcc("d263"), QCMN_MT_H263},
    {qcmn_fourcc("s263"), QCMN_MT_H263},      {qcmn_fourcc("avc1"), QCMN_MT_H264},
    {qcmn_fourcc("AVC1"), QCMN_MT_H264},      {qcmn_fourcc("avcC"), QCMN_MT_H264},
    {qcmn_fourcc("h264"), QCMN_MT_H264},      {qcmn_fourcc("H264"), QCMN_MT_H264},
    {qcmn_fourcc("x264"), QCMN_MT_H264},      {qcmn_fourcc("X264"), QCMN_MT_H264},
    {qcmn_fourcc("WMV1"), QCMN_MT_WMV7},      {qcmn_fourcc("wmv1"), QCMN_MT_WMV7},
    {qcmn_fourcc("WMV2"), QCMN_MT_WMV8},      {qcmn_fourcc("wmv2"), QCMN_MT_WMV8},
    {qcmn_fourcc("WMV3"), QCMN_MT_WMV9},      {qcmn_fourcc("wmv3"), QCMN_MT_WMV9},
    {qcmn_fourcc("DIV3"), QCMN_MT_DIVX3},     {qcmn_fourcc("div3"), QCMN_MT_DIVX3},
    {qcmn_fourcc("FLV1"), QCMN_MT_FLV1},      {qcmn_fourcc("RV10"), QCMN_MT_RV10},
    {qcmn_fourcc("RV20"), QCMN_MT_RV20},      {qcmn_fourcc("RV30"), QCMN_MT_RV30},
    {qcmn_fourcc("RV40"), QCMN_MT_RV40},      {qcmn_fourcc("MP43"), QCMN_MT_MSMPEG4V3},
    {qcmn_fourcc("mp43"), QCMN_MT_MSMPEG4V3}, {qcmn_fourcc("WVC1"), QCMN_MT_VC1},
    {qcmn_fourcc("wvc1"), QCMN_MT_VC1},       {qcmn_fourcc("vc-1"), QCMN_MT_VC1},
    {qcmn_fourcc("VP80"), QCMN_MT_VP8},       {qcmn_fourcc("hvc1"), QCMN_MT_HEVC},
    {qcmn_fourcc("hev1"), QCMN_MT_HEVC},      {qcmn_fourcc("hvcC"), QCMN_MT_HEVC},
    {qcmn_fourcc("smhC"), QCMN_MT_HEVC},      {qcmn_fourcc("VP90"), QCMN_MT_VP9},
    {qcmn_fourcc("av01"), QCMN_MT_AV1},       {qcmn_fourcc("av1C"), QCMN_MT_AV1},
};

constexpr CodeToType kAudio[] = {
    {QCMN_TAG_PCM, QCMN_MT_PCM},
    {QCMN_TAG_ALAW, QCMN_MT_ALAW},
    {QCMN_TAG_MULAW, QCMN_MT_MULAW},
    {QCMN_TAG_MPEG_AUDIO, QCMN_MT_MPEG_AUDIO},
    {QCMN_TAG_MP3, QCMN_MT_MP3},
    {QCMN_TAG_AAC, QCMN_MT_AAC},
    {qcmn_fourcc("aac "), QCMN_MT_AAC},
    {qcmn_fourcc("mp4a"), QCMN_MT_AAC},
    {QCMN_TAG_AC3, QCMN_MT_AC3},
    {qcmn_fourcc("ac-3"), QCMN_MT_AC3},
    {QCMN_TAG_DTS, QCMN_MT_DTS},
    {qcmn_fourcc("samr"), QCMN_MT_AMR_NB},
    {qcmn_fourcc("sawb"), QCMN_MT_AMR_WB},
    {qcmn_fourcc("sqcp"), QCMN_MT_QCELP},
    {qcmn_fourcc("dqcp"), QCMN_MT_QCELP},
    {QCMN_TAG_WMA1, QCMN_MT_WMA},
    {QCMN_TAG_WMA2, QCMN_MT_WMA},
    {QCMN_TAG_WMA_PRO, QCMN_MT_WMA_PRO},
    {QCMN_TAG_WMA_LOSSLESS, QCMN_MT_WMA_LOSSLESS},
    {qcmn_fourcc("evrc"), QCMN_MT_EVRC},
    {QCMN_TAG_FLAC, QCMN_MT_FLAC},
    {qcmn_fourcc("fLaC"), QCMN_MT_FLAC},
    {QCMN_TAG_VORBIS, QCMN_MT_VORBIS},
    {QCMN_TAG_IMA_ADPCM, QCMN_MT_IMA_ADPCM},
    {QCMN_TAG_MS_ADPCM, QCMN_MT_MS_ADPCM},
    {qcmn_fourcc("sipr"), QCMN_MT_SIPR},
    {qcmn_fourcc("cook"), QCMN_MT_COOK},
    {qcmn_fourcc("Opus"), QCMN_MT_OPUS},
    {qcmn_fourcc("DSD "), QCMN_MT_DSD},
    {qcmn_fourcc("ec-3"), QCMN_MT_EAC3},
    {qcmn_fourcc("ac-4"), QCMN_MT_AC4},
};

constexpr CodeToType kSubtitle[] = {
    {qcmn_fourcc("SSRT"), QCMN_MT_SRT},  {qcmn_fourcc("TX3G"), QCMN_MT_TX3G},
    {qcmn_fourcc("tx3g"), QCMN_MT_TX3G}, {qcmn_fourcc("SBTL"), QCMN_MT_TX3G},
    {qcmn_fourcc("sbtl"), QCMN_MT_TX3G}, {qcmn_fourcc("SASS"), QCMN_MT_ASS},
    {qcmn_fourcc("SSSA"), QCMN_MT_SSA},
};

constexpr CodeToType kDrm[] = {
    {qcmn_fourcc("DIVX"), QCMN_MT_DIVX_DRM},
    {qcmn_fourcc("divx"), QCMN_MT_DIVX_DRM},
};

}  // namespace

QCMN_MT qcmn_fcc2mt_vid(uint32_t code) {
  return Lookup(kVideo, code, QCMN_MT_VIDEO_UNKNOWN);
}
QCMN_MT qcmn_fcc2mt_aud(uint32_t code) {
  return Lookup(kAudio, code, QCMN_MT_AUDIO_UNKNOWN);
}
QCMN_MT qcmn_fcc2mt_sub(uint32_t code) {
  return Lookup(kSubtitle, code, QCMN_MT_SUBTITLE_UNKNOWN);
}
QCMN_MT qcmn_fcc2mt_drm(uint32_t code) {
  return Lookup(kDrm, code, QCMN_MT_DRM_UNKNOWN);
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
