// Seeking without cues: from the Cluster that starts nearest before the time, block by block,
// testing the stream's frames for key frames by their bytes.
#include <string.h>

#include "common/qcmn_keyframe.h"
#include "common/qcmn_log.h"
#include "common/qcmn_mt.h"
#include "demux/ebml/qmkvd_ebml.h"
#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_util.h"
#include "demux/ebml/qmkvd_walk.h"
#include "demux/header/qmkvd_tracks.h"
#include "demux/qmkvd_status.h"
#include "demux/read/qmkvd_block.h"
#include "demux/seek/qmkvd_cluster.h"
#include "demux/seek/qmkvd_seek.h"

namespace {

// Non-key frames of the stream's track that one crawl may test before it gives up.
const int32_t kCrawlBudget = 1024;
// Bytes at the start of a frame that the key-frame test looks at.
const int32_t kProbeBytes = 132;
const uint8_t kKeyFlag = 0x80;  // of a SimpleBlock's flags

// The bytes of one frame as delivered, by offset: the stripped header first, then the stored
// bytes, which start at the handle's position.
class FrameBytes {
 public:
  FrameBytes(QMKVDS_CTX* s, int64_t stored) : s_(s), stored_(stored) {
    if (s->compression_algo == QMKVD_COMP_HEADER_STRIPPING && s->stripped_bytes &&
        s->stripped_count > 0) {
      prefix_ = s->stripped_bytes;
      prefix_size_ = s->stripped_count;
    }
    s->frame_mfal->getpos(s->frame_fp, &file_pos_);
  }
  int64_t Size() const { return prefix_size_ + stored_; }
  // Reads exactly `count` bytes from `offset` on; false on a short read. Stored bytes are read
  // from the file even past the frame's end: only the callers' loops stop at the frame.
  bool Read(int64_t offset, uint8_t* out, int64_t count) {
    int64_t n = 0;
    for (; n < count && offset + n < prefix_size_; ++n) out[n] = prefix_[offset + n];
    if (n == count) return true;
    const int64_t pos = file_pos_ + (offset + n - prefix_size_);
    const int want = static_cast<int>(count - n);
    return s_->frame_mfal->setpos(s_->frame_fp, &pos) == 0 &&
           s_->frame_mfal->read(s_->frame_fp, out + n, want) == want;
  }

