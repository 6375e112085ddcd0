// The keys of the track and file formats the extractor publishes: what a decoder needs
// (MIME, codec-specific data, sizes, rates), what a player shows (language, name, tags), and our
// own keys that explain a track the device cannot play.
#include <android-base/properties.h>
#include <android/binder_ibinder.h>
#include <media/stagefright/MediaDefs.h>
#include <media/stagefright/foundation/ColorUtils.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <string>

#include "common/qcmn_audcfg.h"
#include "common/qcmn_formatkeys.h"
#include "common/qcmn_fourcc.h"
#include "common/qcmn_log.h"
#include "common/qcmn_mimetypes.h"
#include "common/qcmn_mt.h"
#include "demux/qmkvd.h"
#include "qmkv_extractor.h"
#include "qmkv_extractor_internal.h"

namespace android {

namespace {

// Cover art larger than this is left out: no picture a player shows needs more.
const uint64_t kMaxAlbumArt = 16u << 20;

bool IsCoverImageType(const char* mime) {
  return strcmp(mime, "image/jpeg") == 0 || strcmp(mime, "image/png") == 0;
}

// The attachment that is the file's cover art: the first JPEG or PNG whose name starts with
// "cover" (in any case), else the first image of any type; -1 when there is none. Attachments
// with no data or too large are not candidates.
int32_t CoverArtIndex(const QMKVD_ATTACHMENTS& attached) {
  int32_t first_image = -1;
  const uint32_t count =
      attached.count < QMKVD_MAX_ATTACHMENTS ? attached.count : QMKVD_MAX_ATTACHMENTS;
  for (uint32_t i = 0; i < count; ++i) {
    const QMKVD_ATTACHMENT& f = attached.files[i];
    if (f.data_pos <= 0 || f.data_size == 0 || f.data_size > kMaxAlbumArt) continue;
    if (strncmp(f.mime, "image/", 6) != 0) continue;
    if (IsCoverImageType(f.mime) && strncasecmp(f.name, "cover", 5) == 0) {
      return static_cast<int32_t>(i);
    }
    if (first_image < 0) first_image = static_cast<int32_t>(i);
  }
  return first_image;
}

constexpr uid_t kMediaServerUid = 1013;
constexpr int64_t kIsoUnspecified = 2;
constexpr uint8_t kAvcNalPps = 8;

// Float PCM only for the media server, and only when the device asks for it.
int32_t PcmEncodingFor(uint32_t bits) {
  if (bits <= 16) return QMKV_PCM_16BIT;
  if (AIBinder_getCallingUid() == kMediaServerUid &&
      android::base::GetBoolProperty("media.extractor.float", false)) {
    return QMKV_PCM_FLOAT;
  }
  return QMKV_PCM_16BIT;
}

const char* MimeOr(uint32_t code, const char* unknown) {
  const char* mime = FourCC2MIME(code);
  return strcasecmp(mime, QCMN_MIMETYPE_UNKNOWN) == 0 ? unknown : mime;
}

void SetName(AMediaFormat* format, const char* name, uint32_t length) {
  if (name && length >= 1)
    AMediaFormat_setBuffer(format, AMEDIAFORMAT_KEY_TRACK_NAME, name, length);
}

bool IsWholeBlockAudio(uint32_t code) {
  switch (code) {
    case QCMN_TAG_MS_ADPCM:
    case QCMN_TAG_IMA_ADPCM:
    case QCMN_TAG_AAC:
    case QCMN_TAG_FLAC:
    case QCMN_TAG_WMA1:
    case QCMN_TAG_WMA2:
    case QCMN_TAG_WMA_PRO:
    case QCMN_TAG_WMA_LOSSLESS:
    case QCMN_TAG_DTS: return true;
    default: return false;
  }
}

// The identification header of a Vorbis CodecPrivate becomes csd-0 and the setup header csd-1.
// -1003 when the block is not three Vorbis headers.
int32_t SetVorbisCsd(AMediaFormat* format, const uint8_t* b, uint32_t length) {
  if (length < 4 || b[0] != 2) {
    qcmn_log(QCMN_LOG_DEBUG, QCMN_TAG_FRONTEND, "buf[0] != 0x02");
    return QMKV_ERROR_CONFIG;
  }
  QAUD_VORBIS_HEADERS headers;
  if (!qaud_vorbis_headers(b, length, &headers)) {
    qcmn_log(QCMN_LOG_DEBUG, QCMN_TAG_FRONTEND, "vorbis csd is malformed");
    return QMKV_ERROR_CONFIG;
  }
  AMediaFormat_setBuffer(format, AMEDIAFORMAT_KEY_CSD_0, headers.part[0], headers.length[0]);
  AMediaFormat_setBuffer(format, AMEDIAFORMAT_KEY_CSD_1, headers.part[2], headers.length[2]);
  return 0;
}

// Sequence parameters before the first picture parameter set go to csd-0, the rest to csd-1.
void SetAvcCsd(AMediaFormat* format, const uint8_t* b, uint32_t length) {
  for (uint32_t p = 0; p + 5 <= length; ++p) {
    if (b[p] == 0 && b[p + 1] == 0 && b[p + 2] == 0 && b[p + 3] == 1 &&
        (b[p + 4] & 0x1F) == kAvcNalPps) {
      AMediaFormat_setBuffer(format, AMEDIAFORMAT_KEY_CSD_0, b, p);
      AMediaFormat_setBuffer(format, AMEDIAFORMAT_KEY_CSD_1, b + p, length - p);
      return;
    }
  }
}

int32_t IsoValue(int64_t value) {
  return (value == QMKVD_COLOUR_ABSENT || value < INT32_MIN || value > INT32_MAX)
             ? static_cast<int32_t>(kIsoUnspecified)
             : static_cast<int32_t>(value);
}

// Matroska's Range: 1 broadcast (limited), 2 full; absent, 0 (unspecified) and 3 (as the
// matrix and transfer say) publish no range, so that the decoder's own reading stands.
constexpr int64_t kRangeLimited = 1;
constexpr int64_t kRangeFull = 2;

int32_t ClampToInt32(uint64_t value) {
  return value > INT32_MAX ? INT32_MAX : static_cast<int32_t>(value);
}

uint64_t Gcd(uint64_t a, uint64_t b) {
  while (b != 0) {
    const uint64_t r = a % b;
    a = b;
    b = r;
  }
  return a;
}

// The display size the file states, and the sample aspect ratio it makes with the picture's
// size when that is not square (both kept below 2^31, reduced).
void SetDisplaySize(AMediaFormat* format, const QMKVD_VIDEO_INFO& info) {
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_DISPLAY_WIDTH, ClampToInt32(info.display_width));
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_DISPLAY_HEIGHT, ClampToInt32(info.display_height));
  if (info.width == 0 || info.height == 0 || info.display_width == 0 || info.display_height == 0) {
    return;
  }
  uint64_t sar_w = uint64_t{info.display_width} * info.height;  // below 2^64
  uint64_t sar_h = uint64_t{info.display_height} * info.width;
  const uint64_t divisor = Gcd(sar_w, sar_h);
  sar_w /= divisor;
  sar_h /= divisor;
  if (sar_w == sar_h || sar_w > INT32_MAX || sar_h > INT32_MAX) return;
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_SAR_WIDTH, static_cast<int32_t>(sar_w));
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_SAR_HEIGHT, static_cast<int32_t>(sar_h));
}

