// Supported codec codes, in the order the front end checks them.
#include "common/qcmn_codecs.h"

#include "common/qcmn_fourcc.h"
#include "common/qcmn_mt.h"

const uint32_t QCMN_AUDIO_CODES[] = {
    qcmn_fourcc("MP4A"), qcmn_fourcc("mp4a"),
    QCMN_TAG_AAC,        QCMN_TAG_MP3,
    QCMN_TAG_MPEG_AUDIO, 0x6751,
    QCMN_TAG_VORBIS,     0x92,
    QCMN_TAG_AC3,        qcmn_fourcc("ec-3"),
    QCMN_TAG_FLAC,       qcmn_fourcc("Opus"),
    QCMN_TAG_WMA1,       QCMN_TAG_WMA2,
    QCMN_TAG_PCM,        qcmn_fourcc("lpcm"),
    QCMN_TAG_IEEE_FLOAT, QCMN_TAG_MS_ADPCM,
    QCMN_TAG_IMA_ADPCM,
};
const size_t QCMN_AUDIO_CODE_COUNT = sizeof(QCMN_AUDIO_CODES) / sizeof(QCMN_AUDIO_CODES[0]);

const uint32_t QCMN_VIDEO_CODES[] = {
    qcmn_fourcc("xvid"), qcmn_fourcc("XVID"), qcmn_fourcc("fmp4"), qcmn_fourcc("FMP4"),
    qcmn_fourcc("VP80"), qcmn_fourcc("VP90"), qcmn_fourcc("h264"), qcmn_fourcc("H264"),
    qcmn_fourcc("x264"), qcmn_fourcc("X264"), qcmn_fourcc("AVC1"), qcmn_fourcc("avc1"),
    qcmn_fourcc("MP4V"), qcmn_fourcc("mp4v"), qcmn_fourcc("hvc1"), qcmn_fourcc("hev1"),
    qcmn_fourcc("MP43"), qcmn_fourcc("av01"), qcmn_fourcc("s263"), qcmn_fourcc("S263"),
    qcmn_fourcc("h263"), qcmn_fourcc("H263"), qcmn_fourcc("MPG2"), qcmn_fourcc("mpg2"),
};
const size_t QCMN_VIDEO_CODE_COUNT = sizeof(QCMN_VIDEO_CODES) / sizeof(QCMN_VIDEO_CODES[0]);

const uint32_t QCMN_SUBTITLE_CODES[] = {
    qcmn_fourcc("SSSA"),
    qcmn_fourcc("SASS"),
    qcmn_fourcc("SSRT"),
};
const size_t QCMN_SUBTITLE_CODE_COUNT =
    sizeof(QCMN_SUBTITLE_CODES) / sizeof(QCMN_SUBTITLE_CODES[0]);

namespace {

bool Contains(const uint32_t* codes, size_t count, uint32_t code) {
  for (size_t i = 0; i < count; ++i) {
    if (codes[i] == code) return true;
  }
  return false;
}

}  // namespace

bool qcmn_is_audio_code(uint32_t code) {
  return Contains(QCMN_AUDIO_CODES, QCMN_AUDIO_CODE_COUNT, code);
}
bool qcmn_is_video_code(uint32_t code) {
  return Contains(QCMN_VIDEO_CODES, QCMN_VIDEO_CODE_COUNT, code);
}
bool qcmn_is_subtitle_code(uint32_t code) {
  return Contains(QCMN_SUBTITLE_CODES, QCMN_SUBTITLE_CODE_COUNT, code);
}
