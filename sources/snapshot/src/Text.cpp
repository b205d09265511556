#include "snapshot/Text.h"

#include <arpa/inet.h>

#include <array>
#include <bit>
#include <cstdio>

namespace Sources {

namespace {

template <class Octets>
std::string addressText(int family, const Octets& octets) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  return inet_ntop(family, octets.data(), text.data(), text.size());
}

std::string counted(size_t count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

std::string textOf(const Kavet::IpAddr& address) { return addressText(AF_INET, address.octets()); }

std::string textOf(const Kavet::Ip6Addr& address) {
  return addressText(AF_INET6, address.octets());
}

std::string textOf(const Kavet::EthAddr& address) {
  std::string text;
  for (const uint8_t octet : address.octets()) {
    std::array<char, 4> digits{};
    std::snprintf(digits.data(), digits.size(), ":%02x", octet);
    text += digits.data();
  }
  return text.substr(1);
}

std::optional<uint32_t> prefixLength(const Kavet::IpAddr& mask) {
  const auto ones = static_cast<uint32_t>(std::countl_one(mask.value()));
  if (std::popcount(mask.value()) != static_cast<int>(ones)) return std::nullopt;
  return ones;
}

std::string summaryOf(const Snapshot& snapshot) {
  size_t rules = 0;
  size_t remarks = 0;
  for (const auto& [key, acl] : snapshot.acls) {
    rules += acl.rules.size();
    remarks += acl.remarks.size();
  }
  return counted(snapshot.acls.size(), "ACL") + ", " + counted(rules, "rule") + ", " +
         counted(remarks, "remark");
}

}  // namespace Sources
