#include "mkv_shapes.h"
#include "mkv_ids.h"

namespace mkvtest {

using namespace id;

Element MinimalInfo() {
  return Info(
      {Uint(kTimecodeScale, 1000000), Float(kDuration, 1000.0, 8), String(kMuxingApp, "mkvtest")});
}

Element OneTrack() {
  return Tracks({TrackEntry({Uint(0xD7, 1), Uint(0x73C5, 1), Uint(0x83, 1), String(0x86, "V_VP9"),
                             Master(0xE0, {Uint(0xB0, 64), Uint(0xBA, 48)})})});
}

namespace {

Element Entry(uint64_t number, uint64_t type, const std::string& codec,
              std::vector<Element> extra) {
  std::vector<Element> kids = {Uint(kTrackNumber, number), Uint(kTrackType, type),
                               String(kCodecId, codec)};
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
  return Master(kContentEncodings,
                {Master(kContentEncoding,
                        {Master(kContentCompression, {Uint(kContentCompAlgo, 3),
                                                      Binary(kContentCompSettings, bytes)})})});
}

Element ClusterAt(uint64_t timecode, std::vector<Element> blocks, bool crc) {
  blocks.insert(blocks.begin(), Uint(0xE7, timecode));
  if (crc) blocks.insert(blocks.begin(), Binary(0xBF, {1, 2, 3, 4}));
  return Cluster(std::move(blocks));
}

std::vector<uint8_t> FileOf(std::vector<Element> tracks, std::vector<Element> rest, bool pad) {
  std::vector<Element> children = {MinimalInfo(), Tracks(std::move(tracks))};
  for (Element& e : rest) children.push_back(std::move(e));
  if (pad) children.push_back(Binary(0xEC, std::vector<uint8_t>(128)));
  return MkvFile(std::move(children));
}

Element SmallCluster(uint64_t timecode) {
  return Cluster({Uint(0xE7, timecode), SimpleBlock(1, 0, 0x80, {0x10, 0x20, 0x30})});
}

Element CuePoint(uint64_t time, uint64_t track, uint64_t cluster_pos, int width) {
  Element t = Uint(kCueTime, time);
  Element position = Uint(kCueClusterPosition, cluster_pos);
  if (width > 0) {
    t.Width(width);
    position.Width(width);
  }
  return Master(kCuePoint, {t, Master(kCueTrackPositions, {Uint(kCueTrack, track), position})});
}

std::vector<uint8_t> MkvFile(std::vector<Element> segment_children) {
  return Serialize({EbmlHeader(), Segment(std::move(segment_children))});
}

std::vector<uint8_t> MinimalFile() {
  return MkvFile({MinimalInfo(), OneTrack(), SmallCluster()});
}

}  // namespace mkvtest
