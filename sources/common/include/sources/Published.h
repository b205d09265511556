#pragma once

/// The ACL model read back as a snapshot: what the tables show. The opposite of what an applier
/// does.

#include <map>

#include "acl/Config.h"
#include "acl/Status.h"
#include "sources/Snapshot.h"

namespace Sources {

/// What a configuration and the status beside it publish. A sequence number whose rule is missing
/// has the rule that matches all, as its row has. Event thread; the strings inside are those of the
/// model, so the snapshot stays on it.
Snapshot snapshotOf(const Acl::Config& config, const Acl::StatusBase& status);

/// What stands at one sequence number: a rule, a remark or both.
struct Entry {
  const RuleSnapshot* rule = nullptr;
  const std::string* remark = nullptr;
};
/// The entries of an ACL by sequence number, valid while the snapshot is not changed.
std::map<uint32_t, Entry> entriesOf(const AclSnapshot& acl);

}  // namespace Sources
