// Host-only hooks into the log stand-in: lets tests see every message with its priority and tag
// instead of reading stderr, and see an assertion before the process goes down.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// tag is "" when the caller logged without one. text is the formatted message, cut at 1023
// characters as the device logger does.
typedef void (*host_log_sink)(int prio, const char* tag, const char* text, void* user);

// Installs a sink (null restores the default stderr writer). Not thread-safe against logging.
void host_log_set_sink(host_log_sink sink, void* user);

// Called by __android_log_assert with the condition as passed (may be null), the tag ("" when
// none) and the message it is about to print, just before it aborts. A death test can print the
// condition so that both it and the message can be matched.
typedef void (*host_assert_hook)(const char* cond, const char* tag, const char* message);

// Installs the hook (null removes it). Not thread-safe against assertions.
void host_log_set_assert_hook(host_assert_hook hook);

#ifdef __cplusplus
}
#endif
