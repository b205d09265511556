#pragma once

/// The CPU time that one input may take. The fuzzer's own limit is one of the wall clock, which a
/// busy machine exceeds by itself.

#include <ctime>

#include "Require.h"

namespace Fuzz {

/// Counts from its construction to its destruction.
class CpuLimit {
 public:
  CpuLimit() : begun_(used()) {}
  ~CpuLimit() { require(used() - begun_ < kMostSeconds, "an input is done within a second"); }
  CpuLimit(const CpuLimit&) = delete;
  CpuLimit& operator=(const CpuLimit&) = delete;

 private:
  static constexpr double kMostSeconds = 1;

  static double used() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
  }

  const double begun_;
};

}  // namespace Fuzz
