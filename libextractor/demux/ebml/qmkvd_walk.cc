#include "demux/ebml/qmkvd_walk.h"

#include <stdlib.h>
#include <string.h>

#include "demux/ebml/qmkvd_ebml.h"
#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_util.h"
#include "mfal/qcmn_mfal_mem.h"

namespace {

// Headers read at most while measuring an element of unknown size.
const uint32_t kMaxUnknownSizeHeaders = 1u << 24;

const QMKVD_CHILD_RULE* FindRule(const QMKVD_MASTER* master, uint32_t id) {
  for (uint32_t i = 0; i < master->rule_count; ++i) {
    if (master->rules[i].id == id) return &master->rules[i];
  }
  return nullptr;
}

// Whether a master being walked, or the Segment, can hold `id`: there a child of unknown size
// ends.
bool EndsUnknownChild(const void* arg, uint32_t id) {
  const QMKVD_CTX* ctx = static_cast<const QMKVD_CTX*>(arg);
  const uint32_t known = ctx->walk_depth < QMKVD_WALK_DEPTH ? ctx->walk_depth : QMKVD_WALK_DEPTH;
  for (uint32_t i = 0; i < known; ++i) {
    if (FindRule(ctx->walking[i], id)) return true;
  }
  return qmkvd_walk_ends_at_segment_level(nullptr, id);
}

// Keeps the master on the context's list of masters being walked while its walk runs.
class WalkingMaster {
 public:
  WalkingMaster(QMKVD_CTX* ctx, const QMKVD_MASTER* master) : ctx_(ctx) {
    if (!ctx_) return;
    if (ctx_->walk_depth < QMKVD_WALK_DEPTH) ctx_->walking[ctx_->walk_depth] = master;
    ++ctx_->walk_depth;
  }
  ~WalkingMaster() {
    if (ctx_) --ctx_->walk_depth;
  }
  WalkingMaster(const WalkingMaster&) = delete;
  WalkingMaster& operator=(const WalkingMaster&) = delete;

