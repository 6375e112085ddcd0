// The frame readers: a whole block per call, or one lace per call.
#include <stdlib.h>
#include <string.h>

#include "common/qcmn_keyframe.h"
#include "common/qcmn_log.h"
#include "common/qcmn_mt.h"
#include "demux/ebml/qmkvd_util.h"
#include "demux/header/qmkvd_tracks.h"
#include "demux/qmkvd_status.h"
#include "demux/read/qmkvd_block.h"
#include "demux/read/qmkvd_framing.h"
#include "demux/read/qmkvd_nal.h"

namespace {

enum : uint8_t { kKeyFlag = 0x80 };

// After a seek, at most this many non-key video frames are dropped in one call.
const int32_t kMaxDroppedAfterSeek = 10000;
// Frames outside (0, this] are not inspected for a key frame.
const int64_t kMaxInspectedFrame = 0x7FFFFBFF;
// Slack of the scratch buffer for inspecting a frame, for start codes longer than lengths.
const int64_t kInspectSlack = 1024;
// An empty subtitle frame stands this far (100-ns units) before the block that ended the wait.
const int64_t kEmptyTextLead = 1000000;

struct Request {
  uint8_t* buffer;
  int32_t capacity;
  uint32_t* size;
  int64_t* time;
  int64_t* end_time;
  int32_t* sync;
};

void SetTimes(const Request& r, int64_t time, int64_t end_time) {
  if (!r.time) return;
  *r.time = time;
  if (r.end_time) *r.end_time = end_time;
}

void SetSync(const Request& r, const QMKVDS_CTX* s) {
  if (r.sync) *r.sync = s->block_key;
}

// A SimpleBlock is a key frame by its flags byte; the Block of a BlockGroup by its group having
// no ReferenceBlock.
// Every frame of audio decodes on its own, whatever its block says: GStreamer leaves the key bit
// of audio SimpleBlocks clear, and players take each audio frame as a sync point all the same.
void TakeKey(QMKVDS_CTX* s, const QMKVD_BLOCK& block) {
  if (s->kind == QMKVD_TRACK_AUDIO) {
    s->block_key = 1;
    return;
  }
  s->block_key = block.in_group ? !block.referenced : (s->block_flags & kKeyFlag) != 0;
}

int32_t EndOfData() {
  qcmn_log(QCMN_LOG_DEBUG, QCMN_TAG_DEMUX, "get_blockgroup no more find block data. maybe EOF");
  return QMKVD_END;
}

int64_t StrippedPerFrame(const QMKVDS_CTX* s) {
  return (s->compression_algo == static_cast<int32_t>(QMKVD_COMP_HEADER_STRIPPING) &&
          s->stripped_bytes)
             ? s->stripped_count
             : 0;
}

bool ResizesNals(const QMKVDS_CTX* s) {
  return s->nal_length_size != 0 && s->nal_length_size != 4;
}

int32_t RewriteNals(QMKVDS_CTX* s, uint8_t* out, int64_t frame_size, int64_t capacity,
                    uint32_t* written) {
  const int32_t size = static_cast<int32_t>(frame_size);
  const int32_t cap = capacity > INT32_MAX ? INT32_MAX : static_cast<int32_t>(capacity);
  if (StrippedPerFrame(s) > 0) {
    return modify_nal_header3(s->frame_mfal, s->frame_fp, out, size, cap, s->nal_length_size,
                              written, s->stripped_count, s->stripped_bytes);
  }
  return modify_nal_header2(s->frame_mfal, s->frame_fp, out, size, cap, s->nal_length_size,
                            written);
}

bool ReadExact(QMKVDS_CTX* s, uint8_t* out, int64_t count) {
  if (count < 1) return true;
  return s->frame_mfal->read(s->frame_fp, out, static_cast<int>(count)) == count;
}

// Reads one lace (with its stripped header in front) to out. On a short read the handle is
// moved past the lace so that the next lace is read from its own start.
bool ReadLace(QMKVDS_CTX* s, uint8_t* out, uint32_t lace_size) {
  const int64_t strip = StrippedPerFrame(s);
  if (strip > 0) memcpy(out, s->stripped_bytes, static_cast<size_t>(strip));
  int64_t start = 0;
  s->frame_mfal->getpos(s->frame_fp, &start);
  if (ReadExact(s, out + strip, lace_size)) return true;
  const int64_t end = start + lace_size;
  s->frame_mfal->setpos(s->frame_fp, &end);
  return false;
}

// --- whole-block reader ---------------------------------------------------------------------

// Size of the current block as delivered: stripped headers restored, NAL lengths rewritten.
int32_t BlockOutputSize(QMKVDS_CTX* s, int64_t* size) {
  const int64_t raw = qmkvd_block_bytes(s);
  if (ResizesNals(s)) {
    if (s->lace_count > 0) return QMKVD_ERR_UNUSABLE;
    uint32_t written = 0;
    const int32_t status = RewriteNals(s, nullptr, raw, 0, &written);
    *size = written;
    return status;
  }
  *size = raw + (s->lace_count + 1) * StrippedPerFrame(s);
  return QMKVD_OK;
}

// Whether the current block (a video frame without the key flag) is a key frame by its bytes.
// The handle is left where it was. -4 when no scratch memory could be had.
int32_t InspectKeyFrame(QMKVDS_CTX* s, const Request& r, bool* key) {
  *key = false;
  const int64_t raw = qmkvd_block_bytes(s);
  if (raw <= 0 || raw > kMaxInspectedFrame) return QMKVD_OK;
  int64_t start = 0;
  if (s->frame_mfal->getpos(s->frame_fp, &start) != 0) return QMKVD_OK;
  uint32_t written = 0;
  int32_t status = QMKVD_ERR_SMALL;
  const uint8_t* bytes = r.buffer;
  uint8_t* scratch = nullptr;
  if (r.buffer) status = RewriteNals(s, r.buffer, raw, r.capacity, &written);
  if (status == QMKVD_ERR_SMALL) {
    // A frame larger than what the file holds after it cannot be read whole, so it cannot test
    // as a key frame: say so without allocating what a hostile block size asks for.
    int64_t file_size = 0;
    if (s->frame_mfal->getsize(s->frame_fp, &file_size) == 0 && file_size > 0 &&
        raw > file_size - start) {
      s->frame_mfal->setpos(s->frame_fp, &start);
      return QMKVD_OK;
    }
    s->frame_mfal->setpos(s->frame_fp, &start);
    scratch = static_cast<uint8_t*>(malloc(static_cast<size_t>(raw + kInspectSlack)));
    if (!scratch) {
      qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "alloc failed");
      return QMKVD_ERR_ALLOC;
    }
    status = RewriteNals(s, scratch, raw, raw + kInspectSlack, &written);
    bytes = scratch;
  }
  if (status == QMKVD_OK && written > 0) {
    *key =
        qcmn_is_vkeyfrm(qcmn_fcc2mt_vid(s->codec_tag), bytes, static_cast<int32_t>(written)) != 0;
  }
  free(scratch);
  s->frame_mfal->setpos(s->frame_fp, &start);
  return QMKVD_OK;
}

