// What the framework cannot see of an opened extractor, for tests: the shared holder.
#pragma once

#include "qmkv_extractor.h"

namespace android {

struct QMKVExtractorPeer {
  static QMKVDSF* Holder(CMediaExtractor* e) {
    return static_cast<QMKVExtractor*>(e->data)->mHolder.get();
  }
};

}  // namespace android
