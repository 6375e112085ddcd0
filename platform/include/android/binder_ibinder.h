// Host stand-in of <android/binder_ibinder.h>: only the calling-uid query plug-ins use.
#pragma once

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

// The uid of the binder caller being served on this thread, else the process's own uid. The
// host has no binder; tests choose the caller with <host/host_binder.h>.
uid_t AIBinder_getCallingUid();

#ifdef __cplusplus
}
#endif
