// Host stand-in of <media/MediaExtractorPluginHelper.h>: the C++ helpers over the plug-in ABI.
// Only DataSourceHelper is needed so far.
#pragma once

#include <media/MediaExtractorPluginApi.h>

namespace android {

class DataSourceHelper {
 public:
  explicit DataSourceHelper(CDataSource* csource) : mSource(csource) {}
  explicit DataSourceHelper(DataSourceHelper* source) : mSource(source->mSource) {}
  virtual ~DataSourceHelper() {}

  virtual ssize_t readAt(off64_t offset, void* data, size_t size) {
    return mSource->readAt(mSource->handle, offset, data, size);
  }
  virtual status_t getSize(off64_t* size) { return mSource->getSize(mSource->handle, size); }
  bool getUri(char* uriString, size_t bufferSize) {
    return mSource->getUri(mSource->handle, uriString, bufferSize);
  }
  virtual uint32_t flags() { return mSource->flags(mSource->handle); }

  bool getUInt16(off64_t offset, uint16_t* x) {
    uint64_t v = 0;
    bool ok = ReadBigEndian(offset, 2, &v);
    *x = static_cast<uint16_t>(v);
    return ok;
  }
  bool getUInt24(off64_t offset, uint32_t* x) {
    uint64_t v = 0;
    bool ok = ReadBigEndian(offset, 3, &v);
    *x = static_cast<uint32_t>(v);
    return ok;
  }
  bool getUInt32(off64_t offset, uint32_t* x) {
    uint64_t v = 0;
    bool ok = ReadBigEndian(offset, 4, &v);
    *x = static_cast<uint32_t>(v);
    return ok;
  }
  bool getUInt64(off64_t offset, uint64_t* x) { return ReadBigEndian(offset, 8, x); }
  bool getUInt16Var(off64_t offset, uint16_t* x, size_t size) {
    if (size == 2) return getUInt16(offset, x);
    if (size == 1) {
      uint64_t v = 0;
      bool ok = ReadBigEndian(offset, 1, &v);
      *x = static_cast<uint16_t>(v);
      return ok;
    }
    return false;
  }
  bool getUInt32Var(off64_t offset, uint32_t* x, size_t size) {
    if (size == 4) return getUInt32(offset, x);
    if (size == 2) {
      uint16_t v = 0;
      bool ok = getUInt16(offset, &v);
      *x = v;
      return ok;
    }
    return false;
  }
  bool getUInt64Var(off64_t offset, uint64_t* x, size_t size) {
    if (size == 8) return getUInt64(offset, x);
    if (size == 4) {
      uint32_t v = 0;
      bool ok = getUInt32(offset, &v);
      *x = v;
      return ok;
    }
    return false;
  }

 protected:
  CDataSource* mSource;

 private:
  bool ReadBigEndian(off64_t offset, size_t count, uint64_t* x) {
    uint8_t bytes[8];
    *x = 0;
    if (readAt(offset, bytes, count) != static_cast<ssize_t>(count)) return false;
    for (size_t i = 0; i < count; ++i) *x = (*x << 8) | bytes[i];
    return true;
  }
};

}  // namespace android
