// The file access record: the only road from the demuxer to the bytes of a file. The demuxer
// calls the nine functions by their place in the record, so their order is part of the ABI.
#pragma once

#include <stdint.h>

// A file handle opened on a record; each has its own read position.
struct QCMN_MFAL_FILE;

struct QCMN_MFAL {
  QCMN_MFAL_FILE* (*open)(QCMN_MFAL* mfal, unsigned long mode);
  void (*close)(QCMN_MFAL_FILE* fp);
  int (*read)(QCMN_MFAL_FILE* fp, void* buf, int size);
  int (*write)(QCMN_MFAL_FILE* fp, const void* buf, int size);
  int (*getpos)(QCMN_MFAL_FILE* fp, int64_t* pos);
  int (*setpos)(QCMN_MFAL_FILE* fp, const int64_t* pos);
  int (*skip)(QCMN_MFAL_FILE* fp, const int64_t* count);
  int (*getsize)(QCMN_MFAL_FILE* fp, int64_t* size);
  int (*ioctl)(QCMN_MFAL_FILE* fp, int code, void* arg);
  uint32_t reserved_a[4];
  void* user;  // the record's private block; owned by the record (freed by qcmn_mfal_deinit)
  uint32_t reserved_b[3];
};
