#pragma once

/// Makes answers fit: into what a transport carries, what a client says it takes, and
/// `kMaxMessage`. Of a GETBULK so many variables are answered as fit, any other answer becomes
/// tooBig, and tooBig goes without the request's variables where these do not fit. The library's
/// own ways to do so are never entered: they take a client's word for what the transport carries,
/// and one that takes little can make them cut a GETBULK for ever. For the event thread only.
///
/// A request with more than `kMaxVariables` variables is answered with tooBig and without a look at
/// them: one message must not keep the others waiting.
///
/// Included after Net-SNMP's general headers.

#include <cstddef>

namespace Snmp {

inline constexpr size_t kMaxVariables = 128;

/// A session's callback: serves one message.
int serveMessage(int operation, netsnmp_session* session, int number, netsnmp_pdu* pdu,
                 void* magic);

/// A session's build function: encodes one message.
int buildToFit(netsnmp_session* session, netsnmp_pdu* pdu, u_char** packet, size_t* room,
               size_t* length);

}  // namespace Snmp
