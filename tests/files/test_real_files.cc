// The committed real files (tests/data/conformance, made by make_conformance.sh, and
// tests/data/corpus), end to end against ffprobe's view of each. One table of files drives
// every check:
//   - formats: per track the MIME type, picture size, sample rate, channel count and language;
//   - packets: every track read to its end through the plug-in's C tables, the tracks in turn as
//     a player reads them; the payload bytes equal ffprobe's after the transformations the
//     extractor makes on purpose (the rules below), every packet boundary of ours falls on one
//     of ffprobe's (a packet that holds several is the frames of one laced block), and a packet
//     that is one of ffprobe's has its time and sync flag;
//   - seeks: through the plug-in in the framework's four modes, and through the demuxer in its
//     own four at every sync point, both against the sync points ffprobe's packets give;
//   - a recording cut off inside its last Cluster, HDR colour and the cover art.
// Where the extractor deliberately differs from ffprobe, the check names the rule it applies;
// a failure prints the first packet that differs.
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "audio/qaud_pcm.h"
#include "common/qcmn_formatkeys.h"
#include "demux/seek/qmkvd_seek.h"
#include "demux_harness.h"
#include "ffprobe_ref.h"
#include "frame_reader.h"
#include "md5.h"
#include "plugin_harness.h"
#include "real_file.h"

