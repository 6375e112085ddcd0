// The framework's buffer group, as a plug-in sees it through the C tables.
#include <host/host_buffer_group.h>

#include <android/log.h>
#include <media/NdkMediaFormat.h>

namespace host {

struct MediaBufferGroup::Buffer {
  Buffer(MediaBufferGroup* owner, size_t bytes)
      : group(owner), storage(new uint8_t[bytes > 0 ? bytes : 1]), size(bytes), length(bytes) {
    c.handle = this;
    c.release = [](void* h) { Self(h)->group->Release(Self(h)); };
    c.data = [](void* h) -> void* { return Self(h)->storage.get(); };
    c.size = [](void* h) { return Self(h)->size; };
    c.range_offset = [](void* h) { return Self(h)->offset; };
    c.range_length = [](void* h) { return Self(h)->length; };
    c.set_range = [](void* h, size_t offset, size_t length) { Self(h)->SetRange(offset, length); };
    c.meta_data = [](void* h) { return Self(h)->Meta(); };
  }
  ~Buffer() {
    if (meta) AMediaFormat_delete(meta);
  }

  static Buffer* Self(void* handle) { return static_cast<Buffer*>(handle); }

  void SetRange(size_t new_offset, size_t new_length) {
    if (new_offset > size || new_length > size - new_offset) {
      __android_log_assert("offset + length <= size", "MediaBuffer",
                           "set_range(%zu, %zu) past the end of a %zu-byte buffer", new_offset,
                           new_length, size);
    }
    offset = new_offset;
    length = new_length;
  }

  AMediaFormat* Meta() {
    if (!meta) meta = AMediaFormat_new();
    return meta;
  }

  android::CMediaBuffer c;
  MediaBufferGroup* group;
  std::unique_ptr<uint8_t[]> storage;
  size_t size;
  size_t offset = 0;
  size_t length;
  AMediaFormat* meta = nullptr;  // owned; kept across acquisitions
  bool acquired = false;
};

MediaBufferGroup::MediaBufferGroup() {
  mWrapper.handle = this;
  mWrapper.init = &Init;
  mWrapper.add_buffer = &AddBuffer;
  mWrapper.acquire_buffer = &AcquireBuffer;
  mWrapper.has_buffers = &HasBuffers;
}

MediaBufferGroup::~MediaBufferGroup() = default;

size_t MediaBufferGroup::buffer_count() const {
  std::lock_guard<std::mutex> hold(mLock);
  return mBuffers.size();
}

size_t MediaBufferGroup::acquired_count() const {
  std::lock_guard<std::mutex> hold(mLock);
  size_t n = 0;
  for (const auto& b : mBuffers) n += b->acquired ? 1 : 0;
  return n;
}

void MediaBufferGroup::set_acquire_failure(media_status_t status) {
  {
    std::lock_guard<std::mutex> hold(mLock);
    mAcquireFailure = status;
  }
  mReleased.notify_all();  // a blocked acquire fails now too
}

void MediaBufferGroup::AddLocked(size_t size) {
  mBuffers.emplace_back(new Buffer(this, size));
}

void MediaBufferGroup::Release(Buffer* buffer) {
  {
    std::lock_guard<std::mutex> hold(mLock);
    if (!buffer->acquired) {
      __android_log_assert("acquired", "MediaBufferGroup",
                           "release of a buffer that is not handed out");
    }
    buffer->acquired = false;
  }
  mReleased.notify_all();
}

bool MediaBufferGroup::Init(void* handle, size_t buffers, size_t buffer_size, size_t growthLimit) {
  MediaBufferGroup* self = static_cast<MediaBufferGroup*>(handle);
  std::lock_guard<std::mutex> hold(self->mLock);
  // Recorded only: the framework creates its groups with no room to grow and never adds
  // buffers on its own, and no plug-in behaviour here depends on it.
  self->mGrowthLimit = growthLimit;
  for (size_t i = 0; i < buffers; ++i) self->AddLocked(buffer_size);
  return true;
}

void MediaBufferGroup::AddBuffer(void* handle, size_t size) {
  MediaBufferGroup* self = static_cast<MediaBufferGroup*>(handle);
  std::lock_guard<std::mutex> hold(self->mLock);
  self->AddLocked(size);
}

media_status_t MediaBufferGroup::AcquireBuffer(void* handle, android::CMediaBuffer** buffer,
                                               bool nonBlocking, size_t requestedSize) {
  MediaBufferGroup* self = static_cast<MediaBufferGroup*>(handle);
  std::unique_lock<std::mutex> hold(self->mLock);
  for (;;) {
    if (self->mAcquireFailure != AMEDIA_OK) {
      *buffer = nullptr;
      return self->mAcquireFailure;
    }
    std::unique_ptr<Buffer>* fits = nullptr;
    std::unique_ptr<Buffer>* too_small = nullptr;
    for (auto& b : self->mBuffers) {
      if (b->acquired) continue;
      if (b->size >= requestedSize) {
        fits = &b;
        break;
      }
      if (!too_small) too_small = &b;
    }
    if (!fits && too_small) {
      // A free buffer that is too small is swapped for a new one half as big again as asked;
      // the new buffer starts with no metadata.
      too_small->reset(new Buffer(self, requestedSize + requestedSize / 2));
      fits = too_small;
    }
    if (fits) {
      Buffer* b = fits->get();
      b->acquired = true;
      b->offset = 0;
      b->length = b->size;
      *buffer = &b->c;
      return AMEDIA_OK;
    }
    // WOULD_BLOCK has no media_status_t of its own; the framework reports it as unknown.
    // An empty group can never see a release, so waiting would hang: the device would, the host
    // fails instead.
    if (nonBlocking || self->mBuffers.empty()) {
      *buffer = nullptr;
      return AMEDIA_ERROR_UNKNOWN;
    }
    self->mReleased.wait(hold);
  }
}

bool MediaBufferGroup::HasBuffers(void* handle) {
  MediaBufferGroup* self = static_cast<MediaBufferGroup*>(handle);
  std::lock_guard<std::mutex> hold(self->mLock);
  for (const auto& b : self->mBuffers) {
    if (!b->acquired) return true;
  }
  return false;
}

}  // namespace host
