// Frame-level byte work on arbitrary frames: rewriting length-prefixed NAL units to start codes
// (with and without stripped header bytes, as a size query and into buffers of exactly the
// stated capacity), and the key-frame test of every video media type.
//
// Input: [length size][flags][prefix length][frame...]. The output buffers are heap blocks of
// exactly their capacity, so that a write past it is caught.
#include <stddef.h>
#include <stdint.h>

#include <vector>

#include "common/qcmn_keyframe.h"
#include "common/qcmn_mt.h"
#include "demux/read/qmkvd_nal.h"
#include "mem_source.h"
#include "quiet_log.h"

namespace {

class Handle {
 public:
  explicit Handle(std::vector<uint8_t> bytes) : file_(std::move(bytes)) {
    fp_ = file_.mfal.open(&file_.mfal, 0);
  }
  ~Handle() {
    if (fp_) file_.mfal.close(fp_);
  }
  const QCMN_MFAL* mfal() const { return &file_.mfal; }
  QCMN_MFAL_FILE* fp() { return fp_; }
  void Rewind() {
    const int64_t zero = 0;
    file_.mfal.setpos(fp_, &zero);
  }

 private:
  mkvtest::MemFile file_;
  QCMN_MFAL_FILE* fp_;
};

const QCMN_MT kVideoTypes[] = {
    QCMN_MT_MPEG4, QCMN_MT_H263,  QCMN_MT_H264,      QCMN_MT_WMV7,          QCMN_MT_WMV8,
    QCMN_MT_WMV9,  QCMN_MT_DIVX3, QCMN_MT_FLV1,      QCMN_MT_RV10,          QCMN_MT_RV20,
    QCMN_MT_RV30,  QCMN_MT_RV40,  QCMN_MT_MSMPEG4V3, QCMN_MT_VC1,           QCMN_MT_VP8,
    QCMN_MT_HEVC,  QCMN_MT_VP9,   QCMN_MT_AV1,       QCMN_MT_VIDEO_UNKNOWN,
};

void Rewrite(Handle* h, int32_t frame_size, int32_t length_size, uint8_t flags,
             int32_t prefix_length, const uint8_t* prefix) {
  uint32_t needed = 0;
  h->Rewind();
  const int32_t q =
      prefix_length > 0
          ? modify_nal_header3(h->mfal(), h->fp(), nullptr, frame_size, 0, length_size, &needed,
                               prefix_length, prefix)
          : modify_nal_header2(h->mfal(), h->fp(), nullptr, frame_size, 0, length_size, &needed);
  // Capacity: what the query said, a little less (must be refused), or a little more.
  int32_t capacity = q == 0 ? static_cast<int32_t>(needed) : frame_size + 16;
  if (flags & 2) capacity -= (flags >> 4) & 3;
  if (flags & 4) capacity += (flags >> 4) & 3;
  if (capacity < 1) capacity = 1;
  if (capacity > (1 << 22)) return;
  std::vector<uint8_t> out(static_cast<size_t>(capacity));
  uint32_t written = 0;
  h->Rewind();
  if (prefix_length > 0) {
    modify_nal_header3(h->mfal(), h->fp(), out.data(), frame_size, capacity, length_size, &written,
                       prefix_length, prefix);
  } else {
    modify_nal_header2(h->mfal(), h->fp(), out.data(), frame_size, capacity, length_size, &written);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3 || size > (1 << 20)) return 0;
  // Length sizes 1..4 as files carry them, and now and then one no file may carry.
  const int32_t length_size = (data[0] & 0x80) ? static_cast<int8_t>(data[0]) : (data[0] & 3) + 1;
  const uint8_t flags = data[1];
  int32_t prefix_length = data[2] & 7;
  data += 3;
  size -= 3;
  if (static_cast<size_t>(prefix_length) > size) prefix_length = static_cast<int32_t>(size);
  // The stripped bytes come first, the frame as stored in the file after them.
  std::vector<uint8_t> prefix(data, data + prefix_length);
  std::vector<uint8_t> frame(data + prefix_length, data + size);

  for (QCMN_MT mt : kVideoTypes) {
    qcmn_is_vkeyfrm(mt, frame.data(), static_cast<int32_t>(frame.size()));
  }
  // The key-frame test on a block of exactly the frame's size.
  std::vector<uint8_t> exact(frame);
  exact.shrink_to_fit();
  qcmn_is_vkeyfrm(flags & 1 ? QCMN_MT_HEVC : QCMN_MT_H264, exact.data(),
                  static_cast<int32_t>(exact.size()));

  // The frame's stated size is its true size, or one running past the end of the file.
  const int32_t frame_size = static_cast<int32_t>(frame.size()) + ((flags & 8) ? 5 : 0);
  Handle h(frame);
  if (!h.fp()) return 0;
  Rewrite(&h, frame_size, length_size, flags, 0, nullptr);
  if (prefix_length > 0) Rewrite(&h, frame_size, length_size, flags, prefix_length, prefix.data());
  return 0;
}