namespace mkvtest {
namespace {

using qmkvtools::Md5Hex;

// ------------------------------------------------------------------------------------------
// What the extractor hands out differently from ffprobe, on purpose.

const char kRuleStartCodes[] =
    "AVC and HEVC frames come out with each NAL length field replaced by 00 00 00 01";
const char kRuleTextNul[] = "a text frame carries one trailing NUL (decoders take a C string)";
// Also: a text track hands out an empty frame (duration -1) where no cue is due for half a
// second; the comparison steps over those.
const char kRulePcm[] =
    "PCM comes out little-endian in the published encoding (16-bit or float), converted";
const char kRuleWholeBlock[] =
    "a laced block of FLAC, AC-3, E-AC-3, MPEG audio or PCM comes out whole, with the block's time";
const char kRuleCodecDelay[] = "times are block times; ffprobe moves Opus back by its CodecDelay";
const char kRuleVfwKey[] =
    "ffprobe calls every frame of a V_MS/VFW/FOURCC track (H.263 here) key; the extractor takes "
    "the key bit of the block";
const char kRuleVfwTimes[] =
    "a V_MS/VFW/FOURCC track's blocks carry decode times, as AVI has no others; ffprobe leaves "
    "out the pts of the frames it would reorder, and the extractor gives the block's time: "
    "ffprobe's dts";
const char kRuleNoFirstDuration[] =
    "without a DefaultDuration ffprobe knows no duration for the first AAC frame of a stream "
    "and gives the next frame the same time; the extractor counts the frame's 1024 samples";
const char kRuleLanguage[] =
    "video formats carry no language; ffprobe leaves out the language \"und\"";

// Whether the extractor delivers this codec's laced blocks whole; decided from ffprobe's codec
// name, apart from the extractor's own codec mapping.
bool DeliveredWhole(const std::string& codec) {
  return codec == "flac" || codec == "ac3" || codec == "eac3" || codec == "mp3" || codec == "mp2" ||
         codec.compare(0, 4, "pcm_") == 0;
}

// ffprobe's codec name -> the MIME type the extractor publishes.
const std::map<std::string, std::string>& MimeOf() {
  static const std::map<std::string, std::string> kMime = {
      {"h264", "video/avc"},
      {"hevc", "video/hevc"},
      {"vp8", "video/x-vnd.on2.vp8"},
      {"vp9", "video/x-vnd.on2.vp9"},
      {"av1", "video/av01"},
      {"mpeg4", "video/mp4v-es"},
      {"mpeg2video", "video/mpeg2"},
      {"mpeg1video", "video/mpeg2"},  // the MPEG-2 decoder plays MPEG-1
      {"h263", "video/3gpp"},
      {"mjpeg", "video/x-unknown"},  // not taken: the track carries an error type
      {"aac", "audio/mp4a-latm"},
      {"mp3", "audio/mpeg"},
      {"mp2", "audio/mpeg-L2"},
      {"ac3", "audio/ac3"},
      {"eac3", "audio/eac3"},
      {"flac", "audio/flac"},
      {"opus", "audio/opus"},
      {"vorbis", "audio/vorbis"},
      {"subrip", "application/x-subrip"},
      {"ass", "text/x-ass"},
  };
  return kMime;
}

// ------------------------------------------------------------------------------------------
// The files.

// What is checked beyond formats and packets.
enum : unsigned {
  kSeek = 1,        // plug-in seeks on the video track (track 0)
  kStreamSeek = 2,  // demuxer seeks on every stream
  kCues = 4,        // with kStreamSeek: the Cues are usable (else the crawl finds sync points)
};

struct Case {
  const char* file;  // under tests/data
  unsigned checks;
};

const Case kCases[] = {
    {"conformance/h264_aac_mkvmerge.mkv", kSeek},
    {"conformance/h264_nolacing_mkvmerge.mkv", kSeek},
    {"conformance/propedit_chain_mkvmerge.mkv", 0},
    // Its CuePoint at 1.021 s lists track 1 (video), then track 4 (ASS).
    {"conformance/h264_ffmpeg.mkv", kSeek},
    // No Duration: the one found at the end of the data bounds the seeks.
    {"conformance/h264_pipe_ffmpeg.mkv", kSeek},
    {"conformance/hevc_hdr_mkvmerge.mkv", 0},
    {"conformance/vp8_vorbis_ffmpeg.mkv", 0},
    {"conformance/vp9_flac_mkvmerge.mkv", kSeek},
    {"conformance/av1_opus_mkvmerge.mkv", 0},
    {"conformance/mpeg4_mp2_mkvmerge.mkv", kSeek},
    {"conformance/mpeg2_ac3_ffmpeg.mkv", kSeek},
    {"conformance/mpeg1_mp2_ffmpeg.mkv", 0},
    {"conformance/h263_pcm_ffmpeg.mkv", 0},
    {"conformance/mjpeg_mp3_ffmpeg.mkv", 0},
    {"conformance/pcm_ffmpeg.mka", 0},
    {"conformance/pcm_mkvmerge.mka", 0},
    {"conformance/cover_art_mkvmerge.mka", 0},
    // Every Cluster of unknown size.
    {"conformance/unknown_clusters_ffmpeg.mkv", kSeek},
    {"conformance/gst_h264_mp3_matroskamux.mkv", 0},
    {"conformance/gst_live_h264_opus_matroskamux.mkv", kSeek},
    {"conformance/gst_vp8_vorbis_matroskamux.mkv", 0},
    {"conformance/zlib_mkvmerge.mkv", 0},
    {"conformance/hevc_hdr_ffmpeg.mkv", 0},
    // No Cues, and key frames the bitstream test has no rule for: only the container says.
    {"conformance/av1_nocues_mkvmerge.mkv", kSeek},
    {"conformance/mpeg2_nocues_mkvmerge.mkv", kSeek},
    {"conformance/h264_opengop_mkvmerge.mkv", kSeek},
    {"conformance/laced_audio_mkvmerge.mka", 0},
    {"conformance/laced_audio_nodd_mkvmerge.mka", 0},
    {"conformance/delayed_audio_mkvmerge.mkv", kSeek},
    {"conformance/delayed_audio_nocues_mkvmerge.mkv", kSeek},
    {"conformance/vfw_mpeg4_mkvmerge.mkv", 0},
    {"conformance/vfw_mpeg4_stripped_mkvmerge.mkv", 0},
    {"corpus/hdrstrip.mkv", 0},
    {"corpus/nal2.mkv", 0},
    {"corpus/avc_ffmpeg.mkv", 0},
    {"corpus/hevc_mkvmerge.mkv", 0},
    {"corpus/fixed_lacing.mkv", 0},
    {"corpus/blockgroups.mkv", 0},
    {"corpus/vp9_remux.mkv", 0},
    {"corpus/seek_ffmpeg.mkv", kSeek | kStreamSeek | kCues},
    {"corpus/seek_cues.mkv", kSeek | kStreamSeek | kCues},
    {"corpus/seek_nocues.mkv", kSeek | kStreamSeek},
    // Audio only: its Cues are all dropped.
    {"corpus/seek_audio.mka", kStreamSeek},
    {"sample.mkv", 0},
};

std::vector<Case> CasesWith(unsigned checks) {
  std::vector<Case> out;
  for (const Case& c : kCases) {
    if ((c.checks & checks) == checks) out.push_back(c);
  }
  return out;
}

// ------------------------------------------------------------------------------------------
// Bytes.

// The header of the block whose payload starts at pos (ffprobe's pos): its flags byte and where
// its frames start. False when it does not fit in the file.
struct BlockHeader {
  uint8_t flags = 0;
  size_t frames_at = 0;
};

bool ParseBlockHeader(const std::vector<uint8_t>& file, int64_t pos, BlockHeader* h) {
  if (pos < 0 || static_cast<uint64_t>(pos) >= file.size()) return false;
  size_t at = static_cast<size_t>(pos);
  int width = 1;
  while (width <= 8 && !(file[at] & (0x80 >> (width - 1)))) ++width;
  at += width + 2;  // track number, relative time
  if (width > 8 || at >= file.size()) return false;
  h->flags = file[at++];
  if (((h->flags >> 1) & 3) == 2) ++at;  // fixed-size lacing: the frame count
  h->frames_at = at;
  return at <= file.size();
}

// The stored bytes of a block's frames: `total` bytes, unlaced or fixed-size laced, after its
// header. PCM is stored so.
std::string StoredFrames(const std::vector<uint8_t>& file, int64_t pos, uint64_t total,
                         std::vector<uint8_t>* out) {
  BlockHeader h;
  if (!ParseBlockHeader(file, pos, &h)) return "block header out of file";
  const int lacing = (h.flags >> 1) & 3;
  if (lacing == 1 || lacing == 3) return "Xiph or EBML lacing (not expected for PCM)";
  if (total > file.size() - h.frames_at) return "frames out of file";
  out->assign(file.begin() + h.frames_at, file.begin() + h.frames_at + total);
  return "";
}

// What the extractor makes of stored PCM: made little-endian, then converted to the published
// encoding with the conversion functions (whose values have their own tests).
std::string ConvertPcm(const std::string& codec, int32_t encoding, std::vector<uint8_t> raw,
                       std::vector<uint8_t>* out) {
  const int32_t kPcm16 = 2, kPcmFloat = 4;  // the framework's encoding values
  if (encoding != kPcm16 && encoding != kPcmFloat) return "encoding " + std::to_string(encoding);
  size_t width = codec == "pcm_u8"                                                      ? 1
                 : codec == "pcm_s16le" || codec == "pcm_s16be"                         ? 2
                 : codec == "pcm_s24le" || codec == "pcm_s24be"                         ? 3
                 : codec == "pcm_s32le" || codec == "pcm_s32be" || codec == "pcm_f32le" ? 4
                                                                                        : 0;
  if (width == 0) return "codec " + codec;
  if (codec.size() > 2 && codec.compare(codec.size() - 2, 2, "be") == 0) {
    for (size_t i = 0; i + width <= raw.size(); i += width) {
      std::reverse(raw.begin() + i, raw.begin() + i + width);
    }
  }
  const size_t n = raw.size() / width;
  const bool to16 = encoding == kPcm16;
  out->assign(n * (to16 ? 2 : 4), 0);
  std::vector<int32_t> i32(codec == "pcm_f32le" ? 0 : (width == 4 ? n : 0));
  std::vector<float> f32(codec == "pcm_f32le" ? n : 0);
  std::vector<int16_t> i16(width == 2 ? n : 0);
  if (!i32.empty()) memcpy(i32.data(), raw.data(), n * 4);
  if (!f32.empty()) memcpy(f32.data(), raw.data(), n * 4);
  if (!i16.empty()) memcpy(i16.data(), raw.data(), n * 2);
  int16_t* d16 = reinterpret_cast<int16_t*>(out->data());
  float* df = reinterpret_cast<float*>(out->data());
  if (to16) {
    if (width == 1) memcpy_to_i16_from_u8(d16, raw.data(), n);
    if (width == 2) memcpy(d16, i16.data(), n * 2);
    if (width == 3) memcpy_to_i16_from_p24(d16, raw.data(), n);
    if (!i32.empty()) memcpy_to_i16_from_i32(d16, i32.data(), n);
    if (!f32.empty()) memcpy_to_i16_from_float(d16, f32.data(), n);
  } else {
    if (width == 1) memcpy_to_float_from_u8(df, raw.data(), n);
    if (width == 2) memcpy_to_float_from_i16(df, i16.data(), n);
    if (width == 3) memcpy_to_float_from_p24(df, raw.data(), n);
    if (!i32.empty()) memcpy_to_float_from_i32(df, i32.data(), n);
    if (!f32.empty()) memcpy(df, f32.data(), n * 4);
  }
  return "";
}

// ------------------------------------------------------------------------------------------
// One track.

struct Track {
  int stream = -1;  // ffprobe's stream index
  const RefStream* ref_stream = nullptr;
  std::vector<RefPacket> ref;
  std::unique_ptr<Format> format;
  std::unique_ptr<PluginTrack> source;
  std::vector<Packet> packets;
  media_status_t end = AMEDIA_OK;
  bool taken = true;  // false for a codec the extractor does not take
};

std::string Describe(const Packet& p, size_t i) {
  return "our packet " + std::to_string(i) + " (time " + std::to_string(p.time_us) + " us, " +
         std::to_string(p.bytes.size()) + " bytes, sync " + std::to_string(p.sync) + ")";
}

std::string Describe(const RefPacket& r) {
  return "ffprobe line " + std::to_string(r.line) + " (pts " +
         (r.has_pts ? std::to_string(r.pts) : "N/A") + ", " + std::to_string(r.size) +
         " bytes, pos " + std::to_string(r.pos) + (r.key ? ", key" : "") + ")";
}

// ffprobe's pts of an Opus track is the block time less the CodecDelay (csd-1, in ns), rounded
// to a tick.
int64_t CodecDelayTicks(const Format& format, const RefStream& s) {
  std::vector<uint8_t> csd1 = format.Buffer(AMEDIAFORMAT_KEY_CSD_1);
  if (format.String(AMEDIAFORMAT_KEY_MIME) != "audio/opus" || csd1.size() != 8) return 0;
  int64_t ns = 0;
  for (int i = 7; i >= 0; --i) ns = ns << 8 | csd1[i];
  const int64_t unit = s.time_base_num * 1000000000;  // ns per tick, times den
  return (2 * ns * s.time_base_den + unit) / (2 * unit);
}

class TrackCheck {
 public:
  TrackCheck(const std::vector<uint8_t>& file, Track* t) : file_(file), t_(*t) {}

