#pragma once

/// Traces into a file. A disk that is full, or any other write error, loses traces and nothing
/// else; it is logged once, and once more when writing works again. A named pipe is never waited
/// for.

#include <string>

#include "qel/Descriptor.h"

namespace Daemon {

class TraceFile {
 public:
  /// Appends to the file. Throws `std::runtime_error` when it cannot be opened.
  explicit TraceFile(const std::string& path);
  ~TraceFile();
  TraceFile(const TraceFile&) = delete;
  TraceFile& operator=(const TraceFile&) = delete;

 private:
  void write(const std::string& line);

  std::string path_;
  Qel::Descriptor descriptor_;
  bool failing_ = false;
};

}  // namespace Daemon
