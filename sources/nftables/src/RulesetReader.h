#pragma once

/// Reads the ruleset when it is time, when the kernel has told of a change, and when asked.

#include <atomic>
#include <chrono>
#include <optional>
#include <string>

#include "ChangeSocket.h"
#include "Library.h"
#include "apply/ReadingThread.h"
#include "nftables/Publication.h"

namespace Sources::Nftables {

class RulesetReader final : public Reader {
 public:
  /// `interval` is the time in seconds from one reading to the next while nothing changes.
  explicit RulesetReader(double interval);

  std::optional<Outcome> read(bool forced, const std::stop_token& stop) override;
  Clock::time_point due() const override;
  int descriptor() const override;
  void handleReadable() override;
  void breakOff() override { library_.breakOff(); }
  /// Breaks a reading off that has taken too long. Called every second or so, on any thread.
  void watch();

 private:
  Outcome look();
  Outcome refused(const std::string& why);
  Outcome publish(Ruleset ruleset);
  void schedule(Clock::duration cost);

  const Clock::duration interval_;

  // When the reading under way began, in ticks of the clock; 0 while none is.
  std::atomic<Clock::rep> began_ = 0;
  std::atomic<Clock::rep> patience_;

  Library library_;

  ChangeSocket changes_;
  Publication publication_;
  bool changed_ = false;
  Clock::time_point pollDue_ = Clock::time_point::max();
  Clock::time_point changeDue_;
  std::string refusal_;
  std::string summary_;
  size_t resets_ = 0;
  Clock::time_point newsSince_;
  int newsCount_ = 0;
};

}  // namespace Sources::Nftables
