// The one child walker of the demuxer. A master element is described by a table of child
// rules (element ID, how to read it, its size limit, where it goes) and a small policy; the
// walker reads child headers from the file, applies the rules and leaves the position after
// each child. It knows no Matroska element by name (only EBML's own Void and CRC-32) and never
// logs: the named parsers own messages and status codes.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "demux/ebml/qmkvd_ebml.h"
#include "demux/qmkvd_types.h"

enum QMKVD_FIELD_KIND : uint8_t {
  QMKVD_FIELD_SKIP,     // known child, stepped over
  QMKVD_FIELD_UINT,     // big-endian unsigned of at most `limit` bytes, stored in `width` bytes
  QMKVD_FIELD_TEXT,     // at most `limit` bytes, NUL put behind them
  QMKVD_FIELD_BYTES,    // raw bytes, at most `limit` (never more than `width`)
  QMKVD_FIELD_BLOB,     // the whole payload in a malloc block the record owns (see below)
  QMKVD_FIELD_HANDLER,  // the rule's handler reads it
};

// Rule flags.
enum : uint8_t {
  // The walk starts by storing the rule's default in its field (`default_text` for a text,
  // `default_value` in `width` bytes otherwise, a handler's field included), so that a child the
  // file leaves out reads as its default.
  QMKVD_RULE_HAS_DEFAULT = 1,
  // A child of unknown size reaches the rule as it is (its end is found only by reading it),
  // instead of being measured first.
  QMKVD_RULE_UNMEASURED = 2,
};

// What a child running past the end of its master means.
enum QMKVD_OVERRUN : uint8_t {
  QMKVD_OVERRUN_FOLLOW,  // nothing: the child is read as coded
  QMKVD_OVERRUN_STOP,    // the walk ends with success, position set back to the child
  QMKVD_OVERRUN_FAIL,    // the walk fails
};

struct QMKVD_CHILD {
  uint32_t id;
  uint64_t size;
  int64_t elem_pos;
  int64_t data_pos;
};

struct QMKVD_WALK {
  QMKVD_CTX* ctx;
  QCMN_MFAL* mfal;
  QCMN_MFAL_FILE* fp;
  int64_t end;       // end of the master's data
  int64_t next_pos;  // where the walk goes on after this child; a handler may change it
  void* user;        // the caller's context for handlers
};

// Handler results besides -1 (failure); the walk also ends with QMKVD_WALK_ENDED.
enum { QMKVD_WALK_NEXT = 0, QMKVD_WALK_STOP = 1, QMKVD_WALK_ENDED = 2 };

typedef int (*QMKVD_CHILD_HANDLER)(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record);

struct QMKVD_CHILD_RULE {
  uint32_t id;
  QMKVD_FIELD_KIND kind;
  uint16_t limit;
  uint16_t width;
  uint32_t offset;  // of the field in the record
  QMKVD_CHILD_HANDLER handler;
  uint8_t flags;
  // A BLOB is a `uint8_t*` at `offset` and its length, a uint32_t at `size_offset`. The record
  // owns the block: a repeated child replaces (and frees) the earlier one, and
  // qmkvd_walk_release frees it.
  uint32_t size_offset;
  uint64_t default_value;
  const char* default_text;
};

// Where a master's children end besides its size.
enum QMKVD_ENDING : uint8_t {
  QMKVD_ENDS_AT_SIZE,        // only there: a child header that cannot be read fails the walk
  QMKVD_ENDS_AT_UNREADABLE,  // also at a child header that cannot be read
  // also at a child that only the Segment holds (a master of unknown size, in a live recording)
  QMKVD_ENDS_AT_SEGMENT_CHILD,
};

struct QMKVD_MASTER {
  const QMKVD_CHILD_RULE* rules;
  uint32_t rule_count;
  bool skip_empty;  // children of size 0 are not acted on
  bool cap_size;    // children larger than QMKVD_CHILD_SIZE_CAP fail the walk
  QMKVD_OVERRUN overrun;
  // Where the walk ends short of the size, it returns QMKVD_WALK_ENDED with the position set
  // back to the header it ended at.
  QMKVD_ENDING ending;
};

#define QMKVD_FIELD_OF(rec, field) sizeof(((rec*)0)->field), offsetof(rec, field)
#define QMKVD_RULE_UINT(id, rec, field, limit) \
  { id, QMKVD_FIELD_UINT, limit, QMKVD_FIELD_OF(rec, field), nullptr, 0, 0, 0, nullptr }
#define QMKVD_RULE_UINT_DEFAULT(id, rec, field, limit, value)                                    \
  {                                                                                              \
    id, QMKVD_FIELD_UINT, limit, QMKVD_FIELD_OF(rec, field), nullptr, QMKVD_RULE_HAS_DEFAULT, 0, \
        static_cast<uint64_t>(value), nullptr                                                    \
  }
#define QMKVD_RULE_TEXT(id, rec, field)                                                            \
  {                                                                                                \
    id, QMKVD_FIELD_TEXT, sizeof(((rec*)0)->field) - 1, QMKVD_FIELD_OF(rec, field), nullptr, 0, 0, \
        0, nullptr                                                                                 \
  }
#define QMKVD_RULE_TEXT_DEFAULT(id, rec, field, text)                                        \
  {                                                                                          \
    id, QMKVD_FIELD_TEXT, sizeof(((rec*)0)->field) - 1, QMKVD_FIELD_OF(rec, field), nullptr, \
        QMKVD_RULE_HAS_DEFAULT, 0, 0, text                                                   \
  }
