#include "AclEntry.h"

#include "Epoch.h"
#include "Leaves.h"
#include "Names.h"
#include "Ports.h"
#include "acl/Limits.h"
#include "snapshot/Text.h"

namespace OpenConfig {

namespace {

struct Ipv4End {
  std::optional<Ipv4Prefix> prefix;
  std::optional<Kavet::IpAddr> mask;
  Ref prefixLeaf;
  Ref maskLeaf;
};

struct MacEnd {
  std::optional<Kavet::EthAddr> address;
  std::optional<Kavet::EthAddr> mask;
  Ref maskLeaf;
};

/// What transport/config/builtin-detail can say.
enum class Builtin { none, initial, established, fragment };

/// The leafs of an entry as they are read, before they are put together.
struct EntryDraft {
  Acl::AclType type = Acl::AclType::ipv4;
  std::optional<uint32_t> sequence;
  std::optional<Acl::UniqueId> id;
  std::optional<std::string> remark;
  bool remarkOnly = false;
  Ref match;  // a container that a remark does not have

  Acl::IpFilterBase common;
  std::optional<Acl::RangeOperator> hopLimitOperator;
  std::optional<uint32_t> hopLimit;
  Ref hopLimitOperatorLeaf;
  Ports sourcePorts;
  Ports destinationPorts;
  uint16_t tcpFlags = 0;
  uint16_t explicitTcpFlags = 0;
  bool established = false;
  bool fragments = false;
  Builtin builtin = Builtin::none;
  Ref builtinLeaf;

  Ipv4End source4;
  Ipv4End destination4;
  Acl::Ip6Prefix source6;
  Acl::Ip6Prefix destination6;
  MacEnd sourceMac;
  MacEnd destinationMac;
  uint32_t etherType = 0;

