// Seeks in real files, in every mode and at many times, against ffprobe's packet lists
// (tests/data/corpus/ref): the seek must report the right time and the frames read next must be
// the right packets.
//
// Where a seek should land is worked out here from the packets alone. With cues, the sync
// points are the video key frames ffprobe flags (both muxers cue every one of them); without
// cues they are the stream's own key frames (every block of audio), which the crawl finds.
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "demux/seek/qmkvd_seek.h"
#include "demux_harness.h"
#include "ffprobe_ref.h"
#include "frame_reader.h"
#include "md5.h"
#include "real_file.h"

namespace mkvtest {
namespace {

using qmkvtools::Md5;
using qmkvtools::Md5Hex;

struct Packet {
  int64_t time;  // 100-ns units
  RefPacket ref;
};

std::vector<Packet> PacketsOf(const FfprobeRef& ref, int stream) {
  std::vector<Packet> out;
  const RefStream* rs = ref.Stream(stream);
  for (const RefPacket& p : ref.PacketsOf(stream)) {
    int64_t time = 0;
    bool exact = false;
    if (!rs || !p.has_pts ||
        !PtsTo100ns(p.pts, rs->time_base_num, rs->time_base_den, &time, &exact)) {
      ADD_FAILURE() << "packet without a usable pts, ref line " << p.line;
      continue;
    }
    out.push_back(Packet{time, p});
  }
  return out;
}

// What a seek should give: its result, the time it reports and the packet read first (none
// when the seek fails).
struct Want {
  int32_t status;
  int64_t out;
  const Packet* first;
};

// The model of one stream's seeks.
class Oracle {
 public:
  // Past the last Cluster the crawl reads the header of whatever follows: 1 when there is an
  // element, -1 at the end of the file.
  static const int32_t kRanOff = 100;

  Oracle(std::vector<Packet> own, std::vector<Packet> sync, bool cues)
      : own_(std::move(own)), sync_(std::move(sync)), cues_(cues) {}

  Want Expect(int64_t time, uint32_t mode) {
    if ((mode == QMKVD_SEEK_BEFORE || mode == QMKVD_SEEK_NEAREST) && time == 0) return Rewind();
    if (mode == QMKVD_SEEK_BACK) {
      if (!cues_ || last_ < 0) return Want{-3, -1, nullptr};
      last_ = std::max(last_ - 1, 0);
      return Land(last_);
    }
    const int n = static_cast<int>(sync_.size());
    int before = -1;  // last sync point at or before the time
    while (before + 1 < n && sync_[before + 1].time <= time) ++before;
    const int after = before >= 0 && sync_[before].time == time ? before : before + 1;
    if (mode == QMKVD_SEEK_AFTER) {
      last_ = after < n ? after : -1;
      if (after >= n) return Want{cues_ ? 1 : kRanOff, 0, nullptr};
      return Land(after);
    }
    if (before < 0) return Rewind();
    int index = before;
    if (mode == QMKVD_SEEK_NEAREST && before + 1 < n &&
        sync_[before + 1].time - time < time - sync_[before].time) {
      index = before + 1;
    }
    last_ = index;
    return Land(index);
  }

  // The packets read after `first`, in file order.
  std::vector<const Packet*> Following(const Packet* first, size_t count) const {
    std::vector<const Packet*> out;
    for (size_t i = 0; i < own_.size(); ++i) {
      if (&own_[i] != first) continue;
      for (size_t k = i + 1; k < own_.size() && out.size() < count; ++k) out.push_back(&own_[k]);
    }
    return out;
  }

  // Whether the packet opens its block.
  bool StartsBlock(const Packet* p) const {
    return p == &own_.front() || (p - 1)->ref.pos != p->ref.pos;
  }

  const std::vector<Packet>& sync() const { return sync_; }

 private:
  Want Rewind() const { return Want{0, 0, &own_.front()}; }

  // A jump to sync point `index`: the stream's first packet stored after it (the sync point
  // itself for the stream that has it).
  Want Land(int index) const {
    const Packet& sync = sync_[index];
    for (const Packet& p : own_) {
      if (p.ref.pos >= sync.ref.pos) return Want{0, sync.time, &p};
    }
    return Want{0, sync.time, nullptr};
  }

