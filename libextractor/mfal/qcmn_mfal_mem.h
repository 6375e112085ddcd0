// A file access record over bytes in memory: lets the code that reads frames through the access
// layer (NAL rewriting, key-frame tests, lace reads) read bytes that never were in the file as
// stored, such as a frame inflated from its zlib form. One record has one handle, which is the
// record itself; the bytes stay owned by the caller.
#pragma once

#include <stdint.h>

#include "mfal/qcmn_mfal.h"

struct QCMN_MFAL_MEM {
  QCMN_MFAL mfal;  // the function table; its handle is qcmn_mfal_mem_handle()
  const uint8_t* data;
  int64_t size;
  int64_t position;
};

// Fills the function table and makes the record empty.
void qcmn_mfal_mem_init(QCMN_MFAL_MEM* mem);
// Points the record at `size` bytes from `data` and puts the handle at their start.
void qcmn_mfal_mem_set(QCMN_MFAL_MEM* mem, const uint8_t* data, int64_t size);
QCMN_MFAL_FILE* qcmn_mfal_mem_handle(QCMN_MFAL_MEM* mem);
// The bytes behind an access record when it is one of these: readers that decode many small
// items (element headers) take them straight from memory instead of read by read. False for
// any other access record.
bool qcmn_mfal_mem_view(const QCMN_MFAL* mfal, const uint8_t** data, int64_t* size);
