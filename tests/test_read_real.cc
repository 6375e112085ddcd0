// Every track of every real test file read to its end, frame by frame, against the packets
// ffprobe lists for it (tests/data/ref and tests/data/corpus/ref, made by the scripts beside the
// files). Count, payload MD5, time and key-frame flag must agree, except where the reader
// delivers on purpose something other than ffprobe's packet; each such rule is stated where the
// check applies it.
#include <gtest/gtest.h>

#include <ctype.h>
#include <stdint.h>

#include <algorithm>
#include <string>
#include <vector>

#include "demux/qmkvd_stream.h"
#include "demux_harness.h"
#include "ffprobe_ref.h"
#include "md5.h"
#include "real_file.h"

namespace mkvtest {
namespace {

using qmkvtools::Md5;
using qmkvtools::Md5Hex;

// Paths under tests/data. References sit in ref/ beside each file.
const char* const kFiles[] = {
    "sample.mkv",           "corpus/avc_ffmpeg.mkv",   "corpus/hevc_mkvmerge.mkv",
    "corpus/vp9_remux.mkv", "corpus/fixed_lacing.mkv", "corpus/hdrstrip.mkv",
    "corpus/nal2.mkv",      "corpus/blockgroups.mkv",  "corpus/seek_ffmpeg.mkv",
    "corpus/seek_cues.mkv", "corpus/seek_nocues.mkv",  "corpus/seek_audio.mka",
};

enum : uint8_t { kVideo = 1, kAudio = 2, kText = 17 };
const int32_t kCapacity = 4 << 20;  // far above any frame of these files
const int kMaxCalls = 100000;       // a reader that never reports the end stops here
const int kMaxFailuresPerStream = 8;

// The reader delivers a laced block of these codecs whole, as one frame (the laces back to
// back, with the block's time); every other codec comes lace by lace. Decided here from the
// CodecID (and the format tag of A_MS/ACM), independently of the reader's own codec mapping.
bool DeliveredWhole(const QMKVD_TRACK& t) {
  const std::string id = t.codec_id;
  if (id == "A_FLAC" || id == "A_AC3" || id.compare(0, 6, "A_AC3/") == 0 || id == "A_EAC3" ||
      id.compare(0, 7, "A_MPEG/") == 0 || id.compare(0, 6, "A_PCM/") == 0) {
    return true;
  }
  if (id == "A_MS/ACM" && t.codec_private && t.codec_private_size >= 2) {
    uint16_t tag = static_cast<uint16_t>(t.codec_private[0] | t.codec_private[1] << 8);
    return tag == 1 || tag == 3 || tag == 0x50 || tag == 0x55 || tag == 0x2000 || tag == 0xF1AC;
  }
  return false;
}

struct Frame {
  std::vector<uint8_t> bytes;
  int64_t time = 0;
  int64_t end_time = 0;
  int32_t sync = -1;
};

// What one reader call should hand out: one ffprobe packet, or all packets (laces) of one
// block for the codecs delivered whole. ffprobe gives every lace of a block the block's
// position, which is how laces are grouped.
struct Expected {
  std::vector<RefPacket> packets;
  bool starts_block = true;
  size_t block = 0;  // index among the stream's blocks
};

std::vector<Expected> ExpectedFrames(const std::vector<RefPacket>& packets, bool whole) {
  std::vector<Expected> out;
  size_t block = 0;
  for (size_t i = 0; i < packets.size(); ++i) {
    bool starts = i == 0 || packets[i].pos != packets[i - 1].pos;
    if (starts && i > 0) ++block;
    if (whole && !starts) {
      out.back().packets.push_back(packets[i]);
      continue;
    }
    Expected e;
    e.packets.push_back(packets[i]);
    e.starts_block = starts;
    e.block = block;
    out.push_back(e);
  }
  return out;
}

// Reads the stream to its end, each read preceded by a size-only query (null buffer) whose
// answer must be the size the read delivers; the end shows in the query's return of 1.
std::string ReadToEnd(QMKVDS_CTX* s, std::vector<Frame>* frames) {
  std::vector<uint8_t> buffer(kCapacity);
  for (int call = 0; call < kMaxCalls; ++call) {
    Frame f;
    uint32_t asked = 0;
    int32_t r = qmkvds_get_frm(s, nullptr, 0, &asked, nullptr, nullptr, nullptr);
    if (r == 1) return "";
    if (r != 0) return "size query " + std::to_string(call) + " returned " + std::to_string(r);
    uint32_t size = 0xFFFFFFFFu;
    r = qmkvds_get_frm(s, buffer.data(), kCapacity, &size, &f.time, &f.end_time, &f.sync);
    if (r != 0) return "read " + std::to_string(call) + " returned " + std::to_string(r);
    if (size != asked) {
      return "read " + std::to_string(call) + ": the size query said " + std::to_string(asked) +
             ", the read delivered " + std::to_string(size);
    }
    f.bytes.assign(buffer.begin(), buffer.begin() + std::min<uint32_t>(size, kCapacity));
    frames->push_back(std::move(f));
  }
  return "no end after " + std::to_string(kMaxCalls) + " reads";
}

// ffprobe moves the times of a track with a CodecDelay (Opus) back by that delay, rounded to
// the nearest tick (6.5 ms is 7 ticks of 1 ms here); the reader gives block times as they are.
// This is the delay in ticks, to add to ffprobe's pts.
int64_t CodecDelayTicks(const QMKVD_TRACK& t, const RefStream& rs) {
  const int64_t kNsPerSecond = 1000000000;
  int64_t unit = rs.time_base_num * kNsPerSecond;  // ns per tick, times den
  return (2 * static_cast<int64_t>(t.codec_delay) * rs.time_base_den + unit) / (2 * unit);
}

// The reader's time for a packet's pts, in 100-ns units: *low, or *low + 1 where a tick is not
// a whole number of 100-ns units and may be rounded either way.
bool ExpectedTime(const RefPacket& p, const RefStream& rs, int64_t delay, int64_t* low,
                  bool* either) {
  bool exact = false;
  if (!p.has_pts || !PtsTo100ns(p.pts + delay, rs.time_base_num, rs.time_base_den, low, &exact)) {
    return false;
  }
  *either = !exact;
  return true;
}

std::string Describe(const RefPacket& p) {
  return "ref line " + std::to_string(p.line) + " (pts " +
         (p.has_pts ? std::to_string(p.pts) : "N/A") + ", size " + std::to_string(p.size) + ")";
}

// Checks one stream's frames against its reference packets; failures name the file, stream
// and frame.
void CheckStream(const std::string& file, int index, QMKVD_CTX* ctx, const FfprobeRef& ref,
                 std::vector<Frame> frames) {
  SCOPED_TRACE(file + " stream " + std::to_string(index));
  const std::vector<uint8_t> bytes = ReadDataFile(file);
  const QMKVD_TRACK& track = ctx->streams[index].track;
  const RefStream* rs = ref.Stream(index);
  ASSERT_NE(rs, nullptr);
  const int nal = ctx->streams[index].nal_length_size;
  const bool whole = track.type == kAudio && DeliveredWhole(track);

  // A text stream may yield empty frames when no block of its own comes within half a
  // second; they stand for no packet and are left out. Every other empty frame is kept (and
  // would fail below).
  if (track.type == kText) {
    std::vector<Frame> kept;
    for (Frame& f : frames) {
      if (!f.bytes.empty()) kept.push_back(std::move(f));
    }
    frames.swap(kept);
  }

  const std::vector<Expected> expected = ExpectedFrames(ref.PacketsOf(index), whole);
  EXPECT_EQ(frames.size(), expected.size()) << "frames read vs expected";
  ASSERT_FALSE(expected.empty());

  // Start times of the blocks, as read, for the later laces of a block.
  std::vector<int64_t> block_time(expected.back().block + 1, INT64_MAX);
  const int64_t delay = CodecDelayTicks(track, *rs);
  int failures = 0;
  const size_t n = std::min(frames.size(), expected.size());
  for (size_t i = 0; i < n && failures < kMaxFailuresPerStream; ++i) {
    const Frame& f = frames[i];
    const Expected& e = expected[i];
    const RefPacket& first = e.packets[0];
    std::string where = "frame " + std::to_string(i) + ", " + Describe(first);
    bool ok = true;

    // Payload.
    if (nal > 0) {
      std::vector<uint8_t> stored;
      std::string error = ToLengthPrefixed(f.bytes, nal, &stored);
      if (!error.empty()) {
        ADD_FAILURE() << where << ": NAL output " << error;
        ok = false;
      } else if (stored.size() != first.size || Md5Hex(stored.data(), stored.size()) != first.md5) {
        ADD_FAILURE() << where << ": payload differs (size " << stored.size()
                      << " after turning start codes back into " << nal << "-byte lengths)";
        ok = false;
      }
    } else {
      // For the codecs delivered whole, the frame is the laces back to back: split it at
      // ffprobe's lace sizes and compare lace by lace.
      uint64_t total = 0;
      for (const RefPacket& p : e.packets) total += p.size;
      if (f.bytes.size() != total) {
        ADD_FAILURE() << where << ": size " << f.bytes.size() << ", expected " << total
                      << (e.packets.size() > 1
                              ? " (whole block of " + std::to_string(e.packets.size()) + " laces)"
                              : "");
        ok = false;
      } else {
        size_t at = 0;
        for (size_t k = 0; k < e.packets.size(); ++k) {
          if (Md5Hex(f.bytes.data() + at, e.packets[k].size) != e.packets[k].md5) {
            ADD_FAILURE() << where << ": payload differs"
                          << (e.packets.size() > 1 ? " in lace " + std::to_string(k) : "");
            ok = false;
            break;
          }
          at += e.packets[k].size;
        }
      }
    }

    // Key-frame flag: a SimpleBlock's key bit, or for a BlockGroup no ReferenceBlock in it, as
    // ffprobe decides too.
    const bool want_sync = first.key;
    if (f.sync != (want_sync ? 1 : 0)) {
      ADD_FAILURE() << where << ": sync " << f.sync << ", expected " << want_sync;
      ok = false;
    }

    // Time. The first (or only) lace of a block has the block's time, which is ffprobe's pts
    // for it (plus the codec delay, above). Later laces get times the reader synthesises from
    // durations, while ffprobe takes them from the codec and rounds each lace to whole ticks,
    // so the two need not agree; a later lace is only held to come no earlier than its block
    // and the lace before it.
    if (e.starts_block) {
      int64_t want = 0;
      bool either = false;
      if (!ExpectedTime(first, *rs, delay, &want, &either) ||
          (f.time != want && !(either && f.time == want + 1))) {
        ADD_FAILURE() << where << ": time " << f.time << ", expected " << want << " (100 ns)";
        ok = false;
      }
      block_time[e.block] = f.time;
    } else if (f.time < block_time[e.block] || f.time < frames[i - 1].time) {
      ADD_FAILURE() << where << ": lace time " << f.time << " before its block's "
                    << block_time[e.block] << " or the previous lace's " << frames[i - 1].time;
      ok = false;
    }
    if (!ok) ++failures;
  }
}

class ReadReal : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    bytes_ = ReadDataFile(GetParam());
    ASSERT_GT(bytes_.size(), 1000u) << GetParam();
    std::string error = LoadFfprobeRef(RefBase(GetParam()), &ref_);
    ASSERT_EQ(error, "");
  }