  // "" or the first difference.
  std::string Run() {
    const std::string mime = t_.format->String(AMEDIAFORMAT_KEY_MIME);
    const std::string& codec = t_.ref_stream->codec_name;
    const bool text = t_.ref_stream->codec_type == "subtitle";
    const bool nal = mime == "video/avc" || mime == "video/hevc";
    const bool pcm = codec.compare(0, 4, "pcm_") == 0;
    whole_ = DeliveredWhole(codec);
    delay_ = CodecDelayTicks(*t_.format, *t_.ref_stream);

    if (t_.end != AMEDIA_ERROR_END_OF_STREAM) {
      return "the track ended with status " + std::to_string(t_.end) + " after " +
             std::to_string(t_.packets.size()) + " packets";
    }
    size_t next = 0;  // the first reference packet not yet matched
    for (size_t i = 0; i < t_.packets.size(); ++i) {
      const Packet& p = t_.packets[i];
      std::vector<uint8_t> bytes = p.bytes;
      if (text) {
        if (bytes.empty() && p.duration_us == -1) continue;  // the empty frame of a gap
        if (bytes.empty() || bytes.back() != 0) {
          return Describe(p, i) + ": no trailing NUL (" + kRuleTextNul + ")";
        }
        bytes.pop_back();  // kRuleTextNul
      }
      if (nal) {
        std::string error = StoredNal(bytes, next, &bytes);
        if (!error.empty()) return Describe(p, i) + ": " + error;
      }
      size_t count = 0;
      std::string error = pcm ? MatchPcm(bytes, next, &count) : Match(bytes, next, &count);
      if (!error.empty()) return Describe(p, i) + ": " + error;
      error = CheckGroup(p, i, next, count);
      if (!error.empty()) return error;
      next += count;
    }
    if (next != t_.ref.size()) {
      return "the track ended before " + Describe(t_.ref[next]) + " (" +
             std::to_string(t_.ref.size() - next) + " reference packets not delivered)";
    }
    return "";
  }

 private:
  // kRuleStartCodes, undone: the start codes become length fields of the file's width, which is
  // found once as the one that reproduces the first reference packet.
  std::string StoredNal(const std::vector<uint8_t>& ours, size_t next, std::vector<uint8_t>* out) {
    if (next >= t_.ref.size()) return "more packets than ffprobe's";
    std::vector<uint8_t> stored;
    if (nal_width_ == 0) {
      for (int width : {4, 2, 3, 1}) {
        if (ToLengthPrefixed(ours, width, &stored).empty() &&
            Md5Hex(stored.data(), stored.size()) == t_.ref[next].md5) {
          nal_width_ = width;
          break;
        }
      }
      if (nal_width_ == 0) {
        return std::string("no NAL length width gives ") + Describe(t_.ref[next]) + " (" +
               kRuleStartCodes + ")";
      }
    }
    std::string error = ToLengthPrefixed(ours, nal_width_, &stored);
    if (!error.empty()) return error + " (" + kRuleStartCodes + ")";
    *out = std::move(stored);
    return "";
  }

