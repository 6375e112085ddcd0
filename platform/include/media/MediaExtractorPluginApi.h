// Host stand-in of <media/MediaExtractorPluginApi.h>: the plug-in C ABI, same names, field
// order and signatures as the framework's. Only the byte source is needed so far.
#pragma once

#include <stdint.h>
#include <sys/types.h>
#include <utils/Errors.h>

namespace android {

extern "C" {

struct CDataSource {
  ssize_t (*readAt)(void* handle, off64_t offset, void* data, size_t size);
  status_t (*getSize)(void* handle, off64_t* size);
  uint32_t (*flags)(void* handle);
  bool (*getUri)(void* handle, char* uriString, size_t bufferSize);
  void* handle;
};

}  // extern "C"

}  // namespace android
