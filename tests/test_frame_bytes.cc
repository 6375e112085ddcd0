// Frame-level byte work: length-prefixed NAL units to start codes, and the key-frame test.
#include <gtest/gtest.h>

#include <vector>

#include "common/qcmn_keyframe.h"
#include "demux/read/qmkvd_nal.h"
#include "mem_source.h"

namespace mkvtest {
namespace {

// A file handle on bytes, positioned at `at`.
class Handle {
 public:
  explicit Handle(std::vector<uint8_t> bytes, int64_t at = 0) : file_(std::move(bytes)) {
    fp_ = file_.mfal.open(&file_.mfal, 0);
    file_.mfal.setpos(fp_, &at);
  }
  ~Handle() { file_.mfal.close(fp_); }
  const QCMN_MFAL* mfal() const { return &file_.mfal; }
  QCMN_MFAL_FILE* fp() { return fp_; }
  int64_t pos() {
    int64_t p = -1;
    file_.mfal.getpos(fp_, &p);
    return p;
  }

 private:
  MemFile file_;
  QCMN_MFAL_FILE* fp_;
};

struct Rewritten {
  int32_t status;
  uint32_t written;
  std::vector<uint8_t> out;
  int64_t pos_after;
};

// Two units, 5 and 3 bytes, behind length fields of `width` bytes, after two bytes of padding.
std::vector<uint8_t> TwoUnits(int width) {
  std::vector<uint8_t> file = {0xEE, 0xEE};
  auto length = [&](uint32_t n) {
    for (int i = width - 1; i >= 0; --i) file.push_back(static_cast<uint8_t>(n >> (8 * i)));
  };
  length(5);
  for (uint8_t b : {0x65, 1, 2, 3, 4}) file.push_back(b);
  length(3);
  for (uint8_t b : {0x41, 5, 6}) file.push_back(b);
  file.push_back(0xFF);  // after the frame
  return file;
}

const std::vector<uint8_t> kAnnexB = {0, 0, 0, 1, 0x65, 1, 2, 3, 4, 0, 0, 0, 1, 0x41, 5, 6};

Rewritten Rewrite(std::vector<uint8_t> file, int32_t frame_size, int32_t capacity, int32_t width,
                  bool with_output = true) {
  Handle h(std::move(file), 2);
  Rewritten r;
  r.out.assign(64, 0xCC);
  r.written = 12345;
  r.status = modify_nal_header2(h.mfal(), h.fp(), with_output ? r.out.data() : nullptr, frame_size,
                                capacity, width, &r.written);
  r.out.resize(with_output ? r.written : 0);
  r.pos_after = h.pos();
  return r;
}

TEST(NalRewrite, EveryLengthWidthBecomesAStartCode) {
  for (int width = 1; width <= 4; ++width) {
    const int32_t frame = 2 * width + 8;
    Rewritten r = Rewrite(TwoUnits(width), frame, 64, width);
    EXPECT_EQ(r.status, 0) << width;
    EXPECT_EQ(r.written, 16u) << width;
    EXPECT_EQ(r.out, kAnnexB) << width;
    EXPECT_EQ(r.pos_after, 2 + frame) << width;
  }
}

TEST(NalRewrite, SizeQueryMatchesTheRealCallAndRewinds) {
  Rewritten r = Rewrite(TwoUnits(2), 12, 0, 2, /*with_output=*/false);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.written, 16u);
  EXPECT_EQ(r.pos_after, 2);  // back at the frame start, ready for the real read
}

TEST(NalRewrite, TooSmallAnOutputFailsAndSkipsTheFrame) {
  Rewritten r = Rewrite(TwoUnits(4), 16, 10, 4);
  EXPECT_EQ(r.status, -8);
  EXPECT_EQ(r.written, 0u);
  EXPECT_EQ(r.pos_after, 18);
  // Exactly enough room is enough.
  EXPECT_EQ(Rewrite(TwoUnits(4), 16, 16, 4).status, 0);
  EXPECT_EQ(Rewrite(TwoUnits(4), 16, 15, 4).status, -8);
}

TEST(NalRewrite, NothingIsWrittenPastTheCapacity) {
  // Room for the first unit's start code and body but not the second start code.
  Handle h(TwoUnits(4), 2);
  std::vector<uint8_t> out(20, 0xCC);
  uint32_t written = 0;
  EXPECT_EQ(modify_nal_header2(h.mfal(), h.fp(), out.data(), 16, 11, 4, &written), -8);
  for (size_t i = 11; i < out.size(); ++i) EXPECT_EQ(out[i], 0xCC) << i;
}

TEST(NalRewrite, ALengthPastTheFrameIsCutToIt) {
  std::vector<uint8_t> file = {0xEE, 0xEE, 0, 0, 0, 100};
  for (int i = 0; i < 16; ++i) file.push_back(static_cast<uint8_t>(i));
  Rewritten r = Rewrite(file, 20, 64, 4);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.written, 20u);  // 16 bytes of unit behind a start code
  EXPECT_EQ(r.out[19], 15);
}

