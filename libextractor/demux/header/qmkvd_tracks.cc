// Tracks: each TrackEntry becomes a track record and, when it parses, the next stream. A track
// that fails is dropped; the file is refused only for a broken Tracks element or for 128 or
// more entries.
#include <stdlib.h>
#include <string.h>

#include "common/qcmn_log.h"
#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_util.h"
#include "demux/ebml/qmkvd_walk.h"
#include "demux/header/qmkvd_header.h"
#include "demux/header/qmkvd_tracks.h"
#include "demux/read/qmkvd_inflate.h"

namespace {

// ---- TrackEntry --------------------------------------------------------------------------

// A TrackType coded in 9 bytes or more is read from its first byte, and the walk goes on one
// byte into the element instead of after it.
int ReadTrackType(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_TRACK* track = static_cast<QMKVD_TRACK*>(record);
  if (child->size >= 9) {
    uint8_t first = 0;
    if (qmkvd_walk_read_bytes(walk, &first, 1) != 0) return -1;
    track->type = first;
    walk->next_pos = child->data_pos + 1;
    return QMKVD_WALK_NEXT;
  }
  uint64_t value = 0;
  if (qmkvd_walk_read_uint(walk, child, QMKVD_UINT_MAX, &value) != 0) return -1;
  track->type = static_cast<uint8_t>(value);
  return QMKVD_WALK_NEXT;
}

// TrackTimecodeScale is a float, truncated.
int ReadTrackTimescale(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  double value = 0;
  const int read = qmkvd_walk_read_float(walk, child, &value);
  if (read < 0) return -1;
  if (read == 0) static_cast<QMKVD_TRACK*>(record)->timescale = qmkvd_double_to_u32(value);
  return QMKVD_WALK_NEXT;
}

int ReadVideo(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_VIDEO* video = &static_cast<QMKVD_TRACK*>(record)->video;
  video->data_pos = child->data_pos;
  video->size = static_cast<int64_t>(child->size);
  return parse_video(walk->ctx, walk->mfal, walk->fp, video) == 0 ? QMKVD_WALK_NEXT : -1;
}

int ReadAudio(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_AUDIO* audio = &static_cast<QMKVD_TRACK*>(record)->audio;
  audio->data_pos = child->data_pos;
  audio->size = static_cast<uint32_t>(child->size);
  return parse_audio(walk->ctx, walk->mfal, walk->fp, audio) == 0 ? QMKVD_WALK_NEXT : -1;
}

int ReadEncodings(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_ENCODINGS* encodings = &static_cast<QMKVD_TRACK*>(record)->encodings;
  encodings->data_pos = child->data_pos;
  encodings->size = static_cast<uint32_t>(child->size);
  return parse_contentencodings(walk->ctx, walk->mfal, walk->fp, encodings) == 0 ? QMKVD_WALK_NEXT
                                                                                 : -1;
}

const QMKVD_CHILD_RULE kTrackEntryRules[] = {
    QMKVD_RULE_UINT(MKV_ID_TRACK_NUMBER, QMKVD_TRACK, number, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_TRACK_UID, QMKVD_TRACK, uid, QMKVD_UINT_MAX),
    QMKVD_RULE_HANDLER(MKV_ID_TRACK_TYPE, ReadTrackType),
    QMKVD_RULE_UINT(MKV_ID_FLAG_ENABLED, QMKVD_TRACK, flag_enabled, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_FLAG_DEFAULT, QMKVD_TRACK, flag_default, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_FLAG_FORCED, QMKVD_TRACK, flag_forced, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_FLAG_LACING, QMKVD_TRACK, flag_lacing, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_MIN_CACHE, QMKVD_TRACK, min_cache, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_MAX_CACHE, QMKVD_TRACK, max_cache, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_DEFAULT_DURATION, QMKVD_TRACK, default_duration, QMKVD_UINT_MAX),
    QMKVD_RULE_HANDLER(MKV_ID_TRACK_TIMECODE_SCALE, ReadTrackTimescale),
    QMKVD_RULE_UINT(MKV_ID_MAX_BLOCK_ADDITION_ID, QMKVD_TRACK, max_block_addition_id,
                    QMKVD_UINT_MAX),
    QMKVD_RULE_TEXT(MKV_ID_NAME, QMKVD_TRACK, name),
    QMKVD_RULE_TEXT_DEFAULT(MKV_ID_LANGUAGE, QMKVD_TRACK, language, "eng"),
    QMKVD_RULE_TEXT(MKV_ID_CODEC_ID, QMKVD_TRACK, codec_id),
    QMKVD_RULE_BLOB(MKV_ID_CODEC_PRIVATE, QMKVD_TRACK, codec_private, codec_private_size),
    QMKVD_RULE_TEXT(MKV_ID_CODEC_NAME, QMKVD_TRACK, codec_name),
    QMKVD_RULE_UINT(MKV_ID_ATTACHMENT_LINK, QMKVD_TRACK, attachment_link, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_TRACK_OVERLAY, QMKVD_TRACK, track_overlay, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_SEEK_PRE_ROLL, QMKVD_TRACK, seek_pre_roll, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_CODEC_DELAY, QMKVD_TRACK, codec_delay, QMKVD_UINT_MAX),
    QMKVD_RULE_HANDLER(MKV_ID_VIDEO, ReadVideo),
    QMKVD_RULE_HANDLER(MKV_ID_AUDIO, ReadAudio),
    QMKVD_RULE_HANDLER(MKV_ID_CONTENT_ENCODINGS, ReadEncodings),
};
const QMKVD_MASTER kTrackEntry = QMKVD_MASTER_OF(kTrackEntryRules, /*skip_empty=*/true,
                                                 /*cap_size=*/false, QMKVD_OVERRUN_FOLLOW);

// ---- Video and Audio ---------------------------------------------------------------------

int ReadColour(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_VIDEO* video = static_cast<QMKVD_VIDEO*>(record);
  if (!video->colour) {
    video->colour = static_cast<QMKVD_COLOUR*>(calloc(1, sizeof(QMKVD_COLOUR)));
    if (!video->colour) return -1;
  }
  video->colour->data_pos = child->data_pos;
  video->colour->size = static_cast<int64_t>(child->size);
  return parse_colour(walk->ctx, walk->mfal, walk->fp, video->colour) == 0 ? QMKVD_WALK_NEXT : -1;
}

const QMKVD_CHILD_RULE kVideoRules[] = {
    QMKVD_RULE_UINT(MKV_ID_PIXEL_WIDTH, QMKVD_VIDEO, pixel_width, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_PIXEL_HEIGHT, QMKVD_VIDEO, pixel_height, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_PIXEL_CROP_BOTTOM, QMKVD_VIDEO, pixel_crop_bottom, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_PIXEL_CROP_TOP, QMKVD_VIDEO, pixel_crop_top, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_PIXEL_CROP_LEFT, QMKVD_VIDEO, pixel_crop_left, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_PIXEL_CROP_RIGHT, QMKVD_VIDEO, pixel_crop_right, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_DISPLAY_WIDTH, QMKVD_VIDEO, display_width, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_DISPLAY_HEIGHT, QMKVD_VIDEO, display_height, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_DISPLAY_UNIT, QMKVD_VIDEO, display_unit, QMKVD_UINT_MAX),
    QMKVD_RULE_HANDLER(MKV_ID_COLOUR, ReadColour),
};
const QMKVD_MASTER kVideo = QMKVD_MASTER_OF(kVideoRules, /*skip_empty=*/true,
                                            /*cap_size=*/false, QMKVD_OVERRUN_FOLLOW);

// SamplingFrequency is a double or a single; either sets both rates, so an
// OutputSamplingFrequency that stands before it is overwritten.
int ReadSamplingFrequency(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_AUDIO* audio = static_cast<QMKVD_AUDIO*>(record);
  double rate = 0;
  const int read = qmkvd_walk_read_float(walk, child, &rate);
  if (read < 0) return -1;
  if (read != 0 || child->size == 0) return QMKVD_WALK_NEXT;
  audio->sampling_frequency = qmkvd_double_to_u32(rate);
  audio->output_sampling_frequency = audio->sampling_frequency;
  return QMKVD_WALK_NEXT;
}

int ReadOutputSamplingFrequency(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  double value = 0;
  const int read = qmkvd_walk_read_float(walk, child, &value);
  if (read < 0) return -1;
  if (read == 0) {
    static_cast<QMKVD_AUDIO*>(record)->output_sampling_frequency = qmkvd_double_to_u32(value);
  }
  return QMKVD_WALK_NEXT;
}

// Muxers leave out what equals the format's defaults (mkvmerge writes no SamplingFrequency for
// 8 kHz and no Channels for mono): a track without them is 8 kHz mono, not 0 Hz with no
// channels.
constexpr uint32_t kDefaultSamplingFrequency = 8000;
constexpr uint32_t kDefaultChannels = 1;

const QMKVD_CHILD_RULE kAudioRules[] = {
    QMKVD_RULE_HANDLER_DEFAULT(MKV_ID_SAMPLING_FREQUENCY, ReadSamplingFrequency, QMKVD_AUDIO,
                               sampling_frequency, kDefaultSamplingFrequency),
    QMKVD_RULE_HANDLER_DEFAULT(MKV_ID_OUTPUT_SAMPLING_FREQUENCY, ReadOutputSamplingFrequency,
                               QMKVD_AUDIO, output_sampling_frequency, kDefaultSamplingFrequency),
    QMKVD_RULE_UINT_DEFAULT(MKV_ID_CHANNELS, QMKVD_AUDIO, channels, QMKVD_UINT_MAX,
                            kDefaultChannels),
    QMKVD_RULE_UINT(MKV_ID_BIT_DEPTH, QMKVD_AUDIO, bit_depth, QMKVD_UINT_MAX),
};
const QMKVD_MASTER kAudio = QMKVD_MASTER_OF(kAudioRules, /*skip_empty=*/true,
                                            /*cap_size=*/false, QMKVD_OVERRUN_FOLLOW);

// ---- Content encodings -------------------------------------------------------------------

const uint32_t kScopeFrames = 1;  // what an encoding applies to when it does not say

int ReadFirstEncoding(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_ENCODINGS* encodings = static_cast<QMKVD_ENCODINGS*>(record);
  if (++encodings->count > 1) return QMKVD_WALK_NEXT;  // only the first one is used
  encodings->first.scope = kScopeFrames;
  encodings->first.data_pos = child->data_pos;
  encodings->first.size = static_cast<uint32_t>(child->size);
  return parse_contentencoding(walk->ctx, walk->mfal, walk->fp, &encodings->first) == 0
             ? QMKVD_WALK_NEXT
             : -1;
}

const QMKVD_CHILD_RULE kEncodingsRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_CONTENT_ENCODING, ReadFirstEncoding),
};
const QMKVD_MASTER kEncodings = QMKVD_MASTER_OF(kEncodingsRules, /*skip_empty=*/false,
                                                /*cap_size=*/false, QMKVD_OVERRUN_FOLLOW);

