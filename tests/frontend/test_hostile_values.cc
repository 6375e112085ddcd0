// Files that each carry one value a hostile muxer can feed into the extractor's arithmetic
// (timecodes, scales, durations, lace counts and sizes, audio and picture parameters, cue and
// seek positions, element sizes), run whole through the plug-in's C tables: opened, every format
// published, every track read to its end and seeked in every mode. Whatever the value, each call
// must come back with a status. A wrap-around in the library aborts the media service on a
// device, so these are the files to run in the build with the integer checks.
#include <gtest/gtest.h>
#include <stdio.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "log_capture.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"
#include "plugin_harness.h"

namespace mkvtest {
namespace {

using namespace id;

using Bytes = std::vector<uint8_t>;

// clang-format off
const Bytes kOpusHead = {'O', 'p', 'u', 's', 'H', 'e', 'a', 'd', 1, 2, 0x38, 1, 0x80, 0xBB, 0, 0,
                         0, 0, 0};
// avcC of x264's 1920x1080 High profile SPS and a PPS.
const Bytes kAvcC = {1, 0x64, 0, 0x28, 0xFF, 0xE1, 0, 27, 0x67, 0x64, 0, 0x28, 0xAC, 0xB2, 0, 0xF0,
                     4, 0x4F, 0xCB, 0x80, 0x88, 0, 0, 3, 0, 8, 0, 0, 3, 1, 0x90, 0x78, 0xC1, 0x92,
                     0x40, 1, 0, 6, 0x68, 0xEB, 0xC3, 0xCB, 0x22, 0xC0};
// clang-format on
const uint64_t kU64Max = UINT64_MAX;
const uint64_t kU32Max = UINT32_MAX;
const uint64_t k2p63 = uint64_t{1} << 63;
const uint64_t kMaxSize = (uint64_t{1} << 56) - 2;  // the largest an 8-byte size field holds
const uint8_t kKey = 0x80;
const Bytes kVp9Key = {0x82, 0x49, 0x83, 0x42, 0x00, 0x0F, 0xF0};

Element MsInfo(double duration = 1000.0, uint64_t scale = 1000000) {
  return Info({Uint(kTimecodeScale, scale), Float(kDuration, duration)});
}

// The Segment's children, then the padding the sniffer needs to claim a small file.
Bytes File(std::vector<Element> segment) {
  segment.push_back(Binary(kVoid, Bytes(128, 0)));
  return MkvFile(std::move(segment));
}

// An audio track; AAC, Opus and Vorbis get the codec headers they need (Vorbis: identification,
// comment and setup headers, Xiph-laced).
Element Audio(uint64_t number, const std::string& codec, std::vector<Element> extra = {},
              std::vector<Element> params = {Float(kSamplingFrequency, 48000.0),
                                             Uint(kChannels, 2)}) {
  if (codec == "A_OPUS") extra.push_back(Binary(kCodecPrivate, kOpusHead));
  if (codec == "A_AAC") extra.push_back(Binary(kCodecPrivate, {0x11, 0x90}));
  Bytes vorbis = {2, 30, 7};
  for (uint8_t type : {1, 3, 5}) {
    vorbis.push_back(type);
    vorbis.insert(vorbis.end(), type == 1 ? 29 : type == 3 ? 6 : 11, 0x11);
  }
  if (codec == "A_VORBIS") extra.push_back(Binary(kCodecPrivate, vorbis));
  return AudioTrack(number, std::move(params), codec, std::move(extra));
}

// Video 1, Opus 2 and Vorbis 4 (each with `extra`) and text 3, with blocks at `rel` and `rel2`
// in a Cluster at `timecode`, the text ones lasting `text_duration`; then `more`.
Bytes MixedTracks(Element info, uint64_t timecode, int16_t rel, int16_t rel2,
                  std::vector<Element> more = {}, std::vector<Element> extra = {},
                  uint64_t text_duration = 10) {
  std::vector<Element> blocks;
  for (int16_t r : {rel, rel2}) {
    blocks.push_back(SimpleBlock(1, r, kKey, kVp9Key));
    // Opus frames of 2.5 ms (TOC 0x80), which their block's 20 ms hold.
    blocks.push_back(XiphLacedBlock(2, r, kKey, {{0x80, 1}, {0x80, 2}, {0x80, 3}}));
    blocks.push_back(BlockGroup({Block(3, r, 0, {'h', 'i'}), Uint(kBlockDuration, text_duration)}));
    blocks.push_back(SimpleBlock(4, r, kKey, {0x10}));
  }
  more.insert(more.begin(), {std::move(info),
                             Tracks({VideoTrack(1, extra), Audio(2, "A_OPUS", extra), TextTrack(3),
                                     Audio(4, "A_VORBIS", extra)}),
                             ClusterAt(timecode, std::move(blocks))});
  return File(std::move(more));
}

// Info, one track (number 1), `more`, then key frames at 0, 20 and 40 ms in one Cluster.
Bytes OneTrackFile(Element track, const Bytes& frame, std::vector<Element> more = {}) {
  more.insert(more.begin(), {MsInfo(), Tracks({std::move(track)})});
  more.push_back(ClusterAt(0, {SimpleBlock(1, 0, kKey, frame), SimpleBlock(1, 20, kKey, frame),
                               SimpleBlock(1, 40, kKey, frame)}));
  return File(std::move(more));
}

enum : uint8_t { kXiph = 0x02, kFixed = 0x04, kEbml = 0x06 };

// A SimpleBlock written by hand at 5 ms: lacing bits, lace count byte, sizes, `payload` bytes.
Element HandLaced(uint8_t track, uint8_t lacing, uint8_t count, const Bytes& sizes,
                  size_t payload) {
  Bytes body = {static_cast<uint8_t>(0x80 | track), 0, 5, static_cast<uint8_t>(kKey | lacing),
                count};
  body.insert(body.end(), sizes.begin(), sizes.end());
  for (size_t i = 0; i < payload; ++i) body.push_back(static_cast<uint8_t>(i));
  return Binary(kSimpleBlock, body);
}

std::string Num(double v) {
  char text[32];
  snprintf(text, sizeof(text), "%g", v);
  return text;
}

struct Row {
  std::string name;
  std::function<Bytes()> file;
  // Every block has an ordinary time: what is read must be at non-negative times that never go
  // back within a track, and a track whose first frame is at 0 must land there from a seek to 0.
  bool plain_times;
  // Frames handed out and reads failed, over all tracks; -1: not checked.
  int packets, failed;
};

std::vector<Row> Rows() {
  std::vector<Row> rows;
  Row next = {"", nullptr, false, -1, -1};  // what the rows added next expect
  auto add = [&rows, &next](std::string name, std::function<Bytes()> file) {
    rows.push_back({std::move(name), std::move(file), next.plain_times, next.packets, next.failed});
  };
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();

  // Hostile times first.
  for (uint64_t tc : {uint64_t{0}, uint64_t{1}, k2p63 - 1, k2p63, kU64Max - 1, kU64Max}) {
    add("cluster_" + std::to_string(tc) + "_relative_min_max",
        [tc] { return MixedTracks(MsInfo(), tc, INT16_MIN, INT16_MAX); });
  }
  add("cluster_0_then_2p63", [] {
    return MixedTracks(MsInfo(), 0, 0, 10, {ClusterAt(k2p63, {SimpleBlock(1, 0, kKey, kVp9Key)})});
  });
  for (uint64_t scale : {uint64_t{0}, uint64_t{1}, kU32Max, kU64Max}) {
    add("timecode_scale_" + std::to_string(scale), [scale] {
      return MixedTracks(MsInfo(1000.0, scale), 1000, 0, INT16_MAX,
                         {ClusterAt(kU32Max, {SimpleBlock(1, 5, kKey, kVp9Key)})});
    });
  }
  for (uint64_t dd : {uint64_t{1}, kU32Max, k2p63, kU64Max}) {
    add("default_duration_" + std::to_string(dd),
        [dd] { return MixedTracks(MsInfo(), 0, 0, 20, {}, {Uint(kDefaultDuration, dd)}); });
  }
  for (uint64_t bd : {k2p63, kU64Max}) {
    add("text_block_duration_" + std::to_string(bd),
        [bd] { return MixedTracks(MsInfo(), 0, 0, 30, {}, {}, bd); });
  }

  next.plain_times = true;
  for (double d : {1e300, 1.8e19, 9.3e18, -1.0, -1e300, nan, inf, -inf}) {
    add("duration_" + Num(d), [d] { return MixedTracks(MsInfo(d), 0, 0, 20); });
  }
  // Lace counts with sizes that fit the block and with sizes that run past it (EBML: every
  // difference the largest an 8-byte field holds, up or down); fixed lacing with fewer bytes
  // than laces. The same block for Opus (split into laces) and FLAC (handed out whole). The
  // frames' bytes are arbitrary, so are the durations their Opus TOC bytes claim: times need
  // not keep up with the next block's.
  next.plain_times = false;
  const Bytes huge_up = {0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE};
  const Bytes huge_down = {0x01, 0, 0, 0, 0, 0, 0, 0};
  for (std::string kind : {"xiph", "ebml_up", "ebml_down", "fixed"}) {
    const uint8_t bits = kind == "xiph" ? kXiph : kind == "fixed" ? kFixed : kEbml;
    for (int count : {0, 1, 127, 128, 255}) {
      for (bool past : {false, true}) {
        Bytes sizes;
        for (int i = 0; i < count && bits != kFixed; ++i) {
          Bytes one = past ? Bytes{0xFF, 0xFF, 0x10} : Bytes{1};
          if (bits == kEbml)
            one = !past                      ? Bytes{i ? uint8_t{0xBF} : uint8_t{0x81}}
                  : i && kind == "ebml_down" ? huge_down
                                             : huge_up;
          sizes.insert(sizes.end(), one.begin(), one.end());
        }
        const size_t payload = past ? count / 2 : count + 1;
        // A count byte from 0x80 up and sizes past the block fail that block's read in both
        // audio tracks, and the walk goes on; fixed lacing drops what does not divide evenly.
        // Otherwise Opus hands out every lace and FLAC the block whole, then the 10 ms block.
        const bool refused = count >= 0x80 || (past && count > 0 && bits != kFixed);
        next.packets = refused ? 4 : count + 6;
        next.failed = refused ? 2 : 0;
        add("lacing_" + kind + "_" + std::to_string(count) + (past ? "_past_the_block" : ""),
            [bits, count, sizes, payload] {
              const uint8_t n = static_cast<uint8_t>(count);
              return File(
                  {MsInfo(), Tracks({VideoTrack(1), Audio(2, "A_OPUS"), Audio(3, "A_FLAC")}),
                   ClusterAt(
                       0, {SimpleBlock(1, 0, kKey, kVp9Key), HandLaced(2, bits, n, sizes, payload),
                           HandLaced(3, bits, n, sizes, payload), SimpleBlock(2, 10, kKey, {7}),
                           SimpleBlock(3, 10, kKey, {7}), SimpleBlock(1, 20, kKey, kVp9Key)})});
            });
      }
    }
  }
  next.packets = next.failed = -1;
  next.plain_times = true;
  add("lacing_xiph_sizes_run_to_the_end", [] {
    return File({MsInfo(), Tracks({Audio(1, "A_OPUS")}),
                 ClusterAt(0, {HandLaced(1, kXiph, 3, Bytes(40, 0xFF), 0),
                               SimpleBlock(1, 10, kKey, {1})})});
  });
  for (std::string codec :
       {"A_PCM/INT/LIT", "A_PCM/INT/BIG", "A_PCM/FLOAT/IEEE", "A_AAC", "A_OPUS", "A_VORBIS"}) {
    std::vector<std::pair<std::string, std::vector<Element>>> audio;
    auto params = [](double rate, uint64_t channels, uint64_t bits) {
      return std::vector<Element>{Float(kSamplingFrequency, rate), Uint(kChannels, channels),
                                  Uint(kBitDepth, bits)};
    };
    for (double rate : {0.0, nan, -48000.0, 4294967295.0, 1e300, inf}) {
      audio.push_back({"rate_" + Num(rate), params(rate, 2, 16)});
    }
    for (uint64_t n : {uint64_t{0}, kU32Max, kU64Max}) {
      audio.push_back({"channels_" + std::to_string(n), params(48000.0, n, 16)});
    }
    for (uint64_t bits : {0, 1, 2, 3, 4, 5, 6, 7, 12, 24, 255}) {
      if (codec.compare(0, 5, "A_PCM") == 0) {
        audio.push_back({"bit_depth_" + std::to_string(bits), params(48000.0, 2, bits)});
      }
    }
    for (const auto& a : audio) {
      add(a.first + "_" + codec,
          [codec, a] { return OneTrackFile(Audio(1, codec, {}, a.second), Bytes(9, 0x7F)); });
    }
  }
  for (bool avc : {true, false}) {
    for (uint64_t v : {uint64_t{0}, uint64_t{65535}, kU32Max, kU64Max}) {
      for (bool display : {false, true}) {
        const std::string what = display ? "_display_" : "_pixels_";
        add((avc ? "avc" : "vp9") + what + std::to_string(v), [avc, v, display] {
          std::vector<Element> video = {Uint(kPixelWidth, display ? 64 : v),
                                        Uint(kPixelHeight, display ? 48 : v)};
          if (display) video.insert(video.end(), {Uint(kDisplayWidth, v), Uint(kDisplayHeight, v)});
          std::vector<Element> extra = {Master(kVideo, video)};
          if (!avc) return OneTrackFile(VideoTrack(1, extra), kVp9Key);
          extra.push_back(Binary(kCodecPrivate, kAvcC));
          return OneTrackFile(VideoTrack(1, extra, "V_MPEG4/ISO/AVC"), {0, 0, 0, 2, 0x65, 0x88});
        });
      }
    }
  }
  // Cues ahead of the Cluster: a point on it at 0, and one with a hostile time or position (0:
  // the Cluster's).
  const std::pair<uint64_t, uint64_t> cue_points[] = {
      {kU64Max, 0}, {k2p63, 0},     {500, 1 << 20},    {500, k2p63 - 1},
      {500, k2p63}, {500, kU64Max}, {kU64Max, kU64Max}};
  for (auto tp : cue_points) {
    add("cue_time_" + std::to_string(tp.first) + "_position_" + std::to_string(tp.second), [tp] {
      auto cues = [tp](uint64_t at) {
        return Cues({CuePoint(0, 1, at, 8), CuePoint(tp.first, 1, tp.second ? tp.second : at, 8)});
      };
      const uint64_t cluster = EncodedSize({MsInfo(), Tracks({VideoTrack(1)}), cues(0)});
      return OneTrackFile(VideoTrack(1), kVp9Key, {cues(cluster)});
    });
  }
  for (uint64_t pos : {k2p63, kU64Max}) {
    add("seek_head_" + std::to_string(pos), [pos] {
      return OneTrackFile(VideoTrack(1), kVp9Key,
                          {SeekHead({SeekEntry(kInfo, pos), SeekEntry(kTracks, pos),
                                     SeekEntry(kCues, pos), SeekEntry(kCluster, pos)})});
    });
  }
  // Element sizes: the largest an 8-byte size field carries, on each level in turn. A
  // CodecPrivate past the end of the file drops the only track, and a block running past it
  // ends the stream before anything is handed out.
  const char* levels[] = {"segment", "info", "tracks", "cues", "codec_private", "cluster", "block"};
  for (uint64_t size : {kMaxSize - 1, kMaxSize}) {
    for (int level = 0; level < 7; ++level) {
      next.packets = level == 4 || level == 6 ? 0 : -1;
      add(std::string("size_") + levels[level] + "_" + std::to_string(size), [size, level] {
        auto sized = [size, level](Element e, int at) {
          return at == level ? e.DeclaredSize(size) : e;
        };
        Element track = VideoTrack(1, {sized(Binary(kCodecPrivate, {1, 2}), 4)});
        Element block = sized(SimpleBlock(1, 0, kKey, kVp9Key), 6);
        return Serialize(
            {EbmlHeader(),
             sized(Segment({sized(MsInfo(), 1), sized(Tracks({track}), 2),
                            sized(Cues({CuePoint(0, 1, 0)}), 3), sized(ClusterAt(0, {block}), 5),
                            SmallCluster(1000), Binary(kVoid, Bytes(128, 0))}),
                   0)});
      });
    }
  }
  // Sizes a 32-bit reader trips on: a Title claiming 2 GiB; a block claiming 4 GiB, stored as
  // it is or zlib-compressed (whose inflating reads the claimed bytes chunk by chunk).
  // The Title runs past its Info and the file: it is left out, and the file reads whole.
  next.packets = 3;
  add("size_title_2GiB", [] {
    const Element title = String(kTitle, "title").DeclaredSize(uint64_t{1} << 31);
    return File({Info({Uint(kTimecodeScale, 1000000), title}), Tracks({VideoTrack(1)}),
                 ClusterAt(0, {SimpleBlock(1, 0, kKey, kVp9Key), SimpleBlock(1, 20, kKey, kVp9Key),
                               SimpleBlock(1, 40, kKey, kVp9Key)})});
  });
  next.packets = 0;
  for (bool zlib : {false, true}) {
    add(std::string("size_block_4GiB") + (zlib ? "_zlib" : ""), [zlib] {
      const Element encodings =
          Master(kContentEncodings, {Master(kContentEncoding, {Master(kContentCompression, {})})});
      Element track = zlib ? VideoTrack(1, {encodings}) : VideoTrack(1);
      const uint64_t huge = uint64_t{1} << 32;
      return File({MsInfo(), Tracks({std::move(track)}),
                   ClusterAt(0, {SimpleBlock(1, 0, kKey, {0x78, 0x9C, 1}).DeclaredSize(huge)})
                       .DeclaredSize(huge + 16)});
    });
  }
  next.packets = -1;
  add("size_cluster_without_length_marker", [] {
    Bytes header = EncodeId(kCluster);
    header.insert(header.end(), {0x00, 0x80, 0, 0, 0, 0, 0, 0, 0});
    return File({MsInfo(), OneTrack(), Raw(header), SmallCluster(1000)});
  });
  return rows;
}

bool KnownStatus(media_status_t s) {
  return s == AMEDIA_OK || s == AMEDIA_ERROR_END_OF_STREAM || s == AMEDIA_ERROR_MALFORMED ||
         s == AMEDIA_ERROR_IO || s == AMEDIA_ERROR_UNKNOWN || s == AMEDIA_ERROR_UNSUPPORTED;
}

TEST(HostileValues, EveryCallEndsInAStatus) {
  for (const Row& row : Rows()) {
    SCOPED_TRACE(row.name);
    const Bytes bytes = row.file();
    LogCapture log;
    Plugin plugin(bytes);
    // Every file starts as Matroska: it is claimed, whatever it holds further on.
    ASSERT_TRUE(plugin.Open());
    Format file_format;
    plugin.FileFormat(&file_format);
    int packets = 0, failed = 0;
    for (size_t i = 0; i < plugin.CountTracks(); ++i) {
      SCOPED_TRACE("track " + std::to_string(i));
      Format format;
      if (plugin.TrackFormat(i, &format) != AMEDIA_OK) continue;
      // Durations saturate: whatever the Duration and the scale, none published is negative.
      EXPECT_GE(format.Int64(AMEDIAFORMAT_KEY_DURATION, 0), 0);
      std::unique_ptr<PluginTrack> track = plugin.Track(i);
      if (!track || track->Start() != AMEDIA_OK) continue;
      // To the end: a failed block is passed over, a run of failures ends the track.
      int64_t first = -1, last = 0;
      int reads = 0, errors = 0;
      for (; reads < 5000 && errors < 64; ++reads) {
        Packet p;
        const media_status_t status = track->Read(&p);
        ASSERT_TRUE(KnownStatus(status)) << status;
        if (status == AMEDIA_ERROR_END_OF_STREAM) break;
        if (status != AMEDIA_OK) {
          ++errors;
          continue;
        }
        EXPECT_LE(p.bytes.size(), 4 * bytes.size());  // PCM widening grows a frame 4 times at most
        EXPECT_GE(p.time_us, row.plain_times ? last : INT64_MIN) << "frame " << reads - errors;
        if (reads == errors) first = p.time_us;
        last = std::max(last, p.time_us);
      }
      EXPECT_LT(reads, 5000) << "reading never ends";
      packets += reads - errors;
      failed += errors;
      const int64_t past_end = last > INT64_MAX / 2 ? INT64_MAX : last + 3600000000;
      for (uint32_t mode : {android::SEEK_PREVIOUS_SYNC, android::SEEK_NEXT_SYNC,
                            android::SEEK_CLOSEST_SYNC, android::SEEK_CLOSEST}) {
        for (int64_t at : {int64_t{0}, int64_t{1000000}, last / 2, past_end, INT64_MAX / 2}) {
          Packet p;
          const media_status_t status = track->Seek(at, mode, &p);
          ASSERT_TRUE(KnownStatus(status)) << "seek to " << at << " mode " << mode;
          if (row.plain_times && at == 0 && first == 0) {
            EXPECT_EQ(status, AMEDIA_OK) << "mode " << mode;
            EXPECT_EQ(p.time_us, 0) << "mode " << mode;
          }
          EXPECT_GE(p.time_us, row.plain_times && status == AMEDIA_OK ? 0 : INT64_MIN) << at;
          EXPECT_TRUE(KnownStatus(track->Read()));
        }
      }
      EXPECT_EQ(track->Stop(), AMEDIA_OK);
    }
    if (row.packets >= 0) {
      EXPECT_EQ(packets, row.packets);
    }
    if (row.failed >= 0) {
      EXPECT_EQ(failed, row.failed);
    }
  }
}

}  // namespace
}  // namespace mkvtest
