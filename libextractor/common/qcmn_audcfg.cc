// MPEG-4 AudioSpecificConfig reader (ISO/IEC 14496-3, 1.6.2.1).
//
// We read what a decoder needs to be chosen and set up: the object type that becomes the
// profile, the output sample rate and the channel count. Fields every configuration has are
// required; what may follow them (GASpecificConfig, the backward-compatible SBR/PS extension)
// is read only when present, since muxers often cut the block after the fixed fields.
#include "common/qcmn_audcfg.h"

#include <initializer_list>

#include "common/qcmn_bitreader.h"
#include "common/qcmn_fourcc.h"
#include "common/qcmn_mt.h"

namespace {

// The bit reader's error is sticky; these give each read the yes/no the parsers below test.
bool Read(QcmnBitReader* br, uint32_t count, uint32_t* value) {
  *value = br->Bits(static_cast<int>(count));
  return !br->error();
}

bool Skip(QcmnBitReader* br, uint64_t count) {
  if (count > br->BitsLeft()) return false;
  br->Skip(static_cast<size_t>(count));
  return !br->error();
}

bool AlignToByte(QcmnBitReader* br) {
  return Skip(br, (8 - (br->pos() & 7)) & 7);
}

enum class Status { kOk, kTruncated, kInvalid };

constexpr uint32_t kAotSbr = 5;
constexpr uint32_t kAotPs = 29;
constexpr uint32_t kAotErBsac = 22;
constexpr uint32_t kAotEscape = 31;
constexpr uint32_t kFreqEscape = 15;
constexpr uint32_t kSyncSbr = 0x2B7;
constexpr uint32_t kSyncPs = 0x548;

constexpr int32_t kRates[13] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                22050, 16000, 12000, 11025, 8000,  7350};

// Channels per channelConfiguration; 0 where the value is reserved or defers to a program
// config element.
constexpr int32_t kChannels[16] = {0, 1, 2, 3, 4, 5, 6, 8, 0, 0, 0, 7, 8, 24, 8, 0};

Status ReadObjectType(QcmnBitReader* br, uint32_t* aot) {
  uint32_t v;
  if (!Read(br, 5, &v)) return Status::kTruncated;
  if (v == kAotEscape) {
    uint32_t ext;
    if (!Read(br, 6, &ext)) return Status::kTruncated;
    v = 32 + ext;
  }
  if (v == 0) return Status::kInvalid;
  *aot = v;
  return Status::kOk;
}

Status ReadFrequency(QcmnBitReader* br, int32_t* rate) {
  uint32_t index;
  if (!Read(br, 4, &index)) return Status::kTruncated;
  if (index == kFreqEscape) {
    uint32_t hz;
    if (!Read(br, 24, &hz)) return Status::kTruncated;
    if (hz == 0) return Status::kInvalid;
    *rate = static_cast<int32_t>(hz);
    return Status::kOk;
  }
  if (index >= 13) return Status::kInvalid;  // 13 and 14 are reserved
  *rate = kRates[index];
  return Status::kOk;
}

// The general audio types, whose configuration is a GASpecificConfig.
// The error-resilient object types carry an epConfig after their specific configuration.
bool IsErrorResilient(uint32_t aot) {
  return (aot >= 17 && aot <= 27) || aot == 39;
}

bool IsGeneralAudio(uint32_t aot) {
  switch (aot) {
    case 1:
    case 2:
    case 3:
    case 4:
    case 6:
    case 7:
    case 17:
    case 19:
    case 20:
    case 21:
    case 22:
    case 23: return true;
    default: return false;
  }
}

