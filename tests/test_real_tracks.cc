// The track model over real files from ffmpeg and mkvmerge (tests/data/corpus, made by
// make_corpus.sh): tracks, tags, and the presence of chapters and attachments. Every expected
// value below is copied from the file's mkvinfo listing in tests/data/corpus/ref/NAME.mkvinfo.txt;
// where mkvinfo shows no line for an element, the file does not have it.
#include <gtest/gtest.h>

#include <stdint.h>
#include <string.h>

#include <string>
#include <vector>

#include "demux_harness.h"
#include "real_file.h"

namespace mkvtest {
namespace {

enum : uint8_t { kVideo = 1, kAudio = 2, kText = 17 };

// Channels and SamplingFrequency that the file leaves out are not checked: the model keeps
// what the file says, and what an absent one should read as is decided above it.
const uint32_t kAbsent = UINT32_MAX;

struct TrackWant {
  uint32_t number;
  uint8_t type;
  const char* codec_id;
  const char* language;           // "eng" where the file has no Language: that is its default
  const char* name;               // "" where the file has none
  uint32_t default_duration;      // ns, 0 where absent
  uint32_t width, height;         // video
  uint32_t rate, channels;        // audio; kAbsent where the file has none
  uint32_t bit_depth;             // audio, 0 where absent
  std::vector<uint8_t> stripped;  // header-stripping settings, empty where not stripped
};

struct TagWant {
  const char* name;
  const char* value;
  // "" where the SimpleTag has no TagLanguage. mkvmerge writes only the BCP 47 form ("Tag
  // language (IETF BCP 47)" in mkvinfo) unless given a language, and the model keeps only
  // TagLanguage.
  const char* language;
};

struct FileWant {
  const char* file;
  const char* title;
  std::vector<TrackWant> tracks;
  std::vector<TagWant> tags;  // every SimpleTag, in file order
  bool chapters;
  bool attachments;
};

std::vector<uint8_t> ReadCorpus(const std::string& name) {
  return ReadDataFile("corpus/" + name);
}

void CheckFile(const FileWant& want) {
  SCOPED_TRACE(want.file);
  std::vector<uint8_t> bytes = ReadCorpus(want.file);
  ASSERT_GT(bytes.size(), 1000u);
  Created c(bytes);
  ASSERT_EQ(c.err(), 0);
  QMKVD_CTX* ctx = c.ctx();
  EXPECT_STREQ(ctx->info.title, want.title);

  ASSERT_EQ(c.info().stream_count, want.tracks.size());
  ASSERT_EQ(ctx->stream_count, static_cast<int32_t>(want.tracks.size()));
  for (size_t i = 0; i < want.tracks.size(); ++i) {
    const TrackWant& w = want.tracks[i];
    const QMKVD_TRACK& t = ctx->streams[i].track;
    SCOPED_TRACE("track " + std::to_string(w.number));
    EXPECT_EQ(t.number, w.number);
    EXPECT_EQ(t.type, w.type);
    EXPECT_STREQ(t.codec_id, w.codec_id);
    EXPECT_STREQ(t.language, w.language);
    EXPECT_STREQ(t.name, w.name);
    EXPECT_EQ(t.default_duration, w.default_duration);
    if (w.type == kVideo) {
      EXPECT_EQ(t.video.pixel_width, w.width);
      EXPECT_EQ(t.video.pixel_height, w.height);
    }
    if (w.type == kAudio) {
      if (w.rate != kAbsent) {
        EXPECT_EQ(t.audio.sampling_frequency, w.rate);
      }
      if (w.channels != kAbsent) {
        EXPECT_EQ(t.audio.channels, w.channels);
      }
      EXPECT_EQ(t.audio.bit_depth, w.bit_depth);
    }
    if (w.stripped.empty()) {
      EXPECT_EQ(t.encodings.count, 0u);
      EXPECT_EQ(t.encodings.first.compression.settings_size, 0u);
    } else {
      EXPECT_EQ(t.encodings.count, 1u);
      EXPECT_EQ(t.encodings.first.compression.algo, 3u);
      ASSERT_EQ(t.encodings.first.compression.settings_size, w.stripped.size());
      ASSERT_NE(t.encodings.first.compression.settings, nullptr);
      EXPECT_EQ(std::vector<uint8_t>(t.encodings.first.compression.settings,
                                     t.encodings.first.compression.settings + w.stripped.size()),
                w.stripped);
    }
  }

  const QMKVD_TAGS& tags = ctx->tags;
  ASSERT_EQ(tags.count, want.tags.size());
  for (size_t i = 0; i < want.tags.size(); ++i) {
    SCOPED_TRACE("simple tag " + std::to_string(i));
    EXPECT_STREQ(tags.entries[i].name, want.tags[i].name);
    EXPECT_STREQ(tags.entries[i].value, want.tags[i].value);
    EXPECT_STREQ(tags.entries[i].language, want.tags[i].language);
  }

  EXPECT_EQ(ctx->found.chapters, want.chapters ? 1 : 0);
  EXPECT_EQ(ctx->found.attachments, want.attachments ? 1 : 0);
  if (want.chapters) {
    EXPECT_GT(ctx->chapters.size, 0u);
  }
  if (want.attachments) {
    EXPECT_GT(ctx->attachments.size, 0u);
  }
}

// corpus/ref/avc_ffmpeg.mkvinfo.txt. ffmpeg writes "und" for a stream without a language, and
// puts stream metadata other than title and language into tags aimed at the track's UID.
TEST(RealTracks, FfmpegFileWithFourTracks) {
  CheckFile(
      {"avc_ffmpeg.mkv",
       "AVC corpus clip",
       {
           {1, kVideo, "V_MPEG4/ISO/AVC", "und", "Test pattern", 40000000, 160, 120, 0, 0, 0, {}},
           {2, kAudio, "A_AAC", "eng", "Main audio", 0, 0, 0, 48000, 2, 32, {}},
           {3, kAudio, "A_OPUS", "ger", "Kommentar", 0, 0, 0, 48000, 2, 32, {}},
           {4, kText, "S_TEXT/UTF8", "fre", "Sous-titres", 0, 0, 0, 0, 0, 0, {}},
       },
       {
           {"ARTIST", "Corpus Artist", ""},
           {"COMMENT", "Made by make_corpus.sh", ""},
           {"DURATION", "00:00:02.021000000", ""},  // track UID 1
           {"COMMENT", "Sine at 440 Hz", ""},       // track UID 2
           {"DURATION", "00:00:02.021000000", ""},
           {"DURATION", "00:00:02.022000000", ""},  // track UID 3
           {"ENCODER", "Lavc srt", ""},             // track UID 4
           {"DURATION", "00:00:01.521000000", ""},
       },
       /*chapters=*/true,
       /*attachments=*/true});
}

// corpus/ref/hevc_mkvmerge.mkvinfo.txt. mkvmerge leaves out the Language of an English track
// (the FLAC one) since English is the default, and writes Channels only when it is not 1.
TEST(RealTracks, MkvmergeFileWithFourTracks) {
  CheckFile({"hevc_mkvmerge.mkv",
             "HEVC corpus clip",
             {
                 {1, kVideo, "V_MPEGH/ISO/HEVC", "und", "Pattern", 40000000, 160, 120, 0, 0, 0, {}},
                 {2, kAudio, "A_VORBIS", "jpn", "Vorbis bursts", 0, 0, 0, 22050, kAbsent, 0, {}},
                 {3, kAudio, "A_FLAC", "eng", "Lossless", 52244897, 0, 0, 22050, kAbsent, 16, {}},
                 {4, kText, "S_TEXT/UTF8", "spa", "Subt\xC3\xADtulos", 0, 0, 0, 0, 0, 0, {}},
             },
             {
                 {"ARTIST", "Corpus Artist", ""},
                 {"DATE_RELEASED", "2024", ""},
                 {"COMMENT", "Kommentar", "ger"},
                 {"TITLE", "Bursts", ""},  // track UID 17014552896584260975 (the Vorbis track)
             },
             /*chapters=*/true,
             /*attachments=*/true});
}

// Opus tracks: "Codec-inherent delay" and "Seek pre-roll" lines of avc_ffmpeg and vp9_remux.
TEST(RealTracks, OpusDelayAndPreRoll) {
  for (const char* file : {"avc_ffmpeg.mkv", "vp9_remux.mkv"}) {
    Created c(ReadCorpus(file));
    ASSERT_EQ(c.err(), 0) << file;
    int index = std::string(file) == "avc_ffmpeg.mkv" ? 2 : 1;
    const QMKVD_TRACK& t = c.ctx()->streams[index].track;
    EXPECT_STREQ(t.codec_id, "A_OPUS") << file;
    EXPECT_EQ(t.codec_delay, 6500000u) << file;
    EXPECT_EQ(t.seek_pre_roll, 80000000u) << file;
  }
}

// corpus/ref/vp9_remux.mkvinfo.txt: an ffmpeg file remuxed by mkvmerge, which kept ffmpeg's
// track UIDs 1 and 2, its tags and chapter, and set new languages ("nld" is written as "dut").
TEST(RealTracks, FfmpegFileRemuxedByMkvmerge) {
  CheckFile({"vp9_remux.mkv",
             "VP9 corpus clip",
             {
                 {1, kVideo, "V_VP9", "dut", "VP9 pattern", 40000000, 160, 120, 0, 0, 0, {}},
                 {2, kAudio, "A_OPUS", "ita", "Opus track", 0, 0, 0, 48000, 2, 32, {}},
                 {3, kAudio, "A_AAC", "por", "AAC stereo", 21333333, 0, 0, 48000, 2, 0, {}},
                 {4, kAudio, "A_MPEG/L3", "pol", "", 24000000, 0, 0, 48000, 2, 0, {}},
             },
             {
                 {"GENRE", "Test", ""},
                 {"ENCODER", "Lavc libvpx-vp9", ""},  // track UID 1
                 {"ENCODER_NOTE", "ffmpeg made", ""},
                 {"DURATION", "00:00:02.007000000", ""},
                 {"ENCODER", "Lavc libopus", ""},  // track UID 2
                 {"DURATION", "00:00:02.008000000", ""},
                 {"PERFORMER", "Sine generator", ""},  // track UID 9084335753078660377
             },
             /*chapters=*/true,
             /*attachments=*/true});
}

// corpus/ref/hdrstrip.mkvinfo.txt: both tracks header-stripped (ContentCompAlgo 3).
TEST(RealTracks, HeaderStrippedTracks) {
  // clang-format off
  CheckFile({"hdrstrip.mkv", "",
             {{1, kVideo, "V_MPEG4/ISO/ASP", "und", "MPEG-4 video", 40000000, 160, 120, 0, 0, 0,
               {0x00, 0x00, 0x01}},
              {2, kAudio, "A_AC3", "dan", "AC-3 stripped", 32000000, 0, 0, 48000, 2, 0,
               {0x0B, 0x77}}},
             {}, /*chapters=*/false, /*attachments=*/false});
  // clang-format on
}

// corpus/ref/fixed_lacing.mkvinfo.txt: the two English tracks have no Language element; the
// PCM track has neither SamplingFrequency nor Channels.
TEST(RealTracks, AudioOnlyFileWithImplicitEnglish) {
  CheckFile({"fixed_lacing.mkv",
             "",
             {
                 {1, kAudio, "A_AC3", "eng", "", 32000000, 0, 0, 48000, 2, 0, {}},
                 {2, kAudio, "A_EAC3", "eng", "", 32000000, 0, 0, 48000, 2, 0, {}},
                 {3, kAudio, "A_MPEG/L2", "swe", "", 36000000, 0, 0, 32000, kAbsent, 0, {}},
                 {4, kAudio, "A_PCM/INT/LIT", "fin", "", 40000000, 0, 0, kAbsent, kAbsent, 16, {}},
             },
             {},
             /*chapters=*/false,
             /*attachments=*/false});
  // TimestampScale 20832 (mkvmerge's choice for audio-only files).
  Created c(ReadCorpus("fixed_lacing.mkv"));
  ASSERT_EQ(c.err(), 0);
  EXPECT_EQ(c.ctx()->info.timecode_scale, 20832u);
}

}  // namespace
}  // namespace mkvtest
