#pragma once

/// The soak's chance: one seeded generator, so that a run can be asked for again.

#include <cstdint>
#include <iterator>
#include <random>

namespace Soak {

class Random {
 public:
  explicit Random(uint64_t seed) : engine_(seed) {}

  /// A number from 0 to n - 1; n is not 0.
  uint32_t below(uint32_t n) { return static_cast<uint32_t>(engine_() % n); }
  uint64_t bits() { return engine_(); }
  bool coin() { return below(2) == 0; }
  /// True once in n times.
  bool oneIn(uint32_t n) { return below(n) == 0; }

  /// A member of a container that is not empty.
  template <class Container>
  auto& pick(Container& container) {
    return *std::next(container.begin(), below(static_cast<uint32_t>(container.size())));
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace Soak
