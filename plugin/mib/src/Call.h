#pragma once

/// A call of one of the plug-in's functions: the name under which it traces, and the one place
/// where exceptions stop short of the agent library.

#include <exception>
#include <sstream>

#include "qel/Trace.h"

namespace AclSnmp {

/// The trace handle "Snmp".
Qel::TraceHandle& mibTrace();

inline constexpr const char* kMibSource = "AclMIB";

class Call {
 public:
  /// The level of a trace and the line that it stands on.
  struct Level {
    // NOLINTNEXTLINE(google-explicit-constructor): a plain number is meant
    Level(int number, int line = __builtin_LINE()) : number(number), line(line) {}
    int number;
    int line;
  };

  /// `function` is the name of the function that was called.
  explicit Call(const char* function) : function_(function) {}

  const char* function() const { return function_; }

  /// Traces a message, put together only where the level is enabled.
  template <class... Parts>
  void trace(Level level, const Parts&... parts) const {
    if (!mibTrace().enabled(level.number)) return;
    std::ostringstream text;
    (text << ... << parts);
    mibTrace().emit(level.number, {kMibSource, level.line, function_}, text.str());
  }
  /// A trace that begins with the function's name.
  template <class... Parts>
  void tell(Level level, const Parts&... parts) const {
    trace(level, function_, parts...);
  }

  /// Runs the body of a C callback. An exception that it lets pass is traced, and `failed` is the
  /// result.
  template <class Result, class Body>
  Result guarded(Result failed, const Body& body) const noexcept {
    try {
      return body();
    } catch (const std::exception& exception) {
      stopped(exception.what());
    } catch (...) {
      stopped("unknown exception");
    }
    return failed;
  }

 private:
  void stopped(const char* what) const noexcept {
    try {
      tell(0, " - ", what);
    } catch (...) {
      // No memory for the trace either; the result tells the caller.
    }
  }

  const char* function_;
};

}  // namespace AclSnmp
