#include <utils/String8.h>

#include <stdio.h>

namespace android {

String8 String8::format(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  String8 result;
  result.appendFormatV(fmt, args);
  va_end(args);
  return result;
}

status_t String8::append(const String8& other) {
  mString += other.mString;
  return OK;
}

status_t String8::append(const char* other) {
  if (other) mString += other;
  return OK;
}

status_t String8::append(const char* other, size_t numChars) {
  if (other) mString.append(other, numChars);
  return OK;
}

status_t String8::appendFormat(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  const status_t result = appendFormatV(fmt, args);
  va_end(args);
  return result;
}

status_t String8::appendFormatV(const char* fmt, va_list args) {
  va_list measure;
  va_copy(measure, args);
  const int n = vsnprintf(nullptr, 0, fmt, measure);
  va_end(measure);
  if (n < 0) return NO_MEMORY;  // the C library could not render the format
  if (n == 0) return OK;
  const size_t old = mString.size();
  mString.resize(old + static_cast<size_t>(n) + 1);
  vsnprintf(&mString[old], static_cast<size_t>(n) + 1, fmt, args);
  mString.resize(old + static_cast<size_t>(n));
  return OK;
}

}  // namespace android
