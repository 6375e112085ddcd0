// What the extractor's files share among themselves and nothing else includes.
#pragma once

#include <stdint.h>

#include "demux/qmkvd.h"

namespace android {

// Stream kinds as the demuxer's summary numbers them.
enum : int32_t {
  QMKV_TYPE_VIDEO = QMKVD_TRACK_VIDEO,
  QMKV_TYPE_AUDIO = QMKVD_TRACK_AUDIO,
  QMKV_TYPE_TEXT = QMKVD_TRACK_TEXT,
};

// Largest frame a track may hand out, per kind; video grows with the picture.
enum : int32_t {
  QMKV_MAX_INPUT_VIDEO = 0x180000,
  QMKV_MAX_INPUT_AUDIO = 0x80000,
  QMKV_MAX_INPUT_TEXT = 2048,
};

// PCM encodings of the format's pcm-encoding key: what a PCM track's buffers hold.
enum : int32_t { QMKV_PCM_16BIT = 2, QMKV_PCM_FLOAT = 4 };

// The track's codec-configuration block (malloc'd, the caller frees it), or null with *length 0
// when there is none. A block that exists but cannot be fetched sets *status to -1001.
uint8_t* QmkvFetchFormat(QMKVD_CTX* ctx, int32_t index, uint32_t* length, int32_t* status);

}  // namespace android
