// The plug-in as the framework meets it: the definition, sniffing, the exported symbols of the
// shared library, and the formats the extractor publishes, all through the C tables.
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
#include "plugin_peer.h"
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

Bytes Concat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

// The sniffer reads 128 bytes: smaller test files are claimed only with some padding (a Void
// element at the end of the Segment).
Bytes Padded(std::vector<Element> segment) {
  segment.push_back(Binary(0xEC, Bytes(128, 0)));
  return MkvFile(std::move(segment));
}

Bytes SmallFile() {
  return Padded({MinimalInfo(), OneTrack(), SmallCluster()});
}

// ------------------------------------------------------------------------------------------
// Definition and sniffing

TEST(PluginEntry, DefinitionNamesTheExtractor) {
  const android::ExtractorDef def = android::GETEXTRACTORDEF();
  EXPECT_EQ(def.def_version, 3u);
  const uint8_t uuid[16] = {0xf2, 0x23, 0xcc, 0x60, 0x82, 0xb3, 0x11, 0xe9,
                            0xb4, 0x75, 0x08, 0x00, 0x20, 0x0c, 0x9a, 0x66};
  EXPECT_EQ(memcmp(def.extractor_uuid.b, uuid, 16), 0);
  EXPECT_EQ(def.extractor_version, 1u);
  EXPECT_STREQ(def.extractor_name, "QOR MKV Extractor");
  ASSERT_NE(def.u.v3.supported_types, nullptr);
  EXPECT_STREQ(def.u.v3.supported_types[0], "mkv");
  EXPECT_STREQ(def.u.v3.supported_types[1], "mka");
  EXPECT_EQ(def.u.v3.supported_types[2], nullptr);
}

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

// 128 bytes of filler with the DocType element written at `at`.
Bytes WithDocTypeAt(size_t at, const Bytes& element, size_t size = 128) {
  Bytes file(size, 0xEC);
  for (size_t i = 0; i < element.size() && at + i < size; ++i) file[at + i] = element[i];
  return file;
}

const Bytes kMatroskaDocType = {0x42, 0x82, 0x88, 'm', 'a', 't', 'r', 'o', 's', 'k', 'a'};

TEST(PluginSniff, ClaimsMatroskaWithSevenTenths) {
  Plugin p(SmallFile());
  float confidence = 0;
  EXPECT_NE(p.Sniff(&confidence), nullptr);
  uint32_t bits = 0;
  memcpy(&bits, &confidence, 4);
  EXPECT_EQ(bits, 0x3F333333u);
}

// "matroska" padded with NULs (GStreamer writes one) is claimed; webm, other padding and size
// fields wider than a byte are not.
TEST(PluginSniff, MatroskaDocTypesAreClaimedPaddedOrNot) {
  const Bytes m = {'m', 'a', 't', 'r', 'o', 's', 'k', 'a'};
  const struct {
    Bytes element;
    bool claimed;
  } rows[] = {
      {Concat({{0x42, 0x82, 0x89}, m, {0}}), true},
      {Concat({{0x42, 0x82, 0x8B}, m, {0, 0, 0}}), true},
      {Concat({{0x42, 0x82, 0x8A}, m, {0, 'x'}}), false},
      {Concat({{0x42, 0x82, 0x89}, m, {' '}}), false},
      {{0x42, 0x82, 0x87, 'm', 'a', 't', 'r', 'o', 's', 'k'}, false},
      {{0x42, 0x82, 0x84, 'w', 'e', 'b', 'm'}, false},
      {Concat({{0x42, 0x82, 0x10, 0x00, 0x00, 0x08}, m}), false},
  };
  for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
    float confidence = -1;
    Plugin p(WithDocTypeAt(31, rows[i].element));
    EXPECT_EQ(p.Sniff(&confidence) != nullptr, rows[i].claimed) << "row " << i;
    EXPECT_EQ(confidence, rows[i].claimed ? 0.7f : -1) << "row " << i;
  }
  // The padding too must lie in the 128 bytes read.
  float confidence = 0;
  const Bytes padded = Concat({{0x42, 0x82, 0x8C}, m, {0, 0, 0, 0}});
  EXPECT_NE(Plugin(WithDocTypeAt(128 - padded.size(), padded)).Sniff(&confidence), nullptr);
  EXPECT_EQ(Plugin(WithDocTypeAt(129 - padded.size(), padded, 4096)).Sniff(&confidence), nullptr);
  Plugin webm(Concat({Serialize(EbmlHeader("webm")), Bytes(128, 0)}));
  EXPECT_EQ(webm.Sniff(&confidence), nullptr);
}

