#pragma once

/// Bounds the lines that clients can bring about: at most `kLines` of a kind within `kPeriod`, the
/// rest as one line with their number. Lines are of one kind when they differ only in words with a
/// digit, in signs, and in what is quoted or stands in brackets. The number of kinds is bounded
/// too: once they are used up, all others share one. For the event thread only.

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "qel/Time.h"

namespace Snmp {

class LineLimit {
 public:
  static constexpr size_t kLines = 10;
  static constexpr Qel::Seconds kPeriod = 60;
  static constexpr size_t kKinds = 16;

  /// Whether the line may be written; otherwise it is counted.
  bool admits(std::string_view line);
  /// Calls `tell` with a line for each kind of which lines were held back for `kPeriod`, or for all
  /// kinds.
  void tellHeldBack(const std::function<void(const std::string&)>& tell, bool all = false);
  /// Seconds until there is something to tell; nothing while no line is held back.
  std::optional<Qel::Seconds> timeToNext() const;

 private:
  struct Kind {
    /// When the last lines were written, a ring.
    std::array<Qel::Seconds, kLines> written{};
    size_t count = 0;
    size_t heldBack = 0;
    Qel::Seconds since = 0;
    std::string last;
  };

  Kind& kindOf(std::string_view line);

  std::map<std::string, Kind> kinds_;
};

}  // namespace Snmp
