#include "Values.h"

#include <algorithm>
#include <set>

namespace Soak {

namespace {

constexpr uint32_t kLongestName = 100;
constexpr uint32_t kLongestPorts = 60;

Acl::RangeOperator oper(Random& random) { return static_cast<Acl::RangeOperator>(random.below(6)); }

template <size_t N>
std::array<uint8_t, N> octets(Random& random) {
  std::array<uint8_t, N> made{};
  for (uint8_t& octet : made) octet = static_cast<uint8_t>(random.below(256));
  return made;
}

Kavet::IpAddr address(Random& random) {
  return Kavet::IpAddr(static_cast<uint32_t>(random.bits()));
}

void fillCommon(Random& random, Acl::IpFilterBase& filter) {
  filter.proto = random.below(256);
  filter.ttl = {oper(random), random.below(256)};
  filter.sport = {oper(random), Qel::String8(text(random, kLongestPorts))};
  filter.dport = {oper(random), Qel::String8(text(random, kLongestPorts))};
  filter.tcpFlags = static_cast<uint16_t>(random.below(64));
  filter.established = random.coin();
  filter.tracked = random.coin();
  filter.icmpType = static_cast<uint16_t>(random.below(65536));
  filter.icmpCode = static_cast<uint16_t>(random.below(65536));
}

Acl::IpFilter ipFilter(Random& random) {
  Acl::IpFilter filter;
  fillCommon(random, filter);
  filter.source = address(random);
  filter.sourceMask = address(random);
  filter.destination = address(random);
  filter.destinationMask = address(random);
  filter.fragments = random.coin();
  return filter;
}

Acl::Ip6Filter ip6Filter(Random& random) {
  Acl::Ip6Filter filter;
  fillCommon(random, filter);
  filter.sourceIs({Kavet::Ip6Addr(octets<16>(random)), random.below(129)});
  filter.destinationIs({Kavet::Ip6Addr(octets<16>(random)), random.below(129)});
  return filter;
}

Acl::MacFilter macFilter(Random& random) {
  Acl::MacFilter filter;
  filter.source = Kavet::EthAddr(octets<6>(random));
  filter.sourceMask = Kavet::EthAddr(octets<6>(random));
  filter.destination = Kavet::EthAddr(octets<6>(random));
  filter.destinationMask = Kavet::EthAddr(octets<6>(random));
  filter.proto = random.below(65536);
  return filter;
}

}  // namespace

std::vector<std::string> names(Random& random, size_t count) {
  std::set<std::string> made = {
      "a", "aa", "ab", "b", std::string(1, '\0'), std::string(kLongestName, '\xFF')};
  while (made.size() < count) {
    const uint32_t length = 1 + random.below(random.oneIn(4) ? kLongestName : 12);
    std::string name;
    const bool anyOctet = random.oneIn(4);
    for (uint32_t i = 0; i < length; ++i) {
      name += static_cast<char>(anyOctet ? random.below(256) : 'a' + random.below(4));
    }
    made.insert(name);
  }
  return {made.begin(), made.end()};
}

std::string text(Random& random, uint32_t longest) {
  std::string made(random.below(longest + 1), '\0');
  const bool anyOctet = random.oneIn(8);
  for (char& octet : made)
    octet = static_cast<char>(anyOctet ? random.below(256) : ' ' + random.below(95));
  return made;
}

Sources::RuleConfig rule(Random& random, Acl::AclType type) {
  const auto action = static_cast<Acl::Action>(random.below(2));
  const bool log = random.coin();
  if (type == Acl::AclType::ipv4) return Acl::IpRuleConfig{action, log, ipFilter(random)};
  if (type == Acl::AclType::ipv6) return Acl::Ip6RuleConfig{action, log, ip6Filter(random)};
  return Acl::MacRuleConfig{action, log, macFilter(random)};
}

void ruleIs(Acl::AclSubConfig& version, const Acl::UniqueId& id, const Sources::RuleConfig& rule) {
  if (const auto* ip = std::get_if<Acl::IpRuleConfig>(&rule)) version.ipRuleByIdIs(id, *ip);
  if (const auto* ip6 = std::get_if<Acl::Ip6RuleConfig>(&rule)) version.ip6RuleByIdIs(id, *ip6);
  if (const auto* mac = std::get_if<Acl::MacRuleConfig>(&rule)) version.macRuleByIdIs(id, *mac);
}

void ruleDel(Acl::AclSubConfig& version, const Acl::UniqueId& id) {
  version.ipRuleByIdDel(id);
  version.ip6RuleByIdDel(id);
  version.macRuleByIdDel(id);
}

Qel::Ptr<Acl::AclSubConfig> copyOf(const Acl::AclSubConfig& version) {
  const auto copy = Qel::make<Acl::AclSubConfig>(version.name());
  copy->countersEnabledIs(version.countersEnabled());
  for (const auto& [id, rule] : version.ipRuleById()) copy->ipRuleByIdIs(id, rule);
  for (const auto& [id, rule] : version.ip6RuleById()) copy->ip6RuleByIdIs(id, rule);
  for (const auto& [id, rule] : version.macRuleById()) copy->macRuleByIdIs(id, rule);
  for (auto it = version.ruleBySequence().begin(); it; ++it) {
    copy->ruleBySequenceIs(it.key(), it.value());
  }
  for (auto it = version.remarkBySequence().begin(); it; ++it) {
    copy->remarkBySequenceIs(it.key(), it.value());
  }
  return copy;
}

}  // namespace Soak
