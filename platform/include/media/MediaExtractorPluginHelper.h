// Host stand-in of <media/MediaExtractorPluginHelper.h>: the C++ helpers over the plug-in ABI,
// header-only as the framework's, with the same classes, members and wrappers.
#pragma once

#include <arpa/inet.h>
#include <media/MediaExtractorPluginApi.h>
#include <media/NdkMediaFormat.h>
#include <stdio.h>
#include <stdlib.h>
#include <utils/Errors.h>
#include <utils/Log.h>
#include <utils/RefBase.h>

#include <map>

namespace android {

class MediaTrackHelper;

class MediaBufferHelper {
 private:
  friend CMediaTrack* wrap(MediaTrackHelper*);
  CMediaBuffer* mBuffer;

 public:
  explicit MediaBufferHelper(CMediaBuffer* buf) : mBuffer(buf) {}
  virtual ~MediaBufferHelper() {}
  virtual void release() { mBuffer->release(mBuffer->handle); }
  virtual void* data() { return mBuffer->data(mBuffer->handle); }
  virtual size_t size() { return mBuffer->size(mBuffer->handle); }
  virtual size_t range_offset() { return mBuffer->range_offset(mBuffer->handle); }
  virtual size_t range_length() { return mBuffer->range_length(mBuffer->handle); }
  virtual void set_range(size_t offset, size_t length) {
    mBuffer->set_range(mBuffer->handle, offset, length);
  }
  virtual AMediaFormat* meta_data() { return mBuffer->meta_data(mBuffer->handle); }
};

class MediaBufferGroupHelper {
 private:
  CMediaBufferGroup* mGroup;
  std::map<CMediaBuffer*, MediaBufferHelper*> mBufferHelpers;

 public:
  explicit MediaBufferGroupHelper(CMediaBufferGroup* group) : mGroup(group) {}
  ~MediaBufferGroupHelper() {
    for (auto& entry : mBufferHelpers) delete entry.second;
  }
  MediaBufferGroupHelper(const MediaBufferGroupHelper&) = delete;
  MediaBufferGroupHelper& operator=(const MediaBufferGroupHelper&) = delete;
  bool init(size_t buffers, size_t buffer_size, size_t growthLimit = 0) {
    return mGroup->init(mGroup->handle, buffers, buffer_size, growthLimit);
  }
  void add_buffer(size_t size) { mGroup->add_buffer(mGroup->handle, size); }
  media_status_t acquire_buffer(MediaBufferHelper** buffer, bool nonBlocking = false,
                                size_t requestedSize = 0) {
    CMediaBuffer* buf = nullptr;
    media_status_t ret = mGroup->acquire_buffer(mGroup->handle, &buf, nonBlocking, requestedSize);
    if (ret == AMEDIA_OK && buf != nullptr) {
      auto found = mBufferHelpers.find(buf);
      if (found == mBufferHelpers.end()) {
        MediaBufferHelper* helper = new MediaBufferHelper(buf);
        mBufferHelpers.insert(std::make_pair(buf, helper));
        *buffer = helper;
      } else {
        *buffer = found->second;
      }
    } else {
      *buffer = nullptr;
    }
    return ret;
  }
  bool has_buffers() { return mGroup->has_buffers(mGroup->handle); }
};

class MediaTrackHelper {
 public:
  MediaTrackHelper() : mBufferGroup(nullptr) {}
  virtual ~MediaTrackHelper() { delete mBufferGroup; }
  virtual media_status_t start() = 0;
  virtual media_status_t stop() = 0;
  virtual media_status_t getFormat(AMediaFormat* format) = 0;

  class ReadOptions {
   public:
    enum SeekMode : int32_t {
      SEEK_PREVIOUS_SYNC,
      SEEK_NEXT_SYNC,
      SEEK_CLOSEST_SYNC,
      SEEK_CLOSEST,
      SEEK_FRAME_INDEX,
    };
    ReadOptions(uint32_t options, int64_t seekPosUs) : mOptions(options), mSeekPosUs(seekPosUs) {}
    bool getSeekTo(int64_t* time_us, SeekMode* mode) const {
      if ((mOptions & CMediaTrackReadOptions::SEEK) == 0) return false;
      *time_us = mSeekPosUs;
      *mode = static_cast<SeekMode>(mOptions & 7);
      return true;
    }
    bool getNonBlocking() const { return mOptions & CMediaTrackReadOptions::NONBLOCKING; }

