#pragma once

/// Opens one address of the agent and keeps its clients from holding the agent up or using it up.
///
/// Of stream connections (TCP, local sockets; see `Connections`):
/// - An answer that does not fit into a connection's buffer ends the connection: the library's own
///   send waits for a client for as long as that does not read.
/// - No more than `kMaxRead` octets of a connection are taken at a time, so that a client that
///   sends requests without end shares the agent with the others.
/// - What announces itself as longer than `kMaxMessage`, or is not a message, ends the connection.
/// - The last few descriptors are not given to connections: one that would take them is ended at
///   once.
/// Of datagrams:
/// - One from port 0 is dropped: nobody can be answered there.
/// - An answer that cannot be sent costs one line, which is bounded.
/// Of both, answers are made to fit (see `Answers`).

#include <cstddef>
#include <optional>
#include <string>

#include "qel/Time.h"
#include "snmp/Agent.h"

namespace Snmp {

constexpr size_t kMaxRead = 2048;

/// For all connections from here on.
void streamLimitsAre(const StreamLimits& limits);

/// Throws `std::runtime_error` when the address is not one, cannot be opened or is refused:
/// transports other than UDP, TCP (both over IPv4 and IPv6) and local sockets are.
void listenOn(const std::string& address);

/// Ends the connections whose time is over. Seconds until the next one is due.
std::optional<Qel::Seconds> endOverdueConnections();

}  // namespace Snmp
