#include "real_file.h"

#include "ffprobe_ref.h"

#include <ctype.h>
#include <string.h>

#include <fstream>
#include <iterator>

namespace mkvtest {

std::string DataPath(const std::string& name) {
  return std::string(QMKV_TEST_DATA_DIR) + "/" + name;
}

std::vector<uint8_t> ReadDataFile(const std::string& name) {
  std::ifstream in(DataPath(name), std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

std::string FileTestName(const std::string& name, bool keep_suffix) {
  std::string base = name.substr(name.rfind('/') == std::string::npos ? 0 : name.rfind('/') + 1);
  if (!keep_suffix) base = base.substr(0, base.rfind('.'));
  for (char& ch : base) {
    if (!isalnum(static_cast<unsigned char>(ch))) ch = '_';
  }
  return base;
}

std::string LoadRefOf(const std::string& name, FfprobeRef* ref) {
  const size_t slash = name.rfind('/');
  const std::string dir = slash == std::string::npos ? "" : name.substr(0, slash + 1);
  return LoadFfprobeRef(DataPath(dir + "ref/" + name.substr(dir.size())), ref);
}

std::string ToLengthPrefixed(const std::vector<uint8_t>& in, int field, std::vector<uint8_t>* out) {
  static const uint8_t kStart[4] = {0, 0, 0, 1};
  out->clear();
  if (in.size() < 4 || memcmp(in.data(), kStart, 4) != 0) return "does not open with 00 00 00 01";
  size_t unit = 4;
  while (unit <= in.size()) {
    size_t end = unit;
    while (end + 4 <= in.size() && memcmp(&in[end], kStart, 4) != 0) ++end;
    if (end + 4 > in.size()) end = in.size();
    uint64_t length = end - unit;
    if (field < 4 && length >> (8 * field)) return "a unit too long for its length field";
    for (int i = field - 1; i >= 0; --i) out->push_back(static_cast<uint8_t>(length >> (8 * i)));
    out->insert(out->end(), in.begin() + unit, in.begin() + end);
    unit = end + 4;
  }
  return "";
}

uint8_t BlockIdBefore(const std::vector<uint8_t>& bytes, int64_t pos) {
  for (int64_t width = 1; width <= 8; ++width) {
    const int64_t size_at = pos - width;
    if (size_at < 1 || static_cast<size_t>(pos) > bytes.size()) break;
    const uint8_t first = bytes[static_cast<size_t>(size_at)];
    if (first == 0 || (first & (0x80 >> (width - 1))) == 0 || (first >> (8 - width + 1)) != 0) {
      continue;  // not a size field of this width
    }
    const uint8_t id = bytes[static_cast<size_t>(size_at - 1)];
    if (id == kSimpleBlockId || id == kBlockId) return id;
  }
  return 0;
}

}  // namespace mkvtest
