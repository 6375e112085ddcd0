// Host stand-in of <utils/StrongPointer.h>: sp<T>, the strong pointer over intrusively counted
// objects (RefBase or anything with incStrong/decStrong).
#pragma once

#include <stddef.h>

#include <utility>

namespace android {

template <typename T>
class sp {
 public:
  inline sp() : m_ptr(nullptr) {}

  sp(T* other);  // NOLINT: implicit, as the framework's is
  sp(const sp<T>& other);
  sp(sp<T>&& other) noexcept;
  template <typename U>
  sp(U* other);  // NOLINT
  template <typename U>
  sp(const sp<U>& other);  // NOLINT
  template <typename U>
  sp(sp<U>&& other);  // NOLINT

  ~sp();

  sp& operator=(T* other);
  sp& operator=(const sp<T>& other);
  sp& operator=(sp<T>&& other) noexcept;
  template <typename U>
  sp& operator=(const sp<U>& other);
  template <typename U>
  sp& operator=(sp<U>&& other);
  template <typename U>
  sp& operator=(U* other);

  // Takes a reference without the usual first-reference bookkeeping being skipped.
  void force_set(T* other);

  void clear();

  inline T& operator*() const { return *m_ptr; }
  inline T* operator->() const { return m_ptr; }
  inline T* get() const { return m_ptr; }

  // No conversion to bool: test with `!= nullptr`, as framework code does.
#define QMKV_SP_COMPARE(_op_)                       \
  inline bool operator _op_(const sp<T>& o) const { \
    return m_ptr _op_ o.m_ptr;                      \
  }                                                 \
  inline bool operator _op_(const T* o) const {     \
    return m_ptr _op_ o;                            \
  }                                                 \
  template <typename U>                             \
  inline bool operator _op_(const sp<U>& o) const { \
    return m_ptr _op_ o.m_ptr;                      \
  }                                                 \
  template <typename U>                             \
  inline bool operator _op_(const U* o) const {     \
    return m_ptr _op_ o;                            \
  }

  QMKV_SP_COMPARE(==)
  QMKV_SP_COMPARE(!=)
  QMKV_SP_COMPARE(>)
  QMKV_SP_COMPARE(<)
  QMKV_SP_COMPARE(<=)
  QMKV_SP_COMPARE(>=)
#undef QMKV_SP_COMPARE

 private:
  template <typename Y>
  friend class sp;
  T* m_ptr;
};

template <typename T>
sp<T>::sp(T* other) : m_ptr(other) {
  if (other) other->incStrong(this);
}

template <typename T>
sp<T>::sp(const sp<T>& other) : m_ptr(other.m_ptr) {
  if (m_ptr) m_ptr->incStrong(this);
}

template <typename T>
sp<T>::sp(sp<T>&& other) noexcept : m_ptr(other.m_ptr) {
  other.m_ptr = nullptr;
}

template <typename T>
template <typename U>
sp<T>::sp(U* other) : m_ptr(other) {
  if (other) m_ptr->incStrong(this);
}

template <typename T>
template <typename U>
sp<T>::sp(const sp<U>& other) : m_ptr(other.m_ptr) {
  if (m_ptr) m_ptr->incStrong(this);
}

template <typename T>
template <typename U>
sp<T>::sp(sp<U>&& other) : m_ptr(other.m_ptr) {
  other.m_ptr = nullptr;
}

template <typename T>
sp<T>::~sp() {
  if (m_ptr) m_ptr->decStrong(this);
}

template <typename T>
sp<T>& sp<T>::operator=(const sp<T>& other) {
  T* other_ptr = other.m_ptr;  // self-assignment safe: take before dropping
  if (other_ptr) other_ptr->incStrong(this);
  if (m_ptr) m_ptr->decStrong(this);
  m_ptr = other_ptr;
  return *this;
}

template <typename T>
sp<T>& sp<T>::operator=(sp<T>&& other) noexcept {
  T* old = m_ptr;
  m_ptr = other.m_ptr;
  other.m_ptr = nullptr;
  if (old && old != m_ptr) old->decStrong(this);
  return *this;
}

template <typename T>
sp<T>& sp<T>::operator=(T* other) {
  if (other) other->incStrong(this);
  if (m_ptr) m_ptr->decStrong(this);
  m_ptr = other;
  return *this;
}

template <typename T>
template <typename U>
sp<T>& sp<T>::operator=(const sp<U>& other) {
  T* other_ptr(other.m_ptr);
  if (other_ptr) other_ptr->incStrong(this);
  if (m_ptr) m_ptr->decStrong(this);
  m_ptr = other_ptr;
  return *this;
}

template <typename T>
template <typename U>
sp<T>& sp<T>::operator=(sp<U>&& other) {
  T* old = m_ptr;
  m_ptr = other.m_ptr;
  other.m_ptr = nullptr;
  if (old && old != m_ptr) old->decStrong(this);
  return *this;
}

template <typename T>
template <typename U>
sp<T>& sp<T>::operator=(U* other) {
  return *this = static_cast<T*>(other);
}

template <typename T>
void sp<T>::force_set(T* other) {
  other->forceIncStrong(this);
  m_ptr = other;
}

template <typename T>
void sp<T>::clear() {
  T* old = m_ptr;
  if (old) {
    m_ptr = nullptr;
    old->decStrong(this);
  }
}

}  // namespace android
