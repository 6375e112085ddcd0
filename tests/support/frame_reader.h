// Reads frames from a stream handle the way the tests want to see them.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

#include "demux/read/qmkvd_stream.h"

namespace mkvtest {

struct Frame {
  int32_t status = -100;
  uint32_t size = 0;
  int64_t time = -1;
  int64_t end = -1;
  int32_t sync = -1;
  std::vector<uint8_t> bytes;  // the delivered bytes (size of them)
};

// One qmkvds_get_frm call with a buffer of `capacity` bytes, or (capacity < 0) with no buffer,
// which asks for the size only.
Frame ReadFrame(QMKVDS_CTX* stream, int32_t capacity = 1 << 16);
inline Frame QuerySize(QMKVDS_CTX* stream) {
  return ReadFrame(stream, -1);
}

// Frames until a call returns non-zero; the last element holds that call's status.
std::vector<Frame> ReadAll(QMKVDS_CTX* stream, size_t limit = 100000);

}  // namespace mkvtest
