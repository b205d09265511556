#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <vector>

#include "Loop.h"
#include "support/Sanitizer.h"

namespace {

/// Octets of small blocks that were freed and wait to be joined, after so many of them were.
size_t waiting() {
  std::vector<void*> blocks(1000);
  for (void*& block : blocks) block = std::malloc(48);
  for (void* block : blocks) std::free(block);
  return mallinfo2().fsmblks;
}

TEST(Heap, SmallBlocksAreJoinedAsTheyAreFreed) {
#if SUPPORT_ASAN
  GTEST_SKIP() << "the heap is not glibc's";
#endif
  EXPECT_GT(waiting(), 10000U);
  Daemon::keepHeapEven();
  // Those that wait already are joined with the next large block.
  void* volatile large = std::malloc(100000);
  std::free(large);
  EXPECT_EQ(waiting(), 0U);
}

}  // namespace