// Walks to the next block that can be delivered: times it, reads its lacing and, after a seek,
// drops video frames until a key frame. *empty_text is set for a subtitle stream that waited
// long enough (the frame is then an empty one, already timed).
int32_t NextWholeBlock(QMKVDS_CTX* s, const Request& r, bool* empty_text) {
  *empty_text = false;
  for (int32_t dropped = 0;; ++dropped) {
    QMKVD_BLOCK block;
    const int32_t walked = get_blockgroup(s, &block);
    if (walked == QMKVD_END) return EndOfData();
    if (walked != QMKVD_OK) return walked;
    const int64_t t = qmkvd_time_block(s, &block);
    if (block.other_track) {
      *empty_text = true;
      s->empty_time = qmkvd_time_sub(t, kEmptyTextLead);
      s->empty_end_time = qmkvd_time_sub(s->block_end_time, kEmptyTextLead);
      SetTimes(r, s->empty_time, s->empty_end_time);
      return QMKVD_OK;
    }
    const int32_t laced = qmkvd_take_frames(s, block.payload_end);
    if (laced != QMKVD_OK) return laced;
    TakeKey(s, block);
    const bool key_flag = s->block_key != 0;
    if (s->key_frame_pending && s->kind == QMKVD_TRACK_VIDEO && !key_flag &&
        s->nal_length_size >= 1) {
      bool key = false;
      const int32_t inspected = InspectKeyFrame(s, r, &key);
      if (inspected != QMKVD_OK) return inspected;
      if (!key) {
        if (dropped + 1 > kMaxDroppedAfterSeek) {
          qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "Cannot find keyframe after seeking %d",
                   kMaxDroppedAfterSeek + 1);
          return QMKVD_ERR_NOT_FOUND;
        }
        continue;
      }
      s->key_frame_pending = 0;
    } else if (key_flag || s->kind != QMKVD_TRACK_VIDEO) {
      s->key_frame_pending = 0;
    }
    SetTimes(r, s->block_time, s->block_end_time);
    return QMKVD_OK;
  }
}