  // The packet is reference packets next.. back to back; *count says how many.
  std::string Match(const std::vector<uint8_t>& bytes, size_t next, size_t* count) {
    size_t at = 0, k = next;
    while (at < bytes.size() || k == next) {
      if (k >= t_.ref.size()) return "more bytes than ffprobe's packets";
      const RefPacket& r = t_.ref[k];
      if (r.size > bytes.size() - at) {
        return "ends inside " + Describe(r) + " (" + std::to_string(bytes.size() - at) +
               " bytes left for it)";
      }
      if (Md5Hex(bytes.data() + at, r.size) != r.md5) return "bytes differ from " + Describe(r);
      at += r.size;
      ++k;
    }
    *count = k - next;
    return "";
  }

  // kRulePcm: the whole block's stored frames, converted, are the packet.
  std::string MatchPcm(const std::vector<uint8_t>& bytes, size_t next, size_t* count) {
    if (next >= t_.ref.size()) return "more packets than ffprobe's";
    size_t k = next;
    uint64_t total = 0;
    while (k < t_.ref.size() && t_.ref[k].pos == t_.ref[next].pos) total += t_.ref[k++].size;
    std::vector<uint8_t> stored, converted;
    std::string error = StoredFrames(file_, t_.ref[next].pos, total, &stored);
    if (!error.empty()) return error;
    size_t at = 0;
    for (size_t j = next; j < k; at += t_.ref[j++].size) {
      if (Md5Hex(stored.data() + at, t_.ref[j].size) != t_.ref[j].md5) {
        return "the stored frames at the block's position are not " + Describe(t_.ref[j]);
      }
    }
    error = ConvertPcm(t_.ref_stream->codec_name, t_.format->Int32(AMEDIAFORMAT_KEY_PCM_ENCODING),
                       stored, &converted);
    if (!error.empty()) return error;
    if (converted != bytes) {
      return "not the block of " + Describe(t_.ref[next]) + " converted (" +
             std::to_string(converted.size()) + " bytes expected; " + kRulePcm + ")";
    }
    *count = k - next;
    return "";
  }

  // Grouping, time and sync of a packet that is reference packets next..next+count.
  std::string CheckGroup(const Packet& p, size_t i, size_t next, size_t count) {
    const RefPacket& first = t_.ref[next];
    const std::string where = Describe(p, i) + " as " + Describe(first);
    const bool starts_block = next == 0 || t_.ref[next - 1].pos != first.pos;
    size_t laces = 0;
    for (size_t k = next; k < t_.ref.size() && t_.ref[k].pos == first.pos; ++k) ++laces;
    if (count > 1 && !whole_) return where + ": holds " + std::to_string(count) + " packets";
    if (whole_ && (!starts_block || count != laces)) {
      return where + ": holds " + std::to_string(count) + " of the block's " +
             std::to_string(laces) + " frames (" + kRuleWholeBlock + ")";
    }

    // A SimpleBlock's key bit as stored; a BlockGroup's Block is a key frame without a
    // ReferenceBlock, as ffprobe says; every audio frame is one. Where ffprobe differs from
    // that, it has to be a rule.
    BlockHeader h;
    if (!ParseBlockHeader(file_, first.pos, &h)) return where + ": no block header at pos";
    const bool simple = BlockIdBefore(file_, first.pos) == kSimpleBlockId;
    const bool audio = t_.ref_stream->codec_type == "audio";
    const bool want_sync = audio || (simple ? (h.flags & 0x80) != 0 : first.key);
    if (want_sync != first.key && t_.ref_stream->codec_name != "h263") {
      return where + ": the block's key bit is " + std::to_string(want_sync) +
             ", ffprobe's key flag " + std::to_string(first.key) + ", and no rule says why";
    }
    if (p.sync != (want_sync ? 1 : 0)) {
      return where + ": sync " + std::to_string(p.sync) + ", expected " +
             std::to_string(want_sync) + (want_sync != first.key ? kRuleVfwKey : "");
    }

    if (!first.has_pts && !first.has_dts) return where + ": ffprobe has no pts";
    const int64_t ref_time = first.has_pts ? first.pts : first.dts;       // kRuleVfwTimes
    const int64_t want = PtsToMicros(ref_time + delay_, *t_.ref_stream);  // kRuleCodecDelay
    if (starts_block) {
      lace_ = 0;
      lag_us_ = 0;
      if (p.time_us != want) {
        return where + ": time " + std::to_string(p.time_us) + " us, expected " +
               std::to_string(want) + (delay_ ? std::string(" (") + kRuleCodecDelay + ")" : "") +
               (first.has_pts ? "" : std::string(" (") + kRuleVfwTimes + ")");
      }
    } else {
      // A later frame of a laced block: its exact time, which ffprobe gives to its time base.
      const RefStream& rs = *t_.ref_stream;
      const int64_t tick_us =
          (rs.time_base_num * 1000000 + rs.time_base_den - 1) / rs.time_base_den;
      // ffprobe adds up the laces' durations truncated to its time base: the k-th lace of a
      // block may lie up to k ticks before the exact time, and one after.
      ++lace_;
      const int64_t slack_us = (lace_ + 1) * tick_us;
      const RefPacket& before = t_.ref[next - 1];
      if (before.has_pts && first.has_pts && before.pts == first.pts && i > 0) {
        lag_us_ += p.time_us - t_.packets[i - 1].time_us;  // kRuleNoFirstDuration
      }
      if (p.time_us < want + lag_us_ - slack_us || p.time_us > want + lag_us_ + slack_us) {
        return where + ": lace time " + std::to_string(p.time_us) + " us, expected " +
               std::to_string(want) + " within " + std::to_string(slack_us) +
               (lag_us_ ? std::string(" (") + kRuleNoFirstDuration + ")" : "");
      }
    }
    return "";
  }

