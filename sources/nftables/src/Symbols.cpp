#include "Symbols.h"

#include <sys/socket.h>

#include <array>
#include <span>

#include "acl/Types.h"

namespace Sources::Nftables {

namespace {

struct Symbol {
  std::string_view name;
  uint32_t value;
};

constexpr std::array kEtherTypes = {
    Symbol{"ip", 0x0800},    Symbol{"arp", 0x0806},  Symbol{"ip6", 0x86DD},
    Symbol{"8021q", 0x8100}, Symbol{"vlan", 0x8100}, Symbol{"8021ad", 0x88A8},
};
constexpr std::array kProtocols = {
    Symbol{"icmp", 1},      Symbol{"igmp", 2},       Symbol{"tcp", 6},    Symbol{"udp", 17},
    Symbol{"dccp", 33},     Symbol{"gre", 47},       Symbol{"esp", 50},   Symbol{"ah", 51},
    Symbol{"icmpv6", 58},   Symbol{"ipv6-icmp", 58}, Symbol{"comp", 108}, Symbol{"sctp", 132},
    Symbol{"udplite", 136},
};
constexpr std::array kIcmpTypes = {
    Symbol{"echo-reply", 0},           Symbol{"destination-unreachable", 3},
    Symbol{"source-quench", 4},        Symbol{"redirect", 5},
    Symbol{"echo-request", 8},         Symbol{"router-advertisement", 9},
    Symbol{"router-solicitation", 10}, Symbol{"time-exceeded", 11},
    Symbol{"parameter-problem", 12},   Symbol{"timestamp-request", 13},
    Symbol{"timestamp-reply", 14},     Symbol{"info-request", 15},
    Symbol{"info-reply", 16},          Symbol{"address-mask-request", 17},
    Symbol{"address-mask-reply", 18},
};
constexpr std::array kIcmpCodes = {
    Symbol{"net-unreachable", 0},  Symbol{"host-unreachable", 1},  Symbol{"prot-unreachable", 2},
    Symbol{"port-unreachable", 3}, Symbol{"frag-needed", 4},       Symbol{"net-prohibited", 9},
    Symbol{"host-prohibited", 10}, Symbol{"admin-prohibited", 13},
};
constexpr std::array kIcmp6Types = {
    Symbol{"destination-unreachable", 1}, Symbol{"packet-too-big", 2},
    Symbol{"time-exceeded", 3},           Symbol{"parameter-problem", 4},
    Symbol{"echo-request", 128},          Symbol{"echo-reply", 129},
    Symbol{"mld-listener-query", 130},    Symbol{"mld-listener-report", 131},
    Symbol{"mld-listener-done", 132},     Symbol{"mld-listener-reduction", 132},
    Symbol{"nd-router-solicit", 133},     Symbol{"nd-router-advert", 134},
    Symbol{"nd-neighbor-solicit", 135},   Symbol{"nd-neighbor-advert", 136},
    Symbol{"nd-redirect", 137},           Symbol{"router-renumbering", 138},
    Symbol{"ind-neighbor-solicit", 141},  Symbol{"ind-neighbor-advert", 142},
    Symbol{"mld2-listener-report", 143},
};
constexpr std::array kIcmp6Codes = {
    Symbol{"no-route", 0},         Symbol{"admin-prohibited", 1}, Symbol{"addr-unreachable", 3},
    Symbol{"port-unreachable", 4}, Symbol{"policy-fail", 5},      Symbol{"reject-route", 6},
};
constexpr std::array kNetfilterFamilies = {Symbol{"ipv4", AF_INET}, Symbol{"ipv6", AF_INET6}};
/// Those of the tables' columns and two more.
constexpr auto kTcpFlags = [] {
  std::array<Symbol, Acl::kTcpFlagNames.size() + 2> symbols{{{"ecn", 0x40}, {"cwr", 0x80}}};
  size_t next = 2;
  for (const auto& [name, flag] : Acl::kTcpFlagNames) symbols[next++] = {name, flag};
  return symbols;
}();
constexpr std::array kTrackingStates = {
    Symbol{"invalid", kStateInvalid},     Symbol{"established", kStateEstablished},
    Symbol{"related", kStateRelated},     Symbol{"new", kStateNew},
    Symbol{"untracked", kStateUntracked},
};
constexpr std::array kHeaderEtherTypes = {
    Symbol{"ip", 0x0800},     Symbol{"icmp", 0x0800}, Symbol{"igmp", 0x0800}, Symbol{"ip6", 0x86DD},
    Symbol{"icmpv6", 0x86DD}, Symbol{"arp", 0x0806},  Symbol{"vlan", 0x8100},
};

std::optional<uint32_t> named(std::span<const Symbol> symbols, std::string_view name) {
  for (const Symbol& symbol : symbols) {
    if (symbol.name == name) return symbol.value;
  }
  return std::nullopt;
}

std::optional<uint32_t> symbolOrNumber(std::span<const Symbol> symbols, const Json& value,
                                       uint32_t most) {
  if (value.is_string()) return named(symbols, word(&value));
  const auto number = natural(&value);
  if (!number || *number > most) return std::nullopt;
  return static_cast<uint32_t>(*number);
}

std::optional<uint32_t> bits(std::span<const Symbol> symbols, const Json& value, uint32_t most) {
  const Json* list = value.is_array() ? &value : member(value, "|");
  if (list == nullptr || !list->is_array()) return symbolOrNumber(symbols, value, most);
  uint32_t sum = 0;
  for (const Json& part : *list) {
    // A sum may be written as a sum of two and a third.
    const auto nested = only(part).first == "|" ? only(part).second : nullptr;
    const auto bit =
        nested == nullptr ? symbolOrNumber(symbols, part, most) : bits(symbols, *nested, most);
    if (!bit) return std::nullopt;
    sum |= *bit;
  }
  return sum;
}

}  // namespace

std::optional<uint32_t> etherType(const Json& value) {
  return symbolOrNumber(kEtherTypes, value, 0xFFFF);
}
std::optional<uint32_t> protocol(const Json& value) {
  return symbolOrNumber(kProtocols, value, 0xFF);
}
std::optional<uint32_t> icmpType(const Json& value) {
  return symbolOrNumber(kIcmpTypes, value, 0xFF);
}
std::optional<uint32_t> icmpCode(const Json& value) {
  return symbolOrNumber(kIcmpCodes, value, 0xFF);
}
std::optional<uint32_t> icmp6Type(const Json& value) {
  return symbolOrNumber(kIcmp6Types, value, 0xFF);
}
std::optional<uint32_t> icmp6Code(const Json& value) {
  return symbolOrNumber(kIcmp6Codes, value, 0xFF);
}
std::optional<uint32_t> netfilterFamily(const Json& value) {
  return symbolOrNumber(kNetfilterFamilies, value, 0xFF);
}
std::optional<uint32_t> tcpFlags(const Json& value) { return bits(kTcpFlags, value, 0xFF); }
std::optional<uint32_t> trackingStates(const Json& value) {
  return bits(kTrackingStates, value, 0xFF);
}

std::optional<uint32_t> protocolOfHeader(std::string_view header) {
  return named(kProtocols, header);
}
std::optional<uint32_t> etherTypeOfHeader(std::string_view header) {
  return named(kHeaderEtherTypes, header);
}

}  // namespace Sources::Nftables