// Delivers the current block. Whatever the outcome, the block is used up: the handle has moved
// into it, so the next call goes on with the next block.
int32_t DeliverWholeBlock(QMKVDS_CTX* s, const Request& r, int64_t announced) {
  s->pending_size = 0;
  s->frame_announced = 0;
  if (announced > r.capacity) return QMKVD_ERR_SMALL;
  const int64_t raw = qmkvd_block_bytes(s);
  if (s->nal_length_size != 0) {
    if (s->lace_count > 0) return QMKVD_ERR_UNUSABLE;
    return RewriteNals(s, r.buffer, raw, r.capacity, r.size);
  }
  const int64_t strip = StrippedPerFrame(s);
  const int64_t total = raw + (s->lace_count + 1) * strip;
  if (total > r.capacity) return QMKVD_ERR_SMALL;
  if (strip > 0) {
    uint8_t* out = r.buffer;
    bool complete = true;
    for (int i = 0; i <= s->lace_count; ++i) {
      complete = ReadLace(s, out, s->lace_sizes[i]) && complete;
      out += strip + s->lace_sizes[i];
    }
    if (!complete) return QMKVD_ERR_ALLOC;
  } else if (!ReadExact(s, r.buffer, raw)) {
    return QMKVD_ERR_ALLOC;
  }
  *r.size = static_cast<uint32_t>(total);
  return QMKVD_OK;
}

// --- lace-by-lace reader --------------------------------------------------------------------

bool BlockHasFrames(const QMKVDS_CTX* s) {
  return s->frame_announced != 0 || (s->lace_count >= 1 && s->lace_cursor >= 0);
}

int32_t CurrentLace(const QMKVDS_CTX* s) {
  return s->lace_count - s->lace_cursor;
}

// Up to QMKVD_FRAMING_HEAD bytes from the start of the current lace (its stripped header
// first), the handle left where it was. The count read.
int32_t PeekLace(QMKVDS_CTX* s, uint8_t* head) {
  const int64_t strip = StrippedPerFrame(s);
  const int64_t size = strip + s->lace_sizes[CurrentLace(s)];
  const int32_t want = size < QMKVD_FRAMING_HEAD ? static_cast<int32_t>(size) : QMKVD_FRAMING_HEAD;
  int32_t got = 0;
  for (; got < want && got < strip; ++got) head[got] = s->stripped_bytes[got];
  if (got == want) return got;
  int64_t start = 0;
  if (s->frame_mfal->getpos(s->frame_fp, &start) != 0) return got;
  const int read = s->frame_mfal->read(s->frame_fp, head + got, want - got);
  s->frame_mfal->setpos(s->frame_fp, &start);
  return read > 0 ? got + read : got;
}

// Times the current lace: the block's time plus the durations of the laces before it, each by
// the track's framing rule or, where none applies, its share of the gap to the next block.
void SetLaceTimes(QMKVDS_CTX* s, const Request& r) {
  uint8_t head[QMKVD_FRAMING_HEAD] = {0};
  const int32_t got = qmkvd_framing_reads_frames(&s->framing) ? PeekLace(s, head) : 0;
  int64_t ns = qmkvd_framing_duration(&s->framing, head, got, &s->lace_block_size);
  if (ns < 0) ns = qmkvd_time_to_ns(s->lace_duration);
  s->lace_ns = ns;
  const int64_t time = qmkvd_time_add(s->block_time, qmkvd_ns_to_time(s->lace_offset_ns));
  const int64_t end =
      qmkvd_time_add(s->block_time, qmkvd_ns_to_time(qmkvd_time_add(s->lace_offset_ns, ns)));
  SetTimes(r, time, end);
}

// The current lace is used up: the next one starts after it.
void NextLace(QMKVDS_CTX* s) {
  s->lace_cursor--;
  s->lace_offset_ns = qmkvd_time_add(s->lace_offset_ns, s->lace_ns);
  qmkvd_framing_commit(&s->framing, s->lace_block_size);
}

int32_t NextLacedBlock(QMKVDS_CTX* s) {
  QMKVD_BLOCK block;
  const int32_t walked = get_blockgroup(s, &block);
  if (walked == QMKVD_END) return EndOfData();
  if (walked != QMKVD_OK) return walked;
  qmkvd_time_block(s, &block);
  s->frames_in_block = s->lace_count + 1;
  const int32_t laced = qmkvd_take_frames(s, block.payload_end);
  if (laced != QMKVD_OK) return laced;
  TakeKey(s, block);
  s->lace_offset_ns = 0;
  // The gap measured at this block belongs to the previous one, whose frames share it.
  if (s->frames_in_block < 2) {
    s->lace_duration = s->frame_duration / (s->lace_count + 1);
  } else {
    s->lace_duration = qmkvd_time_sub(s->block_end_time, s->block_time) / s->frames_in_block;
  }
  return QMKVD_OK;
}

