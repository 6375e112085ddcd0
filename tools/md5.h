// MD5 for comparing frame payloads with the hashes ffprobe prints. A checksum for comparing
// outputs, nothing here is meant to resist an attacker.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>

namespace qmkvtools {

// Feed bytes in any number of pieces, then take the digest once.
class Md5 {
 public:
  Md5();
  void Update(const void* data, size_t size);
  // Lower-case hex of the 16-byte digest. Ends the hashing: call once.
  std::string HexDigest();

 private:
  void Block(const uint8_t* block);

  uint32_t state_[4];
  uint64_t total_ = 0;  // bytes fed so far
  uint8_t pending_[64];
  size_t pending_size_ = 0;
};

std::string Md5Hex(const void* data, size_t size);

}  // namespace qmkvtools
