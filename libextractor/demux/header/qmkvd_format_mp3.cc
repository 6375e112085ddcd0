// The block size of an MPEG layer-3 track, from the header of its first frame: what the
// layer-3 extension of a WAVEFORMATEX carries.
#include "demux/ebml/qmkvd_ebml.h"
#include "demux/ebml/qmkvd_ids.h"
#include "demux/ebml/qmkvd_walk.h"
#include "demux/header/qmkvd_format.h"
#include "demux/header/qmkvd_tracks.h"
#include "demux/read/qmkvd_block.h"
#include "demux/read/qmkvd_inflate.h"
#include "demux/seek/qmkvd_cluster.h"

namespace {

// Blocks looked at before the probe gives up finding one of the track.
const uint32_t kMaxProbedBlocks = 4096;
const uint32_t kFrameHeaderSize = 4;

// 144 x the MPEG-1 layer III bit rate of each bit-rate index (0 and 15 have none).
const uint32_t k144Bitrate[16] = {0,        4608000,  5760000,  6912000,  8064000,  9216000,
                                  11520000, 13824000, 16128000, 18432000, 23040000, 27648000,
                                  32256000, 36864000, 46080000, 0};
const uint32_t kSampleRates[3] = {44100, 48000, 32000};

// A file handle of its own, given back whatever happens.
class ProbeFile {
 public:
  explicit ProbeFile(QCMN_MFAL* mfal) : mfal_(mfal), fp_(mfal->open(mfal, 0)) {}
  ~ProbeFile() {
    if (fp_) mfal_->close(fp_);
  }
  ProbeFile(const ProbeFile&) = delete;
  ProbeFile& operator=(const ProbeFile&) = delete;
  QCMN_MFAL* mfal() const { return mfal_; }
  QCMN_MFAL_FILE* fp() const { return fp_; }

 private:
  QCMN_MFAL* mfal_;
  QCMN_MFAL_FILE* fp_;
};

bool ReadByte(const ProbeFile& f, uint8_t* b) {
  return f.mfal()->read(f.fp(), b, 1) == 1;
}

// The Cluster after the current one, when one follows.
bool NextCluster(const ProbeFile& f, QMKVD_CLUSTER_STATE* c) {
  const int64_t next = qmkvd_pos_add(c->data_pos, c->size);
  uint32_t id = 0;
  uint64_t size = 0;
  int64_t payload = 0;
  if (f.mfal()->setpos(f.fp(), &next) != 0 ||
      qmkvd_ebml_get_id_len64(f.mfal(), f.fp(), &id, &size) != 0 || id != MKV_ID_CLUSTER ||
      f.mfal()->getpos(f.fp(), &payload) != 0) {
    return false;
  }
  c->data_pos = payload;
  c->size = size > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(size);
  c->timecode = 0;
  return parse_cluster(f.mfal(), f.fp(), c) == 0;
}

// Positions the handle after the flags byte of the first block of `track`; *flags gets it.
bool FindFirstBlock(const ProbeFile& f, QMKVD_CLUSTER_STATE* c, uint32_t track, uint8_t* flags,
                    uint32_t* payload) {
  for (uint32_t probed = 0; probed < kMaxProbedBlocks; ++probed) {
    QMKVD_BLOCK_LOCATOR loc = QMKVD_BLOCK_LOCATOR();
    const bool in_cluster = c->block_pos < qmkvd_pos_add(c->data_pos, c->size);
    if (!in_cluster || parse_cluster_blockgroup(f.mfal(), f.fp(), &loc, c, 0) != 0) {
      if (!NextCluster(f, c)) return false;
      continue;
    }
    if (loc.data_pos == 0) continue;  // a BlockGroup without a Block
    uint32_t number = 0;
    uint8_t timecode[2];
    if (f.mfal()->setpos(f.fp(), &loc.data_pos) != 0 ||
        qmkvd_ebml_get_len32(f.mfal(), f.fp(), &number) != 0 ||
        f.mfal()->read(f.fp(), timecode, 2) != 2 || !ReadByte(f, flags)) {
      return false;
    }
    if (number == track) {
      *payload = loc.size;
      return true;
    }
  }
  return false;
}

// Steps over the lace count and lace sizes; `budget` bounds the bytes read (the block's size).
bool SkipLacing(const ProbeFile& f, uint8_t flags, uint32_t budget) {
  const int lacing = qmkvd_lacing_of(flags);
  if (lacing == 0) return true;
  uint8_t count = 0;
  if (!ReadByte(f, &count)) return false;
  if (lacing == QMKVD_LACING_FIXED) return true;
  for (uint32_t sizes = 0; sizes < count;) {
    if (lacing == QMKVD_LACING_XIPH) {
      uint8_t b = 0;
      if (budget == 0 || !ReadByte(f, &b)) return false;
      --budget;
      if (b != 255) ++sizes;
    } else {
      uint32_t value = 0;
      uint32_t length = 0;
      if (qmkvd_ebml_get_len32_rel(f.mfal(), f.fp(), &value, &length) != 0) return false;
      ++sizes;
    }
  }
  return true;
}

// The first four bytes of the frame: stripped header bytes first, the rest from the block; or
// inflated from the block when the track stores its frames zlib-compressed.
bool ReadFrameHeader(const ProbeFile& f, const QMKVD_TRACK* t, uint32_t payload,
                     uint8_t header[kFrameHeaderSize]) {
  if (qmkvd_track_inflates_frames(t)) {
    return qmkvd_inflate_head(f.mfal(), f.fp(), payload, header, kFrameHeaderSize);
  }
  const QMKVD_COMPRESSION& comp = t->encodings.first.compression;
  uint32_t have = 0;
  if (comp.algo == QMKVD_COMP_HEADER_STRIPPING && comp.settings) {
    for (; have < comp.settings_size && have < kFrameHeaderSize; ++have) {
      header[have] = comp.settings[have];
    }
  }
  const int rest = static_cast<int>(kFrameHeaderSize - have);
  return rest == 0 || f.mfal()->read(f.fp(), header + have, rest) == rest;
}

}  // namespace

bool qmkvd_mp3_block_size(QMKVD_CTX* ctx, const QMKVD_TRACK* t, uint16_t* block_size,
                          bool* has_size) {
  *has_size = false;
  if (!ctx->found.cluster) return false;
  ProbeFile f(&ctx->mfal);
  if (!f.fp()) return false;
  QMKVD_CLUSTER_STATE c = QMKVD_CLUSTER_STATE();
  c.data_pos = ctx->first_cluster.pos.data_pos;
  c.size = ctx->first_cluster.pos.size;
  if (parse_cluster(f.mfal(), f.fp(), &c) != 0) return false;
  uint8_t flags = 0;
  uint32_t payload = 0;
  uint8_t header[kFrameHeaderSize];
  if (!FindFirstBlock(f, &c, t->number, &flags, &payload) || !SkipLacing(f, flags, payload) ||
      !ReadFrameHeader(f, t, payload, header)) {
    return false;
  }
  const uint32_t rate_index = (header[2] >> 2) & 3;
  if (rate_index >= 3) return true;  // reserved rate: no block size
  const uint32_t padding = (header[2] >> 1) & 1;
  *block_size =
      static_cast<uint16_t>(k144Bitrate[header[2] >> 4] / kSampleRates[rate_index] + padding);
  *has_size = true;
  return true;
}
