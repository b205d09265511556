#pragma once

/// The log of the agent and its library: lines on standard error, and in the file or the system log
/// of the configuration's `logOption`. What the library says is bounded, for clients can bring it
/// about. For the event thread only.

#include <optional>
#include <string>

#include "qel/Time.h"
#include "snmp/Agent.h"

namespace Snmp {

/// As `log`, for a line that a client can bring about: at most ten a minute of its kind.
void logBounded(LogLevel level, const std::string& text);

/// Sends what the library logs through the bounds. Before its configuration is read.
void takeLibraryLog();
/// The same for the logs that the configuration opened.
void takeConfiguredLogs();
/// Says what was held back, and lets the library's logs go. Before it is shut down.
void leaveLibraryLog();

/// Says how many lines were held back where that is due. Seconds until the next time.
std::optional<Qel::Seconds> tellHeldBackLines();

}  // namespace Snmp