  const std::vector<uint8_t>& file_;
  Track& t_;
  bool whole_ = false;
  int64_t delay_ = 0;
  int nal_width_ = 0;
  int64_t lace_ = 0;    // of the current block
  int64_t lag_us_ = 0;  // how far ffprobe's times lag behind in it, by durations it lacks
};

// ------------------------------------------------------------------------------------------

class Conformance : public ::testing::TestWithParam<Case> {
 protected:
  void SetUp() override {
    file_ = ReadDataFile(GetParam().file);
    ASSERT_GT(file_.size(), 1000u) << GetParam().file;
    ASSERT_EQ(LoadRefOf(GetParam().file, &ref_), "");
    plugin_ = std::make_unique<Plugin>(file_);
    ASSERT_TRUE(plugin_->Open()) << GetParam().file;
    for (const RefStream& s : ref_.streams) {
      // ffprobe lists attachments as streams, pictures as one-packet video streams.
      if (s.codec_type == "attachment" || s.attached_pic) continue;
      Track t;
      t.stream = s.index;
      t.ref_stream = &s;
      t.ref = ref_.PacketsOf(s.index);
      tracks_.push_back(std::move(t));
    }
  }

  // Formats of every track, as the framework asks for them before reading.
  void ReadFormats() {
    ASSERT_EQ(plugin_->CountTracks(), tracks_.size());
    for (size_t i = 0; i < tracks_.size(); ++i) {
      Track& t = tracks_[i];
      t.format = std::make_unique<Format>();
      ASSERT_EQ(plugin_->TrackFormat(i, t.format.get()), AMEDIA_OK) << "track " << i;
      t.taken = t.format->Int32(AMEDIAFORMAT_KEY_ERROR_TYPE, 0) == 0;
    }
  }

  std::vector<uint8_t> file_;
  FfprobeRef ref_;
  std::unique_ptr<Plugin> plugin_;
  std::vector<Track> tracks_;
};

TEST_P(Conformance, FormatsMatchFfprobeStreams) {
  ASSERT_NO_FATAL_FAILURE(ReadFormats());
  for (size_t i = 0; i < tracks_.size(); ++i) {
    SCOPED_TRACE("track " + std::to_string(i));
    const Track& t = tracks_[i];
    const RefStream& s = *t.ref_stream;
    const Format& f = *t.format;
    auto mime = MimeOf().find(s.codec_name);
    if (s.codec_name.compare(0, 4, "pcm_") == 0) {
      EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_MIME), "audio/raw");
    } else if (mime != MimeOf().end()) {
      EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_MIME), mime->second) << s.codec_name;
    } else {
      ADD_FAILURE() << "no MIME type known for ffprobe's " << s.codec_name;
    }
    EXPECT_EQ(t.taken, s.codec_name != "mjpeg");
    if (s.codec_type == "video") {
      EXPECT_EQ(f.Int32(AMEDIAFORMAT_KEY_WIDTH), s.width);
      EXPECT_EQ(f.Int32(AMEDIAFORMAT_KEY_HEIGHT), s.height);
      EXPECT_FALSE(f.Has(AMEDIAFORMAT_KEY_LANGUAGE)) << kRuleLanguage;
    } else {
      EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_LANGUAGE), s.language.empty() ? "und" : s.language)
          << kRuleLanguage;
    }
    if (s.codec_type == "audio") {
      EXPECT_EQ(f.Int32(AMEDIAFORMAT_KEY_SAMPLE_RATE), s.sample_rate);
      EXPECT_EQ(f.Int32(AMEDIAFORMAT_KEY_CHANNEL_COUNT), s.channels);
    }
  }
}

TEST_P(Conformance, PacketsMatchFfprobeReadInTurn) {
  ASSERT_NO_FATAL_FAILURE(ReadFormats());
  for (size_t i = 0; i < tracks_.size(); ++i) {
    if (!tracks_[i].taken) continue;
    tracks_[i].source = plugin_->Track(i);
    ASSERT_NE(tracks_[i].source, nullptr) << "track " << i;
    ASSERT_EQ(tracks_[i].source->Start(), AMEDIA_OK) << "track " << i;
  }
  // As a player reads: always the track whose last packet is earliest.
  const size_t kMaxReads = 200000;
  for (size_t reads = 0; reads < kMaxReads; ++reads) {
    Track* next = nullptr;
    for (Track& t : tracks_) {
      if (!t.source || t.end != AMEDIA_OK) continue;
      int64_t last = t.packets.empty() ? INT64_MIN : t.packets.back().time_us;
      if (!next || last < (next->packets.empty() ? INT64_MIN : next->packets.back().time_us)) {
        next = &t;
      }
    }
    if (!next) break;
    Packet p;
    next->end = next->source->Read(&p);
    if (next->end == AMEDIA_OK) next->packets.push_back(std::move(p));
  }
  for (Track& t : tracks_) {
    if (!t.source) continue;
    EXPECT_EQ(t.source->Stop(), AMEDIA_OK);
    EXPECT_EQ(TrackCheck(file_, &t).Run(), "")
        << GetParam().file << " track of ffprobe stream " << t.stream << " ("
        << t.ref_stream->codec_name << ")";
  }
}