   private:
    uint32_t mOptions;
    int64_t mSeekPosUs;
  };

  virtual media_status_t read(MediaBufferHelper** buffer, const ReadOptions* options = nullptr) = 0;
  virtual bool supportsNonBlockingRead() { return false; }

 protected:
  friend CMediaTrack* wrap(MediaTrackHelper* track);
  MediaBufferGroupHelper* mBufferGroup;
};

inline CMediaTrack* wrap(MediaTrackHelper* track) {
  if (track == nullptr) return nullptr;
  CMediaTrack* wrapper = static_cast<CMediaTrack*>(malloc(sizeof(CMediaTrack)));
  wrapper->data = track;
  wrapper->free = [](void* data) -> void { delete static_cast<MediaTrackHelper*>(data); };
  wrapper->start = [](void* data, CMediaBufferGroup* bufferGroup) -> media_status_t {
    MediaTrackHelper* t = static_cast<MediaTrackHelper*>(data);
    delete t->mBufferGroup;
    t->mBufferGroup = new MediaBufferGroupHelper(bufferGroup);
    return t->start();
  };
  wrapper->stop = [](void* data) -> media_status_t {
    return static_cast<MediaTrackHelper*>(data)->stop();
  };
  wrapper->getFormat = [](void* data, AMediaFormat* meta) -> media_status_t {
    return static_cast<MediaTrackHelper*>(data)->getFormat(meta);
  };
  wrapper->read = [](void* data, CMediaBuffer** buffer, uint32_t options,
                     int64_t seekPosUs) -> media_status_t {
    MediaTrackHelper::ReadOptions opts(options, seekPosUs);
    MediaBufferHelper* buf = nullptr;
    media_status_t ret = static_cast<MediaTrackHelper*>(data)->read(&buf, &opts);
    if (ret == AMEDIA_OK && buf != nullptr) *buffer = buf->mBuffer;
    return ret;
  };
  wrapper->supportsNonBlockingRead = [](void* data) -> bool {
    return static_cast<MediaTrackHelper*>(data)->supportsNonBlockingRead();
  };
  return wrapper;
}

class MediaExtractorPluginHelper {
 public:
  virtual ~MediaExtractorPluginHelper() {}
  virtual size_t countTracks() = 0;
  virtual MediaTrackHelper* getTrack(size_t index) = 0;

  enum GetTrackMetaDataFlags { kIncludeExtensiveMetaData = 1 };
  virtual media_status_t getTrackMetaData(AMediaFormat* meta, size_t index, uint32_t flags = 0) = 0;
  virtual media_status_t getMetaData(AMediaFormat* meta) = 0;

  enum Flags {
    CAN_SEEK_BACKWARD = 1,
    CAN_SEEK_FORWARD = 2,
    CAN_PAUSE = 4,
    CAN_SEEK = 8,
  };
  virtual uint32_t flags() const {
    return CAN_SEEK_BACKWARD | CAN_SEEK_FORWARD | CAN_SEEK | CAN_PAUSE;
  }
  virtual media_status_t setMediaCas(const uint8_t* /*casToken*/, size_t /*size*/) {
    return AMEDIA_ERROR_INVALID_OPERATION;
  }
  virtual const char* name() { return "<unspecified>"; }

 protected:
  MediaExtractorPluginHelper() {}

