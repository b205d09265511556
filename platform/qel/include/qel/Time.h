#pragma once

/// Time on the framework's clock: seconds on the monotonic clock, as a double.

#include <functional>

namespace Qel {

using Seconds = double;

/// The current time of the framework's clock.
Seconds now();

/// Replaces the clock, for tests; an empty function restores the monotonic clock.
void clockIs(std::function<Seconds()> clock);

/// A clock that stands still until it is moved. Installed for its lifetime.
class ManualClock {
 public:
  explicit ManualClock(Seconds start) : now_(start) {
    clockIs([this] { return now_; });
  }
  ~ManualClock() { clockIs({}); }
  ManualClock(const ManualClock&) = delete;
  ManualClock& operator=(const ManualClock&) = delete;

  void nowIs(Seconds now) { now_ = now; }
  void advance(Seconds by) { now_ += by; }

 private:
  Seconds now_;
};

}  // namespace Qel
