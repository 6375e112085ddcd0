#include "demux/seek/qmkvd_cluster.h"

#include <stdlib.h>
#include <string.h>

#include "demux/ebml/qmkvd_ebml.h"
#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_util.h"
#include "demux/ebml/qmkvd_walk.h"
#include "demux/qmkvd_limits.h"
#include "demux/qmkvd_status.h"

namespace {

// How far past damage the next Cluster is looked for, and in what steps.
constexpr int64_t kResyncWindow = 16 << 20;
constexpr int kResyncChunk = 16 << 10;
// Elements stepped over between two Clusters (Voids, Cues, Tags...) before the search gives up.
constexpr int32_t kNextMaxHeaders = 1024;
const uint8_t kClusterIdBytes[] = {0x1F, 0x43, 0xB6, 0x75};

// Whether a Cluster plausibly begins at pos: its ID, a size, then a Timecode or a CRC-32.
bool ClusterBeginsAt(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, int64_t pos) {
  uint32_t id = 0;
  uint64_t size = 0;
  if (mfal->setpos(fp, &pos) != 0 || qmkvd_ebml_get_id_len64(mfal, fp, &id, &size) != 0 ||
      id != MKV_ID_CLUSTER) {
    return false;
  }
  uint32_t first = 0;
  uint64_t first_size = 0;
  if (qmkvd_ebml_get_id_len64(mfal, fp, &first, &first_size) != 0) return false;
  return first == MKV_ID_CLUSTER_TIMECODE || first == MKV_ID_CRC32;
}

// The list builder's own failure codes.
enum { kListReadFailed = -1, kListNoMemory = -2, kListBadCluster = -3 };

uint32_t Clamp32(uint64_t size) {
  return size > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(size);
}

// Reads an element header and the position of its payload.
bool ReadHeader(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, uint32_t* id, uint64_t* size,
                int64_t* payload) {
  return qmkvd_ebml_get_id_len64(mfal, fp, id, size) == 0 && mfal->getpos(fp, payload) == 0;
}

// The walker reads through the access layer's function table and never changes it.
QCMN_MFAL* Walkable(const QCMN_MFAL* mfal) {
  return const_cast<QCMN_MFAL*>(mfal);
}

int ReadBlockDuration(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  if (child->size > QMKVD_UINT_MAX) return QMKVD_WALK_NEXT;  // not a duration: stepped over
  uint64_t duration = 0;
  if (qmkvd_walk_read_uint(walk, child, QMKVD_UINT_MAX, &duration) != 0) return -1;
  static_cast<QMKVD_BLOCK_LOCATOR*>(record)->duration = static_cast<uint32_t>(duration);
  return QMKVD_WALK_NEXT;
}

// The Block ends the walk unless the whole group is wanted (walk->user non-null).
int ReadBlock(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  QMKVD_BLOCK_LOCATOR* block = static_cast<QMKVD_BLOCK_LOCATOR*>(record);
  block->data_pos = child->data_pos;
  block->size = Clamp32(child->size);
  block->in_group = 1;
  return walk->user ? QMKVD_WALK_NEXT : QMKVD_WALK_STOP;
}

int ReadReferenceBlock(QMKVD_WALK*, const QMKVD_CHILD*, void* record) {
  static_cast<QMKVD_BLOCK_LOCATOR*>(record)->referenced =
      1;  // its value is not needed, nor trusted
  return QMKVD_WALK_NEXT;
}

// The BlockGroup's children: its Block, and the BlockDuration where it stands before the Block
// or when the whole group is read.
const QMKVD_CHILD_RULE kBlockGroupRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_BLOCK_DURATION, ReadBlockDuration),
    QMKVD_RULE_HANDLER(MKV_ID_BLOCK, ReadBlock),
    QMKVD_RULE_HANDLER(MKV_ID_REFERENCE_BLOCK, ReadReferenceBlock),
};
const QMKVD_MASTER kBlockGroup = QMKVD_MASTER_OF(kBlockGroupRules, /*skip_empty=*/false,
                                                 /*cap_size=*/false, QMKVD_OVERRUN_FOLLOW);

