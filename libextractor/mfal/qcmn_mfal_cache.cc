#include "mfal/qcmn_mfal_cache.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

namespace {

enum : int32_t { kEmpty = 0, kFilling = 1, kReady = 2 };
const int64_t kWindow = QCMN_MFAL_CACHE_WINDOW;
const int64_t kProbe = QCMN_MFAL_CACHE_PROBE;

int64_t WindowStart(int64_t pos, int64_t size = kWindow) {
  return pos - pos % size;
}

// The source's read, never claiming more than was asked.
int64_t ReadSource(QCMN_MFAL_READ_AT read_at, void* source, int64_t pos, uint8_t* buf,
                   int64_t size) {
  const ssize_t n = read_at(source, pos, buf, static_cast<size_t>(size));
  if (n < 0) return -1;
  return n > size ? size : n;
}

// Under the lock: copies what a ready window holds of [pos, pos + want). Returns the count, 0
// when no window holds pos.
int64_t CopyHit(QCMN_MFAL_CACHE* c, int64_t pos, uint8_t* out, int64_t want) {
  for (QCMN_MFAL_WINDOW& w : c->windows) {
    if (w.state != kReady || pos < w.start || pos >= w.start + w.length) continue;
    const int64_t n = w.start + w.length - pos < want ? w.start + w.length - pos : want;
    memcpy(out, w.data + (pos - w.start), static_cast<size_t>(n));
    w.used = ++c->clock;
    return n;
  }
  return 0;
}

// Under the lock: whether a ready window starts where pos's window starts but ended short of pos
// (the source gave less there): such bytes are read from the source as they are asked for.
bool ShortWindowHolds(const QCMN_MFAL_CACHE* c, int64_t pos) {
  for (const QCMN_MFAL_WINDOW& w : c->windows) {
    if (w.state == kReady && w.length < w.asked && pos >= w.start && pos < w.start + w.asked) {
      return true;
    }
  }
  return false;
}

// Under the lock: an empty window, else the least recently used ready one; null when every
// window is being filled.
QCMN_MFAL_WINDOW* Victim(QCMN_MFAL_CACHE* c) {
  QCMN_MFAL_WINDOW* oldest = nullptr;
  for (QCMN_MFAL_WINDOW& w : c->windows) {
    if (w.state == kEmpty) return &w;
    if (w.state == kReady && (!oldest || w.used < oldest->used)) oldest = &w;
  }
  return oldest;
}

class Locked {
 public:
  explicit Locked(QCMN_MFAL_CACHE* c) : c_(c) { pthread_mutex_lock(&c_->lock); }
  ~Locked() { pthread_mutex_unlock(&c_->lock); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  QCMN_MFAL_CACHE* c_;
};

// Fills the window holding pos. False when the source failed there or no window could be had
// (the caller then reads from the source directly).
bool Fill(QCMN_MFAL_CACHE* c, QCMN_MFAL_READ_AT read_at, void* source, int64_t pos, int64_t size,
          bool* failed) {
  *failed = false;
  QCMN_MFAL_WINDOW* w = nullptr;
  {
    Locked lock(c);
    w = Victim(c);
    if (!w) return false;
    w->state = kFilling;  // this reader's alone until it is ready
    w->start = WindowStart(pos, size);
  }
  if (!w->data) w->data = static_cast<uint8_t*>(malloc(static_cast<size_t>(kWindow)));
  const int64_t got = w->data ? ReadSource(read_at, source, w->start, w->data, size) : -1;
  Locked lock(c);
  if (got <= 0) {
    w->state = kEmpty;
    *failed = w->data != nullptr;
    return false;
  }
  w->asked = static_cast<int32_t>(size);
  w->length = static_cast<int32_t>(got);
  w->used = ++c->clock;
  w->state = kReady;
  return true;
}

}  // namespace

void qcmn_mfal_cache_init(QCMN_MFAL_CACHE* cache) {
  memset(cache, 0, sizeof(*cache));
  pthread_mutex_init(&cache->lock, nullptr);
}

void qcmn_mfal_cache_deinit(QCMN_MFAL_CACHE* cache) {
  for (QCMN_MFAL_WINDOW& w : cache->windows) free(w.data);
  pthread_mutex_destroy(&cache->lock);
  memset(cache, 0, sizeof(*cache));
}

int qcmn_mfal_cache_read(QCMN_MFAL_CACHE* c, QCMN_MFAL_READ_AT read_at, void* source,
                         int64_t* last_end, int64_t pos, void* buf, int size) {
  uint8_t* out = static_cast<uint8_t*>(buf);
  if (pos < 0) return 0;  // no file has bytes there
  if (pos > INT64_MAX - size) {
    // So far out that windows cannot be placed: ask the source, which has nothing there either.
    const int64_t got = ReadSource(read_at, source, pos, out, size);
    return got > 0 ? static_cast<int>(got) : 0;
  }
  int64_t done = 0;
  // Reading on from where the handle was, or skipping less than a window (over the frames of a
  // Cluster): a whole window. A longer jump (to the next of large Clusters, or a seek): a
  // probe, so that a walk over large Clusters' headers reads little more than the headers.
  const bool reads_on = pos >= *last_end - kWindow && pos - kWindow <= *last_end;
  const int64_t fill = reads_on ? kWindow : kProbe;
  while (done < size) {
    const int64_t p = pos + done;
    const int64_t want = size - done;
    bool short_window = false;
    {
      Locked lock(c);
      const int64_t n = CopyHit(c, p, out + done, want);
      if (n > 0) {
        done += n;
        continue;
      }
      short_window = ShortWindowHolds(c, p);
    }
    // Whole windows' worth of the request go straight to the source: a frame's middle is read
    // once, into the caller's buffer, and does not push the headers out of the cache. A request
    // of a window or more that has jumped goes there whole: filled probe by probe, its ends
    // would cost a call each 4 KiB.
    const int64_t direct = WindowStart(p + want) - p;
    const bool whole = !reads_on && size >= kWindow;
    bool failed = false;
    if (whole || short_window || direct >= kWindow || !Fill(c, read_at, source, p, fill, &failed)) {
      if (failed) break;
      const int64_t n = whole || short_window || direct < kWindow ? want : direct;
      const int64_t got = ReadSource(read_at, source, p, out + done, n);
      if (got <= 0) break;
      done += got;
      if (got < n) break;
    }
  }
  *last_end = pos + done;
  return static_cast<int>(done);
}
