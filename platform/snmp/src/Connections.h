#pragma once

/// The stream connections that the agent serves: whose they are, what they have sent of a message,
/// and for how long nothing became of it. Bounds their number and their silence.
///
/// A connection is ended by shutting its socket down: its end is read next, and the agent library
/// closes it. For the event thread only.

#include <map>
#include <optional>
#include <string>

#include "Framer.h"
#include "qel/Time.h"
#include "snmp/Agent.h"

namespace Snmp {

/// Who is at the other end of a socket, for the limit of a peer: an IPv4 address, the 64 bits of an
/// IPv6 network, the user of a local socket.
std::string peerOf(int descriptor);

struct Connection {
  std::string peer;
  Framer framer;
  /// When it was opened, or a message began or ended.
  Qel::Seconds since = 0;
  /// Whether it was answered at least once.
  bool answered = false;
  bool ended = false;
};

class Connections {
 public:
  enum class Admission { admitted, tooManyOfPeer, tooMany };

  void limitsAre(const StreamLimits& limits) { limits_ = limits; }

  /// A new connection, unless there are too many. At the limit of all the one that has been silent
  /// longest without ever being answered makes room.
  Admission add(int descriptor, const std::string& peer);
  void remove(int descriptor) { open_.erase(descriptor); }
  /// Null for a descriptor that is none of a connection.
  Connection* find(int descriptor);

  /// Ends those that have been silent for too long, or sent half a message for too long. How many
  /// seconds there are until the next one is due; nothing without connections.
  std::optional<Qel::Seconds> endOverdue();

 private:
  static void end(int descriptor, Connection& connection);

  StreamLimits limits_;
  std::map<int, Connection> open_;
  /// Nobody is overdue before that.
  Qel::Seconds nextDue_ = 0;
};

}  // namespace Snmp