int32_t WalkBlockGroup(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_BLOCK_LOCATOR* block,
                       int64_t pos, int64_t end, int32_t whole_group) {
  static int wanted;  // any non-null pointer says "the whole group"
  const int walked =
      qmkvd_walk_children(nullptr, Walkable(mfal), fp, pos, static_cast<uint64_t>(end - pos),
                          &kBlockGroup, block, whole_group ? &wanted : nullptr);
  return walked < 0 ? QMKVD_ERR_READ : QMKVD_OK;
}

// ---- The Cluster's children up to its first block ---------------------------------------------

// Timecode, Position and PrevSize; an empty one is stepped over, keeping what stood before.
template <size_t kOffset>
int ReadClusterValue(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  if (child->size < 1) return QMKVD_WALK_NEXT;
  uint64_t value = 0;
  if (qmkvd_walk_read_uint(walk, child, QMKVD_UINT_MAX, &value) != 0) return -1;
  memcpy(static_cast<uint8_t*>(record) + kOffset, &value, sizeof(value));
  return QMKVD_WALK_NEXT;
}

// The first block ends the walk, with the cursor on it; an empty one is stepped over.
int ReadFirstBlock(QMKVD_WALK*, const QMKVD_CHILD* child, void* record) {
  if (child->size < 1) return QMKVD_WALK_NEXT;
  QMKVD_CLUSTER_STATE* c = static_cast<QMKVD_CLUSTER_STATE*>(record);
  c->block_pos = child->elem_pos;
  (child->id == MKV_ID_BLOCK_GROUP ? c->blockgroup_size : c->simpleblock_size) =
      Clamp32(child->size);
  return QMKVD_WALK_STOP;
}

#define CLUSTER_VALUE_RULE(id, field) \
  QMKVD_RULE_HANDLER(id, ReadClusterValue<offsetof(QMKVD_CLUSTER_STATE, field)>)
const QMKVD_CHILD_RULE kClusterRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_BLOCK_GROUP, ReadFirstBlock),
    QMKVD_RULE_HANDLER(MKV_ID_SIMPLE_BLOCK, ReadFirstBlock),
    CLUSTER_VALUE_RULE(MKV_ID_CLUSTER_TIMECODE, timecode),
    CLUSTER_VALUE_RULE(MKV_ID_CLUSTER_POSITION, position),
    CLUSTER_VALUE_RULE(MKV_ID_CLUSTER_PREV_SIZE, prev_size),
};
const QMKVD_MASTER kCluster = QMKVD_MASTER_OF(kClusterRules, /*skip_empty=*/false,
                                              /*cap_size=*/false, QMKVD_OVERRUN_FOLLOW);

// A Cluster of unknown size also ends at an element only the Segment holds, or where no header
// can be read (the end of the data).
const QMKVD_MASTER kUnknownCluster = {
    kClusterRules,        sizeof(kClusterRules) / sizeof(kClusterRules[0]),
    /*skip_empty=*/false, /*cap_size=*/false,
    QMKVD_OVERRUN_FOLLOW, QMKVD_ENDS_AT_SEGMENT_CHILD};

// The time in ns of the Cluster's first block, which the handle stands at.
bool FirstBlockTime(const QMKVDS_CTX* s, int64_t* time_ns) {
  uint32_t track = 0;
  uint8_t timecode[2];
  if (qmkvd_ebml_get_len32(s->mfal, s->fp, &track) != 0) return false;
  if (s->mfal->read(s->fp, timecode, 2) != 2) return false;
  const int16_t relative = static_cast<int16_t>((timecode[0] << 8) | timecode[1]);
  *time_ns = qmkvd_ticks_to_ns(qmkvd_block_ticks(s->cluster.timecode, relative),
                               s->owner->info.timecode_scale);
  return true;
}

