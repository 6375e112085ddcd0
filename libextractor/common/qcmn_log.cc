#include "common/qcmn_log.h"

#include <android/log.h>

void qcmn_log(int prio, const char* tag, const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  __android_log_vprint(prio, tag, fmt, ap);
  va_end(ap);
}
