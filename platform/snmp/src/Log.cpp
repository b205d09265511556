#include "Log.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "LineLimit.h"
#include "StandardError.h"
#include "qel/Strep.h"

namespace Snmp {

namespace {

struct Log {
  StandardError standardError;
  LineLimit limit;
  /// The configuration's own logs, and what writes to them.
  std::vector<std::pair<netsnmp_log_handler*, decltype(netsnmp_log_handler::handler)>> configured;

  void write(int priority, const std::string& line) {
    standardError.write(line);
    for (const auto& [handler, function] : configured) {
      if (priority >= handler->pri_max && priority <= handler->priority) {
        function(handler, priority, (line + "\n").c_str());
      }
    }
  }
  void writeBounded(int priority, const std::string& line) {
    if (limit.admits(line)) write(priority, line);
  }
};

Log& theLog() {
  // For as long as the process: whatever ends last may still have something to say.
  static Log& log = *new Log;
  return log;
}

int priorityOf(LogLevel level) {
  switch (level) {
    case LogLevel::error:
      return LOG_ERR;
    case LogLevel::warning:
      return LOG_WARNING;
    case LogLevel::info:
      return LOG_INFO;
    case LogLevel::debug:
      break;
  }
  return LOG_DEBUG;
}

/// One of the lines that list all OIDs of an answer that cannot be sent.
bool isOidOfAnswer(std::string_view line) { return line.starts_with("    -- "); }

int fromLibrary(netsnmp_log_handler*, int priority, const char* text) {
  for (std::string_view rest = text; !rest.empty();) {
    const size_t end = std::min(rest.find('\n'), rest.size());
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (!line.empty() && !isOidOfAnswer(line))
      theLog().writeBounded(priority, Qel::printable(line));
  }
  return 1;
}

int fromLibraryToConfigured(netsnmp_log_handler*, int, const char*) { return 1; }

}  // namespace

void log(LogLevel level, const std::string& text) {
  theLog().write(priorityOf(level), Qel::printable(text));
}

void logTrace(const std::string& line) { theLog().standardError.write(line); }

void logBounded(LogLevel level, const std::string& text) {
  theLog().writeBounded(priorityOf(level), Qel::printable(text));
}

void takeLibraryLog() {
  netsnmp_log_handler* all = netsnmp_register_loghandler(NETSNMP_LOGHANDLER_NONE, LOG_DEBUG);
  if (all != nullptr) all->handler = fromLibrary;
}

void takeConfiguredLogs() {
  for (netsnmp_log_handler* each = get_logh_head(); each != nullptr; each = each->next) {
    if (each->handler == fromLibrary || each->enabled == 0) continue;
    if (each->type == NETSNMP_LOGHANDLER_FILE || each->type == NETSNMP_LOGHANDLER_SYSLOG) {
      theLog().configured.emplace_back(each, each->handler);
    }
    each->handler = fromLibraryToConfigured;
  }
}

void leaveLibraryLog() {
  theLog().limit.tellHeldBack([](const std::string& line) { theLog().write(LOG_INFO, line); },
                              true);
  for (const auto& [handler, function] : theLog().configured) handler->handler = function;
  theLog().configured.clear();
}

std::optional<Qel::Seconds> tellHeldBackLines() {
  theLog().limit.tellHeldBack([](const std::string& line) { theLog().write(LOG_INFO, line); });
  return theLog().limit.timeToNext();
}

}  // namespace Snmp
