// Format key strings and the codec-code to MIME table.
#include "common/qcmn_formatkeys.h"

#include <media/stagefright/MediaDefs.h>

#include "common/qcmn_fourcc.h"
#include "common/qcmn_mimetypes.h"
#include "common/qcmn_mt.h"

const char* AMEDIAFORMAT_KEY_FOURCC = "vendor.qmkv.fourcc";
const char* AMEDIAFORMAT_KEY_TRACK_FOURCC = "vendor.qmkv.track-fourcc";
const char* AMEDIAFORMAT_KEY_IS_MP4_DP = "vendor.qmkv.is-mp4-dp";
const char* AMEDIAFORMAT_KEY_ERROR_TYPE = "vendor.qmkv.error-type";
const char* AMEDIAFORMAT_KEY_ERROR_LOGGABLE = "vendor.qmkv.error-loggable";
const char* AMEDIAFORMAT_KEY_TRACK_NAME = "vendor.qmkv.track-name";
const char* AMEDIAFORMAT_KEY_CHAR_ENCODING_TYPES = "vendor.qmkv.char-encoding-types";
const char* AMEDIAFORMAT_KEY_I_FRAME_AVG_INTERVAL = "vendor.qmkv.i-frame-avg-interval";
const char* AMEDIAFORMAT_KEY_ALLOW_FRAME_REORDERING = "vendor.qmkv.allow-frame-reordering";
const char* AMEDIAFORMAT_KEY_WRITER = "vendor.qmkv.writer";

const QCMN_FORMAT_KEY QCMN_FORMAT_KEYS[] = {
    {&AMEDIAFORMAT_KEY_FOURCC, QcmnKeyType::kInt32},
    {&AMEDIAFORMAT_KEY_TRACK_FOURCC, QcmnKeyType::kInt32},
    {&AMEDIAFORMAT_KEY_IS_MP4_DP, QcmnKeyType::kInt32},
    {&AMEDIAFORMAT_KEY_ERROR_TYPE, QcmnKeyType::kInt32},
    {&AMEDIAFORMAT_KEY_ERROR_LOGGABLE, QcmnKeyType::kInt32},
    {&AMEDIAFORMAT_KEY_TRACK_NAME, QcmnKeyType::kBuffer},
    {&AMEDIAFORMAT_KEY_CHAR_ENCODING_TYPES, QcmnKeyType::kString},
    {&AMEDIAFORMAT_KEY_I_FRAME_AVG_INTERVAL, QcmnKeyType::kInt64},
    {&AMEDIAFORMAT_KEY_ALLOW_FRAME_REORDERING, QcmnKeyType::kInt32},
    {&AMEDIAFORMAT_KEY_WRITER, QcmnKeyType::kString},
};
const size_t QCMN_FORMAT_KEY_COUNT = sizeof(QCMN_FORMAT_KEYS) / sizeof(QCMN_FORMAT_KEYS[0]);

