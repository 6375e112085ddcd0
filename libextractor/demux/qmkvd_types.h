// The demuxer's plain records. Field order and widths are fixed: the front end and tools read
// them directly, and the layout is checked on the 32-bit target (qmkvd_layout.cc).
#pragma once

#include <stdint.h>

#include "demux/qmkvd_limits.h"
#include "mfal/qcmn_mfal.h"

// Where one element stands in the file.
struct QMKVD_ELEMENT_POS {
  int64_t elem_pos;  // first byte of the element's ID
  int64_t data_pos;  // first byte after its size
  uint32_t size;     // data size (low 32 bits)
};

// Segment Info.
struct QMKVD_INFO {
  QMKVD_ELEMENT_POS pos;
  uint8_t segment_uid[QMKVD_UID_FIELD];
  char segment_filename[QMKVD_TEXT_FIELD];
  uint8_t prev_uid[QMKVD_UID_FIELD];
  char prev_filename[QMKVD_TEXT_FIELD];
  uint8_t next_uid[QMKVD_UID_FIELD];
  char next_filename[QMKVD_TEXT_FIELD];
  uint32_t timecode_scale;  // ns per tick
  uint64_t duration_int;    // Duration in ticks, truncated
  char title[QMKVD_TEXT_FIELD];
  char muxing_app[QMKVD_TEXT_FIELD];
  char writing_app[QMKVD_TEXT_FIELD];
  int64_t date_utc;      // ns since 2001-01-01
  double duration;       // Duration in ticks
  uint8_t has_duration;  // the Info states a Duration; without, it is found at the data's end
};

// HDR mastering display chromaticity: an x, y pair.
struct QMKVD_CHROMATICITY {
  float x;
  float y;
};

struct QMKVD_MASTERING {
  int64_t data_pos;
  int64_t size;
  QMKVD_CHROMATICITY* red;
  QMKVD_CHROMATICITY* green;
  QMKVD_CHROMATICITY* blue;
  QMKVD_CHROMATICITY* white_point;
  float luminance_max;
  float luminance_min;
};

// Value fields start as QMKVD_COLOUR_ABSENT.
static const int64_t QMKVD_COLOUR_ABSENT = 0x7FFFFFFFFFFFFFFFLL;

struct QMKVD_COLOUR {
  int64_t data_pos;
  int64_t size;
  int64_t matrix_coefficients;
  int64_t bits_per_channel;
  int64_t chroma_subsampling_horz;
  int64_t chroma_subsampling_vert;
  int64_t cb_subsampling_horz;
  int64_t cb_subsampling_vert;
  int64_t chroma_siting_horz;
  int64_t chroma_siting_vert;
  int64_t range;
  int64_t transfer_characteristics;
  int64_t primaries;
  int64_t max_cll;
  int64_t max_fall;
  QMKVD_MASTERING* mastering;
};

struct QMKVD_VIDEO {
  int64_t data_pos;
  int64_t size;
  uint32_t pixel_width;
  uint32_t pixel_height;
  uint32_t pixel_crop_bottom;
  uint32_t pixel_crop_top;
  uint32_t pixel_crop_left;
  uint32_t pixel_crop_right;
  uint32_t display_width;
  uint32_t display_height;
  uint32_t display_unit;
  QMKVD_COLOUR* colour;
};

struct QMKVD_AUDIO {
  int64_t data_pos;
  uint32_t size;
  uint32_t sampling_frequency;
  uint32_t output_sampling_frequency;
  uint32_t channels;
  uint32_t bit_depth;
};

struct QMKVD_COMPRESSION {
  int64_t data_pos;
  uint32_t size;
  uint32_t algo;  // QMKVD_COMP_ZLIB or QMKVD_COMP_HEADER_STRIPPING
  uint8_t* settings;
  uint32_t settings_size;
};

struct QMKVD_ENCRYPTION {
  int64_t data_pos;
  uint32_t size;
};

struct QMKVD_ENCODING {
  int64_t data_pos;
  uint32_t size;
  uint32_t order;
  uint32_t type;
  uint32_t scope;  // 1 the frames, 2 the CodecPrivate
  QMKVD_COMPRESSION compression;
  QMKVD_ENCRYPTION encryption;
};

struct QMKVD_ENCODINGS {
  int64_t data_pos;
  uint32_t size;
  QMKVD_ENCODING first;
  uint32_t count;
};

