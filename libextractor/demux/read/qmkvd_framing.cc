#include "demux/read/qmkvd_framing.h"

#include <string.h>

#include "common/qcmn_audcfg.h"
#include "common/qcmn_mt.h"
#include "demux/ebml/qmkvd_util.h"

namespace {

enum : uint8_t { kNone = 0, kFixed = 1, kOpus = 2, kVorbis = 3 };

const int64_t kOpusRate = 48000;

bool CodecIs(const QMKVD_TRACK* t, const char* id) {
  return strncmp(t->codec_id, id, strlen(id)) == 0;
}

int64_t SamplesToNs(int64_t samples, int64_t rate) {
  return rate > 0 ? samples * QMKVD_NS_PER_SECOND / rate : -1;
}

// --- AAC: 1024 samples a frame (960 where the configuration says so) at the core rate ---------

int64_t AacFrameNs(const QMKVD_TRACK* t) {
  if (!t->codec_private || t->codec_private_size < 2) {
    return SamplesToNs(1024, t->audio.sampling_frequency);
  }
  const QAUD_CONFIG_INPUT in = {t->codec_private, t->codec_private_size, QCMN_TAG_AAC};
  QAUD_CONFIG config = {};
  if (qaud_config_parser(&in, &config) != QAUD_CFG_OK || config.frame_samples == 0) return -1;
  return SamplesToNs(config.frame_samples, config.core_sample_rate);
}

// --- Opus: the TOC byte's frame size times its frame count ------------------------------------

int64_t OpusSamples(const uint8_t* head, int32_t length) {
  if (length < 1) return -1;
  const uint32_t config = head[0] >> 3;
  int64_t frame = 0;  // in 48 kHz samples
  if (config < 12) {
    static const int64_t kSilk[4] = {480, 960, 1920, 2880};
    frame = kSilk[config & 3];
  } else if (config < 16) {
    frame = (config & 1) ? 960 : 480;
  } else {
    static const int64_t kCelt[4] = {120, 240, 480, 960};
    frame = kCelt[config & 3];
  }
  int64_t count = 1;
  switch (head[0] & 3) {
    case 0: count = 1; break;
    case 1:
    case 2: count = 2; break;
    default:
      if (length < 2) return -1;
      count = head[1] & 0x3F;
      break;
  }
  return frame * count;
}

// --- Vorbis: block sizes from the identification header, modes from the setup header ---------

uint32_t Field(const uint8_t* data, uint64_t bit, int count) {  // least significant bit first
  uint32_t value = 0;
  for (int i = 0; i < count; ++i, ++bit) value |= ((data[bit >> 3] >> (bit & 7)) & 1u) << i;
  return value;
}

// The modes close the setup header: a 6-bit count less one, then per mode a block flag, a
// window type and a transform type (both 0) and a mapping, then the framing bit. They are found
// from the end: the largest count whose modes all read as such.
bool ReadModes(const uint8_t* setup, uint32_t size, QMKVD_FRAMING* f) {
  const uint64_t kModeBits = 41;
  uint64_t framing = static_cast<uint64_t>(size) * 8;
  while (framing > 0 && Field(setup, framing - 1, 1) == 0) --framing;
  if (framing == 0) return false;
  framing--;  // the framing bit itself
  for (uint64_t count = 64; count >= 1; --count) {
    if (framing < kModeBits * count + 6) continue;
    const uint64_t first = framing - kModeBits * count;
    if (Field(setup, first - 6, 6) != count - 1) continue;
    uint64_t long_modes = 0;
    bool modes = true;
    for (uint64_t m = 0; m < count && modes; ++m) {
      const uint64_t at = first + kModeBits * m;
      modes = Field(setup, at + 1, 16) == 0 && Field(setup, at + 17, 16) == 0;
      if (Field(setup, at, 1)) long_modes |= uint64_t{1} << m;
    }
    if (!modes) continue;
    uint8_t bits = 0;
    while ((uint64_t{1} << bits) < count) ++bits;
    f->mode_bits = bits;
    f->long_modes = long_modes;
    return true;
  }
  return false;
}

bool VorbisInit(const QMKVD_TRACK* t, QMKVD_FRAMING* f) {
  QAUD_VORBIS_HEADERS headers;
  const uint32_t kIdentificationSize = 30;
  if (!qaud_vorbis_headers(t->codec_private, t->codec_private_size, &headers) ||
      headers.length[0] < kIdentificationSize) {
    return false;
  }
  const uint8_t* const* part = headers.part;
  const uint32_t* length = headers.length;
  const uint8_t sizes = part[0][28];
  const uint32_t short_exponent = sizes & 15, long_exponent = sizes >> 4;
  if (short_exponent < 6 || long_exponent > 13 || short_exponent > long_exponent) return false;
  f->block_sizes[0] = 1u << short_exponent;
  f->block_sizes[1] = 1u << long_exponent;
  f->previous = f->block_sizes[0];
  f->rate = static_cast<uint32_t>(part[0][12] | part[0][13] << 8 | part[0][14] << 16 |
                                  static_cast<uint32_t>(part[0][15]) << 24);
  return f->rate > 0 && ReadModes(part[2], length[2], f);
}

// A frame's samples: half of each of its own block and the one before (a long block says which
// that was; a short one follows the frame before).
int64_t VorbisSamples(const QMKVD_FRAMING* f, const uint8_t* head, int32_t length,
                      uint32_t* block_size) {
  if (length < 1 || (head[0] & 1) != 0) return -1;  // not an audio packet
  const uint32_t mode = (head[0] >> 1) & ((1u << f->mode_bits) - 1);
  const bool long_block = (f->long_modes >> mode) & 1;
  uint32_t previous = f->previous;
  if (long_block) {
    const uint32_t bit = 1 + f->mode_bits;
    if (bit > 7) return -1;  // the flag lies in the second byte, which the rule does not read
    previous = f->block_sizes[(head[0] >> bit) & 1];
  }
  *block_size = f->block_sizes[long_block ? 1 : 0];
  return (previous + *block_size) / 4;
}

}  // namespace

