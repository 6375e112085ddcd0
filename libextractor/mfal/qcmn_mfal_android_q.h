// The file access layer over the framework's data source. Reads never move the data source:
// each handle keeps its own position and passes it to readAt explicitly, so positioning is free
// and any number of handles can read one source independently. The handles of a record share
// one read cache (qcmn_mfal_cache.h), so that the demuxer's small reads and its streams'
// walks over the same Clusters do not each reach the source.
#pragma once

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <new>

#include <media/MediaExtractorPluginHelper.h>

#include "common/qcmn_log.h"
#include "mfal/qcmn_mfal.h"
#include "mfal/qcmn_mfal_cache.h"

// A null argument is logged with the file and line of the check that found it.
#define QCMN_MFAL_ASSERT_FAILED(what)                                                          \
  qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_FRONTEND, "[%s:%d] assert failed! (" what ")\n", __FILE__, \
           __LINE__)

// Private block of a record: a cleared scratch area nobody reads, then the data source and the
// cache its handles share.
struct QCMN_MFAL_PRIVATE {
  uint8_t area[4096];
  android::DataSourceHelper* source;
  QCMN_MFAL_CACHE cache;
};

struct QCMN_MFAL_FILE {
  android::DataSourceHelper* source;
  uint32_t reserved;
  int64_t position;
  QCMN_MFAL_CACHE* cache;
  int64_t last_end;  // where this handle's previous read ended
};

inline ssize_t qcmn_mfal_source_read(void* source, int64_t pos, void* buf, size_t size) {
  return static_cast<android::DataSourceHelper*>(source)->readAt(pos, buf, size);
}

inline QCMN_MFAL_FILE* qcmn_mfal_open(QCMN_MFAL* mfal, unsigned long /*mode*/) {
  if (!mfal) {
    QCMN_MFAL_ASSERT_FAILED("mfal");
    return nullptr;
  }
  QCMN_MFAL_FILE* fp = new (std::nothrow) QCMN_MFAL_FILE();
  if (!fp) return nullptr;
  QCMN_MFAL_PRIVATE* priv = static_cast<QCMN_MFAL_PRIVATE*>(mfal->user);
  if (!priv || !priv->source) {
    qcmn_log(QCMN_LOG_ERROR, QCMN_TAG_FRONTEND, "not supported");
    delete fp;
    return nullptr;
  }
  fp->source = priv->source;
  fp->cache = &priv->cache;
  return fp;
}

inline void qcmn_mfal_close(QCMN_MFAL_FILE* fp) {
  if (!fp) {
    QCMN_MFAL_ASSERT_FAILED("fp");
    return;
  }
  delete fp;
}

inline int qcmn_mfal_read(QCMN_MFAL_FILE* fp, void* buf, int size) {
  if (size < 1) return 0;
  if (!buf) {
    QCMN_MFAL_ASSERT_FAILED("buf");
    return -1;
  }
  if (!fp) {
    QCMN_MFAL_ASSERT_FAILED("fp");
    return -1;
  }
  // The cache never reports more than was asked, even from a source that claims to.
  const int n = qcmn_mfal_cache_read(fp->cache, qcmn_mfal_source_read, fp->source, &fp->last_end,
                                     fp->position, buf, size);
  fp->position += n;
  return n;
}

inline int qcmn_mfal_write(QCMN_MFAL_FILE* fp, const void* /*buf*/, int /*size*/) {
  if (!fp) {
    QCMN_MFAL_ASSERT_FAILED("fp");
    return -1;
  }
  return 0;
}

inline int qcmn_mfal_getpos(QCMN_MFAL_FILE* fp, int64_t* pos) {
  if (!pos) {
    QCMN_MFAL_ASSERT_FAILED("p");
    return -1;
  }
  if (!fp) {
    QCMN_MFAL_ASSERT_FAILED("fp");
    return -1;
  }
  *pos = fp->position;
  return 0;
}

inline int qcmn_mfal_setpos(QCMN_MFAL_FILE* fp, const int64_t* pos) {
  if (!pos) {
    QCMN_MFAL_ASSERT_FAILED("p");
    return -1;
  }
  if (!fp) {
    QCMN_MFAL_ASSERT_FAILED("fp");
    return -1;
  }
  fp->position = *pos;
  return 0;
}

inline int qcmn_mfal_skip(QCMN_MFAL_FILE* fp, const int64_t* count) {
  if (!count) {
    QCMN_MFAL_ASSERT_FAILED("fsize");
    return -1;
  }
  if (!fp) {
    QCMN_MFAL_ASSERT_FAILED("fp");
    return -1;
  }
  if (*count < 1) return -1;
  // A position past INT64_MAX cannot be read anyway; saturate instead of overflowing.
  fp->position = (fp->position > INT64_MAX - *count) ? INT64_MAX : fp->position + *count;
  return 0;
}

inline int qcmn_mfal_getsize(QCMN_MFAL_FILE* fp, int64_t* size) {
  if (!size) {
    QCMN_MFAL_ASSERT_FAILED("fsize");
    return -1;
  }
  if (!fp) {
    QCMN_MFAL_ASSERT_FAILED("fp");
    return -1;
  }
  *size = 0;
  off64_t s = 0;
  fp->source->getSize(&s);  // an unknown size leaves 0
  *size = s;
  return 0;
}

inline int qcmn_mfal_ioctl(QCMN_MFAL_FILE* fp, int code, void* arg) {
  if (!fp) {
    QCMN_MFAL_ASSERT_FAILED("fp");
    return -1;
  }
  if (!arg) {
    QCMN_MFAL_ASSERT_FAILED("arg");
    return -1;
  }
  return code == 1 ? 0 : -1;
}

// Fills a cleared record with the nine functions and a private block holding source.
// Returns 0, or -1 when the private block cannot be allocated (the record is left cleared).
inline int qcmn_mfal_init(QCMN_MFAL* mfal, android::DataSourceHelper* source) {
  memset(mfal, 0, sizeof(*mfal));
  QCMN_MFAL_PRIVATE* priv = static_cast<QCMN_MFAL_PRIVATE*>(malloc(sizeof(QCMN_MFAL_PRIVATE)));
  if (!priv) return -1;
  memset(priv->area, 0, sizeof(priv->area));
  priv->source = source;
  qcmn_mfal_cache_init(&priv->cache);
  mfal->open = qcmn_mfal_open;
  mfal->close = qcmn_mfal_close;
  mfal->read = qcmn_mfal_read;
  mfal->write = qcmn_mfal_write;
  mfal->getpos = qcmn_mfal_getpos;
  mfal->setpos = qcmn_mfal_setpos;
  mfal->skip = qcmn_mfal_skip;
  mfal->getsize = qcmn_mfal_getsize;
  mfal->ioctl = qcmn_mfal_ioctl;
  mfal->user = priv;
  return 0;
}

inline void qcmn_mfal_deinit(QCMN_MFAL* mfal) {
  if (!mfal) return;
  if (mfal->user) qcmn_mfal_cache_deinit(&static_cast<QCMN_MFAL_PRIVATE*>(mfal->user)->cache);
  free(mfal->user);
  memset(mfal, 0, sizeof(*mfal));
}
