#pragma once

/// Tracing of the MIB glue, and the one place where exceptions stop short of the agent library.

#include <exception>
#include <utility>

#include "qel/Trace.h"

namespace AclSnmp {

/// The trace handle "Snmp".
Qel::TraceHandle& mibTrace();

inline constexpr const char* kMibSource = "AclMIB";

/// Runs the body of a C callback. An exception that the body let pass is traced under the
/// callback's name, and `failed` is the result.
template <class Result, class Body>
Result guarded(const char* function, Result failed, Body&& body) noexcept {
  const auto report = [function](const char* text) noexcept {
    try {
      const Qel::Site site{kMibSource, __LINE__, function};
      QEL_TRACE_AT(mibTrace(), 0, site, function << " - " << text);
    } catch (...) {
      // No memory for the trace either; the result tells the caller.
    }
  };
  try {
    return std::forward<Body>(body)();
  } catch (const std::exception& exception) {
    report(exception.what());
  } catch (...) {
    report("unknown exception");
  }
  return failed;
}

}  // namespace AclSnmp

/// A trace of the callback named `function`.
#define ACLSNMP_MIB_TRACE(level, function, message) \
  QEL_TRACE_AT(::AclSnmp::mibTrace(), level,        \
               (::Qel::Site{::AclSnmp::kMibSource, __LINE__, function}), message)
