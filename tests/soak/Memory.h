#pragma once

/// How much memory this process has in use.

#include <malloc.h>
#include <unistd.h>

#include <cstddef>
#include <fstream>

// Defined where a sanitizer owns the heap.
extern "C" __attribute__((weak)) size_t __sanitizer_get_current_allocated_bytes();

namespace Soak {

/// Octets that were allocated and not freed; 0 where the heap is not to be asked, under valgrind.
/// What glibc keeps in a thread's cache counts as allocated: exact only with
/// GLIBC_TUNABLES=glibc.malloc.tcache_count=0.
inline size_t heapInUse() {
  if (__sanitizer_get_current_allocated_bytes != nullptr) {
    return __sanitizer_get_current_allocated_bytes();
  }
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

/// Octets of real memory.
inline size_t resident() {
  std::ifstream in("/proc/self/statm");
  size_t size = 0;
  size_t pages = 0;
  in >> size >> pages;
  return pages * static_cast<size_t>(::sysconf(_SC_PAGESIZE));
}

}  // namespace Soak
