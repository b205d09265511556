#include "agent/TableFamily.h"

namespace AclSnmp {

namespace {

/// The rows of one ACL, which lie side by side in the order of the index.
template <class Entry>
void forEachRowOf(const AclMib& mib, const Snmp::String& aclName,
                  const TableFamily::IndexCallback& callback) {
  auto it = mib.entries<Entry>().startAt({aclName, 0});
  for (; it && it.key().aclName() == aclName; ++it) callback(it.key());
}

template <class AclEntry, class RuleEntry, class StatsEntry>
constexpr TableFamily makeFamily(const char* emptyText, const char* rowText) {
  return {
      .emptyText = emptyText,
      .rowText = rowText,
      .empty = [](const AclMib& mib) { return mib.entries<AclEntry>().empty(); },
      .aclIs =
          [](AclMib& mib, const Snmp::String& name, const AclConfigPtr& config,
             const AclStatusPtr& status) {
            mib.entryIs<AclEntry>(name, config)->aclStatusIs(status);
          },
      .aclDel = [](AclMib& mib, const Snmp::String& name) { mib.entryDel<AclEntry>(name); },
      .aclStatusIs =
          [](AclMib& mib, const Snmp::String& name, const AclStatusPtr& status) {
            const auto row = mib.entry<AclEntry>(name);
            if (row) row->aclStatusIs(status);
            return static_cast<bool>(row);
          },
      .hasRule =
          [](const AclMib& mib, const AclRuleTableIndex& index) {
            return mib.entries<RuleEntry>().contains(index);
          },
      .ruleIs = [](AclMib& mib, const AclRuleTableIndex& index,
                   const AclConfigPtr& config) { mib.entryIs<RuleEntry>(index, config); },
      .statsIs =
          [](AclMib& mib, const AclRuleTableIndex& index, const AclConfigPtr& config,
             Qel::Seconds creationTime, const AclStatusPtr& status) {
            mib.entryIs<StatsEntry>(index, config, creationTime)->aclStatusIs(status);
          },
      .ruleDel = [](AclMib& mib,
                    const AclRuleTableIndex& index) { mib.entryDel<RuleEntry>(index); },
      .statsDel = [](AclMib& mib,
                     const AclRuleTableIndex& index) { mib.entryDel<StatsEntry>(index); },
      .forEachRule = forEachRowOf<RuleEntry>,
      .forEachStats = forEachRowOf<StatsEntry>,
      .statsStatusIs =
          [](AclMib& mib, const AclRuleTableIndex& index, const AclStatusPtr& status) {
            if (const auto row = mib.entry<StatsEntry>(index)) row->aclStatusIs(status);
          },
  };
}

constexpr TableFamily kIp =
    makeFamily<IpAclTableEntry, IpAclRuleTableEntry, IpAclRuleStatsTableEntry>(
        "!aclMib()->ipAclTables()", "aclMib()->ipAclTable( snmpName )");
constexpr TableFamily kMac =
    makeFamily<MacAclTableEntry, MacAclRuleTableEntry, MacAclRuleStatsTableEntry>(
        "!aclMib()->macAclTables()", "aclMib()->macAclTable( snmpName )");
constexpr TableFamily kIpv6 =
    makeFamily<Ipv6AclTableEntry, Ipv6AclRuleTableEntry, Ipv6AclRuleStatsTableEntry>(
        "!aclMib()->ipv6AclTables()", "aclMib()->ipv6AclTable( snmpName )");

}  // namespace

const TableFamily* tableFamily(Acl::AclType type) {
  switch (type) {
    case Acl::AclType::ipv4:
      return &kIp;
    case Acl::AclType::mac:
      return &kMac;
    case Acl::AclType::ipv6:
      return &kIpv6;
  }
  return nullptr;
}

}  // namespace AclSnmp