void SetColourAspects(AMediaFormat* format, const QMKVD_COLOUR& c) {
  int32_t range = 0, standard = 0, transfer = 0;
  ColorUtils::convertIsoColorAspectsToPlatformAspects(
      IsoValue(c.primaries), IsoValue(c.transfer_characteristics), IsoValue(c.matrix_coefficients),
      c.range == kRangeFull, &range, &standard, &transfer);
  const bool range_stated = c.range == kRangeLimited || c.range == kRangeFull;
  if (range_stated && range != 0) {
    AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_COLOR_RANGE, range);
  }
  if (standard != 0) AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_COLOR_STANDARD, standard);
  if (transfer != 0) AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_COLOR_TRANSFER, transfer);
}

uint16_t Scaled(float value, float scale) {
  return static_cast<uint16_t>(value * scale + 0.5f);
}

bool InUnit(const QMKVD_CHROMATICITY* c) {
  return c && c->x >= 0.0f && c->x <= 1.0f && c->y >= 0.0f && c->y <= 1.0f;
}

void SetPrimary(HDRStaticInfo::Primaries1* out, const QMKVD_CHROMATICITY* c) {
  out->x = Scaled(c->x, 50000.0f);
  out->y = Scaled(c->y, 50000.0f);
}

void FillMastering(const QMKVD_MASTERING& m, HDRStaticInfo::Type1* t) {
  if (m.luminance_max >= 0.5f && m.luminance_max < 65535.5f) {
    t->mMaxDisplayLuminance = Scaled(m.luminance_max, 1.0f);
  }
  if (m.luminance_min >= 0.00005f && m.luminance_min < 6.55355f) {
    t->mMinDisplayLuminance = Scaled(m.luminance_min, 10000.0f);
  }
  if (InUnit(m.white_point)) SetPrimary(&t->mW, m.white_point);
  if (InUnit(m.red) && InUnit(m.green) && InUnit(m.blue)) {
    SetPrimary(&t->mR, m.red);
    SetPrimary(&t->mG, m.green);
    SetPrimary(&t->mB, m.blue);
  }
}

