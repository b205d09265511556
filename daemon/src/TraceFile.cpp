#include "TraceFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "qel/Trace.h"
#include "snmp/Agent.h"

namespace Daemon {

TraceFile::TraceFile(const std::string& path)
    : path_(path),
      descriptor_(
          ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK | O_CLOEXEC, 0640)) {
  if (!descriptor_) {
    throw std::runtime_error("trace file '" + path + "' cannot be opened: " + std::strerror(errno));
  }
  Qel::traceSinkIs(
      [this](const Qel::TraceRecord& record) { write(Qel::traceLine(record) + "\n"); });
}

TraceFile::~TraceFile() { Qel::traceSinkIs({}); }

void TraceFile::write(const std::string& line) {
  const ssize_t written = ::write(descriptor_.number(), line.data(), line.size());
  const bool failed = written != static_cast<ssize_t>(line.size());
  if (failed == failing_) return;
  failing_ = failed;
  if (failed) {
    Snmp::log(Qel::Severity::error, "trace file '" + path_ + "': traces are lost: " +
                                        std::strerror(written < 0 ? errno : ENOSPC));
  } else {
    Snmp::log(Qel::Severity::info, "trace file '" + path_ + "': traces are written again");
  }
}

}  // namespace Daemon
