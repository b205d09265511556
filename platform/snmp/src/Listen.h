#pragma once

/// Opens one address of the agent and keeps stream connections (TCP, local sockets) from holding it
/// up: the library's own send waits for a client for as long as that does not read.
///
/// - An answer that does not fit into a connection's buffer ends the connection.
/// - No more than `kMaxRead` octets of a connection are taken at a time, so that a client that
///   sends requests without end shares the agent with the others.
/// - The last few descriptors are not given to connections: one that would take them is ended at
///   once.

#include <cstddef>
#include <string>

namespace Snmp {

constexpr size_t kMaxRead = 2048;

/// Throws `std::runtime_error` when the address is not one or cannot be opened.
void listenOn(const std::string& address);

}  // namespace Snmp
