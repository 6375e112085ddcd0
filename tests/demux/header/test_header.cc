// The header parse: EBML header checks, the Segment, and the level-1 walk with its stopping
// rules and messages.
#include <gtest/gtest.h>

#include "demux_harness.h"
#include "log_capture.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

const char kHeaderTag[] = "qmkvd_header";

TEST(HeaderParse, FileThatIsNotEbmlIsRefused) {
  std::vector<uint8_t> bytes = MinimalFile();
  bytes[3] = 0xA4;
  LogCapture log;
  Created c(bytes);
  EXPECT_EQ(c.err(), -6);
  EXPECT_EQ(c.ctx(), nullptr);
  EXPECT_TRUE(log.Has(6, kHeaderTag, "[parser] ebml is not founded")) << log.Dump();
  EXPECT_TRUE(log.Has(6, "qmkvd", "[qmkvd_create] header parsing failed")) << log.Dump();
}

TEST(HeaderParse, SegmentMustFollowTheEbmlHeader) {
  LogCapture log;
  HeaderParse p(Serialize({EbmlHeader(), MinimalInfo()}));
  EXPECT_EQ(p.status(), -1);
  EXPECT_TRUE(log.Has(6, kHeaderTag, "[parser] segment is not founded")) << log.Dump();

  LogCapture quiet;
  HeaderParse nothing(Serialize({EbmlHeader()}));
  EXPECT_EQ(nothing.status(), -1);
  EXPECT_TRUE(quiet.lines().empty()) << quiet.Dump();
}

TEST(HeaderParse, NeedsInfoTracksAndACluster) {
  std::vector<std::vector<Element>> incomplete = {
      {OneTrack(), SmallCluster()},
      {MinimalInfo(), SmallCluster()},
      {MinimalInfo(), OneTrack()},
  };
  for (auto& children : incomplete) {
    LogCapture log;
    HeaderParse p(MkvFile(children));
    EXPECT_EQ(p.status(), -1);
    EXPECT_TRUE(log.Has(6, kHeaderTag, "Cannot find enough information. Check file")) << log.Dump();
  }
}

TEST(HeaderParse, UnknownSizeSegmentEndsWhereNoHeaderCanBeRead) {
  LogCapture log;
  std::vector<uint8_t> bytes =
      Serialize({EbmlHeader(),
                 Segment({MinimalInfo(), OneTrack(), SmallCluster()}).SizeWidth(8).UnknownSize()});
  HeaderParse p(bytes);
  EXPECT_EQ(p.status(), 0);
  EXPECT_EQ(p->segment_size, 72057594037927935LL);
  EXPECT_TRUE(log.Has(6, kHeaderTag, "Unknown data. Check file. Abnormal file.")) << log.Dump();
}

// Chapters, Attachments and Tags are only stepped over, but a child header that cannot be read
// inside them fails the whole parse.
// Chapters, Attachments and Tags only describe the file: a broken one is left out with a
// warning, and the file opens.
TEST(HeaderParse, BrokenChaptersAttachmentsOrTagsCostOnlyThemselves) {
  for (uint32_t id : {0x1043A770u, 0x1941A469u, 0x1254C367u}) {
    LogCapture log;
    HeaderParse p(MkvFile({MinimalInfo(), OneTrack(),
                           Master(id, {Uint(0xEC, 1), Raw({0x00, 0x81})}), SmallCluster()}));
    EXPECT_EQ(p.status(), 0) << std::hex << id;
    const char* name = id == 0x1043A770u ? "Chapters" : id == 0x1941A469u ? "Attachments" : "Tags";
    EXPECT_TRUE(log.Has(5, kHeaderTag, std::string("damaged ") + name + " left out")) << log.Dump();
    EXPECT_EQ(p->found.tags + p->found.chapters + p->found.attachments, 0);
    HeaderParse fine(
        MkvFile({MinimalInfo(), OneTrack(), Master(id, {Uint(0xEC, 1), Binary(0x4234, {1, 2, 3})}),
                 SmallCluster()}));
    EXPECT_EQ(fine.status(), 0) << std::hex << id;
  }
}

}  // namespace
}  // namespace mkvtest