void Append(QMKVDS_CTX* s, QMKVD_CLUSTER** tail, QMKVD_CLUSTER* node) {
  node->prev = *tail;
  if (*tail) {
    (*tail)->next = node;
  } else {
    s->node_list = node;
  }
  *tail = node;
}

// Adds the node of the Cluster the cursor names. 0, or the list builder's failure code.
int32_t AddClusterNode(QMKVDS_CTX* s, QMKVD_CLUSTER** tail) {
  QMKVD_CLUSTER* node = static_cast<QMKVD_CLUSTER*>(calloc(1, sizeof(QMKVD_CLUSTER)));
  if (!node) return kListNoMemory;
  node->data_pos = s->cluster.data_pos;
  node->size = s->cluster.size;
  node->unknown_size = s->cluster.unknown_size;
  if (parse_cluster(s->mfal, s->fp, &s->cluster) != 0) {
    free(node);
    return kListBadCluster;
  }
  QMKVD_BLOCK_LOCATOR block = QMKVD_BLOCK_LOCATOR();
  parse_cluster_blockgroup(s->mfal, s->fp, &block, &s->cluster, 0);
  if (!FirstBlockTime(s, &node->time)) {
    free(node);
    return kListReadFailed;
  }
  Append(s, tail, node);
  return QMKVD_OK;
}

}  // namespace

int64_t qmkvd_cluster_resync(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, int64_t from) {
  static_assert(sizeof(kClusterIdBytes) == 4, "a Cluster ID is four bytes");
  uint8_t chunk[kResyncChunk];
  const int64_t stop = qmkvd_pos_add(from, kResyncWindow);
  for (int64_t at = from; at < stop;) {
    if (mfal->setpos(fp, &at) != 0) return -1;
    const int got = mfal->read(fp, chunk, kResyncChunk);
    if (got < static_cast<int>(sizeof(kClusterIdBytes))) return -1;
    const int last = got - static_cast<int>(sizeof(kClusterIdBytes));
    for (int i = 0; i <= last; ++i) {
      if (chunk[i] != kClusterIdBytes[0] ||
          memcmp(chunk + i, kClusterIdBytes, sizeof(kClusterIdBytes)) != 0) {
        continue;
      }
      if (ClusterBeginsAt(mfal, fp, at + i)) return at + i;
    }
    // The next chunk starts where an ID cut by this one's end would start.
    at += last + 1;
  }
  return -1;
}

bool qmkvd_cluster_next(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, int64_t pos, uint64_t* size,
                        int64_t* payload) {
  for (int32_t headers = 0; headers < kNextMaxHeaders; ++headers) {
    uint32_t id = 0;
    const bool readable = mfal->setpos(fp, &pos) == 0 && ReadHeader(mfal, fp, &id, size, payload);
    if (readable && id == MKV_ID_CLUSTER) return true;
    if (!readable || !(qmkvd_walk_ends_at_segment_level(nullptr, id) || id == MKV_ID_VOID)) {
      // Damage (a hole of zeros, garbage): the next plausible Cluster within reach.
      const int64_t found = qmkvd_cluster_resync(mfal, fp, pos);
      if (found <= pos || mfal->setpos(fp, &found) != 0) return false;
      pos = found;
      continue;
    }
    // A Void, Cues, Tags or any other element between Clusters is stepped over.
    if (qmkvd_ebml_size_is_unknown(*size)) return false;
    const int64_t next = qmkvd_pos_add(*payload, *size);
    if (next <= pos) return false;
    pos = next;
  }
  return false;
}

void qmkvd_cluster_enter(QMKVD_CLUSTER_STATE* c, int64_t data_pos, uint64_t size,
                         bool unknown_size) {
  c->data_pos = data_pos;
  c->size = unknown_size ? UINT32_MAX : Clamp32(size);
  c->unknown_size = unknown_size ? 1 : 0;
  c->timecode = 0;
}

