#include "Leaves.h"

#include <arpa/inet.h>

#include <charconv>

namespace OpenConfig {

namespace {

constexpr std::string_view kExtensionModule = "zorlen-acl-ext";

// The whole text as a decimal number of plain digits up to `most`.
template <class T>
std::optional<T> decimal(std::string_view text, T most) {
  T value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || text.front() == '-' || error != std::errc() ||
      end != text.data() + text.size() || value > most) {
    return std::nullopt;
  }
  return value;
}

std::optional<uint8_t> hexOctet(std::string_view digits) {
  uint8_t octet = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + 2, octet, 16);
  if (error != std::errc() || end != digits.data() + 2) return std::nullopt;
  return octet;
}

std::optional<Kavet::IpAddr> ipv4(std::string_view text) {
  in_addr address{};
  if (inet_pton(AF_INET, std::string(text).c_str(), &address) != 1) return std::nullopt;
  return Kavet::IpAddr(ntohl(address.s_addr));
}

// Text that a C function may take: none that ends before its last octet.
std::string_view plainText(const Ref& leaf) {
  if (leaf.kind() != Kind::string) return {};
  const std::string_view text = leaf.text();
  return text.find('\0') == std::string_view::npos ? text : std::string_view();
}

}  // namespace

std::string_view withoutModule(std::string_view identity, std::string_view module) {
  if (identity.size() > module.size() && identity.starts_with(module) &&
      identity[module.size()] == ':') {
    identity.remove_prefix(module.size() + 1);
  }
  return identity;
}

std::string_view localName(std::string_view key) { return withoutModule(key, kAclModule); }

bool isForeign(std::string_view key) {
  if (key.starts_with('@')) return true;
  const size_t colon = key.find(':');
  if (colon == std::string_view::npos || colon == 0) return false;
  const std::string_view module = key.substr(0, colon);
  return module != kAclModule && module != kExtensionModule;
}

bool readBoolean(const Ref& leaf) {
  requireKind(leaf, Kind::boolean, "true or false");
  return leaf.number() != 0;
}

uint32_t readNumber(const Ref& leaf, uint32_t least, uint32_t most) {
  if (leaf.kind() != Kind::natural || leaf.number() < least || leaf.number() > most) {
    refuse(leaf, "a number from " + std::to_string(least) + " to " + std::to_string(most));
  }
  return static_cast<uint32_t>(leaf.number());
}

uint64_t readCounter(const Ref& leaf) {
  if (leaf.kind() == Kind::natural) return leaf.number();
  if (leaf.kind() == Kind::string) {
    if (const auto value = decimal<uint64_t>(leaf.text(), UINT64_MAX)) return *value;
  }
  refuse(leaf, "a 64-bit counter such as \"1024\"");
}

std::string readString(const Ref& leaf, size_t most) {
  requireKind(leaf, Kind::string, "a string");
  if (leaf.text().size() > most) {
    refuse(leaf, std::to_string(leaf.text().size()) + " octets",
           "at most " + std::to_string(most) + " octets");
  }
  return std::string(leaf.text());
}

std::string readOctets(const Ref& leaf, size_t most) {
  const std::string digits = readString(leaf, 2 * most);
  std::string octets;
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    const auto octet = hexOctet(std::string_view(digits).substr(i, 2));
    if (!octet) break;
    octets += static_cast<char>(*octet);
  }
  if (2 * octets.size() != digits.size()) {
    refuse(leaf, "octets in pairs of hexadecimal digits such as \"c3ff20\"");
  }
  return octets;
}

Kavet::IpAddr ipv4Mask(uint32_t length) {
  return Kavet::IpAddr(length == 0 ? 0 : 0xFFFFFFFFU << (32 - length));
}

Ipv4Prefix readIpv4(const Ref& leaf) {
  const std::string_view text = plainText(leaf);
  const size_t slash = text.find('/');
  const auto address = ipv4(text.substr(0, slash));
  std::optional<uint32_t> length;
  if (slash != std::string_view::npos) length = decimal<uint32_t>(text.substr(slash + 1), 32);
  if (!address || (slash != std::string_view::npos && !length)) {
    refuse(leaf, "an IPv4 prefix such as \"192.0.2.0/24\"");
  }
  return {*address, length};
}

Kavet::IpAddr readIpv4Mask(const Ref& leaf) {
  const auto mask = ipv4(plainText(leaf));
  if (!mask) refuse(leaf, "an IPv4 mask such as \"255.255.0.255\"");
  return *mask;
}

Acl::Ip6Prefix readIpv6Prefix(const Ref& leaf) {
  const std::string_view text = plainText(leaf);
  const size_t slash = text.find('/');
  if (slash != std::string_view::npos) {
    Kavet::Ip6Addr::Octets octets{};
    const auto length = decimal<uint32_t>(text.substr(slash + 1), 128);
    if (length &&
        inet_pton(AF_INET6, std::string(text.substr(0, slash)).c_str(), octets.data()) == 1) {
      return {Kavet::Ip6Addr(octets), *length};
    }
  }
  refuse(leaf, "an IPv6 prefix such as \"2001:db8::/32\"");
}

Kavet::EthAddr readMac(const Ref& leaf) {
  constexpr size_t kLength = 17;
  const std::string_view text = plainText(leaf);
  Kavet::EthAddr::Octets octets{};
  bool good = text.size() == kLength;
  for (size_t i = 0; good && i < octets.size(); ++i) {
    const auto octet = hexOctet(text.substr(3 * i, 2));
    good = octet.has_value() && (i == 0 || text[3 * i - 1] == ':');
    octets[i] = octet.value_or(0);
  }
  if (!good) refuse(leaf, "a MAC address such as \"00:53:00:12:34:56\"");
  return Kavet::EthAddr(octets);
}

Acl::UniqueId readUniqueId(const Ref& leaf) {
  std::string_view rest = plainText(leaf);
  const auto dots = std::count(rest.begin(), rest.end(), '.');
  const auto next = [&rest](auto most) {
    const size_t dot = std::min(rest.find('.'), rest.size());
    const auto number = decimal(rest.substr(0, dot), most);
    rest.remove_prefix(std::min(dot + 1, rest.size()));
    return number;
  };
  const auto number = next(uint32_t{0xFFFFFFFF});
  const auto major = next(uint16_t{0xFFFF});
  const auto minor = next(uint16_t{0xFFFF});
  if (dots == 2 && number && major && minor) {
    const Acl::UniqueId id(*number, *major, *minor);
    if (!(id == Acl::UniqueId::invalid())) return id;
  }
  refuse(leaf, "a rule's identity such as \"10.0.0\"");
}

}  // namespace OpenConfig
