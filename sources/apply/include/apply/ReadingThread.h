#pragma once

/// The thread on which a source reads, and the hand-over of what came out to the event thread.
///
/// Made, asked and destroyed on the event thread. The reader reads on only once its last outcome
/// has been taken. Signals are kept away from the thread. A reader that hangs (a file system that
/// does not answer) costs its source and nothing else: it can be seen that it takes long, and
/// nobody waits for it but the destructor, which gives it up after a while and leaves the reader to
/// the thread.

#include <chrono>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "qel/Severity.h"
#include "snapshot/Snapshot.h"

namespace Sources {

/// What one reading gave.
struct Outcome {
  /// Nothing where the reading failed or found nothing new.
  std::variant<std::monostate, CounterChanges, Snapshot> content;
  /// What is to be logged.
  std::vector<std::pair<Qel::Severity, std::string>> lines;
  bool failed = false;
};

/// What reads: called on the thread only, but for `breakOff`.
class Reader {
 public:
  using Clock = std::chrono::steady_clock;

  Reader() = default;
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;
  virtual ~Reader() = default;

  /// Reads and throws nothing; no outcome where there is nothing to tell. `forced` where everything
  /// is to be read, changed or not. Ends soon once a stop is requested.
  virtual std::optional<Outcome> read(bool forced, const std::stop_token& stop) = 0;
  /// When to read without being asked.
  virtual Clock::time_point due() const { return Clock::time_point::max(); }
  /// What to wait for besides, or -1; `handleReadable` is called once it can be read.
  virtual int descriptor() const { return -1; }
  virtual void handleReadable() {}
  /// Makes a reading under way fail soon. Any thread.
  virtual void breakOff() {}
};

/// How long a reading may take, and how long its end is waited for.
struct Patience {
  std::chrono::milliseconds reading{10'000};
  std::chrono::milliseconds end{5000};
};

class ReadingThread {
 public:
  /// Nothing is read before it is asked for. Throws `std::system_error` where the system has no
  /// thread or descriptor left.
  explicit ReadingThread(std::unique_ptr<Reader> reader, const Patience& patience = {});
  /// Breaks a reading under way off and waits for its end, but not longer than `Patience::end`, and
  /// hardly at all where it has been overdue.
  ~ReadingThread();
  ReadingThread(const ReadingThread&) = delete;
  ReadingThread& operator=(const ReadingThread&) = delete;

  /// Asks for a reading. What is asked for during a reading follows it, once.
  void request(bool forced);
  /// Readable while an outcome waits, and when a reading has ended that was overdue.
  int descriptor() const;
  std::optional<Outcome> take();
  /// Readable when a reading has become overdue, until `takeOverdue` is called.
  int overdueDescriptor() const;
  /// Whether the reading under way has taken longer than `Patience::reading`.
  bool takeOverdue();
  Reader& reader();

 private:
  struct Shared;

  static void run(Shared& shared);

  /// Outlives this object where the thread does.
  std::shared_ptr<Shared> shared_;
  Patience patience_;
  std::thread thread_;
};

}  // namespace Sources
