// Host-only control of the binder stand-in: lets a test act as a given caller (for instance the
// media server, uid 1013) for the whole process.
#pragma once

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

// From now on AIBinder_getCallingUid() returns uid, on every thread.
void host_binder_set_calling_uid(uid_t uid);
// Back to the process's own uid.
void host_binder_reset_calling_uid();

#ifdef __cplusplus
}
#endif
