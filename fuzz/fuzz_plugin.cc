// The whole plug-in through its C tables, as the media-extractor service drives it: sniff,
// create, the file and track formats, every track read to its end, then one seek in each of
// the framework's four modes (at times taken from the input) with a read after each.
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <memory>
#include <vector>

#include "plugin_harness.h"
#include "quiet_log.h"

namespace {

// Reads per track are bounded so that a file of many tiny blocks cannot make one run slow.
constexpr size_t kMaxReads = 2000;

// A seek time from eight bytes of the input, from its end backwards, so that the times change
// with the bytes the fuzzer mutates without disturbing the file's head. Kept within a few hours
// either side of zero, with a negative time now and then.
int64_t SeekTime(const uint8_t* data, size_t size, size_t which) {
  uint64_t v = 0;
  for (size_t i = 0; i < 8; ++i) {
    const size_t back = which * 8 + i + 1;
    v = (v << 8) | (back <= size ? data[size - back] : 0);
  }
  const int64_t range = 4LL * 3600 * 1000000;
  return static_cast<int64_t>(v % (2 * range)) - range / 8;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  mkvtest::Plugin plugin(std::vector<uint8_t>(data, data + size));
  if (!plugin.Open()) return 0;

  {
    mkvtest::Format file_format;
    plugin.FileFormat(&file_format);
  }
  plugin.Flags();
  const size_t count = plugin.CountTracks();
  std::vector<std::unique_ptr<mkvtest::PluginTrack>> tracks;
  for (size_t i = 0; i < count; ++i) {
    mkvtest::Format format;
    plugin.TrackFormat(i, &format);
    tracks.push_back(plugin.Track(i));
  }
  // One index past the end: the extractor must refuse it.
  {
    mkvtest::Format format;
    plugin.TrackFormat(count, &format);
  }

  static const uint32_t kModes[] = {android::SEEK_PREVIOUS_SYNC, android::SEEK_NEXT_SYNC,
                                    android::SEEK_CLOSEST_SYNC, android::SEEK_CLOSEST};
  for (size_t i = 0; i < tracks.size(); ++i) {
    mkvtest::PluginTrack* track = tracks[i].get();
    if (!track) continue;
    if (track->Start() != AMEDIA_OK) continue;
    mkvtest::Format format;
    track->GetFormat(&format);
    mkvtest::Packet packet;
    for (size_t n = 0; n < kMaxReads; ++n) {
      if (track->Read(&packet) != AMEDIA_OK) break;
    }
    for (size_t m = 0; m < 4; ++m) {
      track->Seek(SeekTime(data, size, i * 4 + m), kModes[m], &packet);
    }
    track->Stop();
  }
  // The framework may free the extractor before its tracks or after; inputs of odd length take
  // the first order, so both are covered.
  if (size & 1) plugin.Close();
  tracks.clear();
  plugin.Close();
  return 0;
}
