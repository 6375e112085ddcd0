// webm_bench: a peer for qmkv_bench. Debian's libwebm parser reads every frame of every track of
// a file into a buffer, nothing printed, and the same line of figures comes out:
//
//   webm_bench FILE    mode=webm seconds=... frames=... payload=... rss_kib=...
#include <inttypes.h>
#include <stdio.h>
#include <sys/resource.h>
#include <time.h>

#include <vector>

#include <webm/callback.h>
#include <webm/file_reader.h>
#include <webm/status.h>
#include <webm/webm_parser.h>

namespace {

double Now() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

// Takes each frame's bytes into one buffer, as a player would hand them to a decoder.
class Frames : public webm::Callback {
 public:
  webm::Status OnFrame(const webm::FrameMetadata& /*metadata*/, webm::Reader* reader,
                       std::uint64_t* bytes_remaining) override {
    if (*bytes_remaining > buffer_.size()) buffer_.resize(*bytes_remaining);
    frames_++;
    while (*bytes_remaining > 0) {
      std::uint64_t got = 0;
      const webm::Status status =
          reader->Read(static_cast<std::size_t>(*bytes_remaining), buffer_.data(), &got);
      *bytes_remaining -= got;
      payload_ += got;
      if (!status.completed_ok() && status.code != webm::Status::kOkPartial) return status;
      if (got == 0 && !status.completed_ok()) return status;
    }
    return webm::Status(webm::Status::kOkCompleted);
  }
  uint64_t frames() const { return frames_; }
  uint64_t payload() const { return payload_; }

 private:
  std::vector<std::uint8_t> buffer_;
  uint64_t frames_ = 0;
  uint64_t payload_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: webm_bench FILE\n");
    return 2;
  }
  FILE* file = fopen(argv[1], "rb");
  if (!file) return 1;
  const double start = Now();
  webm::FileReader reader(file);
  Frames callback;
  webm::WebmParser parser;
  const webm::Status status = parser.Feed(&callback, &reader);
  const double seconds = Now() - start;
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  printf("mode=webm seconds=%.4f frames=%" PRIu64 " payload=%" PRIu64 " status=%d rss_kib=%ld\n",
         seconds, callback.frames(), callback.payload(), static_cast<int>(status.code),
         usage.ru_maxrss);
  return status.completed_ok() ? 0 : 1;
}
