// A read cache shared by every handle of one file access record.
//
// On a device each read of the data source may cross a process boundary, while the demuxer
// reads element headers a few bytes at a time, and every stream walks every Cluster with its own
// handle. The cache keeps a few aligned windows of the file; small reads are served from them,
// and the middle of a large read (a frame) goes to the source directly, so the file is read
// about once however many streams walk it. It is shared by the handles of a record, and the
// streams of a file read from different threads, so it has a lock; a window is filled without
// holding it. Positions stay exact: a read returns the same bytes, and reports the same count,
// as a read of the source would.
#pragma once

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

// The source's read: bytes at pos into buf; the count read, 0 at the end, negative on error.
typedef ssize_t (*QCMN_MFAL_READ_AT)(void* source, int64_t pos, void* buf, size_t size);

enum : uint32_t {
  QCMN_MFAL_CACHE_WINDOWS = 8,
  QCMN_MFAL_CACHE_WINDOW = 128u << 10,  // bytes, a power of two
  // A handle that jumps (to another Cluster's header, after a seek) gets a window this small:
  // a walk from header to header must not read the bytes in between.
  QCMN_MFAL_CACHE_PROBE = 4u << 10,
};

struct QCMN_MFAL_WINDOW {
  int64_t start;   // aligned to the size it was filled with
  int32_t asked;   // bytes asked of the source for it: a window or a probe
  int32_t length;  // bytes the source gave (fewer at the end of the file)
  int32_t state;   // empty, filling (owned by one reader), or ready
  uint64_t used;   // when it was last used, for replacing the oldest
  uint8_t* data;   // QCMN_MFAL_CACHE_WINDOW bytes, allocated on first use
};

struct QCMN_MFAL_CACHE {
  pthread_mutex_t lock;
  uint64_t clock;
  QCMN_MFAL_WINDOW windows[QCMN_MFAL_CACHE_WINDOWS];
};

void qcmn_mfal_cache_init(QCMN_MFAL_CACHE* cache);
void qcmn_mfal_cache_deinit(QCMN_MFAL_CACHE* cache);

// Reads size bytes at pos through the cache: the count read (short only at the end of the file
// or where the source fails), never more than size. *last_end is the reading handle's: where its
// previous read ended (it says whether the handle reads on or jumps), updated here.
int qcmn_mfal_cache_read(QCMN_MFAL_CACHE* cache, QCMN_MFAL_READ_AT read_at, void* source,
                         int64_t* last_end, int64_t pos, void* buf, int size);
