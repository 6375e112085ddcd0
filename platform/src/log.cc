// Host implementation of the liblog calls: messages go to stderr (one line each, in the
// "<tag> <P> <message>" shape of the device logger) or to a sink installed by a test.
#include <android/log.h>
#include <host/host_log.h>

#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

namespace {

constexpr int kLogBufferSize = 1024;  // the device logger cuts messages at 1023 characters

host_log_sink g_sink = nullptr;
// As the host liblog: debug and verbose messages reach stderr only when asked for. A test's
// sink sees every message.
int32_t g_min_priority = ANDROID_LOG_INFO;
void* g_sink_user = nullptr;
host_assert_hook g_assert_hook = nullptr;

char PriorityLetter(int prio) {
  static const char kLetters[] = "??VDIWEFS";
  return (prio >= 0 && prio <= ANDROID_LOG_SILENT) ? kLetters[prio] : '?';
}

int Emit(int prio, const char* tag, const char* text) {
  const char* safe_tag = tag ? tag : "";
  if (g_sink) {
    g_sink(prio, safe_tag, text, g_sink_user);
    return 1;
  }
  if (prio < g_min_priority) return -EPERM;
  fprintf(stderr, "%s %c %s\n", safe_tag, PriorityLetter(prio), text);
  return 1;
}

}  // namespace

extern "C" int32_t __android_log_set_minimum_priority(int32_t priority) {
  const int32_t previous = g_min_priority;
  g_min_priority = priority;
  return previous;
}

extern "C" void host_log_set_sink(host_log_sink sink, void* user) {
  g_sink = sink;
  g_sink_user = user;
}

extern "C" void host_log_set_assert_hook(host_assert_hook hook) {
  g_assert_hook = hook;
}

extern "C" int __android_log_write(int prio, const char* tag, const char* text) {
  return Emit(prio, tag, text ? text : "");
}

extern "C" int __android_log_vprint(int prio, const char* tag, const char* fmt, va_list ap) {
  char buf[kLogBufferSize];
  vsnprintf(buf, sizeof(buf), fmt, ap);
  return Emit(prio, tag, buf);
}

extern "C" int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  int r = __android_log_vprint(prio, tag, fmt, ap);
  va_end(ap);
  return r;
}

extern "C" void __android_log_assert(const char* cond, const char* tag, const char* fmt, ...) {
  char buf[kLogBufferSize];
  if (fmt) {
    va_list ap;
    va_start(ap, fmt);
    vsnprintf(buf, sizeof(buf), fmt, ap);
    va_end(ap);
  } else {
    snprintf(buf, sizeof(buf), "%s%s", cond ? "Assertion failed: " : "Unspecified assertion failed",
             cond ? cond : "");
  }
  if (g_assert_hook) g_assert_hook(cond, tag ? tag : "", buf);
  fprintf(stderr, "%s\n", buf);
  Emit(ANDROID_LOG_FATAL, tag, buf);
  abort();
}
