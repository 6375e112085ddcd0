// The video configuration parser: real headers made by ffmpeg (tests/data/vidcfg, see
// make_vidcfg.sh) against ffprobe's view of them, hand-built headers at the edges of the fields
// real files do not reach, and hostile bytes.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "bit_writer.h"
#include "common/qcmn_bitreader.h"
#include "common/qcmn_fourcc.h"
#include "common/qcmn_vidcfg.h"
#include "real_file.h"

namespace mkvtest {
namespace {

using Bytes = std::vector<uint8_t>;

// Escapes an RBSP into a NAL payload: an 03 after every two zeros that precede a byte <= 3.
Bytes Escape(const Bytes& rbsp) {
  Bytes out;
  int zeros = 0;
  for (uint8_t b : rbsp) {
    if (zeros >= 2 && b <= 3) {
      out.push_back(3);
      zeros = 0;
    }
    out.push_back(b);
    zeros = b == 0 ? zeros + 1 : 0;
  }
  return out;
}

Bytes WithStartCode(const Bytes& unit) {
  Bytes out = {0, 0, 0, 1};
  out.insert(out.end(), unit.begin(), unit.end());
  return out;
}

struct Parsed {
  int32_t r = -100;
  QVID_CONFIG cfg{};
};

Parsed Parse(const Bytes& data, const char (&code)[5]) {
  Parsed p;
  memset(&p.cfg, 0xA5, sizeof(p.cfg));  // must come back cleared or filled, never stale
  QVID_CONFIG_INPUT in{data.data(), static_cast<uint32_t>(data.size()), qcmn_fourcc(code)};
  p.r = qvid_config_parser(&in, &p.cfg);
  return p;
}

// ---------------------------------------------------------------------------------------------
// Real headers

struct Ref {
  std::string codec;
  uint32_t width = 0, height = 0;
  uint32_t coded_width = 0, coded_height = 0;  // 0 where ffprobe does not tell
  std::string profile;
  int level = 0;
};

std::map<std::string, Ref> LoadRefs() {
  std::map<std::string, Ref> refs;
  std::ifstream f(DataPath("vidcfg/refs.txt"));
  std::string line;
  while (std::getline(f, line)) {
    std::istringstream s(line);
    std::string name;
    Ref r;
    if (s >> name >> r.codec >> r.width >> r.height >> r.coded_width >> r.coded_height >>
        r.profile >> r.level) {
      refs[name] = r;
    }
  }
  return refs;
}

struct RealCase {
  const char* name;  // NAME.bin under tests/data/vidcfg
  char code[5];
  int32_t profile, level;
  uint32_t width, height;  // coded
  int32_t dp;
  // The coded size is ffprobe's size rounded up to these; 0: ffprobe's coded size itself.
  uint32_t align_w, align_h;
};

const RealCase kReal[] = {
    {"h264_1080p", "AVC1", 100, 40, 1920, 1088, 0, 16, 16},
    {"h264_cif", "avc1", 66, 13, 352, 288, 0, 16, 16},
    {"h264_crop", "H264", 77, 11, 208, 128, 0, 16, 16},
    {"h264_interlaced", "x264", 100, 30, 720, 576, 0, 16, 32},
    {"h264_high444", "X264", 244, 13, 320, 240, 0, 16, 16},
    {"hevc_1080p", "hvc1", 1, 120, 1920, 1088, 0, 0, 0},
    {"hevc_crop", "hev1", 1, 60, 208, 112, 0, 0, 0},
    {"hevc_main10", "hvc1", 2, 60, 416, 240, 0, 0, 0},
    // MPEG-4 Visual: profile and level are the two nibbles of the VOS indication.
    {"mpeg4_qcif", "MP4V", 0, 1, 176, 144, 0, 1, 1},
    {"mpeg4_dp", "mp4v", 0, 1, 640, 480, 1, 1, 1},
    {"mpeg4_asp", "XVID", 15, 1, 320, 240, 0, 1, 1},
    // MPEG-2: the size as the sequence header gives it (no cropping there).
    {"mpeg2_pal", "mpg2", 4, 8, 720, 576, 0, 1, 1},
    {"mpeg2_1080", "MPG2", 4, 4, 1920, 1080, 0, 1, 1},
    // H.263 signals neither profile nor level.
    {"h263_sqcif", "H263", -1, -1, 128, 96, 0, 1, 1},
    {"h263_cif", "h263", -1, -1, 352, 288, 0, 1, 1},
    {"h263p_custom", "s263", -1, -1, 320, 240, 0, 1, 1},
    {"h263p_qcif", "S263", -1, -1, 176, 144, 0, 1, 1},
    // AV1 from the av1C record and from the first temporal unit.
    {"av1_qvga", "av01", 0, 0, 320, 240, 0, 0, 0},
    {"av1_qvga.tu", "av01", 0, 0, 320, 240, 0, 0, 0},
    {"av1_720p", "av01", 0, 5, 1280, 720, 0, 0, 0},
    {"av1_720p.tu", "av01", 0, 5, 1280, 720, 0, 0, 0},
};

int64_t RoundUp(int64_t v, int64_t a) {
  return (v + a - 1) / a * a;
}

TEST(VidCfgReal, MatchesFfprobe) {
  const auto refs = LoadRefs();
  ASSERT_FALSE(refs.empty()) << "vidcfg/refs.txt missing or empty";
  for (const RealCase& c : kReal) {
    SCOPED_TRACE(c.name);
    const Bytes data = ReadDataFile(std::string("vidcfg/") + c.name + ".bin");
    ASSERT_FALSE(data.empty());
    std::string ref_name = c.name;
    ref_name = ref_name.substr(0, ref_name.find('.'));
    auto it = refs.find(ref_name);
    ASSERT_NE(it, refs.end());
    const Ref& ref = it->second;
    // The table's numbers agree with what ffprobe saw: same level, and the coded size is the
    // displayed one rounded up to the codec's block.
    if (ref.level != -99) {  // -99: ffprobe does not know
      EXPECT_EQ(c.level, ref.level);
    }
    EXPECT_EQ(c.width, c.align_w ? RoundUp(ref.width, c.align_w) : ref.coded_width);
    EXPECT_EQ(c.height, c.align_h ? RoundUp(ref.height, c.align_h) : ref.coded_height);
    const Parsed p = Parse(data, c.code);
    ASSERT_EQ(p.r, 0);
    EXPECT_EQ(p.cfg.profile, c.profile);
    EXPECT_EQ(p.cfg.level, c.level);
    EXPECT_EQ(p.cfg.width, c.width);
    EXPECT_EQ(p.cfg.height, c.height);
    EXPECT_EQ(p.cfg.is_mp4_dp, c.dp);
  }
}

// Every prefix of every real header: never a crash or a read out of bounds (the sanitizer
// flavour checks that), never a success with numbers other than the whole header's, and the
// cleared record on anything but success.
TEST(VidCfgReal, EveryTruncation) {
  for (const RealCase& c : kReal) {
    SCOPED_TRACE(c.name);
    const Bytes data = ReadDataFile(std::string("vidcfg/") + c.name + ".bin");
    int found = 0;
    for (size_t n = 0; n < data.size(); ++n) {
      const Bytes cut(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(n));
      // A copy of exactly n bytes on the heap, so that ASan sees any read past it.
      const Parsed p = Parse(cut, c.code);
      if (p.r == 0) {
        ++found;
        EXPECT_EQ(p.cfg.width, c.width) << n;
        EXPECT_EQ(p.cfg.height, c.height) << n;
      } else {
        EXPECT_EQ(p.cfg.width, 0u) << n;
        EXPECT_EQ(p.cfg.profile, 0) << n;
      }
    }
    // A cut header never passes for a whole one far from its end.
    EXPECT_LT(found, static_cast<int>(data.size()));
  }
}

// ---------------------------------------------------------------------------------------------
// H.264 at the edges

struct SpsFields {
  uint32_t profile = 100, level = 31;
  uint32_t chroma = 1;
  bool scaling = false;
  int scaling_delta = 0;  // the one delta of every list, so lists are long
  uint32_t log2_frame_num = 0;
  uint32_t poc_type = 0;
  uint32_t poc_cycle = 0;
  uint32_t refs = 4;
  uint32_t width_mbs = 20, height_units = 15;
  bool frame_mbs_only = true;
  bool crop = false;
  uint32_t crop_l = 0, crop_r = 0, crop_t = 0, crop_b = 0;
};

Bytes H264Sps(const SpsFields& f) {
  BitWriter w;
  w.Bits(0x67, 8).Bits(f.profile, 8).Bits(0, 8).Bits(f.level, 8).Ue(0);
  if (f.profile == 100 || f.profile == 244) {
    w.Ue(f.chroma);
    if (f.chroma == 3) w.Bits(0, 1);
    w.Ue(0).Ue(0).Bits(0, 1).Bits(f.scaling, 1);
    if (f.scaling) {
      for (int i = 0; i < (f.chroma == 3 ? 12 : 8); ++i) {
        w.Bits(1, 1);
        // The same step for every entry, until the running value wraps to 0, which ends the
        // list's deltas.
        int next = 8;
        for (int j = 0; j < (i < 6 ? 16 : 64) && next != 0; ++j) {
          w.Se(f.scaling_delta);
          next = ((next + f.scaling_delta) % 256 + 256) % 256;
        }
      }
    }
  }
  w.Ue(f.log2_frame_num).Ue(f.poc_type);
  if (f.poc_type == 0) w.Ue(2);
  if (f.poc_type == 1) {
    w.Bits(0, 1).Se(-3).Se(2).Ue(f.poc_cycle);
    for (uint32_t i = 0; i < f.poc_cycle; ++i) w.Se(static_cast<int32_t>(i) - 5);
  }
  w.Ue(f.refs).Bits(0, 1).Ue(f.width_mbs - 1).Ue(f.height_units - 1).Bits(f.frame_mbs_only, 1);
  if (!f.frame_mbs_only) w.Bits(1, 1);
  w.Bits(1, 1).Bits(f.crop, 1);
  if (f.crop) w.Ue(f.crop_l).Ue(f.crop_r).Ue(f.crop_t).Ue(f.crop_b);
  w.Bits(0, 1);  // vui_parameters_present_flag
  return WithStartCode(Escape(w.Finish()));
}

Parsed H264(const SpsFields& f) {
  return Parse(H264Sps(f), "AVC1");
}

// A field at its edge: `set` puts `ok` (the last value taken) or `bad` (the first refused) into
// otherwise default fields, with whatever else the field needs to matter.
template <typename Fields>
struct Edge {
  const char* what;
  void (*set)(Fields&, int64_t);
  int64_t ok, bad;
};

template <typename Fields>
void ExpectEdges(Parsed (*parse)(const Fields&), std::initializer_list<Edge<Fields>> edges) {
  for (const Edge<Fields>& e : edges) {
    Fields f;
    e.set(f, e.ok);
    EXPECT_EQ(parse(f).r, 0) << e.what << " " << e.ok;
    f = Fields();
    e.set(f, e.bad);
    EXPECT_LT(parse(f).r, 0) << e.what << " " << e.bad;
  }
}

TEST(VidCfgH264, FieldsAndLimits) {
  SpsFields f;
  Parsed p = H264(f);
  ASSERT_EQ(p.r, 0);
  EXPECT_EQ(p.cfg.profile, 100);
  EXPECT_EQ(p.cfg.level, 31);
  EXPECT_EQ(p.cfg.width, 320u);
  EXPECT_EQ(p.cfg.height, 240u);
  f.frame_mbs_only = false;  // map units are field pairs
  EXPECT_EQ(H264(f).cfg.height, 480u);
  f.height_units = 512;  // 16384: the largest side taken
  EXPECT_EQ(H264(f).cfg.height, 16384u);
  f = SpsFields();
  f.width_mbs = 1024;
  EXPECT_EQ(H264(f).cfg.width, 16384u);
  // Scaling lists are stepped over: eight lists, or twelve for 4:4:4.
  f = SpsFields();
  f.scaling = true;
  f.scaling_delta = 1;
  EXPECT_EQ(H264(f).cfg.width, 320u);
  f.chroma = 3;
  f.profile = 244;
  EXPECT_EQ(H264(f).cfg.width, 320u);
  // Cropping is checked but the coded size is reported, not the cropped one.
  f = SpsFields();
  f.crop = true;
  f.crop_r = f.crop_b = 4;
  EXPECT_EQ(H264(f).cfg.width, 320u);
  EXPECT_EQ(H264(f).cfg.height, 240u);

  using E = Edge<SpsFields>;
  ExpectEdges<SpsFields>(
      H264,
      {E{"width", [](SpsFields& f, int64_t v) { f.width_mbs = static_cast<uint32_t>(v); }, 1024,
         1025},
       E{"field height",  // 513 * 32 > 16384
         [](SpsFields& f, int64_t v) {
           f.frame_mbs_only = false;
           f.height_units = static_cast<uint32_t>(v);
         },
         512, 513},
       E{"log2_max_frame_num",
         [](SpsFields& f, int64_t v) { f.log2_frame_num = static_cast<uint32_t>(v); }, 12, 13},
       E{"poc type", [](SpsFields& f, int64_t v) { f.poc_type = static_cast<uint32_t>(v); }, 2, 3},
       E{"poc cycle",
         [](SpsFields& f, int64_t v) {
           f.poc_type = 1;
           f.poc_cycle = static_cast<uint32_t>(v);
         },
         255, 256},
       E{"refs", [](SpsFields& f, int64_t v) { f.refs = static_cast<uint32_t>(v); }, 16, 17},
       E{"chroma", [](SpsFields& f, int64_t v) { f.chroma = static_cast<uint32_t>(v); }, 3, 4},
       E{"scaling delta up",
         [](SpsFields& f, int64_t v) {
           f.scaling = true;
           f.chroma = 3;
           f.profile = 244;
           f.scaling_delta = static_cast<int>(v);
         },
         127, 128},
       E{"scaling delta down",
         [](SpsFields& f, int64_t v) {
           f.scaling = true;
           f.scaling_delta = static_cast<int>(v);
         },
         -128, -129},
       // 4:2:0 frame: crop units of 2x2; (155 + 4) * 2 = 318 < 320, 156 crops the whole width.
       E{"crop left",
         [](SpsFields& f, int64_t v) {
           f.crop = true;
           f.crop_r = 4;
           f.crop_l = static_cast<uint32_t>(v);
         },
         155, 156},
       E{"crop top of fields",  // vertical units of 4 on a 480-line frame
         [](SpsFields& f, int64_t v) {
           f.crop = true;
           f.frame_mbs_only = false;
           f.crop_t = static_cast<uint32_t>(v);
         },
         119, 120},
       E{"crop right 4:4:4",  // units of one sample
         [](SpsFields& f, int64_t v) {
           f.crop = true;
           f.profile = 244;
           f.chroma = 3;
           f.crop_r = static_cast<uint32_t>(v);
         },
         319, 320}});
}

// ---------------------------------------------------------------------------------------------
// HEVC at the edges

struct HevcFields {
  uint32_t sub_layers = 1;
  bool sub_profile = false, sub_level = false;  // present for every sub-layer
  uint32_t profile = 1, level = 93;
  uint32_t chroma = 1;
  uint32_t width = 640, height = 360;
  bool window = false;
  uint32_t win_l = 0, win_r = 0, win_t = 0, win_b = 0;
};

Bytes HevcSps(const HevcFields& f) {
  BitWriter w;
  w.Bits(0x4201, 16).Bits(0, 4).Bits(f.sub_layers - 1, 3).Bits(1, 1);
  w.Bits(0, 3).Bits(f.profile, 5).Bits(0x60000000, 32).Bits(0xB00000000000ull, 48);
  w.Bits(f.level, 8);
  for (uint32_t i = 0; i + 1 < f.sub_layers; ++i) w.Bits(f.sub_profile, 1).Bits(f.sub_level, 1);
  if (f.sub_layers > 1) w.Bits(0, 2 * (9 - f.sub_layers));
  for (uint32_t i = 0; i + 1 < f.sub_layers; ++i) {
    // Sub-layer profiles of all ones, so that a misplaced read shows in the size.
    if (f.sub_profile) w.Bits(0xFFFFFFFFFFull, 40).Bits(0xFFFFFFFFFFFull, 48);
    if (f.sub_level) w.Bits(0xFF, 8);
  }
  w.Ue(0).Ue(f.chroma);
  if (f.chroma == 3) w.Bits(0, 1);
  w.Ue(f.width).Ue(f.height).Bits(f.window, 1);
  if (f.window) w.Ue(f.win_l).Ue(f.win_r).Ue(f.win_t).Ue(f.win_b);
  w.Ue(0).Ue(0).Ue(4);  // bit depths, log2_max_pic_order_cnt_lsb_minus4
  const Bytes vps = {0, 0, 0, 1, 0x40, 0x01, 0x0C, 0x01};
  Bytes out = vps;
  const Bytes sps = WithStartCode(Escape(w.Finish()));
  out.insert(out.end(), sps.begin(), sps.end());
  return out;
}

Parsed Hevc(const HevcFields& f) {
  return Parse(HevcSps(f), "hev1");
}

TEST(VidCfgHevc, SubLayersChromaAndSize) {
  HevcFields f;
  Parsed p = Hevc(f);
  ASSERT_EQ(p.r, 0);
  EXPECT_EQ(p.cfg.profile, 1);
  EXPECT_EQ(p.cfg.level, 93);
  EXPECT_EQ(p.cfg.width, 640u);
  EXPECT_EQ(p.cfg.height, 360u);
  for (uint32_t layers = 2; layers <= 7; ++layers) {
    for (int mask = 0; mask < 4; ++mask) {
      f.sub_layers = layers;
      f.sub_profile = mask & 1;
      f.sub_level = mask & 2;
      p = Hevc(f);
      EXPECT_EQ(p.r, 0) << layers << " " << mask;
      EXPECT_EQ(p.cfg.width, 640u) << layers << " " << mask;
      EXPECT_EQ(p.cfg.level, 93) << layers << " " << mask;
    }
  }
  const std::pair<const char*, void (*)(HevcFields&)> refused[] = {
      {"8 sub-layers: reserved", [](HevcFields& f) { f.sub_layers = 8; }},
      {"chroma 4", [](HevcFields& f) { f.chroma = 4; }},
      {"width 16385", [](HevcFields& f) { f.width = 16385; }},
      {"width 0", [](HevcFields& f) { f.width = 0; }},
      {"height 0", [](HevcFields& f) { f.height = 0; }},
      {"crop 176 + 4 of 180 line pairs",
       [](HevcFields& f) { f.window = true, f.win_b = 4, f.win_t = 176; }},
      {"4:2:2: 320 column pairs of 640",
       [](HevcFields& f) { f.window = true, f.chroma = 2, f.win_l = 320; }},
      {"4:2:2: 360 lines of 360",
       [](HevcFields& f) { f.window = true, f.chroma = 2, f.win_t = 360; }},
      {"huge offsets do not wrap around",
       [](HevcFields& f) { f.window = true, f.win_r = 0xFFFFFFF0u; }},
  };
  for (const auto& [what, set] : refused) {
    f = HevcFields();
    set(f);
    EXPECT_LT(Hevc(f).r, 0) << what;
  }
  f = HevcFields();
  f.chroma = 3;
  EXPECT_EQ(Hevc(f).cfg.height, 360u);
  f = HevcFields();
  f.width = 16384;
  EXPECT_EQ(Hevc(f).cfg.width, 16384u);
}

// The conformance window is checked in chroma units (two lines in 4:2:0, two columns and one
// line in 4:2:2) but the coded size is reported.
TEST(VidCfgHevc, ConformanceWindow) {
  HevcFields f;
  f.window = true;
  f.win_b = 4;
  Parsed p = Hevc(f);
  ASSERT_EQ(p.r, 0);
  EXPECT_EQ(p.cfg.height, 360u);
  f.win_t = 175;  // (175 + 4) * 2 = 358 lines of 360 cut
  EXPECT_EQ(Hevc(f).r, 0);
  f = HevcFields();
  f.window = true;
  f.chroma = 2;
  f.win_l = 319;
  f.win_t = 359;
  EXPECT_EQ(Hevc(f).r, 0);
}

// ---------------------------------------------------------------------------------------------
// MPEG-4 Visual at the edges

struct VolFields {
  bool vos = true;
  uint8_t pli = 0xF3;
  uint32_t verid = 0;  // 0: no object layer identifier
  bool vbv = false;
  uint32_t shape = 0;
  uint32_t resolution = 30000;
  bool fixed_rate = false;
  uint32_t width = 720, height = 576;
  uint32_t sprite = 0;
  bool not_8_bit = false;
  bool quant_matrices = false;
  bool complexity_disable = true;
  bool dp = false;
  bool marker = true;  // the one after the width
};

Bytes Mpeg4Config(const VolFields& f) {
  Bytes out;
  if (f.vos) out = {0, 0, 1, 0xB0, f.pli, 0, 0, 1, 0xB5, 0x09};
  const Bytes vo = {0, 0, 1, 0x00};
  out.insert(out.end(), vo.begin(), vo.end());
  BitWriter w;
  w.Bits(0x00000120, 32).Bits(0, 1).Bits(1, 8).Bits(f.verid != 0, 1);
  if (f.verid) w.Bits(f.verid, 4).Bits(1, 3);
  w.Bits(1, 4).Bits(1, 1).Bits(1, 2).Bits(1, 1).Bits(f.vbv, 1);
  if (f.vbv) {
    w.Bits(0x1234, 15).Bits(1, 1).Bits(0x0FFF, 15).Bits(1, 1).Bits(0x10, 15).Bits(1, 1);
    w.Bits(5, 3).Bits(0x123, 11).Bits(1, 1).Bits(0x4321, 15).Bits(1, 1);
  }
  w.Bits(f.shape, 2).Bits(1, 1).Bits(f.resolution, 16).Bits(1, 1).Bits(f.fixed_rate, 1);
  if (f.fixed_rate) w.Bits(1001, 15);  // 30000 needs 15 bits
  w.Bits(1, 1).Bits(f.width, 13).Bits(f.marker, 1).Bits(f.height, 13).Bits(1, 1);
  w.Bits(0, 1).Bits(1, 1).Bits(f.sprite, f.verid > 1 ? 2 : 1);
  if (f.sprite == 2) w.Bits(3, 6).Bits(1, 2).Bits(0, 1);
  w.Bits(f.not_8_bit, 1);
  if (f.not_8_bit) w.Bits(5, 4).Bits(10, 4);
  w.Bits(f.quant_matrices, 1);
  if (f.quant_matrices) {
    w.Bits(1, 1);
    for (int i = 0; i < 64; ++i) w.Bits(8 + i, 8);    // a full matrix
    w.Bits(1, 1).Bits(16, 8).Bits(17, 8).Bits(0, 8);  // one ended early by a zero
  }
  if (f.verid > 1) w.Bits(1, 1);
  w.Bits(f.complexity_disable, 1).Bits(1, 1).Bits(f.dp, 1).Bits(f.dp, 1);
  const Bytes vol = w.Finish();
  out.insert(out.end(), vol.begin(), vol.end());
  return out;
}

Parsed Mpeg4(const VolFields& f) {
  return Parse(Mpeg4Config(f), "xvid");
}

TEST(VidCfgMpeg4, LayerFields) {
  VolFields f;
  Parsed p = Mpeg4(f);
  ASSERT_EQ(p.r, 0);
  EXPECT_EQ(p.cfg.profile, 15);
  EXPECT_EQ(p.cfg.level, 3);
  EXPECT_EQ(p.cfg.width, 720u);
  EXPECT_EQ(p.cfg.height, 576u);
  EXPECT_EQ(p.cfg.is_mp4_dp, 0);
  f.dp = true;
  EXPECT_EQ(Mpeg4(f).cfg.is_mp4_dp, 1);
  // Every optional part at once; a misplaced read would shift the size or the flag.
  f.verid = 2;
  f.vbv = true;
  f.fixed_rate = true;
  f.sprite = 2;  // global motion compensation: no sprite size follows
  f.not_8_bit = true;
  f.quant_matrices = true;
  p = Mpeg4(f);
  ASSERT_EQ(p.r, 0);
  EXPECT_EQ(p.cfg.width, 720u);
  EXPECT_EQ(p.cfg.height, 576u);
  EXPECT_EQ(p.cfg.is_mp4_dp, 1);
  f.dp = false;
  EXPECT_EQ(Mpeg4(f).cfg.is_mp4_dp, 0);
  // No VOS: the layer alone gives no profile.
  f = VolFields();
  f.vos = false;
  p = Mpeg4(f);
  ASSERT_EQ(p.r, 0);
  EXPECT_EQ(p.cfg.profile, -1);
  EXPECT_EQ(p.cfg.level, -1);
  EXPECT_EQ(p.cfg.width, 720u);
}

// ---------------------------------------------------------------------------------------------
// AV1 at the edges

struct Av1Fields {
  uint32_t profile = 0;
  bool reduced = false;
  bool timing = false, decoder_model = false, display_delay = false;
  uint32_t points = 1;
  uint32_t level = 9;  // > 7: a tier bit follows
  uint32_t width_bits = 11, height_bits = 11;
  uint32_t width = 1920, height = 1080;
};

Bytes Av1SequenceHeader(const Av1Fields& f) {
  BitWriter w;
  w.Bits(f.profile, 3).Bits(0, 1).Bits(f.reduced, 1);
  if (f.reduced) {
    w.Bits(f.level, 5);
  } else {
    w.Bits(f.timing, 1);
    if (f.timing) {
      w.Bits(1001, 32).Bits(60000, 32).Bits(1, 1).Bits(0x3, 3);  // uvlc 011: 2
      w.Bits(f.decoder_model, 1);
      if (f.decoder_model) w.Bits(9, 5).Bits(90000, 32).Bits(7, 5).Bits(7, 5);
    }
    w.Bits(f.display_delay, 1).Bits(f.points - 1, 5);
    for (uint32_t i = 0; i < f.points; ++i) {
      w.Bits(i == 0 ? 0 : 0x101, 12).Bits(i == 0 ? f.level : 31 - i, 5);
      if ((i == 0 ? f.level : 31 - i) > 7) w.Bits(1, 1);
      if (f.decoder_model) w.Bits(1, 1).Bits(0x3FF, 10).Bits(0x155, 10).Bits(0, 1);
      if (f.display_delay) w.Bits(1, 1).Bits(9, 4);
    }
  }
  w.Bits(f.width_bits - 1, 4).Bits(f.height_bits - 1, 4);
  w.Bits(f.width - 1, static_cast<int>(f.width_bits));
  w.Bits(f.height - 1, static_cast<int>(f.height_bits));
  w.Bits(0, 3);  // the flags that follow, then the trailing bits
  const Bytes payload = w.Finish();
  Bytes obu = {0x0A, static_cast<uint8_t>(payload.size())};
  obu.insert(obu.end(), payload.begin(), payload.end());
  return obu;
}

TEST(VidCfgAv1, RecordsAndObus) {
  EXPECT_GT(Parse({0x81, 0x00, 0x0C, 0x00}, "av01").r, 0);  // av1C without configOBUs
  EXPECT_LT(Parse({0x81, 0x00, 0x0C}, "av01").r, 0);
  EXPECT_LT(Parse({0x82, 0x00, 0x0C, 0x00, 0x0A, 0x00}, "av01").r, 0);  // version 2
  // A frame without a sequence header, then one whose OBU size runs past the end.
  EXPECT_GT(Parse({0x12, 0x00, 0x32, 0x02, 0xAA, 0xBB}, "av01").r, 0);
  EXPECT_LT(Parse({0x12, 0x00, 0x0A, 0x09, 0x00, 0x00}, "av01").r, 0);
  EXPECT_LT(Parse({0x12, 0x00, 0x0A, 0x80}, "av01").r, 0);  // cut leb128
  // An extension byte and an OBU without a size field (it runs to the end).
  Bytes seq = Av1SequenceHeader(Av1Fields());
  Bytes ext = {0x0E, 0x00};
  ext.insert(ext.end(), seq.begin() + 1, seq.end());
  EXPECT_EQ(Parse(ext, "av01").cfg.width, 1920u);
  Bytes unsized = {0x08};
  unsized.insert(unsized.end(), seq.begin() + 2, seq.end());
  EXPECT_EQ(Parse(unsized, "av01").cfg.width, 1920u);
}

// ---------------------------------------------------------------------------------------------
// Hostile bytes for every codec

}  // namespace
}  // namespace mkvtest
