#include "demux/read/qmkvd_inflate.h"

#include <stdlib.h>
#include <string.h>
#include <zlib.h>

#include <new>

#include "common/qcmn_log.h"
#include "demux/header/qmkvd_tracks.h"
#include "demux/qmkvd_status.h"
#include "mfal/qcmn_mfal_mem.h"

struct QMKVD_INFLATER {
  z_stream z;
  bool z_ready;
  uint8_t* bytes;  // the current block, inflated
  size_t capacity;
  QCMN_MFAL_MEM source;     // reads `bytes`
  uint8_t chunk[16 << 10];  // stored bytes on their way from the file to zlib
};

namespace {

const uint32_t kScopeFrames = 1;
const uint32_t kScopePrivate = 2;

bool IsZlib(const QMKVD_TRACK* t) {
  const QMKVD_ENCODING& e = t->encodings.first;
  return t->encodings.count > 0 && e.type == 0 && e.compression.data_pos != 0 &&
         e.compression.algo == QMKVD_COMP_ZLIB;
}

// Makes room for `need` bytes in a buffer that grows by doubling, never past `most` bytes.
// False when out of memory.
bool Reserve(uint8_t** bytes, size_t* capacity, size_t need, size_t most) {
  if (need <= *capacity) return true;
  size_t grown = *capacity < 4096 ? 4096 : *capacity;
  while (grown < need) grown *= 2;
  if (grown > most) grown = most;
  uint8_t* moved = static_cast<uint8_t*>(realloc(*bytes, grown));
  if (!moved) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "alloc failed");
    return false;
  }
  *bytes = moved;
  *capacity = grown;
  return true;
}

// Where the output of one inflation goes: a growing buffer, from `used` on, `limit` bytes at
// most.
struct Output {
  uint8_t** bytes;
  size_t* capacity;
  size_t used;
  size_t limit;
};

// The buffer grows by at most this much at a time, so that a stream that stops early never
// made it large.
const size_t kGrowStep = 256 << 10;

// Runs zlib over what z holds as input, writing to out. Z_OK (wants more input), Z_STREAM_END,
// or a status: Z_DATA_ERROR for damage, Z_BUF_ERROR past the limit, Z_MEM_ERROR. The buffer
// may take one byte more than the limit: room to find out that a stream goes past it.
int Pump(z_stream* z, Output* out) {
  const size_t cap = out->limit + 1;
  for (;;) {
    if (out->used >= cap) return Z_BUF_ERROR;
    const size_t wanted = cap - out->used > kGrowStep ? out->used + kGrowStep : cap;
    if (!Reserve(out->bytes, out->capacity, wanted, cap)) return Z_MEM_ERROR;
    const size_t end = *out->capacity < cap ? *out->capacity : cap;
    const size_t room = end - out->used;
    z->next_out = *out->bytes + out->used;
    z->avail_out = static_cast<uInt>(room > UINT32_MAX ? UINT32_MAX : room);
    const uInt before = z->avail_out;
    const int status = inflate(z, Z_NO_FLUSH);
    out->used += before - z->avail_out;
    if (status == Z_STREAM_END) return out->used > out->limit ? Z_BUF_ERROR : status;
    if (status == Z_MEM_ERROR) return status;
    if (status != Z_OK && status != Z_BUF_ERROR) return Z_DATA_ERROR;
    if (z->avail_in == 0 && z->avail_out != 0) return Z_OK;  // all input taken
  }
}

int32_t StatusOf(int z_status) {
  switch (z_status) {
    case Z_STREAM_END: return QMKVD_OK;
    case Z_BUF_ERROR: return QMKVD_ERR_UNUSABLE;
    case Z_MEM_ERROR: return QMKVD_ERR_ALLOC;
    default: return QMKVD_ERR_READ;
  }
}

bool ResetStream(z_stream* z, bool* ready) {
  if (*ready) return inflateReset(z) == Z_OK;
  memset(z, 0, sizeof(*z));
  *ready = inflateInit(z) == Z_OK;
  return *ready;
}

// Inflates `stored` bytes at the handle's position (read chunk by chunk) onto out.
int32_t InflateFromFile(QMKVD_INFLATER* f, QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, int64_t stored,
                        Output* out) {
  if (stored == 0) return QMKVD_OK;  // an empty frame stays empty
  if (!ResetStream(&f->z, &f->z_ready)) return QMKVD_ERR_ALLOC;
  int status = Z_OK;
  for (int64_t left = stored; status == Z_OK;) {
    if (left == 0) return QMKVD_ERR_READ;  // the zlib data ends before its stream does
    const int want = left < static_cast<int64_t>(sizeof(f->chunk))
                         ? static_cast<int>(left)
                         : static_cast<int>(sizeof(f->chunk));
    if (mfal->read(fp, f->chunk, want) != want) return QMKVD_ERR_READ;
    left -= want;
    f->z.next_in = f->chunk;
    f->z.avail_in = static_cast<uInt>(want);
    status = Pump(&f->z, out);
    if (status == Z_STREAM_END && left > 0) {
      // Bytes after the end of the zlib stream belong to no frame; step over them.
      const int64_t rest = left;
      mfal->skip(fp, &rest);
    }
  }
  return StatusOf(status);
}

}  // namespace