TEST(PluginSniff, SearchesStartsZeroTo116Only) {
  float confidence = 0;
  EXPECT_NE(Plugin(WithDocTypeAt(0, kMatroskaDocType)).Sniff(&confidence), nullptr);
  EXPECT_NE(Plugin(WithDocTypeAt(116, kMatroskaDocType)).Sniff(&confidence), nullptr);
  EXPECT_EQ(Plugin(WithDocTypeAt(117, kMatroskaDocType)).Sniff(&confidence), nullptr);
  // Past the 128 bytes read, whatever the file's size.
  EXPECT_EQ(Plugin(WithDocTypeAt(130, kMatroskaDocType, 4096)).Sniff(&confidence), nullptr);
}

TEST(PluginSniff, ShortFileIsNotClaimedAndLogged) {
  LogCapture log;
  float confidence = 0;
  Plugin p(WithDocTypeAt(0, kMatroskaDocType, 127));
  EXPECT_EQ(p.Sniff(&confidence), nullptr);
  EXPECT_TRUE(log.Has(6, "QMKVExtractorSO", "can't read buffer size of maxScanOffset"))
      << log.Dump();
  Plugin failing(WithDocTypeAt(0, kMatroskaDocType));
  failing.source().fail_reads_from(0);
  EXPECT_EQ(failing.Sniff(&confidence), nullptr);
}

TEST(PluginExtractor, DefaultOperations) {
  Plugin p(SmallFile());
  ASSERT_TRUE(p.Open());
  android::CMediaExtractor* e = p.extractor();
  EXPECT_STREQ(e->name(e->data), "QMKVExtractor");
  const uint8_t token[4] = {1, 2, 3, 4};
  EXPECT_EQ(e->setMediaCas(e->data, token, sizeof(token)), AMEDIA_ERROR_INVALID_OPERATION);
  EXPECT_EQ(p.CountTracks(), 1u);
  EXPECT_EQ(p.Flags(), 15u);
  Format f;
  EXPECT_EQ(p.TrackFormat(1, &f), AMEDIA_ERROR_UNKNOWN);
  EXPECT_EQ(e->getTrack(e->data, 1), nullptr);
  std::unique_ptr<PluginTrack> t = p.Track(0);
  ASSERT_NE(t, nullptr);
  EXPECT_FALSE(t->c()->supportsNonBlockingRead(t->c()->data));
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

// ------------------------------------------------------------------------------------------
// Files that cannot be opened

TEST(PluginExtractor, AllSubtitleFileFailsThenStaysInvalid) {
  Plugin p(Padded({MinimalInfo(), Tracks({TextTrack(1)}), SmallCluster()}));
  ASSERT_TRUE(p.Open());
  EXPECT_EQ(android::QMKVExtractorPeer::ReadMetaData(p.extractor()), -1007);
  EXPECT_EQ(android::QMKVExtractorPeer::ReadMetaData(p.extractor()), -1010);
  EXPECT_EQ(p.CountTracks(), 0u);
  Format f;
  EXPECT_EQ(p.FileFormat(&f), AMEDIA_ERROR_UNKNOWN);
  EXPECT_EQ(p.TrackFormat(0, &f), AMEDIA_ERROR_UNKNOWN);
  EXPECT_EQ(p.extractor()->getTrack(p.extractor()->data, 0), nullptr);
}

TEST(PluginExtractor, BrokenHeaderIsReportedOnce) {
  LogCapture log;
  Bytes file = SmallFile();
  const size_t segment = Serialize(EbmlHeader()).size();
  ASSERT_EQ(file[segment], 0x18);
  file[segment] = 0x1F;  // no Segment after the EBML header
  Plugin p(file);
  ASSERT_TRUE(p.Open());
  EXPECT_EQ(android::QMKVExtractorPeer::ReadMetaData(p.extractor()), -1007);
  EXPECT_TRUE(
      log.Has(4, "QMKVExtractorSO", "QMKVExtractor::init_qmkvff() qmkvd_create() failed(-6)!"))
      << log.Dump();
  EXPECT_EQ(p.CountTracks(), 0u);
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

TEST(PluginFormats, PcmEncodingFloatOnlyForTheMediaServerWhenAsked) {
  struct Case {
    uid_t uid;
    const char* property;
    uint64_t bits;
    int32_t encoding;
  } cases[] = {
      {1013, "true", 24, 4}, {1013, "1", 32, 4},    {1013, "false", 24, 2}, {1013, "", 24, 2},
      {1040, "true", 24, 2}, {1013, "true", 16, 2}, {1013, "true", 8, 2},
  };
  for (const Case& c : cases) {
    host_binder_set_calling_uid(c.uid);
    android::base::SetProperty("media.extractor.float", c.property);
    OneFormat one({Pcm("A_PCM/INT/LIT", c.bits)});
    ASSERT_TRUE(one.opened);
    EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_PCM_ENCODING), c.encoding)
        << c.uid << " " << c.property << " " << c.bits;
    EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_BITS_PER_SAMPLE), static_cast<int32_t>(c.bits));
  }
  host_binder_reset_calling_uid();
  android::base::SetProperty("media.extractor.float", "");
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

