// qmkvdump: opens a Matroska file through the extractor's file access layer and reports what
// the demuxer alone made of it (header, streams, metadata, frames per stream), below the plug-in
// interface that qmkvprobe drives.
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "demux/qmkvd.h"
#include "file_source.h"
#include "mfal/qcmn_mfal_android_q.h"

namespace {

void PrintHeader(const QMKVD_CTX* ctx) {
  const QMKVD_INFO& info = ctx->info;
  printf("doctype: %s (version %u, read version %u)\n", ctx->doctype, ctx->doctype_version,
         ctx->doctype_read_version);
  printf("segment: data at %" PRId64 ", size %" PRId64 "\n", ctx->segment_data_pos,
         ctx->segment_size);
  printf("timecode scale: %u ns\n", info.timecode_scale);
  printf("duration: %.3f ticks\n", info.duration);
  printf("title: %s\n", info.title);
  printf("muxing app: %s\n", info.muxing_app);
  printf("writing app: %s\n", info.writing_app);
  printf(
      "found: info=%d tracks=%d cues=%d cluster=%d seekhead=%d tags=%d chapters=%d "
      "attachments=%d\n",
      ctx->found.info, ctx->found.tracks, ctx->found.cues, ctx->found.cluster, ctx->found.seekhead,
      ctx->found.tags, ctx->found.chapters, ctx->found.attachments);
  printf("tracks element: data at %" PRId64 ", size %u\n", ctx->tracks.pos.data_pos,
         ctx->tracks.pos.size);
  printf("first cluster: data at %" PRId64 ", size %u\n", ctx->first_cluster.pos.data_pos,
         ctx->first_cluster.pos.size);
  if (ctx->found.cues) {
    printf("cues: data at %" PRId64 ", size %u, %u cue points\n", ctx->cues.data_pos,
           ctx->cues.size, ctx->cues.count);
  }
}

void PrintStreams(const QMKVD_CTX* ctx, const QMKVD_FILE_INFO& info) {
  for (uint32_t i = 0; i < info.stream_count; ++i) {
    const QMKVDS_CTX& s = ctx->streams[i];
    const QMKVD_TRACK& t = s.track;
    printf("stream %u: track %u type %u codec %s tag 0x%08x language %s", i, t.number, t.type,
           t.codec_id, info.codec_tag[i], t.language);
    if (t.type == 1) printf(" video %ux%u", t.video.pixel_width, t.video.pixel_height);
    if (t.type == 2) {
      printf(" audio %u Hz %u ch", t.audio.sampling_frequency, t.audio.channels);
    }
    if (t.codec_private_size) printf(" private %u bytes", t.codec_private_size);
    printf("\n");
  }
}

void PrintMetadata(const QMKVD_METADATA* m) {
  if (!m) return;
  static const char* const kNames[] = {"title", "artist",   "album",  "comment", "",
                                       "",      "composer", "writer", "date"};
  for (int i = 0; i < 9; ++i) {
    if (m->slots[i].length == 0) continue;
    printf("metadata %s: %.*s\n", kNames[i], static_cast<int>(m->slots[i].length),
           reinterpret_cast<const char*>(m->slots[i].text));
  }
  if (m->year) printf("metadata year: %d\n", m->year);
}

// A seek asked for on the command line: a time in microseconds and a mode (0 sync at or
// before, 1 sync at or after, 2 the cue before the last one used, 3 nearest sync).
struct SeekRequest {
  bool wanted = false;
  int64_t time_us = 0;
  uint32_t mode = 0;
};

// Seeks the stream as a track source would before its first read, and prints where it landed.
// False when the seek failed (the stream is then not read).
bool Seek(QMKVDS_CTX* s, uint32_t index, const SeekRequest& seek,
          const qmkvtools::FileSource& file) {
  const uint64_t reads_before = file.read_calls();
  const int64_t time = seek.time_us * 10;
  int64_t landed = -1;
  const int32_t status = qmkvds_seek(s, &time, &landed, seek.mode);
  printf("stream %u: seek %" PRId64 " us mode %u: status %d landed %" PRId64 " us reads %" PRIu64
         "\n",
         index, seek.time_us, seek.mode, status, landed / 10,
         static_cast<uint64_t>(file.read_calls() - reads_before));
  return status == 0;
}

// Reads every frame of one stream to its end, as a track source would, and prints a summary.
void ReadStream(QMKVD_CTX* ctx, uint32_t index, const SeekRequest& seek,
                const qmkvtools::FileSource& file) {
  int32_t err = 0;
  QMKVDS_CTX* s = qmkvds_open(ctx, static_cast<int32_t>(index), &err);
  if (!s) {
    printf("stream %u: open failed (%d)\n", index, err);
    return;
  }
  if (seek.wanted && !Seek(s, index, seek, file)) {
    qmkvds_close(s);
    return;
  }
  const uint64_t reads_before = file.read_calls();
  std::vector<uint8_t> buffer(1 << 20);
  uint64_t frames = 0, keys = 0, bytes = 0;
  int64_t first = 0, last = 0;
  int32_t status = 0;
  for (;;) {
    uint32_t size = 0;
    int64_t time = 0, end = 0;
    int32_t sync = 0;
    status = qmkvds_get_frm(s, buffer.data(), static_cast<int32_t>(buffer.size()), &size, &time,
                            &end, &sync);
    if (status == QMKVD_ERR_SMALL && buffer.size() < (64u << 20)) {
      buffer.resize(buffer.size() * 4);  // the frame stays pending only for a size query
      continue;
    }
    if (status != 0) break;
    if (frames == 0) {
      first = time;
      if (seek.wanted)
        printf("stream %u: first frame %" PRId64 " us sync %d\n", index, time / 10, sync);
    }
    last = time;
    frames++;
    keys += sync ? 1 : 0;
    bytes += size;
  }
  const uint64_t reads = file.read_calls() - reads_before;
  printf("stream %u: frames %" PRIu64 " key %" PRIu64 " bytes %" PRIu64 " first %" PRId64
         " us last %" PRId64 " us end %d reads %" PRIu64 "\n",
         index, frames, keys, bytes, first / 10, last / 10, status, reads);
  qmkvds_close(s);
}

// Runs the header parse alone, so that the report shows what was found even when creation
// refuses the file.
int ProbeHeader(QCMN_MFAL* mfal) {
  QMKVD_CTX* ctx = static_cast<QMKVD_CTX*>(calloc(1, sizeof(QMKVD_CTX)));
  if (!ctx) return -1;
  ctx->check = QMKVD_CHECK;
  ctx->self = ctx;
  ctx->mfal = *mfal;
  int status = qmkvd_header_parse(ctx);
  printf("header parse: %d\n", status);
  PrintHeader(ctx);
  qmkvd_delete(ctx);
  return status;
}

}  // namespace

