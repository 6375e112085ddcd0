// The header parse: the level-1 walk and what a broken descriptive element costs.
#include <gtest/gtest.h>

#include "demux_harness.h"
#include "log_capture.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

using namespace id;

// Chapters, Attachments and Tags only describe the file: a child header that cannot be read
// inside one leaves that one out with a warning, and the file opens.
TEST(HeaderParse, BrokenChaptersAttachmentsOrTagsCostOnlyThemselves) {
  for (uint32_t master : {uint32_t{0x1043A770}, uint32_t{kAttachments}, uint32_t{kTags}}) {
    LogCapture log;
    HeaderParse p(MkvFile({MinimalInfo(), OneTrack(),
                           Master(master, {Uint(kVoid, 1), Raw({0x00, 0x81})}), SmallCluster()}));
    EXPECT_EQ(p.status(), 0) << std::hex << master;
    const char* name = master == kAttachments ? "Attachments"
                       : master == kTags      ? "Tags"
                                              : "Chapters";
    EXPECT_TRUE(log.Has(5, "qmkvd_header", std::string("damaged ") + name + " left out"))
        << log.Dump();
    EXPECT_EQ(p->found.tags + p->found.chapters + p->found.attachments, 0);
    HeaderParse fine(
        MkvFile({MinimalInfo(), OneTrack(),
                 Master(master, {Uint(kVoid, 1), Binary(0x4234, {1, 2, 3})}), SmallCluster()}));
    EXPECT_EQ(fine.status(), 0) << std::hex << master;
  }
}

}  // namespace
}  // namespace mkvtest
