#include "mkv_shapes.h"

namespace mkvtest {

Element MinimalInfo() {
  return Info({Uint(0x2AD7B1, 1000000), Float(0x4489, 1000.0, 8), String(0x4D80, "mkvtest")});
}

Element OneTrack() {
  return Tracks({TrackEntry({Uint(0xD7, 1), Uint(0x73C5, 1), Uint(0x83, 1), String(0x86, "V_VP9"),
                             Master(0xE0, {Uint(0xB0, 64), Uint(0xBA, 48)})})});
}

Element SmallCluster(uint64_t timecode) {
  return Cluster({Uint(0xE7, timecode), SimpleBlock(1, 0, 0x80, {0x10, 0x20, 0x30})});
}

std::vector<uint8_t> MkvFile(std::vector<Element> segment_children) {
  return Serialize({EbmlHeader(), Segment(std::move(segment_children))});
}

std::vector<uint8_t> MinimalFile() { return MkvFile({MinimalInfo(), OneTrack(), SmallCluster()}); }

}  // namespace mkvtest
