// Every fuzz target includes this once: the extractor logs every oddity it meets, and a fuzzer
// meets little else, so messages are formatted as usual but dropped instead of filling stderr.
// Set QMKV_FUZZ_LOG=1 in the environment to see them (when replaying a single input).
#pragma once

#include <stdlib.h>

#include <host/host_log.h>

namespace qmkvfuzz {

inline void DropLine(int, const char*, const char*, void*) {}

struct QuietLog {
  QuietLog() {
    const char* keep = getenv("QMKV_FUZZ_LOG");
    if (!keep || keep[0] == '\0' || keep[0] == '0') host_log_set_sink(&DropLine, nullptr);
  }
};

// One per target (each target is its own program).
static const QuietLog quiet_log;

}  // namespace qmkvfuzz
