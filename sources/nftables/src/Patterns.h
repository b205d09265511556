#pragma once

/// Addresses and ports as rules compare them, in the forms that the tables' columns can carry.

#include <array>
#include <optional>
#include <string>

#include "Json.h"
#include "acl/Types.h"

namespace Sources::Nftables {

/// An address and the bits of it that are compared.
template <size_t octets>
struct Pattern {
  std::array<uint8_t, octets> address{};
  std::array<uint8_t, octets> mask{};
};

// One address, a prefix, an address under a mask (`mask`, else null), a range that is a prefix, or
// a set of one of these; nothing for anything else.
std::optional<Pattern<4>> ipv4Pattern(const Json& value, const Json* mask);
std::optional<Pattern<16>> ipv6Pattern(const Json& value, const Json* mask);
std::optional<Pattern<6>> macPattern(const Json& value, const Json* mask);

/// How many bits of a mask are set, where they are the first ones.
std::optional<uint32_t> prefixLength(const std::array<uint8_t, 16>& mask);

/// A comparison of a port with a number, a range or a set, where the text of the ports fits its
/// column.
std::optional<Acl::PortRange> ports(std::string_view oper, const Json& value);

/// A comparison of a TTL or hop limit with a number. One that always holds is `any`.
std::optional<Acl::RangeCondition> hops(std::string_view oper, const Json& value);

/// The one element of an anonymous set that has just one, else the value itself.
const Json& unwrapped(const Json& value);

}  // namespace Sources::Nftables
