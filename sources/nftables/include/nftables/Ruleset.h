#pragma once

/// Reads what libnftables writes about a ruleset, its JSON with handles, into plain values: the
/// chains, and of every rule the rows that it has in ACLs of each type. docs/nftables.md tells what
/// becomes of each expression.
///
/// Nothing in a rule makes a reading fail. What the tables have no column for is named in the row's
/// remark, whether this reader knows the expression or not.

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <variant>
#include <vector>

#include "snapshot/Snapshot.h"

namespace Sources::Nftables {

/// Families of tables, in the order in which they have a claim to a name; see Publication.h.
enum class Family { ip, ip6, inet, bridge, netdev, arp };

/// As nft writes it.
std::string_view stringValue(Family family);
/// The types of the ACLs that a family's chains become.
std::span<const Acl::AclType> aclTypes(Family family);

/// One rule in an ACL of one type.
struct Row {
  Acl::AclType type = Acl::AclType::ipv4;
  RuleConfig config;
  /// At most `Acl::kMaxRemarkOctets`, whole UTF-8 characters.
  std::string remark;
};

struct Rule {
  /// Unique in its table until the table goes.
  uint64_t handle = 0;
  /// Of the expressions and the comment, without what the kernel counts.
  uint64_t digest = 0;
  /// One for each type of ACL in which the rule can match.
  std::vector<Row> rows;
  /// What an inline counter has counted.
  std::optional<uint64_t> packets;
  /// The name of a counter that is an object of the table; empty where there is none.
  std::string counter;
};

struct Chain {
  Family family = Family::ip;
  std::string table;
  std::string name;
  std::vector<Rule> rules;
};

struct Ruleset {
  using CounterKey = std::tuple<Family, std::string, std::string>;  // family, table, name

  /// In the order of the kernel.
  std::vector<Chain> chains;
  std::map<CounterKey, uint64_t> counters;
  /// The kinds of expressions that rules have and the tables have no column for.
  std::set<std::string> unshown;

  /// What a rule has counted; nothing for a rule that is not counted.
  std::optional<uint64_t> packets(const Chain& chain, const Rule& rule) const;
};

/// The ruleset, or one line that says why the text is none.
std::variant<Ruleset, std::string> readRuleset(std::string_view json);

}  // namespace Sources::Nftables
