#include "Connections.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

namespace Snmp {

std::string peerOf(int descriptor) {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  char text[INET6_ADDRSTRLEN] = "unknown";
  if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&address), &length) != 0) return text;
  switch (address.ss_family) {
    case AF_INET: {
      const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
      return inet_ntop(AF_INET, &v4.sin_addr, text, sizeof text);
    }
    case AF_INET6: {
      in6_addr network = reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
      if (IN6_IS_ADDR_V4MAPPED(&network)) {
        return inet_ntop(AF_INET, &network.s6_addr[12], text, sizeof text);
      }
      std::fill(network.s6_addr + 8, network.s6_addr + 16, 0);
      return std::string(inet_ntop(AF_INET6, &network, text, sizeof text)) + "/64";
    }
    case AF_UNIX: {
      ucred user{};
      length = sizeof user;
      ::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &user, &length);
      return "user " + std::to_string(user.uid);
    }
    default:
      return text;
  }
}

Connections::Admission Connections::add(int descriptor, const std::string& peer) {
  size_t ofPeer = 0;
  size_t all = 0;
  auto silent = open_.end();
  for (auto other = open_.begin(); other != open_.end(); ++other) {
    const Connection& connection = other->second;
    if (connection.ended) continue;
    ++all;
    ofPeer += connection.peer == peer ? 1 : 0;
    if (connection.answered) continue;
    if (silent == open_.end() || connection.since < silent->second.since) silent = other;
  }
  if (ofPeer >= limits_.perPeer) return Admission::tooManyOfPeer;
  if (all >= limits_.connections) {
    if (silent == open_.end()) return Admission::tooMany;
    end(silent->first, silent->second);
  }
  Connection& added = open_[descriptor];
  added = {};
  added.peer = peer;
  added.since = Qel::now();
  nextDue_ = std::min(nextDue_, added.since + limits_.timeout);
  return Admission::admitted;
}

Connection* Connections::find(int descriptor) {
  const auto found = open_.find(descriptor);
  return found == open_.end() ? nullptr : &found->second;
}

std::optional<Qel::Seconds> Connections::endOverdue() {
  if (open_.empty()) return std::nullopt;
  const Qel::Seconds now = Qel::now();
  if (now >= nextDue_) {
    nextDue_ = now + limits_.timeout;
    for (auto& [descriptor, connection] : open_) {
      if (connection.ended) continue;
      const Qel::Seconds due = connection.since + limits_.timeout;
      if (due <= now) {
        end(descriptor, connection);
      } else {
        nextDue_ = std::min(nextDue_, due);
      }
    }
  }
  return nextDue_ - now;
}

void Connections::end(int descriptor, Connection& connection) {
  ::shutdown(descriptor, SHUT_RDWR);
  connection.ended = true;
}

}  // namespace Snmp
