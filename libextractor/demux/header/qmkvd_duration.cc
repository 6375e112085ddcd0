#include "demux/header/qmkvd_duration.h"

#include <stdlib.h>
#include <string.h>

#include "common/qcmn_log.h"
#include "demux/ebml/qmkvd_ebml.h"
#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_util.h"
#include "demux/ebml/qmkvd_walk.h"
#include "demux/header/qmkvd_tracks.h"
#include "demux/read/qmkvd_block.h"
#include "mfal/qcmn_mfal_mem.h"

namespace {

// The tail of the data is read in one window, then in larger ones while no complete Cluster
// start with a block lies inside: at most three reads, 4 MiB at the most.
const int64_t kTailWindows[] = {256 << 10, 1 << 20, 4 << 20};

// A window of the data held in memory, and where it lies in the file.
struct Window {
  const uint8_t* bytes;
  int64_t size;      // bytes held
  int64_t data_end;  // offset in the window where the data ends (a cut-off file ends there)
};

struct Child {
  uint32_t id;
  uint64_t size;
  int64_t data;  // offset of the payload in the window
  int64_t end;   // offset after the payload; past the window for an unfinished child
};

bool ReadChild(const Window& w, int64_t at, Child* child) {
  if (at < 0 || at >= w.size) return false;
  const int64_t avail = w.size - at;
  const int header = qmkvd_ebml_get_id_len64_buff(
      w.bytes + at, avail > QMKVD_HEADER_MAX ? QMKVD_HEADER_MAX : static_cast<int>(avail),
      &child->id, &child->size);
  if (header < 0) return false;
  child->data = at + header;
  child->end =
      qmkvd_ebml_size_is_unknown(child->size) ? INT64_MAX : qmkvd_pos_add(child->data, child->size);
  return true;
}

int64_t TrackDefaultTicks(const QMKVD_CTX* ctx, uint32_t number) {
  const QMKVD_TRACK* t = qmkvd_find_track(ctx, number);
  return t ? t->default_duration / ctx->info.timecode_scale : 0;
}

// Track number and relative timecode at the start of a block's payload.
bool BlockHeader(const Window& w, int64_t at, int64_t end, uint32_t* track, int16_t* relative) {
  if (at >= end || end > w.size) return false;
  return qmkvd_block_head(w.bytes + at, end - at, track, relative) > 0;
}

// The window as the child walker reads it, and what the walks of one Cluster gather.
struct ClusterScan {
  const QMKVD_CTX* ctx;
  const Window* w;
  QCMN_MFAL_MEM mem;
  uint64_t timecode;
  bool any;      // a whole block was seen
  int64_t last;  // the latest block end, in ticks
};

// What the walk of one BlockGroup finds.
struct GroupScan {
  bool found;  // its Block, with a readable header
  uint32_t track;
  int16_t relative;
  int64_t duration;  // -1 when it has no BlockDuration
};

int WalkWindow(ClusterScan* scan, int64_t data, int64_t size, const QMKVD_MASTER* master,
               void* record) {
  return qmkvd_walk_children(nullptr, &scan->mem.mfal, qcmn_mfal_mem_handle(&scan->mem), data,
                             static_cast<uint64_t>(size), master, record, scan);
}

int64_t ChildEnd(const QMKVD_CHILD* child) {
  return qmkvd_pos_add(child->data_pos, child->size);
}

int ReadGroupBlock(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  const ClusterScan* scan = static_cast<const ClusterScan*>(walk->user);
  GroupScan* group = static_cast<GroupScan*>(record);
  group->found =
      BlockHeader(*scan->w, child->data_pos, ChildEnd(child), &group->track, &group->relative);
  return QMKVD_WALK_NEXT;
}

int ReadGroupDuration(QMKVD_WALK* walk, const QMKVD_CHILD* child, void* record) {
  if (child->size > 8) return QMKVD_WALK_NEXT;
  const ClusterScan* scan = static_cast<const ClusterScan*>(walk->user);
  const uint64_t value =
      qmkvd_b2v_u64(scan->w->bytes + child->data_pos, static_cast<int>(child->size));
  static_cast<GroupScan*>(record)->duration =
      value > INT64_MAX ? INT64_MAX : static_cast<int64_t>(value);
  return QMKVD_WALK_NEXT;
}

// A BlockGroup's children up to the first that runs past it or cannot be read.
const QMKVD_CHILD_RULE kGroupRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_BLOCK, ReadGroupBlock),
    QMKVD_RULE_HANDLER(MKV_ID_BLOCK_DURATION, ReadGroupDuration),
};
const QMKVD_MASTER kGroup = {kGroupRules,          sizeof(kGroupRules) / sizeof(kGroupRules[0]),
                             /*skip_empty=*/false, /*cap_size=*/false,
                             QMKVD_OVERRUN_STOP,   QMKVD_ENDS_AT_UNREADABLE};