 private:
  QMKVD_CTX* ctx_;
};

void StoreUint(void* field, uint16_t width, uint64_t value) {
  switch (width) {
    case 1: *static_cast<uint8_t*>(field) = static_cast<uint8_t>(value); break;
    case 2: *static_cast<uint16_t*>(field) = static_cast<uint16_t>(value); break;
    case 4: *static_cast<uint32_t*>(field) = static_cast<uint32_t>(value); break;
    default: memcpy(field, &value, sizeof(value)); break;
  }
}

void StoreDefaults(const QMKVD_MASTER* master, void* record) {
  for (uint32_t i = 0; i < master->rule_count; ++i) {
    const QMKVD_CHILD_RULE& rule = master->rules[i];
    if (!(rule.flags & QMKVD_RULE_HAS_DEFAULT)) continue;
    uint8_t* field = static_cast<uint8_t*>(record) + rule.offset;
    if (rule.kind == QMKVD_FIELD_TEXT) {
      const size_t length = strnlen(rule.default_text, rule.width - 1u);
      memcpy(field, rule.default_text, length);
      field[length] = '\0';
    } else {
      StoreUint(field, rule.width, rule.default_value);
    }
  }
}

uint8_t** BlobField(const QMKVD_CHILD_RULE* rule, void* record) {
  return reinterpret_cast<uint8_t**>(static_cast<uint8_t*>(record) + rule->offset);
}

uint32_t* BlobSize(const QMKVD_CHILD_RULE* rule, void* record) {
  return reinterpret_cast<uint32_t*>(static_cast<uint8_t*>(record) + rule->size_offset);
}

int ReadBlob(QMKVD_WALK* walk, const QMKVD_CHILD_RULE* rule, const QMKVD_CHILD* child,
             void* record) {
  uint8_t* data = nullptr;
  if (qmkvd_walk_read_blob(walk, child, &data) != 0) return -1;
  free(*BlobField(rule, record));
  *BlobField(rule, record) = data;
  *BlobSize(rule, record) = static_cast<uint32_t>(child->size);
  return QMKVD_WALK_NEXT;
}

// Bytes in memory behind the walk's access record, when there are: element headers are then
// decoded in place rather than read a byte or two at a time (the Cues, a tail window).
struct MemoryView {
  const uint8_t* bytes = nullptr;
  int64_t size = 0;
};

// Reads the header of the child at child->elem_pos: from the file, leaving the position after it,
// or from memory, leaving the position alone.
bool ReadChildHeader(QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, const MemoryView& view,
                     QMKVD_CHILD* child) {
  if (!view.bytes) {
    if (qmkvd_ebml_get_id_len64(mfal, fp, &child->id, &child->size) != 0) return false;
    mfal->getpos(fp, &child->data_pos);
    return true;
  }
  const int64_t pos = child->elem_pos;
  if (pos < 0 || pos >= view.size) return false;
  const int64_t avail = view.size - pos;
  const int length = qmkvd_ebml_get_id_len64_buff(
      view.bytes + pos, avail > QMKVD_HEADER_MAX ? QMKVD_HEADER_MAX : static_cast<int>(avail),
      &child->id, &child->size);
  if (length < 0) return false;
  child->data_pos = pos + length;
  return true;
}

int ApplyRule(QMKVD_WALK* walk, const QMKVD_CHILD_RULE* rule, const QMKVD_CHILD* child,
              void* record) {
  uint8_t* field = static_cast<uint8_t*>(record) + rule->offset;
  switch (rule->kind) {
    case QMKVD_FIELD_UINT: {
      uint64_t value = 0;
      if (qmkvd_walk_read_uint(walk, child, rule->limit, &value) != 0) return -1;
      StoreUint(field, rule->width, value);
      return QMKVD_WALK_NEXT;
    }
    case QMKVD_FIELD_TEXT:
      if (qmkvd_walk_read_text(walk, child, reinterpret_cast<char*>(field), rule->width) != 0) {
        return -1;
      }
      return QMKVD_WALK_NEXT;
    case QMKVD_FIELD_BYTES:
      if (child->size > rule->limit || rule->limit > rule->width) return -1;
      return qmkvd_walk_read_bytes(walk, field, child->size) == 0 ? QMKVD_WALK_NEXT : -1;
    case QMKVD_FIELD_BLOB: return ReadBlob(walk, rule, child, record);
    case QMKVD_FIELD_HANDLER: return rule->handler(walk, child, record);
    case QMKVD_FIELD_SKIP:
    default: return QMKVD_WALK_NEXT;
  }
}

// The length of the longest prefix of text[0, length) that ends at a character boundary
// (UTF-8): a last character whose bytes do not all fit is left out.
size_t WholeCharacters(const char* text, size_t length) {
  size_t lead = length;
  while (lead > 0 && length - lead < 4 && (static_cast<uint8_t>(text[lead - 1]) & 0xC0) == 0x80) {
    --lead;
  }
  if (lead == 0) return length;  // continuation bytes alone: not UTF-8, kept as they are
  const uint8_t first = static_cast<uint8_t>(text[lead - 1]);
  const size_t needed = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC0 ? 2 : 1;
  return length - (lead - 1) >= needed ? length : lead - 1;
}

}  // namespace

bool qmkvd_walk_ends_at_segment_level(const void*, uint32_t id) {
  switch (id) {
    case MKV_ID_CLUSTER:
    case MKV_ID_CUES:
    case MKV_ID_TAGS:
    case MKV_ID_SEEKHEAD:
    case MKV_ID_INFO:
    case MKV_ID_TRACKS:
    case MKV_ID_CHAPTERS:
    case MKV_ID_ATTACHMENTS: return true;
    default: return false;
  }
}

