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

inline constexpr IndexObject kIpTimeMark = {"zorlenIpAclRuleTimeMark", ASN_TIMETICKS};
inline constexpr IndexObject kIpName = {"zorlenIpAclName", ASN_OCTET_STR};
inline constexpr IndexObject kIpSeqId = {"zorlenIpAclRuleSeqId", ASN_UNSIGNED};

inline constexpr Table<IpAclTableEntry, 1, 3> zorlenIpAclTable = {
    "zorlenIpAclTable", {1, 1}, {{kIpName}}, [] {
      using Row = IpAclTableEntry;
      return std::array{
          column<Row, &Row::readonly>("zorlenIpAclReadOnly", "readonly"),
          column<Row, &Row::statsEnabled>("zorlenIpAclStatsEnabled", "statsEnabled"),
          column<Row, &Row::countersIncomplete>("zorlenIpAclCountersIncomplete",
                                                "countersIncomplete"),
      };
    }()};

inline constexpr Table<IpAclRuleTableEntry, 2, 20> zorlenIpAclRuleTable = {
    "zorlenIpAclRuleTable", {1, 2}, {{kIpName, kIpSeqId}}, [] {
      using Row = IpAclRuleTableEntry;
      return std::array{
          column<Row, &Row::proto>("zorlenIpAclRuleProto", "proto"),
          column<Row, &Row::sourceAddr>("zorlenIpAclRuleSrc", "sourceAddr"),
          column<Row, &Row::sourceMask>("zorlenIpAclRuleSrcMask", "sourceMask"),
          column<Row, &Row::destAddr>("zorlenIpAclRuleDest", "destAddr"),
          column<Row, &Row::destMask>("zorlenIpAclRuleDestMask", "destMask"),
          column<Row, &Row::sportOper>("zorlenIpAclRuleL4PortSrcOper", "sportOper"),
          column<Row, &Row::sports>("zorlenIpAclRuleL4PortsSrc", "sports",
                                    atMost(Acl::kMaxPortsOctets)),
          column<Row, &Row::dportOper>("zorlenIpAclRuleL4PortDestOper", "dportOper"),
          column<Row, &Row::dports>("zorlenIpAclRuleL4PortsDest", "dports",
                                    atMost(Acl::kMaxPortsOctets)),
          column<Row, &Row::ttlOper>("zorlenIpAclRuleTtlOper", "ttlOper"),
          column<Row, &Row::ttlValue>("zorlenIpAclRuleTtl", "ttlValue"),
          column<Row, &Row::tracked>("zorlenIpAclRuleTracked", "tracked"),
          column<Row, &Row::fragments>("zorlenIpAclRuleFragments", "fragments"),
          column<Row, &Row::filter>("zorlenIpAclRuleTcpFlags", "filter"),
          column<Row, &Row::established>("zorlenIpAclRuleEstablished", "established"),
          column<Row, &Row::icmpType>("zorlenIpAclRuleIcmpType", "icmpType"),
          column<Row, &Row::icmpCode>("zorlenIpAclRuleIcmpCode", "icmpCode"),
          column<Row, &Row::action>("zorlenIpAclRuleAction", "action"),
          column<Row, &Row::log>("zorlenIpAclRuleLog", "log"),
          column<Row, &Row::remark>("zorlenIpAclRuleRemark", "remark",
                                    atMost(Acl::kMaxRemarkOctets)),
      };
    }()};

inline constexpr Table<IpAclRuleStatsTableEntry, 3, 2> zorlenIpAclRuleStatsTable = {
    "zorlenIpAclRuleStatsTable", {1, 3}, {{kIpTimeMark, kIpName, kIpSeqId}}, [] {
      using Row = IpAclRuleStatsTableEntry;
      return std::array{
          column<Row, &Row::pkts>("zorlenIpAclRuleStatsPktCount", "pkts"),
          column<Row, &Row::lastUpdateTime>("zorlenIpAclRuleStatsLastUpdateTime", "lastUpdateTime"),
      };
    }()};

inline constexpr IndexObject kMacTimeMark = {"zorlenMacAclRuleTimeMark", ASN_TIMETICKS};
inline constexpr IndexObject kMacName = {"zorlenMacAclName", ASN_OCTET_STR};
inline constexpr IndexObject kMacSeqId = {"zorlenMacAclRuleSeqId", ASN_UNSIGNED};

inline constexpr Table<MacAclTableEntry, 1, 3> zorlenMacAclTable = {
    "zorlenMacAclTable", {2, 1}, {{kMacName}}, [] {
      using Row = MacAclTableEntry;
      return std::array{
          column<Row, &Row::readonly>("zorlenMacAclReadOnly", "readonly"),
          column<Row, &Row::statsEnabled>("zorlenMacAclStatsEnabled", "statsEnabled"),
          column<Row, &Row::countersIncomplete>("zorlenMacAclCountersIncomplete",
                                                "countersIncomplete"),
      };
    }()};

