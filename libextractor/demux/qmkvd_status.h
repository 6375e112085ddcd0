// Status codes of the demuxer. Callers compare the numbers, so the values are fixed.
#pragma once

enum {
  QMKVD_OK = 0,
  QMKVD_END = 1,             // end of data
  QMKVD_ERR_READ = -1,       // read or parse failure
  QMKVD_ERR_NOT_FOUND = -2,  // not open, or nothing found
  QMKVD_ERR_UNUSABLE = -3,   // unusable data or unsupported request
  QMKVD_ERR_ALLOC = -4,      // allocation or open failure
  QMKVD_ERR_HEADER = -6,     // header parse failed (creation only)
  QMKVD_ERR_HANDLE = -7,     // bad handle or argument
  QMKVD_ERR_SMALL = -8,      // buffer too small; at creation: context allocation failed
};
