// Media-type codes: what the rest of the extractor keys per-codec behaviour on. The numbers are
// compared across the code base and must not change.
#pragma once

#include <stdint.h>

typedef int32_t QCMN_MT;

enum : int32_t {
  // Video
  QCMN_MT_MPEG4 = 102,
  QCMN_MT_H263 = 103,
  QCMN_MT_H264 = 104,
  QCMN_MT_WMV7 = 105,
  QCMN_MT_WMV8 = 106,
  QCMN_MT_WMV9 = 107,
  QCMN_MT_DIVX3 = 110,
  QCMN_MT_FLV1 = 111,
  QCMN_MT_RV10 = 113,
  QCMN_MT_RV20 = 114,
  QCMN_MT_RV30 = 115,
  QCMN_MT_RV40 = 116,
  QCMN_MT_MSMPEG4V3 = 117,
  QCMN_MT_VC1 = 118,
  QCMN_MT_VP8 = 119,
  QCMN_MT_HEVC = 120,
  QCMN_MT_VP9 = 121,
  QCMN_MT_AV1 = 122,
  QCMN_MT_VIDEO_UNKNOWN = 299,
  // Audio
  QCMN_MT_PCM = 300,
  QCMN_MT_ALAW = 301,
  QCMN_MT_MULAW = 302,
  QCMN_MT_MPEG_AUDIO = 304,
  QCMN_MT_MP3 = 305,
  QCMN_MT_AAC = 306,
  QCMN_MT_AC3 = 307,
  QCMN_MT_DTS = 308,
  QCMN_MT_AMR_NB = 309,
  QCMN_MT_AMR_WB = 310,
  QCMN_MT_QCELP = 311,
  QCMN_MT_WMA = 312,
  QCMN_MT_WMA_PRO = 313,
  QCMN_MT_WMA_LOSSLESS = 314,
  QCMN_MT_EVRC = 321,
  QCMN_MT_FLAC = 322,
  QCMN_MT_VORBIS = 323,
  QCMN_MT_IMA_ADPCM = 329,
  QCMN_MT_MS_ADPCM = 330,
  QCMN_MT_SIPR = 331,
  QCMN_MT_COOK = 332,
  QCMN_MT_OPUS = 334,
  QCMN_MT_DSD = 335,
  QCMN_MT_EAC3 = 337,
  QCMN_MT_AC4 = 338,
  QCMN_MT_AUDIO_UNKNOWN = 499,
  // DRM
  QCMN_MT_DIVX_DRM = 1100,
  QCMN_MT_DRM_UNKNOWN = 1299,
  // Subtitles
  QCMN_MT_SRT = 3000,
  QCMN_MT_TX3G = 3006,
  QCMN_MT_ASS = 3007,
  QCMN_MT_SSA = 3008,
  QCMN_MT_SUBTITLE_UNKNOWN = 3199,
};

// Codec codes that are plain numbers rather than four characters.
enum : uint32_t {
  QCMN_TAG_PCM = 1,
  QCMN_TAG_MS_ADPCM = 2,
  QCMN_TAG_IEEE_FLOAT = 3,
  QCMN_TAG_ALAW = 6,
  QCMN_TAG_MULAW = 7,
  QCMN_TAG_IMA_ADPCM = 17,
  QCMN_TAG_MPEG_AUDIO = 80,
  QCMN_TAG_MP3 = 85,
  QCMN_TAG_AAC = 255,
  QCMN_TAG_WMA1 = 0x160,
  QCMN_TAG_WMA2 = 0x161,
  QCMN_TAG_WMA_PRO = 0x162,
  QCMN_TAG_WMA_LOSSLESS = 0x163,
  QCMN_TAG_AC3 = 0x2000,
  QCMN_TAG_DTS = 0x2001,
  QCMN_TAG_TTA = 0x77A1,
  QCMN_TAG_WAVPACK = 0x5756,
  QCMN_TAG_FLAC = 0xF1AC,
  QCMN_TAG_VORBIS = 0x2674F,  // wider than 16 bits: equals no WAVE format tag
};

QCMN_MT qcmn_fcc2mt_vid(uint32_t code);
QCMN_MT qcmn_fcc2mt_aud(uint32_t code);
QCMN_MT qcmn_fcc2mt_sub(uint32_t code);
QCMN_MT qcmn_fcc2mt_drm(uint32_t code);
// Audio first, then video, then subtitles and DRM; an unknown code gives 3199.
QCMN_MT qcmn_fcc2mt(uint32_t code);