// mkvmerge wrote Colour and MasteringMetadata into this file (the HEVC stream's own SEI says the
// same). ffprobe's names and side data, turned into the platform's colour values and its HDR
// static info (type 1: chromaticities in units of 0.00002, luminances in cd/m2 and 0.0001
// cd/m2, each rounded half up, little-endian), must be what the format carries.
// The same HDR10 picture as mkvmerge writes it (mastering values as singles) and as ffmpeg
// remuxes it (doubles, and a 2:1 display aspect ratio as DisplayUnit 3): colour, mastering and
// the sample aspect ratio as ffprobe reads them.
TEST(ConformanceRules, HdrColourMasteringAndAspectMatchFfprobe) {
  for (const char* name :
       {"conformance/hevc_hdr_mkvmerge.mkv", "conformance/hevc_hdr_ffmpeg.mkv"}) {
    SCOPED_TRACE(name);
    FfprobeRef ref;
    ASSERT_EQ(LoadRefOf(name, &ref), "");
    const RefStream& s = ref.streams[0];
    const std::map<std::string, int32_t> kRange = {{"pc", 1}, {"tv", 2}};
    const std::map<std::string, int32_t> kStandard = {{"bt709", 1}, {"bt2020nc", 6}};
    const std::map<std::string, int32_t> kTransfer = {{"bt709", 3}, {"smpte2084", 6}};
    ASSERT_TRUE(kRange.count(s.color_range) && kStandard.count(s.color_space) &&
                kTransfer.count(s.color_transfer))
        << s.color_range << " " << s.color_space << " " << s.color_transfer;
    std::vector<uint8_t> hdr = {0};  // type 1
    for (const char* key :
         {"red_x", "red_y", "green_x", "green_y", "blue_x", "blue_y", "white_point_x",
          "white_point_y", "max_luminance", "min_luminance", "max_content", "max_average"}) {
      ASSERT_TRUE(s.hdr.count(key)) << key;
      const std::string k = key;
      const double scale = k == "min_luminance"                                   ? 10000
                           : k == "max_luminance" || k.compare(0, 4, "max_") == 0 ? 1
                                                                                  : 50000;
      const uint32_t v = static_cast<uint32_t>(s.hdr.at(key) * scale + 0.5);
      hdr.push_back(static_cast<uint8_t>(v));
      hdr.push_back(static_cast<uint8_t>(v >> 8));
    }

    Plugin p(ReadDataFile(name));
    ASSERT_TRUE(p.Open());
    Format f;
    ASSERT_EQ(p.TrackFormat(0, &f), AMEDIA_OK);
    EXPECT_EQ(f.Int32(AMEDIAFORMAT_KEY_COLOR_RANGE), kRange.at(s.color_range));
    EXPECT_EQ(f.Int32(AMEDIAFORMAT_KEY_COLOR_STANDARD), kStandard.at(s.color_space));
    EXPECT_EQ(f.Int32(AMEDIAFORMAT_KEY_COLOR_TRANSFER), kTransfer.at(s.color_transfer));
    EXPECT_EQ(f.Buffer(AMEDIAFORMAT_KEY_HDR_STATIC_INFO), hdr);
    const std::string sar = f.Has(AMEDIAFORMAT_KEY_SAR_WIDTH)
                                ? std::to_string(f.Int32(AMEDIAFORMAT_KEY_SAR_WIDTH)) + ":" +
                                      std::to_string(f.Int32(AMEDIAFORMAT_KEY_SAR_HEIGHT))
                                : "1:1";
    EXPECT_EQ(sar, s.sample_aspect_ratio);
  }
}

// mkvmerge attached a font, a PNG and then the JPEG cover: the cover's bytes, as the file holds
// them, are the file format's album art.
TEST(ConformanceRules, CoverArtIsTheAttachedCover) {
  Plugin p(ReadDataFile("conformance/cover_art_mkvmerge.mka"));
  ASSERT_TRUE(p.Open());
  Format file;
  ASSERT_EQ(p.FileFormat(&file), AMEDIA_OK);
  const std::vector<uint8_t> cover = ReadDataFile("conformance/ref/cover_art.jpg");
  ASSERT_GT(cover.size(), 1000u);
  EXPECT_EQ(file.Buffer(AMEDIAFORMAT_KEY_ALBUMART), cover);
  // ffprobe shows the JPEG as an attached picture whose one packet is those bytes.
  FfprobeRef ref;
  ASSERT_EQ(LoadRefOf("conformance/cover_art_mkvmerge.mka", &ref), "");
  bool seen = false;
  for (const RefStream& s : ref.streams) {
    if (!s.attached_pic || s.codec_name != "mjpeg") continue;
    ASSERT_EQ(ref.PacketsOf(s.index).size(), 1u);
    EXPECT_EQ(ref.PacketsOf(s.index)[0].md5, Md5Hex(cover.data(), cover.size()));
    seen = true;
  }
  EXPECT_TRUE(seen);
}

// ------------------------------------------------------------------------------------------
// Seeks. Where a seek should land is worked out from the packets alone. With cues, the sync
// points are the video key frames ffprobe flags (the muxers cue every one); without, they are
// the stream's own key frames (every block of audio), which the crawl finds.

struct TimedPacket {
  int64_t time;  // 100-ns units
  RefPacket ref;
};

std::vector<TimedPacket> TimedPackets(const FfprobeRef& ref, int stream) {
  std::vector<TimedPacket> out;
  const RefStream* rs = ref.Stream(stream);
  for (const RefPacket& p : ref.PacketsOf(stream)) {
    int64_t time = 0;
    bool exact = false;
    if (!rs || !p.has_pts ||
        !PtsTo100ns(p.pts, rs->time_base_num, rs->time_base_den, &time, &exact)) {
      ADD_FAILURE() << "packet without a usable pts, ref line " << p.line;
      continue;
    }
    out.push_back(TimedPacket{time, p});
  }
  return out;
}

// Sync points: a video track's key frames; for audio, every block (ffprobe gives the laces of a
// block one position).
std::vector<TimedPacket> SyncPoints(const std::vector<TimedPacket>& packets, bool video) {
  std::vector<TimedPacket> out;
  for (size_t i = 0; i < packets.size(); ++i) {
    const bool starts_block = i == 0 || packets[i].ref.pos != packets[i - 1].ref.pos;
    if (video ? packets[i].ref.key : starts_block) out.push_back(packets[i]);
  }
  std::stable_sort(out.begin(), out.end(),
                   [](const TimedPacket& a, const TimedPacket& b) { return a.time < b.time; });
  return out;
}

// What a seek should give: its status, the time it reports and the packet read first.
struct Want {
  int32_t status;
  int64_t out;
  const TimedPacket* first;
};

// The model of one stream's seeks in the demuxer's modes; the framework's map onto them.
class Oracle {
 public:
  // Past the last Cluster the crawl reads the header of whatever follows: 1 when there is an
  // element, -1 at the end of the file.
  static const int32_t kRanOff = 100;

  Oracle(std::vector<TimedPacket> own, std::vector<TimedPacket> sync, bool cues)
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
  std::vector<const TimedPacket*> Following(const TimedPacket* first, size_t count) const {
    std::vector<const TimedPacket*> out;
    for (size_t i = 0; i < own_.size(); ++i) {
      if (&own_[i] != first) continue;
      for (size_t k = i + 1; k < own_.size() && out.size() < count; ++k) out.push_back(&own_[k]);
    }
    return out;
  }

