#pragma once

/// Standard error, which is never waited for: a pipe that nobody reads or a terminal that stands
/// still costs lines, which are counted, and nothing else. For the event thread only.

#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "qel/Descriptor.h"

namespace Snmp {

class StandardError {
 public:
  /// Writes one line, given without its end; before it, how many were lost before.
  void write(std::string_view line);

 private:
  bool tryToWrite(std::string line);
  /// An open file of our own for what standard error is, so that its mode is nobody else's.
  void reopen(const struct stat& status);

  Qel::Descriptor own_;
  dev_t device_ = 0;
  ino_t file_ = 0;
  size_t lost_ = 0;
};

}  // namespace Snmp
