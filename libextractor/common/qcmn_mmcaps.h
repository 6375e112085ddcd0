// What this device's video decoders can take: whether a codec is supported at all, and the
// largest picture per orientation. Which codec gets which limit is the limit column of the codec
// table (qcmn_codec_table.cc), the one place a device maker edits.
#pragma once

#include <stdint.h>

enum : int32_t {
  QVID_MM_QUERY_SUPPORT = 100,  // answer: QVID_MM_SUPPORT
  QVID_MM_QUERY_LIMITS = 101,   // answer: QVID_MM_LIMITS
};

enum : int32_t {
  QVID_MM_OK = 0,
  QVID_MM_ERR_UNKNOWN_QUERY = -107,  // a query number other than the two above
  QVID_MM_ERR_NULL_ANSWER = -108,    // no answer record
  QVID_MM_ERR_UNSUPPORTED = -109,    // the codec is not in the table
};

struct QVID_MM_SUPPORT {
  uint32_t supported;  // 1 supported; 0 not
};

struct QVID_MM_LIMITS {
  uint32_t landscape_width, landscape_height;  // width >= height
  uint32_t portrait_width, portrait_height;    // width < height
};

// Query 100: fills *answer (supported 1 or 0); returns 0, or QVID_MM_ERR_UNSUPPORTED for a
// codec not in the table. Query 101: fills *answer with the codec's limits and returns 0, or
// returns QVID_MM_ERR_UNSUPPORTED and leaves *answer unchanged. Bad arguments leave *answer
// unchanged.
int32_t qvid_get_mm_spec(int32_t query, uint32_t code, void* answer);
