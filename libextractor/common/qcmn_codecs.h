// The codec codes the front end publishes as playable tracks, per kind. Any other code gets a
// track marked unsupported.
#pragma once

#include <stddef.h>
#include <stdint.h>

extern const uint32_t QCMN_AUDIO_CODES[];
extern const size_t QCMN_AUDIO_CODE_COUNT;
extern const uint32_t QCMN_VIDEO_CODES[];
extern const size_t QCMN_VIDEO_CODE_COUNT;
extern const uint32_t QCMN_SUBTITLE_CODES[];
extern const size_t QCMN_SUBTITLE_CODE_COUNT;

bool qcmn_is_audio_code(uint32_t code);
bool qcmn_is_video_code(uint32_t code);
bool qcmn_is_subtitle_code(uint32_t code);