int64_t qmkvd_inflate_limit(int64_t stored) {
  if (stored < 0) stored = 0;
  const int64_t relative = stored > QMKVD_INFLATE_MAX / QMKVD_INFLATE_RATIO
                               ? QMKVD_INFLATE_MAX
                               : stored * QMKVD_INFLATE_RATIO;
  const int64_t limit = relative > QMKVD_INFLATE_FLOOR ? relative : QMKVD_INFLATE_FLOOR;
  return limit < QMKVD_INFLATE_MAX ? limit : QMKVD_INFLATE_MAX;
}

bool qmkvd_track_inflates_frames(const QMKVD_TRACK* track) {
  return IsZlib(track) && (track->encodings.first.scope & kScopeFrames) != 0;
}

bool qmkvd_track_inflates_private(const QMKVD_TRACK* track) {
  return IsZlib(track) && (track->encodings.first.scope & kScopePrivate) != 0;
}

int32_t qmkvd_inflate_buffer(const uint8_t* in, uint32_t size, uint8_t** out, uint32_t* out_size) {
  *out = nullptr;
  *out_size = 0;
  z_stream z;
  memset(&z, 0, sizeof(z));
  if (inflateInit(&z) != Z_OK) return QMKVD_ERR_ALLOC;
  uint8_t* bytes = nullptr;
  size_t capacity = 0;
  Output o = {&bytes, &capacity, 0, static_cast<size_t>(qmkvd_inflate_limit(size))};
  z.next_in = const_cast<uint8_t*>(in);
  z.avail_in = size;
  int status = Pump(&z, &o);
  if (status == Z_OK) status = Z_DATA_ERROR;  // all input taken, the stream not ended
  inflateEnd(&z);
  if (status != Z_STREAM_END) {
    free(bytes);
    return StatusOf(status);
  }
  *out = bytes;
  *out_size = static_cast<uint32_t>(o.used);
  return QMKVD_OK;
}

bool qmkvd_inflate_head(QCMN_MFAL* mfal, QCMN_MFAL_FILE* fp, int64_t stored, uint8_t* out,
                        uint32_t want) {
  uint8_t in[1024];
  const int count = stored < static_cast<int64_t>(sizeof(in)) ? static_cast<int>(stored)
                                                              : static_cast<int>(sizeof(in));
  if (count < 1 || mfal->read(fp, in, count) != count) return false;
  z_stream z;
  memset(&z, 0, sizeof(z));
  if (inflateInit(&z) != Z_OK) return false;
  z.next_in = in;
  z.avail_in = static_cast<uInt>(count);
  z.next_out = out;
  z.avail_out = want;
  const int status = inflate(&z, Z_SYNC_FLUSH);
  const bool got = (status == Z_OK || status == Z_STREAM_END) && z.avail_out == 0;
  inflateEnd(&z);
  return got;
}

QMKVD_INFLATER* qmkvd_inflater_new() {
  QMKVD_INFLATER* f = new (std::nothrow) QMKVD_INFLATER;
  if (!f) return nullptr;
  f->z_ready = false;
  f->bytes = nullptr;
  f->capacity = 0;
  qcmn_mfal_mem_init(&f->source);
  return f;
}

void qmkvd_inflater_free(QMKVD_INFLATER* f) {
  if (!f) return;
  if (f->z_ready) inflateEnd(&f->z);
  free(f->bytes);
  delete f;
}

int32_t qmkvd_frames_ready(QMKVDS_CTX* s) {
  QMKVD_INFLATER* f = s->inflater;
  if (!f) {
    s->frame_mfal = s->mfal;
    s->frame_fp = s->fp;
    return QMKVD_OK;
  }
  int64_t stored = 0;
  for (int i = 0; i <= s->lace_count; ++i) stored += s->lace_sizes[i];
  Output out = {&f->bytes, &f->capacity, 0, static_cast<size_t>(qmkvd_inflate_limit(stored))};
  for (int i = 0; i <= s->lace_count; ++i) {
    const size_t before = out.used;
    const int32_t status = InflateFromFile(f, s->mfal, s->fp, s->lace_sizes[i], &out);
    if (status != QMKVD_OK) {
      if (status == QMKVD_ERR_UNUSABLE) {
        qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "frame inflates past %lld bytes",
                 static_cast<long long>(out.limit));
      } else {
        qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_DEMUX, "frame cannot be inflated: damaged zlib data");
      }
      return status;
    }
    s->lace_sizes[i] = static_cast<uint32_t>(out.used - before);
  }
  qcmn_mfal_mem_set(&f->source, f->bytes, static_cast<int64_t>(out.used));
  s->frame_mfal = &f->source.mfal;
  s->frame_fp = qcmn_mfal_mem_handle(&f->source);
  return QMKVD_OK;
}
