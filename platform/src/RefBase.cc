// Strong counting as libutils does it: the count starts at a sentinel so that the first
// reference can be told apart (onFirstRef), and the object is deleted when it returns to zero.
#include <utils/RefBase.h>

#include <android/log.h>

namespace android {

namespace {
constexpr int32_t kInitialStrongValue = 1 << 28;
}  // namespace

RefBase::RefBase() : mStrong(kInitialStrongValue) {}

RefBase::~RefBase() {}

void RefBase::onFirstRef() {}

void RefBase::onLastStrongRef(const void* /*id*/) {}

void RefBase::incStrong(const void* /*id*/) const {
  const int32_t c = mStrong.fetch_add(1, std::memory_order_relaxed);
  if (c <= 0 || c > kInitialStrongValue) {
    __android_log_assert("c > 0", "RefBase", "incStrong() called on %p after last strong ref",
                         static_cast<const void*>(this));
  }
  if (c != kInitialStrongValue) return;
  mStrong.fetch_sub(kInitialStrongValue, std::memory_order_relaxed);
  const_cast<RefBase*>(this)->onFirstRef();
}

void RefBase::forceIncStrong(const void* /*id*/) const {
  const int32_t c = mStrong.fetch_add(1, std::memory_order_relaxed);
  if (c == kInitialStrongValue) {
    mStrong.fetch_sub(kInitialStrongValue, std::memory_order_relaxed);
    const_cast<RefBase*>(this)->onFirstRef();
  } else if (c == 0) {
    const_cast<RefBase*>(this)->onFirstRef();
  }
}

void RefBase::decStrong(const void* id) const {
  // acq_rel: the last holder must see every other holder's writes before deleting (a separate
  // acquire fence would do too, but ThreadSanitizer does not model fences).
  const int32_t c = mStrong.fetch_sub(1, std::memory_order_acq_rel);
  if (c <= 0 || c == kInitialStrongValue) {
    __android_log_assert("c >= 1", "RefBase", "decStrong() called on %p too many times",
                         static_cast<const void*>(this));
  }
  if (c != 1) return;
  RefBase* self = const_cast<RefBase*>(this);
  self->onLastStrongRef(id);
  delete self;
}

int32_t RefBase::getStrongCount() const {
  return mStrong.load(std::memory_order_relaxed);
}

}  // namespace android
