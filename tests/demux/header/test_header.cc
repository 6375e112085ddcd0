// The header parse: EBML header checks, the Segment, and the level-1 walk with its stopping
// rules and messages.
#include <gtest/gtest.h>

#include "demux_harness.h"
#include "log_capture.h"
#include "mkv_shapes.h"

namespace mkvtest {
namespace {

const char kHeaderTag[] = "qmkvd_header";

std::vector<uint8_t> WithEbmlHeader(Element header, std::vector<Element> segment_children) {
  return Serialize({std::move(header), Segment(std::move(segment_children))});
}

TEST(HeaderParse, ReadsTheEbmlHeaderFields) {
  HeaderParse p(MinimalFile());
  ASSERT_EQ(p.status(), 0);
  EXPECT_STREQ(p->doctype, "matroska");
  EXPECT_EQ(p->ebml_version, 1u);
  EXPECT_EQ(p->ebml_read_version, 1u);
  EXPECT_EQ(p->ebml_max_id_length, 4u);
  EXPECT_EQ(p->ebml_max_size_length, 8u);
  EXPECT_EQ(p->doctype_version, 4u);
  EXPECT_EQ(p->doctype_read_version, 2u);
  EXPECT_EQ(p->ebml_data_pos, 5);
}

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

// The DocType is stored, not judged: anything up to 11 bytes passes, 12 bytes fail.
// The DocType is kept up to eleven bytes and never judged here; a longer one is cut.
TEST(HeaderParse, DocTypeUpToElevenBytesWhateverItSays) {
  for (const char* doctype : {"abcdefghijk", "abcdefghijklmnop"}) {
    HeaderParse p(WithEbmlHeader(EbmlHeader(doctype), {MinimalInfo(), OneTrack(), SmallCluster()}));
    EXPECT_EQ(p.status(), 0);
    EXPECT_STREQ(p->doctype, "abcdefghijk");
  }
}

TEST(HeaderParse, OversizedOrBrokenEbmlChildrenFail) {
  const std::vector<Element> body = {MinimalInfo(), OneTrack(), SmallCluster()};
  std::vector<Element> bad_headers = {
      Master(0x1A45DFA3, {Uint(0x4286, 1).Width(9), String(0x4282, "matroska")}),
      Master(0x1A45DFA3, {Uint(0x4286, 1), Uint(0xEC, 0).DeclaredSize(0x80000000ull)}),
      Master(0x1A45DFA3, {Raw({0x00, 0x81, 0x00})}),
  };
  for (auto& header : bad_headers) {
    LogCapture log;
    HeaderParse p(WithEbmlHeader(header, body));
    EXPECT_EQ(p.status(), -1);
    EXPECT_TRUE(log.Has("[parser] ebml data is not founded")) << log.Dump();
  }
  // Unknown children and empty known ones are passed over.
  HeaderParse p(WithEbmlHeader(
      Master(0x1A45DFA3, {Binary(0x4286, {}), Uint(0xEC, 7), String(0x4282, "matroska")}), body));
  EXPECT_EQ(p.status(), 0);
  EXPECT_EQ(p->ebml_version, 0u);
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

TEST(HeaderParse, StopsAtAClusterOnceInfoTracksAndCuesAreKnown) {
  LogCapture log;
  HeaderParse p(MkvFile({MinimalInfo(), OneTrack(), Cues({}), SmallCluster(),
                         Raw({0x00, 0x00, 0x00}), Master(0x1254C367, {})}));
  EXPECT_EQ(p.status(), 0);
  EXPECT_EQ(p->found.tags, 0);
  EXPECT_TRUE(log.lines().empty()) << log.Dump();
}

TEST(HeaderParse, WithoutCuesWalksOverEveryCluster) {
  HeaderParse p(MkvFile(
      {MinimalInfo(), OneTrack(), SmallCluster(0), SmallCluster(10), Master(0x1254C367, {})}));
  EXPECT_EQ(p.status(), 0);
  EXPECT_EQ(p->found.tags, 1);
  EXPECT_EQ(p->found.cues, 0);
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

TEST(HeaderParse, GarbageAfterTheEssentialsEndsTheWalkNotTheParse) {
  LogCapture log;
  HeaderParse p(MkvFile({MinimalInfo(), OneTrack(), SmallCluster(), Raw({0x00, 0x12})}));
  EXPECT_EQ(p.status(), 0);
  EXPECT_TRUE(log.Has("Unknown data. Check file. Abnormal file.")) << log.Dump();
}

TEST(HeaderParse, RepeatedLevel1ElementsAreTakenOnce) {
  Element broken_tags = Master(0x1254C367, {Raw({0x00})});
  HeaderParse p(MkvFile({
      Info({String(0x7BA9, "first")}),
      Info({String(0x7BA9, "second")}),
      OneTrack(),
      Master(0x1254C367, {}),
      broken_tags,
      Master(0x1043A770, {}),
      Master(0x1043A770, {Raw({0x00})}),
      Master(0x1941A469, {}),
      Master(0x1941A469, {Raw({0x00})}),
      SmallCluster(),
  }));
  ASSERT_EQ(p.status(), 0);
  EXPECT_STREQ(p->info.title, "first");
  EXPECT_EQ(p->found.tags, 1);
  EXPECT_EQ(p->found.chapters, 1);
  EXPECT_EQ(p->found.attachments, 1);
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

TEST(HeaderParse, RecordsWhereTheElementsStand) {
  Element info = MinimalInfo();
  Element tracks = OneTrack();
  Element cluster = SmallCluster();
  std::vector<uint8_t> bytes = MkvFile({info, tracks, cluster});
  HeaderParse p(bytes);
  ASSERT_EQ(p.status(), 0);
  const int64_t segment_data = static_cast<int64_t>(EncodedSize(EbmlHeader()) +
                                                    HeaderSize(Segment({info, tracks, cluster})));
  EXPECT_EQ(p->segment_data_pos, segment_data);
  EXPECT_EQ(p->info.pos.elem_pos, segment_data);
  EXPECT_EQ(p->info.pos.data_pos, segment_data + static_cast<int64_t>(HeaderSize(info)));
  const int64_t tracks_at = segment_data + static_cast<int64_t>(EncodedSize(info));
  EXPECT_EQ(p->tracks.pos.elem_pos, tracks_at);
  const int64_t cluster_at = tracks_at + static_cast<int64_t>(EncodedSize(tracks));
  EXPECT_EQ(p->first_cluster.pos.elem_pos, cluster_at);
  EXPECT_EQ(p->first_cluster.pos.data_pos, cluster_at + static_cast<int64_t>(HeaderSize(cluster)));
  EXPECT_EQ(p->first_cluster.pos.size, EncodedSize(cluster) - HeaderSize(cluster));
  EXPECT_EQ(p->first_cluster.current_data_pos, p->first_cluster.pos.data_pos);
  EXPECT_EQ(p->first_cluster.current_size, p->first_cluster.pos.size);
}

// The header parse reads headers only, never a Cluster's contents: of a file with 4 MB of
// Clusters, no more than the read cache's windows around the headers it visits.
TEST(HeaderParse, NeverReadsClusterPayloads) {
  std::vector<Element> children = {MinimalInfo(), OneTrack()};
  for (int i = 0; i < 4; ++i) {
    children.push_back(
        Cluster({Uint(0xE7, 0), SimpleBlock(1, 0, 0x80, std::vector<uint8_t>(1 << 20, 7))}));
  }
  children.push_back(Master(0x1254C367, {}));
  HeaderParse p(MkvFile(children));
  ASSERT_EQ(p.status(), 0);
  EXPECT_LE(p.source().bytes_read(), 6u * QCMN_MFAL_CACHE_WINDOW);
}

}  // namespace
}  // namespace mkvtest