void qmkvd_framing_init(const QMKVD_TRACK* t, QMKVD_FRAMING* f) {
  memset(f, 0, sizeof(*f));
  if (t->type != QMKVD_TRACK_AUDIO) return;
  if (t->default_duration > 0) {
    f->rule = kFixed;
    f->fixed_ns = t->default_duration;
    return;
  }
  if (CodecIs(t, "A_AAC")) {
    const int64_t ns = AacFrameNs(t);
    if (ns > 0) {
      f->rule = kFixed;
      f->fixed_ns = ns;
    }
  } else if (CodecIs(t, "A_OPUS")) {
    f->rule = kOpus;
  } else if (CodecIs(t, "A_VORBIS")) {
    if (VorbisInit(t, f)) f->rule = kVorbis;
  }
}

int64_t qmkvd_framing_duration(const QMKVD_FRAMING* f, const uint8_t* head, int32_t length,
                               uint32_t* block_size) {
  *block_size = f->previous;
  switch (f->rule) {
    case kFixed: return f->fixed_ns;
    case kOpus: {
      const int64_t samples = OpusSamples(head, length);
      return samples < 0 ? -1 : SamplesToNs(samples, kOpusRate);
    }
    case kVorbis: {
      const int64_t samples = VorbisSamples(f, head, length, block_size);
      return samples < 0 ? -1 : SamplesToNs(samples, f->rate);
    }
    default: return -1;
  }
}

void qmkvd_framing_commit(QMKVD_FRAMING* f, uint32_t block_size) {
  if (f->rule == kVorbis) f->previous = block_size;
}

bool qmkvd_framing_reads_frames(const QMKVD_FRAMING* f) {
  return f->rule == kOpus || f->rule == kVorbis;
}
