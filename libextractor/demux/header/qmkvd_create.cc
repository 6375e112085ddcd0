// Creation and deletion of the demuxer context, and the summary handed to the front end.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "common/qcmn_log.h"
#include "demux/ebml/qmkvd_util.h"
#include "demux/header/qmkvd_duration.h"
#include "demux/header/qmkvd_header.h"
#include "demux/header/qmkvd_tracks.h"
#include "demux/qmkvd_status.h"
#include "demux/read/qmkvd_framing.h"
#include "demux/read/qmkvd_stream.h"
#include "demux/seek/qmkvd_seek.h"

namespace {

// The CodecID is compared over its own length: a CodecID that is a leading part of the
// literal (even an empty one) passes, as it always has.
bool CodecIdIsPrefixOf(const QMKVD_TRACK* t, const char* literal) {
  return strncmp(literal, t->codec_id, strlen(t->codec_id)) == 0;
}

// Bytes per NAL length prefix of length-prefixed AVC and HEVC, from their configuration records.
int32_t NalLengthSize(const QMKVD_TRACK* t) {
  if (CodecIdIsPrefixOf(t, "V_MPEG4/ISO/AVC") && t->codec_private_size >= 6) {
    return (t->codec_private[4] & 3) + 1;
  }
  if (CodecIdIsPrefixOf(t, "V_MPEGH/ISO/HEVC") && t->codec_private_size >= 23) {
    return (t->codec_private[21] & 3) + 1;
  }
  return 0;
}

void SetUpStream(QMKVD_CTX* ctx, int32_t i, uint32_t flags, QMKVD_FILE_INFO* info) {
  QMKVDS_CTX* s = &ctx->streams[i];
  const QMKVD_TRACK* t = &s->track;
  s->index = i;
  s->check = QMKVDS_CHECK;
  s->owner = ctx;
  s->skip_pending = 0;
  s->key_frame_pending = 0;
  s->time_fn = get_time_pts;
  s->timecode_scale = ctx->info.timecode_scale;
  s->frame_duration = qmkvd_ns_to_time(t->default_duration);
  s->compression_algo = static_cast<int32_t>(t->encodings.first.compression.algo);
  s->stripped_bytes = t->encodings.first.compression.settings;
  s->stripped_count = static_cast<int32_t>(t->encodings.first.compression.settings_size);
  switch (t->type) {
    case QMKVD_TRACK_TEXT: info->text_count++; break;
    case QMKVD_TRACK_AUDIO: info->audio_count++; break;
    case QMKVD_TRACK_VIDEO: info->video_count++; break;
    default: break;
  }
  if (t->type == QMKVD_TRACK_TEXT || t->type == QMKVD_TRACK_AUDIO || t->type == QMKVD_TRACK_VIDEO) {
    s->kind = t->type;
    info->stream_type[i] = t->type;
  }
  if (t->type == QMKVD_TRACK_VIDEO) {
    if (t->default_duration >= 100 && !(flags & QMKVD_FLAG_PTS)) s->time_fn = get_time_dts;
    s->nal_length_size = NalLengthSize(t);
    s->key_frame_test = 1;
  }
  qmkvd_media_info(ctx, s, info, i);
  qmkvd_framing_init(t, &s->framing);
  s->read_fn = qmkvds_get_frm_default;
  if (t->type == QMKVD_TRACK_AUDIO && !support_lacing(static_cast<int32_t>(s->codec_tag))) {
    s->read_fn = qmkvds_get_frm_onebyone;
  }
}

// Duration in ticks times ns per tick, rounded to whole microseconds, in 100-ns units.
int64_t FileDuration(const QMKVD_INFO* info) {
  int64_t ns = qmkvd_double_to_i64(info->duration * static_cast<double>(info->timecode_scale));
  if (ns > INT64_MAX - 500) ns = INT64_MAX - 500;
  return (ns + 500) / 1000 * 10;
}

bool CopyText(QMKVD_METADATA_SLOT* slot, const void* text, uint32_t length) {
  uint8_t* copy = static_cast<uint8_t*>(malloc(length));
  if (!copy) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "alloc failed");
    return false;
  }
  memcpy(copy, text, length);
  slot->kind = QMKVD_TEXT_ENCODING_PLAIN;
  slot->length = length;
  slot->text = copy;
  return true;
}

