#pragma once

/// The thread of the source: waits for the time or for a change, reads the ruleset, and hands over
/// what is to be published.
///
/// Made, asked and destroyed on the event thread. It reads on only when the last outcome was taken.

#include <atomic>
#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "ChangeSocket.h"
#include "Library.h"
#include "nftables/Publication.h"

namespace Sources::Nftables {

/// What one reading gave.
struct Outcome {
  std::variant<std::monostate, CounterChanges, Snapshot> content;
  std::vector<std::pair<Severity, std::string>> lines;
  bool failed = false;
};

class Worker {
 public:
  /// Throws `std::system_error` where the system has no thread or descriptor left.
  explicit Worker(double interval);
  /// Breaks a reading off.
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  /// Begins to read.
  void start();
  /// Asks for a reading now.
  void request();
  /// Readable while an outcome waits.
  int descriptor() const { return ready_; }
  std::optional<Outcome> take();
  /// Breaks a reading off that has taken too long. Called every second or so.
  void watch();

 private:
  using Clock = std::chrono::steady_clock;

  void run(const std::stop_token& stop);
  bool waitForWork(const std::stop_token& stop);
  Outcome look();
  Outcome refused(const std::string& why);
  Outcome publish(Ruleset ruleset);
  void schedule(Clock::duration cost);

  const Clock::duration interval_;
  const int ready_;
  const int wake_;

  std::mutex mutex_;
  std::optional<Outcome> outcome_;
  bool requested_ = false;

  // When the reading under way began, in ticks of the clock; 0 while none is.
  std::atomic<Clock::rep> began_ = 0;
  std::atomic<Clock::rep> patience_;

  Library library_;

  // For the worker's thread alone.
  ChangeSocket changes_;
  Publication publication_;
  bool changed_ = false;
  Clock::time_point pollDue_;
  Clock::time_point changeDue_;
  std::string refusal_;
  std::string summary_;
  size_t resets_ = 0;
  Clock::time_point newsSince_;
  int newsCount_ = 0;

  std::jthread thread_;
};

}  // namespace Sources::Nftables
