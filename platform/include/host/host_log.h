// Host-only hook into the log stand-in: lets tests see every message with its priority and tag
// instead of reading stderr.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// tag is "" when the caller logged without one. text is the formatted message, cut at 1023
// characters as the device logger does.
typedef void (*host_log_sink)(int prio, const char* tag, const char* text, void* user);

// Installs a sink (null restores the default stderr writer). Not thread-safe against logging.
void host_log_set_sink(host_log_sink sink, void* user);

#ifdef __cplusplus
}
#endif