  // ffprobe lists attachments as streams after the tracks; the demuxer has tracks only.
  int TrackStreams() const {
    int n = 0;
    for (const RefStream& s : ref_.streams) n += s.codec_type != "attachment";
    return n;
  }

  std::vector<uint8_t> bytes_;
  FfprobeRef ref_;
};

TEST_P(ReadReal, StreamsMatchFfprobeStreams) {
  Created c(bytes_);
  ASSERT_EQ(c.err(), 0);
  ASSERT_EQ(static_cast<int>(c.info().stream_count), TrackStreams());
  for (int i = 0; i < TrackStreams(); ++i) {
    const std::string& type = ref_.streams[i].codec_type;
    uint8_t want = type == "video"      ? kVideo
                   : type == "audio"    ? kAudio
                   : type == "subtitle" ? kText
                                        : 0;
    EXPECT_EQ(c.ctx()->streams[i].track.type, want) << "stream " << i;
  }
}

// Every track read to its end, each read after a size query (null buffer) that must announce
// the size read; the plain reads and their end status are checked by the test after this one.
TEST_P(ReadReal, SizeQueryBeforeEachReadGivesTheSizeRead) {
  Created c(bytes_);
  ASSERT_EQ(c.err(), 0);
  ASSERT_EQ(static_cast<int>(c.info().stream_count), TrackStreams());
  for (int i = 0; i < TrackStreams(); ++i) {
    QMKVDS_CTX* s = qmkvds_open(c.ctx(), i, nullptr);
    ASSERT_NE(s, nullptr) << "stream " << i;
    std::vector<Frame> frames;
    std::string error = ReadToEnd(s, &frames);
    qmkvds_close(s);
    EXPECT_EQ(error, "") << "stream " << i;
    CheckStream(GetParam(), i, c.ctx(), ref_, std::move(frames));
  }
}