// Slot (1-based) that a simple tag's name fills, or 0.
int MetadataSlotOf(const char* name) {
  static const struct {
    const char* name;
    int slot;
  } kNames[] = {
      {"TITLE", 1}, {"ARTIST", 2},   {"BAND", 2},       {"ALBUM", 3},
      {"GENRE", 4}, {"COMPOSER", 7}, {"WRITTEN_BY", 8}, {"SCREENPLAY_BY", 8},
  };
  for (const auto& entry : kNames) {
    if (strcmp(name, entry.name) == 0) return entry.slot;
  }
  return 0;
}

// DateUTC (ns since 2001-01-01T00:00:00 UTC) in ISO 8601's basic form, the form the platform's
// extractors give a file's date in: 20240501T120000.000Z.
void FormatDate(int64_t ns, char (&out)[48]) {
  const int64_t kSecondsPerDay = 86400;
  const int64_t kDaysFrom1970To2001 = 11323;
  int64_t seconds = ns / QMKVD_NS_PER_SECOND;
  if (ns % QMKVD_NS_PER_SECOND < 0) --seconds;
  int64_t days = seconds / kSecondsPerDay;
  if (seconds % kSecondsPerDay < 0) --days;
  const int64_t in_day = seconds - days * kSecondsPerDay;
  // Days since 1970-01-01 to the civil date (proleptic Gregorian calendar).
  const int64_t z = days + kDaysFrom1970To2001 + 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  const int64_t day = doy - (153 * mp + 2) / 5 + 1;
  const int64_t month = mp < 10 ? mp + 3 : mp - 9;
  const int64_t year = yoe + era * 400 + (month <= 2 ? 1 : 0);
  snprintf(out, sizeof(out), "%04lld%02lld%02lldT%02lld%02lld%02lld.000Z",
           static_cast<long long>(year), static_cast<long long>(month), static_cast<long long>(day),
           static_cast<long long>(in_day / 3600), static_cast<long long>(in_day / 60 % 60),
           static_cast<long long>(in_day % 60));
}

// Title and date from Info. Returns false when a copy could not be made.
bool TakeInfoMetadata(QMKVD_CTX* ctx) {
  size_t title_length = strlen(ctx->info.title);
  if (title_length > 0) {
    ctx->has_metadata = 1;
    if (!CopyText(&ctx->metadata.slots[0], ctx->info.title, title_length)) return false;
  }
  // The muxing date is the file's date, not the year of the work.
  if (ctx->info.date_utc != 0) {
    ctx->has_metadata = 1;
    char date[48];
    FormatDate(ctx->info.date_utc, date);
    if (!CopyText(&ctx->metadata.slots[QMKVD_METADATA_DATE_SLOT - 1], date, strlen(date))) {
      return false;
    }
  }
  return true;
}

// The year of the work, from the first release or recording date tag whose value starts with
// four digits; 0 when none does.
int32_t YearOfTags(const QMKVD_TAGS& tags) {
  for (uint32_t i = 0; i < tags.count; ++i) {
    const QMKVD_SIMPLE_TAG& tag = tags.entries[i];
    if (strcmp(tag.name, "DATE_RELEASED") != 0 && strcmp(tag.name, "DATE_RECORDED") != 0 &&
        strcmp(tag.name, "DATE_RELEASE") != 0) {
      continue;
    }
    int32_t year = 0;
    int digits = 0;
    for (; digits < 4 && tag.value[digits] >= '0' && tag.value[digits] <= '9'; ++digits) {
      year = year * 10 + (tag.value[digits] - '0');
    }
    if (digits == 4) return year;
  }
  return 0;
}

// Simple tags in file order; the first value for a slot wins.
void TakeTagMetadata(QMKVD_CTX* ctx) {
  ctx->has_metadata = 1;
  for (uint32_t i = 0; i < ctx->tags.count; ++i) {
    const QMKVD_SIMPLE_TAG* tag = &ctx->tags.entries[i];
    int slot = MetadataSlotOf(tag->name);
    if (slot == 0) continue;
    QMKVD_METADATA_SLOT* target = &ctx->metadata.slots[slot - 1];
    size_t length = strnlen(tag->value, sizeof(tag->value));
    if (length == 0 || target->length != 0) continue;
    if (!CopyText(target, tag->value, length)) return;
  }
  ctx->metadata.year = YearOfTags(ctx->tags);
}

