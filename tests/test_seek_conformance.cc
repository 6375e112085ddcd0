// Seeks through the plug-in's C tables, in the framework's four modes, in real files with and
// without Cues: 20 evenly spaced times each, and the first packet read after the seek checked
// against the video key frames ffprobe lists (tests/data/conformance/ref, tests/data/corpus/ref).
//
// The expectation is worked out from the key frames alone: previous sync lands on the last key
// frame at or before the time, next sync on the first at or after it, closest sync on the nearest
// (a tie goes to the earlier). Where the extractor deliberately does otherwise, the check names
// the rule.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "ffprobe_ref.h"
#include "md5.h"
#include "plugin_harness.h"
#include "real_file.h"

namespace mkvtest {
namespace {

using android::SEEK_CLOSEST;
using android::SEEK_CLOSEST_SYNC;
using android::SEEK_NEXT_SYNC;
using android::SEEK_PREVIOUS_SYNC;

const char kRuleClosestIsPrevious[] =
    "closest is served as previous sync: the decoder runs on from the key frame to the time";
const char kRuleRewind[] =
    "a time before the first sync point (or 0) starts the track again at its first packet";

struct SeekCase {
  const char* file;  // under tests/data
};

const SeekCase kSeekCases[] = {
    {"corpus/seek_cues.mkv"},
    {"corpus/seek_ffmpeg.mkv"},
    {"corpus/seek_nocues.mkv"},
    {"conformance/mpeg4_mp2_mkvmerge.mkv"},
    {"conformance/mpeg2_ac3_ffmpeg.mkv"},
    // Its CuePoint at 1.021 s lists track 1 (video), then track 4 (ASS).
    {"conformance/h264_ffmpeg.mkv"},
    // The same with every Cluster of unknown size.
    {"conformance/unknown_clusters_ffmpeg.mkv"},
    {"conformance/h264_aac_mkvmerge.mkv"},
    {"conformance/delayed_audio_mkvmerge.mkv"},
    {"conformance/vp9_flac_mkvmerge.mkv"},
    {"conformance/h264_nolacing_mkvmerge.mkv"},
    // No Duration: the one found at the end of the data bounds the seeks.
    {"conformance/h264_pipe_ffmpeg.mkv"},
    {"conformance/gst_live_h264_opus_matroskamux.mkv"},
    // No Cues, and key frames the bitstream test has no rule for: only the container says.
    {"conformance/av1_nocues_mkvmerge.mkv"},
    {"conformance/mpeg2_nocues_mkvmerge.mkv"},
    {"conformance/h264_opengop_mkvmerge.mkv"},
    {"conformance/delayed_audio_nocues_mkvmerge.mkv"},
};

struct RefFrame {
  int64_t time_us;
  const RefPacket* ref;
};

// What one seek should give: the packet read first, or the end of the stream.
struct Want {
  const RefFrame* first = nullptr;  // null: end of stream
  const char* rule = nullptr;       // the rule that decides, if one does
};

class Oracle {
 public:
  explicit Oracle(std::vector<RefFrame> frames) : frames_(std::move(frames)) {
    for (const RefFrame& f : frames_) {
      if (f.ref->key) keys_.push_back(&f);
    }
    std::stable_sort(keys_.begin(), keys_.end(),
                     [](const RefFrame* a, const RefFrame* b) { return a->time_us < b->time_us; });
  }

  Want Expect(int64_t t, uint32_t mode) const {
    const RefFrame* before = nullptr;  // last key frame at or before t
    const RefFrame* after = nullptr;   // first key frame at or after t
    for (const RefFrame* k : keys_) {
      if (k->time_us <= t) before = k;
      if (k->time_us >= t && !after) after = k;
    }
    const bool rewinds = mode != SEEK_NEXT_SYNC && t == 0;
    if (rewinds) return Want{&frames_.front(), kRuleRewind};
    switch (mode) {
      case SEEK_NEXT_SYNC: return Want{after, nullptr};
      case SEEK_CLOSEST_SYNC:
        if (before && after && after->time_us - t < t - before->time_us) return Want{after};
        return before ? Want{before} : Want{after};
      default:  // previous sync, and closest
        if (!before) return Want{&frames_.front(), kRuleRewind};
        return Want{before, mode == SEEK_CLOSEST ? kRuleClosestIsPrevious : nullptr};
    }
  }

  const std::vector<const RefFrame*>& keys() const { return keys_; }
  int64_t last_time() const {
    int64_t last = 0;
    for (const RefFrame& f : frames_) last = std::max(last, f.time_us);
    return last;
  }

