#pragma once

/// Numbers that nft writes by name. It is asked for names where it has the choice: the library's
/// numeric form of an EtherType stands in the machine's own octet order.

#include <optional>

#include "Json.h"

namespace Sources::Nftables {

// Each takes a number as well, up to what the field holds; nothing for anything else.
std::optional<uint32_t> etherType(const Json& value);
std::optional<uint32_t> protocol(const Json& value);
std::optional<uint32_t> icmpType(const Json& value);
std::optional<uint32_t> icmpCode(const Json& value);
std::optional<uint32_t> icmp6Type(const Json& value);
std::optional<uint32_t> icmp6Code(const Json& value);
/// AF_INET or AF_INET6.
std::optional<uint32_t> netfilterFamily(const Json& value);

// Bits that are all meant, written as one symbol, a list of them or their sum.
std::optional<uint32_t> tcpFlags(const Json& value);
std::optional<uint32_t> trackingStates(const Json& value);

/// The bits of a connection's states, those of the kernel.
enum TrackingState : uint32_t {
  kStateInvalid = 1,
  kStateEstablished = 2,
  kStateRelated = 4,
  kStateNew = 8,
  kStateUntracked = 64,
};

/// The protocol number that an expression on a header of that name implies.
std::optional<uint32_t> protocolOfHeader(std::string_view header);
/// The EtherType that it implies.
std::optional<uint32_t> etherTypeOfHeader(std::string_view header);

}  // namespace Sources::Nftables