void SetHdrStaticInfo(AMediaFormat* format, const QMKVD_COLOUR& c) {
  HDRStaticInfo info;
  memset(&info, 0, sizeof(info));
  info.mID = HDRStaticInfo::kType1;
  HDRStaticInfo::Type1* t = &info.sType1;
  if (c.max_cll >= 0 && c.max_cll <= 65535) t->mMaxContentLightLevel = c.max_cll;
  if (c.max_fall >= 0 && c.max_fall <= 65535) t->mMaxFrameAverageLightLevel = c.max_fall;
  if (c.mastering) FillMastering(*c.mastering, t);
  static const HDRStaticInfo kEmpty = {};
  if (memcmp(&info, &kEmpty, sizeof(info)) != 0) {
    ColorUtils::setHDRStaticInfoIntoAMediaFormat(info, format);
  }
}

// One entry of the file's tag record, in the order the file format lists them.
struct FileTag {
  const char* key;
  bool integer;
  int32_t slot;  // text slot of the demuxer's metadata (1-based); 0 none
};

}  // namespace

void QMKVExtractor::setCommonKeys(AMediaFormat* format, int32_t status, uint32_t code) {
  AMediaFormat_setInt64(format, AMEDIAFORMAT_KEY_DURATION,
                        qmkvd_time_to_us(mHolder->mInfo.duration));
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_ALLOW_FRAME_REORDERING, 1);
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_ERROR_TYPE, status);
  if (status == QMKV_ERROR_UNSUPPORTED) {
    AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_TRACK_FOURCC, static_cast<int32_t>(code));
    AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_ERROR_LOGGABLE, 1);
  }
}

void QMKVExtractor::setSubtitleKeys(AMediaFormat* format, int32_t slot) {
  const QMKVD_TEXT_INFO& info = mHolder->mTextInfo[slot];
  AMediaFormat_setString(format, AMEDIAFORMAT_KEY_MIME, FourCC2MIME(info.codec_tag));
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_FOURCC, static_cast<int32_t>(info.codec_tag));
  AMediaFormat_setString(format, AMEDIAFORMAT_KEY_LANGUAGE, info.language);
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_MAX_INPUT_SIZE, QMKV_MAX_INPUT_TEXT);
  SetName(format, info.name, info.name_length);
}

