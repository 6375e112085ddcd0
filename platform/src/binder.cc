#include <android/binder_ibinder.h>
#include <host/host_binder.h>

#include <unistd.h>

#include <atomic>

namespace {
// A uid a caller can have, or -1: no caller chosen, answer with our own.
std::atomic<int64_t> g_calling_uid(-1);
}  // namespace

extern "C" uid_t AIBinder_getCallingUid() {
  const int64_t uid = g_calling_uid.load();
  return uid < 0 ? getuid() : static_cast<uid_t>(uid);
}

extern "C" void host_binder_set_calling_uid(uid_t uid) {
  g_calling_uid.store(static_cast<int64_t>(uid));
}

extern "C" void host_binder_reset_calling_uid() {
  g_calling_uid.store(-1);
}