TEST(NalRewrite, ATruncatedFrameIsGivenUpAsEmpty) {
  // The frame ends inside the second length field.
  std::vector<uint8_t> file = TwoUnits(4);
  Rewritten r = Rewrite(file, 4 + 5 + 2, 64, 4);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.written, 0u);
  EXPECT_EQ(r.pos_after, 2 + 11);
  // The file ends inside a unit.
  file.resize(2 + 4 + 3);
  r = Rewrite(file, 16, 64, 4);
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.written, 0u);
}

TEST(NalRewrite, StrippedBytesStartTheFirstLengthField) {
  // The file lost the first two bytes of a 4-byte length field.
  std::vector<uint8_t> file = {0xEE, 0xEE, 0, 5, 0x65, 1, 2, 3, 4};
  const uint8_t prefix[2] = {0, 0};
  Handle h(file, 2);
  std::vector<uint8_t> out(32);
  uint32_t written = 0;
  EXPECT_EQ(modify_nal_header3(h.mfal(), h.fp(), out.data(), 7, 32, 4, &written, 2, prefix), 0);
  out.resize(written);
  EXPECT_EQ(out, (std::vector<uint8_t>{0, 0, 0, 1, 0x65, 1, 2, 3, 4}));
  // A prefix as long as the length field gives the frame up.
  Handle h2(file, 2);
  const uint8_t long_prefix[4] = {0, 0, 0, 5};
  EXPECT_EQ(modify_nal_header3(h2.mfal(), h2.fp(), out.data(), 7, 32, 4, &written, 4, long_prefix),
            0);
  EXPECT_EQ(written, 0u);
}

int32_t Key(QCMN_MT mt, std::vector<uint8_t> bytes) {
  return qcmn_is_vkeyfrm(mt, bytes.data(), static_cast<int32_t>(bytes.size()));
}

TEST(KeyFrame, H264ByNalType) {
  EXPECT_EQ(Key(QCMN_MT_H264, {0, 0, 0, 1, 0x65}), 1);
  EXPECT_EQ(Key(QCMN_MT_H264, {0, 0, 0, 1, 0x41}), 0);
  EXPECT_EQ(Key(QCMN_MT_H264, {0, 0, 0, 1, 0x67}), 0);  // parameter set, nothing after it
  EXPECT_EQ(Key(QCMN_MT_H264, {0, 0, 0, 1, 0x67, 0, 0, 1, 0x68, 0, 0, 1, 0x65}), 1);
  EXPECT_EQ(Key(QCMN_MT_H264, {0, 0, 0, 1, 0x41, 0, 0, 1, 0x65}), 0);  // first slice decides
  EXPECT_EQ(Key(QCMN_MT_H264, {0, 0, 1}), 0);
}

TEST(KeyFrame, HevcByNalType) {
  EXPECT_EQ(Key(QCMN_MT_HEVC, {0, 0, 0, 1, 19 << 1, 1}), 1);  // IDR_W_RADL
  EXPECT_EQ(Key(QCMN_MT_HEVC, {0, 0, 0, 1, 21 << 1, 1}), 1);  // CRA
  EXPECT_EQ(Key(QCMN_MT_HEVC, {0, 0, 0, 1, 1 << 1, 1}), 0);   // TRAIL_R
  // VPS, SPS, PPS (32-34) scan on to the slice.
  EXPECT_EQ(Key(QCMN_MT_HEVC, {0, 0, 1, 32 << 1, 0, 0, 1, 33 << 1, 0, 0, 1, 16 << 1}), 1);
  EXPECT_EQ(Key(QCMN_MT_HEVC, {0, 0, 1, 22 << 1}), 0);  // reserved IRAP: no decision
}

