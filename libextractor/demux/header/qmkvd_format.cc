// Codec-configuration blocks: the track's CodecPrivate as a decoder wants it. Length-prefixed
// AVC and HEVC parameter sets become start-code units, MPEG layer 3 and AAC without private data
// get a synthesised block, WAVEFORMATEX keeps its extra data; the rest is copied.
#include <string.h>

#include "common/qcmn_audcfg.h"
#include "common/qcmn_fourcc.h"
#include "common/qcmn_log.h"
#include "demux/header/qmkvd_format.h"
#include "demux/qmkvd_status.h"

namespace {

const uint8_t kStartCode[4] = {0, 0, 0, 1};
const uint32_t kStartCodeSize = sizeof(kStartCode);
// A HEVC block never grows past this.
const uint64_t kMaxHevcBlock = 0x7FFFFFFB;

// Where a block is written: counts bytes always, copies them only when there is a buffer, and
// never past its capacity.
class BlockWriter {
 public:
  BlockWriter(uint8_t* buffer, uint32_t capacity) : buffer_(buffer), capacity_(capacity) {}
  bool has_buffer() const { return buffer_ != nullptr; }
  uint64_t length() const { return length_; }
  // False when the bytes do not fit the buffer (nothing is then written).
  bool Append(const uint8_t* bytes, uint64_t count) {
    if (buffer_) {
      if (length_ + count > capacity_) return false;
      if (count > 0) memcpy(buffer_ + length_, bytes, static_cast<size_t>(count));
    }
    length_ += count;
    return true;
  }
  bool AppendUnit(const uint8_t* unit, uint64_t count) {
    return Append(kStartCode, kStartCodeSize) && Append(unit, count);
  }

 private:
  uint8_t* buffer_;
  uint32_t capacity_;
  uint64_t length_ = 0;
};

uint32_t Be16(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) << 8 | p[1];
}

// A stored CodecID that is a leading part of the literal (even an empty one) names it: the
// comparison runs over the stored ID's length.
bool StoredIdIsPrefixOf(const QMKVD_TRACK* t, const char* literal) {
  return strncmp(literal, t->codec_id, strnlen(t->codec_id, sizeof(t->codec_id))) == 0;
}

// The stored CodecID begins with the literal.
bool StoredIdStartsWith(const QMKVD_TRACK* t, const char* literal) {
  return strncmp(t->codec_id, literal, strlen(literal)) == 0;
}

// --- AVC: the first SPS and the first PPS of the avcC record ---------------------------------

// Walks `count` length-prefixed units from *at; the first goes to the block. False when one
// runs past the record or does not fit.
bool TakeFirstUnit(const uint8_t* p, uint64_t size, uint64_t* at, uint32_t count,
                   BlockWriter* out) {
  for (uint32_t i = 0; i < count; ++i) {
    if (*at + 2 > size) return false;
    const uint32_t length = Be16(p + *at);
    *at += 2;
    if (*at + length > size) return false;
    if (i == 0 && !out->AppendUnit(p + *at, length)) return false;
    *at += length;
  }
  return true;
}

uint64_t AvcBlock(const QMKVD_TRACK* t, BlockWriter* out) {
  const uint8_t* p = t->codec_private;
  const uint64_t size = t->codec_private_size;
  if (!p || size < 8) return 0;
  uint64_t at = 6;
  if (!TakeFirstUnit(p, size, &at, p[5] & 0x1F, out)) return 0;
  if (at >= size) return 0;  // no byte left for the PPS count
  const uint32_t pps_count = p[at++];
  if (!TakeFirstUnit(p, size, &at, pps_count, out)) return 0;
  return out->length();
}

// --- HEVC: every unit of every array of the hvcC record --------------------------------------

const uint64_t kHevcHeader = 23;

// How the walk over the arrays ended: at their end (or where too little was left to go on), on
// a unit that runs past the record, or on a buffer too small.
enum class HevcEnd { kComplete, kBroken, kNoRoom };

