// Host stand-in of <utils/RefBase.h>: intrusively reference-counted objects. Only strong
// references are kept; an object goes away when its last sp<> does.
#pragma once

#include <stdint.h>

#include <atomic>

#include <utils/StrongPointer.h>

namespace android {

class RefBase {
 public:
  void incStrong(const void* id) const;
  void decStrong(const void* id) const;
  // Like incStrong, but also valid on an object whose count already fell to zero once.
  void forceIncStrong(const void* id) const;
  // The current count; before the first reference it reads as a large sentinel value.
  int32_t getStrongCount() const;

 protected:
  RefBase();
  virtual ~RefBase();

  // Called after the first strong reference is taken.
  virtual void onFirstRef();
  // Called when the last strong reference is dropped, just before the object is deleted.
  virtual void onLastStrongRef(const void* id);

 private:
  RefBase(const RefBase&) = delete;
  RefBase& operator=(const RefBase&) = delete;

  mutable std::atomic<int32_t> mStrong;
};

// The lighter, non-virtual variant: a count and a delete of the derived type.
template <class T>
class LightRefBase {
 public:
  inline LightRefBase() : mCount(0) {}
  inline void incStrong(const void* /*id*/) const {
    mCount.fetch_add(1, std::memory_order_relaxed);
  }
  inline void decStrong(const void* /*id*/) const {
    if (mCount.fetch_sub(1, std::memory_order_release) == 1) {
      std::atomic_thread_fence(std::memory_order_acquire);
      delete static_cast<const T*>(this);
    }
  }
  inline int32_t getStrongCount() const { return mCount.load(std::memory_order_relaxed); }

 protected:
  inline ~LightRefBase() {}

 private:
  mutable std::atomic<int32_t> mCount;
};

}  // namespace android
