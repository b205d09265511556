#pragma once

/// The names that documents have for values of the ACL model. Where a value has several, the first
/// one is written.

#include <array>

#include "Leaves.h"
#include "acl/Types.h"

namespace OpenConfig {

inline constexpr std::array kAclTypes = {
    Named<Acl::AclType>{"ACL_IPV4", Acl::AclType::ipv4},
    Named<Acl::AclType>{"ACL_IPV6", Acl::AclType::ipv6},
    Named<Acl::AclType>{"ACL_L2", Acl::AclType::mac},
};
inline constexpr std::array kProtocols = {
    Named<uint32_t>{"IP_TCP", 6},   Named<uint32_t>{"IP_UDP", 17},  Named<uint32_t>{"IP_ICMP", 1},
    Named<uint32_t>{"IP_IGMP", 2},  Named<uint32_t>{"IP_GRE", 47},  Named<uint32_t>{"IP_PIM", 103},
    Named<uint32_t>{"IP_RSVP", 46}, Named<uint32_t>{"IP_AUTH", 51}, Named<uint32_t>{"IP_L2TP", 115},
};
inline constexpr std::array kEtherTypes = {
    Named<uint32_t>{"ETHERTYPE_IPV4", 0x0800}, Named<uint32_t>{"ETHERTYPE_ARP", 0x0806},
    Named<uint32_t>{"ETHERTYPE_VLAN", 0x8100}, Named<uint32_t>{"ETHERTYPE_IPV6", 0x86DD},
    Named<uint32_t>{"ETHERTYPE_MPLS", 0x8847}, Named<uint32_t>{"ETHERTYPE_LLDP", 0x88CC},
    Named<uint32_t>{"ETHERTYPE_ROCE", 0x8915},
};
inline constexpr std::array kTcpFlags = {
    Named<uint16_t>{"TCP_SYN", Acl::syn}, Named<uint16_t>{"TCP_FIN", Acl::fin},
    Named<uint16_t>{"TCP_RST", Acl::rst}, Named<uint16_t>{"TCP_PSH", Acl::psh},
    Named<uint16_t>{"TCP_ACK", Acl::ack}, Named<uint16_t>{"TCP_URG", Acl::urg},
};
inline constexpr std::array kForwardingActions = {
    Named<Acl::Action>{"ACCEPT", Acl::Action::permit},
    Named<Acl::Action>{"DROP", Acl::Action::deny},
    Named<Acl::Action>{"REJECT", Acl::Action::deny},
};
inline constexpr std::array kLogActions = {Named<bool>{"LOG_SYSLOG", true},
                                           Named<bool>{"LOG_NONE", false}};
inline constexpr std::array kPortOperators = {
    Named<Acl::RangeOperator>{"eq", Acl::RangeOperator::eq},
    Named<Acl::RangeOperator>{"gt", Acl::RangeOperator::gt},
    Named<Acl::RangeOperator>{"lt", Acl::RangeOperator::lt},
    Named<Acl::RangeOperator>{"neq", Acl::RangeOperator::neq},
    Named<Acl::RangeOperator>{"range", Acl::RangeOperator::range},
};
inline constexpr std::array kHopLimitOperators = {
    Named<Acl::RangeOperator>{"any", Acl::RangeOperator::any},
    Named<Acl::RangeOperator>{"eq", Acl::RangeOperator::eq},
    Named<Acl::RangeOperator>{"gt", Acl::RangeOperator::gt},
    Named<Acl::RangeOperator>{"lt", Acl::RangeOperator::lt},
    Named<Acl::RangeOperator>{"neq", Acl::RangeOperator::neq},
};

}  // namespace OpenConfig
