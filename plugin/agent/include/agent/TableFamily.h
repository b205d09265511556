#pragma once

/// The three tables of one ACL type, as the state machines use them: one set of operations, filled
/// in for each type from the types of its rows.

#include <functional>

#include "model/AclMib.h"

namespace AclSnmp {

struct TableFamily {
  using IndexCallback = std::function<void(const AclRuleTableIndex&)>;

  /// The texts of the assertions that the ACL table is empty and that it has an ACL's row.
  const char* emptyText;
  const char* rowText;

  bool (*empty)(const AclMib& mib);
  /// Makes or finds the row of an ACL and gives it the status.
  void (*aclIs)(AclMib& mib, const Snmp::String& name, const AclConfigPtr& config,
                const AclStatusPtr& status);
  void (*aclDel)(AclMib& mib, const Snmp::String& name);
  /// Gives the row of an ACL the status; false when there is no row.
  bool (*aclStatusIs)(AclMib& mib, const Snmp::String& name, const AclStatusPtr& status);

  bool (*hasRule)(const AclMib& mib, const AclRuleTableIndex& index);
  /// Makes a rule row.
  void (*ruleIs)(AclMib& mib, const AclRuleTableIndex& index, const AclConfigPtr& config);
  /// Makes a statistics row with that creation time, or finds it, and gives it the status.
  void (*statsIs)(AclMib& mib, const AclRuleTableIndex& index, const AclConfigPtr& config,
                  Qel::Seconds creationTime, const AclStatusPtr& status);
  void (*ruleDel)(AclMib& mib, const AclRuleTableIndex& index);
  void (*statsDel)(AclMib& mib, const AclRuleTableIndex& index);

  // Walks over the rows of one ACL, in index order. The callback may change the table.
  void (*forEachRule)(const AclMib& mib, const Snmp::String& aclName,
                      const IndexCallback& callback);
  void (*forEachStats)(const AclMib& mib, const Snmp::String& aclName,
                       const IndexCallback& callback);
  void (*statsStatusIs)(AclMib& mib, const AclRuleTableIndex& index, const AclStatusPtr& status);
};

/// The family of a type; null for a value that is none of the three.
const TableFamily* tableFamily(Acl::AclType type);

}  // namespace AclSnmp