// The way the framework reads: every track open at once, each with its own position, frames
// taken in turn.
TEST_P(ReadReal, AllTracksOpenTogetherReadInTurn) {
  Created c(bytes_);
  ASSERT_EQ(c.err(), 0);
  const int n = TrackStreams();
  ASSERT_EQ(static_cast<int>(c.info().stream_count), n);
  std::vector<QMKVDS_CTX*> open(n, nullptr);
  for (int i = 0; i < n; ++i) {
    open[i] = qmkvds_open(c.ctx(), i, nullptr);
    ASSERT_NE(open[i], nullptr) << "stream " << i;
  }
  std::vector<std::vector<Frame>> frames(n);
  std::vector<bool> ended(n, false);
  std::vector<uint8_t> buffer(kCapacity);
  int running = n;
  for (int turn = 0; running > 0 && turn < kMaxCalls; ++turn) {
    for (int i = 0; i < n; ++i) {
      if (ended[i]) continue;
      Frame f;
      uint32_t size = 0;
      int32_t r =
          qmkvds_get_frm(open[i], buffer.data(), kCapacity, &size, &f.time, &f.end_time, &f.sync);
      if (r != 0) {
        EXPECT_EQ(r, 1) << "stream " << i << " read " << frames[i].size();
        ended[i] = true;
        --running;
        continue;
      }
      f.bytes.assign(buffer.begin(), buffer.begin() + std::min<uint32_t>(size, kCapacity));
      frames[i].push_back(std::move(f));
    }
  }
  EXPECT_EQ(running, 0) << "streams never reached their end";
  for (int i = 0; i < n; ++i) {
    qmkvds_close(open[i]);
    CheckStream(GetParam(), i, c.ctx(), ref_, std::move(frames[i]));
  }
}

std::string TestName(const ::testing::TestParamInfo<const char*>& info) {
  return FileTestName(info.param, false);
}

INSTANTIATE_TEST_SUITE_P(Files, ReadReal, ::testing::ValuesIn(kFiles), TestName);

}  // namespace
}  // namespace mkvtest
