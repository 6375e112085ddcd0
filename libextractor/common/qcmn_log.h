// The one logging seam of the extractor. Everything the demuxer and the front end log goes
// through qcmn_log, which hands it to the platform log; tests capture it there.
#pragma once

#include <stdarg.h>

// Priorities as the platform log numbers them.
enum {
  QCMN_LOG_DEBUG = 3,
  QCMN_LOG_INFO = 4,
  QCMN_LOG_WARN = 5,
  QCMN_LOG_ERROR = 6,
};

// Tags of the extractor's messages. Warnings of the header parsers carry no tag (null).
#define QCMN_TAG_FRONTEND "QMKVExtractorSO"
#define QCMN_TAG_DEMUX "qmkvd"
#define QCMN_TAG_HEADER "qmkvd_header"
#define QCMN_TAG_UTIL "qmkvd_util"

void qcmn_log(int prio, const char* tag, const char* fmt, ...)
    __attribute__((__format__(printf, 3, 4)));
