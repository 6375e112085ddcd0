#include "mkv_shapes.h"

namespace mkvtest {

Element MinimalInfo() {
  return Info({Uint(0x2AD7B1, 1000000), Float(0x4489, 1000.0, 8), String(0x4D80, "mkvtest")});
}

Element OneTrack() {
  return Tracks({TrackEntry({Uint(0xD7, 1), Uint(0x73C5, 1), Uint(0x83, 1), String(0x86, "V_VP9"),
                             Master(0xE0, {Uint(0xB0, 64), Uint(0xBA, 48)})})});
}

namespace {

enum : uint32_t {
  kNumber = 0xD7,
  kType = 0x83,
  kCodecId = 0x86,
  kAudio = 0xE1,
  kEncodings = 0x6D80,
  kEncoding = 0x6240,
  kCompression = 0x5034,
  kCompAlgo = 0x4254,
  kCompSettings = 0x4255,
};

Element Entry(uint64_t number, uint64_t type, const std::string& codec,
              std::vector<Element> extra) {
  std::vector<Element> kids = {Uint(kNumber, number), Uint(kType, type), String(kCodecId, codec)};
  for (auto& e : extra) kids.push_back(std::move(e));
  return TrackEntry(std::move(kids));
}

}  // namespace

Element VideoTrack(uint64_t number, std::vector<Element> extra, const std::string& codec) {
  return Entry(number, 1, codec, std::move(extra));
}

Element AudioTrack(uint64_t number, std::vector<Element> audio, const std::string& codec,
                   std::vector<Element> extra) {
  extra.insert(extra.begin(), Master(kAudio, std::move(audio)));
  return Entry(number, 2, codec, std::move(extra));
}

Element TextTrack(uint64_t number, const std::string& codec, std::vector<Element> extra) {
  return Entry(number, 17, codec, std::move(extra));
}

Element HeaderStripping(std::vector<uint8_t> bytes) {
  return Master(kEncodings,
                {Master(kEncoding, {Master(kCompression,
                                           {Uint(kCompAlgo, 3), Binary(kCompSettings, bytes)})})});
}

Element SmallCluster(uint64_t timecode) {
  return Cluster({Uint(0xE7, timecode), SimpleBlock(1, 0, 0x80, {0x10, 0x20, 0x30})});
}

Element CuePoint(uint64_t time, uint64_t track, uint64_t cluster_pos, int width) {
  Element t = Uint(kIdCueTime, time);
  Element position = Uint(kIdCueClusterPosition, cluster_pos);
  if (width > 0) {
    t.Width(width);
    position.Width(width);
  }
  return Master(kIdCuePoint,
                {t, Master(kIdCueTrackPositions, {Uint(kIdCueTrack, track), position})});
}

std::vector<uint8_t> MkvFile(std::vector<Element> segment_children) {
  return Serialize({EbmlHeader(), Segment(std::move(segment_children))});
}

std::vector<uint8_t> MinimalFile() {
  return MkvFile({MinimalInfo(), OneTrack(), SmallCluster()});
}

}  // namespace mkvtest
