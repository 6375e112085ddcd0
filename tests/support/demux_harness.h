// Runs the demuxer's entry points over builder-made bytes held in memory.
#pragma once

#include <stdint.h>

#include <memory>
#include <vector>

#include "demux/header/qmkvd_header.h"
#include "mem_source.h"

namespace mkvtest {

// The header parse alone, on a fresh context: for checking what it found even where creation
// would refuse the file.
class HeaderParse {
 public:
  explicit HeaderParse(std::vector<uint8_t> bytes);
  ~HeaderParse();
  HeaderParse(const HeaderParse&) = delete;
  HeaderParse& operator=(const HeaderParse&) = delete;

  int status() const { return status_; }
  QMKVD_CTX* ctx() { return ctx_; }
  const QMKVD_CTX* operator->() const { return ctx_; }
  MemSource& source() { return file_.source; }

 private:
  MemFile file_;
  QMKVD_CTX* ctx_;
  int status_ = -100;
};

// qmkvd_create with its outputs.
class Created {
 public:
  explicit Created(std::vector<uint8_t> bytes, uint32_t flags = QMKVD_FLAG_PTS);
  ~Created();
  Created(const Created&) = delete;
  Created& operator=(const Created&) = delete;

  int32_t err() const { return err_; }
  QMKVD_CTX* ctx() { return ctx_; }
  const QMKVD_FILE_INFO& info() const { return info_; }
  MemSource& source() { return file_.source; }
  QCMN_MFAL* mfal() { return &file_.mfal; }

 private:
  MemFile file_;
  QMKVD_FILE_INFO info_;
  QMKVD_CTX* ctx_ = nullptr;
  int32_t err_ = -100;
};

}  // namespace mkvtest
