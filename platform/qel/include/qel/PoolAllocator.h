#pragma once

/// Memory for the entries of one container side by side, in place of wherever the heap has room. A
/// search or a walk of a large node container waits for memory most of its time: where its nodes
/// lie in blocks of their own, more of them are at hand.

#include <sanitizer/asan_interface.h>

#include <cstddef>
#include <memory>
#include <memory_resource>

namespace Qel {

/// Keeps what was freed for what comes next, and gives all its blocks back to the heap when nothing
/// of it is in use. For one thread.
class Pool {
 public:
  /// Throws `std::bad_alloc`.
  void* allocate(size_t octets, size_t alignment) {
    void* memory = blocks_.allocate(octets, alignment);
    ++inUse_;
    ASAN_UNPOISON_MEMORY_REGION(memory, octets);
    return memory;
  }
  void deallocate(void* memory, size_t octets, size_t alignment) noexcept {
    // Who still reads it is found, as on the heap.
    ASAN_POISON_MEMORY_REGION(memory, octets);
    blocks_.deallocate(memory, octets, alignment);
    if (--inUse_ == 0) blocks_.release();
  }

 private:
  std::pmr::unsynchronized_pool_resource blocks_;
  size_t inUse_ = 0;
};

/// An allocator for node containers. Each container that makes its own has a pool of its own;
/// copies of the allocator share one and own it together.
template <class T>
class PoolAllocator {
 public:
  using value_type = T;

  PoolAllocator() : pool_(std::make_shared<Pool>()) {}
  template <class Other>
  // NOLINTNEXTLINE(google-explicit-constructor): what an allocator has to have
  PoolAllocator(const PoolAllocator<Other>& other) noexcept : pool_(other.pool_) {}

  T* allocate(size_t count) {
    return static_cast<T*>(pool_->allocate(count * sizeof(T), alignof(T)));
  }
  void deallocate(T* memory, size_t count) noexcept {
    pool_->deallocate(memory, count * sizeof(T), alignof(T));
  }

  template <class Other>
  bool operator==(const PoolAllocator<Other>& other) const noexcept {
    return pool_ == other.pool_;
  }

 private:
  template <class Other>
  friend class PoolAllocator;

  std::shared_ptr<Pool> pool_;
};

}  // namespace Qel