#define QMKVD_RULE_BYTES(id, rec, field)                                                           \
  {                                                                                                \
    id, QMKVD_FIELD_BYTES, sizeof(((rec*)0)->field), QMKVD_FIELD_OF(rec, field), nullptr, 0, 0, 0, \
        nullptr                                                                                    \
  }
#define QMKVD_RULE_BLOB(id, rec, field, size_field)                  \
  {                                                                  \
    id, QMKVD_FIELD_BLOB, 0, QMKVD_FIELD_OF(rec, field), nullptr, 0, \
        static_cast<uint32_t>(offsetof(rec, size_field)), 0, nullptr \
  }
#define QMKVD_RULE_HANDLER(id, fn) \
  { id, QMKVD_FIELD_HANDLER, 0, 0, 0, fn, 0, 0, 0, nullptr }
// A handler that fills one field of the record, whose default the table carries.
#define QMKVD_RULE_HANDLER_DEFAULT(id, fn, rec, field, value)                              \
  {                                                                                        \
    id, QMKVD_FIELD_HANDLER, 0, QMKVD_FIELD_OF(rec, field), fn, QMKVD_RULE_HAS_DEFAULT, 0, \
        static_cast<uint64_t>(value), nullptr                                              \
  }
#define QMKVD_RULE_HANDLER_UNMEASURED(id, fn) \
  { id, QMKVD_FIELD_HANDLER, 0, 0, 0, fn, QMKVD_RULE_UNMEASURED, 0, 0, nullptr }
#define QMKVD_RULE_SKIP(id) \
  { id, QMKVD_FIELD_SKIP, 0, 0, 0, nullptr, 0, 0, 0, nullptr }
#define QMKVD_MASTER_OF(rules, skip_empty, cap_size, overrun) \
  { rules, sizeof(rules) / sizeof(rules[0]), skip_empty, cap_size, overrun, QMKVD_ENDS_AT_SIZE }

// Walks the children of the element whose data is [data_pos, data_pos + size). A child of
// unknown size (QMKVD_SIZE_UNKNOWN) is taken to end at the first element, from its payload on,
// that this master or one it lies in can hold, or that only the Segment can hold; its rule sees
// that size.
// Before the first child, every rule's default is stored in its field. Over bytes in memory (an
// access record of qcmn_mfal_mem) headers are decoded in place and the position is set only where
// a rule reads a payload.
// Returns 0 when the end was reached, QMKVD_WALK_STOP when a handler or the overrun policy
// ended the walk early, QMKVD_WALK_ENDED where the master's ending policy ended it, -1 on
// failure. Without a context (bytes held in memory), children of unknown
// size are not measured.
int qmkvd_walk_children(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, int64_t data_pos,
                        uint64_t size, const QMKVD_MASTER* master, void* record, void* user);

// Frees the blocks the record owns through the master's BLOB rules and clears their fields.
void qmkvd_walk_release(const QMKVD_MASTER* master, void* record);

// Reads a child's payload of at most limit bytes as a big-endian unsigned number.
int qmkvd_walk_read_uint(QMKVD_WALK* walk, const QMKVD_CHILD* child, uint32_t limit,
                         uint64_t* value);
// Reads a float element: 4 bytes an IEEE single, 8 a double, none zero. 0; 1 for any other
// width, which holds no float (*value untouched); -1 when the bytes cannot be read.
int qmkvd_walk_read_float(QMKVD_WALK* walk, const QMKVD_CHILD* child, double* value);
// Reads exactly count bytes of payload into out.
int qmkvd_walk_read_bytes(QMKVD_WALK* walk, void* out, uint64_t count);

// Reads a text child into a field of field_size bytes, NUL-terminated. A longer text keeps what
// fits, and one running past its master what the master holds, cut back to the start of the
// character the end would split (UTF-8); one the file cuts short is empty. The walk still steps
// over the whole child. 0, or -1 for a field of no bytes.
int qmkvd_walk_read_text(QMKVD_WALK* walk, const QMKVD_CHILD* child, char* field,
                         size_t field_size);

// Reads a child's whole payload into a new malloc block (at least 1 byte, so an empty payload
// has a block too). A payload the data cannot hold is refused before anything is allocated.
int qmkvd_walk_read_blob(QMKVD_WALK* walk, const QMKVD_CHILD* child, uint8_t** out);

// What a child of unknown size means to qmkvd_walk_unknown_end.
enum QMKVD_UNKNOWN_CHILD : uint8_t {
  QMKVD_UNKNOWN_CHILD_ENTERED,  // the scan goes on inside it
  QMKVD_UNKNOWN_CHILD_ENDS,     // it ends the element being measured
};

// Where an element of unknown size whose data starts at `from` ends: at the first element for
// which `ends_at(arg, id)` is true, or where no header can be read (the end of the data).
// Children are stepped over by their size; at most 2^24 headers are read. The position is left
// anywhere.
int64_t qmkvd_walk_unknown_end(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, int64_t from,
                               bool (*ends_at)(const void* arg, uint32_t id), const void* arg,
                               QMKVD_UNKNOWN_CHILD unknown_child);

// An `ends_at` for elements that lie directly in the Segment.
bool qmkvd_walk_ends_at_segment_level(const void* unused, uint32_t id);
