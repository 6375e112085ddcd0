// Format keys, codec-code to MIME mapping, codec capabilities and the AAC configuration parser.
#include <gtest/gtest.h>
#include <media/stagefright/MediaDefs.h>
#include <string.h>

#include <set>
#include <string>

#include "common/qcmn_codecs.h"
#include "common/qcmn_formatkeys.h"
#include "common/qcmn_fourcc.h"
#include "common/qcmn_mimetypes.h"
#include "common/qcmn_mmspec.h"
#include "common/qcmn_mt.h"

namespace {

TEST(FormatKeys, DistinctNamespacedAndTyped) {
  const char* const named[] = {
      AMEDIAFORMAT_KEY_FOURCC,
      AMEDIAFORMAT_KEY_TRACK_FOURCC,
      AMEDIAFORMAT_KEY_IS_MP4_DP,
      AMEDIAFORMAT_KEY_ERROR_TYPE,
      AMEDIAFORMAT_KEY_ERROR_LOGGABLE,
      AMEDIAFORMAT_KEY_TRACK_NAME,
      AMEDIAFORMAT_KEY_CHAR_ENCODING_TYPES,
      AMEDIAFORMAT_KEY_I_FRAME_AVG_INTERVAL,
      AMEDIAFORMAT_KEY_ALLOW_FRAME_REORDERING,
      AMEDIAFORMAT_KEY_WRITER,
  };
  std::set<std::string> seen;
  for (const char* key : named) {
    ASSERT_NE(key, nullptr);
    // Framework keys are bare words ("mime", "durationUs"); ours must never be one of them.
    EXPECT_EQ(strncmp(key, "vendor.qmkv.", 12), 0) << key;
    EXPECT_GT(strlen(key), 12u) << key;
    EXPECT_TRUE(seen.insert(key).second) << "duplicate " << key;
  }
  // The type table lists exactly these keys, once each.
  ASSERT_EQ(QCMN_FORMAT_KEY_COUNT, seen.size());
  std::set<std::string> typed;
  for (size_t i = 0; i < QCMN_FORMAT_KEY_COUNT; ++i) {
    typed.insert(*QCMN_FORMAT_KEYS[i].key);
  }
  EXPECT_EQ(typed, seen);
  auto type_of = [](const char* key) {
    for (size_t i = 0; i < QCMN_FORMAT_KEY_COUNT; ++i) {
      if (*QCMN_FORMAT_KEYS[i].key == key) return QCMN_FORMAT_KEYS[i].type;
    }
    ADD_FAILURE() << "untyped " << key;
    return QcmnKeyType::kInt32;
  };
  // The three that are not plain integers decide how the front end must set them.
  EXPECT_EQ(type_of(AMEDIAFORMAT_KEY_TRACK_NAME), QcmnKeyType::kBuffer);
  EXPECT_EQ(type_of(AMEDIAFORMAT_KEY_I_FRAME_AVG_INTERVAL), QcmnKeyType::kInt64);
  EXPECT_EQ(type_of(AMEDIAFORMAT_KEY_WRITER), QcmnKeyType::kString);
}

TEST(FourCC2MIME, SampleAgainstFrameworkStrings) {
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("avc1")), "video/avc");
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("X264")), "video/avc");
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("hev1")), "video/hevc");
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("VP90")), "video/x-vnd.on2.vp9");
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("av01")), "video/av01");
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("XVID")), "video/mp4v-es");
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("MP43")), "video/divx3");
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("s263")), "video/3gpp");
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("mpg2")), "video/mpeg2");
  EXPECT_STREQ(FourCC2MIME(0xFF), "audio/mp4a-latm");
  EXPECT_STREQ(FourCC2MIME(0x55), "audio/mpeg");
  EXPECT_STREQ(FourCC2MIME(0x50), "audio/mpeg-L2");
  EXPECT_STREQ(FourCC2MIME(0x2674F), "audio/vorbis");
  EXPECT_STREQ(FourCC2MIME(0x92), "audio/ac3");
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("ec-3")), "audio/eac3");
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("Opus")), "audio/opus");
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("lpcm")), "audio/raw");
  EXPECT_STREQ(FourCC2MIME(0x11), "audio/x-adpcm-dvi-ima");
  EXPECT_STREQ(FourCC2MIME(0x161), "audio/x-ms-wma");
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("SSRT")), "application/x-subrip");
  // Same strings as the framework's variables, whatever pointer they come from.
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("AVC1")), android::MEDIA_MIMETYPE_VIDEO_AVC);
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("alac")), android::MEDIA_MIMETYPE_AUDIO_ALAC);
  // Types the framework has no constant for get ours, and they are told apart.
  EXPECT_STREQ(FourCC2MIME(0x2001), QCMN_MIMETYPE_AUDIO_DTS);
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("SASS")), QCMN_MIMETYPE_TEXT_ASS);
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("SSSA")), QCMN_MIMETYPE_TEXT_SSA);
  EXPECT_STRNE(QCMN_MIMETYPE_TEXT_ASS, QCMN_MIMETYPE_TEXT_SSA);
}

