// The plug-in as the framework meets it: the exported symbols of the shared library, the
// formats the extractor publishes and its streams' closing, all through the C tables.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <string.h>

#include <android-base/properties.h>
#include <host/host_binder.h>

#include "common/qcmn_formatkeys.h"
#include "common/qcmn_fourcc.h"
#include "log_capture.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"
#include "plugin_harness.h"
#include "real_file.h"

namespace android {
extern "C" ExtractorDef GETEXTRACTORDEF();
}  // namespace android

namespace mkvtest {
namespace {

using namespace id;

using Bytes = std::vector<uint8_t>;

Bytes Hex(const char* hex) {
  Bytes out;
  for (size_t i = 0; hex[i] && hex[i + 1]; i += 2) {
    out.push_back(static_cast<uint8_t>(std::stoi(std::string(hex + i, 2), nullptr, 16)));
  }
  return out;
}

// ------------------------------------------------------------------------------------------
// Definition and sniffing

TEST(PluginEntry, SharedLibraryExportsOnlyTheDefinition) {
  void* lib = dlopen(QMKV_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(lib, nullptr) << dlerror();
  EXPECT_NE(dlsym(lib, "GETEXTRACTORDEF"), nullptr);
  EXPECT_EQ(dlsym(lib, "qmkvd_create"), nullptr);
  EXPECT_EQ(dlsym(lib, "memcpy_to_i16_from_u8"), nullptr);
  EXPECT_EQ(dlsym(lib, "_ZN7android5SniffEPNS_11CDataSourceEPfPPvPPFvS4_E"), nullptr);
  using GetDef = android::ExtractorDef (*)();
  GetDef get = reinterpret_cast<GetDef>(dlsym(lib, "GETEXTRACTORDEF"));
  ASSERT_NE(get, nullptr);
  EXPECT_STREQ(get().extractor_name, "QOR MKV Extractor");
  dlclose(lib);
}

// ------------------------------------------------------------------------------------------
// Track formats

// One track's format from a file of Info, these tracks and one Cluster.
struct OneFormat {
  explicit OneFormat(std::vector<Element> tracks, size_t index = 0, std::vector<Element> more = {})
      : plugin(Build(std::move(tracks), std::move(more))) {
    opened = plugin.Open() && plugin.TrackFormat(index, &format) == AMEDIA_OK;
  }
  static Bytes Build(std::vector<Element> tracks, std::vector<Element> more) {
    std::vector<Element> segment = {MinimalInfo(), Tracks(std::move(tracks))};
    for (Element& e : more) segment.push_back(std::move(e));
    segment.push_back(SmallCluster());
    return MkvFile(segment);
  }
  Plugin plugin;
  Format format;
  bool opened = false;
};

Element Pcm(const std::string& codec, uint64_t bits) {
  return AudioTrack(
      1, {Float(kSamplingFrequency, 48000.0), Uint(kChannels, 2), Uint(kBitDepth, bits)}, codec);
}

TEST(PluginFormats, AudioKeysInFull) {
  OneFormat one({AudioTrack(1, {Float(kSamplingFrequency, 44100.0), Uint(kChannels, 6)}, "A_AC3",
                            {String(0x22B59C, "ger"), String(0x536E, "Kommentar")})});
  ASSERT_TRUE(one.opened);
  const Format& f = one.format;
  EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_MIME), "audio/ac3");
  EXPECT_EQ(f.Int32(AMEDIAFORMAT_KEY_FOURCC), 0x2000);
  EXPECT_EQ(f.Int32(AMEDIAFORMAT_KEY_CHANNEL_COUNT), 6);
  EXPECT_EQ(f.Int32(AMEDIAFORMAT_KEY_SAMPLE_RATE), 44100);
  EXPECT_EQ(f.Int32(AMEDIAFORMAT_KEY_BITS_PER_SAMPLE), 16);
  EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_LANGUAGE), "ger");
  EXPECT_EQ(f.Int32(AMEDIAFORMAT_KEY_MAX_INPUT_SIZE), 0x80000);
  EXPECT_EQ(f.Int64(AMEDIAFORMAT_KEY_DURATION), 1000000);
  EXPECT_EQ(f.Int32(AMEDIAFORMAT_KEY_ERROR_TYPE), 0);
  EXPECT_EQ(f.Int32(AMEDIAFORMAT_KEY_ALLOW_FRAME_REORDERING), 1);
  const Bytes name = f.Buffer(AMEDIAFORMAT_KEY_TRACK_NAME);
  EXPECT_EQ(std::string(name.begin(), name.end()), "Kommentar");
  EXPECT_FALSE(f.Has(AMEDIAFORMAT_KEY_CSD_0));
  EXPECT_FALSE(f.Has(AMEDIAFORMAT_KEY_TRACK_FOURCC));
}