// zlib and header stripping are what a player can undo on the fly; other algorithms (bzlib,
// lzo) drop the track.
int ReadCompression(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_COMPRESSION* compression = &static_cast<QMKVD_ENCODING*>(record)->compression;
  compression->data_pos = child->data_pos;
  compression->size = static_cast<uint32_t>(child->size);
  compression->algo = 0;
  if (parse_contentcomp(walk->ctx, walk->mfal, walk->fp, compression) != 0) return -1;
  if (compression->algo != QMKVD_COMP_HEADER_STRIPPING && compression->algo != QMKVD_COMP_ZLIB) {
    qcmn_log(QCMN_LOG_WARN, nullptr, "parse_contentencoding : %d algorism is not supported",
             static_cast<int>(compression->algo));
    return -1;
  }
  return QMKVD_WALK_NEXT;
}

int RefuseEncryption(QMKVD_WALK*, const QMKVD_CHILD* child, void* record) {
  QMKVD_ENCRYPTION* encryption = &static_cast<QMKVD_ENCODING*>(record)->encryption;
  encryption->data_pos = child->data_pos;
  encryption->size = static_cast<uint32_t>(child->size);
  qcmn_log(QCMN_LOG_WARN, nullptr, "parse_contentencoding : encryption type is not supported");
  return -1;
}

