// Host stand-in of <media/stagefright/MediaDefs.h>: the MIME type constants the extractor
// publishes, same names and values as the framework's (namespace android, C++ linkage).
// Compare them with strcmp/strcasecmp, never by pointer.
#pragma once

namespace android {

extern const char* MEDIA_MIMETYPE_CONTAINER_MATROSKA;

extern const char* MEDIA_MIMETYPE_VIDEO_AVC;
extern const char* MEDIA_MIMETYPE_VIDEO_HEVC;
extern const char* MEDIA_MIMETYPE_VIDEO_VP8;
extern const char* MEDIA_MIMETYPE_VIDEO_VP9;
extern const char* MEDIA_MIMETYPE_VIDEO_AV1;
extern const char* MEDIA_MIMETYPE_VIDEO_MPEG4;
extern const char* MEDIA_MIMETYPE_VIDEO_H263;
extern const char* MEDIA_MIMETYPE_VIDEO_MPEG2;
extern const char* MEDIA_MIMETYPE_VIDEO_DIVX;
extern const char* MEDIA_MIMETYPE_VIDEO_DIVX3;
extern const char* MEDIA_MIMETYPE_VIDEO_XVID;
extern const char* MEDIA_MIMETYPE_VIDEO_MJPEG;

extern const char* MEDIA_MIMETYPE_AUDIO_AAC;
extern const char* MEDIA_MIMETYPE_AUDIO_MPEG;
extern const char* MEDIA_MIMETYPE_AUDIO_MPEG_LAYER_I;
extern const char* MEDIA_MIMETYPE_AUDIO_MPEG_LAYER_II;
extern const char* MEDIA_MIMETYPE_AUDIO_AC3;
extern const char* MEDIA_MIMETYPE_AUDIO_EAC3;
extern const char* MEDIA_MIMETYPE_AUDIO_AC4;
extern const char* MEDIA_MIMETYPE_AUDIO_FLAC;
extern const char* MEDIA_MIMETYPE_AUDIO_OPUS;
extern const char* MEDIA_MIMETYPE_AUDIO_VORBIS;
extern const char* MEDIA_MIMETYPE_AUDIO_RAW;
extern const char* MEDIA_MIMETYPE_AUDIO_ALAC;
extern const char* MEDIA_MIMETYPE_AUDIO_WMA;
extern const char* MEDIA_MIMETYPE_AUDIO_MS_ADPCM;
extern const char* MEDIA_MIMETYPE_AUDIO_DVI_IMA_ADPCM;
extern const char* MEDIA_MIMETYPE_AUDIO_G711_ALAW;
extern const char* MEDIA_MIMETYPE_AUDIO_G711_MLAW;
extern const char* MEDIA_MIMETYPE_AUDIO_MSGSM;
extern const char* MEDIA_MIMETYPE_AUDIO_AMR_NB;
extern const char* MEDIA_MIMETYPE_AUDIO_AMR_WB;
extern const char* MEDIA_MIMETYPE_AUDIO_QCELP;

extern const char* MEDIA_MIMETYPE_TEXT_SUBRIP;
extern const char* MEDIA_MIMETYPE_TEXT_3GPP;

}  // namespace android
