#include "mem_source.h"

#include <string.h>

namespace mkvtest {

MemSource::MemSource(std::vector<uint8_t> bytes)
    : bytes_(std::move(bytes)),
      csource_{&MemSource::ReadAt, &MemSource::GetSize, &MemSource::Flags, &MemSource::GetUri,
               this},
      helper_(&csource_) {}

ssize_t MemSource::ReadAt(void* handle, off64_t offset, void* data, size_t size) {
  MemSource* self = static_cast<MemSource*>(handle);
  uint64_t call = self->read_calls_++;
  if (call >= self->fail_from_) return -1;
  if (offset < 0) return -1;
  if (static_cast<uint64_t>(offset) >= self->bytes_.size()) return 0;
  size_t available = self->bytes_.size() - static_cast<size_t>(offset);
  size_t n = size < available ? size : available;
  if (self->max_read_ != 0 && n > self->max_read_) n = self->max_read_;
  memcpy(data, self->bytes_.data() + offset, n);
  self->bytes_read_ += n;
  return static_cast<ssize_t>(n);
}

android::status_t MemSource::GetSize(void* handle, off64_t* size) {
  MemSource* self = static_cast<MemSource*>(handle);
  if (self->size_unknown_) return android::UNKNOWN_ERROR;
  *size = static_cast<off64_t>(self->bytes_.size());
  return android::OK;
}

uint32_t MemSource::Flags(void*) {
  return 0;
}

bool MemSource::GetUri(void*, char* uri, size_t size) {
  if (size > 0) uri[0] = '\0';
  return false;
}

MemFile::MemFile(std::vector<uint8_t> bytes) : source(std::move(bytes)) {
  qcmn_mfal_init(&mfal, source.helper());
}

MemFile::~MemFile() {
  qcmn_mfal_deinit(&mfal);
}

}  // namespace mkvtest
