// The demuxer as the front end and the tools see it: the records, the status codes, and every
// entry point from opening a file to reading and seeking its streams. What lies behind these
// (EBML, the header model, cues and seeking, frame reading) is the demuxer's own.
#pragma once

#include <stdint.h>

#include "common/qcmn_mt.h"
#include "demux/qmkvd_limits.h"
#include "demux/qmkvd_status.h"
#include "demux/qmkvd_types.h"

// --- Opening a file ----------------------------------------------------------------------------

QMKVD_CTX* qmkvd_create(QCMN_MFAL* mfal, const uint32_t* flags, QMKVD_FILE_INFO* info,
                        int32_t* err);
int qmkvd_header_parse(QMKVD_CTX* ctx);
void qmkvd_delete(QMKVD_CTX* ctx);

// Bit 0 of qmkvd_create's flags: presentation-order time stamps for video.
enum : uint32_t { QMKVD_FLAG_PTS = 1 };

// Gives each stream its codec tag from the CodecID; always 0.
int qmkvd_media_info(QMKVD_CTX* ctx, QMKVDS_CTX* stream, QMKVD_FILE_INFO* info, int32_t index);

// --- Tracks as a decoder wants them ------------------------------------------------------------

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

// Encoding codes of the demuxer's texts (track names, metadata slots). Codes count from
// QMKVD_TEXT_ENCODING_FIRST; the demuxer hands out only text that can be used as it stands.
enum : uint32_t { QMKVD_TEXT_ENCODING_FIRST = 700, QMKVD_TEXT_ENCODING_PLAIN = 703 };

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

// --- Streams -----------------------------------------------------------------------------------

// Opens stream `stream` of ctx at the first cluster. Returns the handle (the stream's slot) or
// null; err (optional) gets 0, -3 (nothing to read in the file) or -4 (already open, no file
// handle), and stays untouched for a bad context or index.
QMKVDS_CTX* qmkvds_open(QMKVD_CTX* ctx, int32_t stream, int32_t* err);
void qmkvds_close(QMKVDS_CTX* stream);

// Reads the next frame. buffer null asks for the size only (it stays pending, and the next call
// with a buffer delivers that frame). time, end_time and sync are optional outputs; times are
// 100-ns units.
// 0 frame, 1 end of data, -1 short read, -2 not open / bad lacing / no key frame after a seek,
// -3 NAL rewriting of a laced block, -4 short frame read or no memory, -7 bad argument,
// -8 buffer too small.
int32_t qmkvds_get_frm(QMKVDS_CTX* stream, uint8_t* buffer, int32_t capacity, uint32_t* size,
                       int64_t* time, int64_t* end_time, int32_t* sync);

// --- Seeking -----------------------------------------------------------------------------------

// Seek modes.
enum : uint32_t {
  QMKVD_SEEK_BEFORE = 0,   // last cue (without cues: key frame) at or before the time
  QMKVD_SEEK_AFTER = 1,    // first cue (key frame) at or after the time
  QMKVD_SEEK_BACK = 2,     // the cue before the one last jumped to (cues only)
  QMKVD_SEEK_NEAREST = 3,  // nearest cue (key frame), ties to the earlier
};

// Repositions the stream so that the next frame read starts at a sync point near *time
// (100-ns units; may be null in mode 1: the time of the last frame read). *out_time gets the
// time of that sync point. 0 positioned; 1 nothing at or after the time (the stream is at its
// end); -1 unreadable data at the target; -2 stream not open or no key frame within reach;
// -3 bad mode, unusable cue position or Cluster, mode 2 without cues; -7 bad handle.
int32_t qmkvds_seek(QMKVDS_CTX* stream, const int64_t* time, int64_t* out_time, uint32_t mode);

// The seek without cues: walks the stream's Clusters and tests frames. direction 1 lands on the
// first key frame at or after `time`; 0 on the last one at or before it. Codes as qmkvds_seek.
int32_t qmkvds_seek_crawl(QMKVDS_CTX* stream, int64_t time, int64_t* out_time, uint32_t direction);

// The key-frame times of a video track from the cues, as 16-byte QMKVD_INDEX_ENTRY records:
// call with a null buffer for the counts, then with a buffer of *byte_count bytes.
// 0; -2 stream not open; -3 no usable cues, not a video track or no cue for it; -7 bad
// handle or index; -8 buffer too small; or the error of opening the stream.
int32_t qmkvd_get_idx_table(QMKVD_CTX* ctx, int32_t track, void* buffer, int32_t buffer_size,
                            uint32_t* byte_count, uint32_t* entry_count);

// --- Time --------------------------------------------------------------------------------------

// The demuxer's times count in 100-ns units; nanoseconds and the framework's microseconds to
// and from them.
static inline int64_t qmkvd_ns_to_time(int64_t ns) {
  return ns / 100;
}

static inline int64_t qmkvd_time_to_us(int64_t time) {
  return time / 10;
}