int64_t qmkvd_walk_unknown_end(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, int64_t from,
                               bool (*ends_at)(const void* arg, uint32_t id), const void* arg,
                               QMKVD_UNKNOWN_CHILD unknown_child) {
  int64_t pos = from;
  for (uint32_t n = 0; n < kMaxUnknownSizeHeaders; ++n) {
    uint32_t id = 0;
    uint64_t size = 0;
    int64_t payload = 0;
    if (mfal->setpos(fp, &pos) != 0 || qmkvd_ebml_get_id_len64(mfal, fp, &id, &size) != 0 ||
        mfal->getpos(fp, &payload) != 0 || ends_at(arg, id)) {
      return pos;
    }
    int64_t next = qmkvd_pos_add(payload, size);
    if (qmkvd_ebml_size_is_unknown(size)) {
      if (unknown_child == QMKVD_UNKNOWN_CHILD_ENDS) return pos;
      next = payload;
    }
    if (next <= pos) return pos;
    pos = next;
  }
  return pos;
}

int qmkvd_walk_read_bytes(QMKVD_WALK* walk, void* out, uint64_t count) {
  if (count == 0) return 0;
  if (count > static_cast<uint64_t>(INT32_MAX)) return -1;
  int n = walk->mfal->read(walk->fp, out, static_cast<int>(count));
  return n == static_cast<int>(count) ? 0 : -1;
}

int qmkvd_walk_read_text(QMKVD_WALK* walk, const QMKVD_CHILD* child, char* field,
                         size_t field_size) {
  if (field_size < 1) return -1;
  const size_t room = field_size - 1;
  // One byte past the room, into the terminator's place, shows whether the cut splits a
  // character.
  uint64_t take = child->size <= room ? child->size : field_size;
  // A text that claims to run past its master ends with it; one the file cuts short is empty.
  // Either way the walk goes on: no text costs its master.
  const int64_t in_master = walk->end - child->data_pos;
  if (in_master >= 0 && take > static_cast<uint64_t>(in_master)) {
    take = static_cast<uint64_t>(in_master);
  }
  if (qmkvd_walk_read_bytes(walk, field, take) != 0) take = 0;
  size_t length = static_cast<size_t>(take);
  if (take > room) {
    length = room;
    while (length > 0 && (static_cast<uint8_t>(field[length]) & 0xC0) == 0x80) --length;
  } else if (take < child->size) {
    length = WholeCharacters(field, length);
  }
  field[length] = '\0';
  return 0;
}

void qmkvd_walk_release(const QMKVD_MASTER* master, void* record) {
  for (uint32_t i = 0; i < master->rule_count; ++i) {
    const QMKVD_CHILD_RULE* rule = &master->rules[i];
    if (rule->kind != QMKVD_FIELD_BLOB) continue;
    free(*BlobField(rule, record));
    *BlobField(rule, record) = nullptr;
    *BlobSize(rule, record) = 0;
  }
}

int qmkvd_walk_read_blob(QMKVD_WALK* walk, const QMKVD_CHILD* child, uint8_t** out) {
  *out = nullptr;
  if (child->size > static_cast<uint64_t>(INT32_MAX)) return -1;
  // Where the source knows its size, a payload running past it could only end in a short
  // read: refuse it before allocating what a hostile size asks for.
  int64_t file_size = 0;
  walk->mfal->getsize(walk->fp, &file_size);
  if (file_size > 0 && qmkvd_pos_add(child->data_pos, child->size) > file_size) return -1;
  uint8_t* data = static_cast<uint8_t*>(malloc(child->size > 0 ? child->size : 1));
  if (!data) return -1;
  if (qmkvd_walk_read_bytes(walk, data, child->size) != 0) {
    free(data);
    return -1;
  }
  *out = data;
  return 0;
}

