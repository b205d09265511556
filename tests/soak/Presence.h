#pragma once

/// Which rows were there all the time. At a rest all rows of the model are; from then on a row
/// counts until something happened that may have taken it away, for however short a time.

#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Values.h"
#include "qel/Time.h"

namespace Soak {

/// The sequence numbers of an ACL's rows; nothing where there is no ACL.
using Rows = std::optional<std::set<uint32_t>>;

class Presence {
 public:
  /// The ACL has these rows now.
  void confirm(const Key& key, const std::set<uint32_t>& rows);
  /// Of the rows of the ACL, others than `left` may be missing from now on.
  void cut(const Key& key, const Rows& left);
  void forget() { acls_.clear(); }

  /// The indexes of the rows of a table that were there at least until `end`. Group and table are
  /// those of the table's OID.
  std::vector<std::string> until(uint32_t group, uint32_t table, Qel::Seconds end) const;

 private:
  static constexpr Qel::Seconds kNow = std::numeric_limits<Qel::Seconds>::infinity();
  struct Acl {
    std::string index;
    Qel::Seconds end = kNow;
    std::map<uint32_t, Qel::Seconds> rowEnds;
  };
  std::map<Key, Acl> acls_;
};

}  // namespace Soak
