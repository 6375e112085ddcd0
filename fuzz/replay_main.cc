// Replays inputs through a fuzz target without libFuzzer: every file named on the command line,
// and every regular file under each directory named (recursively, hidden files excepted), in name
// order. A crash or a
// sanitizer report ends the run with a non-zero status; otherwise it prints the count and
// exits 0. No argument, or a path that does not exist, is a usage error (2), so a mistyped
// corpus path cannot pass for an empty one.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fs = std::filesystem;

namespace {

bool Collect(const fs::path& path, std::vector<fs::path>* files) {
  std::error_code ec;
  if (fs::is_regular_file(path, ec)) {
    files->push_back(path);
    return true;
  }
  if (!fs::is_directory(path, ec)) return false;
  std::vector<fs::path> found;
  for (fs::recursive_directory_iterator it(path, ec), end; !ec && it != end; it.increment(ec)) {
    // Hidden files (the .keep of an empty directory) are not inputs.
    if (it->is_regular_file(ec) && it->path().filename().string()[0] != '.') {
      found.push_back(it->path());
    }
  }
  if (ec) return false;
  std::sort(found.begin(), found.end());
  files->insert(files->end(), found.begin(), found.end());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    fprintf(stderr, "usage: %s FILE|DIRECTORY...\n", argv[0]);
    return 2;
  }
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) {
    if (!Collect(argv[i], &files)) {
      fprintf(stderr, "%s: not a file or directory: %s\n", argv[0], argv[i]);
      return 2;
    }
  }
  for (const fs::path& path : files) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
      fprintf(stderr, "%s: cannot read %s\n", argv[0], path.c_str());
      return 2;
    }
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                               std::istreambuf_iterator<char>());
    // A copy of exactly the input's size, so that a read past its end is caught as it would be
    // under libFuzzer.
    uint8_t* copy = new uint8_t[bytes.size() ? bytes.size() : 1];
    std::copy(bytes.begin(), bytes.end(), copy);
    LLVMFuzzerTestOneInput(copy, bytes.size());
    delete[] copy;
  }
  printf("%s: %zu inputs replayed\n", argv[0], files.size());
  return 0;
}