int32_t QMKVExtractor::setAudioKeys(AMediaFormat* format, int32_t index, int32_t slot,
                                    int32_t status, int32_t aac_profile) {
  const QMKVD_AUDIO_INFO& info = mHolder->mAudioInfo[slot];
  const uint32_t code = info.codec_tag;
  const uint32_t bits = info.bits_per_sample ? info.bits_per_sample : 16;
  AMediaFormat_setString(format, AMEDIAFORMAT_KEY_MIME, MimeOr(code, QCMN_MIMETYPE_AUDIO_UNKNOWN));
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_FOURCC, static_cast<int32_t>(code));
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_CHANNEL_COUNT,
                        static_cast<int32_t>(info.channels));
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_SAMPLE_RATE,
                        static_cast<int32_t>(info.sampling_frequency));
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_BITS_PER_SAMPLE, static_cast<int32_t>(bits));
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_PCM_ENCODING, PcmEncodingFor(bits));
  AMediaFormat_setString(format, AMEDIAFORMAT_KEY_LANGUAGE, info.language);
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_MAX_INPUT_SIZE, QMKV_MAX_INPUT_AUDIO);
  AMediaFormat_setInt64(format, AMEDIAFORMAT_KEY_DURATION,
                        qmkvd_time_to_us(mHolder->mInfo.duration));
  SetName(format, info.name, info.name_length);
  if (aac_profile >= 0) AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_AAC_PROFILE, aac_profile);

  uint32_t length = 0;
  uint8_t* block = QmkvFetchFormat(mHolder->mDemuxer, index, &length, nullptr);
  if (IsWholeBlockAudio(code)) {
    if (length >= 1) AMediaFormat_setBuffer(format, AMEDIAFORMAT_KEY_CSD_0, block, length);
  } else if (code == QCMN_TAG_VORBIS || code == 0x6751) {
    if (SetVorbisCsd(format, block, block ? length : 0) != 0) {
      status = QMKV_ERROR_CONFIG;
      AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_ERROR_TYPE, status);
    }
  } else if (code == qcmn_fourcc("Opus")) {
    if (length >= 1) AMediaFormat_setBuffer(format, AMEDIAFORMAT_KEY_CSD_0, block, length);
    AMediaFormat_setBuffer(format, AMEDIAFORMAT_KEY_CSD_1, &info.codec_delay,
                           sizeof(info.codec_delay));
    AMediaFormat_setBuffer(format, AMEDIAFORMAT_KEY_CSD_2, &info.seek_pre_roll,
                           sizeof(info.seek_pre_roll));
  }
  free(block);
  return status;
}

void QMKVExtractor::setVideoKeys(AMediaFormat* format, int32_t index, int32_t slot, int32_t status,
                                 int32_t max_input_size) {
  const QMKVD_VIDEO_INFO& info = mHolder->mVideoInfo[slot];
  const uint32_t code = info.codec_tag;
  const char* mime = MimeOr(code, QCMN_MIMETYPE_VIDEO_UNKNOWN);
  AMediaFormat_setString(format, AMEDIAFORMAT_KEY_MIME, mime);
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_FOURCC, static_cast<int32_t>(code));
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_WIDTH, static_cast<int32_t>(info.width));
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_HEIGHT, static_cast<int32_t>(info.height));
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_MAX_INPUT_SIZE, max_input_size);
  AMediaFormat_setInt64(format, AMEDIAFORMAT_KEY_DURATION,
                        qmkvd_time_to_us(mHolder->mInfo.duration));
  SetDisplaySize(format, info);
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_FRAME_RATE, static_cast<int32_t>(info.frame_rate));
  AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_IS_MP4_DP, mHolder->mIsMp4Dp[slot]);
  if (status == 0) setIFrameInterval(format, index);
  if (code != qcmn_fourcc("VP80")) {
    uint32_t length = 0;
    uint8_t* block = QmkvFetchFormat(mHolder->mDemuxer, index, &length, nullptr);
    if (block && length >= 1) {
      if (strcmp(mime, MEDIA_MIMETYPE_VIDEO_AVC) == 0) {
        SetAvcCsd(format, block, length);
      } else {
        AMediaFormat_setBuffer(format, AMEDIAFORMAT_KEY_CSD_0, block, length);
      }
    }
    free(block);
  }
  if (info.colour) {
    SetColourAspects(format, *info.colour);
    SetHdrStaticInfo(format, *info.colour);
  }
}

// The average distance between key frames, from the cues' key-frame index.
void QMKVExtractor::setIFrameInterval(AMediaFormat* format, int32_t index) {
  // The index comes from the cues, which a source's seek may be judging at the same time.
  SharedStateLock shared(mHolder.get());
  uint32_t bytes = 0, entries = 0;
  if (qmkvd_get_idx_table(mHolder->mDemuxer, index, nullptr, 0, &bytes, &entries) != 0) return;
  if (entries == 0 || bytes == 0 || bytes > INT32_MAX) return;
  void* table = malloc(bytes);
  if (!table) return;
  if (qmkvd_get_idx_table(mHolder->mDemuxer, index, table, static_cast<int32_t>(bytes), &bytes,
                          &entries) == 0 &&
      entries > 0) {
    const int64_t interval =
        qmkvd_time_to_us(mHolder->mInfo.duration / static_cast<int64_t>(entries));
    AMediaFormat_setInt64(format, AMEDIAFORMAT_KEY_I_FRAME_AVG_INTERVAL, interval);
  }
  free(table);
}