TEST(FourCC2MIME, EverySupportedCodeHasAKindMatchingType) {
  struct Kind {
    const uint32_t* codes;
    size_t count;
    const char* prefix;
  };
  const Kind kinds[] = {
      {QCMN_AUDIO_CODES, QCMN_AUDIO_CODE_COUNT, "audio/"},
      {QCMN_VIDEO_CODES, QCMN_VIDEO_CODE_COUNT, "video/"},
      {QCMN_SUBTITLE_CODES, QCMN_SUBTITLE_CODE_COUNT, ""},
  };
  EXPECT_EQ(QCMN_AUDIO_CODE_COUNT, 19u);
  EXPECT_EQ(QCMN_VIDEO_CODE_COUNT, 24u);
  EXPECT_EQ(QCMN_SUBTITLE_CODE_COUNT, 3u);
  for (const Kind& k : kinds) {
    for (size_t i = 0; i < k.count; ++i) {
      const char* mime = FourCC2MIME(k.codes[i]);
      ASSERT_NE(mime, nullptr);
      EXPECT_STRCASENE(mime, QCMN_MIMETYPE_UNKNOWN) << std::hex << k.codes[i];
      EXPECT_STRCASENE(mime, QCMN_MIMETYPE_AUDIO_UNKNOWN) << std::hex << k.codes[i];
      EXPECT_STRCASENE(mime, QCMN_MIMETYPE_VIDEO_UNKNOWN) << std::hex << k.codes[i];
      EXPECT_EQ(strncmp(mime, k.prefix, strlen(k.prefix)), 0) << mime;
    }
  }
  EXPECT_TRUE(qcmn_is_audio_code(qcmn_fourcc("mp4a")));
  EXPECT_FALSE(qcmn_is_audio_code(qcmn_fourcc("avc1")));
  EXPECT_TRUE(qcmn_is_video_code(qcmn_fourcc("avc1")));
  EXPECT_FALSE(qcmn_is_video_code(qcmn_fourcc("MPG1")));
  EXPECT_TRUE(qcmn_is_subtitle_code(qcmn_fourcc("SSRT")));
  EXPECT_FALSE(qcmn_is_subtitle_code(0));
}

TEST(FourCC2MIME, UnknownCodesGiveTheUnknownType) {
  // Codes the demuxer makes for CodecIDs we have no decoder type for, and nonsense.
  const uint32_t codes[] = {
      0,
      0xFFFFFFFF,
      qcmn_fourcc("THEO"),
      qcmn_fourcc("MPG1"),
      qcmn_fourcc("RV40"),
      qcmn_fourcc("*XYZ"),
      qcmn_fourcc("#XYZ"),
      QCMN_TAG_TTA,
      QCMN_TAG_WAVPACK,
      qcmn_fourcc("AVC2"),
      qcmn_fourcc_bytes('a', 'v', 'c', 0),  // three characters and a zero byte
      0xFE,
      0x100};
  for (uint32_t code : codes) {
    EXPECT_STREQ(FourCC2MIME(code), QCMN_MIMETYPE_UNKNOWN) << std::hex << code;
  }
  // Case matters in codes: only the spellings we list are known.
  EXPECT_STREQ(FourCC2MIME(qcmn_fourcc("Avc1")), QCMN_MIMETYPE_UNKNOWN);
}

// Limits as the front end reads them: a preset record the call overwrites.
QVID_MM_LIMITS LimitsOf(uint32_t code, int32_t* result) {
  QVID_MM_LIMITS l = {1, 2, 3, 4};
  *result = qvid_get_mm_spec(QVID_MM_QUERY_LIMITS, code, &l);
  return l;
}

