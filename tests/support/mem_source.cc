#include "mem_source.h"

#include <string.h>

#include <algorithm>

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
  const uint64_t total = self->size();
  if (static_cast<uint64_t>(offset) >= total) return 0;
  const uint64_t available = total - static_cast<uint64_t>(offset);
  size_t n = size < available ? size : static_cast<size_t>(available);
  if (self->max_read_ != 0 && n > self->max_read_) n = self->max_read_;
  self->CopyOut(static_cast<uint64_t>(offset), static_cast<uint8_t*>(data), n);
  self->bytes_read_ += n;
  return static_cast<ssize_t>(n);
}

void MemSource::PlaceAt(uint64_t offset, std::vector<uint8_t> bytes) {
  far_offset_ = offset < bytes_.size() ? bytes_.size() : offset;
  far_ = std::move(bytes);
}

void MemSource::CopyOut(uint64_t pos, uint8_t* out, size_t n) const {
  while (n > 0) {
    size_t chunk = n;
    if (pos < bytes_.size()) {
      chunk = static_cast<size_t>(std::min<uint64_t>(n, bytes_.size() - pos));
      memcpy(out, bytes_.data() + pos, chunk);
    } else if (pos < far_offset_) {
      chunk = static_cast<size_t>(std::min<uint64_t>(n, far_offset_ - pos));
      memset(out, 0, chunk);
    } else if (pos - far_offset_ < far_.size()) {
      chunk = static_cast<size_t>(std::min<uint64_t>(n, far_.size() - (pos - far_offset_)));
      memcpy(out, far_.data() + (pos - far_offset_), chunk);
    } else {
      memset(out, 0, n);  // past the end; callers stay within size()
    }
    out += chunk;
    pos += chunk;
    n -= chunk;
  }
}

android::status_t MemSource::GetSize(void* handle, off64_t* size) {
  MemSource* self = static_cast<MemSource*>(handle);
  *size = static_cast<off64_t>(self->size());
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