int64_t qmkvd_cluster_end(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, const QMKVD_CLUSTER_STATE* c) {
  if (!c->unknown_size) return qmkvd_pos_add(c->data_pos, c->size);
  const int64_t from = c->block_pos > c->data_pos ? c->block_pos : c->data_pos;
  return qmkvd_walk_unknown_end(mfal, fp, from, qmkvd_walk_ends_at_segment_level, nullptr,
                                QMKVD_UNKNOWN_CHILD_ENDS);
}

int32_t parse_cluster(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, QMKVD_CLUSTER_STATE* c) {
  // A Cluster of unknown size ends at the next Segment-level element or the end of the data.
  const int64_t end = c->unknown_size ? INT64_MAX : qmkvd_pos_add(c->data_pos, c->size);
  const int walked = qmkvd_walk_children(
      nullptr, Walkable(mfal), fp, c->data_pos, static_cast<uint64_t>(end - c->data_pos),
      c->unknown_size ? &kUnknownCluster : &kCluster, c, nullptr);
  if (walked < 0) return QMKVD_ERR_READ;
  // No block: the walk looks for the next Cluster from where the data of this one ends (the end,
  // or for a Cluster of unknown size, the header it ended at).
  if (walked == QMKVD_WALK_ENDED && mfal->getpos(fp, &c->block_pos) != 0) {
    return QMKVD_ERR_READ;
  }
  if (walked == 0) c->block_pos = end;
  return QMKVD_OK;
}

int32_t parse_cluster_blockgroup(const QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp,
                                 QMKVD_BLOCK_LOCATOR* block, QMKVD_CLUSTER_STATE* c,
                                 int32_t whole_group) {
  if (mfal->setpos(fp, &c->block_pos) != 0) return QMKVD_ERR_READ;
  uint32_t id = 0;
  uint64_t size = 0;
  int64_t payload = 0;
  if (!ReadHeader(mfal, fp, &id, &size, &payload)) return QMKVD_ERR_READ;
  if (id == MKV_ID_SIMPLE_BLOCK) {
    c->block_pos = qmkvd_pos_add(payload, size);
    block->data_pos = payload;
    block->size = Clamp32(size);
    return QMKVD_OK;
  }
  if (id != MKV_ID_BLOCK_GROUP) return QMKVD_ERR_READ;
  c->block_pos = qmkvd_pos_add(payload, size);
  if (size < 1) return QMKVD_OK;
  return WalkBlockGroup(mfal, fp, block, payload, c->block_pos, whole_group);
}

int32_t qmkvds_make_cluster_list(QMKVDS_CTX* s) {
  qmkvd_cluster_enter(&s->cluster, s->cluster.first_data_pos, s->cluster.first_size,
                      s->cluster.first_unknown_size != 0);
  if (s->mfal->setpos(s->fp, &s->cluster.data_pos) != 0) return kListReadFailed;
  QMKVD_CLUSTER* tail = s->node_list;
  while (tail && tail->next) tail = tail->next;
  for (uint32_t count = 0; count < QMKVD_MAX_CLUSTER_NODES; ++count) {
    const int32_t status = AddClusterNode(s, &tail);
    if (status != QMKVD_OK) return status;
    const int64_t next = qmkvd_cluster_end(s->mfal, s->fp, &s->cluster);
    uint64_t size = 0;
    int64_t payload = 0;
    if (!qmkvd_cluster_next(s->mfal, s->fp, next, &size, &payload)) return QMKVD_OK;
    qmkvd_cluster_enter(&s->cluster, payload, size, qmkvd_ebml_size_is_unknown(size));
  }
  return QMKVD_OK;
}

QMKVD_CLUSTER* qmkvds_find_cluster_list(QMKVD_CLUSTER* first, uint32_t, int64_t time_ns) {
  for (QMKVD_CLUSTER* node = first; node; node = node->next) {
    if (node->time > time_ns) return node->prev ? node->prev : node;
    if (!node->next) return node;
  }
  return nullptr;
}
