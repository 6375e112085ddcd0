#include "demux/header/qmkvd_duration.h"

#include <stdlib.h>
#include <string.h>

#include "common/qcmn_log.h"
#include "demux/ebml/qmkvd_ebml.h"
#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_util.h"
#include "demux/ebml/qmkvd_walk.h"
#include "demux/read/qmkvd_block.h"

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
      w.bytes + at, avail > 12 ? 12 : static_cast<int>(avail), &child->id, &child->size);
  if (header < 0) return false;
  child->data = at + header;
  child->end =
      qmkvd_ebml_size_is_unknown(child->size) ? INT64_MAX : qmkvd_pos_add(child->data, child->size);
  return true;
}

int64_t TrackDefaultTicks(const QMKVD_CTX* ctx, uint32_t number) {
  for (uint32_t i = 0; i < ctx->tracks.count && i < QMKVD_MAX_TRACKS; ++i) {
    const QMKVD_TRACK& t = ctx->tracks.slots[i];
    if (t.number == number) return t.default_duration / ctx->info.timecode_scale;
  }
  return 0;
}

// Track number and relative timecode at the start of a block's payload.
bool BlockHeader(const Window& w, int64_t at, int64_t end, uint32_t* track, int16_t* relative) {
  if (at >= end || end > w.size) return false;
  return qmkvd_block_head(w.bytes + at, end - at, track, relative) > 0;
}

// The end (time plus duration, in ticks) of a SimpleBlock or BlockGroup that lies whole in the
// data; false for anything else.
bool BlockEnd(const QMKVD_CTX* ctx, const Window& w, const Child& block, uint64_t timecode,
              int64_t* end) {
  if (block.end > w.data_end) return false;  // cut off: the reader stops before it
  uint32_t track = 0;
  int16_t relative = 0;
  int64_t duration = -1;
  if (block.id == MKV_ID_SIMPLE_BLOCK) {
    if (!BlockHeader(w, block.data, block.end, &track, &relative)) return false;
  } else {
    bool found = false;
    Child child;
    for (int64_t at = block.data; at < block.end && ReadChild(w, at, &child); at = child.end) {
      if (child.end > block.end) break;
      if (child.id == MKV_ID_BLOCK) {
        found = BlockHeader(w, child.data, child.end, &track, &relative);
      } else if (child.id == MKV_ID_BLOCK_DURATION && child.size <= 8) {
        const uint64_t value = qmkvd_b2v_u64(w.bytes + child.data, static_cast<int>(child.size));
        duration = value > INT64_MAX ? INT64_MAX : static_cast<int64_t>(value);
      }
    }
    if (!found) return false;
  }
  if (duration < 0) duration = TrackDefaultTicks(ctx, track);
  *end = qmkvd_time_add(qmkvd_block_ticks(timecode, relative), duration);
  return true;
}

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
  const uint64_t timecode = qmkvd_b2v_u64(w.bytes + child.data, static_cast<int>(child.size));
  bool any = false;
  for (pos = child.end; pos < cluster.end && ReadChild(w, pos, &child); pos = child.end) {
    if (child.id == MKV_ID_CLUSTER) break;  // the next Cluster, after one of unknown size
    int64_t end = 0;
    if ((child.id == MKV_ID_SIMPLE_BLOCK || child.id == MKV_ID_BLOCK_GROUP) &&
        BlockEnd(ctx, w, child, timecode, &end)) {
      *last = any && *last > end ? *last : end;
      any = true;
    }
    if (child.end > w.data_end) break;
  }
  return any;
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