 private:
  MediaExtractorPluginHelper(const MediaExtractorPluginHelper&);
  MediaExtractorPluginHelper& operator=(MediaExtractorPluginHelper&);
};

inline CMediaExtractor* wrap(MediaExtractorPluginHelper* extractor) {
  CMediaExtractor* wrapper = static_cast<CMediaExtractor*>(malloc(sizeof(CMediaExtractor)));
  wrapper->data = extractor;
  wrapper->free = [](void* data) -> void { delete static_cast<MediaExtractorPluginHelper*>(data); };
  wrapper->countTracks = [](void* data) -> size_t {
    return static_cast<MediaExtractorPluginHelper*>(data)->countTracks();
  };
  wrapper->getTrack = [](void* data, size_t index) -> CMediaTrack* {
    return wrap(static_cast<MediaExtractorPluginHelper*>(data)->getTrack(index));
  };
  wrapper->getTrackMetaData = [](void* data, AMediaFormat* meta, size_t index,
                                 uint32_t flags) -> media_status_t {
    return static_cast<MediaExtractorPluginHelper*>(data)->getTrackMetaData(meta, index, flags);
  };
  wrapper->getMetaData = [](void* data, AMediaFormat* meta) -> media_status_t {
    return static_cast<MediaExtractorPluginHelper*>(data)->getMetaData(meta);
  };
  wrapper->flags = [](void* data) -> uint32_t {
    return static_cast<MediaExtractorPluginHelper*>(data)->flags();
  };
  wrapper->setMediaCas = [](void* data, const uint8_t* casToken, size_t size) -> media_status_t {
    return static_cast<MediaExtractorPluginHelper*>(data)->setMediaCas(casToken, size);
  };
  wrapper->name = [](void* data) -> const char* {
    return static_cast<MediaExtractorPluginHelper*>(data)->name();
  };
  return wrapper;
}

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

// Never defined: a malformed UUID string turns into an error at build time.
const char* invalid_uuid_string(const char*);

constexpr uint8_t _digitAt_(const char* s, const size_t n) {
  return ((s[n] >= '0') && (s[n] <= '9'))   ? s[n] - '0'
         : ((s[n] >= 'a') && (s[n] <= 'f')) ? s[n] - 'a' + 10
         : ((s[n] >= 'A') && (s[n] <= 'F')) ? s[n] - 'A' + 10
                                            : invalid_uuid_string(s)[0];
}

constexpr uint8_t _hexByteAt_(const char* s, const size_t n) {
  return (_digitAt_(s, n) << 4) + _digitAt_(s, n + 1);
}

constexpr bool _assertIsDash_(const char* s, const size_t n) {
  return s[n] == '-' ? true : invalid_uuid_string(s)[0];
}

// Byte k of the 16 stands at this string position: two digits a byte, dashes after bytes 3, 5,
// 7 and 9.
constexpr size_t _uuidBytePos_(size_t k) {
  return 2 * k + (k >= 4) + (k >= 6) + (k >= 8) + (k >= 10);
}

template <size_t N>
constexpr media_uuid_t constUUID(const char (&s)[N]) {
  static_assert(N == 37, "a UUID is 36 characters");
  return (_assertIsDash_(s, 8) && _assertIsDash_(s, 13) && _assertIsDash_(s, 18) &&
          _assertIsDash_(s, 23))
             ? media_uuid_t{{
                   _hexByteAt_(s, _uuidBytePos_(0)),
                   _hexByteAt_(s, _uuidBytePos_(1)),
                   _hexByteAt_(s, _uuidBytePos_(2)),
                   _hexByteAt_(s, _uuidBytePos_(3)),
                   _hexByteAt_(s, _uuidBytePos_(4)),
                   _hexByteAt_(s, _uuidBytePos_(5)),
                   _hexByteAt_(s, _uuidBytePos_(6)),
                   _hexByteAt_(s, _uuidBytePos_(7)),
                   _hexByteAt_(s, _uuidBytePos_(8)),
                   _hexByteAt_(s, _uuidBytePos_(9)),
                   _hexByteAt_(s, _uuidBytePos_(10)),
                   _hexByteAt_(s, _uuidBytePos_(11)),
                   _hexByteAt_(s, _uuidBytePos_(12)),
                   _hexByteAt_(s, _uuidBytePos_(13)),
                   _hexByteAt_(s, _uuidBytePos_(14)),
                   _hexByteAt_(s, _uuidBytePos_(15)),
               }}
             : media_uuid_t{};
}

#define UUID(str)                                 \
  []() {                                          \
    constexpr media_uuid_t uuid = constUUID(str); \
    return uuid;                                  \
  }()

}  // namespace android