// One TrackEntry.
struct QMKVD_TRACK {
  int64_t data_pos;
  uint32_t size;
  uint32_t number;
  uint64_t uid;
  uint8_t type;  // QMKVD_TRACK_VIDEO, _AUDIO or _TEXT (others are kept as read)
  uint8_t flag_enabled;
  uint8_t flag_default;
  uint8_t flag_forced;
  uint8_t flag_lacing;
  uint32_t min_cache;
  uint32_t max_cache;
  uint32_t default_duration;  // ns
  uint32_t timescale;
  uint32_t max_block_addition_id;
  char name[QMKVD_TEXT_FIELD];
  char language[QMKVD_TEXT_FIELD];
  char codec_id[QMKVD_TEXT_FIELD];
  uint8_t* codec_private;
  uint32_t codec_private_size;
  char codec_name[QMKVD_TEXT_FIELD];
  uint32_t attachment_link;
  uint32_t track_overlay;
  uint64_t seek_pre_roll;  // ns
  uint64_t codec_delay;    // ns
  QMKVD_VIDEO video;
  QMKVD_AUDIO audio;
  QMKVD_ENCODINGS encodings;
};

struct QMKVD_TRACKS {
  QMKVD_ELEMENT_POS pos;
  QMKVD_TRACK slots[QMKVD_MAX_TRACKS];
  uint32_t count;
};

// One CuePoint.
struct QMKVD_CUE {
  uint64_t elem_pos;
  uint64_t data_pos;
  uint32_t size;
  uint64_t time;  // ticks
  uint64_t positions_elem_pos;
  uint64_t positions_data_pos;
  uint32_t positions_size;
  uint32_t track;
  uint64_t cluster_pos;  // relative to the Segment's payload
  uint32_t block_number;
  uint32_t positions_count;
};

struct QMKVD_CUE_TABLE {
  uint64_t elem_pos;
  int64_t data_pos;
  uint32_t size;
  QMKVD_CUE* entries;
  uint32_t count;
  uint32_t capacity;
};

struct QMKVD_SEEK_ENTRY {
  uint64_t time;
  uint64_t cluster_pos;
};

struct QMKVD_SEEK_TABLE {
  uint32_t count;
  uint32_t capacity;
  QMKVD_SEEK_ENTRY* entries;
};

// One exported key-frame index entry (16 bytes).
struct QMKVD_INDEX_ENTRY {
  uint32_t flags;
  uint32_t reserved;
  int64_t time;  // 100-ns units
};

struct QMKVD_SIMPLE_TAG {
  uint32_t reserved[2];
  int64_t data_pos;
  char name[256];
  char language[256];
  char value[1024];
  uint32_t size;
  uint32_t reserved2;
};

// One AttachedFile: its name and MIME type, and where its data lies (not read while parsing).
struct QMKVD_ATTACHMENT {
  char name[QMKVD_TEXT_FIELD];
  char mime[QMKVD_TEXT_FIELD];
  int64_t data_pos;  // FileData's payload; 0 when the AttachedFile has none
  uint64_t data_size;
};

struct QMKVD_ATTACHMENTS {
  uint32_t count;
  QMKVD_ATTACHMENT files[QMKVD_MAX_ATTACHMENTS];
};

struct QMKVD_TAGS {
  QMKVD_ELEMENT_POS pos;
  int64_t tag_data_pos;  // the Tag being parsed
  uint32_t tag_size;
  QMKVD_SIMPLE_TAG* entries;
  uint32_t count;
  uint32_t capacity;
};

// The Segment's first Cluster, and where block reading currently stands.
struct QMKVD_FIRST_CLUSTER {
  QMKVD_ELEMENT_POS pos;
  int64_t current_data_pos;
  uint32_t current_size;
  uint8_t unknown_size;  // its size field is EBML's unknown size (a live recording)
};

// A stream's cluster cursor.
struct QMKVD_CLUSTER_STATE {
  int64_t data_pos;
  uint32_t size;
  // The size field was EBML's unknown size: the Cluster runs to the next element that can only
  // stand at the Segment's level (another Cluster, Cues, Tags, ...) or to the end of the data,
  // and `size` means nothing.
  uint8_t unknown_size;
  int64_t first_data_pos;
  uint32_t first_size;
  uint8_t first_unknown_size;
  int64_t block_pos;
  uint32_t blockgroup_size;
  uint32_t simpleblock_size;
  uint64_t timecode;
  uint64_t position;
  uint64_t prev_size;
};

// One block found by the cluster walker: its BlockDuration (0 when absent) and its payload (the
// block header with track number, timecode and flags, then the frames).
struct QMKVD_BLOCK_LOCATOR {
  uint32_t duration;
  int64_t data_pos;
  uint32_t size;
  uint8_t in_group;    // the Block of a BlockGroup, not a SimpleBlock
  uint8_t referenced;  // its group has a ReferenceBlock (seen when the whole group is read)
};