TEST(PluginFormats, UnsupportedCodecsAreMarkedNotDropped) {
  OneFormat one(
      {Pcm("A_PCM/INT/LIT", 16), AudioTrack(2, {Float(kSamplingFrequency, 8000.0)}, "A_REAL/COOK"),
       TextTrack(3, "S_VOBSUB")},
      1);
  ASSERT_TRUE(one.opened);
  EXPECT_EQ(one.plugin.CountTracks(), 3u);
  const Format& f = one.format;
  EXPECT_EQ(f.Int32(AMEDIAFORMAT_KEY_ERROR_TYPE), -1002);
  EXPECT_EQ(f.Int32(AMEDIAFORMAT_KEY_ERROR_LOGGABLE), 1);
  EXPECT_TRUE(f.Has(AMEDIAFORMAT_KEY_TRACK_FOURCC));
  EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_MIME), "audio/x-unknown");
  Format text;
  ASSERT_EQ(one.plugin.TrackFormat(2, &text), AMEDIA_OK);
  EXPECT_EQ(text.Int32(AMEDIAFORMAT_KEY_ERROR_TYPE), -1002);
  EXPECT_EQ(text.Int32(AMEDIAFORMAT_KEY_MAX_INPUT_SIZE), 2048);
}

// Xiph lacing of a header length: 255s, then the rest.
Bytes XiphLength(size_t n) {
  Bytes out(n / 255, 255);
  out.push_back(static_cast<uint8_t>(n % 255));
  return out;
}

// Vorbis private data: 02, the identification header's length, the comment header's (Xiph
// laced), then the three headers.
Bytes VorbisPrivate(uint8_t first, uint8_t id_first = 1, size_t comment_size = 7) {
  Bytes id(30, 0x11), comment(comment_size, 0x33), setup(12, 0x55);
  id[0] = id_first;
  comment[0] = 3;
  setup[0] = 5;
  return Concat({{first}, XiphLength(id.size()), XiphLength(comment.size()), id, comment, setup});
}

// Comment headers of 7 bytes, and of 255, 300 and 600 (a full tag set), whose lengths take two
// and three bytes.
TEST(PluginFormats, VorbisHeadersSplitIntoTwoCsd) {
  for (size_t comment : {7, 255, 300, 600}) {
    SCOPED_TRACE(comment);
    OneFormat one({AudioTrack(1, {Float(kSamplingFrequency, 48000.0), Uint(kChannels, 2)},
                              "A_VORBIS", {Binary(kCodecPrivate, VorbisPrivate(2, 1, comment))})});
    ASSERT_TRUE(one.opened);
    const Bytes csd0 = one.format.Buffer(AMEDIAFORMAT_KEY_CSD_0);
    const Bytes csd1 = one.format.Buffer(AMEDIAFORMAT_KEY_CSD_1);
    ASSERT_EQ(csd0.size(), 30u);
    EXPECT_EQ(csd0[0], 1);
    ASSERT_EQ(csd1.size(), 12u);
    EXPECT_EQ(csd1[0], 5);
    EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_ERROR_TYPE), 0);
  }
}

// avcC with one SPS and one PPS.
Bytes AvcC(const Bytes& sps) {
  const Bytes pps = {0x68, 0xEB, 0xC3, 0xCB, 0x22, 0xC0};
  return Concat({{1, sps[1], sps[2], sps[3], 0xFF, 0xE1, 0, static_cast<uint8_t>(sps.size())},
                 sps,
                 {1, 0, static_cast<uint8_t>(pps.size())},
                 pps});
}

Element AvcTrack(const char* sps_hex, uint64_t width, uint64_t height) {
  return VideoTrack(1,
                    {Binary(kCodecPrivate, AvcC(Hex(sps_hex))),
                     Master(0xE0, {Uint(0xB0, width), Uint(0xBA, height)})},
                    "V_MPEG4/ISO/AVC");
}

