#include "qel/PoolAllocator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory_resource>
#include <optional>
#include <random>
#include <vector>

namespace {

using Numbers = std::map<int, int, std::less<>, Qel::PoolAllocator<std::pair<const int, int>>>;

/// Stands in for the heap from which pools get their blocks.
class CountedHeap : public std::pmr::memory_resource {
 public:
  CountedHeap() : former_(std::pmr::set_default_resource(this)) {}
  ~CountedHeap() override { std::pmr::set_default_resource(former_); }
  CountedHeap(const CountedHeap&) = delete;
  CountedHeap& operator=(const CountedHeap&) = delete;

  size_t octets() const { return octets_; }
  size_t blocks() const { return blocks_; }

 private:
  void* do_allocate(size_t octets, size_t alignment) override {
    void* memory = former_->allocate(octets, alignment);
    octets_ += octets;
    ++blocks_;
    return memory;
  }
  void do_deallocate(void* memory, size_t octets, size_t alignment) override {
    octets_ -= octets;
    --blocks_;
    former_->deallocate(memory, octets, alignment);
  }
  bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }

  std::pmr::memory_resource* former_;
  size_t octets_ = 0;
  size_t blocks_ = 0;
};

/// So many entries, in no order.
Numbers shuffled(int entries) {
  std::vector<int> keys;
  for (int key = 0; key < entries; ++key) keys.push_back(key);
  std::shuffle(keys.begin(), keys.end(), std::mt19937(1));
  Numbers numbers;
  for (const int key : keys) numbers.emplace(key, -key);
  return numbers;
}

TEST(PoolAllocator, ThousandsOfEntriesLieInAFewBlocks) {
  const CountedHeap heap;
  const Numbers numbers = shuffled(10000);
  EXPECT_EQ(numbers.size(), 10000U);
  EXPECT_LT(heap.blocks(), 100U);
  EXPECT_LT(heap.octets(), 10000U * 2 * 64);
}

TEST(PoolAllocator, GivesItsBlocksBackWithTheLastEntry) {
  const CountedHeap heap;
  Numbers numbers = shuffled(1);
  numbers.clear();
  const size_t empty = heap.octets();
  for (int key = 0; key < 10000; ++key) numbers.emplace(key, 0);
  EXPECT_GT(heap.octets(), 10000U * sizeof(Numbers::value_type));
  while (numbers.size() > 1) numbers.erase(numbers.begin());
  EXPECT_GT(heap.octets(), empty);
  numbers.clear();
  EXPECT_EQ(heap.octets(), empty);
  numbers.emplace(1, 1);
  EXPECT_EQ(numbers.at(1), 1);
}

TEST(PoolAllocator, ADestroyedContainerLeavesNothing) {
  const CountedHeap heap;
  { const Numbers numbers = shuffled(1000); }
  EXPECT_EQ(heap.octets(), 0U);
}

TEST(PoolAllocator, UsesAgainWhatWasFreed) {
  const CountedHeap heap;
  Numbers numbers = shuffled(1000);
  const size_t octets = heap.octets();
  for (int round = 0; round < 10; ++round) {
    for (int key = 0; key < 999; ++key) numbers.erase(key);
    for (int key = 0; key < 999; ++key) numbers.emplace(key, round);
  }
  EXPECT_EQ(heap.octets(), octets);
}

TEST(PoolAllocator, ContainersHavePoolsOfTheirOwnAndCopiesShareOne) {
  const Numbers one;
  const Numbers other;
  EXPECT_NE(one.get_allocator(), other.get_allocator());
  const Numbers copy = one;
  EXPECT_EQ(copy.get_allocator(), one.get_allocator());
}

TEST(PoolAllocator, ACopyOutlivesWhatItWasCopiedFrom) {
  const CountedHeap heap;
  {
    std::optional<Numbers> copy;
    {
      const Numbers numbers = shuffled(1000);
      copy.emplace(numbers);
    }
    int expected = 0;
    for (const auto& [key, value] : *copy) {
      EXPECT_EQ(key, expected);
      EXPECT_EQ(value, -expected);
      ++expected;
    }
    EXPECT_EQ(expected, 1000);
  }
  EXPECT_EQ(heap.octets(), 0U);
}

#if defined(__SANITIZE_ADDRESS__)
TEST(PoolAllocatorDeathTest, AFreedEntryIsNotRead) {
  Numbers numbers = shuffled(2);
  const int* value = &numbers.at(0);
  numbers.erase(0);
  EXPECT_DEATH({ [[maybe_unused]] const volatile int read = *value; }, "use-after-poison");
}
#endif

}  // namespace
