#pragma once

/// Leafs: JSON values as the plain values of the ACL model. Every function throws `Refused` where
/// the value is of another kind or out of range.

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Members.h"
#include "acl/Types.h"
#include "kavet/Addr.h"

namespace OpenConfig {

bool readBoolean(const Ref& leaf);
uint32_t readNumber(const Ref& leaf, uint32_t least, uint32_t most);
/// A 64-bit counter: a string of digits, or a number.
uint64_t readCounter(const Ref& leaf);
/// A string of at most `most` octets.
std::string readString(const Ref& leaf, size_t most);
/// Octets written as pairs of hexadecimal digits; at most `most` octets.
std::string readOctets(const Ref& leaf, size_t most);

/// An IPv4 address and what followed it; without a slash there is no length.
struct Ipv4Prefix {
  Kavet::IpAddr address;
  std::optional<uint32_t> length;
};
Ipv4Prefix readIpv4(const Ref& leaf);
Kavet::IpAddr readIpv4Mask(const Ref& leaf);
Acl::Ip6Prefix readIpv6Prefix(const Ref& leaf);
Kavet::EthAddr readMac(const Ref& leaf);
/// A rule's identity, three numbers such as "10.0.0".
Acl::UniqueId readUniqueId(const Ref& leaf);
/// The mask of a prefix of up to 32 bits.
Kavet::IpAddr ipv4Mask(uint32_t length);

/// A number's name. `name` stands without its module.
template <class T>
struct Named {
  std::string_view name;
  T value;
};

/// The identity's name without the prefix of `module`.
std::string_view withoutModule(std::string_view identity, std::string_view module);

template <class T, size_t N>
std::string namesOf(const std::array<Named<T>, N>& table) {
  std::string names;
  for (size_t i = 0; i < N; ++i) {
    names += (i == 0 ? "" : i + 1 == N ? " or " : ", ") + std::string(table[i].name);
  }
  return names;
}

/// The value of an identity or enumeration, or nothing when the leaf is none of the table.
template <class T, size_t N>
std::optional<T> findNamed(const Ref& leaf, const std::array<Named<T>, N>& table,
                           std::string_view module) {
  if (leaf.kind() != Kind::string) return std::nullopt;
  const std::string_view name = withoutModule(leaf.text(), module);
  const auto found = std::find_if(table.begin(), table.end(),
                                  [name](const Named<T>& entry) { return entry.name == name; });
  return found == table.end() ? std::nullopt : std::optional<T>(found->value);
}

template <class T, size_t N>
T readNamed(const Ref& leaf, const std::array<Named<T>, N>& table, std::string_view module) {
  const std::optional<T> value = findNamed(leaf, table, module);
  if (!value) refuse(leaf, namesOf(table));
  return *value;
}

/// A number in a range or the name of one.
template <size_t N>
uint32_t readNumberOrNamed(const Ref& leaf, uint32_t least, uint32_t most,
                           const std::array<Named<uint32_t>, N>& table, std::string_view module) {
  if (const std::optional<uint32_t> value = findNamed(leaf, table, module)) return *value;
  if (leaf.kind() == Kind::natural && leaf.number() >= least && leaf.number() <= most) {
    return static_cast<uint32_t>(leaf.number());
  }
  refuse(leaf, "a number from " + std::to_string(least) + " to " + std::to_string(most) + ", " +
                   namesOf(table));
}

inline constexpr std::string_view kAclModule = "openconfig-acl";
inline constexpr std::string_view kMatchTypesModule = "openconfig-packet-match-types";

}  // namespace OpenConfig
