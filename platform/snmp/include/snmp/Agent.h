#pragma once

/// The SNMP agent of this process: the thin seam to the agent library's start, event handling and
/// end. One at a time; for the event thread only.

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "qel/Severity.h"
#include "qel/Time.h"

namespace Snmp {

using LogLevel = Qel::Severity;

/// One line to the agent's log. Octets outside the printable ones stand as \xNN.
void log(LogLevel level, const std::string& text);
/// A line of traces, written where the log is.
void logTrace(const std::string& line);

/// How much clients may take of stream connections (TCP, local sockets).
struct StreamLimits {
  size_t connections = 256;
  /// Of one peer: an IPv4 address, an IPv6 network of 64 bits, a local user.
  size_t perPeer = 32;
  /// After so many seconds an idle connection is ended, and one that sent half a message.
  Qel::Seconds timeout = 60;
};

struct AgentOptions {
  /// The name of the application: its configuration is NAME.conf, its persistent state is kept
  /// under it.
  std::string name;
  /// Addresses in the agent library's form, for example "udp:127.0.0.1:161". Given ones replace the
  /// configuration's `agentaddress`; without any the agent listens on udp:127.0.0.1:161.
  std::vector<std::string> listen;
  /// Read in place of the NAME.conf of the usual places.
  std::string configFile;
  StreamLimits streams = {};
};

class Agent {
 public:
  /// Reads the configuration (access control, users, addresses). Nothing is served yet. Throws
  /// `std::runtime_error` for a configuration file that cannot be read.
  explicit Agent(const AgentOptions& options);
  /// Stores the persistent state and closes all sockets. Everything registered must be gone.
  ~Agent();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  /// The configuration's `agentuser` and `agentgroup`, which the process is to become once the
  /// addresses are open; nothing where it has none.
  std::optional<unsigned> user() const;
  std::optional<unsigned> group() const;

  /// Opens the addresses. Throws `std::runtime_error` when one cannot be opened.
  void open();

  /// Waits until a packet or a watched descriptor can be read, the library has something due, or
  /// `timeout` seconds have passed (nothing: no end). Serves the packets that wait, then calls
  /// `readable` with each watched descriptor that can be read.
  void serve(std::optional<Qel::Seconds> timeout, const std::vector<int>& watched,
             const std::function<void(int)>& readable);

 private:
  std::string name_;
  std::vector<std::string> listen_;
  bool open_ = false;
};

}  // namespace Snmp