inline constexpr Table<MacAclRuleTableEntry, 2, 8> zorlenMacAclRuleTable = {
    "zorlenMacAclRuleTable", {2, 2}, {{kMacName, kMacSeqId}}, [] {
      using Row = MacAclRuleTableEntry;
      return std::array{
          column<Row, &Row::sourceAddr>("zorlenMacAclRuleSrc", "sourceAddr", exactly(6)),
          column<Row, &Row::sourceMask>("zorlenMacAclRuleSrcMask", "sourceMask", exactly(6)),
          column<Row, &Row::destAddr>("zorlenMacAclRuleDest", "destAddr", exactly(6)),
          column<Row, &Row::destMask>("zorlenMacAclRuleDestMask", "destMask", exactly(6)),
          column<Row, &Row::proto>("zorlenMacAclRuleProto", "proto"),
          column<Row, &Row::action>("zorlenMacAclRuleAction", "action"),
          column<Row, &Row::log>("zorlenMacAclRuleLog", "log"),
          column<Row, &Row::remark>("zorlenMacAclRuleRemark", "remark",
                                    atMost(Acl::kMaxRemarkOctets)),
      };
    }()};

inline constexpr Table<MacAclRuleStatsTableEntry, 3, 2> zorlenMacAclRuleStatsTable = {
    "zorlenMacAclRuleStatsTable", {2, 3}, {{kMacTimeMark, kMacName, kMacSeqId}}, [] {
      using Row = MacAclRuleStatsTableEntry;
      return std::array{
          column<Row, &Row::pkts>("zorlenMacAclRuleStatsPktCount", "pkts"),
          column<Row, &Row::lastUpdateTime>("zorlenMacAclRuleStatsLastUpdateTime",
                                            "lastUpdateTime"),
      };
    }()};

inline constexpr IndexObject kIpv6TimeMark = {"zorlenIpv6AclRuleTimeMark", ASN_TIMETICKS};
inline constexpr IndexObject kIpv6Name = {"zorlenIpv6AclName", ASN_OCTET_STR};
inline constexpr IndexObject kIpv6SeqId = {"zorlenIpv6AclRuleSeqId", ASN_UNSIGNED};

inline constexpr Table<Ipv6AclTableEntry, 1, 3> zorlenIpv6AclTable = {
    "zorlenIpv6AclTable", {3, 1}, {{kIpv6Name}}, [] {
      using Row = Ipv6AclTableEntry;
      return std::array{
          column<Row, &Row::readonly>("zorlenIpv6AclReadOnly", "readonly"),
          column<Row, &Row::statsEnabled>("zorlenIpv6AclStatsEnabled", "statsEnabled"),
          column<Row, &Row::countersIncomplete>("zorlenIpv6AclCountersIncomplete",
                                                "countersIncomplete"),
      };
    }()};

inline constexpr Table<Ipv6AclRuleTableEntry, 2, 18> zorlenIpv6AclRuleTable = {
    "zorlenIpv6AclRuleTable", {3, 2}, {{kIpv6Name, kIpv6SeqId}}, [] {
      using Row = Ipv6AclRuleTableEntry;
      return std::array{
          column<Row, &Row::proto>("zorlenIpv6AclRuleProto", "proto"),
          column<Row, &Row::sourceAddr>("zorlenIpv6AclRuleSrc", "sourceAddr", exactly(16)),
          column<Row, &Row::sourceMask>("zorlenIpv6AclRuleSrcMask", "sourceMask", exactly(16)),
          column<Row, &Row::destAddr>("zorlenIpv6AclRuleDest", "destAddr", exactly(16)),
          column<Row, &Row::destMask>("zorlenIpv6AclRuleDestMask", "destMask", exactly(16)),
          column<Row, &Row::sportOper>("zorlenIpv6AclRuleL4PortSrcOper", "sportOper"),
          column<Row, &Row::sports>("zorlenIpv6AclRuleL4PortsSrc", "sports",
                                    atMost(Acl::kMaxPortsOctets)),
          column<Row, &Row::dportOper>("zorlenIpv6AclRuleL4PortDestOper", "dportOper"),
          column<Row, &Row::dports>("zorlenIpv6AclRuleL4PortsDest", "dports",
                                    atMost(Acl::kMaxPortsOctets)),
          column<Row, &Row::hopLimitOper>("zorlenIpv6AclRuleHopLimitOper", "hopLimitOper"),
          column<Row, &Row::hopLimit>("zorlenIpv6AclRuleHopLimit", "hopLimit"),
          column<Row, &Row::filter>("zorlenIpv6AclRuleTcpFlags", "filter"),
          column<Row, &Row::established>("zorlenIpv6AclRuleEstablished", "established"),
          column<Row, &Row::icmpType>("zorlenIpv6AclRuleIcmpType", "icmpType"),
          column<Row, &Row::icmpCode>("zorlenIpv6AclRuleIcmpCode", "icmpCode"),
          column<Row, &Row::action>("zorlenIpv6AclRuleAction", "action"),
          column<Row, &Row::log>("zorlenIpv6AclRuleLog", "log"),
          column<Row, &Row::remark>("zorlenIpv6AclRuleRemark", "remark",
                                    atMost(Acl::kMaxRemarkOctets)),
      };
    }()};

inline constexpr Table<Ipv6AclRuleStatsTableEntry, 3, 2> zorlenIpv6AclRuleStatsTable = {
    "zorlenIpv6AclRuleStatsTable", {3, 3}, {{kIpv6TimeMark, kIpv6Name, kIpv6SeqId}}, [] {
      using Row = Ipv6AclRuleStatsTableEntry;
      return std::array{
          column<Row, &Row::pkts>("zorlenIpv6AclRuleStatsPktCount", "pkts"),
          column<Row, &Row::lastUpdateTime>("zorlenIpv6AclRuleStatsLastUpdateTime",
                                            "lastUpdateTime"),
      };
    }()};

}  // namespace AclSnmp
