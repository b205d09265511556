#include "Listen.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

// After the general ones: it needs their types.
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <net-snmp/library/snmpTCPDomain.h>
#include <net-snmp/library/snmpTCPIPv6Domain.h>
#include <net-snmp/library/snmpUDPDomain.h>
#include <net-snmp/library/snmpUDPIPv6Domain.h>
#include <net-snmp/library/snmpUnixDomain.h>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <stdexcept>

#include "Answers.h"
#include "Connections.h"
#include "Log.h"

namespace Snmp {

namespace {

// Descriptors that connections leave to everything else: documents, the host access files that the
// library opens for each packet.
constexpr rlim_t kReserve = 16;

/// The library's own functions of a transport domain.
struct Originals {
  decltype(netsnmp_transport::f_recv) recv = nullptr;
  decltype(netsnmp_transport::f_send) send = nullptr;
  decltype(netsnmp_transport::f_accept) accept = nullptr;
  decltype(netsnmp_transport::f_close) close = nullptr;
};

// The library copies a listening transport's functions to each of its connections; the domain is
// what tells them apart.
std::map<const oid*, Originals>& originals() {
  static std::map<const oid*, Originals> domains;
  return domains;
}

Connections& connections() {
  static Connections all;
  return all;
}

/// Tells the library that there is nothing to process, without an end.
int nothing(netsnmp_transport* transport) {
  transport->flags |= NETSNMP_TRANSPORT_FLAG_EMPTY_PKT;
  return 0;
}

int endFor(const Connection& connection, const char* reason) {
  logBounded(LogLevel::warning, "[" + connection.peer + "] " + reason + ": connection ended");
  return -1;
}

/// Where the library is to think that a message came from; it frees this. From a local socket that
/// is the agent's own address, as ever: the client's own could be the name of anything.
void* addressOf(const netsnmp_transport& transport, int* length) {
  if (transport.domain != netsnmp_UnixDomain) {
    *length = transport.data_length;
    return netsnmp_memdup(transport.data, static_cast<size_t>(transport.data_length));
  }
  socklen_t size = sizeof(sockaddr_un);
  *length = static_cast<int>(size);
  auto* own = static_cast<sockaddr*>(std::calloc(1, size + 1));
  if (own != nullptr) ::getsockname(transport.sock, own, &size);
  return own;
}

int receiveMessages(netsnmp_transport* transport, void* buffer, int size, void** from,
                    int* fromLength) {
  *from = nullptr;
  *fromLength = 0;
  Connection* connection = connections().find(transport->sock);
  if (connection == nullptr || connection->ended) return -1;
  Framer& framer = connection->framer;
  static std::array<char, kMaxRead> read;
  const ssize_t count =
      ::recv(transport->sock, read.data(), std::min(read.size(), framer.room()), MSG_DONTWAIT);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return nothing(transport);
  if (count <= 0) return -1;
  const bool began = framer.partial();
  switch (framer.add({read.data(), static_cast<size_t>(count)})) {
    case Framer::Fault::none:
      break;
    case Framer::Fault::noMessage:
      return endFor(*connection, "sends what is not SNMP");
    case Framer::Fault::tooLong:
      return endFor(*connection, "announces a message of more than 65536 octets");
  }
  if (framer.whole() > 0 || !began) connection->since = Qel::now();
  if (framer.whole() == 0) return nothing(transport);
  // A message never needs more: the library offers its largest.
  if (framer.whole() > static_cast<size_t>(size)) return -1;
  *from = addressOf(*transport, fromLength);
  if (*from == nullptr) return -1;
  return static_cast<int>(framer.take(buffer));
}

int sendOrEnd(netsnmp_transport* transport, const void* buffer, int size, void**, int*) {
  ssize_t sent = 0;
  do {
    sent = ::send(transport->sock, buffer, static_cast<size_t>(size), MSG_DONTWAIT | MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  Connection* connection = connections().find(transport->sock);
  if (connection != nullptr && sent == size) connection->answered = true;
  if (connection != nullptr && sent != size && (sent >= 0 || errno == EAGAIN)) {
    ::shutdown(transport->sock, SHUT_RDWR);
    endFor(*connection, "does not read its answers");
  }
  // The end of the connection is read next, and the library closes it. Requests that wait before
  // that are answered with nothing; the library would write several lines for each.
  return size;
}

int acceptOrRefuse(netsnmp_transport* transport) {
  static bool refusing = false;
  const int accepted = originals()[transport->domain].accept(transport);
  if (accepted < 0) return accepted;
  rlimit descriptors{};
  ::getrlimit(RLIMIT_NOFILE, &descriptors);
  if (static_cast<rlim_t>(accepted) + kReserve >= descriptors.rlim_cur) {
    if (!refusing) log(LogLevel::error, "no descriptor is left: new connections are refused");
    refusing = true;
    errno = EMFILE;
  } else {
    refusing = false;
    const std::string peer = peerOf(accepted);
    switch (connections().add(accepted, peer)) {
      case Connections::Admission::admitted:
        return accepted;
      case Connections::Admission::tooManyOfPeer:
        logBounded(LogLevel::warning, "[" + peer + "] has too many connections: refused");
        break;
      case Connections::Admission::tooMany:
        logBounded(LogLevel::warning, "there are too many connections: [" + peer + "] refused");
        break;
    }
    errno = ECONNREFUSED;
  }
  ::close(accepted);
  return -1;
}

int closeOne(netsnmp_transport* transport) {
  if (connections().find(transport->sock) == nullptr) {
    return originals()[transport->domain].close(transport);
  }
  // Not by the library: it takes the name of a local client for that of its own socket, cuts off
  // the beginning, and unlinks the rest.
  connections().remove(transport->sock);
  const int result = ::close(transport->sock);
  transport->sock = -1;
  return result;
}

/// The port of a datagram's sender. What the library says of it begins with the address.
in_port_t portOf(const void* from) {
  static_assert(offsetof(sockaddr_in, sin_port) == offsetof(sockaddr_in6, sin6_port));
  in_port_t port = 0;
  std::memcpy(&port, static_cast<const char*>(from) + offsetof(sockaddr_in, sin_port), sizeof port);
  return port;
}

int receiveDatagram(netsnmp_transport* transport, void* buffer, int size, void** from,
                    int* fromLength) {
  const int length = originals()[transport->domain].recv(transport, buffer, size, from, fromLength);
  return length >= 0 && *from != nullptr && portOf(*from) == 0 ? nothing(transport) : length;
}

int sendOrDrop(netsnmp_transport* transport, const void* buffer, int size, void** to,
               int* toLength) {
  if (originals()[transport->domain].send(transport, buffer, size, to, toLength) < 0) {
    const std::string reason = std::strerror(errno);
    const std::unique_ptr<char, void (*)(void*)> peer(
        netsnmp_transport_peer_string(transport, *to, *toLength), free);
    logBounded(LogLevel::warning, std::string("an answer cannot be sent: ") + reason + " (" +
                                      (peer == nullptr ? "" : peer.get()) + ")");
  }
  // The library would write a line for each of the answer's OIDs.
  return size;
}

bool isOneOf(const netsnmp_transport& transport, std::initializer_list<const oid*> domains) {
  return std::find(domains.begin(), domains.end(), transport.domain) != domains.end();
}

bool isStream(const netsnmp_transport& transport) {
  return isOneOf(transport, {netsnmp_snmpTCPDomain, netsnmp_TCPIPv6Domain, netsnmp_UnixDomain});
}

bool isDatagram(const netsnmp_transport& transport) {
  return isOneOf(transport, {netsnmpUDPDomain, netsnmp_UDPIPv6Domain});
}

/// As the library registers an address of an agent, but for who serves and builds messages.
bool serveOn(netsnmp_transport* transport) {
  netsnmp_session session;
  snmp_sess_init(&session);
  session.version = SNMP_DEFAULT_VERSION;
  session.callback = serveMessage;
  session.flags =
      static_cast<u_long>(netsnmp_ds_get_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_FLAGS));
  session.isAuthoritative = SNMP_SESS_AUTHORITATIVE;
  transport->flags |= NETSNMP_TRANSPORT_FLAG_OPENED;
  return snmp_add_full(&session, transport, netsnmp_agent_check_packet, nullptr,
                       netsnmp_agent_check_parse, nullptr, buildToFit, nullptr, nullptr) != nullptr;
}

}  // namespace

void streamLimitsAre(const StreamLimits& limits) { connections().limitsAre(limits); }

std::optional<Qel::Seconds> endOverdueConnections() { return connections().endOverdue(); }

void listenOn(const std::string& address) {
  const auto failure = [&address](const std::string& reason) {
    return std::runtime_error("cannot listen on " + address + ": " + reason);
  };
  errno = 0;
  netsnmp_transport* transport = netsnmp_transport_open_server("snmp", address.c_str());
  if (transport == nullptr) throw failure(errno == 0 ? "not an address" : std::strerror(errno));
  if (!isStream(*transport) && !isDatagram(*transport)) {
    transport->f_close(transport);
    netsnmp_transport_free(transport);
    throw failure("only udp, udp6, tcp, tcp6 and unix are served");
  }
  originals()[transport->domain] = {transport->f_recv, transport->f_send, transport->f_accept,
                                    transport->f_close};
  // The agent waits neither for a client that is gone again, nor, over IPv6, for room to send.
  ::fcntl(transport->sock, F_SETFL, ::fcntl(transport->sock, F_GETFL) | O_NONBLOCK);
  if (isStream(*transport)) {
    // The library lets five wait; a sixth would try again after a second.
    ::listen(transport->sock, SOMAXCONN);
    transport->f_recv = receiveMessages;
    transport->f_send = sendOrEnd;
    transport->f_accept = acceptOrRefuse;
    transport->f_close = closeOne;
  } else {
    transport->f_recv = receiveDatagram;
    transport->f_send = sendOrDrop;
  }
  if (!serveOn(transport)) throw failure("no session for it");
}

}  // namespace Snmp