// One node of a stream's cluster list.
struct QMKVD_CLUSTER {
  QMKVD_CLUSTER* prev;
  QMKVD_CLUSTER* next;
  int64_t data_pos;
  int64_t time;  // ns
  uint32_t size;
  uint8_t unknown_size;
};

struct QMKVD_CTX;
struct QMKVDS_CTX;
struct QMKVD_MASTER;
struct QMKVD_INFLATER;

// Matroska's TrackType values: the kinds of track, and of the streams over them.
enum : uint8_t { QMKVD_TRACK_VIDEO = 1, QMKVD_TRACK_AUDIO = 2, QMKVD_TRACK_TEXT = 17 };

// How the frames of a stream's laced blocks are timed (qmkvd_framing.h).
struct QMKVD_FRAMING {
  uint8_t rule;
  uint8_t mode_bits;        // Vorbis: bits of the mode number
  uint32_t rate;            // Vorbis: samples per second
  int64_t fixed_ns;         // a DefaultDuration or AAC's: every frame
  uint32_t block_sizes[2];  // Vorbis: short and long
  uint64_t long_modes;      // Vorbis: bit m set when mode m uses the long block
  uint32_t previous;        // Vorbis: the block size of the frame before
};

// A stream's time function (block times in 100-ns units) and frame reader.
typedef int64_t (*QMKVDS_TIME_FN)(QMKVDS_CTX* stream, uint64_t cluster_timecode,
                                  int16_t relative_timecode);
typedef int32_t (*QMKVDS_READ_FN)(QMKVDS_CTX* stream, uint8_t* buffer, int32_t capacity,
                                  uint32_t* size, int64_t* time, int64_t* end_time, int32_t* sync);

enum : uint32_t { QMKVDS_MAX_LACES = 256 };

// A stream handle: one slot per track inside the demuxer context.
struct QMKVDS_CTX {
  int32_t index;
  uint32_t check;  // QMKVDS_CHECK
  QMKVDS_CTX* self;
  QMKVD_CTX* owner;
  QMKVD_TRACK track;
  uint32_t timecode_scale;
  int64_t frame_duration;  // 100-ns units
  int64_t target_time;
  uint8_t kind;  // QMKVD_TRACK_VIDEO, _AUDIO or _TEXT
  QCMN_MFAL_FILE* fp;
  int32_t compression_algo;
  uint8_t* stripped_bytes;  // owned by the track slot
  int32_t stripped_count;
  uint32_t lace_sizes[QMKVDS_MAX_LACES];
  int8_t lace_count;
  int8_t lace_cursor;
  QCMN_MFAL* mfal;
  QMKVD_CLUSTER_STATE cluster;
  uint32_t codec_tag;
  int32_t open;
  int32_t skip_pending;
  int32_t key_frame_pending;
  int64_t prev_block_time;
  int64_t block_time;
  int64_t block_end_time;
  int64_t lace_duration;
  uint32_t pending_size;
  uint8_t frame_announced;  // a size query announced the current frame (which may be empty)
  int32_t frames_in_block;
  int32_t nal_length_size;
  uint32_t frame_counter;
  QMKVDS_TIME_FN time_fn;
  QMKVDS_READ_FN read_fn;
  uint32_t index_pair[2];
  void* index_buffer;
  int32_t index_count;
  QMKVD_CLUSTER* node_list;  // the cluster list, built on demand for seeking without cues
  QMKVD_SEEK_TABLE seek_table;
  // The current block's flags byte, so that a frame announced by a size query and delivered
  // by the next call still carries its key-frame flag.
  uint8_t block_flags;
  // Whether the current block is a key frame: a SimpleBlock's key bit, or for the Block of a
  // BlockGroup (whose flags byte has no such bit) its group having no ReferenceBlock.
  uint8_t block_key;
  // An empty subtitle frame announced by a size query, and its times, so that the next call
  // delivers that same frame (a pending size of 0 cannot say so).
  int32_t empty_pending;
  int64_t empty_time;
  int64_t empty_end_time;
  // The data's size when the source knows it (0 when not): a block running past it is a
  // recording cut off there, and ends the stream instead of being delivered incomplete.
  int64_t data_size;
  // 1 for streams whose frames are tested for key frames by their bytes (video).
  int32_t key_frame_test;
  // The seek table is built once per handle; when the track has no cue of its own, seeks
  // search the file's whole cue table instead.
  int32_t seek_table_built;
  int32_t search_all_cues;
  // A stream whose frames are stored zlib-compressed inflates each block; the frames of the
  // current block are read from frame_mfal / frame_fp (the stream's own handle otherwise).
  QMKVD_INFLATER* inflater;
  QCMN_MFAL* frame_mfal;
  QCMN_MFAL_FILE* frame_fp;
  // Frames of a laced block, read one by one, are timed from the block's time on: the sum of
  // the durations of the frames before (ns), the current frame's duration and, for Vorbis, its
  // block size.
  QMKVD_FRAMING framing;
  int64_t lace_offset_ns;
  int64_t lace_ns;
  uint32_t lace_block_size;
};

