// Attached files and cover art: which attachment becomes the file format's album art, and what a
// hostile Attachments element can and cannot do.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "log_capture.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"
#include "plugin_harness.h"

namespace mkvtest {
namespace {

using namespace id;

using Bytes = std::vector<uint8_t>;

Element Attached(const std::string& name, const std::string& mime, Bytes data) {
  return Master(kAttachedFile, {String(kFileName, name), String(kFileMimeType, mime),
                                Binary(kFileData, std::move(data)), Uint(kFileUid, 7)});
}

Bytes Data(uint8_t fill, size_t n = 40) {
  return Bytes(n, fill);
}

// Attachments between Tracks and the first Cluster, as mkvmerge writes them.
Bytes FileWith(std::vector<Element> attached) {
  return MkvFile({MinimalInfo(), OneTrack(), Master(kAttachments, std::move(attached)),
                  Cluster({Uint(kTimecode, 0), SimpleBlock(1, 0, 0x80, Bytes(200, 1))})});
}

struct Opened {
  explicit Opened(Bytes bytes) : plugin(std::move(bytes)) {
    ok = plugin.Open() && plugin.FileFormat(&file) == AMEDIA_OK;
  }
  Bytes AlbumArt() const { return file.Buffer(AMEDIAFORMAT_KEY_ALBUMART); }
  Plugin plugin;
  Format file;
  bool ok = false;
};

TEST(CoverArt, AJpegOrPngNamedCoverWinsOverEarlierImages) {
  Opened o(FileWith(
      {Attached("back.png", "image/png", Data(1)), Attached("cover.gif", "image/gif", Data(2)),
       Attached("COVER.JPG", "image/jpeg", Data(3)), Attached("cover.png", "image/png", Data(4))}));
  ASSERT_TRUE(o.ok);
  EXPECT_EQ(o.AlbumArt(), Data(3));  // the first cover-named JPEG or PNG, in any case
}

// A file cut inside the cover's data: the header walk finds the Attachments after the Cluster,
// the data lies past the end, and no album art is made of it (nor memory allocated for it).
TEST(CoverArt, ACoverPastTheEndOfTheFileIsNotRead) {
  Element cover =
      Master(kAttachedFile, {String(kFileName, "cover.jpg"), Uint(kFileUid, 7),
                             String(kFileMimeType, "image/jpeg"), Binary(kFileData, Data(9, 500))});
  Bytes bytes = MkvFile({MinimalInfo(), OneTrack(),
                         Cluster({Uint(kTimecode, 0), SimpleBlock(1, 0, 0x80, Bytes(200, 1))}),
                         Master(kAttachments, {cover})});
  bytes.resize(bytes.size() - 300);
  LogCapture log;
  Opened o(bytes);
  ASSERT_TRUE(o.ok);
  EXPECT_FALSE(o.file.Has(AMEDIAFORMAT_KEY_ALBUMART));
  EXPECT_TRUE(log.Has("cover art \"cover.jpg\" lies past the end of the file")) << log.Dump();
}

}  // namespace
}  // namespace mkvtest
