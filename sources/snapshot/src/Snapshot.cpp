#include "snapshot/Snapshot.h"

namespace Sources {

std::map<uint32_t, Entry> entriesOf(const AclSnapshot& acl) {
  std::map<uint32_t, Entry> entries;
  for (const auto& [sequence, rule] : acl.rules) entries[sequence].rule = &rule;
  for (const auto& [sequence, remark] : acl.remarks) entries[sequence].remark = &remark;
  return entries;
}

}  // namespace Sources
