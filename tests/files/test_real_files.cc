// The real files, end to end through the plug-in's C tables as the media framework drives them,
// against ffprobe's view of each (the conformance corpus under tests/data/conformance, made by
// tests/data/make_conformance.sh, and the older real files with their references).
//
// Per track: the MIME type, picture size, sample rate, channel count and language of its format.
// Then every track is read to its end, the tracks in turn as a player reads them, and:
//   - the payload bytes equal ffprobe's, after the transformations the extractor makes on
//     purpose (the rules below);
//   - every packet boundary of ours falls on one of ffprobe's, and a packet that holds several of
//     ffprobe's holds the frames of one laced block;
//   - a packet that is exactly one of ffprobe's has its time and sync flag.
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
#include "ffprobe_ref.h"
#include "log_capture.h"
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

struct Case {
  const char* file;  // under tests/data
};

const Case kCases[] = {
    {"conformance/h264_aac_mkvmerge.mkv"},
    {"conformance/h264_nolacing_mkvmerge.mkv"},
    {"conformance/propedit_chain_mkvmerge.mkv"},
    {"conformance/h264_ffmpeg.mkv"},
    {"conformance/h264_pipe_ffmpeg.mkv"},
    {"conformance/hevc_hdr_mkvmerge.mkv"},
    {"conformance/vp8_vorbis_ffmpeg.mkv"},
    {"conformance/vp9_flac_mkvmerge.mkv"},
    {"conformance/av1_opus_mkvmerge.mkv"},
    {"conformance/mpeg4_mp2_mkvmerge.mkv"},
    {"conformance/mpeg2_ac3_ffmpeg.mkv"},
    {"conformance/mpeg1_mp2_ffmpeg.mkv"},
    {"conformance/h263_pcm_ffmpeg.mkv"},
    {"conformance/mjpeg_mp3_ffmpeg.mkv"},
    {"conformance/pcm_ffmpeg.mka"},
    {"conformance/pcm_mkvmerge.mka"},
    {"conformance/cover_art_mkvmerge.mka"},
    {"conformance/unknown_clusters_ffmpeg.mkv"},
    {"conformance/gst_h264_mp3_matroskamux.mkv"},
    {"conformance/gst_live_h264_opus_matroskamux.mkv"},
    {"conformance/gst_vp8_vorbis_matroskamux.mkv"},
    {"conformance/zlib_mkvmerge.mkv"},
    {"conformance/hevc_hdr_ffmpeg.mkv"},
    {"conformance/av1_nocues_mkvmerge.mkv"},
    {"conformance/mpeg2_nocues_mkvmerge.mkv"},
    {"conformance/h264_opengop_mkvmerge.mkv"},
    {"conformance/laced_audio_mkvmerge.mka"},
    {"conformance/laced_audio_nodd_mkvmerge.mka"},
    {"conformance/delayed_audio_mkvmerge.mkv"},
    {"conformance/delayed_audio_nocues_mkvmerge.mkv"},
    {"conformance/vfw_mpeg4_mkvmerge.mkv"},
    {"conformance/vfw_mpeg4_stripped_mkvmerge.mkv"},
    {"corpus/hdrstrip.mkv"},
    {"corpus/nal2.mkv"},
    {"corpus/avc_ffmpeg.mkv"},
    {"corpus/hevc_mkvmerge.mkv"},
    {"corpus/fixed_lacing.mkv"},
    {"corpus/blockgroups.mkv"},
    {"corpus/vp9_remux.mkv"},
    {"corpus/seek_ffmpeg.mkv"},
    {"corpus/seek_cues.mkv"},
    {"corpus/seek_nocues.mkv"},
    {"corpus/seek_audio.mka"},
    {"sample.mkv"},
};

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

// ffprobe reads the WebM file; the extractor leaves it to the framework's WebM extractor.
TEST(ConformanceRules, WebmIsNotClaimed) {
  FfprobeRef ref;
  ASSERT_EQ(LoadRefOf("conformance/vp9_opus.webm", &ref), "");
  EXPECT_FALSE(ref.packets.empty());
  float confidence = 0;
  EXPECT_EQ(Plugin(ReadDataFile("conformance/vp9_opus.webm")).Sniff(&confidence), nullptr);
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

std::string CaseName(const ::testing::TestParamInfo<Case>& info) {
  return FileTestName(info.param.file, true);
}

INSTANTIATE_TEST_SUITE_P(Files, Conformance, ::testing::ValuesIn(kCases), CaseName);

}  // namespace
}  // namespace mkvtest
