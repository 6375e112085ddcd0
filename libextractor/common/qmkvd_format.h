// What a decoder needs from a track: its codec-configuration block and a summary record per
// track kind.
#pragma once

#include <stdint.h>

#include "common/qcmn_mt.h"
#include "demux/qmkvd_types.h"

struct QMKVD_VIDEO_INFO {
  uint32_t track_number;
  uint32_t codec_tag;
  int32_t max_frame_size;  // width * height * 3 / 2
  uint32_t width;
  uint32_t height;
  uint8_t present;  // always 1
  uint8_t present_pad[3];
  uint32_t frame_count;  // 0 without a DefaultDuration
  uint32_t reserved;
  uint32_t frame_rate;         // frames per second, 0 without a DefaultDuration
  uint32_t media_type;         // QCMN_MT
  const QMKVD_COLOUR* colour;  // borrowed from the track, lives with the demuxer
  // The size the picture is shown at, from DisplayWidth, DisplayHeight and DisplayUnit; the
  // pixel size when the track states none.
  uint32_t display_width;
  uint32_t display_height;
};

// Name strings are text that can be used as it stands.
enum : uint32_t { QMKVD_NAME_ENCODING_PLAIN = 703 };

struct QMKVD_AUDIO_INFO {
  uint32_t track_number;
  uint32_t codec_tag;
  uint32_t reserved0;
  uint32_t sampling_frequency;
  uint32_t bits_per_sample;  // 16 when the track has no BitDepth
  uint32_t channels;
  uint32_t present;  // always 1
  uint32_t reserved1;
  uint32_t media_type;  // QCMN_MT
  char language[4];     // three characters and a zero byte
  uint32_t name_encoding;
  uint32_t name_length;
  const char* name;  // borrowed, zero-terminated
  uint32_t reserved2;
  uint64_t seek_pre_roll;  // ns
  uint64_t codec_delay;    // ns
};

struct QMKVD_TEXT_INFO {
  uint32_t track_number;
  uint32_t codec_tag;
  uint32_t present;  // always 1
  uint32_t media_type;
  char language[4];
  uint32_t name_encoding;
  uint32_t name_length;
  const char* name;
  uint32_t reserved;
};

// The codec-configuration block of a track. Without a buffer *size gets the length it needs;
// with one, *size is the capacity on entry and the length on return. 0, -1 when the block did
// not fit, -7 for a bad argument. Malformed codec data is not an error: the length is 0 (or,
// for a cut HEVC record, *size is left as it came), which means "no configuration".
int32_t qmkvd_get_format(QMKVD_CTX* ctx, int32_t track, uint8_t* buffer, uint32_t* size);
int32_t qmkvds_get_format(QMKVDS_CTX* stream, uint8_t* buffer, uint32_t* size);

// The summary records; each is cleared first. 0, -7 bad argument (-2 closed stream).
int32_t qmkvd_get_info_vid(QMKVD_CTX* ctx, int32_t track, QMKVD_VIDEO_INFO* info);
int32_t qmkvd_get_info_aud(QMKVD_CTX* ctx, int32_t track, QMKVD_AUDIO_INFO* info);
int32_t qmkvd_get_info_txt(QMKVD_CTX* ctx, int32_t track, QMKVD_TEXT_INFO* info);
int32_t qmkvds_get_info_vid(QMKVDS_CTX* stream, QMKVD_VIDEO_INFO* info);
int32_t qmkvds_get_info_aud(QMKVDS_CTX* stream, QMKVD_AUDIO_INFO* info);
int32_t qmkvds_get_info_txt(QMKVDS_CTX* stream, QMKVD_TEXT_INFO* info);

// The MPEG-4 sampling-frequency index of a rate in Hz (96000 -> 0 ... 8000 -> 11), or -1.
int32_t get_aac_frequency_index(uint32_t frequency);

// --- Used inside the format code ---------------------------------------------------------------

// The block size of the MPEG layer-3 extension, from the first frame header of the track.
// False when no frame header could be read; *has_size false when the header's sampling rate
// has no block size (the size is then not written).
bool qmkvd_mp3_block_size(QMKVD_CTX* ctx, const QMKVD_TRACK* track, uint16_t* block_size,
                          bool* has_size);
