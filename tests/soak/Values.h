#pragma once

/// Random values for the ACL model: names, rules, remarks and counters, each over its whole range.

#include <string>
#include <utility>
#include <vector>

#include "Random.h"
#include "acl/Config.h"
#include "snapshot/Snapshot.h"

namespace Soak {

/// An ACL of the model.
using Key = Sources::Snapshot::Key;

inline Qel::Name nameOf(const Key& key) { return Qel::Name(Qel::String8(key.second)); }

/// Different names of 1 to 100 octets: short ones that begin one another, and ones of any octets.
std::vector<std::string> names(Random& random, size_t count);

/// Text of at most `longest` octets, any octet now and then.
std::string text(Random& random, uint32_t longest);

Sources::RuleConfig rule(Random& random, Acl::AclType type);

/// Puts a rule under its identity into the collection of its type.
void ruleIs(Acl::AclSubConfig& version, const Acl::UniqueId& id, const Sources::RuleConfig& rule);
void ruleDel(Acl::AclSubConfig& version, const Acl::UniqueId& id);

/// The same rules and remarks in another object.
Qel::Ptr<Acl::AclSubConfig> copyOf(const Acl::AclSubConfig& version);

}  // namespace Soak
