#pragma once

/// The nine tables.

#include "Table.h"

#ifndef ACLSNMP_ENTERPRISE
#error "the build sets the enterprise number above the MIB root"
#endif

namespace AclSnmp {

/// zorlenAclMIB and the node of its objects.
inline constexpr std::array<oid, 10> kMibObjects = {1, 3, 6, 1, 4, 1, ACLSNMP_ENTERPRISE, 3, 5, 1};

/// The OID of the node at `place` under the MIB's objects.
template <size_t N>
constexpr std::array<oid, kMibObjects.size() + N> objectOid(const std::array<oid, N>& place) {
  std::array<oid, kMibObjects.size() + N> name{};
  for (size_t i = 0; i < kMibObjects.size(); ++i) name[i] = kMibObjects[i];
  for (size_t i = 0; i < N; ++i) name[kMibObjects.size() + i] = place[i];
  return name;
}

inline constexpr std::array<oid, 1> kDpSupportFlagsPlace = {4};

inline constexpr Table<IpAclTableEntry, 1, 3> kIpAclTable = {
    "zorlenIpAclTable",
    {1, 1},
    {{{"zorlenIpAclName", ASN_OCTET_STR}}},
    {{
        column<IpAclTableEntry, &IpAclTableEntry::readonly, BoolEncoder>(2, "zorlenIpAclReadOnly",
                                                                         "readonly"),
        column<IpAclTableEntry, &IpAclTableEntry::statsEnabled, BoolEncoder>(
            3, "zorlenIpAclStatsEnabled", "statsEnabled"),
        column<IpAclTableEntry, &IpAclTableEntry::countersIncomplete, BoolEncoder>(
            4, "zorlenIpAclCountersIncomplete", "countersIncomplete"),
    }}};
static_assert(kIpAclTable.inOrder());

inline constexpr Table<IpAclRuleTableEntry, 2, 20> kIpAclRuleTable = {
    "zorlenIpAclRuleTable",
    {1, 2},
    {{{"zorlenIpAclName", ASN_OCTET_STR}, {"zorlenIpAclRuleSeqId", ASN_UNSIGNED}}},
    {{
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::proto, U32Encoder>(
            2, "zorlenIpAclRuleProto", "proto"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::sourceAddr, IpEncoder>(
            3, "zorlenIpAclRuleSrc", "sourceAddr"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::sourceMask, IpEncoder>(
            4, "zorlenIpAclRuleSrcMask", "sourceMask"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::destAddr, IpEncoder>(
            5, "zorlenIpAclRuleDest", "destAddr"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::destMask, IpEncoder>(
            6, "zorlenIpAclRuleDestMask", "destMask"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::sportOper, RangeOperEncoder>(
            7, "zorlenIpAclRuleL4PortSrcOper", "sportOper"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::sports, StringEncoder>(
            8, "zorlenIpAclRuleL4PortsSrc", "sports", atMost(60)),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::dportOper, RangeOperEncoder>(
            9, "zorlenIpAclRuleL4PortDestOper", "dportOper"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::dports, StringEncoder>(
            10, "zorlenIpAclRuleL4PortsDest", "dports", atMost(60)),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::ttlOper, RangeOperEncoder>(
            11, "zorlenIpAclRuleTtlOper", "ttlOper"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::ttlValue, U32Encoder>(
            12, "zorlenIpAclRuleTtl", "ttlValue"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::tracked, BoolEncoder>(
            13, "zorlenIpAclRuleTracked", "tracked"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::fragments, BoolEncoder>(
            14, "zorlenIpAclRuleFragments", "fragments"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::filter, TcpFlagsEncoder>(
            15, "zorlenIpAclRuleTcpFlags", "filter"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::established, BoolEncoder>(
            16, "zorlenIpAclRuleEstablished", "established"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::icmpType, U32Encoder>(
            17, "zorlenIpAclRuleIcmpType", "icmpType"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::icmpCode, U32Encoder>(
            18, "zorlenIpAclRuleIcmpCode", "icmpCode"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::action, ActionEncoder>(
            19, "zorlenIpAclRuleAction", "action"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::log, BoolEncoder>(
            20, "zorlenIpAclRuleLog", "log"),
        column<IpAclRuleTableEntry, &IpAclRuleTableEntry::remark, StringEncoder>(
            21, "zorlenIpAclRuleRemark", "remark", atMost(127)),
    }}};
static_assert(kIpAclRuleTable.inOrder());

inline constexpr Table<IpAclRuleStatsTableEntry, 3, 2> kIpAclRuleStatsTable = {
    "zorlenIpAclRuleStatsTable",
    {1, 3},
    {{{"zorlenIpAclRuleTimeMark", ASN_TIMETICKS},
      {"zorlenIpAclName", ASN_OCTET_STR},
      {"zorlenIpAclRuleSeqId", ASN_UNSIGNED}}},
    {{
        column<IpAclRuleStatsTableEntry, &IpAclRuleStatsTableEntry::pkts, U64Encoder>(
            2, "zorlenIpAclRuleStatsPktCount", "pkts"),
        column<IpAclRuleStatsTableEntry, &IpAclRuleStatsTableEntry::lastUpdateTime, TimeEncoder>(
            3, "zorlenIpAclRuleStatsLastUpdateTime", "lastUpdateTime"),
    }}};
static_assert(kIpAclRuleStatsTable.inOrder());

inline constexpr Table<MacAclTableEntry, 1, 3> kMacAclTable = {
    "zorlenMacAclTable",
    {2, 1},
    {{{"zorlenMacAclName", ASN_OCTET_STR}}},
    {{
        column<MacAclTableEntry, &MacAclTableEntry::readonly, BoolEncoder>(
            2, "zorlenMacAclReadOnly", "readonly"),
        column<MacAclTableEntry, &MacAclTableEntry::statsEnabled, BoolEncoder>(
            3, "zorlenMacAclStatsEnabled", "statsEnabled"),
        column<MacAclTableEntry, &MacAclTableEntry::countersIncomplete, BoolEncoder>(
            4, "zorlenMacAclCountersIncomplete", "countersIncomplete"),
    }}};
static_assert(kMacAclTable.inOrder());

inline constexpr Table<MacAclRuleTableEntry, 2, 8> kMacAclRuleTable = {
    "zorlenMacAclRuleTable",
    {2, 2},
    {{{"zorlenMacAclName", ASN_OCTET_STR}, {"zorlenMacAclRuleSeqId", ASN_UNSIGNED}}},
    {{
        column<MacAclRuleTableEntry, &MacAclRuleTableEntry::sourceAddr, EthEncoder>(
            2, "zorlenMacAclRuleSrc", "sourceAddr", exactly(6)),
        column<MacAclRuleTableEntry, &MacAclRuleTableEntry::sourceMask, EthEncoder>(
            3, "zorlenMacAclRuleSrcMask", "sourceMask", exactly(6)),
        column<MacAclRuleTableEntry, &MacAclRuleTableEntry::destAddr, EthEncoder>(
            4, "zorlenMacAclRuleDest", "destAddr", exactly(6)),
        column<MacAclRuleTableEntry, &MacAclRuleTableEntry::destMask, EthEncoder>(
            5, "zorlenMacAclRuleDestMask", "destMask", exactly(6)),
        column<MacAclRuleTableEntry, &MacAclRuleTableEntry::proto, U32Encoder>(
            6, "zorlenMacAclRuleProto", "proto"),
        column<MacAclRuleTableEntry, &MacAclRuleTableEntry::action, ActionEncoder>(
            7, "zorlenMacAclRuleAction", "action"),
        column<MacAclRuleTableEntry, &MacAclRuleTableEntry::log, BoolEncoder>(
            8, "zorlenMacAclRuleLog", "log"),
        column<MacAclRuleTableEntry, &MacAclRuleTableEntry::remark, StringEncoder>(
            9, "zorlenMacAclRuleRemark", "remark", atMost(127)),
    }}};
static_assert(kMacAclRuleTable.inOrder());

inline constexpr Table<MacAclRuleStatsTableEntry, 3, 2> kMacAclRuleStatsTable = {
    "zorlenMacAclRuleStatsTable",
    {2, 3},
    {{{"zorlenMacAclRuleTimeMark", ASN_TIMETICKS},
      {"zorlenMacAclName", ASN_OCTET_STR},
      {"zorlenMacAclRuleSeqId", ASN_UNSIGNED}}},
    {{
        column<MacAclRuleStatsTableEntry, &MacAclRuleStatsTableEntry::pkts, U64Encoder>(
            2, "zorlenMacAclRuleStatsPktCount", "pkts"),
        column<MacAclRuleStatsTableEntry, &MacAclRuleStatsTableEntry::lastUpdateTime, TimeEncoder>(
            3, "zorlenMacAclRuleStatsLastUpdateTime", "lastUpdateTime"),
    }}};
static_assert(kMacAclRuleStatsTable.inOrder());

inline constexpr Table<Ipv6AclTableEntry, 1, 3> kIpv6AclTable = {
    "zorlenIpv6AclTable",
    {3, 1},
    {{{"zorlenIpv6AclName", ASN_OCTET_STR}}},
    {{
        column<Ipv6AclTableEntry, &Ipv6AclTableEntry::readonly, BoolEncoder>(
            2, "zorlenIpv6AclReadOnly", "readonly"),
        column<Ipv6AclTableEntry, &Ipv6AclTableEntry::statsEnabled, BoolEncoder>(
            3, "zorlenIpv6AclStatsEnabled", "statsEnabled"),
        column<Ipv6AclTableEntry, &Ipv6AclTableEntry::countersIncomplete, BoolEncoder>(
            4, "zorlenIpv6AclCountersIncomplete", "countersIncomplete"),
    }}};
static_assert(kIpv6AclTable.inOrder());

inline constexpr Table<Ipv6AclRuleTableEntry, 2, 18> kIpv6AclRuleTable = {
    "zorlenIpv6AclRuleTable",
    {3, 2},
    {{{"zorlenIpv6AclName", ASN_OCTET_STR}, {"zorlenIpv6AclRuleSeqId", ASN_UNSIGNED}}},
    {{
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::proto, U32Encoder>(
            2, "zorlenIpv6AclRuleProto", "proto"),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::sourceAddr, Ip6Encoder>(
            3, "zorlenIpv6AclRuleSrc", "sourceAddr", exactly(16)),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::sourceMask, Ip6Encoder>(
            4, "zorlenIpv6AclRuleSrcMask", "sourceMask", exactly(16)),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::destAddr, Ip6Encoder>(
            5, "zorlenIpv6AclRuleDest", "destAddr", exactly(16)),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::destMask, Ip6Encoder>(
            6, "zorlenIpv6AclRuleDestMask", "destMask", exactly(16)),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::sportOper, RangeOperEncoder>(
            7, "zorlenIpv6AclRuleL4PortSrcOper", "sportOper"),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::sports, StringEncoder>(
            8, "zorlenIpv6AclRuleL4PortsSrc", "sports", atMost(60)),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::dportOper, RangeOperEncoder>(
            9, "zorlenIpv6AclRuleL4PortDestOper", "dportOper"),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::dports, StringEncoder>(
            10, "zorlenIpv6AclRuleL4PortsDest", "dports", atMost(60)),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::hopLimitOper, RangeOperEncoder>(
            11, "zorlenIpv6AclRuleHopLimitOper", "hopLimitOper"),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::hopLimit, U32Encoder>(
            12, "zorlenIpv6AclRuleHopLimit", "hopLimit"),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::filter, TcpFlagsEncoder>(
            13, "zorlenIpv6AclRuleTcpFlags", "filter"),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::established, BoolEncoder>(
            14, "zorlenIpv6AclRuleEstablished", "established"),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::icmpType, U32Encoder>(
            15, "zorlenIpv6AclRuleIcmpType", "icmpType"),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::icmpCode, U32Encoder>(
            16, "zorlenIpv6AclRuleIcmpCode", "icmpCode"),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::action, ActionEncoder>(
            17, "zorlenIpv6AclRuleAction", "action"),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::log, BoolEncoder>(
            18, "zorlenIpv6AclRuleLog", "log"),
        column<Ipv6AclRuleTableEntry, &Ipv6AclRuleTableEntry::remark, StringEncoder>(
            19, "zorlenIpv6AclRuleRemark", "remark", atMost(127)),
    }}};
static_assert(kIpv6AclRuleTable.inOrder());

inline constexpr Table<Ipv6AclRuleStatsTableEntry, 3, 2> kIpv6AclRuleStatsTable = {
    "zorlenIpv6AclRuleStatsTable",
    {3, 3},
    {{{"zorlenIpv6AclRuleTimeMark", ASN_TIMETICKS},
      {"zorlenIpv6AclName", ASN_OCTET_STR},
      {"zorlenIpv6AclRuleSeqId", ASN_UNSIGNED}}},
    {{
        column<Ipv6AclRuleStatsTableEntry, &Ipv6AclRuleStatsTableEntry::pkts, U64Encoder>(
            2, "zorlenIpv6AclRuleStatsPktCount", "pkts"),
        column<Ipv6AclRuleStatsTableEntry, &Ipv6AclRuleStatsTableEntry::lastUpdateTime,
               TimeEncoder>(3, "zorlenIpv6AclRuleStatsLastUpdateTime", "lastUpdateTime"),
    }}};
static_assert(kIpv6AclRuleStatsTable.inOrder());

}  // namespace AclSnmp
