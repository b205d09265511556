#pragma once

/// One element of `acl-entries/acl-entry`.

#include <cstdint>
#include <optional>
#include <string>

#include "Tree.h"
#include "snapshot/Snapshot.h"

namespace OpenConfig {

struct AclEntry {
  uint32_t sequence = 0;
  /// Nothing for an entry that is a remark only.
  std::optional<RuleSnapshot> rule;
  std::optional<std::string> remark;
};

/// Reads an entry of an ACL of a type. Throws `Refused`.
AclEntry readAclEntry(const Ref& entry, Acl::AclType type);

}  // namespace OpenConfig
