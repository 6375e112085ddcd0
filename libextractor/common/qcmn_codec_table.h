// What the extractor knows of each codec code, one row per code and kind: its media type, the
// MIME type it is published under, whether it is played and how its blocks are delivered, the
// decoder's picture limit and which configuration parser reads it. Every per-codec decision
// reads this table.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "common/qcmn_mt.h"

enum QCMN_CODEC_KIND : uint8_t {
  QCMN_KIND_AUDIO,
  QCMN_KIND_VIDEO,
  QCMN_KIND_SUBTITLE,
  QCMN_KIND_DRM,
};

// Traits of a code.
enum : uint8_t {
  QCMN_CODEC_PLAYABLE = 1,     // published as a playable track; any other code is unsupported
  QCMN_CODEC_LACES_WHOLE = 2,  // audio whose laced blocks are delivered whole, as one buffer
};

// The largest picture the device decodes (landscape; portrait is the same box turned).
enum QCMN_DECODER_LIMIT : uint8_t {
  QCMN_LIMIT_NONE,  // no decoder the device vouches for
  QCMN_LIMIT_HD,    // 1920 x 1088
  QCMN_LIMIT_4K,    // 4096 x 2176
};

// Which video configuration parser reads the codec's configuration and frames.
enum QCMN_VIDEO_CONFIG : uint8_t {
  QCMN_VIDCFG_NONE,
  QCMN_VIDCFG_MPEG4,
  QCMN_VIDCFG_H264,
  QCMN_VIDCFG_HEVC,
  QCMN_VIDCFG_MSMPEG4V3,
  QCMN_VIDCFG_AV1,
  QCMN_VIDCFG_H263,
  QCMN_VIDCFG_MPEG2,
};

struct QCMN_CODEC {
  uint32_t code;
  QCMN_CODEC_KIND kind;
  QCMN_MT media_type;       // the kind's unknown type when the code has none
  const char* const* mime;  // the framework's variable, read at call time; null for none
  uint8_t traits;
  QCMN_DECODER_LIMIT limit;
  QCMN_VIDEO_CONFIG config;
};

extern const QCMN_CODEC QCMN_CODECS[];
extern const size_t QCMN_CODEC_COUNT;

// The row of `code` among the codecs of `kind`, or null.
const QCMN_CODEC* qcmn_codec(uint32_t code, QCMN_CODEC_KIND kind);
// The first row of `code`, of any kind, that names a MIME type; null when none does.
const QCMN_CODEC* qcmn_codec_with_mime(uint32_t code);

// Whether a code of the kind is played (QCMN_CODEC_PLAYABLE).
bool qcmn_is_audio_code(uint32_t code);
bool qcmn_is_video_code(uint32_t code);
bool qcmn_is_subtitle_code(uint32_t code);
