// Host-only: the framework's side of the buffer group a track gets in start(). Tests and tools
// own one, hand its C table to the plug-in and read the buffers it returns through their own C
// tables. Behaves as the framework's group does for a plug-in: buffers are only added by init
// and add_buffer, acquire hands out a free one big enough (or replaces a too-small free one),
// and a buffer's metadata format survives from one acquisition to the next.
#pragma once

#include <stddef.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include <media/MediaExtractorPluginApi.h>
#include <media/NdkMediaError.h>

namespace host {

class MediaBufferGroup {
 public:
  MediaBufferGroup();
  ~MediaBufferGroup();  // frees all buffers, handed out or not

  MediaBufferGroup(const MediaBufferGroup&) = delete;
  MediaBufferGroup& operator=(const MediaBufferGroup&) = delete;

  // The C table to give to a track's start(); bound to this group for its whole life.
  android::CMediaBufferGroup* wrapper() { return &mWrapper; }

  size_t buffer_count() const;    // buffers in the group
  size_t acquired_count() const;  // buffers currently handed out

  // While status is not AMEDIA_OK, every acquire returns it with a null buffer.
  void set_acquire_failure(media_status_t status);

  struct Buffer;  // one buffer and its C table

 private:
  static bool Init(void* handle, size_t buffers, size_t buffer_size, size_t growthLimit);
  static void AddBuffer(void* handle, size_t size);
  static media_status_t AcquireBuffer(void* handle, android::CMediaBuffer** buffer,
                                      bool nonBlocking, size_t requestedSize);
  static bool HasBuffers(void* handle);

  friend struct Buffer;
  void AddLocked(size_t size);
  void Release(Buffer* buffer);

  android::CMediaBufferGroup mWrapper;
  mutable std::mutex mLock;
  std::condition_variable mReleased;
  std::vector<std::unique_ptr<Buffer>> mBuffers;
  size_t mGrowthLimit = 0;
  media_status_t mAcquireFailure = AMEDIA_OK;
};

}  // namespace host