HevcEnd HevcUnits(const uint8_t* p, uint64_t size, BlockWriter* out) {
  uint64_t at = kHevcHeader;
  const uint32_t arrays = p[kHevcHeader - 1];
  for (uint32_t a = 0; a < arrays; ++a) {
    if (size - at < 4) return HevcEnd::kComplete;
    at += 1;  // NAL unit type
    if (size - at < 3) return HevcEnd::kComplete;
    const uint32_t units = Be16(p + at);
    at += 2;
    for (uint32_t u = 0; u < units; ++u) {
      if (size - at <= 2) return HevcEnd::kComplete;
      const uint32_t length = Be16(p + at);
      at += 2;
      if (length > size - at) return HevcEnd::kBroken;
      if (length == 0) continue;
      if (out->length() + kStartCodeSize + length > kMaxHevcBlock) return HevcEnd::kBroken;
      if (!out->AppendUnit(p + at, length)) return HevcEnd::kNoRoom;
      at += length;
    }
  }
  return HevcEnd::kComplete;
}

// --- Audio --------------------------------------------------------------------------------------

const uint32_t kMp3BlockLength = 12;
const uint32_t kWaveFormatExSize = 18;
const uint32_t kBitmapInfoHeaderSize = 40;
const uint32_t kAacConfigLength = 2;

bool IsWindowsMediaAudio(uint32_t codec_tag) {
  return (codec_tag & ~3u) == 0x160;
}

bool IsAacWithoutPrivate(const QMKVD_TRACK* t) {
  return StoredIdStartsWith(t, "A_AAC/MPEG2/LC") || StoredIdStartsWith(t, "A_AAC/MPEG4/LC");
}

// --- Results ------------------------------------------------------------------------------------

// Reports a block of `length` bytes: its length, and whether it fitted a given buffer.
int32_t Report(uint32_t* size, uint64_t length, bool has_buffer, uint32_t capacity) {
  *size = static_cast<uint32_t>(length);
  return has_buffer && length > capacity ? QMKVD_ERR_READ : QMKVD_OK;
}

// The CodecPrivate bytes from `offset` on, copied whole: nothing is written to a buffer they
// do not fit.
int32_t CopyPrivate(const QMKVD_TRACK* t, uint32_t offset, uint8_t* buffer, uint32_t* size) {
  const uint32_t length = t->codec_private_size > offset ? t->codec_private_size - offset : 0;
  const uint32_t capacity = *size;
  if (buffer && length > 0 && length <= capacity) {
    memcpy(buffer, t->codec_private + offset, length);
  }
  return Report(size, length, buffer != nullptr, capacity);
}

int32_t Mp3Block(QMKVD_CTX* ctx, const QMKVD_TRACK* t, uint8_t* buffer, uint32_t* size) {
  const uint32_t capacity = *size;
  *size = kMp3BlockLength;
  if (!buffer) return QMKVD_OK;
  // The block is written whole or not at all: a buffer too small for it gets nothing.
  if (capacity < kMp3BlockLength) return QMKVD_ERR_READ;
  uint16_t block_size = 0;
  bool has_size = false;
  if (!qmkvd_mp3_block_size(ctx, t, &block_size, &has_size)) return QMKVD_OK;
  const uint8_t head[6] = {1, 0, 0, 0, 0, 0};  // identifier 1, flags 0 (little-endian)
  memcpy(buffer, head, sizeof(head));
  if (has_size) {
    buffer[6] = static_cast<uint8_t>(block_size);
    buffer[7] = static_cast<uint8_t>(block_size >> 8);
  }
  return QMKVD_OK;
}

int32_t AacBlock(const QMKVD_TRACK* t, uint8_t* buffer, uint32_t* size) {
  const uint32_t capacity = *size;
  const int32_t index = get_aac_frequency_index(t->audio.sampling_frequency);
  if (index < 0) {
    qcmn_log(QCMN_LOG_WARN, QCMN_TAG_DEMUX,
             "get_aac_default_format(): warning! frequency %d not supported",
             static_cast<int>(t->audio.sampling_frequency));
    *size = 0;
    return QMKVD_OK;
  }
  *size = kAacConfigLength;
  if (!buffer) return QMKVD_OK;
  if (capacity < kAacConfigLength) return QMKVD_ERR_READ;
  const uint32_t kAacLowComplexity = 2;
  buffer[0] = static_cast<uint8_t>(kAacLowComplexity << 3 | static_cast<uint32_t>(index) >> 1);
  buffer[1] =
      static_cast<uint8_t>((static_cast<uint32_t>(index) & 1) << 7 | t->audio.channels << 3);
  return QMKVD_OK;
}

