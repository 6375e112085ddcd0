#include "alloc_counter.h"

#include <errno.h>
#include <malloc.h>
#include <stdint.h>
#include <string.h>

#include <atomic>

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* p, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* p);
}

namespace alloc_counter {
namespace {

std::atomic<size_t> g_live{0};
std::atomic<size_t> g_peak{0};
std::atomic<size_t> g_calls{0};

void* Added(void* p) {
  g_calls.fetch_add(1);
  if (!p) return p;
  const size_t now = g_live.fetch_add(malloc_usable_size(p)) + malloc_usable_size(p);
  size_t peak = g_peak.load();
  while (now > peak && !g_peak.compare_exchange_weak(peak, now)) {
  }
  return p;
}

void Removed(void* p) {
  if (p) g_live.fetch_sub(malloc_usable_size(p));
}

}  // namespace

size_t Live() {
  return g_live.load();
}

size_t Peak() {
  return g_peak.load();
}

void ResetPeak() {
  g_peak.store(g_live.load());
}

size_t Calls() {
  return g_calls.load();
}

}  // namespace alloc_counter

using alloc_counter::Added;
using alloc_counter::Removed;

extern "C" {

void* malloc(size_t size) {
  return Added(__libc_malloc(size));
}

void* calloc(size_t count, size_t size) {
  return Added(__libc_calloc(count, size));
}

void* realloc(void* p, size_t size) {
  Removed(p);
  void* q = __libc_realloc(p, size);
  if (!q && p && size != 0) {
    Added(p);  // the old block stays
    return nullptr;
  }
  return Added(q);
}

void free(void* p) {
  Removed(p);
  __libc_free(p);
}

void* memalign(size_t alignment, size_t size) {
  return Added(__libc_memalign(alignment, size));
}

void* aligned_alloc(size_t alignment, size_t size) {
  return Added(__libc_memalign(alignment, size));
}

int posix_memalign(void** out, size_t alignment, size_t size) {
  void* p = __libc_memalign(alignment, size);
  if (!p) return ENOMEM;
  *out = Added(p);
  return 0;
}

}  // extern "C"
