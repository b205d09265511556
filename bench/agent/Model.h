#pragma once

/// ACL models of a given shape, made as a source would make them: rules with addresses, ports,
/// flags and counters, a remark on every tenth rule.

#include "Shape.h"
#include "acl/Config.h"
#include "acl/Status.h"

namespace Bench {

Acl::UniqueId idOf(size_t rule);
Acl::IpRuleConfig ipRule(size_t number);
/// The text of the remark at a rule; empty where it has none.
std::string remarkOf(size_t number);

/// One ACL of a shape; `first` is the number of its first rule.
Qel::Ptr<Acl::AclSubConfig> version(const Shape& shape, Acl::AclType type, size_t first);
Qel::Ptr<Acl::AclConfig> aclConfig(const Shape& shape, Acl::AclType type, size_t acl);
Qel::Ptr<Acl::AclStatus> aclStatus(const Shape& shape, size_t acl, Qel::Seconds now);

}  // namespace Bench
