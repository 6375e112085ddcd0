// What the framework cannot see of an opened extractor, for tests: the shared holder and the
// published tracks.
#pragma once

#include "qmkv_extractor.h"

namespace android {

struct QMKVExtractorPeer {
  static QMKVDSF* Holder(CMediaExtractor* e) {
    return static_cast<QMKVExtractor*>(e->data)->mHolder.get();
  }
  static QMKVTrack Track(CMediaExtractor* e, size_t index) {
    return static_cast<QMKVExtractor*>(e->data)->mTracks.at(index);
  }
};

}  // namespace android
