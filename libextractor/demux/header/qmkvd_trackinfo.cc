// The per-kind summary records of a track, as the front end describes it to the framework.
#include <string.h>

#include "common/qcmn_mt.h"
#include "demux/ebml/qmkvd_util.h"
#include "demux/header/qmkvd_format.h"
#include "demux/qmkvd_status.h"

namespace {

const uint32_t kDefaultBitsPerSample = 16;

// The track of a checked context and index, or null after the argument checks fail.
const QMKVDS_CTX* StreamOf(const QMKVD_CTX* ctx, int32_t track, const void* info) {
  if (!ctx || track < 0 || ctx->check != QMKVD_CHECK || track >= ctx->stream_count || !info) {
    return nullptr;
  }
  return &ctx->streams[track];
}

// The first three characters of the language and a zero byte.
void CopyLanguage(const QMKVD_TRACK& t, char out[4]) {
  memset(out, 0, 4);
  memcpy(out, t.language, strnlen(t.language, 3));
}

uint32_t NameLength(const QMKVD_TRACK& t) {
  return static_cast<uint32_t>(strnlen(t.name, sizeof(t.name)));
}

// The language and the borrowed name, which audio and text records carry alike.
template <typename Info>
void SetLanguageAndName(const QMKVD_TRACK& t, Info* info) {
  CopyLanguage(t, info->language);
  info->name_encoding = QMKVD_TEXT_ENCODING_PLAIN;
  info->name_length = NameLength(t);
  info->name = t.name;
}

// Frames in the Segment's duration at the track's default duration, truncated to 32 bits.
uint32_t FrameCount(const QMKVD_CTX* ctx, const QMKVD_TRACK& t) {
  if (t.default_duration == 0) return 0;
  uint64_t duration_ns = 0;
  if (__builtin_mul_overflow(ctx->info.duration_int, ctx->info.timecode_scale, &duration_ns)) {
    duration_ns = UINT64_MAX;
  }
  return static_cast<uint32_t>(duration_ns / t.default_duration);
}

// width * height * 3 / 2, the size of a 4:2:0 picture; a picture too large for 32 bits gets the
// largest size that fits.
int32_t MaxFrameSize(uint32_t width, uint32_t height) {
  const uint64_t pixels = static_cast<uint64_t>(width) * height;  // below 2^64
  if (pixels > INT32_MAX / 3) return INT32_MAX / 2;
  return static_cast<int32_t>(pixels * 3 / 2);
}

enum : uint32_t { kDisplayUnitPixels = 0, kDisplayUnitAspectRatio = 3 };

// DisplayWidth and DisplayHeight in pixels (unit 0) are the display size; in centimetres,
// inches or as an aspect ratio (1 to 3) they give the shape, and the picture keeps its height.
// An unknown unit, a missing or zero dimension, or a picture without a size shows as stored.
void SetDisplaySize(const QMKVD_VIDEO& v, QMKVD_VIDEO_INFO* info) {
  info->display_width = v.pixel_width;
  info->display_height = v.pixel_height;
  if (v.display_width == 0 || v.display_height == 0 || v.display_unit > kDisplayUnitAspectRatio) {
    return;
  }
  if (v.display_unit == kDisplayUnitPixels) {
    info->display_width = v.display_width;
    info->display_height = v.display_height;
    return;
  }
  if (v.pixel_height == 0) return;
  const uint64_t width =
      (uint64_t{v.pixel_height} * v.display_width + v.display_height / 2) / v.display_height;
  info->display_width = width > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(width);
}

// What every summary starts with: cleared, then the track's number and code, present.
template <typename Info>
void FillCommon(const QMKVDS_CTX* s, Info* info) {
  memset(info, 0, sizeof(*info));
  info->track_number = s->track.number;
  info->codec_tag = s->codec_tag;
  info->present = 1;
}

// A stream form: the handle's own checks, then the file form on its context.
template <typename Info, typename FileForm>
int32_t ForStream(QMKVDS_CTX* s, Info* info, FileForm file_form) {
  if (!s || s->check != QMKVDS_CHECK) return QMKVD_ERR_HANDLE;
  if (!s->open) return QMKVD_ERR_NOT_FOUND;
  return file_form(s->owner, s->index, info);
}

}  // namespace

int32_t qmkvd_get_info_vid(QMKVD_CTX* ctx, int32_t track, QMKVD_VIDEO_INFO* info) {
  const QMKVDS_CTX* s = StreamOf(ctx, track, info);
  if (!s) return QMKVD_ERR_HANDLE;
  const QMKVD_TRACK& t = s->track;
  FillCommon(s, info);
  info->width = t.video.pixel_width;
  info->height = t.video.pixel_height;
  info->max_frame_size = MaxFrameSize(info->width, info->height);
  info->frame_count = FrameCount(ctx, t);
  info->frame_rate =
      t.default_duration
          ? static_cast<uint32_t>(static_cast<uint64_t>(QMKVD_NS_PER_SECOND) / t.default_duration)
          : 0;
  info->media_type = static_cast<uint32_t>(qcmn_fcc2mt_vid(s->codec_tag));
  info->colour = t.video.colour;
  SetDisplaySize(t.video, info);
  return QMKVD_OK;
}

int32_t qmkvd_get_info_aud(QMKVD_CTX* ctx, int32_t track, QMKVD_AUDIO_INFO* info) {
  const QMKVDS_CTX* s = StreamOf(ctx, track, info);
  if (!s) return QMKVD_ERR_HANDLE;
  const QMKVD_TRACK& t = s->track;
  FillCommon(s, info);
  info->sampling_frequency = t.audio.sampling_frequency;
  info->bits_per_sample = t.audio.bit_depth ? t.audio.bit_depth : kDefaultBitsPerSample;
  info->channels = t.audio.channels;
  info->media_type = static_cast<uint32_t>(qcmn_fcc2mt_aud(s->codec_tag));
  SetLanguageAndName(t, info);
  info->seek_pre_roll = t.seek_pre_roll;
  info->codec_delay = t.codec_delay;
  return QMKVD_OK;
}

int32_t qmkvd_get_info_txt(QMKVD_CTX* ctx, int32_t track, QMKVD_TEXT_INFO* info) {
  const QMKVDS_CTX* s = StreamOf(ctx, track, info);
  if (!s) return QMKVD_ERR_HANDLE;
  const QMKVD_TRACK& t = s->track;
  FillCommon(s, info);
  info->media_type = static_cast<uint32_t>(qcmn_fcc2mt_sub(s->codec_tag));
  SetLanguageAndName(t, info);
  return QMKVD_OK;
}

int32_t qmkvds_get_info_vid(QMKVDS_CTX* s, QMKVD_VIDEO_INFO* info) {
  return ForStream(s, info, qmkvd_get_info_vid);
}

int32_t qmkvds_get_info_aud(QMKVDS_CTX* s, QMKVD_AUDIO_INFO* info) {
  return ForStream(s, info, qmkvd_get_info_aud);
}

int32_t qmkvds_get_info_txt(QMKVDS_CTX* s, QMKVD_TEXT_INFO* info) {
  return ForStream(s, info, qmkvd_get_info_txt);
}
