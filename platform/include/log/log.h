// Host stand-in of <log/log.h>: the LOG_TAG-based logging and assertion macros over liblog.
#pragma once

#include <android/log.h>
#include <stddef.h>

#ifndef LOG_TAG
#define LOG_TAG NULL
#endif

// Verbose logging is compiled out of release builds unless a file asks for it.
#ifndef LOG_NDEBUG
#ifdef NDEBUG
#define LOG_NDEBUG 1
#else
#define LOG_NDEBUG 0
#endif
#endif

#ifndef __predict_false
#define __predict_false(exp) __builtin_expect((exp) != 0, 0)
#endif

// Picks the message format (or NULL when there is none) and the arguments after it, so that
// LOG_ALWAYS_FATAL_IF(cond) works with and without a message.
#define __android_second(dummy, second, ...) second
#define __android_rest(first, ...) , ##__VA_ARGS__
#define android_printAssert(cond, tag, ...) \
  __android_log_assert(cond, tag,           \
                       __android_second(0, ##__VA_ARGS__, NULL) __android_rest(__VA_ARGS__))

#ifndef LOG_ALWAYS_FATAL_IF
#define LOG_ALWAYS_FATAL_IF(cond, ...) \
  ((__predict_false(cond)) ? ((void)android_printAssert(#cond, LOG_TAG, ##__VA_ARGS__)) : (void)0)
#endif

#ifndef LOG_ALWAYS_FATAL
#define LOG_ALWAYS_FATAL(...) (((void)android_printAssert(NULL, LOG_TAG, ##__VA_ARGS__)))
#endif

#ifndef ALOG
#define ALOG(priority, tag, ...) ((void)__android_log_print(ANDROID_##priority, tag, __VA_ARGS__))
#endif

#ifndef ALOGV
#if LOG_NDEBUG
// Still type-checked, never run.
#define ALOGV(...)                                      \
  do {                                                  \
    if (false) ALOG(LOG_VERBOSE, LOG_TAG, __VA_ARGS__); \
  } while (false)
#else
#define ALOGV(...) ALOG(LOG_VERBOSE, LOG_TAG, __VA_ARGS__)
#endif
#endif

#ifndef ALOGD
#define ALOGD(...) ALOG(LOG_DEBUG, LOG_TAG, __VA_ARGS__)
#endif
#ifndef ALOGI
#define ALOGI(...) ALOG(LOG_INFO, LOG_TAG, __VA_ARGS__)
#endif
#ifndef ALOGW
#define ALOGW(...) ALOG(LOG_WARN, LOG_TAG, __VA_ARGS__)
#endif
#ifndef ALOGE
#define ALOGE(...) ALOG(LOG_ERROR, LOG_TAG, __VA_ARGS__)
#endif

#ifndef ALOGW_IF
#define ALOGW_IF(cond, ...) \
  ((__predict_false(cond)) ? ((void)ALOG(LOG_WARN, LOG_TAG, __VA_ARGS__)) : (void)0)
#endif
#ifndef ALOGE_IF
#define ALOGE_IF(cond, ...) \
  ((__predict_false(cond)) ? ((void)ALOG(LOG_ERROR, LOG_TAG, __VA_ARGS__)) : (void)0)
#endif
