#pragma once

/// Opens one address of the agent and keeps stream connections (TCP, local sockets) from holding it
/// up: the library's own send waits for a client for as long as that does not read.
///
/// - An answer that does not fit into a connection's buffer ends the connection.
/// - No more than `kMaxRead` octets of a connection are taken at a time, so that a client that
///   sends requests without end shares the agent with the others.
/// - The last few descriptors are not given to connections: one that would take them is ended at
///   once.
/// - Streams of other kinds are refused. TLS is one: the library waits for a client's part of the
///   handshake, and for the rest of a record, for as long as that takes.

#include <cstddef>
#include <string>

namespace Snmp {

constexpr size_t kMaxRead = 2048;

/// Throws `std::runtime_error` when the address is not one, cannot be opened or is refused.
void listenOn(const std::string& address);

}  // namespace Snmp
