#pragma once

/// Traces: one handle per source unit, each with a level of its own.
///
/// A trace of level n is emitted while the handle's level is n or above, and only then is its
/// message put together. Every handle starts at level 0: what is wrong is said, the routine flow is
/// not.

#include <functional>
#include <sstream>
#include <string>
#include <string_view>

#include "qel/Assert.h"

namespace Qel {

struct TraceRecord {
  std::string_view handle;
  int level;
  Site site;
  std::string_view message;
};

class TraceHandle {
 public:
  /// Takes its level from the settings in force for its name, now or later.
  explicit TraceHandle(std::string_view name);
  ~TraceHandle();
  TraceHandle(const TraceHandle&) = delete;
  TraceHandle& operator=(const TraceHandle&) = delete;

  const std::string& name() const { return name_; }
  int level() const { return level_; }
  void levelIs(int level) { level_ = level; }
  bool enabled(int level) const { return level <= level_; }
  void emit(int level, const Site& site, std::string_view message) const;

 private:
  std::string name_;
  int level_ = 0;
};

using TraceSink = std::function<void(const TraceRecord&)>;

/// Replaces what is done with emitted traces; an empty function restores the default, one line per
/// trace on standard error. A sink must not throw.
void traceSinkIs(TraceSink sink);

/// One line, without its end: time, handle, level, source, line, function and message. Octets
/// outside the printable ones stand as \xNN, so that a name cannot forge a line.
std::string traceLine(const TraceRecord& record);

/// Sets levels from a text such as "Snmp=2,AclSnmpSm=8". A name without a level means 9. Throws
/// `RangeException` for a bad text and then sets nothing. Handles that do not exist yet count too.
void traceSettingsIs(std::string_view settings);

}  // namespace Qel

/// Emits `message`, a chain of stream insertions, on `handle` at `level` for the given site.
#define QEL_TRACE_AT(handle, level, site, message)      \
  do {                                                  \
    if ((handle).enabled(level)) {                      \
      std::ostringstream qelTraceStream;                \
      qelTraceStream << message;                        \
      (handle).emit(level, site, qelTraceStream.str()); \
    }                                                   \
  } while (false)

#define QEL_TRACE(handle, level, source, message) \
  QEL_TRACE_AT(handle, level, QEL_SITE(source), message)