// [--seek MICROSECONDS MODE] FILE
bool ParseArgs(int argc, char** argv, SeekRequest* seek, const char** path) {
  int at = 1;
  if (argc == 5 && strcmp(argv[1], "--seek") == 0) {
    char* end = nullptr;
    seek->time_us = strtoll(argv[2], &end, 10);
    if (*end != '\0' || seek->time_us < 0) return false;
    const unsigned long mode = strtoul(argv[3], &end, 10);
    if (*end != '\0' || mode > 3) return false;
    seek->mode = static_cast<uint32_t>(mode);
    seek->wanted = true;
    at = 4;
  }
  if (argc != at + 1) return false;
  *path = argv[at];
  return true;
}

int main(int argc, char** argv) {
  SeekRequest seek;
  const char* path = nullptr;
  if (!ParseArgs(argc, argv, &seek, &path)) {
    fprintf(stderr, "usage: %s [--seek MICROSECONDS MODE] FILE.mkv\n", argv[0]);
    fprintf(stderr, "  MODE: 0 sync at or before, 1 sync at or after, 2 previous cue, 3 nearest\n");
    return 2;
  }
  qmkvtools::FileSource file(path);
  if (!file.ok()) {
    fprintf(stderr, "cannot open %s\n", path);
    return 2;
  }
  android::DataSourceHelper source(file.csource());
  QCMN_MFAL mfal;
  if (qcmn_mfal_init(&mfal, &source) != 0) return 1;

  int header = ProbeHeader(&mfal);
  QMKVD_FILE_INFO info;
  int32_t err = 0;
  uint32_t flags = QMKVD_FLAG_PTS;
  QMKVD_CTX* ctx = qmkvd_create(&mfal, &flags, &info, &err);
  printf("create: %d\n", err);
  if (ctx) {
    printf("streams: %u (video %u, audio %u, text %u)\n", info.stream_count, info.video_count,
           info.audio_count, info.text_count);
    printf("duration: %" PRId64 " us\n", info.duration / 10);
    PrintStreams(ctx, info);
    PrintMetadata(info.metadata);
    for (uint32_t i = 0; i < info.stream_count; ++i) {
      ReadStream(ctx, i, seek, file);
    }
  }
  qmkvd_delete(ctx);
  qcmn_mfal_deinit(&mfal);
  printf("reads: %llu\n", file.read_calls());
  return header == 0 ? 0 : 1;
}
