#include "mfal/qcmn_mfal_mem.h"

#include <string.h>

namespace {

// The handle is the record, seen through the access layer's opaque handle type.
QCMN_MFAL_MEM* RecordOf(QCMN_MFAL_FILE* fp) {
  return reinterpret_cast<QCMN_MFAL_MEM*>(fp);
}

QCMN_MFAL_FILE* Open(QCMN_MFAL* mfal, unsigned long /*mode*/) {
  return qcmn_mfal_mem_handle(reinterpret_cast<QCMN_MFAL_MEM*>(mfal));
}

void Close(QCMN_MFAL_FILE* /*fp*/) {}

int Read(QCMN_MFAL_FILE* fp, void* buf, int size) {
  QCMN_MFAL_MEM* mem = RecordOf(fp);
  if (size < 1 || mem->position >= mem->size || mem->position < 0) return 0;
  const int64_t left = mem->size - mem->position;
  const int count = left < size ? static_cast<int>(left) : size;
  memcpy(buf, mem->data + mem->position, static_cast<size_t>(count));
  mem->position += count;
  return count;
}

int Write(QCMN_MFAL_FILE* /*fp*/, const void* /*buf*/, int /*size*/) {
  return -1;
}

int GetPos(QCMN_MFAL_FILE* fp, int64_t* pos) {
  *pos = RecordOf(fp)->position;
  return 0;
}

// Positions past the end are allowed, as in a file: reads there return nothing.
int SetPos(QCMN_MFAL_FILE* fp, const int64_t* pos) {
  if (*pos < 0) return -1;
  RecordOf(fp)->position = *pos;
  return 0;
}

int Skip(QCMN_MFAL_FILE* fp, const int64_t* count) {
  QCMN_MFAL_MEM* mem = RecordOf(fp);
  if (*count < 0 || *count > INT64_MAX - mem->position) return -1;
  mem->position += *count;
  return 0;
}

int GetSize(QCMN_MFAL_FILE* fp, int64_t* size) {
  *size = RecordOf(fp)->size;
  return 0;
}

int Ioctl(QCMN_MFAL_FILE* /*fp*/, int /*code*/, void* /*arg*/) {
  return -1;
}

}  // namespace

void qcmn_mfal_mem_init(QCMN_MFAL_MEM* mem) {
  memset(mem, 0, sizeof(*mem));
  mem->mfal.open = Open;
  mem->mfal.close = Close;
  mem->mfal.read = Read;
  mem->mfal.write = Write;
  mem->mfal.getpos = GetPos;
  mem->mfal.setpos = SetPos;
  mem->mfal.skip = Skip;
  mem->mfal.getsize = GetSize;
  mem->mfal.ioctl = Ioctl;
}

bool qcmn_mfal_mem_view(const QCMN_MFAL* mfal, const uint8_t** data, int64_t* size) {
  if (!mfal || mfal->read != Read) return false;
  const QCMN_MFAL_MEM* mem = reinterpret_cast<const QCMN_MFAL_MEM*>(mfal);
  *data = mem->data;
  *size = mem->size;
  return true;
}

void qcmn_mfal_mem_set(QCMN_MFAL_MEM* mem, const uint8_t* data, int64_t size) {
  mem->data = data;
  mem->size = size < 0 ? 0 : size;
  mem->position = 0;
}

QCMN_MFAL_FILE* qcmn_mfal_mem_handle(QCMN_MFAL_MEM* mem) {
  return reinterpret_cast<QCMN_MFAL_FILE*>(mem);
}
