// How many reads of the data source a seek costs, with and without cues: the first seek of a
// stream (which also builds its seek table or cluster list) and the seeks after it, each
// followed by the read of the frame it landed on. Reads are counted by the in-memory source.
//
//   seek_reads FILE...     (default: the seek files of the test corpus)
#include <inttypes.h>
#include <stdio.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "demux/qmkvd.h"
#include "mem_source.h"

namespace {

const int kSeeks = 40;

struct Cost {
  uint64_t first = 0;
  uint64_t total_rest = 0;
  uint64_t max_rest = 0;
  int failed = 0;
};

// Seeks stream `index` to kSeeks times spread over the file, in `mode`, reading one frame
// after each.
Cost MeasureStream(mkvtest::MemFile& file, QMKVD_CTX* ctx, int32_t index, int64_t duration,
                   uint32_t mode) {
  Cost cost;
  QMKVDS_CTX* s = qmkvds_open(ctx, index, nullptr);
  if (!s) return cost;
  std::vector<uint8_t> buffer(4 << 20);
  for (int i = 0; i < kSeeks; ++i) {
    // A scattered order, so that seeks go both ways.
    const int64_t time = duration * ((i * 17) % kSeeks + 1) / (kSeeks + 1);
    const uint64_t before = file.source.read_calls();
    int64_t out = 0;
    uint32_t size = 0;
    if (qmkvds_seek(s, &time, &out, mode) != 0 ||
        qmkvds_get_frm(s, buffer.data(), static_cast<int32_t>(buffer.size()), &size, nullptr,
                       nullptr, nullptr) != 0) {
      cost.failed++;
    }
    const uint64_t reads = file.source.read_calls() - before;
    if (i == 0) {
      cost.first = reads;
    } else {
      cost.total_rest += reads;
      if (reads > cost.max_rest) cost.max_rest = reads;
    }
  }
  qmkvds_close(s);
  return cost;
}

void MeasureFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), {});
  if (bytes.empty()) {
    printf("%s: cannot read\n", path.c_str());
    return;
  }
  mkvtest::MemFile file(bytes);
  QMKVD_FILE_INFO info;
  int32_t err = 0;
  uint32_t flags = QMKVD_FLAG_PTS;
  QMKVD_CTX* ctx = qmkvd_create(&file.mfal, &flags, &info, &err);
  if (!ctx) {
    printf("%s: create failed (%d)\n", path.c_str(), err);
    return;
  }
  printf("%s: %zu bytes, cues %s (%u entries)\n", path.c_str(), bytes.size(),
         ctx->seek.cues_usable ? "usable" : "not usable", ctx->cues.count);
  for (uint32_t i = 0; i < info.stream_count; ++i) {
    for (uint32_t mode : {QMKVD_SEEK_BEFORE, QMKVD_SEEK_AFTER}) {
      const Cost c = MeasureStream(file, ctx, static_cast<int32_t>(i), info.duration, mode);
      printf("  stream %u (type %u) mode %u: first seek %" PRIu64
             " reads, then %.1f on average, "
             "at most %" PRIu64 " (%d of %d seeks found no frame)\n",
             i, ctx->streams[i].kind, mode, c.first,
             static_cast<double>(c.total_rest) / (kSeeks - 1), c.max_rest, c.failed, kSeeks);
    }
  }
  qmkvd_delete(ctx);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> paths;
  for (int i = 1; i < argc; ++i) paths.push_back(argv[i]);
  if (paths.empty()) {
    for (const char* name :
         {"seek_ffmpeg.mkv", "seek_cues.mkv", "seek_nocues.mkv", "seek_audio.mka"}) {
      paths.push_back(std::string(QMKV_CORPUS_DIR) + "/" + name);
    }
  }
  for (const std::string& path : paths) MeasureFile(path);
  return 0;
}