  std::optional<Acl::Action> action;
  bool log = false;
  std::optional<uint64_t> packets;
  std::optional<Qel::Seconds> lastUpdate;
  Ref lastUpdateLeaf;
};

using EntryMember = Member<EntryDraft>;

constexpr std::array kBuiltins = {
    Named<Builtin>{"TCP_INITIAL", Builtin::initial},
    Named<Builtin>{"TCP_ESTABLISHED", Builtin::established},
    Named<Builtin>{"FRAGMENT", Builtin::fragment},
};
constexpr std::array kDetailModes = {Named<bool>{"EXPLICIT", true}, Named<bool>{"BUILTIN", false}};
constexpr std::array kFlagMatchModes = {Named<bool>{"ANY", true}, Named<bool>{"ALL", false}};

void readSequence(EntryDraft& draft, const Ref& leaf) {
  const uint32_t sequence = readNumber(leaf, 0, 0xFFFFFFFF);
  if (draft.sequence && *draft.sequence != sequence) {
    refuse(leaf, "the entry's sequence-id " + std::to_string(*draft.sequence));
  }
  draft.sequence = sequence;
}

template <bool EntryDraft::*field>
void readFlag(EntryDraft& draft, const Ref& leaf) {
  draft.*field = readBoolean(leaf);
}

// Leafs that the ACL model has no place for.
template <uint32_t most>
void checkNumber(EntryDraft&, const Ref& leaf) {
  readNumber(leaf, 0, most);
}
void checkDscpSet(EntryDraft&, const Ref& leaf) {
  readList(leaf, [](const Ref& dscp) { readNumber(dscp, 0, 63); });
}
void checkDetailMode(EntryDraft&, const Ref& leaf) { readNamed(leaf, kDetailModes, {}); }
void checkFlagMatchMode(EntryDraft&, const Ref& leaf) { readNamed(leaf, kFlagMatchModes, {}); }

// Leafs of IPv4 and IPv6 matches.

void readProtocol(EntryDraft& draft, const Ref& leaf) {
  draft.common.proto = readNumberOrNamed(leaf, 0, 255, kProtocols, kMatchTypesModule);
}
void readHopLimit(EntryDraft& draft, const Ref& leaf) { draft.hopLimit = readNumber(leaf, 0, 255); }
void readHopLimitOper(EntryDraft& draft, const Ref& leaf) {
  draft.hopLimitOperatorLeaf = leaf;
  draft.hopLimitOperator = readHopLimitOperator(leaf);
}
void readTracked(EntryDraft& draft, const Ref& leaf) { draft.common.tracked = readBoolean(leaf); }
void readIcmpType(EntryDraft& draft, const Ref& leaf) {
  draft.common.icmpType = static_cast<uint16_t>(readNumber(leaf, 0, 255));
}
void readIcmpCode(EntryDraft& draft, const Ref& leaf) {
  draft.common.icmpCode = static_cast<uint16_t>(readNumber(leaf, 0, 255));
}

template <Ipv4End EntryDraft::*end>
void readIpv4End(EntryDraft& draft, const Ref& leaf) {
  (draft.*end).prefixLeaf = leaf;
  (draft.*end).prefix = readIpv4(leaf);
}
template <Ipv4End EntryDraft::*end>
void readIpv4EndMask(EntryDraft& draft, const Ref& leaf) {
  (draft.*end).maskLeaf = leaf;
  (draft.*end).mask = readIpv4Mask(leaf);
}
template <Acl::Ip6Prefix EntryDraft::*end>
void readIpv6End(EntryDraft& draft, const Ref& leaf) {
  draft.*end = readIpv6Prefix(leaf);
}

constexpr std::array kIpv4Leafs = {
    EntryMember{"source-address", readIpv4End<&EntryDraft::source4>},
    EntryMember{"destination-address", readIpv4End<&EntryDraft::destination4>},
    EntryMember{"protocol", readProtocol},
    EntryMember{"hop-limit", readHopLimit},
    EntryMember{"dscp", checkNumber<63>},
    EntryMember{"dscp-set", checkDscpSet},
    EntryMember{"length", checkNumber<65535>},
    EntryMember{"zorlen-acl-ext:source-mask", readIpv4EndMask<&EntryDraft::source4>},
    EntryMember{"zorlen-acl-ext:destination-mask", readIpv4EndMask<&EntryDraft::destination4>},
    EntryMember{"zorlen-acl-ext:hop-limit-operator", readHopLimitOper},
    EntryMember{"zorlen-acl-ext:fragments", readFlag<&EntryDraft::fragments>},
    EntryMember{"zorlen-acl-ext:tracked", readTracked},
};
constexpr std::array kIpv6Leafs = {
    EntryMember{"source-address", readIpv6End<&EntryDraft::source6>},
    EntryMember{"destination-address", readIpv6End<&EntryDraft::destination6>},
    EntryMember{"protocol", readProtocol},
    EntryMember{"hop-limit", readHopLimit},
    EntryMember{"dscp", checkNumber<63>},
    EntryMember{"dscp-set", checkDscpSet},
    EntryMember{"length", checkNumber<65535>},
    EntryMember{"source-flow-label", checkNumber<1048575>},
    EntryMember{"destination-flow-label", checkNumber<1048575>},
    EntryMember{"zorlen-acl-ext:hop-limit-operator", readHopLimitOper},
    EntryMember{"zorlen-acl-ext:tracked", readTracked},
};
constexpr std::array kIcmpLeafs = {EntryMember{"type", readIcmpType},
                                   EntryMember{"code", readIcmpCode}};

// Leafs of MAC matches.

template <MacEnd EntryDraft::*end>
void readMacEnd(EntryDraft& draft, const Ref& leaf) {
  (draft.*end).address = readMac(leaf);
}
template <MacEnd EntryDraft::*end>
void readMacEndMask(EntryDraft& draft, const Ref& leaf) {
  (draft.*end).maskLeaf = leaf;
  (draft.*end).mask = readMac(leaf);
}
void readEtherType(EntryDraft& draft, const Ref& leaf) {
  draft.etherType = readNumberOrNamed(leaf, 1536, 65535, kEtherTypes, kMatchTypesModule);
}
void readAnyEtherType(EntryDraft& draft, const Ref& leaf) {
  draft.etherType = readNumber(leaf, 0, 65535);
}

constexpr std::array kL2Leafs = {
    EntryMember{"source-mac", readMacEnd<&EntryDraft::sourceMac>},
    EntryMember{"source-mac-mask", readMacEndMask<&EntryDraft::sourceMac>},
    EntryMember{"destination-mac", readMacEnd<&EntryDraft::destinationMac>},
    EntryMember{"destination-mac-mask", readMacEndMask<&EntryDraft::destinationMac>},
    EntryMember{"ethertype", readEtherType},
    EntryMember{"zorlen-acl-ext:ethertype", readAnyEtherType},
};

// Leafs of transport matches.

template <uint16_t EntryDraft::*field>
void readTcpFlags(EntryDraft& draft, const Ref& leaf) {
  uint16_t flags = 0;
  readList(leaf, [&](const Ref& flag) { flags |= readNamed(flag, kTcpFlags, kMatchTypesModule); });
  draft.*field = flags;
}
template <Ports EntryDraft::*ports, void (Ports::*set)(const Ref&)>
void readPorts(EntryDraft& draft, const Ref& leaf) {
  (draft.*ports.*set)(leaf);
}
void readBuiltin(EntryDraft& draft, const Ref& leaf) {
  draft.builtinLeaf = leaf;
  draft.builtin = readNamed(leaf, kBuiltins, {});
}

constexpr std::array kTransportLeafs = {
    EntryMember{"source-port", readPorts<&EntryDraft::sourcePorts, &Ports::portIs>},
    EntryMember{"destination-port", readPorts<&EntryDraft::destinationPorts, &Ports::portIs>},
    EntryMember{"tcp-flags", readTcpFlags<&EntryDraft::tcpFlags>},
    EntryMember{"detail-mode", checkDetailMode},
    EntryMember{"explicit-detail-match-mode", checkFlagMatchMode},
    EntryMember{"explicit-tcp-flags", readTcpFlags<&EntryDraft::explicitTcpFlags>},
    EntryMember{"builtin-detail", readBuiltin},
    EntryMember{"zorlen-acl-ext:source-port-operator",
                readPorts<&EntryDraft::sourcePorts, &Ports::operatorIs>},
    EntryMember{"zorlen-acl-ext:source-ports", readPorts<&EntryDraft::sourcePorts, &Ports::listIs>},
    EntryMember{"zorlen-acl-ext:source-port-text",
                readPorts<&EntryDraft::sourcePorts, &Ports::textIs>},
    EntryMember{"zorlen-acl-ext:destination-port-operator",
                readPorts<&EntryDraft::destinationPorts, &Ports::operatorIs>},
    EntryMember{"zorlen-acl-ext:destination-ports",
                readPorts<&EntryDraft::destinationPorts, &Ports::listIs>},
    EntryMember{"zorlen-acl-ext:destination-port-text",
                readPorts<&EntryDraft::destinationPorts, &Ports::textIs>},
    EntryMember{"zorlen-acl-ext:established", readFlag<&EntryDraft::established>},
};

// Leafs of the entry itself.

void readRemark(EntryDraft& draft, const Ref& leaf) {
  draft.remark = Sources::withoutControls(readString(leaf, Acl::kMaxRemarkOctets));
}
void readRemarkOctets(EntryDraft& draft, const Ref& leaf) {
  draft.remark = Sources::withoutControls(readOctets(leaf, Acl::kMaxRemarkOctets));
}
void readRuleId(EntryDraft& draft, const Ref& leaf) { draft.id = readUniqueId(leaf); }
void readLastUpdate(EntryDraft& draft, const Ref& leaf) {
  draft.lastUpdateLeaf = leaf;
  draft.lastUpdate = fromEpoch(readCounter(leaf));
}
void readPackets(EntryDraft& draft, const Ref& leaf) { draft.packets = readCounter(leaf); }
void checkCounter(EntryDraft&, const Ref& leaf) { readCounter(leaf); }
void readForwardingAction(EntryDraft& draft, const Ref& leaf) {
  draft.action = readNamed(leaf, kForwardingActions, kAclModule);
}
void readLogAction(EntryDraft& draft, const Ref& leaf) {
  draft.log = readNamed(leaf, kLogActions, kAclModule);
}

constexpr std::array kActionLeafs = {EntryMember{"forwarding-action", readForwardingAction},
                                     EntryMember{"log-action", readLogAction}};
constexpr std::array kEntryConfig = {
    EntryMember{"sequence-id", readSequence},
    EntryMember{"description", readRemark},
    EntryMember{"zorlen-acl-ext:description-octets", readRemarkOctets},
    EntryMember{"zorlen-acl-ext:remark-only", readFlag<&EntryDraft::remarkOnly>},
    EntryMember{"zorlen-acl-ext:rule-id", readRuleId},
};
constexpr std::array kEntryState = {
    EntryMember{"sequence-id", readSequence},
    EntryMember{"description", readRemark},
    EntryMember{"matched-packets", readPackets},
    EntryMember{"matched-octets", checkCounter},
    EntryMember{"zorlen-acl-ext:last-update", readLastUpdate},
    EntryMember{"zorlen-acl-ext:description-octets", readRemarkOctets},
    EntryMember{"zorlen-acl-ext:remark-only", readFlag<&EntryDraft::remarkOnly>},
    EntryMember{"zorlen-acl-ext:rule-id", readRuleId},
};

template <const auto& leafs>
void readLeafs(EntryDraft& draft, const Ref& container) {
  readMembers(leafs, draft, container);
}

// What is configured overrides what is reported.
template <const auto& leafs>
constexpr std::array kStateAndConfig = {EntryMember{"state", readLeafs<leafs>},
                                        EntryMember{"config", readLeafs<leafs>}};
template <const auto& leafs, const auto& icmp>
constexpr std::array kIpContainer = {EntryMember{"state", readLeafs<leafs>},
                                     EntryMember{"config", readLeafs<leafs>},
                                     EntryMember{icmp, readLeafs<kStateAndConfig<kIcmpLeafs>>}};

constexpr std::string_view kIcmpv4 = "icmpv4";
constexpr std::string_view kIcmpv6 = "icmpv6";

template <const auto& members>
void readMatch(EntryDraft& draft, const Ref& container) {
  draft.match = container;
  readMembers(members, draft, container);
}

constexpr EntryMember kStateMember{"state", readLeafs<kEntryState>};
constexpr EntryMember kConfigMember{"config", readLeafs<kEntryConfig>};
constexpr EntryMember kKeyMember{"sequence-id", readSequence};
constexpr EntryMember kTransport{"transport", readMatch<kStateAndConfig<kTransportLeafs>>};
constexpr EntryMember kActions{"actions", readMatch<kStateAndConfig<kActionLeafs>>};
constexpr EntryMember kInterface{"input-interface", nullptr};

constexpr std::array kIpv4Entry = {
    kKeyMember,    kStateMember,
    kConfigMember, EntryMember{"ipv4", readMatch<kIpContainer<kIpv4Leafs, kIcmpv4>>},
    kTransport,    kActions,
    kInterface};
constexpr std::array kIpv6Entry = {
    kKeyMember,    kStateMember,
    kConfigMember, EntryMember{"ipv6", readMatch<kIpContainer<kIpv6Leafs, kIcmpv6>>},
    kTransport,    kActions,
    kInterface};
constexpr std::array kMacEntry = {
    kKeyMember,    kStateMember,
    kConfigMember, EntryMember{"l2", readMatch<kStateAndConfig<kL2Leafs>>},
    kActions,      kInterface};

// Putting the leafs together.

void putIpv4End(const Ipv4End& end, Kavet::IpAddr& address, Kavet::IpAddr& mask) {
  if (!end.prefix) {
    if (end.mask) refuse(end.maskLeaf, end.maskLeaf.shown(), "beside it an address");
    return;
  }
  if (!end.prefix->length && !end.mask) {
    refuse(end.prefixLeaf, "an IPv4 prefix such as \"192.0.2.0/24\", or a mask beside the address");
  }
  address = end.prefix->address;
  mask = end.mask ? *end.mask : ipv4Mask(*end.prefix->length);
}

void putMacEnd(const MacEnd& end, Kavet::EthAddr& address, Kavet::EthAddr& mask) {
  constexpr Kavet::EthAddr kExact({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
  if (!end.address) {
    if (end.mask) refuse(end.maskLeaf, end.maskLeaf.shown(), "beside it an address");
    return;
  }
  address = *end.address;
  mask = end.mask.value_or(kExact);
}

Acl::IpFilterBase commonFilter(const EntryDraft& draft) {
  Acl::IpFilterBase filter = draft.common;
  filter.sport = draft.sourcePorts.range();
  filter.dport = draft.destinationPorts.range();
  filter.tcpFlags = draft.tcpFlags | draft.explicitTcpFlags;
  if (draft.builtin == Builtin::initial) filter.tcpFlags |= Acl::syn;
  filter.established = draft.established || draft.builtin == Builtin::established;
  const auto oper = draft.hopLimitOperator.value_or(draft.hopLimit ? Acl::RangeOperator::eq
                                                                   : Acl::RangeOperator::any);
  if (oper != Acl::RangeOperator::any) {
    if (!draft.hopLimit) {
      refuse(draft.hopLimitOperatorLeaf, draft.hopLimitOperatorLeaf.shown(),
             "beside it a hop-limit");
    }
    filter.ttl = {oper, *draft.hopLimit};
  }
  return filter;
}

RuleConfig ruleConfig(const EntryDraft& draft) {
  switch (draft.type) {
    case Acl::AclType::ipv4: {
      Acl::IpRuleConfig rule;
      static_cast<Acl::IpFilterBase&>(rule.filter) = commonFilter(draft);
      putIpv4End(draft.source4, rule.filter.source, rule.filter.sourceMask);
      putIpv4End(draft.destination4, rule.filter.destination, rule.filter.destinationMask);
      rule.filter.fragments = draft.fragments || draft.builtin == Builtin::fragment;
      return rule;
    }
    case Acl::AclType::ipv6: {
      if (draft.builtin == Builtin::fragment) {
        refuse(draft.builtinLeaf, "TCP_INITIAL or TCP_ESTABLISHED in an IPv6 ACL");
      }
      Acl::Ip6RuleConfig rule;
      static_cast<Acl::IpFilterBase&>(rule.filter) = commonFilter(draft);
      rule.filter.sourceIs(draft.source6);
      rule.filter.destinationIs(draft.destination6);
      return rule;
    }
    case Acl::AclType::mac:
      break;
  }
  Acl::MacRuleConfig rule;
  putMacEnd(draft.sourceMac, rule.filter.source, rule.filter.sourceMask);
  putMacEnd(draft.destinationMac, rule.filter.destination, rule.filter.destinationMask);
  rule.filter.proto = draft.etherType;
  return rule;
}

RuleSnapshot rule(const EntryDraft& draft, const Ref& entry) {
  if (!draft.action) refuse(entry, "no forwarding-action", "ACCEPT, DROP or REJECT");
  if (draft.lastUpdate && !draft.packets) {
    refuse(draft.lastUpdateLeaf, draft.lastUpdateLeaf.shown(), "beside it matched-packets");
  }
  RuleSnapshot made{draft.id.value_or(Acl::UniqueId(*draft.sequence, 0, 0)), ruleConfig(draft),
                    std::nullopt};
  std::visit(
      [&](auto& config) {
        config.action = *draft.action;
        config.log = draft.log;
      },
      made.config);
  if (draft.packets) made.counter = RuleCounter{*draft.packets, draft.lastUpdate};
  return made;
}

}  // namespace

AclEntry readAclEntry(const Ref& entry, Acl::AclType type) {
  EntryDraft draft;
  draft.type = type;
  switch (type) {
    case Acl::AclType::ipv4:
      readMembers(kIpv4Entry, draft, entry);
      break;
    case Acl::AclType::ipv6:
      readMembers(kIpv6Entry, draft, entry);
      break;
    case Acl::AclType::mac:
      readMembers(kMacEntry, draft, entry);
      break;
  }
  if (!draft.sequence) refuse(entry, "no sequence-id", "a number from 0 to 4294967295");
  AclEntry made{*draft.sequence, std::nullopt, draft.remark};
  if (!draft.remarkOnly) {
    made.rule = rule(draft, entry);
  } else if (draft.match) {
    refuse(draft.match, "an object", "no matches and no actions with remark-only");
  } else if (!draft.remark) {
    refuse(entry, "no description", "a description with remark-only");
  }
  return made;
}

}  // namespace OpenConfig