TEST(PluginFormats, MaxInputSizeFollowsThePicture) {
  // SPS made by x264 for each size.
  struct Case {
    const char* sps;
    uint64_t w, h;
    int32_t max_input;
    int32_t status;
  } cases[] = {
      {"67640028acb200f0044fcb80880000030008000003019078c19240", 1920, 1080, 0x180000, 0},
      {"67640033acb2004380f0d808800000030080000019078c1924", 2160, 3840, 0x600000, 0},
      {"67640033acb200200021f60220000003002000000641e30649", 4096, 2160, 0xF00000, 0},
      {"67640033acb200200024360220000003002000000641e30649", 4096, 2304, 0x180000, -1004},
  };
  for (const Case& c : cases) {
    OneFormat one({AvcTrack(c.sps, c.w, c.h)});
    ASSERT_TRUE(one.opened);
    EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_MAX_INPUT_SIZE), c.max_input) << c.w << "x" << c.h;
    EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_ERROR_TYPE), c.status) << c.w << "x" << c.h;
    EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_WIDTH), static_cast<int32_t>(c.w));
    EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_DISPLAY_HEIGHT), static_cast<int32_t>(c.h));
  }
}

TEST(PluginFormats, AvcCsdSplitsAtThePictureParameterSet) {
  OneFormat one({AvcTrack("67640028acb200f0044fcb80880000030008000003019078c19240", 1920, 1080)});
  ASSERT_TRUE(one.opened);
  EXPECT_EQ(one.format.String(AMEDIAFORMAT_KEY_MIME), "video/avc");
  EXPECT_EQ(one.format.Buffer(AMEDIAFORMAT_KEY_CSD_0),
            Concat({{0, 0, 0, 1}, Hex("67640028acb200f0044fcb80880000030008000003019078c19240")}));
  EXPECT_EQ(one.format.Buffer(AMEDIAFORMAT_KEY_CSD_1),
            Concat({{0, 0, 0, 1}, {0x68, 0xEB, 0xC3, 0xCB, 0x22, 0xC0}}));
}

using namespace id::colour;  // NOLINT: the element IDs read best unqualified here

OneFormat ColourFormat(std::vector<Element> colour) {
  return OneFormat(
      {VideoTrack(1, {Master(0xE0, {Uint(0xB0, 64), Uint(0xBA, 48), Master(kColour, colour)})})});
}

TEST(PluginFormats, PartialColourSetsOnlyWhatItKnows) {
  // Primaries without the matrix: BT.709 primaries, unspecified matrix is its own standard; a
  // Range of 2 is full range; primaries of the mastering display count only all together.
  OneFormat one = ColourFormat({Uint(kPrimaries, 1), Uint(kRange, 2),
                                Master(kMastering, {Float(kRx, 0.64, 4), Float(kRy, 0.33, 4),
                                                    Float(kWx, 0.3127, 4), Float(kWy, 0.329, 4)})});
  ASSERT_TRUE(one.opened);
  EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_COLOR_RANGE), 1);
  EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_COLOR_STANDARD), 65);
  EXPECT_FALSE(one.format.Has(AMEDIAFORMAT_KEY_COLOR_TRANSFER));
  const Bytes hdr = one.format.Buffer(AMEDIAFORMAT_KEY_HDR_STATIC_INFO);
  ASSERT_EQ(hdr.size(), 25u);
  EXPECT_EQ(Bytes(hdr.begin() + 1, hdr.begin() + 13), Bytes(12, 0));
  EXPECT_EQ(hdr[13] | (hdr[14] << 8), 15635);

  // Nothing for HDR at all: no key.
  OneFormat plain = ColourFormat({Uint(kTransfer, 1), Uint(kMaxCll, 70000)});
  ASSERT_TRUE(plain.opened);
  EXPECT_EQ(plain.format.Int32(AMEDIAFORMAT_KEY_COLOR_TRANSFER), 3);
  EXPECT_FALSE(plain.format.Has(AMEDIAFORMAT_KEY_HDR_STATIC_INFO));
}

// ------------------------------------------------------------------------------------------
// File format

