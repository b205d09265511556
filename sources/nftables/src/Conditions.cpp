#include "Conditions.h"

#include <sys/socket.h>

#include <array>

#include "Patterns.h"
#include "Symbols.h"
#include "Words.h"

namespace Sources::Nftables {

namespace {

using Acl::AclType;
using Acl::RangeOperator;

constexpr uint32_t kEtherIpv4 = 0x0800;
constexpr uint32_t kEtherIpv6 = 0x86DD;
/// Statements are not looked into any deeper.
constexpr size_t kMaxDepth = 16;

/// Puts a condition into the columns: false when they do not say all of it.
using ShowFunction = bool (*)(RowDraft&, const Condition&);

bool isEqual(const Condition& condition) {
  return condition.oper == "==" || condition.oper == "in";
}

/// Leaves only rules of one family possible. True when the draft is of it.
bool narrowToFamily(RowDraft& draft, AclType family) {
  if (draft.type() == AclType::mac) return false;
  if (draft.type() != family) draft.impossible = true;
  return draft.type() == family;
}

/// Frames of one EtherType: a column of MAC rules, and the family of the others.
bool narrowToFrameType(RowDraft& draft, uint32_t type) {
  if (auto* rule = std::get_if<Acl::MacRuleConfig>(&draft.config)) {
    if (rule->filter.proto != 0 && rule->filter.proto != type) return false;
    rule->filter.proto = type;
    return true;
  }
  if (type == kEtherIpv4) return narrowToFamily(draft, AclType::ipv4);
  if (type == kEtherIpv6) return narrowToFamily(draft, AclType::ipv6);
  return false;
}

bool narrowToProtocol(RowDraft& draft, uint32_t number) {
  Acl::IpFilterBase* filter = draft.ip();
  // 0 in the column is any protocol.
  if (filter == nullptr || number == 0) return false;
  if (filter->proto != 0 && filter->proto != number) return false;
  filter->proto = number;
  return true;
}

// Conditions on addresses.

template <Kavet::IpAddr Acl::IpFilter::*address, Kavet::IpAddr Acl::IpFilter::*mask>
bool showIpv4(RowDraft& draft, const Condition& condition) {
  auto* rule = std::get_if<Acl::IpRuleConfig>(&draft.config);
  if (rule == nullptr || condition.oper != "==" || rule->filter.*mask != Kavet::IpAddr()) {
    return false;
  }
  const auto pattern = ipv4Pattern(*condition.value, condition.mask);
  if (!pattern) return false;
  const auto number = [](const std::array<uint8_t, 4>& octets) {
    uint32_t value = 0;
    for (const uint8_t octet : octets) value = value << 8 | octet;
    return Kavet::IpAddr(value);
  };
  rule->filter.*address = number(pattern->address);
  rule->filter.*mask = number(pattern->mask);
  return true;
}

template <const Acl::Ip6Prefix& (Acl::Ip6Filter::*get)() const,
          void (Acl::Ip6Filter::*set)(const Acl::Ip6Prefix&)>
bool showIpv6(RowDraft& draft, const Condition& condition) {
  auto* rule = std::get_if<Acl::Ip6RuleConfig>(&draft.config);
  if (rule == nullptr || condition.oper != "==" || (rule->filter.*get)().length != 0) return false;
  const auto pattern = ipv6Pattern(*condition.value, condition.mask);
  if (!pattern) return false;
  const auto length = prefixLength(pattern->mask);
  if (!length) return false;
  (rule->filter.*set)({Kavet::Ip6Addr(pattern->address), *length});
  return true;
}

template <Kavet::EthAddr Acl::MacFilter::*address, Kavet::EthAddr Acl::MacFilter::*mask>
bool showMac(RowDraft& draft, const Condition& condition) {
  auto* rule = std::get_if<Acl::MacRuleConfig>(&draft.config);
  if (rule == nullptr || condition.oper != "==" || rule->filter.*mask != Kavet::EthAddr()) {
    return false;
  }
  const auto pattern = macPattern(*condition.value, condition.mask);
  if (!pattern) return false;
  rule->filter.*address = Kavet::EthAddr(pattern->address);
  rule->filter.*mask = Kavet::EthAddr(pattern->mask);
  return true;
}

// Conditions on what a packet carries.

bool showFrameType(RowDraft& draft, const Condition& condition) {
  if (condition.mask != nullptr || !isEqual(condition)) return false;
  const auto type = etherType(unwrapped(*condition.value));
  return type && *type != 0 && narrowToFrameType(draft, *type);
}

bool showFamily(RowDraft& draft, const Condition& condition) {
  const auto family = netfilterFamily(unwrapped(*condition.value));
  if (!family || condition.mask != nullptr) return false;
  if (*family != AF_INET && *family != AF_INET6) return false;
  if (!isEqual(condition) && condition.oper != "!=") return false;
  const bool ipv4 = (*family == AF_INET) == isEqual(condition);
  return narrowToFrameType(draft, ipv4 ? kEtherIpv4 : kEtherIpv6);
}

bool showProtocol(RowDraft& draft, const Condition& condition) {
  if (condition.mask != nullptr || !isEqual(condition)) return false;
  const auto number = protocol(unwrapped(*condition.value));
  return number && narrowToProtocol(draft, *number);
}

template <Acl::PortRange Acl::IpFilterBase::*column>
bool showPorts(RowDraft& draft, const Condition& condition) {
  Acl::IpFilterBase* filter = draft.ip();
  if (filter == nullptr || condition.mask != nullptr) return false;
  if ((filter->*column).oper != RangeOperator::any) return false;
  auto compared = ports(condition.oper, *condition.value);
  if (!compared) return false;
  filter->*column = std::move(*compared);
  return true;
}

bool showHops(RowDraft& draft, const Condition& condition) {
  Acl::IpFilterBase* filter = draft.ip();
  if (filter == nullptr || condition.mask != nullptr) return false;
  if (filter->ttl.oper != RangeOperator::any) return false;
  const auto compared = hops(condition.oper, *condition.value);
  if (!compared) return false;
  filter->ttl = *compared;
  return true;
}

template <std::optional<uint32_t> (*number)(const Json&), uint16_t Acl::IpFilterBase::*column>
bool showIcmp(RowDraft& draft, const Condition& condition) {
  Acl::IpFilterBase* filter = draft.ip();
  if (filter == nullptr || condition.mask != nullptr || !isEqual(condition)) return false;
  const auto value = number(unwrapped(*condition.value));
  // 0 in the column is what rules that look at no type have as well.
  if (!value || *value == 0 || filter->*column != 0) return false;
  filter->*column = static_cast<uint16_t>(*value);
  return true;
}

/// Any one of some flags: one flag is a column of flags, and that of an answer are what an
/// established connection is known by.
bool showAnyFlag(Acl::IpFilterBase& filter, uint32_t flags) {
  if (flags == (Acl::ack | Acl::rst)) {
    filter.established = true;
    return true;
  }
  constexpr uint32_t kColumn = Acl::fin | Acl::syn | Acl::rst | Acl::psh | Acl::ack | Acl::urg;
  const bool one = flags != 0 && (flags & (flags - 1)) == 0;
  if (!one || (flags & kColumn) == 0) return false;
  filter.tcpFlags |= flags;
  return true;
}

/// All of some flags set and the others of the mask clear: the column says the first half.
bool showAllFlags(Acl::IpFilterBase& filter, uint32_t flags, uint32_t mask) {
  constexpr uint32_t kColumn = Acl::fin | Acl::syn | Acl::rst | Acl::psh | Acl::ack | Acl::urg;
  filter.tcpFlags |= flags & kColumn;
  return flags == mask && (flags & kColumn) == flags && flags != 0;
}

bool showTcpFlags(RowDraft& draft, const Condition& condition) {
  Acl::IpFilterBase* filter = draft.ip();
  const auto flags = tcpFlags(unwrapped(*condition.value));
  if (filter == nullptr || !flags) return false;
  if (condition.mask == nullptr) {
    if (condition.oper == "in") return showAnyFlag(*filter, *flags);
    return condition.oper == "==" && showAllFlags(*filter, *flags, 0xFF);
  }
  const auto mask = tcpFlags(*condition.mask);
  if (!mask) return false;
  if (condition.oper == "!=" && *flags == 0) return showAnyFlag(*filter, *mask);
  return condition.oper == "==" && showAllFlags(*filter, *flags, *mask);
}

bool showFragments(RowDraft& draft, const Condition& condition) {
  constexpr uint64_t kOffset = 0x1FFF;
  constexpr uint64_t kOffsetOrMore = 0x3FFF;
  auto* rule = std::get_if<Acl::IpRuleConfig>(&draft.config);
  if (rule == nullptr || condition.oper != "!=" || natural(condition.value) != 0U) return false;
  const auto mask = natural(condition.mask);
  if (mask != kOffset && mask != kOffsetOrMore) return false;
  rule->filter.fragments = true;
  return true;
}

bool showTracking(RowDraft& draft, const Condition& condition) {
  constexpr uint32_t kTracked = kStateEstablished | kStateRelated | kStateNew;
  Acl::IpFilterBase* filter = draft.ip();
  if (filter == nullptr || condition.mask != nullptr || !isEqual(condition)) return false;
  uint32_t states = 0;
  const auto [form, set] = only(*condition.value);
  const auto alone = form == "set" ? std::nullopt : trackingStates(*condition.value);
  if (alone) {
    states = *alone;
  } else if (form == "set" && set->is_array()) {
    for (const Json& state : *set) states |= trackingStates(state).value_or(kStateInvalid);
  }
  if (states == kStateEstablished) {
    filter->established = true;
    return true;
  }
  if (states == 0 || (states & ~kTracked) != 0) return false;
  // Only the IPv4 tables have the column.
  if (draft.type() != AclType::ipv4) return false;
  filter->tracked = true;
  return states == kTracked;
}

struct Known {
  std::string_view name;
  ShowFunction show;
};

using Acl::Ip6Filter;
using Acl::IpFilter;
using Acl::IpFilterBase;
using Acl::MacFilter;

constexpr std::array kKnown = {
    Known{"ip saddr", showIpv4<&IpFilter::source, &IpFilter::sourceMask>},
    Known{"ip daddr", showIpv4<&IpFilter::destination, &IpFilter::destinationMask>},
    Known{"ip6 saddr", showIpv6<&Ip6Filter::source, &Ip6Filter::sourceIs>},
    Known{"ip6 daddr", showIpv6<&Ip6Filter::destination, &Ip6Filter::destinationIs>},
    Known{"ether saddr", showMac<&MacFilter::source, &MacFilter::sourceMask>},
    Known{"ether daddr", showMac<&MacFilter::destination, &MacFilter::destinationMask>},
    Known{"ether type", showFrameType},
    Known{"meta protocol", showFrameType},
    Known{"meta nfproto", showFamily},
    Known{"meta l4proto", showProtocol},
    Known{"ip protocol", showProtocol},
    Known{"ip6 nexthdr", showProtocol},
    Known{"ip ttl", showHops},
    Known{"ip6 hoplimit", showHops},
    Known{"ip frag-off", showFragments},
    Known{"icmp type", showIcmp<icmpType, &IpFilterBase::icmpType>},
    Known{"icmp code", showIcmp<icmpCode, &IpFilterBase::icmpCode>},
    Known{"icmpv6 type", showIcmp<icmp6Type, &IpFilterBase::icmpType>},
    Known{"icmpv6 code", showIcmp<icmp6Code, &IpFilterBase::icmpCode>},
    Known{"tcp flags", showTcpFlags},
    Known{"ct state", showTracking},
};
constexpr std::array kPortHeaders = {"tcp", "udp", "udplite", "dccp", "sctp", "th"};

ShowFunction showFunctionFor(std::string_view name) {
  for (const Known& known : kKnown) {
    if (known.name == name) return known.show;
  }
  const size_t space = name.find(' ');
  if (space == std::string_view::npos) return nullptr;
  for (const std::string_view header : kPortHeaders) {
    if (name.substr(0, space) != header) continue;
    if (name.substr(space + 1) == "sport") return showPorts<&IpFilterBase::sport>;
    if (name.substr(space + 1) == "dport") return showPorts<&IpFilterBase::dport>;
  }
  return nullptr;
}

void implyHeader(RowDraft& draft, std::string_view header) {
  if (const auto type = etherTypeOfHeader(header)) narrowToFrameType(draft, *type);
  if (const auto number = protocolOfHeader(header)) narrowToProtocol(draft, *number);
}

void implyAt(RowDraft& draft, const Json& value, size_t depth) {
  if (depth == kMaxDepth || !value.is_structured()) return;
  const auto [kind, content] = only(value);
  if (kind == "payload") {
    // What stands inside a tunnel says nothing of the packet itself.
    if (member(*content, "tunnel") == nullptr)
      implyHeader(draft, word(member(*content, "protocol")));
    return;
  }
  if (kind == "exthdr") return implyHeader(draft, "ip6");
  if (kind == "ip option") return implyHeader(draft, "ip");
  if (kind == "tcp option") return implyHeader(draft, "tcp");
  if (kind == "ct") {
    const std::string_view key = word(member(*content, "key"));
    return implyHeader(draft, key.substr(0, key.find(' ')));
  }
  if (kind == "reject") {
    const std::string_view type = word(member(*content, "type"));
    if (type == "icmp") implyHeader(draft, "ip");
    if (type == "icmpv6") implyHeader(draft, "ip6");
    if (type == "tcp reset") implyHeader(draft, "tcp");
    return;
  }
  if (kind == "snat" || kind == "dnat") implyHeader(draft, word(member(*content, "family")));
  for (const Json& part : value) implyAt(draft, part, depth + 1);
}

}  // namespace

RowDraft::RowDraft(AclType type) {
  switch (type) {
    case AclType::ipv4:
      config = Acl::IpRuleConfig();
      break;
    case AclType::ipv6:
      config = Acl::Ip6RuleConfig();
      break;
    case AclType::mac:
      config = Acl::MacRuleConfig();
      break;
  }
}

Acl::IpFilterBase* RowDraft::ip() {
  if (auto* rule = std::get_if<Acl::IpRuleConfig>(&config)) return &rule->filter;
  if (auto* rule = std::get_if<Acl::Ip6RuleConfig>(&config)) return &rule->filter;
  return nullptr;
}

Condition::Condition(const Json& match) : oper(word(member(match, "op"))) {
  const Json* left = member(match, "left");
  if (left == nullptr) return;
  name = nameOf(*left);
  value = member(match, "right");
  const auto [kind, operands] = only(*left);
  if (kind != "&") return;
  mask = element(operands, 1, 2);
  // Masks of other things than a header, or under one another, are told, not shown.
  const Json* masked = element(operands, 0, 2);
  if (mask == nullptr || only(*masked).first == "&") name += " &";
}

std::string Condition::text() const {
  std::string text = name;
  if (mask != nullptr) text += " & " + valueText(*mask);
  if (oper != "==" && oper != "in") text += " " + std::string(oper);
  if (value != nullptr) text += " " + valueText(*value);
  return text;
}

void imply(RowDraft& draft, const Json& statement) { implyAt(draft, statement, 0); }

bool show(RowDraft& draft, const Condition& condition) {
  if (condition.value == nullptr) return false;
  const ShowFunction function = showFunctionFor(condition.name);
  return function != nullptr && function(draft, condition);
}

}  // namespace Sources::Nftables
