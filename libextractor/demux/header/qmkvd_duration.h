// The duration of a Segment that states none (live recordings, ffmpeg writing to a pipe,
// browser and screen recorders, recordings cut off by a crash), found as players find it: the
// end of the last whole block of the last Cluster (its time plus its BlockDuration or its
// track's DefaultDuration), read from a window at the end of the data; failing that, the time
// of the last cue point. It costs one read of the last 256 KiB, and one or two more (1 MiB,
// 4 MiB) only when no Cluster starts with a whole block inside the smaller window.
#pragma once

#include <stdint.h>

#include "demux/qmkvd_types.h"

// The duration in ticks; false when neither way finds one.
bool qmkvd_find_duration(QMKVD_CTX* ctx, int64_t* ticks);