TEST(PluginFormats, SubtitleKeys) {
  OneFormat one({Pcm("A_PCM/INT/LIT", 16), TextTrack(2, "S_TEXT/UTF8")}, 1);
  ASSERT_TRUE(one.opened);
  EXPECT_EQ(one.format.String(AMEDIAFORMAT_KEY_MIME), "application/x-subrip");
  EXPECT_EQ(one.format.String(AMEDIAFORMAT_KEY_LANGUAGE), "eng");
  EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_MAX_INPUT_SIZE), 2048);
  EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_ERROR_TYPE), 0);
  EXPECT_FALSE(one.format.Has(AMEDIAFORMAT_KEY_TRACK_NAME));
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

TEST(PluginFormats, OpusCarriesDelayAndPreRoll) {
  const Bytes head = Concat({Bytes{'O', 'p', 'u', 's', 'H', 'e', 'a', 'd', 1, 2}, Bytes(9, 0)});
  OneFormat one(
      {AudioTrack(1, {Float(kSamplingFrequency, 48000.0), Uint(kChannels, 2)}, "A_OPUS",
                  {Binary(kCodecPrivate, head), Uint(0x56AA, 6500000), Uint(0x56BB, 80000000)})});
  ASSERT_TRUE(one.opened);
  EXPECT_EQ(one.format.Buffer(AMEDIAFORMAT_KEY_CSD_0), head);
  uint64_t delay = 0, preroll = 0;
  const Bytes csd1 = one.format.Buffer(AMEDIAFORMAT_KEY_CSD_1);
  const Bytes csd2 = one.format.Buffer(AMEDIAFORMAT_KEY_CSD_2);
  ASSERT_EQ(csd1.size(), 8u);
  ASSERT_EQ(csd2.size(), 8u);
  memcpy(&delay, csd1.data(), 8);
  memcpy(&preroll, csd2.data(), 8);
  EXPECT_EQ(delay, 6500000u);
  EXPECT_EQ(preroll, 80000000u);
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

TEST(PluginFormats, UnparsableVideoConfigurationIsMarked) {
  OneFormat one({VideoTrack(
      1, {Binary(kCodecPrivate, {1, 0x64, 0, 0x28, 0xFF, 0xE1, 0, 3, 0x67, 0xFF, 0xFF})},
      "V_MPEG4/ISO/AVC")});
  ASSERT_TRUE(one.opened);
  EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_ERROR_TYPE), -1003);
  EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_MAX_INPUT_SIZE), 0x180000);
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

