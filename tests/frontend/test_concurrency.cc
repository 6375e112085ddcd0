// The tracks of one file read and seeked from separate threads at once, as the framework's audio
// and video paths do. Every thread must get exactly what it gets when it runs alone; built with
// -DQMKV_TSAN=ON, ThreadSanitizer must also see no race, in the seeks (which update what the
// demuxer shares between streams) or in the teardown of sources that outlive their extractor.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "md5.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"
#include "plugin_harness.h"
#include "real_file.h"

namespace mkvtest {
namespace {

using namespace id;

using Bytes = std::vector<uint8_t>;

const uint8_t kKey = 0x80;
const Bytes kIntra = {0, 0, 1, 0xB6, 0x00, 0x11};  // MPEG-4 part 2 VOPs: intra, predicted
const Bytes kPredicted = {0, 0, 1, 0xB6, 0x40, 0x22};

// Ten one-second Clusters of MPEG-4 video (a key frame each second, predicted frames between)
// and 16-bit PCM, with a cue per Cluster. With `cues_wrong`, every cue points 3 bytes past its
// Cluster: the first seek of any track finds that out and drops the cues for the whole file,
// while the other track may be seeking by them.
Bytes TwoTrackFile(bool cues_wrong) {
  const int kSeconds = 10;
  std::vector<Element> segment = {
      Info({Uint(0x2AD7B1, 1000000), Float(0x4489, 1000.0 * kSeconds, 8)}),
      Tracks({VideoTrack(1, {}, "V_MPEG4/ISO/ASP"),
              AudioTrack(
                  2, {Float(kSamplingFrequency, 8000, 8), Uint(kChannels, 1), Uint(kBitDepth, 16)},
                  "A_PCM/INT/LIT")})};
  std::vector<Element> points(kSeconds, CuePoint(0, 1, 0, 4));
  segment.push_back(Cues(points));
  uint64_t at = EncodedSize(segment);
  for (int i = 0; i < kSeconds; ++i) {
    points[i] = CuePoint(1000u * i, 1, at + (cues_wrong ? 3 : 0), 4);
    std::vector<Element> blocks = {Uint(kTimecode, 1000u * i)};
    for (int k = 0; k < 5; ++k) {
      blocks.push_back(SimpleBlock(1, static_cast<int16_t>(200 * k), k == 0 ? kKey : 0,
                                   k == 0 ? kIntra : kPredicted));
      Bytes pcm(320, static_cast<uint8_t>(i * 5 + k));  // 20 ms of samples
      blocks.push_back(SimpleBlock(2, static_cast<int16_t>(200 * k), kKey, pcm));
    }
    segment.push_back(Cluster(blocks));
    at += EncodedSize(segment.back());
  }
  segment[2] = Cues(points);
  return MkvFile(segment);
}

// What a track does: seeks at pseudo-random times in every mode, each followed by a few reads.
struct Step {
  int64_t seek_us;
  uint32_t mode;
};

std::vector<Step> Script(int64_t span_us, uint32_t seed) {
  std::vector<Step> steps;
  uint32_t x = seed;
  for (int i = 0; i < 24; ++i) {
    x = x * 1664525u + 1013904223u;
    steps.push_back(Step{static_cast<int64_t>(x % static_cast<uint32_t>(span_us)),
                         static_cast<uint32_t>(i % 4)});
  }
  return steps;
}

// One line per read: status, time, sync and the payload's hash.
std::vector<std::string> RunScript(PluginTrack* track, const std::vector<Step>& steps) {
  std::vector<std::string> out;
  auto note = [&](media_status_t status, const Packet& p) {
    out.push_back(std::to_string(status) + " " + std::to_string(p.time_us) + " " +
                  std::to_string(p.sync) + " " + qmkvtools::Md5Hex(p.bytes.data(), p.bytes.size()));
  };
  for (const Step& s : steps) {
    Packet first;
    note(track->Seek(s.seek_us, s.mode, &first), first);
    for (int k = 0; k < 3; ++k) {
      Packet p;
      note(track->Read(&p), p);
    }
  }
  return out;
}

struct Case {
  const char* name;
  Bytes bytes;
  int64_t span_us;
};

std::vector<Case> Cases() {
  return {{"builder, good cues", TwoTrackFile(false), 10000000},
          {"builder, cues at the wrong places", TwoTrackFile(true), 10000000},
          {"seek_cues.mkv", ReadDataFile("corpus/seek_cues.mkv"), 4000000},
          {"seek_nocues.mkv", ReadDataFile("corpus/seek_nocues.mkv"), 4000000},
          {"h264_aac_mkvmerge.mkv", ReadDataFile("conformance/h264_aac_mkvmerge.mkv"), 2000000}};
}

// Each track's script alone, one source at a time on a fresh extractor.
std::vector<std::vector<std::string>> Alone(const Case& c) {
  std::vector<std::vector<std::string>> results;
  Plugin plugin(c.bytes);
  EXPECT_TRUE(plugin.Open());
  for (size_t i = 0; i < plugin.CountTracks(); ++i) {
    Plugin fresh(c.bytes);
    EXPECT_TRUE(fresh.Open());
    std::unique_ptr<PluginTrack> track = fresh.Track(i);
    EXPECT_NE(track, nullptr);
    EXPECT_EQ(track->Start(), AMEDIA_OK);
    results.push_back(RunScript(track.get(), Script(c.span_us, 7 + static_cast<uint32_t>(i))));
  }
  return results;
}

TEST(Concurrency, TracksSeekedAndReadFromTheirOwnThreadsGetWhatTheyGetAlone) {
  for (const Case& c : Cases()) {
    SCOPED_TRACE(c.name);
    const std::vector<std::vector<std::string>> alone = Alone(c);
    ASSERT_GE(alone.size(), 2u);
    for (int round = 0; round < 8; ++round) {
      Plugin plugin(c.bytes);
      ASSERT_TRUE(plugin.Open());
      std::vector<std::unique_ptr<PluginTrack>> tracks;
      for (size_t i = 0; i < alone.size(); ++i) {
        tracks.push_back(plugin.Track(i));
        ASSERT_NE(tracks.back(), nullptr);
        ASSERT_EQ(tracks.back()->Start(), AMEDIA_OK);
      }
      std::vector<std::vector<std::string>> together(alone.size());
      std::vector<std::thread> threads;
      for (size_t i = 0; i < alone.size(); ++i) {
        threads.emplace_back([&, i] {
          together[i] = RunScript(tracks[i].get(), Script(c.span_us, 7 + static_cast<uint32_t>(i)));
        });
      }
      for (std::thread& t : threads) t.join();
      for (size_t i = 0; i < alone.size(); ++i) {
        EXPECT_EQ(together[i], alone[i]) << "track " << i << ", round " << round;
      }
    }
  }
}

// The framework may free the extractor first and release the track sources from their own
// threads, each still reading until then: the last one to go takes the demuxer with it.
TEST(Concurrency, SourcesOutlivingTheirExtractorGoAwayFromTheirOwnThreads) {
  const Bytes bytes = ReadDataFile("conformance/h264_aac_mkvmerge.mkv");
  for (int round = 0; round < 16; ++round) {
    Plugin plugin(bytes);
    ASSERT_TRUE(plugin.Open());
    std::vector<std::unique_ptr<PluginTrack>> tracks;
    for (size_t i = 0; i < plugin.CountTracks(); ++i) {
      tracks.push_back(plugin.Track(i));
      ASSERT_NE(tracks.back(), nullptr);
      ASSERT_EQ(tracks.back()->Start(), AMEDIA_OK);
    }
    plugin.Close();
    std::vector<std::thread> threads;
    std::vector<int> packets(tracks.size(), 0);
    for (size_t i = 0; i < tracks.size(); ++i) {
      threads.emplace_back([&, i] {
        Packet p;
        while (packets[i] < 10 + round && tracks[i]->Read(&p) == AMEDIA_OK) ++packets[i];
        tracks[i]->Seek(500000, android::SEEK_PREVIOUS_SYNC);
        tracks[i].reset();
      });
    }
    for (std::thread& t : threads) t.join();
    for (size_t i = 0; i < tracks.size(); ++i) EXPECT_GT(packets[i], 0) << "track " << i;
  }
}

}  // namespace
}  // namespace mkvtest