// Delivers the current lace. A lace too big for the buffer stays current; otherwise the lace
// is used up whatever the outcome.
int32_t DeliverLace(QMKVDS_CTX* s, const Request& r) {
  const uint32_t lace = s->lace_sizes[CurrentLace(s)];
  const int64_t size = lace + StrippedPerFrame(s);
  if (s->nal_length_size == 0 && size > r.capacity) {
    s->pending_size = 0;
    s->frame_announced = 0;
    return QMKVD_ERR_SMALL;
  }
  NextLace(s);
  s->pending_size = 0;
  s->frame_announced = 0;
  if (s->nal_length_size != 0) {
    if (s->lace_count > 0) return QMKVD_ERR_UNUSABLE;
    return RewriteNals(s, r.buffer, lace, r.capacity, r.size);
  }
  if (!ReadLace(s, r.buffer, lace)) return QMKVD_ERR_READ;
  *r.size = static_cast<uint32_t>(size);
  return QMKVD_OK;
}

int32_t AnnounceLace(QMKVDS_CTX* s, const Request& r) {
  const uint32_t lace = s->lace_sizes[CurrentLace(s)];
  int64_t size = lace + StrippedPerFrame(s);
  if (ResizesNals(s)) {
    if (s->lace_count > 0) return QMKVD_ERR_UNUSABLE;
    uint32_t written = 0;
    const int32_t status = RewriteNals(s, nullptr, lace, 0, &written);
    if (status != QMKVD_OK) return status;
    size = written;
  }
  s->pending_size = static_cast<uint32_t>(size);
  s->frame_announced = 1;
  *r.size = s->pending_size;
  return QMKVD_OK;
}

bool ValidStream(const QMKVDS_CTX* s) {
  return s && s->check == QMKVDS_CHECK;
}

}  // namespace

int32_t qmkvds_get_frm_default(QMKVDS_CTX* s, uint8_t* buffer, int32_t capacity, uint32_t* size,
                               int64_t* time, int64_t* end_time, int32_t* sync) {
  if (!ValidStream(s) || !size) return QMKVD_ERR_HANDLE;
  const Request r{buffer, capacity, size, time, end_time, sync};
  *size = 0;
  if (sync) *sync = 0;
  if (s->empty_pending) {  // an empty subtitle frame announced by a size query
    SetTimes(r, s->empty_time, s->empty_end_time);
    if (buffer) s->empty_pending = 0;
    return QMKVD_OK;
  }
  int64_t announced = s->pending_size;
  if (s->frame_announced) {
    SetTimes(r, s->block_time, s->block_end_time);
  } else {
    bool empty_text = false;
    const int32_t found = NextWholeBlock(s, r, &empty_text);
    if (found != QMKVD_OK) return found;
    if (empty_text) {
      s->pending_size = 0;
      s->frame_announced = 0;
      if (!buffer) s->empty_pending = 1;
      return QMKVD_OK;
    }
    if (!buffer) {
      const int32_t sized = BlockOutputSize(s, &announced);
      if (sized != QMKVD_OK) return sized;
      s->pending_size = static_cast<uint32_t>(announced);
      s->frame_announced = 1;
      *size = s->pending_size;
      SetSync(r, s);
      return QMKVD_OK;
    }
    announced = qmkvd_block_bytes(s);
  }
  SetSync(r, s);
  if (!buffer) {  // asked for the size again: still the same frame
    *size = s->pending_size;
    return QMKVD_OK;
  }
  return DeliverWholeBlock(s, r, announced);
}

int32_t qmkvds_get_frm_onebyone(QMKVDS_CTX* s, uint8_t* buffer, int32_t capacity, uint32_t* size,
                                int64_t* time, int64_t* end_time, int32_t* sync) {
  if (!ValidStream(s) || !size) return QMKVD_ERR_HANDLE;
  const Request r{buffer, capacity, size, time, end_time, sync};
  *size = 0;
  if (sync) *sync = 0;
  if (!BlockHasFrames(s)) {
    const int32_t found = NextLacedBlock(s);
    if (found != QMKVD_OK) return found;
  }
  SetLaceTimes(s, r);
  SetSync(r, s);
  if (!buffer) return AnnounceLace(s, r);
  return DeliverLace(s, r);
}

int32_t qmkvds_get_frm(QMKVDS_CTX* s, uint8_t* buffer, int32_t capacity, uint32_t* size,
                       int64_t* time, int64_t* end_time, int32_t* sync) {
  if (!ValidStream(s)) return QMKVD_ERR_HANDLE;
  if (!s->open) return QMKVD_ERR_NOT_FOUND;
  if (!size || !s->read_fn) return QMKVD_ERR_HANDLE;
  return s->read_fn(s, buffer, capacity, size, time, end_time, sync);
}
