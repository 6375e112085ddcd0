// Counts the heap the process holds: this test program replaces malloc and its kin (glibc lets
// the program's own definitions stand in for the C library's everywhere, in shared libraries
// too) and keeps the live total and its peak. Not for sanitizer builds, which replace them
// themselves.
#pragma once

#include <stddef.h>

namespace alloc_counter {

// Bytes allocated and not yet freed, as malloc_usable_size counts them.
size_t Live();
// The largest Live() since the last ResetPeak().
size_t Peak();
void ResetPeak();
// How many allocations (malloc, calloc, realloc, memalign and kin) the process has made.
size_t Calls();

}  // namespace alloc_counter