// Presence flags of the level-1 elements, in this order.
struct QMKVD_FOUND {
  uint8_t info;
  uint8_t cluster;
  uint8_t tracks;
  uint8_t cues;
  uint8_t attachments;
  uint8_t chapters;
  uint8_t tags;
  uint8_t seekhead;
  uint8_t seekheads;  // SeekHeads walked, chained ones included
};

struct QMKVD_METADATA_SLOT {
  uint32_t kind;    // QMKVD_TEXT_ENCODING_PLAIN when filled
  uint32_t length;  // bytes
  uint8_t* text;    // not NUL-terminated; owned by the context
  uint32_t reserved;
};

// Text metadata: 1 title, 2 artist, 3 album, 4 genre, 5-6 unused, 7 composer, 8 writer,
// 9 the file's date (slot n is entry n - 1), then the year of the work.
enum : uint32_t { QMKVD_METADATA_DATE_SLOT = 9 };
struct QMKVD_METADATA {
  QMKVD_METADATA_SLOT slots[QMKVD_METADATA_SLOTS];
  int32_t year;
};

enum : uint32_t { QMKVD_POS_FIRST_CLUSTER = 0, QMKVD_POS_CUES = 2 };

struct QMKVD_POS_ENTRY {
  uint32_t kind;
  uint32_t reserved;
  int64_t pos;    // the element's data position
  uint64_t size;  // its data size
};

// The summary that creation hands to the front end.
struct QMKVD_FILE_INFO {
  uint32_t stream_count;
  uint32_t video_count;
  uint32_t audio_count;
  uint32_t text_count;
  uint32_t stream_type[QMKVD_MAX_TRACKS];
  uint32_t codec_tag[QMKVD_MAX_TRACKS];
  int64_t duration;  // 100-ns units
  uint32_t constant_one;
  uint32_t pos_count;
  QMKVD_POS_ENTRY pos[QMKVD_MAX_POS_ENTRIES];
  QMKVD_METADATA* metadata;
};

// What seeks share between the streams of one file. Only seeking changes it (seek/qmkvd_seek.cc),
// under the front end's shared lock.
struct QMKVD_SEEK_STATE {
  int32_t cues_usable;   // 1 while the cue table is trusted
  int64_t segment_base;  // the file offset cue cluster positions count from
  int32_t cue_index;     // the cue entry the last cue seek of any stream jumped to
};

// The demuxer context: one block holding the whole parsed header and every stream slot.
struct QMKVD_CTX {
  uint32_t check;  // QMKVD_CHECK
  QMKVD_CTX* self;
  QCMN_MFAL mfal;
  int64_t ebml_data_pos;
  uint32_t ebml_size;
  uint32_t ebml_version;
  uint32_t ebml_read_version;
  uint32_t ebml_max_id_length;
  uint32_t ebml_max_size_length;
  uint32_t doctype_version;
  uint32_t doctype_read_version;
  char doctype[QMKVD_DOCTYPE_FIELD];
  int64_t segment_data_pos;
  int64_t segment_size;
  QMKVD_INFO info;
  QMKVD_FIRST_CLUSTER first_cluster;
  QMKVD_CUE_TABLE cues;
  QMKVD_ELEMENT_POS attachments;
  QMKVD_ATTACHMENTS attached;
  QMKVD_ELEMENT_POS chapters;
  QMKVD_TAGS tags;
  QMKVD_ELEMENT_POS seekhead;
  QMKVD_TRACKS tracks;
  int32_t stream_count;
  QMKVDS_CTX streams[QMKVD_MAX_TRACKS];
  QMKVD_FOUND found;
  QMKVD_METADATA metadata;
  uint8_t has_metadata;
  QMKVD_SEEK_STATE seek;
  // The masters being walked, outermost first (the walker's own bookkeeping): a child of
  // unknown size ends at the first element one of them can hold.
  const QMKVD_MASTER* walking[QMKVD_WALK_DEPTH];
  uint32_t walk_depth;
};

// Check words: "MKVD" and "MKDS" read as big-endian words.
static const uint32_t QMKVD_CHECK = 0x4D4B5644;
static const uint32_t QMKVDS_CHECK = 0x4D4B4453;
