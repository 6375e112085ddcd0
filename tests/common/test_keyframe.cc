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

}  // namespace