 private:
  QMKVDS_CTX* s_;
  int64_t stored_;
  const uint8_t* prefix_ = nullptr;
  int64_t prefix_size_ = 0;
  int64_t file_pos_ = 0;
};

// Whether the frame at the handle, of `size` stored bytes, is a key frame. 0 or -2 (short read).
int32_t TestFrame(QMKVDS_CTX* s, QCMN_MT mt, int64_t size, bool* key) {
  FrameBytes frame(s, size);
  if (s->nal_length_size == 0) {
    uint8_t probe[kProbeBytes];
    const int64_t count = frame.Size() < kProbeBytes ? frame.Size() : kProbeBytes;
    if (!frame.Read(0, probe, count)) return QMKVD_ERR_NOT_FOUND;
    *key = qcmn_is_vkeyfrm(mt, probe, static_cast<int32_t>(count)) != 0;
    return QMKVD_OK;
  }
  // Length-prefixed NAL units: a key frame when any unit's header says so.
  const int64_t length_size = s->nal_length_size;
  for (int64_t unit = 0; unit < frame.Size();) {
    uint8_t field[4];
    uint8_t header[5] = {0, 0, 0, 1, 0};
    if (!frame.Read(unit, field, length_size) || !frame.Read(unit + length_size, &header[4], 1)) {
      return QMKVD_ERR_NOT_FOUND;
    }
    if (qcmn_is_vkeyfrm(mt, header, sizeof(header)) != 0) {
      *key = true;
      return QMKVD_OK;
    }
    int64_t length = 0;
    for (int64_t i = 0; i < length_size; ++i) length = (length << 8) | field[i];
    unit += length_size + length;  // the length field alone moves the walk on
  }
  return QMKVD_OK;
}

// The block the crawl stands at.
struct CrawlBlock {
  int64_t start;        // its element, where the cursor is put back to deliver it
  int64_t payload_end;  // first byte after it
  int64_t time_ns;
  bool in_group;    // a Block of a BlockGroup...
  bool referenced;  // ...that has a ReferenceBlock
};

// Track number and time of the block, with the handle left at its flags byte. 0 or -1.
int32_t ReadBlockHeader(QMKVDS_CTX* s, const QMKVD_BLOCK_LOCATOR& loc, uint32_t* track,
                        int64_t* time_ns) {
  uint8_t timecode[2];
  if (s->mfal->setpos(s->fp, &loc.data_pos) != 0) return QMKVD_ERR_READ;
  if (qmkvd_ebml_get_len32(s->mfal, s->fp, track) != 0) return QMKVD_ERR_READ;
  if (s->mfal->read(s->fp, timecode, 2) != 2) return QMKVD_ERR_READ;
  const int16_t relative = static_cast<int16_t>((timecode[0] << 8) | timecode[1]);
  *time_ns = qmkvd_ticks_to_ns(qmkvd_block_ticks(s->cluster.timecode, relative),
                               s->owner->info.timecode_scale);
  return QMKVD_OK;
}

// Whether the block at the handle (its flags byte) may be landed on. 0, -1, -2 or -3.
int32_t IsSyncBlock(QMKVDS_CTX* s, QCMN_MT mt, const CrawlBlock& block, bool* key) {
  *key = false;
  if (s->key_frame_test != 1) {
    uint8_t flags = 0;
    if (s->mfal->read(s->fp, &flags, 1) != 1) return QMKVD_ERR_READ;
    *key = true;
    return QMKVD_OK;
  }
  const int32_t laced = qmkvd_take_frames(s, block.payload_end);
  const int64_t first_frame = s->lace_sizes[0];
  const bool is_laced = s->lace_count > 0;
  s->lace_cursor = -1;  // the crawl only looks: the reader takes the block from its start
  if (laced != QMKVD_OK) return laced;
  // The container's word first, as the reader takes it: a SimpleBlock's key bit, a BlockGroup
  // without ReferenceBlock. The bitstream is asked only where the container says no: it has no
  // rule for AV1, MPEG-2, MJPEG or open-GOP H.264.
  const bool flagged = block.in_group ? !block.referenced : (s->block_flags & kKeyFlag) != 0;
  if (flagged) {
    *key = true;
    return QMKVD_OK;
  }
  if (s->nal_length_size != 0 && is_laced) return QMKVD_ERR_UNUSABLE;
  return TestFrame(s, mt, first_frame, key);
}

int32_t EnterCluster(QMKVDS_CTX* s, int64_t data_pos, uint64_t size, bool unknown_size) {
  qmkvd_cluster_enter(&s->cluster, data_pos, size, unknown_size);
  return parse_cluster(s->mfal, s->fp, &s->cluster) == 0 ? QMKVD_OK : QMKVD_ERR_UNUSABLE;
}

// Forward: the Cluster that follows the current one. 0, 1 (none follows), -1 or -3.
int32_t NextCluster(QMKVDS_CTX* s) {
  const int64_t next = qmkvd_cluster_end(s->mfal, s->fp, &s->cluster);
  uint64_t size = 0;
  int64_t payload = 0;
  if (!qmkvd_cluster_next(s->mfal, s->fp, next, &size, &payload)) return QMKVD_END;
  return EnterCluster(s, payload, size, qmkvd_ebml_size_is_unknown(size));
}

struct Crawl {
  QMKVDS_CTX* s;
  QCMN_MT mt;
  int64_t target_ns;
  bool forward;
  QMKVD_CLUSTER* node;  // the list node of the current Cluster (backward steps)
  bool have_candidate;
  QMKVD_CLUSTER_STATE candidate_cluster;
  int64_t candidate_block;
};

int32_t StepBack(Crawl* c) {
  if (!c->node || !c->node->prev) return QMKVD_ERR_UNUSABLE;
  c->node = c->node->prev;
  return EnterCluster(c->s, c->node->data_pos, c->node->size, c->node->unknown_size != 0);
}

int32_t LandOnCandidate(Crawl* c) {
  c->s->cluster = c->candidate_cluster;
  c->s->cluster.block_pos = c->candidate_block;
  return QMKVD_OK;
}

void Accept(Crawl* c, const CrawlBlock& block, int64_t* out) {
  QMKVDS_CTX* s = c->s;
  const int64_t time = qmkvd_ns_to_time(block.time_ns);
  if (out) *out = time;
  s->target_time = time;
  qmkvds_forget_frame(s);
  c->have_candidate = true;
  c->candidate_cluster = s->cluster;
  c->candidate_block = block.start;
}

}  // namespace