  bool StartsBlock(const TimedPacket* p) const {
    return p == &own_.front() || (p - 1)->ref.pos != p->ref.pos;
  }
  const std::vector<TimedPacket>& sync() const { return sync_; }
  int64_t last_time() const {
    int64_t last = 0;
    for (const TimedPacket& p : own_) last = std::max(last, p.time);
    return last;
  }

 private:
  Want Rewind() const { return Want{0, 0, &own_.front()}; }

  // A jump to sync point `index`: the stream's first packet stored after it (the sync point
  // itself for the stream that has it).
  Want Land(int index) const {
    const TimedPacket& sync = sync_[index];
    for (const TimedPacket& p : own_) {
      if (p.ref.pos >= sync.ref.pos) return Want{0, sync.time, &p};
    }
    return Want{0, sync.time, nullptr};
  }

  std::vector<TimedPacket> own_;   // the stream's packets in file order
  std::vector<TimedPacket> sync_;  // where seeks may land, in time order
  bool cues_;
  int last_ = 0;  // the cue index the last seek used, shared by the modes
};

// Whether the payload is the packet's, as stored (start codes back into length fields of
// `nal` bytes; 0 tries the widths).
bool SamePayload(const std::vector<uint8_t>& bytes, const RefPacket& r, int nal) {
  std::vector<uint8_t> stored = bytes;
  for (int width : {4, 2, 3, 1}) {
    if (nal > 0 && width != nal) continue;
    if (nal >= 0 && !ToLengthPrefixed(bytes, width, &stored).empty()) continue;
    if (stored.size() == r.size && Md5Hex(stored.data(), stored.size()) == r.md5) return true;
    if (nal < 0) break;
  }
  return false;
}

class PluginSeeks : public ::testing::TestWithParam<Case> {};
class StreamSeeks : public ::testing::TestWithParam<Case> {};

// 20 times over the video track, visited out of order so that seeks go back as well as forward,
// each in the framework's four modes: previous sync is the demuxer's before, next sync its
// after, closest sync its nearest; closest is served as previous sync (the decoder runs on
// from the key frame to the time). A time before the first sync point, or 0, starts the track
// again at its first packet; past the last key frame next sync ends the stream.
TEST_P(PluginSeeks, FirstPacketIsTheKeyFrameTheModeAsksFor) {
  const char* file = GetParam().file;
  FfprobeRef ref;
  ASSERT_EQ(LoadRefOf(file, &ref), "");
  ASSERT_EQ(ref.streams.at(0).codec_type, "video");
  std::vector<TimedPacket> video = TimedPackets(ref, 0);
  Oracle oracle(video, SyncPoints(video, true), true);
  ASSERT_GE(oracle.sync().size(), 1u);

  Plugin plugin(ReadDataFile(file));
  ASSERT_TRUE(plugin.Open());
  Format format;
  ASSERT_EQ(plugin.TrackFormat(0, &format), AMEDIA_OK);
  const std::string mime = format.String(AMEDIAFORMAT_KEY_MIME);
  const int nal = mime == "video/avc" || mime == "video/hevc" ? 0 : -1;
  std::unique_ptr<PluginTrack> track = plugin.Track(0);
  ASSERT_NE(track, nullptr);
  ASSERT_EQ(track->Start(), AMEDIA_OK);
  const int kTimes = 20;
  const int64_t span_us = oracle.last_time() / 10;
  int failures = 0;
  for (int i = 0; i < kTimes && failures < 8; ++i) {
    const int64_t t = span_us * ((i * 7) % kTimes) / kTimes;
    for (uint32_t mode : {android::SEEK_PREVIOUS_SYNC, android::SEEK_NEXT_SYNC,
                          android::SEEK_CLOSEST_SYNC, android::SEEK_CLOSEST}) {
      const uint32_t demux_mode = mode == android::SEEK_NEXT_SYNC      ? QMKVD_SEEK_AFTER
                                  : mode == android::SEEK_CLOSEST_SYNC ? QMKVD_SEEK_NEAREST
                                                                       : QMKVD_SEEK_BEFORE;
      const Want want = oracle.Expect(t * 10, demux_mode);
      Packet p;
      const media_status_t status = track->Seek(t, mode, &p);
      std::string error;
      if (!want.first) {
        if (status != AMEDIA_ERROR_END_OF_STREAM) error = "not the end of the stream";
      } else if (status != AMEDIA_OK) {
        error = "status " + std::to_string(status);
      } else if (p.time_us != want.first->time / 10 ||
                 !SamePayload(p.bytes, want.first->ref, nal)) {
        error = "first packet at " + std::to_string(p.time_us) + " us (" +
                std::to_string(p.bytes.size()) + " bytes), want ffprobe line " +
                std::to_string(want.first->ref.line);
      } else if (want.first->ref.key && p.sync != 1) {
        error = "the key frame is not flagged sync";
      }
      if (!error.empty()) {
        ADD_FAILURE() << "seek to " << t << " us, mode " << mode << ": " << error;
        ++failures;
      }
    }
  }
  EXPECT_EQ(track->Stop(), AMEDIA_OK);
}