TEST(PluginFileFormat, TagsBecomeStringKeys) {
  enum : uint32_t {
    kTags = 0x1254C367,
    kTag = 0x7373,
    kSimple = 0x67C8,
    kName = 0x45A3,
    kString = 0x4487,
    kTitle = 0x7BA9,
    kDate = 0x4461
  };
  auto simple = [](const char* name, const char* value) {
    return Master(kSimple, {String(kName, name), String(kString, value)});
  };
  Element info = Info({Uint(0x2AD7B1, 1000000), Float(0x4489, 1000.0, 8),
                       String(kTitle, "Der Titel"), Int(kDate, 31536000000000000LL * 22)});
  Element tags = Master(kTags, {Master(kTag, {simple("ARTIST", "Die Band"), simple("ALBUM", "LP"),
                                              simple("GENRE", "Jazz"), simple("TITLE", "ignored"),
                                              simple("COMPOSER", "K"), simple("WRITTEN_BY", "W"),
                                              simple("DATE_RELEASE", "2020")})});
  Plugin p(MkvFile({info, Tracks({Pcm("A_PCM/INT/LIT", 16)}), tags, SmallCluster()}));
  ASSERT_TRUE(p.Open());
  Format f;
  ASSERT_EQ(p.FileFormat(&f), AMEDIA_OK);
  EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_MIME), "audio/x-matroska");
  EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_TITLE), "Der Titel");
  EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_ARTIST), "Die Band");
  EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_ALBUM), "LP");
  EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_GENRE), "Jazz");
  EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_COMPOSER), "K");
  EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_WRITER), "W");
  EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_DATE), "20221227T000000.000Z");  // DateUTC
  EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_YEAR), "2020");                  // DATE_RELEASE
  EXPECT_FALSE(f.Has(AMEDIAFORMAT_KEY_CDTRACKNUMBER));
  EXPECT_FALSE(f.Has(AMEDIAFORMAT_KEY_ALBUMARTIST));
  EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_CHAR_ENCODING_TYPES),
            std::string("album=3:artist=3:composer=3:date=3:genre=3:title=3:") +
                AMEDIAFORMAT_KEY_WRITER + "=3:");
}

// The framework's whole round (a source per track, read to its end, freed; then the extractor)
// closes every stream handle exactly once: a second close would log "already closed".
TEST(PluginExtractor, EveryStreamIsClosedOnce) {
  LogCapture log;
  {
    Plugin p(ReadDataFile("sample.mkv"));
    ASSERT_TRUE(p.Open());
    for (size_t i = 0; i < p.CountTracks(); ++i) {
      std::unique_ptr<PluginTrack> t = p.Track(i);
      ASSERT_NE(t, nullptr);
      ASSERT_EQ(t->Start(), AMEDIA_OK);
      EXPECT_EQ(t->ReadAll(nullptr), AMEDIA_ERROR_END_OF_STREAM);
      EXPECT_EQ(t->Stop(), AMEDIA_OK);
    }
    p.Close();
  }
  EXPECT_EQ(log.Dump().find("already closed"), std::string::npos) << log.Dump();
}

// A range is published only where the file states one (1 limited, 2 full): an absent Range,
// 0 (unspecified) and 3 (derived from the matrix and transfer) leave the key out, so an
// ordinary limited-range file is never shown as full range.
TEST(PluginFormats, ColourRangeOnlyWhereTheFileStatesIt) {
  const struct {
    int64_t range;      // -1: no Range element
    int32_t published;  // INT32_MIN: no key
  } rows[] = {{-1, INT32_MIN}, {0, INT32_MIN}, {3, INT32_MIN}, {1, 2}, {2, 1}};
  for (const auto& row : rows) {
    std::vector<Element> colour = {Uint(kMatrix, 1), Uint(kPrimaries, 1), Uint(kTransfer, 1)};
    if (row.range >= 0) colour.push_back(Uint(kRange, static_cast<uint64_t>(row.range)));
    OneFormat one = ColourFormat(colour);
    ASSERT_TRUE(one.opened);
    EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_COLOR_RANGE), row.published) << row.range;
    EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_COLOR_STANDARD), 1) << row.range;
  }
}

TEST(PluginFormats, MalformedVorbisHeadersGiveNoCsd) {
  // Lengths that run past the block: a run of 255s to its end, headers longer than it.
  const Bytes bad[] = {VorbisPrivate(3), VorbisPrivate(2, 4), Bytes{2, 1},
                       Bytes{2, 255, 255, 255, 255}, Bytes{2, 30, 200, 1, 3, 5}};
  const char* messages[] = {"buf[0] != 0x02", "vorbis csd is malformed", "buf[0] != 0x02",
                            "vorbis csd is malformed", "vorbis csd is malformed"};
  for (size_t i = 0; i < 5; ++i) {
    LogCapture log;
    OneFormat one({AudioTrack(1, {Float(kSamplingFrequency, 48000.0), Uint(kChannels, 2)},
                              "A_VORBIS", {Binary(kCodecPrivate, bad[i])})});
    ASSERT_TRUE(one.opened);
    EXPECT_FALSE(one.format.Has(AMEDIAFORMAT_KEY_CSD_0)) << i;
    EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_ERROR_TYPE), -1003) << i;
    EXPECT_TRUE(log.Has(3, "QMKVExtractorSO", messages[i])) << i << log.Dump();
  }
}

}  // namespace
}  // namespace mkvtest