int32_t VideoFormat(const QMKVD_TRACK* t, uint8_t* buffer, uint32_t* size) {
  const uint32_t capacity = *size;
  if (StoredIdIsPrefixOf(t, "V_MPEG4/ISO/AVC")) {
    BlockWriter out(buffer, capacity);
    *size = static_cast<uint32_t>(AvcBlock(t, &out));
    return QMKVD_OK;
  }
  if (StoredIdIsPrefixOf(t, "V_MPEGH/ISO/HEVC")) {
    const uint64_t stored = t->codec_private ? t->codec_private_size : 0;
    if (stored < kHevcHeader) return QMKVD_OK;  // the length stays as it came
    if (stored - kHevcHeader < 4) {
      *size = 0;
      return QMKVD_OK;
    }
    BlockWriter out(buffer, capacity);
    // A walk that stops short leaves the length as it came.
    switch (HevcUnits(t->codec_private, stored, &out)) {
      case HevcEnd::kBroken: return QMKVD_OK;
      case HevcEnd::kNoRoom: return QMKVD_ERR_READ;
      case HevcEnd::kComplete: break;
    }
    return Report(size, out.length(), buffer != nullptr, capacity);
  }
  // A BITMAPINFOHEADER may be followed by the codec's own configuration (an MPEG-4 visual
  // object sequence and VOL when the source had global headers): that is the codec data.
  if (StoredIdIsPrefixOf(t, "V_MS/VFW/FOURCC")) {
    if (t->codec_private_size > kBitmapInfoHeaderSize) {
      return CopyPrivate(t, kBitmapInfoHeaderSize, buffer, size);
    }
    *size = 0;
    return QMKVD_OK;
  }
  if (StoredIdIsPrefixOf(t, "V_MPEG4/MS/V3")) {
    *size = 0;
    return QMKVD_OK;
  }
  return CopyPrivate(t, 0, buffer, size);
}

int32_t AudioFormat(QMKVD_CTX* ctx, const QMKVD_TRACK* t, uint32_t codec_tag, uint8_t* buffer,
                    uint32_t* size) {
  if (StoredIdIsPrefixOf(t, "A_MPEG/L3")) return Mp3Block(ctx, t, buffer, size);
  if (StoredIdIsPrefixOf(t, "A_MS/ACM")) {
    const bool whole = t->codec_private_size < kWaveFormatExSize || IsWindowsMediaAudio(codec_tag);
    return CopyPrivate(t, whole ? 0 : kWaveFormatExSize, buffer, size);
  }
  if (IsAacWithoutPrivate(t)) return AacBlock(t, buffer, size);
  return CopyPrivate(t, 0, buffer, size);
}

int32_t TextFormat(const QMKVD_TRACK* t, uint32_t codec_tag, uint8_t* buffer, uint32_t* size) {
  // Only the ASS and SSA script headers are codec data; other subtitles have none.
  if (codec_tag != qcmn_fourcc("SASS") && codec_tag != qcmn_fourcc("SSSA")) return QMKVD_OK;
  return CopyPrivate(t, 0, buffer, size);
}

}  // namespace

int32_t get_aac_frequency_index(uint32_t frequency) {
  // The configuration made for an AAC track without one names 96000 to 8000 Hz; a 7350 Hz
  // track is left without.
  constexpr int32_t kLastMadeIndex = 11;
  const int32_t index = qaud_aac_rate_index(frequency);
  return index <= kLastMadeIndex ? index : -1;
}

int32_t qmkvd_get_format(QMKVD_CTX* ctx, int32_t track, uint8_t* buffer, uint32_t* size) {
  if (!ctx || track < 0 || ctx->check != QMKVD_CHECK || !size || track >= ctx->stream_count) {
    return QMKVD_ERR_HANDLE;
  }
  const QMKVDS_CTX& s = ctx->streams[track];
  switch (s.track.type) {
    case QMKVD_TRACK_VIDEO: return VideoFormat(&s.track, buffer, size);
    case QMKVD_TRACK_AUDIO: return AudioFormat(ctx, &s.track, s.codec_tag, buffer, size);
    case QMKVD_TRACK_TEXT: return TextFormat(&s.track, s.codec_tag, buffer, size);
    default: return QMKVD_OK;
  }
}

int32_t qmkvds_get_format(QMKVDS_CTX* s, uint8_t* buffer, uint32_t* size) {
  if (!s || s->check != QMKVDS_CHECK) return QMKVD_ERR_HANDLE;
  if (!s->open) return QMKVD_ERR_NOT_FOUND;
  return qmkvd_get_format(s->owner, s->index, buffer, size);
}