// The display size a file states (pixels, or a shape the picture's height keeps), and the
// sample aspect ratio it makes with the stored 720x576: a PAL 16:9 picture shows at 1024x576.
TEST(PluginFormats, DisplaySizeAndSampleAspectRatio) {
  enum : uint32_t { kWidth = 0xB0, kHeight = 0xBA, kDw = 0x54B0, kDh = 0x54BA, kUnit = 0x54B2 };
  const int32_t kNone = INT32_MIN;
  const struct {
    std::vector<Element> display;
    int32_t width, height, sar_w, sar_h;
  } rows[] = {
      {{}, 720, 576, kNone, kNone},
      {{Uint(kDw, 1024), Uint(kDh, 576)}, 1024, 576, 64, 45},
      {{Uint(kDw, 16), Uint(kDh, 9), Uint(kUnit, 3)}, 1024, 576, 64, 45},
      {{Uint(kDw, 32), Uint(kDh, 18), Uint(kUnit, 1)}, 1024, 576, 64, 45},
      {{Uint(kDw, 4), Uint(kDh, 3), Uint(kUnit, 4)}, 720, 576, kNone, kNone},  // unknown unit
      {{Uint(kDw, 1024)}, 720, 576, kNone, kNone},                             // no height
      {{Uint(kDw, 720), Uint(kDh, 576)}, 720, 576, kNone, kNone},              // square
      {{Uint(kDw, 0xFFFFFFFF), Uint(kDh, 1)}, INT32_MAX, 1, kNone, kNone},     // SAR too wide
  };
  for (const auto& row : rows) {
    std::vector<Element> video = {Uint(kWidth, 720), Uint(kHeight, 576)};
    video.insert(video.end(), row.display.begin(), row.display.end());
    OneFormat one({VideoTrack(1, {Master(0xE0, video)})}, 0, {Binary(0xEC, Bytes(128, 0))});
    ASSERT_TRUE(one.opened);
    SCOPED_TRACE(row.width);
    EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_WIDTH), 720);
    EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_DISPLAY_WIDTH), row.width);
    EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_DISPLAY_HEIGHT), row.height);
    EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_SAR_WIDTH), row.sar_w);
    EXPECT_EQ(one.format.Int32(AMEDIAFORMAT_KEY_SAR_HEIGHT), row.sar_h);
  }
}

TEST(PluginFormats, IFrameIntervalFromTheCues) {
  // Cues name two key frames of the one video track over the 1 s file.
  std::vector<Element> segment = {MinimalInfo(), OneTrack()};
  const uint64_t cues_size = EncodedSize(Cues({CuePoint(0, 1, 0, 4), CuePoint(500, 1, 0, 4)}));
  const uint64_t cluster = EncodedSize(segment) + cues_size;
  segment.push_back(Cues({CuePoint(0, 1, cluster, 4), CuePoint(500, 1, cluster, 4)}));
  segment.push_back(SmallCluster());
  Plugin p(MkvFile(segment));
  ASSERT_TRUE(p.Open());
  Format f;
  ASSERT_EQ(p.TrackFormat(0, &f), AMEDIA_OK);
  EXPECT_EQ(f.Int64(AMEDIAFORMAT_KEY_I_FRAME_AVG_INTERVAL), 500000);
  EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_MIME), "video/x-vnd.on2.vp9");
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

TEST(PluginFileFormat, VideoFilesAreVideoMatroskaAndUntaggedFilesHaveOnlyTheMime) {
  Plugin p(SmallFile());
  ASSERT_TRUE(p.Open());
  Format f;
  ASSERT_EQ(p.FileFormat(&f), AMEDIA_OK);
  EXPECT_EQ(f.String(AMEDIAFORMAT_KEY_MIME), "video/x-matroska");
  EXPECT_FALSE(f.Has(AMEDIAFORMAT_KEY_TITLE));
  EXPECT_FALSE(f.Has(AMEDIAFORMAT_KEY_CHAR_ENCODING_TYPES));
}

// The AAC profile key comes from the track's AudioSpecificConfig (LC here).
TEST(PluginFileFormat, RealSampleHasTheAacProfile) {
  Plugin p(ReadDataFile("sample.mkv"));
  ASSERT_TRUE(p.Open());
  Format audio;
  ASSERT_EQ(p.TrackFormat(1, &audio), AMEDIA_OK);
  EXPECT_EQ(audio.String(AMEDIAFORMAT_KEY_MIME), "audio/mp4a-latm");
  EXPECT_EQ(audio.Int32(AMEDIAFORMAT_KEY_AAC_PROFILE), 2);
}

}  // namespace
}  // namespace mkvtest