// The end (time plus duration, in ticks) of a SimpleBlock or BlockGroup that lies whole in the
// data; false for anything else.
bool BlockEnd(ClusterScan* scan, const QMKVD_CHILD* block, int64_t* end) {
  const Window& w = *scan->w;
  if (ChildEnd(block) > w.data_end) return false;  // cut off: the reader stops before it
  GroupScan group = {false, 0, 0, -1};
  if (block->id == MKV_ID_SIMPLE_BLOCK) {
    group.found = BlockHeader(w, block->data_pos, ChildEnd(block), &group.track, &group.relative);
  } else if (WalkWindow(scan, block->data_pos, static_cast<int64_t>(block->size), &kGroup, &group) <
             0) {
    return false;
  }
  if (!group.found) return false;
  const int64_t duration =
      group.duration < 0 ? TrackDefaultTicks(scan->ctx, group.track) : group.duration;
  *end = qmkvd_time_add(qmkvd_block_ticks(scan->timecode, group.relative), duration);
  return true;
}

int ReadClusterBlock(QMKVD_WALK* walk, const QMKVD_CHILD* child, void*) {
  ClusterScan* scan = static_cast<ClusterScan*>(walk->user);
  int64_t end = 0;
  if (BlockEnd(scan, child, &end)) {
    scan->last = scan->any && scan->last > end ? scan->last : end;
    scan->any = true;
  }
  return QMKVD_WALK_NEXT;
}

// The next Cluster, after one of unknown size, ends this one.
int StopAtCluster(QMKVD_WALK*, const QMKVD_CHILD*, void*) {
  return QMKVD_WALK_STOP;
}

// A Cluster's children after its Timecode, up to its end or a header that cannot be read (the
// end of the window).
const QMKVD_CHILD_RULE kClusterRules[] = {
    QMKVD_RULE_HANDLER(MKV_ID_SIMPLE_BLOCK, ReadClusterBlock),
    QMKVD_RULE_HANDLER(MKV_ID_BLOCK_GROUP, ReadClusterBlock),
    QMKVD_RULE_HANDLER(MKV_ID_CLUSTER, StopAtCluster),
};
const QMKVD_MASTER kCluster = {
    kClusterRules,        sizeof(kClusterRules) / sizeof(kClusterRules[0]),
    /*skip_empty=*/false, /*cap_size=*/false,
    QMKVD_OVERRUN_FOLLOW, QMKVD_ENDS_AT_UNREADABLE};

