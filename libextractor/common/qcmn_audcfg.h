// Audio decoder configuration: what the track's format block says about the codec, for the
// format keys the framework's decoders read: MPEG-4 AudioSpecificConfig for AAC, and the three
// headers of a Vorbis CodecPrivate.
#pragma once

#include <stdint.h>

struct QAUD_CONFIG_INPUT {
  const uint8_t* data;  // the track's format block
  uint32_t length;
  uint32_t code;  // the track's codec code: 0xFF, "mp4a" or "MP4A"
};

struct QAUD_CONFIG {
  int32_t aac_profile;       // MPEG-4 audio object type, as the "aac-profile" key takes it: 2 LC,
                             // 5 HE (SBR), 29 HE with parametric stereo, 23 LD, 39 ELD, 42 xHE...
  int32_t sample_rate;       // Hz of the decoded output: the SBR rate when SBR is signalled
  int32_t channels;          // decoded channels; 0 when the configuration does not say
  int32_t core_sample_rate;  // Hz of the core coder, before SBR
  int32_t frame_samples;     // per frame at the core rate: 1024 or 960; 0 for other framings
};

enum : int32_t {
  QAUD_CFG_OK = 0,
  QAUD_CFG_ERR_ARGUMENT = -1,   // null input or output, or null data with a length
  QAUD_CFG_ERR_CODEC = -2,      // a code this parser does not read
  QAUD_CFG_ERR_EMPTY = -3,      // no bytes
  QAUD_CFG_ERR_TRUNCATED = -4,  // ends inside a field every configuration must have
  QAUD_CFG_ERR_INVALID = -5,    // object type 0, reserved frequency index, zero frequency
};

// Parses the configuration in *in into *out. Returns QAUD_CFG_OK, or a negative QAUD_CFG_ERR_*
// with *out unchanged.
int32_t qaud_config_parser(const QAUD_CONFIG_INPUT* in, QAUD_CONFIG* out);

// The codes whose format block is an AudioSpecificConfig: 0xFF, "mp4a" and "MP4A".
bool qaud_is_aac_code(uint32_t code);

// The MPEG-4 sampling-frequency index of a rate in Hz (96000 -> 0 ... 7350 -> 12), or -1 for a
// rate only the escape code can carry.
int32_t qaud_aac_rate_index(uint32_t rate);

// The identification, comment and setup headers of a Xiph-laced Vorbis CodecPrivate.
struct QAUD_VORBIS_HEADERS {
  const uint8_t* part[3];
  uint32_t length[3];
};

// Splits the block: a count byte of 2, then the first two lengths in Xiph lacing (of any number
// of bytes: an encoder's full comment header runs past 255), then the headers, of packet types
// 1, 3 and 5, the setup header holding at least that byte. False when the block is not that.
bool qaud_vorbis_headers(const uint8_t* block, uint32_t length, QAUD_VORBIS_HEADERS* out);