const QMKVD_CHILD_RULE kEncodingRules[] = {
    QMKVD_RULE_UINT(MKV_ID_CONTENT_ENCODING_ORDER, QMKVD_ENCODING, order, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_CONTENT_ENCODING_TYPE, QMKVD_ENCODING, type, QMKVD_UINT_MAX),
    QMKVD_RULE_UINT(MKV_ID_CONTENT_ENCODING_SCOPE, QMKVD_ENCODING, scope, QMKVD_UINT_MAX),
    QMKVD_RULE_HANDLER(MKV_ID_CONTENT_COMPRESSION, ReadCompression),
    QMKVD_RULE_HANDLER(MKV_ID_CONTENT_ENCRYPTION, RefuseEncryption),
};
const QMKVD_MASTER kEncoding = QMKVD_MASTER_OF(kEncodingRules, /*skip_empty=*/false,
                                               /*cap_size=*/false, QMKVD_OVERRUN_STOP);

const QMKVD_CHILD_RULE kCompressionRules[] = {
    QMKVD_RULE_UINT(MKV_ID_CONTENT_COMP_ALGO, QMKVD_COMPRESSION, algo, QMKVD_UINT_MAX),
    QMKVD_RULE_BLOB(MKV_ID_CONTENT_COMP_SETTINGS, QMKVD_COMPRESSION, settings, settings_size),
};
const QMKVD_MASTER kCompression = QMKVD_MASTER_OF(kCompressionRules, /*skip_empty=*/false,
                                                  /*cap_size=*/false, QMKVD_OVERRUN_STOP);