// The latest block end in the Cluster whose ID starts at `at`; false when it is no Cluster
// (its Timecode does not come first, after a CRC-32 or Void at most: four bytes of some frame
// that look like the ID) or holds no whole block.
bool LastEndInCluster(const QMKVD_CTX* ctx, const Window& w, int64_t at, int64_t* last) {
  const uint32_t kCrc32 = 0xBF, kVoid = 0xEC;
  Child cluster;
  Child child;
  if (!ReadChild(w, at, &cluster) || cluster.id != MKV_ID_CLUSTER) return false;
  int64_t pos = cluster.data;
  for (;; pos = child.end) {
    if (!ReadChild(w, pos, &child) || child.end > w.size) return false;
    if (child.id == MKV_ID_CLUSTER_TIMECODE) break;
    if (child.id != kCrc32 && child.id != kVoid) return false;
  }
  if (child.size > 8) return false;
  ClusterScan scan;
  scan.ctx = ctx;
  scan.w = &w;
  qcmn_mfal_mem_init(&scan.mem);
  qcmn_mfal_mem_set(&scan.mem, w.bytes, w.size);
  scan.timecode = qmkvd_b2v_u64(w.bytes + child.data, static_cast<int>(child.size));
  scan.any = false;
  scan.last = 0;
  if (child.end < cluster.end) {
    WalkWindow(&scan, child.end, cluster.end - child.end, &kCluster, nullptr);
  }
  if (scan.any) *last = scan.last;
  return scan.any;
}

// The last Cluster in the window that holds a whole block, searched from the end back.
bool LastEndInWindow(const QMKVD_CTX* ctx, const Window& w, int64_t* last) {
  static const uint8_t kClusterId[4] = {0x1F, 0x43, 0xB6, 0x75};
  for (int64_t at = w.size - 4; at >= 0; --at) {
    if (memcmp(w.bytes + at, kClusterId, sizeof(kClusterId)) != 0) continue;
    if (LastEndInCluster(ctx, w, at, last)) return true;
  }
  return false;
}

// Where the Segment's data ends: its stated end, or the end of the file.
int64_t DataEnd(const QMKVD_CTX* ctx, int64_t file_size) {
  if (qmkvd_ebml_size_is_unknown(static_cast<uint64_t>(ctx->segment_size))) return file_size;
  const int64_t end =
      qmkvd_pos_add(ctx->segment_data_pos, static_cast<uint64_t>(ctx->segment_size));
  return file_size > 0 && end > file_size ? file_size : end;
}

bool FromTail(QMKVD_CTX* ctx, int64_t* ticks) {
  QCMN_MFAL* mfal = &ctx->mfal;
  QCMN_MFAL_FILE* fp = mfal->open(mfal, 0);
  if (!fp) return false;
  int64_t file_size = 0;
  if (mfal->getsize(fp, &file_size) != 0) file_size = 0;
  const int64_t data_end = DataEnd(ctx, file_size);
  bool found = false;
  for (int64_t want : kTailWindows) {
    const int64_t start =
        data_end - want > ctx->segment_data_pos ? data_end - want : ctx->segment_data_pos;
    const int64_t size = data_end - start;
    if (size <= 0 || data_end == INT64_MAX) break;
    uint8_t* bytes = static_cast<uint8_t*>(malloc(static_cast<size_t>(size)));
    if (!bytes) break;
    const int got =
        mfal->setpos(fp, &start) == 0 ? mfal->read(fp, bytes, static_cast<int>(size)) : -1;
    if (got > 0) {
      const Window w = {bytes, got, got};
      found = LastEndInWindow(ctx, w, ticks);
    }
    free(bytes);
    if (found || start == ctx->segment_data_pos || got < size) break;
  }
  mfal->close(fp);
  return found;
}

bool FromCues(const QMKVD_CTX* ctx, int64_t* ticks) {
  if (ctx->cues.count == 0 || !ctx->cues.entries) return false;
  uint64_t last = 0;
  for (uint32_t i = 0; i < ctx->cues.count; ++i) {
    if (ctx->cues.entries[i].time > last) last = ctx->cues.entries[i].time;
  }
  *ticks = last > INT64_MAX ? INT64_MAX : static_cast<int64_t>(last);
  return true;
}

}  // namespace

bool qmkvd_find_duration(QMKVD_CTX* ctx, int64_t* ticks) {
  if (!ctx->found.cluster) return false;
  if (FromTail(ctx, ticks) || FromCues(ctx, ticks)) {
    qcmn_log(QCMN_LOG_INFO, QCMN_TAG_DEMUX, "no Duration: %lld ticks found at the end",
             static_cast<long long>(*ticks));
    return *ticks > 0;
  }
  return false;
}
