#include "ChangeSocket.h"

#include <linux/netfilter/nfnetlink.h>
#include <linux/netlink.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace Sources::Nftables {

namespace {

/// Messages that are taken in one go; a storm of changes must not hold its reader.
constexpr int kMaxMessages = 10000;

}  // namespace

int ChangeSocket::open() {
  if (descriptor_) return 0;
  Qel::Descriptor made(
      socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, NETLINK_NETFILTER));
  if (!made) return errno;
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  const int group = NFNLGRP_NFTABLES;
  if (bind(made.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      setsockopt(made.number(), SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, &group, sizeof group) != 0) {
    return errno;
  }
  descriptor_ = std::move(made);
  return 0;
}

bool ChangeSocket::drain() {
  if (!descriptor_) return false;
  bool any = false;
  for (int i = 0; i < kMaxMessages; ++i) {
    char octet = 0;
    // What the message says does not matter, nor that most of it is cut off.
    if (recv(descriptor_.number(), &octet, sizeof octet, MSG_DONTWAIT) < 0) {
      if (errno == EAGAIN) break;
      if (errno != ENOBUFS && errno != EINTR) break;
    }
    any = true;
  }
  return any;
}

}  // namespace Sources::Nftables
