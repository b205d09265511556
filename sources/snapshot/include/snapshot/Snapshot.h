#pragma once

/// What a source has read: a whole set of ACLs as plain values.
///
/// A snapshot is built on one thread and moved to another, whole and once. The counted strings
/// inside rules have plain counts, so whoever builds a snapshot keeps no copy of any part of it and
/// puts no string with static lifetime into it.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "acl/Types.h"

namespace Sources {

/// The alternative is that of the ACL's type, in the order of `Acl::AclType`.
using RuleConfig = std::variant<Acl::IpRuleConfig, Acl::Ip6RuleConfig, Acl::MacRuleConfig>;

struct RuleCounter {
  uint64_t pkts = 0;
  /// When the counter last changed; nothing where the source cannot tell.
  std::optional<Qel::Seconds> lastUpdate;
  friend bool operator==(const RuleCounter&, const RuleCounter&) = default;
};

struct RuleSnapshot {
  /// Unique in its ACL and stable from one snapshot to the next: counters are kept under it.
  Acl::UniqueId id;
  RuleConfig config;
  /// Nothing for a rule that is not counted.
  std::optional<RuleCounter> counter;
  friend bool operator==(const RuleSnapshot&, const RuleSnapshot&) = default;
};

struct AclSnapshot {
  bool readonly = false;
  bool countersEnabled = false;
  bool fragmentsEnabled = false;
  bool countersIncomplete = false;
  std::map<uint32_t, RuleSnapshot> rules;   // by sequence number
  std::map<uint32_t, std::string> remarks;  // by sequence number
  friend bool operator==(const AclSnapshot&, const AclSnapshot&) = default;
};

/// What stands at one sequence number: a rule, a remark or both.
struct Entry {
  const RuleSnapshot* rule = nullptr;
  const std::string* remark = nullptr;
};
/// The entries of an ACL by sequence number, valid while the snapshot is not changed.
std::map<uint32_t, Entry> entriesOf(const AclSnapshot& acl);

/// What the data plane behind the source supports.
struct DataPlane {
  bool acl = false;
  bool logging = false;
  bool counters = false;
  bool routerAcl = false;
  friend bool operator==(const DataPlane&, const DataPlane&) = default;
};

struct Snapshot {
  /// An ACL is known by its type and its name, any octets.
  using Key = std::pair<Acl::AclType, std::string>;

  std::map<Key, AclSnapshot> acls;
  DataPlane dataPlane;
  friend bool operator==(const Snapshot&, const Snapshot&) = default;
};

/// Counters of rules that a snapshot has brought, where nothing else has changed since.
using CounterChanges = std::map<Snapshot::Key, std::vector<std::pair<Acl::UniqueId, uint64_t>>>;

}  // namespace Sources
