#pragma once

/// What the tests of the rows, the mirrors and the state machines share: the three ACL types under
/// common names, a model of one ACL, and an observer that writes down every change of the MIB
/// entity.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "acl/Config.h"
#include "acl/Status.h"
#include "model/AclMib.h"
#include "qel/Time.h"
#include "support/TraceCapture.h"
#include "velomark/Velomark.h"

namespace Fixtures {

using AclSnmp::AclMib;
using AclSnmp::AclRuleTableIndex;
using Qel::Ptr;
using Strings = std::vector<std::string>;

/// One ACL type: its entries, its rule configuration and the names of its tables. `ruleConfig` and
/// `ruleStatus` read what each entry type names differently; the former as the entry gives it, by
/// value or by reference.
struct Ipv4 {
  static constexpr Acl::AclType kType = Acl::AclType::ipv4;
  static constexpr const char* kText = "ipv4";
  static constexpr const char* kTable = "ipAcl";
  using AclEntry = AclSnmp::IpAclTableEntry;
  using RuleEntry = AclSnmp::IpAclRuleTableEntry;
  using StatsEntry = AclSnmp::IpAclRuleStatsTableEntry;
  using Rule = Acl::IpRuleConfig;
  static void ruleIs(Acl::AclSubConfig& sub, const Acl::UniqueId& id, const Rule& rule) {
    sub.ipRuleByIdIs(id, rule);
  }
  static decltype(auto) ruleConfig(const RuleEntry& entry) { return entry.ipRuleConfig(); }
  static Acl::RuleStatus ruleStatus(const StatsEntry& entry) { return entry.ipRuleStatus(); }
};
struct Ipv6 {
  static constexpr Acl::AclType kType = Acl::AclType::ipv6;
  static constexpr const char* kText = "ipv6";
  static constexpr const char* kTable = "ipv6Acl";
  using AclEntry = AclSnmp::Ipv6AclTableEntry;
  using RuleEntry = AclSnmp::Ipv6AclRuleTableEntry;
  using StatsEntry = AclSnmp::Ipv6AclRuleStatsTableEntry;
  using Rule = Acl::Ip6RuleConfig;
  static void ruleIs(Acl::AclSubConfig& sub, const Acl::UniqueId& id, const Rule& rule) {
    sub.ip6RuleByIdIs(id, rule);
  }
  static decltype(auto) ruleConfig(const RuleEntry& entry) { return entry.ip6RuleConfig(); }
  static Acl::RuleStatus ruleStatus(const StatsEntry& entry) { return entry.ip6RuleStatus(); }
};
struct Mac {
  static constexpr Acl::AclType kType = Acl::AclType::mac;
  static constexpr const char* kText = "mac";
  static constexpr const char* kTable = "macAcl";
  using AclEntry = AclSnmp::MacAclTableEntry;
  using RuleEntry = AclSnmp::MacAclRuleTableEntry;
  using StatsEntry = AclSnmp::MacAclRuleStatsTableEntry;
  using Rule = Acl::MacRuleConfig;
  static void ruleIs(Acl::AclSubConfig& sub, const Acl::UniqueId& id, const Rule& rule) {
    sub.macRuleByIdIs(id, rule);
  }
  static decltype(auto) ruleConfig(const RuleEntry& entry) { return entry.macRuleConfig(); }
  static Acl::RuleStatus ruleStatus(const StatsEntry& entry) { return entry.macRuleStatus(); }
};
using AllTypes = testing::Types<Ipv4, Ipv6, Mac>;

struct TypeNames {
  template <class T>
  static std::string GetName(int) {
    return T::kText;
  }
};

/// A type value that is none of the three.
inline constexpr auto kNoType = static_cast<Acl::AclType>(7);

/// The identity of the rule at a sequence number, where a test does not care which.
inline Acl::UniqueId idOf(uint32_t seq) { return {seq, 1, 2}; }

inline Ptr<Acl::AclConfig> acl(const Qel::Name& name, Acl::AclType type,
                               const Ptr<const Acl::AclSubConfig>& current = nullptr) {
  const auto made = Qel::make<Acl::AclConfig>(name, type);
  made->currCfgIs(current);
  return made;
}

inline Ptr<Acl::AclSubConfig> subConfig(std::initializer_list<uint32_t> rules,
                                        std::initializer_list<uint32_t> remarks = {}) {
  const auto made = Qel::make<Acl::AclSubConfig>();
  for (const uint32_t seq : rules) made->ruleBySequenceIs(seq, idOf(seq));
  for (const uint32_t seq : remarks) {
    made->remarkBySequenceIs(seq, {std::string("remark ") + std::to_string(seq)});
  }
  return made;
}

/// Keys as the tests write them: "name", or "name 10".
inline std::string text(const Snmp::String& name) { return name.string8().str(); }
inline std::string text(const AclRuleTableIndex& index) {
  return text(index.aclName()) + " " + std::to_string(index.seqId());
}

/// The keys of a table in walking order.
template <class Entry>
Strings keys(const AclMib& mib) {
  Strings all;
  for (auto it = mib.entries<Entry>().begin(); it; ++it) all.push_back(text(it.key()));
  return all;
}

/// The timed blocks that ended since the last `Velomark::recordsDel`, "level text" each.
inline Strings timedBlocks() {
  Strings all;
  for (const Velomark::Record& record : Velomark::records()) {
    all.push_back(std::to_string(record.level) + " " + record.text);
  }
  return all;
}

/// Writes down every notification of a MIB entity as "table key", with "+" or "-" in front for a
/// row that is there or gone at that moment, and then does what a test asks.
class MibLog final : public AclMib::NotifieeConst {
 public:
  explicit MibLog(const Ptr<const AclMib>& mib) { notifierIs(mib); }

#define FIXTURES_LOG(lower, Upper)                                               \
  using AclMib::NotifieeConst::on##Upper;                                        \
  void on##Upper(AclMib::Upper##Key key) override {                              \
    add((notifier()->lower(key) ? "+" #lower " " : "-" #lower " ") + text(key)); \
  }                                                                              \
  void on##Upper() override { add(#lower " as a whole"); }                       \
  void on##Upper##qelImmediate() override { add(#lower " immediate"); }
  FIXTURES_LOG(ipAclTable, IpAclTable)
  FIXTURES_LOG(ipAclRuleTable, IpAclRuleTable)
  FIXTURES_LOG(ipAclRuleStatsTable, IpAclRuleStatsTable)
  FIXTURES_LOG(macAclTable, MacAclTable)
  FIXTURES_LOG(macAclRuleTable, MacAclRuleTable)
  FIXTURES_LOG(macAclRuleStatsTable, MacAclRuleStatsTable)
  FIXTURES_LOG(ipv6AclTable, Ipv6AclTable)
  FIXTURES_LOG(ipv6AclRuleTable, Ipv6AclRuleTable)
  FIXTURES_LOG(ipv6AclRuleStatsTable, Ipv6AclRuleStatsTable)
#undef FIXTURES_LOG
  void onAclStatus() override { add("aclStatus"); }

  /// What was noted since the last call.
  Strings take() { return std::exchange(log_, {}); }
  std::function<void(const std::string&)> action;

 private:
  void add(const std::string& line) {
    log_.push_back(line);
    if (action) action(line);
  }
  Strings log_;
};

/// Writes down the changes of a collection of ACLs by name, "+name" or "-name", and whether the
/// collection itself goes.
template <class Collection>
class AclLog final : public Collection::NotifieeConst {
 public:
  explicit AclLog(const Ptr<const Collection>& collection, Qel::Hold hold = Qel::Hold::counted)
      : Collection::NotifieeConst(hold) {
    this->notifierIs(collection);
  }
  void onAcl(Qel::Name name) override {
    const bool there = static_cast<bool>(this->notifier()->acl(name));
    add((there ? "+" : "-") + name.string().str());
  }
  void onAcl() override { add("as a whole"); }
  void onAclqelImmediate() override { add("immediate"); }
  void onZeroReferences() override { add("gone"); }

  Strings take() { return std::exchange(log_, {}); }
  std::function<void(const std::string&)> action;

 private:
  void add(const std::string& line) {
    log_.push_back(line);
    if (action) action(line);
  }
  Strings log_;
};

/// The base of an entity type's observers; for a type that has no attributes to observe, the bare
/// one.
template <class EntityT>
struct ObserverOf {
  using Type = Qel::NotifieeOf<EntityT>;
};
template <class EntityT>
requires requires { typename EntityT::NotifieeConst; }
struct ObserverOf<EntityT> {
  using Type = typename EntityT::NotifieeConst;
};

/// Says when an entity goes and then does what a test asks. Does not keep it alive.
template <class EntityT>
class GoneLog final : public ObserverOf<EntityT>::Type {
 public:
  GoneLog(const Ptr<const EntityT>& entity, std::string what, Strings& log)
      : ObserverOf<EntityT>::Type(Qel::Hold::weak), what_(std::move(what)), log_(log) {
    this->notifierIs(entity);
  }
  void onZeroReferences() override {
    log_.push_back(what_);
    if (action) action();
  }
  std::function<void()> action;

 private:
  std::string what_;
  Strings& log_;
};

}  // namespace Fixtures
