// An in-memory data source for tests, behind the same CDataSource/DataSourceHelper interface
// the framework gives the extractor. It counts calls and bytes, and can misbehave on demand:
// short reads, failing reads.
#pragma once

#include <stdint.h>

#include <atomic>
#include <memory>
#include <vector>

#include <media/MediaExtractorPluginHelper.h>

#include "mfal/qcmn_mfal_android_q.h"

namespace mkvtest {

class MemSource {
 public:
  explicit MemSource(std::vector<uint8_t> bytes);

  android::CDataSource* csource() { return &csource_; }
  android::DataSourceHelper* helper() { return &helper_; }

  // Every readAt returns at most this many bytes (0: no limit).
  void set_max_read(size_t max) { max_read_ = max; }
  // readAt calls from this one on (0-based count) fail with -1.
  void fail_reads_from(uint64_t call) { fail_from_ = call; }
  // Puts `bytes` at `offset`, past the bytes given at construction, with zeros between: a file
  // of offset + bytes.size() bytes that takes no more memory than its two ends.
  void PlaceAt(uint64_t offset, std::vector<uint8_t> bytes);
  uint64_t size() const { return far_.empty() ? bytes_.size() : far_offset_ + far_.size(); }

  uint64_t read_calls() const { return read_calls_; }
  uint64_t bytes_read() const { return bytes_read_; }
  const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  static ssize_t ReadAt(void* handle, off64_t offset, void* data, size_t size);
  static android::status_t GetSize(void* handle, off64_t* size);
  static uint32_t Flags(void* handle);
  static bool GetUri(void* handle, char* uri, size_t size);

  // Copies the file's bytes [pos, pos + n) out, zeros where nothing was placed.
  void CopyOut(uint64_t pos, uint8_t* out, size_t n) const;

  std::vector<uint8_t> bytes_;
  uint64_t far_offset_ = 0;
  std::vector<uint8_t> far_;
  android::CDataSource csource_;
  android::DataSourceHelper helper_;
  size_t max_read_ = 0;
  uint64_t fail_from_ = UINT64_MAX;
  // Tracks of one file read from several threads at once.
  std::atomic<uint64_t> read_calls_{0};
  std::atomic<uint64_t> bytes_read_{0};
};

// A memory source with its file access record filled, ready for qmkvd_create.
struct MemFile {
  explicit MemFile(std::vector<uint8_t> bytes);
  ~MemFile();
  MemFile(const MemFile&) = delete;
  MemFile& operator=(const MemFile&) = delete;

  MemSource source;
  QCMN_MFAL mfal;
};

}  // namespace mkvtest
