// Our own track and file format keys, and the codec-code to MIME mapping the front end
// publishes. Key strings are namespaced under "vendor.qmkv." so they cannot collide with
// framework keys; each key always carries the one value type listed in QCMN_FORMAT_KEYS.
#pragma once

#include <stddef.h>
#include <stdint.h>

extern const char* AMEDIAFORMAT_KEY_FOURCC;                  // int32: codec code of the track
extern const char* AMEDIAFORMAT_KEY_TRACK_FOURCC;            // int32: code of an unsupported track
extern const char* AMEDIAFORMAT_KEY_IS_MP4_DP;               // int32: MPEG-4 data partitioning
extern const char* AMEDIAFORMAT_KEY_ERROR_TYPE;              // int32: the track's status
extern const char* AMEDIAFORMAT_KEY_ERROR_LOGGABLE;          // int32: 1 when worth logging
extern const char* AMEDIAFORMAT_KEY_TRACK_NAME;              // buffer: name bytes, no terminator
extern const char* AMEDIAFORMAT_KEY_CHAR_ENCODING_TYPES;     // string: "key=enc:" list
extern const char* AMEDIAFORMAT_KEY_I_FRAME_AVG_INTERVAL;    // int64: microseconds
extern const char* AMEDIAFORMAT_KEY_ALLOW_FRAME_REORDERING;  // int32: 1 allowed
extern const char* AMEDIAFORMAT_KEY_WRITER;                  // string: the writing application

enum class QcmnKeyType : uint8_t { kInt32, kInt64, kString, kBuffer };

struct QCMN_FORMAT_KEY {
  const char* const* key;  // the variable, so the table never depends on initialisation order
  QcmnKeyType type;
};

extern const QCMN_FORMAT_KEY QCMN_FORMAT_KEYS[];
extern const size_t QCMN_FORMAT_KEY_COUNT;

// The framework MIME type for a codec code, or QCMN_MIMETYPE_UNKNOWN when there is none.
// Never null.
const char* FourCC2MIME(uint32_t code);