// program_config_element(): counts the channels it places and leaves the reader after it.
bool ReadProgramConfig(QcmnBitReader* br, int32_t* channels) {
  uint32_t front, side, back, lfe, assoc, cc, flag, v;
  if (!Skip(br, 4 + 2 + 4)) return false;  // instance tag, object type, frequency index
  if (!Read(br, 4, &front) || !Read(br, 4, &side) || !Read(br, 4, &back) || !Read(br, 2, &lfe) ||
      !Read(br, 3, &assoc) || !Read(br, 4, &cc)) {
    return false;
  }
  for (uint32_t skip : {4u, 4u, 3u}) {  // mono mixdown, stereo mixdown, matrix mixdown
    if (!Read(br, 1, &flag) || (flag && !Skip(br, skip))) return false;
  }
  int32_t count = 0;
  for (uint32_t i = 0; i < front + side + back; ++i) {
    if (!Read(br, 1, &v) || !Skip(br, 4)) return false;  // is_cpe, instance tag
    count += v ? 2 : 1;
  }
  count += static_cast<int32_t>(lfe);
  if (!Skip(br, 4ull * lfe + 4ull * assoc + 5ull * cc)) return false;
  if (!AlignToByte(br) || !Read(br, 8, &v) || !Skip(br, 8ull * v)) return false;  // comment
  *channels = count;
  return true;
}

// GASpecificConfig(); false when the block ends inside it.
bool ReadGeneralAudioConfig(QcmnBitReader* br, uint32_t aot, uint32_t channel_config,
                            QAUD_CONFIG* cfg) {
  uint32_t short_frames, depends_on_core, extension, v;
  if (!Read(br, 1, &short_frames) || !Read(br, 1, &depends_on_core)) return false;
  cfg->frame_samples = short_frames ? 960 : 1024;
  if (depends_on_core && !Skip(br, 14)) return false;  // core coder delay
  if (!Read(br, 1, &extension)) return false;
  if (channel_config == 0 && !ReadProgramConfig(br, &cfg->channels)) return false;
  if ((aot == 6 || aot == 20) && !Skip(br, 3)) return false;  // layer number
  if (extension) {
    if (aot == kAotErBsac && !Skip(br, 5 + 11)) return false;
    if ((aot == 17 || aot == 19 || aot == 20 || aot == 23) && !Skip(br, 3)) return false;
    if (!Read(br, 1, &v)) return false;  // extensionFlag3
  }
  return true;
}

// The backward-compatible extension after the type-specific configuration: SBR (and with it
// possibly PS) signalled to decoders that look for it, invisible to those that do not.
void ReadSyncExtension(QcmnBitReader* br, QAUD_CONFIG* cfg) {
  uint32_t sync, sbr;
  uint32_t ext_aot = 0;
  int32_t ext_rate = 0;
  if (br->BitsLeft() < 16 || !Read(br, 11, &sync) || sync != kSyncSbr) return;
  if (ReadObjectType(br, &ext_aot) != Status::kOk || ext_aot != kAotSbr) return;
  if (!Read(br, 1, &sbr) || !sbr) return;
  if (ReadFrequency(br, &ext_rate) != Status::kOk) return;
  cfg->aac_profile = static_cast<int32_t>(kAotSbr);
  cfg->sample_rate = ext_rate;
  uint32_t ps;
  if (br->BitsLeft() >= 12 && Read(br, 11, &sync) && sync == kSyncPs && Read(br, 1, &ps) && ps) {
    cfg->aac_profile = static_cast<int32_t>(kAotPs);
    if (cfg->channels == 1) cfg->channels = 2;
  }
}