namespace {

using namespace android;

// Our own types need an addressable variable like the framework's.
const char* const kDts = QCMN_MIMETYPE_AUDIO_DTS;
const char* const kAss = QCMN_MIMETYPE_TEXT_ASS;
const char* const kSsa = QCMN_MIMETYPE_TEXT_SSA;

struct CodeMime {
  uint32_t code;
  const char* const* mime;  // the framework's variable, read at call time
};

// One row per code. The framework's MIME variables are defined in another library, so the
// table holds their addresses rather than copies of values that may not be initialised yet.
const CodeMime kTable[] = {
    // AAC, raw AudioSpecificConfig in the format block.
    {qcmn_fourcc("MP4A"), &MEDIA_MIMETYPE_AUDIO_AAC},
    {qcmn_fourcc("mp4a"), &MEDIA_MIMETYPE_AUDIO_AAC},
    {QCMN_TAG_AAC, &MEDIA_MIMETYPE_AUDIO_AAC},
    {QCMN_TAG_MP3, &MEDIA_MIMETYPE_AUDIO_MPEG},
    // One WAVE tag covers layers I and II; layer II is what such tracks nearly always are, and
    // the framework's MPEG audio decoders take both layers under either type.
    {QCMN_TAG_MPEG_AUDIO, &MEDIA_MIMETYPE_AUDIO_MPEG_LAYER_II},
    {0x6751, &MEDIA_MIMETYPE_AUDIO_VORBIS},
    {QCMN_TAG_VORBIS, &MEDIA_MIMETYPE_AUDIO_VORBIS},
    {0x92, &MEDIA_MIMETYPE_AUDIO_AC3},  // AC-3 carried as in S/PDIF
    {QCMN_TAG_AC3, &MEDIA_MIMETYPE_AUDIO_AC3},
    {qcmn_fourcc("ec-3"), &MEDIA_MIMETYPE_AUDIO_EAC3},
    {QCMN_TAG_FLAC, &MEDIA_MIMETYPE_AUDIO_FLAC},
    {qcmn_fourcc("Opus"), &MEDIA_MIMETYPE_AUDIO_OPUS},
    {QCMN_TAG_WMA1, &MEDIA_MIMETYPE_AUDIO_WMA},
    {QCMN_TAG_WMA2, &MEDIA_MIMETYPE_AUDIO_WMA},
    {QCMN_TAG_WMA_PRO, &MEDIA_MIMETYPE_AUDIO_WMA},
    {QCMN_TAG_WMA_LOSSLESS, &MEDIA_MIMETYPE_AUDIO_WMA},
    // PCM in every layout we deliver is raw audio; the format's PCM keys say which layout.
    {QCMN_TAG_PCM, &MEDIA_MIMETYPE_AUDIO_RAW},
    {qcmn_fourcc("lpcm"), &MEDIA_MIMETYPE_AUDIO_RAW},
    {QCMN_TAG_IEEE_FLOAT, &MEDIA_MIMETYPE_AUDIO_RAW},
    {QCMN_TAG_MS_ADPCM, &MEDIA_MIMETYPE_AUDIO_MS_ADPCM},
    {QCMN_TAG_IMA_ADPCM, &MEDIA_MIMETYPE_AUDIO_DVI_IMA_ADPCM},
    {QCMN_TAG_ALAW, &MEDIA_MIMETYPE_AUDIO_G711_ALAW},
    {QCMN_TAG_MULAW, &MEDIA_MIMETYPE_AUDIO_G711_MLAW},
    {0x31, &MEDIA_MIMETYPE_AUDIO_MSGSM},  // GSM 6.10 through A_MS/ACM
    {qcmn_fourcc("alac"), &MEDIA_MIMETYPE_AUDIO_ALAC},
    {QCMN_TAG_DTS, &kDts},

    // MPEG-4 Visual in all its spellings goes to the one MPEG-4 decoder every device has.
    {qcmn_fourcc("xvid"), &MEDIA_MIMETYPE_VIDEO_MPEG4},
    {qcmn_fourcc("XVID"), &MEDIA_MIMETYPE_VIDEO_MPEG4},
    {qcmn_fourcc("fmp4"), &MEDIA_MIMETYPE_VIDEO_MPEG4},
    {qcmn_fourcc("FMP4"), &MEDIA_MIMETYPE_VIDEO_MPEG4},
    {qcmn_fourcc("MP4V"), &MEDIA_MIMETYPE_VIDEO_MPEG4},
    {qcmn_fourcc("mp4v"), &MEDIA_MIMETYPE_VIDEO_MPEG4},
    {qcmn_fourcc("VP80"), &MEDIA_MIMETYPE_VIDEO_VP8},
    {qcmn_fourcc("VP90"), &MEDIA_MIMETYPE_VIDEO_VP9},
    {qcmn_fourcc("h264"), &MEDIA_MIMETYPE_VIDEO_AVC},
    {qcmn_fourcc("H264"), &MEDIA_MIMETYPE_VIDEO_AVC},
    {qcmn_fourcc("x264"), &MEDIA_MIMETYPE_VIDEO_AVC},
    {qcmn_fourcc("X264"), &MEDIA_MIMETYPE_VIDEO_AVC},
    {qcmn_fourcc("AVC1"), &MEDIA_MIMETYPE_VIDEO_AVC},
    {qcmn_fourcc("avc1"), &MEDIA_MIMETYPE_VIDEO_AVC},
    {qcmn_fourcc("hvc1"), &MEDIA_MIMETYPE_VIDEO_HEVC},
    {qcmn_fourcc("hev1"), &MEDIA_MIMETYPE_VIDEO_HEVC},
    {qcmn_fourcc("MP43"), &MEDIA_MIMETYPE_VIDEO_DIVX3},
    {qcmn_fourcc("DIV3"), &MEDIA_MIMETYPE_VIDEO_DIVX3},
    {qcmn_fourcc("div3"), &MEDIA_MIMETYPE_VIDEO_DIVX3},
    {qcmn_fourcc("DIVX"), &MEDIA_MIMETYPE_VIDEO_DIVX},
    {qcmn_fourcc("divx"), &MEDIA_MIMETYPE_VIDEO_DIVX},
    {qcmn_fourcc("DX50"), &MEDIA_MIMETYPE_VIDEO_DIVX},
    {qcmn_fourcc("av01"), &MEDIA_MIMETYPE_VIDEO_AV1},
    {qcmn_fourcc("s263"), &MEDIA_MIMETYPE_VIDEO_H263},
    {qcmn_fourcc("S263"), &MEDIA_MIMETYPE_VIDEO_H263},
    {qcmn_fourcc("h263"), &MEDIA_MIMETYPE_VIDEO_H263},
    {qcmn_fourcc("H263"), &MEDIA_MIMETYPE_VIDEO_H263},
    {qcmn_fourcc("MPG2"), &MEDIA_MIMETYPE_VIDEO_MPEG2},
    {qcmn_fourcc("mpg2"), &MEDIA_MIMETYPE_VIDEO_MPEG2},
    {qcmn_fourcc("MJPG"), &MEDIA_MIMETYPE_VIDEO_MJPEG},

    {qcmn_fourcc("SSRT"), &MEDIA_MIMETYPE_TEXT_SUBRIP},
    {qcmn_fourcc("SASS"), &kAss},
    {qcmn_fourcc("SSSA"), &kSsa},
};

}  // namespace

const char* FourCC2MIME(uint32_t code) {
  for (const CodeMime& row : kTable) {
    if (row.code == code) return *row.mime;
  }
  return QCMN_MIMETYPE_UNKNOWN;
}