 private:
  std::vector<RefFrame> frames_;       // the video track's packets in file order
  std::vector<const RefFrame*> keys_;  // the key frames seeks can land on, in time order
};

const char* ModeName(uint32_t mode) {
  switch (mode) {
    case SEEK_PREVIOUS_SYNC: return "previous sync";
    case SEEK_NEXT_SYNC: return "next sync";
    case SEEK_CLOSEST_SYNC: return "closest sync";
    default: return "closest";
  }
}

// The packet's payload as stored (start codes back into length fields for AVC and HEVC).
bool SamePayload(const Packet& p, const RefPacket& r, bool nal) {
  std::vector<uint8_t> stored = p.bytes;
  if (nal) {
    for (int width : {4, 2, 1}) {
      if (ToLengthPrefixed(p.bytes, width, &stored).empty() &&
          qmkvtools::Md5Hex(stored.data(), stored.size()) == r.md5) {
        return true;
      }
    }
    return false;
  }
  return qmkvtools::Md5Hex(stored.data(), stored.size()) == r.md5;
}

class SeekConformance : public ::testing::TestWithParam<SeekCase> {};

TEST_P(SeekConformance, FirstPacketAfterEachSeekIsTheKeyFrameTheModeAsksFor) {
  const SeekCase& c = GetParam();
  FfprobeRef ref;
  ASSERT_EQ(LoadRefOf(c.file, &ref), "");
  ASSERT_FALSE(ref.streams.empty());
  const RefStream& video = ref.streams[0];
  ASSERT_EQ(video.codec_type, "video");
  const std::vector<RefPacket> packets = ref.PacketsOf(0);
  std::vector<RefFrame> frames;
  for (const RefPacket& p : packets) frames.push_back(RefFrame{PtsToMicros(p.pts, video), &p});
  Oracle oracle(frames);
  ASSERT_GE(oracle.keys().size(), 1u);

  Plugin plugin(ReadDataFile(c.file));
  ASSERT_TRUE(plugin.Open());
  Format format;
  ASSERT_EQ(plugin.TrackFormat(0, &format), AMEDIA_OK);
  const std::string mime = format.String(AMEDIAFORMAT_KEY_MIME);
  const bool nal = mime == "video/avc" || mime == "video/hevc";
  std::unique_ptr<PluginTrack> track = plugin.Track(0);
  ASSERT_NE(track, nullptr);
  ASSERT_EQ(track->Start(), AMEDIA_OK);

  // 20 times over the track, visited out of order so that seeks go back as well as forward.
  const int kTimes = 20;
  const int64_t span = oracle.last_time();
  int failures = 0;
  for (int i = 0; i < kTimes && failures < 8; ++i) {
    const int64_t t = span * ((i * 7) % kTimes) / kTimes;
    for (uint32_t mode : {SEEK_PREVIOUS_SYNC, SEEK_NEXT_SYNC, SEEK_CLOSEST_SYNC, SEEK_CLOSEST}) {
      const Want want = oracle.Expect(t, mode);
      std::string where = std::string("seek to ") + std::to_string(t) + " us, " + ModeName(mode);
      if (want.rule) where += std::string(" (") + want.rule + ")";
      Packet p;
      const media_status_t status = track->Seek(t, mode, &p);
      std::string error;
      if (!want.first) {
        if (status != AMEDIA_ERROR_END_OF_STREAM) {
          error = "status " + std::to_string(status) + ", want the end of the stream";
        }
      } else if (status != AMEDIA_OK) {
        error = "status " + std::to_string(status) + ", want the packet at " +
                std::to_string(want.first->time_us) + " us";
      } else if (p.time_us != want.first->time_us || !SamePayload(p, *want.first->ref, nal)) {
        error = "first packet at " + std::to_string(p.time_us) + " us (" +
                std::to_string(p.bytes.size()) + " bytes), want ffprobe line " +
                std::to_string(want.first->ref->line) + " at " +
                std::to_string(want.first->time_us) + " us";
      } else if (want.first->ref->key && p.sync != 1) {
        error = "the key frame is not flagged sync";
      }
      if (!error.empty()) {
        ADD_FAILURE() << c.file << ": " << where << ": " << error;
        ++failures;
      }
    }
  }
  EXPECT_EQ(track->Stop(), AMEDIA_OK);
}

std::string SeekCaseName(const ::testing::TestParamInfo<SeekCase>& info) {
  return FileTestName(info.param.file, true);
}

INSTANTIATE_TEST_SUITE_P(Files, SeekConformance, ::testing::ValuesIn(kSeekCases), SeekCaseName);

}  // namespace
}  // namespace mkvtest
