// Finding the cue entry for a seek: a bisection over entry times in file order.
#include "demux/ebml/qmkvd_util.h"
#include "demux/seek/qmkvd_cues.h"

namespace {

enum : uint32_t { kModeAtOrAfter = 1, kModeNearest = 3 };

// Entry times in 100-ns units, whatever table they come from.
template <typename TimeOf>
int32_t Search(int32_t n, TimeOf time_of, int64_t time, uint32_t mode) {
  int32_t lo = -1;
  int32_t hi = n;
  while (hi - lo > 1) {
    const int32_t mid = static_cast<int32_t>((static_cast<int64_t>(lo) + hi) >> 1);
    const int64_t t = time_of(mid);
    if (t <= time) lo = mid;
    if (t >= time) hi = mid;
  }
  const int32_t candidate = mode == kModeAtOrAfter ? hi : lo;
  if (candidate >= n || candidate < 0) return -1;
  if (mode == kModeNearest && candidate + 1 < n) {
    const int64_t before = qmkvd_time_sub(time, time_of(candidate));
    const int64_t after = qmkvd_time_sub(time_of(candidate + 1), time);
    if (after < before) return candidate + 1;
  }
  return candidate;
}

int32_t Count(uint32_t count) {
  return count > INT32_MAX ? INT32_MAX : static_cast<int32_t>(count);
}

}  // namespace

int32_t qmkvd_get_searchidx(const QMKVD_CTX* ctx, void*, int64_t time, uint32_t mode) {
  const QMKVD_CUE_TABLE& cues = ctx->cues;
  if (!cues.entries) return -1;
  const uint32_t scale = ctx->info.timecode_scale;
  return Search(
      Count(cues.count),
      [&](int32_t i) { return qmkvd_ticks_to_time(cues.entries[i].time, scale); }, time, mode);
}

int32_t qmkvd_get_searchidx2(const QMKVD_CTX* ctx, void*, int64_t time,
                             const QMKVD_SEEK_TABLE* seek, uint32_t mode) {
  if (!seek->entries) return -1;
  const uint32_t scale = ctx->info.timecode_scale;
  return Search(
      Count(seek->count),
      [&](int32_t i) { return qmkvd_ticks_to_time(seek->entries[i].time, scale); }, time, mode);
}