// Every stream through the demuxer, in its four modes (back included), at every sync point, just
// before and after it, half-way to the next (ties for nearest) and on a grid past the end; the
// seek reports the sync point's time and the next three frames are the right packets.
TEST_P(StreamSeeks, EveryModeLandsWhereThePacketsSay) {
  const Case& file = GetParam();
  FfprobeRef ref;
  ASSERT_EQ(LoadRefOf(file.file, &ref), "");
  Created c(ReadDataFile(file.file));
  ASSERT_EQ(c.err(), 0);
  const bool cues = (file.checks & kCues) != 0;
  ASSERT_EQ(c.ctx()->seek.cues_usable != 0, cues);
  for (int stream = 0; stream < c.ctx()->stream_count; ++stream) {
    SCOPED_TRACE("stream " + std::to_string(stream));
    QMKVDS_CTX* s = qmkvds_open(c.ctx(), stream, nullptr);
    ASSERT_NE(s, nullptr);
    const int sync_from = cues ? 0 : stream;
    const int nal = s->nal_length_size > 0 ? s->nal_length_size : -1;
    Oracle oracle(TimedPackets(ref, stream),
                  SyncPoints(TimedPackets(ref, sync_from), c.ctx()->streams[sync_from].kind == 1),
                  cues);
    ASSERT_GE(oracle.sync().size(), 8u);
    std::vector<int64_t> times = {0, 1};
    const std::vector<TimedPacket>& sync = oracle.sync();
    for (size_t i = 0; i < sync.size(); ++i) {
      for (int64_t d : {-1, 0, 1}) times.push_back(std::max<int64_t>(sync[i].time + d, 0));
      if (i + 1 < sync.size()) times.push_back((sync[i].time + sync[i + 1].time) / 2);
    }
    for (int64_t t = 0; t <= sync.back().time + 10000000; t += 1700000) times.push_back(t);
    int failures = 0;
    for (int64_t time : times) {
      for (uint32_t mode = 0; mode <= 3 && failures < 10; ++mode) {
        const std::string where =
            "seek to " + std::to_string(time) + " mode " + std::to_string(mode);
        const Want want = oracle.Expect(time, mode);
        int64_t out = -1;
        const int32_t status = qmkvds_seek(s, &time, &out, mode);
        if (want.status == Oracle::kRanOff ? (status != 1 && status != -1)
                                           : status != want.status) {
          ADD_FAILURE() << where << ": status " << status << ", want " << want.status;
          ++failures;
          continue;
        }
        if (status != 0) continue;
        ASSERT_NE(want.first, nullptr) << where;
        Frame f = ReadFrame(s, 1 << 20);
        std::string error = out != want.out ? "landed at " + std::to_string(out) : "";
        if (error.empty() && (f.status != 0 || f.time != want.first->time ||
                              !SamePayload(f.bytes, want.first->ref, nal))) {
          error = "first frame at " + std::to_string(f.time) + " not the packet";
        }
        if (error.empty() && s->kind == 1 && !(s->block_flags & 0x80)) error = "not sync";
        for (const TimedPacket* next : oracle.Following(want.first, 2)) {
          if (!error.empty()) break;
          // Laces after a block's first get times the reader makes, not compared.
          f = ReadFrame(s, 1 << 20);
          if (f.status != 0 || !SamePayload(f.bytes, next->ref, nal) ||
              (oracle.StartsBlock(next) && f.time != next->time)) {
            error = "a later frame differs from ffprobe line " + std::to_string(next->ref.line);
          }
        }
        if (!error.empty()) {
          ADD_FAILURE() << where << " (ref line " << want.first->ref.line << "): " << error;
          ++failures;
        }
      }
    }
    qmkvds_close(s);
  }
}

// ffmpeg's recording into a pipe (Segment of unknown size) cut at points inside its last
// Cluster: every block wholly before the cut comes out as ffprobe read it from the whole file,
// the block the cut runs through does not, and every track then ends with the end of the
// stream, not an error.
TEST(ConformanceRules, ACutRecordingGivesEveryWholeBlockThenTheEnd) {
  const char kFile[] = "conformance/h264_pipe_ffmpeg.mkv";
  const int64_t kBlockHeader = 4;  // 1-byte track number, relative time, flags
  const std::vector<uint8_t> whole = ReadDataFile(kFile);
  FfprobeRef ref;
  ASSERT_EQ(LoadRefOf(kFile, &ref), "");
  ASSERT_EQ(ref.streams.size(), 2u);
  const std::vector<RefPacket> video = ref.PacketsOf(0);
  ASSERT_GT(video.size(), 30u);
  auto frame_end = [&](const RefPacket& p) { return p.pos + kBlockHeader + p.size; };
  std::vector<int64_t> cuts = {frame_end(video[video.size() - 5])};  // just after a frame
  for (size_t back : {20u, 9u, 3u, 1u}) {
    const RefPacket& p = video[video.size() - back];
    cuts.push_back(p.pos + kBlockHeader + p.size / 2);
  }
  for (int64_t cut : cuts) {
    SCOPED_TRACE("cut at " + std::to_string(cut) + " of " + std::to_string(whole.size()));
    Plugin plugin(std::vector<uint8_t>(whole.begin(), whole.begin() + cut));
    ASSERT_TRUE(plugin.Open());
    ASSERT_EQ(plugin.CountTracks(), 2u);
    for (int track = 0; track < 2; ++track) {
      std::vector<RefPacket> want;
      for (const RefPacket& p : ref.PacketsOf(track)) {
        if (frame_end(p) <= cut) want.push_back(p);
      }
      std::unique_ptr<PluginTrack> t = plugin.Track(track);
      ASSERT_NE(t, nullptr);
      ASSERT_EQ(t->Start(), AMEDIA_OK);
      std::vector<Packet> got;
      EXPECT_EQ(t->ReadAll(&got), AMEDIA_ERROR_END_OF_STREAM) << "track " << track;
      ASSERT_EQ(got.size(), want.size()) << "track " << track;
      for (size_t i = 0; i < got.size(); ++i) {
        ASSERT_TRUE(SamePayload(got[i].bytes, want[i], track == 0 ? 4 : -1))
            << "track " << track << " packet " << i << " (ffprobe line " << want[i].line << ")";
      }
    }
  }
}

std::string CaseName(const ::testing::TestParamInfo<Case>& info) {
  return FileTestName(info.param.file, true);
}

INSTANTIATE_TEST_SUITE_P(Files, Conformance, ::testing::ValuesIn(kCases), CaseName);
INSTANTIATE_TEST_SUITE_P(Files, PluginSeeks, ::testing::ValuesIn(CasesWith(kSeek)), CaseName);
INSTANTIATE_TEST_SUITE_P(Files, StreamSeeks, ::testing::ValuesIn(CasesWith(kStreamSeek)), CaseName);

}  // namespace
}  // namespace mkvtest
