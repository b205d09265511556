#pragma once

/// The two-part index of rule and statistics rows: the ACL's name and the rule's sequence number,
/// ordered as the rows' OIDs are.

#include <compare>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>

#include "snmp/String.h"

namespace AclSnmp {

class AclRuleTableIndex {
 public:
  /// The empty name and sequence number 0.
  AclRuleTableIndex() = default;
  AclRuleTableIndex(Snmp::String aclName, uint32_t seqId)
      : aclName_(std::move(aclName)), seqId_(seqId) {}
  /// Reads what `valueToStrep` writes and leaves `current` just past it. Throws
  /// `Qel::SyntaxException` where the text differs and `Qel::RangeException` for a bad name (the
  /// message names the attribute) or number.
  AclRuleTableIndex(Qel::StrepIterator& current, Qel::StrepIterator end);

  const Snmp::String& aclName() const { return aclName_; }
  uint32_t seqId() const { return seqId_; }

  /// Whether this is the default value.
  bool operator!() const { return aclName_.empty() && seqId_ == 0; }

  friend bool operator==(const AclRuleTableIndex&, const AclRuleTableIndex&) = default;
  friend std::strong_ordering operator<=>(const AclRuleTableIndex&,
                                          const AclRuleTableIndex&) = default;

 private:
  Snmp::String aclName_;
  uint32_t seqId_ = 0;
};

/// "Value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'acl1', 'seqId': 10})"
std::string valueToStrep(const AclRuleTableIndex& index);
std::ostream& operator<<(std::ostream& out, const AclRuleTableIndex& index);

}  // namespace AclSnmp
