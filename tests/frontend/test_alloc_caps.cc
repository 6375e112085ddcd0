// What a small hostile file can make the extractor allocate. Each file here is a few hundred
// bytes that declare sizes and counts far beyond themselves (a 200 MB CodecPrivate, Cues, a
// frame, ContentCompSettings, thousands of tags or Clusters); the heap the process holds while
// the file is opened, every track read to its end and seeked in every mode must stay under
// kCap. The heap is counted by this program's own malloc (tests/support/alloc_counter.cc).
#include <gtest/gtest.h>
#include <zlib.h>

#include <memory>
#include <string>
#include <vector>

#include "alloc_counter.h"
#include "demux/read/qmkvd_stream.h"
#include "demux_harness.h"
#include "mkv_ids.h"
#include "mkv_shapes.h"
#include "plugin_harness.h"
#include "real_file.h"

namespace mkvtest {
namespace {

using namespace id;

using Bytes = std::vector<uint8_t>;

// The framework's buffers for a small video track are the largest part of it.
const size_t kCap = 16u << 20;
const uint64_t kHuge = 200u << 20;  // what the files claim

Element AvcTrack() {
  return VideoTrack(1, {Binary(kCodecPrivate, {1, 0x64, 0, 0x1F, 0xFF, 0xE1})}, "V_MPEG4/ISO/AVC");
}

// Opens the file through the plug-in, reads every track to its end, seeks each in every mode
// and reads once after each seek. Returns the peak heap above what was held before.
size_t PeakThroughPlugin(const Bytes& bytes) {
  Plugin plugin(bytes);
  alloc_counter::ResetPeak();
  const size_t before = alloc_counter::Live();
  if (plugin.Open()) {
    Format file;
    plugin.FileFormat(&file);
    for (size_t i = 0; i < plugin.CountTracks(); ++i) {
      Format format;
      plugin.TrackFormat(i, &format);
      std::unique_ptr<PluginTrack> track = plugin.Track(i);
      if (!track || track->Start() != AMEDIA_OK) continue;
      track->ReadAll(nullptr, 100000);
      for (uint32_t mode = 0; mode < 4; ++mode) {
        track->Seek(500000, mode);
        track->Read();
      }
      track->Stop();
    }
  }
  plugin.Close();
  return alloc_counter::Peak() - before;
}

struct Hostile {
  const char* what;
  Bytes bytes;
};

std::vector<Hostile> HostileFiles() {
  std::vector<Hostile> files;
  files.push_back(
      {"CodecPrivate claiming 200 MB",
       FileOf({VideoTrack(1, {Binary(kCodecPrivate, {1, 2, 3}).DeclaredSize(kHuge)})}, {}, true)});
  files.push_back({"Cues claiming 200 MB", FileOf({VideoTrack(1)},
                                                  {ClusterAt(0, {SimpleBlock(1, 0, 0x80, {1})}),
                                                   Cues({CuePoint(0, 1, 0)}).DeclaredSize(kHuge)},
                                                  true)});
  files.push_back({"a frame claiming 200 MB",
                   FileOf({VideoTrack(1)},
                          {ClusterAt(0, {SimpleBlock(1, 0, 0x80, {1, 2, 3}).DeclaredSize(kHuge)})
                               .DeclaredSize(kHuge + 100)},
                          true)});
  files.push_back(
      {"an AVC frame claiming 200 MB after a seek",
       FileOf({AvcTrack()},
              {ClusterAt(0, {SimpleBlock(1, 0, 0x80, {0, 0, 0, 1, 0x65}),
                             SimpleBlock(1, 600, 0x00, {0, 0, 0, 1, 0x41}).DeclaredSize(kHuge)})
                   .DeclaredSize(kHuge + 100)},
              true)});
  files.push_back(
      {"ContentCompSettings claiming 200 MB",
       FileOf({VideoTrack(
                  1, {Master(kContentEncodings,
                             {Master(kContentEncoding, {Master(kContentCompression,
                                                               {Uint(kContentCompAlgo, 3),
                                                                Binary(kContentCompSettings, {0})
                                                                    .DeclaredSize(kHuge)})})})})},
              {}, true)});
  // 4 MiB of zeros deflate to about 4 KB; the frame may inflate to 1 MiB at most.
  const Bytes zeros(4u << 20, 0);
  uLongf packed_size = compressBound(zeros.size());
  Bytes packed(packed_size);
  compress2(packed.data(), &packed_size, zeros.data(), zeros.size(), 9);
  packed.resize(packed_size);
  const Element zlib =
      Master(kContentEncodings, {Master(kContentEncoding, {Master(kContentCompression, {})})});
  files.push_back(
      {"a zlib frame inflating to 4 MiB",
       FileOf({VideoTrack(1, {zlib})}, {ClusterAt(0, {SimpleBlock(1, 0, 0x80, packed)})}, true)});
  files.push_back({"a zlib frame claiming 200 MB",
                   FileOf({VideoTrack(1, {zlib})},
                          {ClusterAt(0, {SimpleBlock(1, 0, 0x80, {0x78, 0x9C}).DeclaredSize(kHuge)})
                               .DeclaredSize(kHuge + 100)},
                          true)});
  std::vector<Element> tags;
  for (int i = 0; i < 3000; ++i) {
    tags.push_back(Master(kSimpleTag, {String(kTagName, "T"), String(kTagString, "v")}));
  }
  files.push_back(
      {"3000 simple tags",
       FileOf({VideoTrack(1)}, {Master(kTags, {Master(kTag, tags)}), ClusterAt(0, {})}, true)});
  std::vector<Element> clusters;
  for (int i = 0; i < 3000; ++i) clusters.push_back(ClusterAt(static_cast<uint64_t>(i), {}));
  clusters.push_back(ClusterAt(4000, {SimpleBlock(1, 0, 0x80, {1})}));
  files.push_back({"3000 empty Clusters", FileOf({VideoTrack(1)}, clusters, true)});
  return files;
}

TEST(AllocationCaps, HostileSmallFilesStayUnderTheCapThroughThePlugin) {
  for (const Hostile& h : HostileFiles()) {
    SCOPED_TRACE(h.what);
    EXPECT_LT(h.bytes.size(), 200000u);
    const size_t peak = PeakThroughPlugin(h.bytes);
    EXPECT_LT(peak, kCap) << h.what << ": " << h.bytes.size() << "-byte file";
    printf("%-45s %7zu-byte file: peak heap %zu bytes\n", h.what, h.bytes.size(), peak);
  }
}

// Below the plug-in: a size-only query after a seek looks into a video frame for a key frame,
// in scratch memory when no buffer is given. A frame claiming more than the file holds cannot
// be a key frame and gets no scratch.
TEST(AllocationCaps, KeyFrameLookAfterASeekAllocatesNoMoreThanTheFileHolds) {
  const Bytes bytes = HostileFiles()[3].bytes;
  Created c(bytes);
  ASSERT_EQ(c.err(), 0);
  QMKVDS_CTX* s = qmkvds_open(c.ctx(), 0, nullptr);
  ASSERT_NE(s, nullptr);
  uint32_t size = 0;
  ASSERT_EQ(qmkvds_get_frm(s, nullptr, 0, &size, nullptr, nullptr, nullptr), 0);
  uint8_t buffer[64];
  ASSERT_EQ(qmkvds_get_frm(s, buffer, sizeof(buffer), &size, nullptr, nullptr, nullptr), 0);
  s->key_frame_pending = 1;
  alloc_counter::ResetPeak();
  const size_t before = alloc_counter::Live();
  int64_t time = 0;
  qmkvds_get_frm(s, nullptr, 0, &size, &time, nullptr, nullptr);
  EXPECT_LT(alloc_counter::Peak() - before, size_t{1} << 20);
  qmkvds_close(s);
}

// Frames are read into the caller's buffer: once a stream is open, reading it to its end (with
// NAL rewriting, lacing, header stripping, inflating) allocates nothing after the first frame,
// however many frames it has.
TEST(AllocationCaps, ReadingFramesAllocatesNothing) {
  for (const char* name : {"conformance/h264_aac_mkvmerge.mkv", "corpus/hdrstrip.mkv",
                           "conformance/vp9_flac_mkvmerge.mkv", "conformance/zlib_mkvmerge.mkv"}) {
    SCOPED_TRACE(name);
    Created c(ReadDataFile(name));
    ASSERT_EQ(c.err(), 0);
    std::vector<uint8_t> buffer(1 << 20);
    for (int32_t i = 0; i < c.ctx()->stream_count; ++i) {
      QMKVDS_CTX* s = qmkvds_open(c.ctx(), i, nullptr);
      ASSERT_NE(s, nullptr);
      uint32_t size = 0;
      ASSERT_EQ(qmkvds_get_frm(s, buffer.data(), 1 << 20, &size, nullptr, nullptr, nullptr), 0);
      const size_t before = alloc_counter::Calls();
      int frames = 1;
      while (qmkvds_get_frm(s, buffer.data(), 1 << 20, &size, nullptr, nullptr, nullptr) == 0) {
        ++frames;
      }
      EXPECT_EQ(alloc_counter::Calls() - before, 0u)
          << "stream " << i << ", " << frames << " frames";
      qmkvds_close(s);
    }
  }
}

}  // namespace
}  // namespace mkvtest
