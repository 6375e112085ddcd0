// Stream handles: one per track, each with its own file handle and position.
#pragma once

#include <stdint.h>

#include "demux/qmkvd_types.h"

void qmkvds_close(QMKVDS_CTX* stream);

// 1 for the audio codecs whose laced blocks are delivered whole, as one buffer; 0 for those
// delivered lace by lace.
int32_t support_lacing(int32_t codec);

// Block time from the cluster and block timecodes (presentation order).
int64_t get_time_pts(QMKVDS_CTX* stream, uint64_t cluster_timecode, int16_t relative_timecode);
// Block time by frame count and default duration (decoding order); the timecodes are ignored.
int64_t get_time_dts(QMKVDS_CTX* stream, uint64_t cluster_timecode, int16_t relative_timecode);
