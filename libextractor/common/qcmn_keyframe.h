// Whether a compressed video frame is a key (sync) frame, judged from its first bytes.
#pragma once

#include <stdint.h>

#include "common/qcmn_mt.h"

// 1 for a key frame of media type mt, else 0. Media types without a rule (WMV9, RealVideo,
// VC-1, ...) are never key frames by this test. Bytes past count are never read.
int32_t qcmn_is_vkeyfrm(QCMN_MT mt, const uint8_t* data, int32_t count);
