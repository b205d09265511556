#include "Presence.h"

#include "Oracle.h"

namespace Soak {

void Presence::confirm(const Key& key, const std::set<uint32_t>& rows) {
  Acl acl;
  acl.index = dotted(nameIndex(key.second));
  for (const uint32_t row : rows) acl.rowEnds[row] = kNow;
  acls_[key] = std::move(acl);
}

void Presence::cut(const Key& key, const Rows& left) {
  const auto found = acls_.find(key);
  if (found == acls_.end()) return;
  const Qel::Seconds now = Qel::now();
  Acl& acl = found->second;
  if (!left && acl.end == kNow) acl.end = now;
  for (auto& [row, end] : acl.rowEnds) {
    if (end == kNow && !(left && left->contains(row))) end = now;
  }
}

std::vector<std::string> Presence::until(uint32_t group, uint32_t table, Qel::Seconds end) const {
  std::vector<std::string> found;
  for (const auto& [key, acl] : acls_) {
    if (groupOf(key.first) != group) continue;
    if (table == 1) {
      if (acl.end > end) found.push_back(acl.index);
      continue;
    }
    for (const auto& [row, rowEnd] : acl.rowEnds) {
      if (rowEnd <= end) continue;
      found.push_back((table == 3 ? "0." : "") + acl.index + "." + std::to_string(row));
    }
  }
  return found;
}

}  // namespace Soak
