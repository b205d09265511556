#pragma once

/// The rule machine of ACL "b", which has two rules and a remark, and the notes of what it does to
/// the MIB entity.

#include "Fixtures.h"
#include "agent/AclRuleMibSm.h"

namespace Fixtures {

template <class T>
class RuleSm : public testing::Test {
 protected:
  using RuleEntry = typename T::RuleEntry;
  using StatsEntry = typename T::StatsEntry;

  void make() { sm_ = Qel::make<AclSnmp::AclRuleMibSm>(acl_, mib_); }
  static std::string rule(char there, const char* key) {
    return there + std::string(T::kTable) + "RuleTable " + key;
  }
  static std::string stats(char there, const char* key) {
    return there + std::string(T::kTable) + "RuleStatsTable " + key;
  }
  void expectRows(const Strings& expected) {
    EXPECT_EQ(keys<RuleEntry>(*mib_), expected);
    EXPECT_EQ(keys<StatsEntry>(*mib_), expected);
  }
  Ptr<StatsEntry> statsRow(uint32_t seq, const char* name = "b") {
    return mib_->template entry<StatsEntry>({name, seq});
  }
  Ptr<RuleEntry> ruleRow(uint32_t seq) { return mib_->template entry<RuleEntry>({"b", seq}); }
  /// Rows of other ACLs, before and behind those of "b".
  void addNeighbours() {
    for (const char* name : {"a", "c", "bb"}) {
      mib_->template entryIs<RuleEntry>({name, 10}, acl_);
      mib_->template entryIs<StatsEntry>({name, 10}, acl_, 1.0);
    }
  }

  Qel::ManualClock clock_{100};
  Ptr<AclMib> mib_ = AclSnmp::AclMibIs("mib");
  Ptr<Acl::AclSubConfig> sub_ = subConfig({20, 10}, {15});
  Ptr<Acl::AclConfig> acl_ = acl("b", T::kType, sub_);
  Ptr<Acl::AclStatus> status_ = Qel::make<Acl::AclStatus>("b");
  MibLog log_{mib_};
  Ptr<AclSnmp::AclRuleMibSm> sm_;
};

}  // namespace Fixtures
