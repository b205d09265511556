#include "Epoch.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace OpenConfig {

namespace {

using std::chrono::nanoseconds;

int64_t monotonicNow() {
  return nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// What 1970 is on the monotonic clock, negated.
int64_t offset() {
  static const int64_t kOffset =
      nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count() - monotonicNow();
  return kOffset;
}

}  // namespace

Qel::Seconds fromEpoch(uint64_t time) {
  const int64_t apart = offset();
  const auto now = static_cast<uint64_t>(monotonicNow() + apart);
  const auto monotonic = static_cast<int64_t>(std::min(time, now)) - apart;
  return std::chrono::duration<double>(nanoseconds(monotonic)).count();
}

std::optional<uint64_t> toEpoch(Qel::Seconds time) {
  constexpr Qel::Seconds kMost = 4e9;  // far beyond any clock, and well within 64 bits
  if (!(std::abs(time) < kMost)) return std::nullopt;
  const int64_t epoch = std::llround(static_cast<long double>(time) * 1e9L) + offset();
  return epoch < 0 ? std::nullopt : std::optional(static_cast<uint64_t>(epoch));
}

}  // namespace OpenConfig
