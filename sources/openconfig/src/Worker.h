#pragma once

/// The thread of one file source: reads and parses the file when asked, and hands over what came
/// out.
///
/// Made, asked and destroyed on the event thread. Nothing that it hands over is kept on its side.

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

#include "FileReader.h"
#include "openconfig/Document.h"

namespace Sources::OpenConfig {

/// What one reading gave.
struct Outcome {
  /// The file was being written: it is to be looked at again.
  bool unsettled = false;
  /// Nothing when the file was refused.
  std::optional<Snapshot> snapshot;
  /// One line: what was loaded, or why nothing was.
  std::string message;
};

class Worker {
 public:
  /// Throws `std::system_error` where the system has no thread or descriptor left.
  Worker(std::string path, const Limits& limits);
  /// Ends a reading under way at its next entry.
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  /// Readable while outcomes wait.
  int descriptor() const { return descriptor_; }

  /// Asks for a look at the file. One that has not changed since the last reading gives no outcome,
  /// unless it is `forced`.
  void request(bool forced);

  /// The next outcome, in the order of the readings.
  std::optional<Outcome> take();

 private:
  void run(const std::stop_token& stop);
  std::optional<Outcome> look(bool forced, const std::stop_token& stop);

  const std::string path_;
  const Limits limits_;
  const int descriptor_;

  std::mutex mutex_;
  std::condition_variable_any wake_;
  bool requested_ = false;
  bool forced_ = false;
  std::deque<Outcome> outcomes_;

  // The last reading, for the worker alone.
  bool looked_ = false;
  bool readable_ = false;
  bool fresh_ = false;
  std::optional<FileIdentity> identity_;
  size_t hash_ = 0;
  std::string refusal_;

  std::jthread thread_;
};

}  // namespace Sources::OpenConfig
