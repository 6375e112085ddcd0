// What the framework cannot see of an opened extractor, for tests: the status behind a failed
// query, and the shared holder.
#pragma once

#include "qmkv_extractor.h"

namespace android {

struct QMKVExtractorPeer {
  static int32_t ReadMetaData(CMediaExtractor* e) {
    return static_cast<QMKVExtractor*>(e->data)->readMetaData();
  }
  static QMKVDSF* Holder(CMediaExtractor* e) {
    return static_cast<QMKVExtractor*>(e->data)->mHolder.get();
  }
};

}  // namespace android