  std::vector<Packet> own_;   // the stream's packets in file order
  std::vector<Packet> sync_;  // where seeks may land, in time order
  bool cues_;
  int last_ = 0;  // the cue index the last seek used, shared by the modes
};

// Sync points: a video track's key frames; for audio alone, every block (ffprobe gives the
// laces of a block one position).
std::vector<Packet> SyncPoints(const std::vector<Packet>& packets, bool video) {
  std::vector<Packet> out;
  for (size_t i = 0; i < packets.size(); ++i) {
    const bool starts_block = i == 0 || packets[i].ref.pos != packets[i - 1].ref.pos;
    if (video ? packets[i].ref.key : starts_block) out.push_back(packets[i]);
  }
  std::stable_sort(out.begin(), out.end(),
                   [](const Packet& a, const Packet& b) { return a.time < b.time; });
  return out;
}

// Whether the frame is the packet. Laces after the first of a block get times the reader
// synthesises, which need not be ffprobe's: their time is not compared.
std::string Matches(const Frame& f, const Packet& p, int nal, bool check_time) {
  if (f.status != 0) return "read returned " + std::to_string(f.status);
  if (check_time && f.time != p.time) {
    return "time " + std::to_string(f.time) + ", want " + std::to_string(p.time);
  }
  std::vector<uint8_t> stored = f.bytes;
  if (nal > 0) {
    const std::string error = ToLengthPrefixed(f.bytes, nal, &stored);
    if (!error.empty()) return error;
  }
  if (stored.size() != p.ref.size || Md5Hex(stored.data(), stored.size()) != p.ref.md5) {
    return "payload differs (size " + std::to_string(stored.size()) + ")";
  }
  return "";
}

struct SeekFile {
  const char* name;
  bool cues;      // usable cues (an audio-only file's cues are all dropped)
  int stream;     // the stream that seeks
  int sync_from;  // the stream whose packets give the sync points
};

const SeekFile kSeekFiles[] = {
    {"corpus/seek_ffmpeg.mkv", true, 0, 0},  {"corpus/seek_ffmpeg.mkv", true, 1, 0},
    {"corpus/seek_cues.mkv", true, 0, 0},    {"corpus/seek_cues.mkv", true, 1, 0},
    {"corpus/seek_nocues.mkv", false, 0, 0}, {"corpus/seek_nocues.mkv", false, 1, 1},
    {"corpus/seek_audio.mka", false, 0, 0},
};

void PrintTo(const SeekFile& f, std::ostream* os) {
  *os << f.name << " stream " << f.stream;
}

// Times to seek to: on, just before and just after every sync point, half-way between
// neighbours (ties for the nearest mode), and a regular grid past the end.
std::vector<int64_t> SeekTimes(const std::vector<Packet>& sync) {
  std::vector<int64_t> times = {0, 1};
  for (size_t i = 0; i < sync.size(); ++i) {
    for (int64_t d : {-1, 0, 1}) times.push_back(sync[i].time + d);
    if (i + 1 < sync.size()) times.push_back((sync[i].time + sync[i + 1].time) / 2);
  }
  for (int64_t t = 0; t <= sync.back().time + 10000000; t += 1700000) times.push_back(t);
  times.erase(std::remove_if(times.begin(), times.end(), [](int64_t t) { return t < 0; }),
              times.end());
  return times;
}

class SeekReal : public ::testing::TestWithParam<SeekFile> {};

TEST_P(SeekReal, EveryModeLandsWhereThePacketsSay) {
  const SeekFile& file = GetParam();
  FfprobeRef ref;
  ASSERT_EQ(LoadFfprobeRef(RefBase(file.name), &ref), "");
  Created c(ReadDataFile(file.name));
  ASSERT_EQ(c.err(), 0);
  ASSERT_EQ(c.ctx()->seek.cues_usable != 0, file.cues);
  QMKVDS_CTX* s = qmkvds_open(c.ctx(), file.stream, nullptr);
  ASSERT_NE(s, nullptr);
  const bool video = s->kind == 1;
  const int nal = s->nal_length_size;
  Oracle oracle(
      PacketsOf(ref, file.stream),
      SyncPoints(PacketsOf(ref, file.sync_from), c.ctx()->streams[file.sync_from].kind == 1),
      file.cues);
  ASSERT_GE(oracle.sync().size(), 8u);
  int failures = 0;
  for (int64_t time : SeekTimes(oracle.sync())) {
    for (uint32_t mode = 0; mode <= 3 && failures < 10; ++mode) {
      const std::string where = "seek to " + std::to_string(time) + " mode " + std::to_string(mode);
      const Want want = oracle.Expect(time, mode);
      int64_t out = -1;
      const int32_t status = qmkvds_seek(s, &time, &out, mode);
      if (want.status == Oracle::kRanOff ? (status != 1 && status != -1) : status != want.status) {
        ADD_FAILURE() << where << ": status " << status << ", want " << want.status;
        ++failures;
        continue;
      }
      if (status != 0) continue;
      if (out != want.out) {
        ADD_FAILURE() << where << ": landed at " << out << ", want " << want.out;
        ++failures;
      }
      ASSERT_NE(want.first, nullptr) << where;
      std::string error = Matches(ReadFrame(s, 1 << 20), *want.first, nal, true);
      if (error.empty() && video)
        error = s->block_flags & 0x80 ? "" : "the first frame is not sync";
      for (const Packet* next : oracle.Following(want.first, 2)) {
        if (!error.empty()) break;
        error = Matches(ReadFrame(s, 1 << 20), *next, nal, oracle.StartsBlock(next));
        if (!error.empty()) error = "after the first frame: " + error;
      }
      if (!error.empty()) {
        ADD_FAILURE() << where << " (ref line " << want.first->ref.line << "): " << error;
        ++failures;
      }
    }
  }
  qmkvds_close(s);
}

std::string SeekName(const ::testing::TestParamInfo<SeekFile>& info) {
  std::string name = info.param.name;
  name = name.substr(name.find('/') + 1);
  name = name.substr(0, name.find('.')) + "_stream" + std::to_string(info.param.stream);
  return name;
}

INSTANTIATE_TEST_SUITE_P(Files, SeekReal, ::testing::ValuesIn(kSeekFiles), SeekName);

}  // namespace
}  // namespace mkvtest
