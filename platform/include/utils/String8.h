// Host stand-in of <utils/String8.h>: the framework's 8-bit string, as much of it as plug-ins
// use.
#pragma once

#include <stdarg.h>
#include <stddef.h>

#include <string>

#include <utils/Errors.h>

namespace android {

class String8 {
 public:
  String8() = default;
  String8(const String8& o) = default;
  explicit String8(const char* o) : mString(o ? o : "") {}
  String8(const char* o, size_t numChars) : mString(o ? o : "", o ? numChars : 0) {}
  String8& operator=(const String8& o) = default;
  String8& operator=(const char* o) {
    mString = o ? o : "";
    return *this;
  }

  static String8 format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

  inline const char* c_str() const { return mString.c_str(); }
  inline const char* string() const { return mString.c_str(); }
  inline size_t size() const { return mString.size(); }
  inline size_t length() const { return mString.size(); }
  inline size_t bytes() const { return mString.size(); }
  inline bool isEmpty() const { return mString.empty(); }
  inline operator const char*() const { return mString.c_str(); }  // NOLINT: as the framework's

  void clear() { mString.clear(); }
  void setTo(const char* other) { mString = other ? other : ""; }

  status_t append(const String8& other);
  status_t append(const char* other);
  status_t append(const char* other, size_t numChars);
  status_t appendFormat(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  status_t appendFormatV(const char* fmt, va_list args) __attribute__((format(printf, 2, 0)));

  inline String8& operator+=(const String8& other) {
    append(other);
    return *this;
  }
  inline String8& operator+=(const char* other) {
    append(other);
    return *this;
  }

  inline bool operator==(const String8& o) const { return mString == o.mString; }
  inline bool operator!=(const String8& o) const { return mString != o.mString; }
  inline bool operator<(const String8& o) const { return mString < o.mString; }

 private:
  std::string mString;
};

}  // namespace android
