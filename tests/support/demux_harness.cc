#include "demux_harness.h"

#include <stdlib.h>
#include <string.h>

namespace mkvtest {

HeaderParse::HeaderParse(std::vector<uint8_t> bytes)
    : file_(std::move(bytes)), ctx_(static_cast<QMKVD_CTX*>(calloc(1, sizeof(QMKVD_CTX)))) {
  ctx_->check = QMKVD_CHECK;
  ctx_->self = ctx_;
  ctx_->mfal = file_.mfal;
  status_ = qmkvd_header_parse(ctx_);
}

HeaderParse::~HeaderParse() {
  qmkvd_delete(ctx_);
}

Created::Created(std::vector<uint8_t> bytes, uint32_t flags) : file_(std::move(bytes)) {
  memset(&info_, 0xAB, sizeof(info_));  // creation must clear what it does not fill
  ctx_ = qmkvd_create(&file_.mfal, &flags, &info_, &err_);
}

Created::~Created() {
  qmkvd_delete(ctx_);
}

}  // namespace mkvtest
