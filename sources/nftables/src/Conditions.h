#pragma once

/// Puts the conditions of a rule into the filter of a row.

#include <string>
#include <string_view>

#include "Json.h"
#include "nftables/Ruleset.h"

namespace Sources::Nftables {

/// A rule on its way into an ACL of one type.
struct RowDraft {
  explicit RowDraft(Acl::AclType type);

  Acl::AclType type() const { return static_cast<Acl::AclType>(config.index()); }
  /// The filter's common part in an IPv4 or IPv6 ACL, else null.
  Acl::IpFilterBase* ip();

  /// The alternative is that of the type.
  RuleConfig config;
  /// Traffic of this type cannot match the rule.
  bool impossible = false;
};

/// One comparison.
struct Condition {
  /// What is compared, as `nameOf` says.
  std::string name;
  std::string_view oper;
  /// The bits that are compared, or null for all.
  const Json* mask = nullptr;
  const Json* value = nullptr;

  /// Of a statement's content; `value` is null where it is no comparison.
  explicit Condition(const Json& match);
  /// As in "tcp dport != {22,23}".
  std::string text() const;
};

/// Takes in what follows from a statement's looking at a header: the family and the protocol, which
/// nft does not write down when the header already says them.
void imply(RowDraft& draft, const Json& statement);

/// Puts a condition into the filter. False when the columns do not say all of it.
bool show(RowDraft& draft, const Condition& condition);

}  // namespace Sources::Nftables
