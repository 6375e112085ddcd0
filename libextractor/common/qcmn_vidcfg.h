// Profile, level and coded picture size of a video track, read from its codec configuration or,
// when a track has none, from its frames one at a time.
//
// Profile and level are the codec's own numbers: H.264 profile_idc and level_idc, HEVC
// general_profile_idc and general_level_idc, MPEG-4 Visual the high and low nibbles of the
// visual object sequence's profile_and_level_indication, MPEG-2 the profile and level fields of
// the sequence extension, AV1 seq_profile and the first operating point's seq_level_idx. Both
// are -1 where the stream does not signal them (H.263, MPEG-4 Visual without a visual object
// sequence header, MPEG-2 without a sequence extension).
#pragma once

#include <stdint.h>

// clang-format off
struct QVID_CONFIG_INPUT { const uint8_t* data; uint32_t length; uint32_t code; };
struct QVID_CONFIG { int32_t profile; int32_t level; uint32_t width; uint32_t height; int32_t is_mp4_dp; };
// clang-format on
// 0: found, *out filled; > 0: nothing in this data, feed the next frame; < 0: broken data or
// unknown codec. *out is cleared first. width/height are the CODED size (before any cropping /
// conformance window), e.g. 1920x1088 for a 1920x1080 H.264 stream.
int32_t qvid_config_parser(const QVID_CONFIG_INPUT* in, QVID_CONFIG* out);