int32_t qmkvds_seek_crawl(QMKVDS_CTX* s, int64_t time, int64_t* out, uint32_t direction) {
  if (!s || s->check != QMKVDS_CHECK) return QMKVD_ERR_HANDLE;
  if (!s->open) return QMKVD_ERR_NOT_FOUND;
  if (!s->node_list) {
    const int32_t built = qmkvds_make_cluster_list(s);
    if (built != QMKVD_OK) return built;
  }
  Crawl c = {s,
             qcmn_fcc2mt(s->codec_tag),
             qmkvd_time_to_ns(time),
             direction != 0,
             nullptr,
             false,
             QMKVD_CLUSTER_STATE(),
             0};
  // The list counts in nanoseconds, the seek in 100-ns units: a Cluster that starts within the
  // 100 ns the time names starts at it.
  c.node = qmkvds_find_cluster_list(s->node_list, 0, qmkvd_time_add(c.target_ns, 99));
  if (!c.node) return QMKVD_ERR_UNUSABLE;
  if (EnterCluster(s, c.node->data_pos, c.node->size, c.node->unknown_size != 0) != QMKVD_OK)
    return QMKVD_ERR_UNUSABLE;
  for (int32_t budget = kCrawlBudget; budget > 0;) {
    const int64_t start = s->cluster.block_pos;
    QMKVD_BLOCK_LOCATOR loc = QMKVD_BLOCK_LOCATOR();
    const bool in_cluster = start < qmkvd_pos_add(s->cluster.data_pos, s->cluster.size);
    if (!in_cluster || parse_cluster_blockgroup(s->mfal, s->fp, &loc, &s->cluster, 0) != 0) {
      // No further block in this Cluster.
      if (!c.forward && c.have_candidate) return LandOnCandidate(&c);
      const int32_t moved = c.forward ? NextCluster(s) : StepBack(&c);
      if (moved != QMKVD_OK) return moved;
      continue;
    }
    if (loc.data_pos == 0) continue;  // a BlockGroup without a Block
    CrawlBlock block = {start, qmkvd_pos_add(loc.data_pos, loc.size), 0, loc.in_group != 0,
                        loc.referenced != 0};
    uint32_t track = 0;
    if (ReadBlockHeader(s, loc, &track, &block.time_ns) != QMKVD_OK) return QMKVD_ERR_READ;
    if (track != s->track.number) continue;
    // Compared in the 100-ns units of the seek: a block at the time asked for is at it, however
    // its nanoseconds round.
    const int64_t block_time = qmkvd_ns_to_time(block.time_ns);
    const int64_t target_time = qmkvd_ns_to_time(c.target_ns);
    if (!c.forward && block_time > target_time) {
      if (c.have_candidate) return LandOnCandidate(&c);
      const int32_t stepped = StepBack(&c);
      if (stepped != QMKVD_OK) return stepped;
      continue;
    }
    if (c.forward && block_time < target_time) continue;
    bool key = false;
    const int32_t tested = IsSyncBlock(s, c.mt, block, &key);
    if (tested != QMKVD_OK) return tested;
    if (!key) {
      --budget;
      continue;
    }
    Accept(&c, block, out);
    if (c.forward) return LandOnCandidate(&c);
  }
  qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "No Key frame found within next 1024 frames");
  return QMKVD_ERR_NOT_FOUND;
}