TEST(KeyFrame, Vp8AndVp9) {
  EXPECT_EQ(Key(QCMN_MT_VP8, {0x10, 0x02, 0x00, 0x9D, 0x01, 0x2A}), 1);
  EXPECT_EQ(Key(QCMN_MT_VP8, {0x11, 0x02, 0x00, 0x9D, 0x01, 0x2B}), 0);
  EXPECT_EQ(Key(QCMN_MT_VP8, {0x10, 0x02}), 0);  // too short to hold the start code
  EXPECT_EQ(Key(QCMN_MT_VP9, {0x82}), 1);        // profile 0, show frame, key frame
  EXPECT_EQ(Key(QCMN_MT_VP9, {0x86}), 0);        // inter frame
  EXPECT_EQ(Key(QCMN_MT_VP9, {0x8A, 0x00}), 1);  // bit 3 set: the next byte's top bit decides
  EXPECT_EQ(Key(QCMN_MT_VP9, {0x8A, 0x80}), 0);
  EXPECT_EQ(Key(QCMN_MT_VP9, {}), 0);
}

TEST(KeyFrame, Mpeg4VopAndShortHeader) {
  EXPECT_EQ(Key(QCMN_MT_MPEG4, {0, 0, 1, 0xB6, 0x10}), 1);     // I-VOP
  EXPECT_EQ(Key(QCMN_MT_MPEG4, {0, 0, 1, 0xB6, 0x50}), 0);     // P-VOP
  EXPECT_EQ(Key(QCMN_MT_MPEG4, {0, 0, 1, 0xB6}), 0);           // too short
  EXPECT_EQ(Key(QCMN_MT_MPEG4, {0, 0, 0x80, 0x02, 0x08}), 1);  // short header, intra
  EXPECT_EQ(Key(QCMN_MT_MPEG4, {0, 0, 0x80, 0x02, 0x0A}), 0);  // short header, inter
  EXPECT_EQ(Key(QCMN_MT_MPEG4, {0, 0, 0x80, 0x01, 0x08}), 0);  // marker bits wrong
}

TEST(KeyFrame, H263AndSorenson) {
  EXPECT_EQ(Key(QCMN_MT_H263, {0, 0, 0x80, 0x02, 0x08, 0, 0}), 1);
  EXPECT_EQ(Key(QCMN_MT_H263, {0, 0, 0x80, 0x02, 0x0A, 0, 0}), 0);
  // Extended (PLUSPTYPE) source format: the picture type sits in the next bytes.
  EXPECT_EQ(Key(QCMN_MT_H263, {0, 0, 0x80, 0x02, 0x1C, 0x80, 0, 0x00}), 1);
  EXPECT_EQ(Key(QCMN_MT_H263, {0, 0, 0x80, 0x02, 0x1C, 0x80, 0, 0x04}), 0);
  EXPECT_EQ(Key(QCMN_MT_H263, {0, 0, 0x80, 0x02, 0x1C, 0x00, 0, 0}), 1);
  EXPECT_EQ(Key(QCMN_MT_H263, {0, 0, 0x80, 0x02, 0x1C, 0x10, 0, 0}), 0);
  // Sorenson: picture type two bits after the size, which is 8 or 16 bits wide or implied.
  EXPECT_EQ(Key(QCMN_MT_FLV1, {0, 0, 0x84, 0, 0x00, 0, 0x00, 0}), 1);
  EXPECT_EQ(Key(QCMN_MT_FLV1, {0, 0, 0x84, 0, 0x00, 0, 0x20, 0}), 0);
  EXPECT_EQ(Key(QCMN_MT_FLV1, {0, 0, 0x84, 1, 0x00, 0, 0x00, 0, 0x40}), 0);
  EXPECT_EQ(Key(QCMN_MT_FLV1, {0, 0, 0x84, 1, 0x00, 0, 0x00, 0, 0x00}), 1);
}

TEST(KeyFrame, FirstByteRulesAndTypesWithoutARule) {
  EXPECT_EQ(Key(QCMN_MT_WMV7, {0x3F}), 1);
  EXPECT_EQ(Key(QCMN_MT_DIVX3, {0x40}), 0);
  EXPECT_EQ(Key(QCMN_MT_WMV8, {0x7F}), 1);
  EXPECT_EQ(Key(QCMN_MT_WMV8, {0x80}), 0);
  for (QCMN_MT mt :
       std::vector<QCMN_MT>{QCMN_MT_WMV9, QCMN_MT_VC1, QCMN_MT_RV40, QCMN_MT_AV1, 101, 300}) {
    EXPECT_EQ(Key(mt, {0, 0, 0, 1, 0x65, 0}), 0) << mt;
  }
}

}  // namespace
}  // namespace mkvtest