TEST(MmSpec, SupportFollowsThePublishedVideoCodes) {
  for (size_t i = 0; i < QCMN_VIDEO_CODE_COUNT; ++i) {
    QVID_MM_SUPPORT s = {0};
    EXPECT_EQ(qvid_get_mm_spec(QVID_MM_QUERY_SUPPORT, QCMN_VIDEO_CODES[i], &s), QVID_MM_OK);
    EXPECT_EQ(s.supported, 1u) << std::hex << QCMN_VIDEO_CODES[i];
  }
  // Audio, subtitles, video we do not publish: refused, and a stale answer is cleared.
  for (uint32_t code : {0xFFu, qcmn_fourcc("SSRT"), qcmn_fourcc("THEO"), qcmn_fourcc("MPG1"),
                        qcmn_fourcc("Avc1"), 0u}) {
    QVID_MM_SUPPORT s = {7};
    EXPECT_EQ(qvid_get_mm_spec(QVID_MM_QUERY_SUPPORT, code, &s), QVID_MM_ERR_UNSUPPORTED);
    EXPECT_EQ(s.supported, 0u);
  }
}

TEST(MmSpec, LimitsFourKForModernCodecsFullHdOtherwise) {
  int32_t r = 1;
  for (const char* c : {"avc1", "H264", "hev1", "hvc1", "VP90", "av01"}) {
    char cc[5] = {c[0], c[1], c[2], c[3], 0};
    QVID_MM_LIMITS l = LimitsOf(qcmn_fourcc(cc), &r);
    EXPECT_EQ(r, QVID_MM_OK) << c;
    EXPECT_EQ(l.landscape_width, 4096u) << c;
    EXPECT_EQ(l.landscape_height, 2176u) << c;
    EXPECT_EQ(l.portrait_width, 2176u) << c;
    EXPECT_EQ(l.portrait_height, 4096u) << c;
  }
  for (const char* c : {"MP4V", "xvid", "VP80", "MP43", "h263", "mpg2"}) {
    char cc[5] = {c[0], c[1], c[2], c[3], 0};
    QVID_MM_LIMITS l = LimitsOf(qcmn_fourcc(cc), &r);
    EXPECT_EQ(r, QVID_MM_OK) << c;
    EXPECT_EQ(l.landscape_width, 1920u) << c;
    EXPECT_EQ(l.landscape_height, 1088u) << c;
    EXPECT_EQ(l.portrait_width, 1088u) << c;
    EXPECT_EQ(l.portrait_height, 1920u) << c;
  }
  // Every published code has limits that hold at least full HD in both orientations.
  for (size_t i = 0; i < QCMN_VIDEO_CODE_COUNT; ++i) {
    QVID_MM_LIMITS l = LimitsOf(QCMN_VIDEO_CODES[i], &r);
    EXPECT_EQ(r, QVID_MM_OK);
    EXPECT_GE(l.landscape_width, 1920u);
    EXPECT_EQ(l.portrait_width, l.landscape_height);
    EXPECT_EQ(l.portrait_height, l.landscape_width);
  }
  // No limits for what is not supported: the caller's preset stays.
  QVID_MM_LIMITS l = LimitsOf(qcmn_fourcc("THEO"), &r);
  EXPECT_EQ(r, QVID_MM_ERR_UNSUPPORTED);
  EXPECT_EQ(l.landscape_width, 1u);
  EXPECT_EQ(l.portrait_height, 4u);
}

TEST(MmSpec, BadQueriesAndNullAnswers) {
  QVID_MM_LIMITS l = {1, 2, 3, 4};
  for (int32_t q : {0, 99, 102, -100, -1}) {
    EXPECT_EQ(qvid_get_mm_spec(q, qcmn_fourcc("avc1"), &l), QVID_MM_ERR_UNKNOWN_QUERY) << q;
  }
  EXPECT_EQ(l.landscape_width, 1u);
  EXPECT_EQ(qvid_get_mm_spec(QVID_MM_QUERY_SUPPORT, qcmn_fourcc("avc1"), nullptr),
            QVID_MM_ERR_NULL_ANSWER);
  EXPECT_EQ(qvid_get_mm_spec(QVID_MM_QUERY_LIMITS, qcmn_fourcc("avc1"), nullptr),
            QVID_MM_ERR_NULL_ANSWER);
  // Distinct from "unsupported", which the front end treats specially.
  EXPECT_NE(QVID_MM_ERR_NULL_ANSWER, QVID_MM_ERR_UNSUPPORTED);
  EXPECT_NE(QVID_MM_ERR_UNKNOWN_QUERY, QVID_MM_ERR_UNSUPPORTED);
}

}  // namespace