void AddPosEntry(QMKVD_FILE_INFO* info, uint32_t kind, int64_t pos, uint32_t size) {
  if (info->pos_count >= QMKVD_MAX_POS_ENTRIES) return;
  QMKVD_POS_ENTRY* entry = &info->pos[info->pos_count++];
  entry->kind = kind;
  entry->pos = pos;
  entry->size = size;
}

void FillSummary(QMKVD_CTX* ctx, QMKVD_FILE_INFO* info) {
  info->stream_count = static_cast<uint32_t>(ctx->stream_count);
  info->duration = FileDuration(&ctx->info);
  info->constant_one = 1;
  bool metadata_ok = true;
  if (ctx->found.info) metadata_ok = TakeInfoMetadata(ctx);
  if (metadata_ok && ctx->found.tags) TakeTagMetadata(ctx);
  info->metadata = ctx->has_metadata ? &ctx->metadata : nullptr;
  if (ctx->found.cluster) {
    AddPosEntry(info, QMKVD_POS_FIRST_CLUSTER, ctx->first_cluster.pos.data_pos,
                ctx->first_cluster.pos.size);
  }
  if (ctx->found.cues) AddPosEntry(info, QMKVD_POS_CUES, ctx->cues.data_pos, ctx->cues.size);
}

// A Segment without Duration takes the duration found at the end of its data, so that it is
// published and seeks reach the whole file.
void TakeFoundDuration(QMKVD_CTX* ctx) {
  int64_t ticks = 0;
  if (!qmkvd_find_duration(ctx, &ticks)) return;
  ctx->info.duration_int = static_cast<uint64_t>(ticks);
  ctx->info.duration = static_cast<double>(ticks);
}

void SetErr(int32_t* err, int32_t value) {
  if (err) *err = value;
}

}  // namespace

QMKVD_CTX* qmkvd_create(QCMN_MFAL* mfal, const uint32_t* flags, QMKVD_FILE_INFO* info,
                        int32_t* err) {
  QCMN_MFAL_FILE* probe = mfal->open(mfal, 0);
  if (!probe) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "[qmkv_create] file open failed");
    SetErr(err, QMKVD_ERR_ALLOC);
    return nullptr;
  }
  mfal->close(probe);

  QMKVD_CTX* ctx = static_cast<QMKVD_CTX*>(malloc(sizeof(QMKVD_CTX)));
  if (!ctx) {
    SetErr(err, QMKVD_ERR_SMALL);
    return nullptr;
  }
  memset(info, 0, sizeof(*info));
  memset(ctx, 0, sizeof(*ctx));
  ctx->check = QMKVD_CHECK;
  ctx->self = ctx;
  ctx->mfal = *mfal;

  if (qmkvd_header_parse(ctx) != 0) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "[qmkvd_create] header parsing failed");
    qmkvd_delete(ctx);
    SetErr(err, QMKVD_ERR_HEADER);
    return nullptr;
  }
  if (ctx->stream_count == 0) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "stream count == 0!!!");
    qmkvd_delete(ctx);
    SetErr(err, QMKVD_ERR_NOT_FOUND);
    return nullptr;
  }
  if (!ctx->info.has_duration) TakeFoundDuration(ctx);
  const uint32_t flag_bits = flags ? *flags : 0;
  for (int32_t i = 0; i < ctx->stream_count; ++i) SetUpStream(ctx, i, flag_bits, info);
  qmkvd_seek_state_init(ctx);
  FillSummary(ctx, info);
  SetErr(err, QMKVD_OK);
  return ctx;
}

void qmkvd_delete(QMKVD_CTX* ctx) {
  if (!ctx || ctx->check != QMKVD_CHECK) return;
  free(ctx->cues.entries);
  {
    free(ctx->tags.entries);
    ctx->tags.count = 0;
    ctx->tags.capacity = 0;
  }
  for (auto& slot : ctx->metadata.slots) free(slot.text);
  for (int32_t i = 0; i < ctx->stream_count && i < static_cast<int32_t>(QMKVD_MAX_TRACKS); ++i) {
    qmkvd_free_track(&ctx->tracks.slots[i]);
    if (ctx->streams[i].open) qmkvds_close(&ctx->streams[i]);
  }
  free(ctx);
}
