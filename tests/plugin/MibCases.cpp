#include "MibCases.h"

#include <stdexcept>

namespace MibTest {

namespace {

using AclSnmp::AclMib;
using AclSnmp::AclRuleTableIndex;

Snmp::String snmpName(const std::string& name) { return Snmp::String(Qel::String8(name)); }

template <class Entry>
void addAcl(AclMib& mib, const std::string& name, uint32_t, double) {
  mib.newEntry<Entry>(snmpName(name), nullptr);
}
template <class Entry>
void addRule(AclMib& mib, const std::string& name, uint32_t seqId, double) {
  mib.newEntry<Entry>(AclRuleTableIndex(snmpName(name), seqId), nullptr);
}
template <class Entry>
void addStats(AclMib& mib, const std::string& name, uint32_t seqId, double changed) {
  mib.newEntry<Entry>(AclRuleTableIndex(snmpName(name), seqId), nullptr, changed);
}
template <class Entry>
typename Entry::Key keyOf(const std::string& name, [[maybe_unused]] uint32_t seqId) {
  if constexpr (std::is_same_v<typename Entry::Key, Snmp::String>) {
    return snmpName(name);
  } else {
    return AclRuleTableIndex(snmpName(name), seqId);
  }
}
template <class Entry>
void deleteRow(AclMib& mib, const std::string& name, uint32_t seqId) {
  mib.entryDel<Entry>(keyOf<Entry>(name, seqId));
}
template <class Entry>
uint32_t holders(const AclMib& mib, const std::string& name, uint32_t seqId) {
  const auto* row = mib.entries<Entry>().find(keyOf<Entry>(name, seqId));
  return row == nullptr ? 0 : (*row)->references() - 1;
}

#define DOORS(table)                                                                    \
  table##_get_first_data_point, table##_get_next_data_point, table##_make_data_context, \
      table##_free_data_context, table##_free_loop_context_at_end, table##_handler,     \
      initialize_table_##table

constexpr int kCommon = 1024;

std::vector<ColumnCase> numbered(const std::string& prefix, std::vector<ColumnCase> columns) {
  unsigned number = 2;
  for (ColumnCase& column : columns) {
    column.number = number++;
    column.name = prefix + column.name;
    if (column.bufferSize == 0) column.bufferSize = kCommon;
  }
  return columns;
}

const char* const kU32 = "U32ToAsnUnsigned";
const char* const kBool = "BoolToAsnInteger";
const char* const kText = "StringToAsnOctetString";
const char* const kIp = "KavetIpAddrToAsnOctetString";
const char* const kIp6 = "KavetIp6AddrToAsnOctetString";
const char* const kEth = "KavetEthAddrToAsnOctetString";
const char* const kOper = "RangeOperCodeToAsnInteger";
const char* const kFlags = "TcpFlagsToAsnBits";
const char* const kAction = "ActionCodeToAsnInteger";

constexpr u_char kInteger = 2;
constexpr u_char kOctets = 4;
constexpr u_char kIpAddress = 0x40;
constexpr u_char kUnsigned = 0x42;
constexpr u_char kTicks = 0x43;
constexpr u_char kCounter = 0x46;

std::vector<ColumnCase> ruleColumns(const std::string& family) {
  const std::string prefix = "zorlen" + family + "AclRule";
  if (family == "Ip") {
    return numbered(prefix, {{0, "Proto", "proto", kU32, kUnsigned, 0},
                             {0, "Src", "sourceAddr", kIp, kIpAddress, 0},
                             {0, "SrcMask", "sourceMask", kIp, kIpAddress, 0},
                             {0, "Dest", "destAddr", kIp, kIpAddress, 0},
                             {0, "DestMask", "destMask", kIp, kIpAddress, 0},
                             {0, "L4PortSrcOper", "sportOper", kOper, kInteger, 0},
                             {0, "L4PortsSrc", "sports", kText, kOctets, 60},
                             {0, "L4PortDestOper", "dportOper", kOper, kInteger, 0},
                             {0, "L4PortsDest", "dports", kText, kOctets, 60},
                             {0, "TtlOper", "ttlOper", kOper, kInteger, 0},
                             {0, "Ttl", "ttlValue", kU32, kUnsigned, 0},
                             {0, "Tracked", "tracked", kBool, kInteger, 0},
                             {0, "Fragments", "fragments", kBool, kInteger, 0},
                             {0, "TcpFlags", "filter", kFlags, kOctets, 0},
                             {0, "Established", "established", kBool, kInteger, 0},
                             {0, "IcmpType", "icmpType", kU32, kUnsigned, 0},
                             {0, "IcmpCode", "icmpCode", kU32, kUnsigned, 0},
                             {0, "Action", "action", kAction, kInteger, 0},
                             {0, "Log", "log", kBool, kInteger, 0},
                             {0, "Remark", "remark", kText, kOctets, 127}});
  }
  if (family == "Ipv6") {
    return numbered(prefix, {{0, "Proto", "proto", kU32, kUnsigned, 0},
                             {0, "Src", "sourceAddr", kIp6, kOctets, 16},
                             {0, "SrcMask", "sourceMask", kIp6, kOctets, 16},
                             {0, "Dest", "destAddr", kIp6, kOctets, 16},
                             {0, "DestMask", "destMask", kIp6, kOctets, 16},
                             {0, "L4PortSrcOper", "sportOper", kOper, kInteger, 0},
                             {0, "L4PortsSrc", "sports", kText, kOctets, 60},
                             {0, "L4PortDestOper", "dportOper", kOper, kInteger, 0},
                             {0, "L4PortsDest", "dports", kText, kOctets, 60},
                             {0, "HopLimitOper", "hopLimitOper", kOper, kInteger, 0},
                             {0, "HopLimit", "hopLimit", kU32, kUnsigned, 0},
                             {0, "TcpFlags", "filter", kFlags, kOctets, 0},
                             {0, "Established", "established", kBool, kInteger, 0},
                             {0, "IcmpType", "icmpType", kU32, kUnsigned, 0},
                             {0, "IcmpCode", "icmpCode", kU32, kUnsigned, 0},
                             {0, "Action", "action", kAction, kInteger, 0},
                             {0, "Log", "log", kBool, kInteger, 0},
                             {0, "Remark", "remark", kText, kOctets, 127}});
  }
  return numbered(prefix, {{0, "Src", "sourceAddr", kEth, kOctets, 6},
                           {0, "SrcMask", "sourceMask", kEth, kOctets, 6},
                           {0, "Dest", "destAddr", kEth, kOctets, 6},
                           {0, "DestMask", "destMask", kEth, kOctets, 6},
                           {0, "Proto", "proto", kU32, kUnsigned, 0},
                           {0, "Action", "action", kAction, kInteger, 0},
                           {0, "Log", "log", kBool, kInteger, 0},
                           {0, "Remark", "remark", kText, kOctets, 127}});
}

std::vector<TableCase> makeTables() {
  using namespace AclSnmp;
  return {
      {"Ip",
       Kind::acls,
       {1, 1},
       DOORS(zorlenIpAclTable),
       addAcl<IpAclTableEntry>,
       deleteRow<IpAclTableEntry>,
       holders<IpAclTableEntry>},
      {"Ip",
       Kind::rules,
       {1, 2},
       DOORS(zorlenIpAclRuleTable),
       addRule<IpAclRuleTableEntry>,
       deleteRow<IpAclRuleTableEntry>,
       holders<IpAclRuleTableEntry>},
      {"Ip",
       Kind::stats,
       {1, 3},
       DOORS(zorlenIpAclRuleStatsTable),
       addStats<IpAclRuleStatsTableEntry>,
       deleteRow<IpAclRuleStatsTableEntry>,
       holders<IpAclRuleStatsTableEntry>},
      {"Mac",
       Kind::acls,
       {2, 1},
       DOORS(zorlenMacAclTable),
       addAcl<MacAclTableEntry>,
       deleteRow<MacAclTableEntry>,
       holders<MacAclTableEntry>},
      {"Mac",
       Kind::rules,
       {2, 2},
       DOORS(zorlenMacAclRuleTable),
       addRule<MacAclRuleTableEntry>,
       deleteRow<MacAclRuleTableEntry>,
       holders<MacAclRuleTableEntry>},
      {"Mac",
       Kind::stats,
       {2, 3},
       DOORS(zorlenMacAclRuleStatsTable),
       addStats<MacAclRuleStatsTableEntry>,
       deleteRow<MacAclRuleStatsTableEntry>,
       holders<MacAclRuleStatsTableEntry>},
      {"Ipv6",
       Kind::acls,
       {3, 1},
       DOORS(zorlenIpv6AclTable),
       addAcl<Ipv6AclTableEntry>,
       deleteRow<Ipv6AclTableEntry>,
       holders<Ipv6AclTableEntry>},
      {"Ipv6",
       Kind::rules,
       {3, 2},
       DOORS(zorlenIpv6AclRuleTable),
       addRule<Ipv6AclRuleTableEntry>,
       deleteRow<Ipv6AclRuleTableEntry>,
       holders<Ipv6AclRuleTableEntry>},
      {"Ipv6",
       Kind::stats,
       {3, 3},
       DOORS(zorlenIpv6AclRuleStatsTable),
       addStats<Ipv6AclRuleStatsTableEntry>,
       deleteRow<Ipv6AclRuleStatsTableEntry>,
       holders<Ipv6AclRuleStatsTableEntry>},
  };
}
#undef DOORS

}  // namespace

std::string TableCase::name() const {
  const char* const suffix = kind == Kind::acls ? "" : kind == Kind::rules ? "Rule" : "RuleStats";
  return "zorlen" + family + "Acl" + suffix + "Table";
}

std::vector<u_char> TableCase::indexTypes() const {
  switch (kind) {
    case Kind::acls:
      return {kOctets};
    case Kind::rules:
      return {kOctets, kUnsigned};
    case Kind::stats:
      break;
  }
  return {kTicks, kOctets, kUnsigned};
}

std::vector<ColumnCase> TableCase::columns() const {
  const std::string prefix = "zorlen" + family + "Acl";
  switch (kind) {
    case Kind::acls:
      return numbered(prefix,
                      {{0, "ReadOnly", "readonly", kBool, kInteger, 0},
                       {0, "StatsEnabled", "statsEnabled", kBool, kInteger, 0},
                       {0, "CountersIncomplete", "countersIncomplete", kBool, kInteger, 0}});
    case Kind::rules:
      return ruleColumns(family);
    case Kind::stats:
      break;
  }
  return numbered(prefix + "RuleStats", {{0, "PktCount", "pkts", "U64ToCounter64", kCounter, 0},
                                         {0, "LastUpdateTime", "lastUpdateTime",
                                          "NowSecondsToUptimeTimeTicks", kTicks, 0}});
}

std::vector<oid> TableCase::tableOid() const {
  std::vector<oid> name = objectsOid();
  name.insert(name.end(), place.begin(), place.end());
  return name;
}

std::string TableCase::key(const std::string& aclName, uint32_t seqId) const {
  if (!hasSequence()) return aclName;
  return "Value('AclSnmp::AclRuleTableIndex', ** {'aclName': '" + aclName +
         "', 'seqId': " + std::to_string(seqId) + "})";
}

const std::vector<TableCase>& tables() {
  static const std::vector<TableCase> all = makeTables();
  return all;
}

const TableCase& table(const std::string& name) {
  for (const TableCase& t : tables()) {
    if (t.name() == name) return t;
  }
  throw std::out_of_range(name);
}

std::vector<TableCase> withSequence() {
  std::vector<TableCase> found = tables();
  std::erase_if(found, [](const TableCase& t) { return !t.hasSequence(); });
  return found;
}

std::vector<TableCase> withTimeMark() {
  std::vector<TableCase> found = tables();
  std::erase_if(found, [](const TableCase& t) { return !t.hasTimeMark(); });
  return found;
}

std::vector<oid> objectsOid() { return {1, 3, 6, 1, 4, 1, ACLSNMP_ENTERPRISE, 3, 5, 1}; }

std::vector<oid> scalarOid() {
  std::vector<oid> name = objectsOid();
  name.push_back(4);
  return name;
}

}  // namespace MibTest