int qmkvd_walk_read_uint(QMKVD_WALK* walk, const QMKVD_CHILD* child, uint32_t limit,
                         uint64_t* value) {
  uint8_t bytes[8];
  if (child->size > limit || child->size > sizeof(bytes)) return -1;
  if (qmkvd_walk_read_bytes(walk, bytes, child->size) != 0) return -1;
  *value = qmkvd_b2v_u64(bytes, static_cast<int>(child->size));
  return 0;
}

int qmkvd_walk_read_float(QMKVD_WALK* walk, const QMKVD_CHILD* child, double* value) {
  if (child->size != 0 && child->size != 4 && child->size != 8) return 1;
  uint64_t bits = 0;
  if (qmkvd_walk_read_uint(walk, child, QMKVD_UINT_MAX, &bits) != 0) return -1;
  *value = child->size == 8 ? qmkvd_double_from_bits(bits)
                            : qmkvd_float_from_bits(static_cast<uint32_t>(bits));
  return 0;
}

int qmkvd_walk_children(QMKVD_CTX* ctx, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, int64_t data_pos,
                        uint64_t size, const QMKVD_MASTER* master, void* record, void* user) {
  QMKVD_WALK walk = {ctx, mfal, fp, qmkvd_pos_add(data_pos, size), data_pos, user};
  const WalkingMaster walking(ctx, master);
  StoreDefaults(master, record);
  MemoryView view;
  qcmn_mfal_mem_view(mfal, &view.bytes, &view.size);
  int64_t pos = data_pos;
  if (!view.bytes) mfal->setpos(fp, &pos);
  while (pos < walk.end) {
    QMKVD_CHILD child = {0, 0, pos, 0};
    const bool readable = ReadChildHeader(mfal, fp, view, &child);
    if (!readable && master->ending == QMKVD_ENDS_AT_SIZE) return -1;
    if (!readable || (master->ending == QMKVD_ENDS_AT_SEGMENT_CHILD &&
                      qmkvd_walk_ends_at_segment_level(nullptr, child.id))) {
      mfal->setpos(fp, &child.elem_pos);
      return QMKVD_WALK_ENDED;
    }
    const QMKVD_CHILD_RULE* rule = FindRule(master, child.id);
    const bool measured = !rule || !(rule->flags & QMKVD_RULE_UNMEASURED);
    if (ctx && measured && qmkvd_ebml_size_is_unknown(child.size)) {
      const int64_t end = qmkvd_walk_unknown_end(mfal, fp, child.data_pos, EndsUnknownChild, ctx,
                                                 QMKVD_UNKNOWN_CHILD_ENTERED);
      child.size = static_cast<uint64_t>(end - child.data_pos);
      mfal->setpos(fp, &child.data_pos);
    }
    // A text claiming any size is cut to its field, so only other children are capped.
    const bool text = rule && rule->kind == QMKVD_FIELD_TEXT;
    if (master->cap_size && child.size > QMKVD_CHILD_SIZE_CAP && !text) return -1;
    walk.next_pos = qmkvd_pos_add(child.data_pos, child.size);
    if (walk.next_pos > walk.end && master->overrun != QMKVD_OVERRUN_FOLLOW) {
      if (master->overrun == QMKVD_OVERRUN_FAIL) return -1;
      mfal->setpos(fp, &child.elem_pos);
      return QMKVD_WALK_STOP;
    }
    if (rule && (child.size > 0 || !master->skip_empty)) {
      if (view.bytes) mfal->setpos(fp, &child.data_pos);  // where the rule reads the payload
      const int r = ApplyRule(&walk, rule, &child, record);
      if (r < 0) return -1;
      if (r == QMKVD_WALK_STOP) return QMKVD_WALK_STOP;
    }
    // A child never moves the walk backwards; the end of a child is always ahead of its header.
    pos = walk.next_pos > child.elem_pos ? walk.next_pos : child.data_pos;
    if (!view.bytes) mfal->setpos(fp, &pos);
  }
  return 0;
}