void QMKVExtractor::setFileMetaData() {
  // The demuxer's text slots: 1 title, 2 artist, 3 album, 4 genre or comment, 7 composer,
  // 8 writer, 9 release date. Track and disc numbers, album artist, author and compilation
  // have no Matroska tag we read.
  static const FileTag kTags[] = {
      {AMEDIAFORMAT_KEY_CDTRACKNUMBER, true, 0}, {AMEDIAFORMAT_KEY_DISCNUMBER, true, 0},
      {AMEDIAFORMAT_KEY_ALBUM, false, 3},        {AMEDIAFORMAT_KEY_ARTIST, false, 2},
      {AMEDIAFORMAT_KEY_ALBUMARTIST, false, 0},  {AMEDIAFORMAT_KEY_AUTHOR, false, 0},
      {AMEDIAFORMAT_KEY_COMPOSER, false, 7},     {AMEDIAFORMAT_KEY_DATE, false, 9},
      {AMEDIAFORMAT_KEY_GENRE, false, 4},        {AMEDIAFORMAT_KEY_TITLE, false, 1},
      {AMEDIAFORMAT_KEY_YEAR, true, 0},          {AMEDIAFORMAT_KEY_WRITER, false, 8},
      {AMEDIAFORMAT_KEY_COMPILATION, true, 0},
  };
  const QMKVD_METADATA* meta = mHolder->mInfo.metadata;
  if (!meta) return;
  std::string encodings;
  for (const FileTag& tag : kTags) {
    if (tag.integer) {
      // Only the year is known; 0 means the file has no date.
      const int32_t value = (tag.key == AMEDIAFORMAT_KEY_YEAR && meta->year > 0) ? meta->year : -1;
      if (value < 0) continue;
      char text[16];
      snprintf(text, sizeof(text), "%d", value);
      AMediaFormat_setString(mFileMeta, tag.key, text);
      continue;
    }
    if (tag.slot == 0) continue;
    const QMKVD_METADATA_SLOT& s = meta->slots[tag.slot - 1];
    if (s.length == 0 || !s.text) continue;
    const uint32_t encoding = s.kind;
    AMediaFormat_setString(
        mFileMeta, tag.key,
        encoding == QMKVD_TEXT_ENCODING_PLAIN
            ? std::string(reinterpret_cast<const char*>(s.text), s.length).c_str()
            : "");
    if (encoding >= QMKVD_TEXT_ENCODING_FIRST && encoding <= QMKVD_TEXT_ENCODING_PLAIN) {
      encodings +=
          std::string(tag.key) + "=" + std::to_string(encoding - QMKVD_TEXT_ENCODING_FIRST) + ":";
    }
  }
  if (!encodings.empty()) {
    AMediaFormat_setString(mFileMeta, AMEDIAFORMAT_KEY_CHAR_ENCODING_TYPES, encodings.c_str());
  }
}

void QMKVExtractor::setAlbumArt() {
  const QMKVD_ATTACHMENTS& attached = mHolder->mDemuxer->attached;
  const int32_t index = CoverArtIndex(attached);
  if (index < 0) return;
  const QMKVD_ATTACHMENT& file = attached.files[index];
  QCMN_MFAL* mfal = &mHolder->mMfal;
  QCMN_MFAL_FILE* fp = mfal->open(mfal, 0);
  if (!fp) return;
  int64_t file_size = 0;
  mfal->getsize(fp, &file_size);
  uint8_t* bytes = nullptr;
  // The data must lie in the file: a size the file cannot hold is not allocated.
  if (file_size <= 0 || file.data_pos > file_size ||
      file.data_size > static_cast<uint64_t>(file_size - file.data_pos)) {
    qcmn_log(QCMN_LOG_WARN, QCMN_TAG_FRONTEND, "cover art \"%s\" lies past the end of the file",
             file.name);
  } else if ((bytes = static_cast<uint8_t*>(malloc(file.data_size))) != nullptr) {
    const int64_t at = file.data_pos;
    const int size = static_cast<int>(file.data_size);
    if (mfal->setpos(fp, &at) == 0 && mfal->read(fp, bytes, size) == size) {
      AMediaFormat_setBuffer(mFileMeta, AMEDIAFORMAT_KEY_ALBUMART, bytes, file.data_size);
    }
    free(bytes);
  }
  mfal->close(fp);
}

}  // namespace android
