// A CDataSource over a file on disk, for the tools: what the framework's file source gives the
// extractor on a device.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <media/MediaExtractorPluginApi.h>

namespace qmkvtools {

class FileSource {
 public:
  explicit FileSource(const char* path) : fd_(::open(path, O_RDONLY | O_CLOEXEC)) {
    csource_.readAt = &FileSource::ReadAt;
    csource_.getSize = &FileSource::GetSize;
    csource_.flags = &FileSource::Flags;
    csource_.getUri = &FileSource::GetUri;
    csource_.handle = this;
  }
  ~FileSource() {
    if (fd_ >= 0) ::close(fd_);
  }
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;

  bool ok() const { return fd_ >= 0; }
  android::CDataSource* csource() { return &csource_; }
  unsigned long long read_calls() const { return read_calls_; }
  unsigned long long bytes_read() const { return bytes_read_; }
  unsigned long long size() const {
    struct stat64 st;
    return ::fstat64(fd_, &st) == 0 ? static_cast<unsigned long long>(st.st_size) : 0;
  }

 private:
  static ssize_t ReadAt(void* handle, off64_t offset, void* data, size_t size) {
    FileSource* self = static_cast<FileSource*>(handle);
    self->read_calls_++;
    if (offset < 0) return -1;
    const ssize_t n = ::pread64(self->fd_, data, size, offset);
    if (n > 0) self->bytes_read_ += static_cast<unsigned long long>(n);
    return n;
  }
  static android::status_t GetSize(void* handle, off64_t* size) {
    struct stat64 st;
    if (::fstat64(static_cast<FileSource*>(handle)->fd_, &st) != 0) return android::UNKNOWN_ERROR;
    *size = st.st_size;
    return android::OK;
  }
  static uint32_t Flags(void*) { return 0; }
  static bool GetUri(void*, char* uri, size_t size) {
    if (size > 0) uri[0] = '\0';
    return false;
  }

  int fd_;
  android::CDataSource csource_;
  unsigned long long read_calls_ = 0;
  unsigned long long bytes_read_ = 0;
};

}  // namespace qmkvtools