// ---- Tracks ------------------------------------------------------------------------------

void ReleaseTrack(QMKVD_TRACK* track) {
  qmkvd_free_track(track);
  memset(track, 0, sizeof(*track));
}

int ReadTrackEntry(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_TRACKS* tracks = static_cast<QMKVD_TRACKS*>(record);
  QMKVD_CTX* ctx = walk->ctx;
  if (++tracks->count >= QMKVD_MAX_TRACKS) return -1;
  QMKVD_TRACK* slot = &tracks->slots[tracks->count - 1];
  slot->data_pos = child->data_pos;
  slot->size = static_cast<uint32_t>(child->size);
  if (parse_track_entry(ctx, walk->mfal, walk->fp, slot) != 0) {
    ReleaseTrack(slot);  // the next TrackEntry reuses the slot
    tracks->count--;
    return QMKVD_WALK_NEXT;
  }
  ctx->streams[ctx->stream_count++].track = *slot;
  return QMKVD_WALK_NEXT;
}

const QMKVD_CHILD_RULE kTracksRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_TRACK_ENTRY, ReadTrackEntry),
};
const QMKVD_MASTER kTracks = QMKVD_MASTER_OF(kTracksRules, /*skip_empty=*/false,
                                             /*cap_size=*/true, QMKVD_OVERRUN_FOLLOW);

// A CodecPrivate stored zlib-compressed is inflated once, here. One that cannot be leaves the
// track without codec data (what the codec makes of that is its own rule), with a warning.
void InflateCodecPrivate(QMKVD_TRACK* track) {
  if (!qmkvd_track_inflates_private(track) || !track->codec_private) return;
  uint8_t* inflated = nullptr;
  uint32_t size = 0;
  const int32_t status =
      qmkvd_inflate_buffer(track->codec_private, track->codec_private_size, &inflated, &size);
  free(track->codec_private);
  track->codec_private = inflated;
  track->codec_private_size = size;
  if (status != 0) {
    qcmn_log(QCMN_LOG_WARN, QCMN_TAG_DEMUX, "track %u: CodecPrivate cannot be inflated, left out",
             track->number);
  }
}

int WalkResult(int walked) {
  return walked < 0 ? -1 : 0;
}

}  // namespace

const QMKVD_TRACK* qmkvd_find_track(const QMKVD_CTX* ctx, uint32_t number) {
  for (uint32_t i = 0; i < ctx->tracks.count && i < QMKVD_MAX_TRACKS; ++i) {
    if (ctx->tracks.slots[i].number == number) return &ctx->tracks.slots[i];
  }
  return nullptr;
}

void qmkvd_free_track(QMKVD_TRACK* track) {
  qmkvd_free_colour(track->video.colour);
  track->video.colour = nullptr;
  qmkvd_walk_release(&kTrackEntry, track);
  qmkvd_walk_release(&kCompression, &track->encodings.first.compression);
}

int parse_track(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_TRACKS* tracks) {
  if (tracks->count >= QMKVD_MAX_TRACKS) return -1;
  return WalkResult(qmkvd_walk_children(ctx, mfal, fp, tracks->pos.data_pos, tracks->pos.size,
                                        &kTracks, tracks, nullptr));
}

int parse_track_entry(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_TRACK* track) {
  const int walked = WalkResult(qmkvd_walk_children(ctx, mfal, fp, track->data_pos, track->size,
                                                    &kTrackEntry, track, nullptr));
  if (walked == 0) InflateCodecPrivate(track);
  return walked;
}

int parse_video(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_VIDEO* video) {
  return WalkResult(qmkvd_walk_children(
      ctx, mfal, fp, video->data_pos, static_cast<uint64_t>(video->size), &kVideo, video, nullptr));
}

int parse_audio(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_AUDIO* audio) {
  return WalkResult(
      qmkvd_walk_children(ctx, mfal, fp, audio->data_pos, audio->size, &kAudio, audio, nullptr));
}

int parse_contentencodings(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                           QMKVD_ENCODINGS* encodings) {
  return WalkResult(qmkvd_walk_children(ctx, mfal, fp, encodings->data_pos, encodings->size,
                                        &kEncodings, encodings, nullptr));
}

int parse_contentencoding(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                          QMKVD_ENCODING* encoding) {
  return WalkResult(qmkvd_walk_children(ctx, mfal, fp, encoding->data_pos, encoding->size,
                                        &kEncoding, encoding, nullptr));
}

int parse_contentcomp(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                      QMKVD_COMPRESSION* compression) {
  return WalkResult(qmkvd_walk_children(ctx, mfal, fp, compression->data_pos, compression->size,
                                        &kCompression, compression, nullptr));
}
