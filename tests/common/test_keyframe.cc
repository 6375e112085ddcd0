// The key-frame test on a frame's first bytes, codec by codec.
#include <gtest/gtest.h>

#include <vector>

#include "common/qcmn_keyframe.h"

namespace {

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

}  // namespace
