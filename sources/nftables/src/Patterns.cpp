#include "Patterns.h"

#include <arpa/inet.h>

#include <algorithm>
#include <bit>
#include <cstdio>

#include "acl/Limits.h"

namespace Sources::Nftables {

namespace {

using Acl::RangeOperator;

constexpr uint32_t kMaxPort = 65535;
constexpr uint32_t kMaxHops = 255;

template <size_t octets>
using Octets = std::array<uint8_t, octets>;

bool parse(const Json* value, Octets<4>& address) {
  return inet_pton(AF_INET, std::string(word(value)).c_str(), address.data()) == 1;
}
bool parse(const Json* value, Octets<16>& address) {
  return inet_pton(AF_INET6, std::string(word(value)).c_str(), address.data()) == 1;
}
bool parse(const Json* value, Octets<6>& address) {
  const std::string text(word(value));
  std::array<unsigned, 6> parts{};
  int end = 0;
  const int read = std::sscanf(text.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%n", &parts[0], &parts[1],
                               &parts[2], &parts[3], &parts[4], &parts[5], &end);
  if (read != 6 || static_cast<size_t>(end) != text.size()) return false;
  std::copy(parts.begin(), parts.end(), address.begin());
  return true;
}

template <size_t octets>
Octets<octets> prefixMask(uint64_t length) {
  Octets<octets> mask{};
  for (size_t i = 0; i < octets && length > i * 8; ++i) {
    const uint64_t bits = std::min<uint64_t>(length - i * 8, 8);
    mask[i] = static_cast<uint8_t>(0xFF << (8 - bits));
  }
  return mask;
}

template <size_t octets>
std::optional<Pattern<octets>> ofPrefix(const Json& prefix) {
  Pattern<octets> pattern;
  const auto length = natural(member(prefix, "len"));
  if (!length || *length > octets * 8 || !parse(member(prefix, "addr"), pattern.address)) {
    return std::nullopt;
  }
  pattern.mask = prefixMask<octets>(*length);
  return pattern;
}

/// A range is a prefix when its ends differ in the last bits only, all of them 0 in the first and 1
/// in the last.
template <size_t octets>
std::optional<Pattern<octets>> ofRange(const Json& range) {
  Pattern<octets> pattern;
  Octets<octets> last{};
  if (!parse(element(&range, 0, 2), pattern.address) || !parse(element(&range, 1, 2), last)) {
    return std::nullopt;
  }
  uint64_t length = 0;
  while (length < octets * 8) {
    const size_t octet = length / 8;
    const uint8_t bit = 0x80 >> (length % 8);
    if ((pattern.address[octet] & bit) != (last[octet] & bit)) break;
    ++length;
  }
  pattern.mask = prefixMask<octets>(length);
  for (size_t i = 0; i < octets; ++i) {
    const uint8_t host = ~pattern.mask[i];
    if ((pattern.address[i] & host) != 0 || (last[i] & host) != host) return std::nullopt;
  }
  return pattern;
}

template <size_t octets>
std::optional<Pattern<octets>> patternOf(const Json& value, const Json* mask) {
  const Json& compared = unwrapped(value);
  Pattern<octets> pattern;
  if (compared.is_string()) {
    if (!parse(&compared, pattern.address)) return std::nullopt;
    pattern.mask.fill(0xFF);
    if (mask != nullptr && !parse(mask, pattern.mask)) return std::nullopt;
    return pattern;
  }
  const auto [form, content] = only(compared);
  if (mask != nullptr || content == nullptr) return std::nullopt;
  if (form == "prefix") return ofPrefix<octets>(*content);
  if (form == "range") return ofRange<octets>(*content);
  return std::nullopt;
}

std::optional<uint32_t> upTo(const Json* value, uint32_t most) {
  const auto number = natural(value);
  if (!number || *number > most) return std::nullopt;
  return static_cast<uint32_t>(*number);
}

/// "80" or "1024-65535".
std::optional<std::string> portText(const Json& value) {
  const Json* inner = member(value, "elem");
  const Json* named = inner == nullptr ? nullptr : member(*inner, "val");
  if (named != nullptr) return portText(*named);
  if (const auto port = upTo(&value, kMaxPort)) return std::to_string(*port);
  const auto [form, range] = only(value);
  if (form != "range") return std::nullopt;
  const auto low = upTo(element(range, 0, 2), kMaxPort);
  const auto high = upTo(element(range, 1, 2), kMaxPort);
  if (!low || !high) return std::nullopt;
  return std::to_string(*low) + "-" + std::to_string(*high);
}

std::optional<std::string> portsText(const Json& value) {
  const auto [form, set] = only(value);
  if (form != "set" || !set->is_array()) return portText(value);
  std::string text;
  for (const Json& one : *set) {
    const auto port = portText(one);
    if (!port) return std::nullopt;
    if (!text.empty()) text += ' ';
    text += *port;
    if (text.size() > Acl::kMaxPortsOctets) return std::nullopt;
  }
  return text;
}

}  // namespace

const Json& unwrapped(const Json& value) {
  const auto [form, set] = only(value);
  const Json* one = form == "set" ? element(set, 0, 1) : nullptr;
  if (one == nullptr) return value;
  const auto [wrap, inner] = only(*one);
  const Json* plain = wrap == "elem" ? member(*inner, "val") : nullptr;
  return plain == nullptr ? *one : *plain;
}

std::optional<Pattern<4>> ipv4Pattern(const Json& value, const Json* mask) {
  return patternOf<4>(value, mask);
}
std::optional<Pattern<16>> ipv6Pattern(const Json& value, const Json* mask) {
  return patternOf<16>(value, mask);
}
std::optional<Pattern<6>> macPattern(const Json& value, const Json* mask) {
  return patternOf<6>(value, mask);
}

std::optional<uint32_t> prefixLength(const std::array<uint8_t, 16>& mask) {
  uint32_t length = 0;
  for (const uint8_t octet : mask) length += std::popcount(octet);
  if (mask != prefixMask<16>(length)) return std::nullopt;
  return length;
}

std::optional<Acl::PortRange> ports(std::string_view oper, const Json& value) {
  const Json& compared = unwrapped(value);
  if (oper == "==" || oper == "!=") {
    const auto text = portsText(compared);
    if (!text || text->empty()) return std::nullopt;
    const bool range = oper == "==" && only(compared).first == "range";
    const RangeOperator same = range ? RangeOperator::range : RangeOperator::eq;
    return Acl::PortRange{oper == "==" ? same : RangeOperator::neq, Qel::String8(*text)};
  }
  const auto port = upTo(&compared, kMaxPort);
  if (!port) return std::nullopt;
  const std::string text = std::to_string(*port);
  if (oper == "<") return Acl::PortRange{RangeOperator::lt, Qel::String8(text)};
  if (oper == ">") return Acl::PortRange{RangeOperator::gt, Qel::String8(text)};
  if (oper == "<=") return Acl::PortRange{RangeOperator::range, Qel::String8("0-" + text)};
  if (oper == ">=") {
    return Acl::PortRange{RangeOperator::range,
                          Qel::String8(text + "-" + std::to_string(kMaxPort))};
  }
  return std::nullopt;
}

std::optional<Acl::RangeCondition> hops(std::string_view oper, const Json& value) {
  const auto number = upTo(&unwrapped(value), kMaxHops);
  if (!number) return std::nullopt;
  if (oper == "==") return Acl::RangeCondition{RangeOperator::eq, *number};
  if (oper == "!=") return Acl::RangeCondition{RangeOperator::neq, *number};
  if (oper == "<") return Acl::RangeCondition{RangeOperator::lt, *number};
  if (oper == ">") return Acl::RangeCondition{RangeOperator::gt, *number};
  if (oper == "<=") {
    if (*number == kMaxHops) return Acl::RangeCondition{};
    return Acl::RangeCondition{RangeOperator::lt, *number + 1};
  }
  if (oper == ">=") {
    if (*number == 0) return Acl::RangeCondition{};
    return Acl::RangeCondition{RangeOperator::gt, *number - 1};
  }
  return std::nullopt;
}

}  // namespace Sources::Nftables