Status Parse(QcmnBitReader* br, QAUD_CONFIG* cfg) {
  uint32_t aot, channel_config;
  int32_t rate;
  Status s = ReadObjectType(br, &aot);
  if (s != Status::kOk) return s;
  if ((s = ReadFrequency(br, &rate)) != Status::kOk) return s;
  if (!Read(br, 4, &channel_config)) return Status::kTruncated;
  cfg->aac_profile = static_cast<int32_t>(aot);
  cfg->sample_rate = rate;
  cfg->core_sample_rate = rate;
  cfg->channels = kChannels[channel_config];

  if (aot == kAotSbr || aot == kAotPs) {
    // Explicit SBR: the output rate, then the type of the core underneath. The profile stays
    // the signalled one; that is what picks the decoder.
    if ((s = ReadFrequency(br, &cfg->sample_rate)) != Status::kOk) return s;
    uint32_t core;
    if ((s = ReadObjectType(br, &core)) != Status::kOk) return s;
    if (core == kAotErBsac && !Skip(br, 4)) return Status::kTruncated;
    if (aot == kAotPs && cfg->channels == 1) cfg->channels = 2;
    // The core's configuration: its frame length and, where it holds the program config
    // element, the channels.
    if (IsGeneralAudio(core)) ReadGeneralAudioConfig(br, core, channel_config, cfg);
    return Status::kOk;
  }
  if (IsGeneralAudio(aot) && ReadGeneralAudioConfig(br, aot, channel_config, cfg) &&
      (!IsErrorResilient(aot) || Skip(br, 2))) {  // epConfig comes before the extension
    ReadSyncExtension(br, cfg);
  }
  return Status::kOk;
}

}  // namespace

bool qaud_is_aac_code(uint32_t code) {
  return code == QCMN_TAG_AAC || code == qcmn_fourcc("mp4a") || code == qcmn_fourcc("MP4A");
}

int32_t qaud_aac_rate_index(uint32_t rate) {
  for (int32_t i = 0; i < static_cast<int32_t>(sizeof(kRates) / sizeof(kRates[0])); ++i) {
    if (static_cast<uint32_t>(kRates[i]) == rate) return i;
  }
  return -1;
}

int32_t qaud_config_parser(const QAUD_CONFIG_INPUT* in, QAUD_CONFIG* out) {
  if (!in || !out || (!in->data && in->length > 0)) return QAUD_CFG_ERR_ARGUMENT;
  if (!qaud_is_aac_code(in->code)) return QAUD_CFG_ERR_CODEC;
  if (in->length == 0) return QAUD_CFG_ERR_EMPTY;
  QcmnBitReader br(in->data, in->length);
  QAUD_CONFIG cfg = {0, 0, 0, 0, 0};
  switch (Parse(&br, &cfg)) {
    case Status::kOk: *out = cfg; return QAUD_CFG_OK;
    case Status::kTruncated: return QAUD_CFG_ERR_TRUNCATED;
    case Status::kInvalid: return QAUD_CFG_ERR_INVALID;
  }
  return QAUD_CFG_ERR_INVALID;
}

namespace {

// A Xiph-laced length at b[*at]: a run of 255s and the byte that ends it. False when the block
// ends first or the length passes the block's.
bool ReadXiphLength(const uint8_t* b, uint32_t length, uint32_t* at, uint32_t* value) {
  uint32_t sum = 0;
  while (*at < length) {
    const uint8_t part = b[(*at)++];
    sum += part;
    if (sum > length) return false;
    if (part != 255) {
      *value = sum;
      return true;
    }
  }
  return false;
}

}  // namespace

bool qaud_vorbis_headers(const uint8_t* b, uint32_t length, QAUD_VORBIS_HEADERS* out) {
  if (!b || length < 4 || b[0] != 2) return false;
  uint32_t at = 1;
  uint32_t id_length = 0;
  uint32_t comment_length = 0;
  if (!ReadXiphLength(b, length, &at, &id_length) ||
      !ReadXiphLength(b, length, &at, &comment_length)) {
    return false;
  }
  const uint32_t id_start = at;
  // Both headers and at least the setup header's first byte lie in the block.
  if (id_length == 0 || id_length >= length - id_start ||
      comment_length >= length - id_start - id_length) {
    return false;
  }
  const uint32_t comment_start = id_start + id_length;
  const uint32_t setup_start = comment_start + comment_length;
  if (b[id_start] != 1 || b[comment_start] != 3 || b[setup_start] != 5) return false;
  *out = QAUD_VORBIS_HEADERS{{b + id_start, b + comment_start, b + setup_start},
                             {id_length, comment_length, length - setup_start}};
  return true;
}
