// The test-file builder itself, where it and the reader could share a mistake unseen: size
// widths, forced and declared sizes, integer widths and the three lacings. Plain IDs, strings and
// floats show up wrong in every other test at once.
#include <gtest/gtest.h>

#include "mkv_builder.h"

namespace mkvtest {
namespace {

using B = std::vector<uint8_t>;

B Concat(const std::vector<B>& parts) {
  B out;
  for (const B& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

TEST(MkvBuilder, XiphLacing) {
  EXPECT_EQ(Serialize(XiphLacedBlock(1, 0, 0x80, {{0xA1, 0xA2}, {0xB1}, {0xC1, 0xC2, 0xC3}})),
            (B{0xA3, 0x8D, 0x81, 0x00, 0x00, 0x82, 0x02, 0x02, 0x01, 0xA1, 0xA2, 0xB1, 0xC1, 0xC2,
               0xC3}));
  // 255 needs a terminating 0; 300 is 255 + 45. The last frame's size is implied.
  const std::vector<B> frames = {B(255, 1), B(300, 2), B(2, 3), B(4, 4)};
  const B body = Serialize(XiphLacedBlock(2, -1, 0x00, frames, false));
  const B head = {0xA1, 0x42, 0x3B, 0x82, 0xFF, 0xFF, 0x02, 0x03, 0xFF, 0x00, 0xFF, 0x2D, 0x02};
  EXPECT_EQ(body, Concat({head, Concat(frames)}));
}

TEST(MkvBuilder, EbmlLacing) {
  EXPECT_EQ(Serialize(EbmlLacedBlock(1, 0, 0x80, {{0xA1, 0xA2}, {0xB1}, {0xC1, 0xC2, 0xC3}})),
            (B{0xA3, 0x8D, 0x81, 0x00, 0x00, 0x86, 0x02, 0x82, 0xBE, 0xA1, 0xA2, 0xB1, 0xC1, 0xC2,
               0xC3}));
  // Differences -10, +20, then +64 and -64 (first to need two bytes), +63 and -63 (the
  // one-byte extremes). The first size 300 takes two bytes.
  const std::vector<B> frames = {B(300, 1), B(290, 2), B(310, 3), B(374, 4),
                                 B(310, 5), B(373, 6), B(310, 7), B(5, 8)};
  const B head = {0xA3, 0x48, 0xEF, 0x81, 0x00, 0x10, 0x86, 0x07, 0x41,
                  0x2C, 0xB5, 0xD3, 0x60, 0x3F, 0x5F, 0xBF, 0xFE, 0x80};
  EXPECT_EQ(Serialize(EbmlLacedBlock(1, 0x10, 0x80, frames)), Concat({head, Concat(frames)}));
}

TEST(MkvBuilder, FixedLacing) {
  EXPECT_EQ(Serialize(FixedLacedBlock(1, 0, 0x80, {{1, 2}, {3, 4}})),
            (B{0xA3, 0x89, 0x81, 0x00, 0x00, 0x84, 0x01, 0x01, 0x02, 0x03, 0x04}));
  EXPECT_EQ(Serialize(FixedLacedBlock(3, 0, 0x00, {{9}}, false)),
            (B{0xA1, 0x86, 0x83, 0x00, 0x00, 0x04, 0x00, 0x09}));
}

}  // namespace
}  // namespace mkvtest
