#include "Listen.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

// After the general ones: it needs their types.
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <net-snmp/library/snmpTCPDomain.h>
#include <net-snmp/library/snmpTCPIPv6Domain.h>
#include <net-snmp/library/snmpUnixDomain.h>

#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <stdexcept>

#include "snmp/Agent.h"

namespace Snmp {

namespace {

// Descriptors that connections leave to everything else: documents, the host access files that the
// library opens for each packet.
constexpr rlim_t kReserve = 16;

/// The library's own functions of a transport domain.
struct Originals {
  decltype(netsnmp_transport::f_recv) recv = nullptr;
  decltype(netsnmp_transport::f_accept) accept = nullptr;
};

// The library copies a listening transport's functions to each of its connections; the domain is
// what tells them apart.
std::map<const oid*, Originals>& originals() {
  static std::map<const oid*, Originals> domains;
  return domains;
}

std::string peerOf(netsnmp_transport* transport) {
  const std::unique_ptr<char, void (*)(void*)> text(
      netsnmp_transport_peer_string(transport, transport->data, transport->data_length), free);
  return text == nullptr ? "unknown" : text.get();
}

int receiveSome(netsnmp_transport* transport, void* buffer, int size, void** opaque, int* length) {
  return originals()[transport->domain].recv(
      transport, buffer, std::min(size, static_cast<int>(kMaxRead)), opaque, length);
}

int sendOrEnd(netsnmp_transport* transport, const void* buffer, int size, void**, int*) {
  ssize_t sent = 0;
  do {
    sent = ::send(transport->sock, buffer, static_cast<size_t>(size), MSG_DONTWAIT | MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  if (sent == size) return size;
  if (sent >= 0 || errno == EAGAIN) {
    ::shutdown(transport->sock, SHUT_RDWR);
    log(LogLevel::warning, peerOf(transport) + " does not read its answers: connection ended");
  }
  // The end of the connection is read next, and the library closes it. Requests that wait before
  // that are answered with nothing; the library would write several lines for each.
  return size;
}

int acceptOrRefuse(netsnmp_transport* transport) {
  static bool refusing = false;
  const int accepted = originals()[transport->domain].accept(transport);
  rlimit descriptors{};
  ::getrlimit(RLIMIT_NOFILE, &descriptors);
  if (accepted < 0 || static_cast<rlim_t>(accepted) + kReserve < descriptors.rlim_cur) {
    refusing = refusing && accepted < 0;
    return accepted;
  }
  ::close(accepted);
  if (!refusing) log(LogLevel::error, "no descriptor is left: new connections are refused");
  refusing = true;
  errno = EMFILE;
  return -1;
}

bool isPlain(const netsnmp_transport& transport) {
  return transport.domain == netsnmp_snmpTCPDomain || transport.domain == netsnmp_TCPIPv6Domain ||
         transport.domain == netsnmp_UnixDomain;
}

}  // namespace

void listenOn(const std::string& address) {
  const auto failure = [&address](const std::string& reason) {
    return std::runtime_error("cannot listen on " + address + ": " + reason);
  };
  errno = 0;
  netsnmp_transport* transport = netsnmp_transport_open_server("snmp", address.c_str());
  if (transport == nullptr) throw failure(errno == 0 ? "not an address" : std::strerror(errno));
  if ((transport->flags & NETSNMP_TRANSPORT_FLAG_STREAM) != 0) {
    if (!isPlain(*transport)) {
      transport->f_close(transport);
      netsnmp_transport_free(transport);
      throw failure("one client of such a stream could hold up all others");
    }
    originals()[transport->domain] = {transport->f_recv, transport->f_accept};
    transport->f_recv = receiveSome;
    transport->f_send = sendOrEnd;
    transport->f_accept = acceptOrRefuse;
  }
  if (netsnmp_register_agent_nsap(transport) < 0) throw failure("no session for it");
}

}  // namespace Snmp
