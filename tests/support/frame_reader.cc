#include "frame_reader.h"

namespace mkvtest {

Frame ReadFrame(QMKVDS_CTX* stream, int32_t capacity) {
  Frame f;
  std::vector<uint8_t> buffer(capacity > 0 ? capacity : 0);
  uint8_t* data = capacity < 0 ? nullptr : buffer.data();
  f.status =
      qmkvds_get_frm(stream, data, capacity < 0 ? 0 : capacity, &f.size, &f.time, &f.end, &f.sync);
  if (data && f.status == 0 && f.size <= buffer.size()) {
    f.bytes.assign(buffer.begin(), buffer.begin() + f.size);
  }
  return f;
}

std::vector<Frame> ReadAll(QMKVDS_CTX* stream, size_t limit) {
  std::vector<Frame> frames;
  while (frames.size() < limit) {
    frames.push_back(ReadFrame(stream));
    if (frames.back().status != 0) break;
  }
  return frames;
}

}  // namespace mkvtest
