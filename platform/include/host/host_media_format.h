// Host-only: walks an AMediaFormat's entries, in the order they were first set, so that tools can
// print a format whole without knowing its keys.
#pragma once

#include <stddef.h>

#include <media/NdkMediaFormat.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum host_format_type {
  HOST_FORMAT_INT32,
  HOST_FORMAT_INT64,
  HOST_FORMAT_FLOAT,
  HOST_FORMAT_DOUBLE,
  HOST_FORMAT_SIZE,
  HOST_FORMAT_STRING,
  HOST_FORMAT_BUFFER,
  HOST_FORMAT_RECT,
} host_format_type;

size_t host_format_count(AMediaFormat* format);

// The name and type of entry `index`; false when there is no such entry. The name stays valid
// until the entry is replaced or the format is changed or deleted. Read the value with the
// AMediaFormat getter of that type.
bool host_format_entry(AMediaFormat* format, size_t index, const char** name,
                       host_format_type* type);

#ifdef __cplusplus
}
#endif
