#include "Fixtures.h"

namespace {

using Fixtures::acl;
using Fixtures::AclRuleTableIndex;
using Fixtures::AllTypes;
using Fixtures::GoneLog;
using Fixtures::idOf;
using Fixtures::Ptr;
using Fixtures::Strings;
using Fixtures::subConfig;
using Fixtures::TypeNames;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr Qel::Seconds kCreated = 700.125;

template <class T>
class Entries : public testing::Test {
 protected:
  using AclEntry = typename T::AclEntry;
  using RuleEntry = typename T::RuleEntry;
  using StatsEntry = typename T::StatsEntry;

  Ptr<RuleEntry> ruleRow(uint32_t seq) { return Qel::make<RuleEntry>(index(seq), acl_); }
  Ptr<StatsEntry> statsRow(uint32_t seq) {
    return Qel::make<StatsEntry>(index(seq), acl_, kCreated);
  }
  static AclRuleTableIndex index(uint32_t seq) { return {"acl1", seq}; }
  void expectDefaults(const RuleEntry& row) {
    EXPECT_EQ(T::ruleConfig(row), typename T::Rule());
    EXPECT_EQ(row.action(), Acl::Action::permit);
    EXPECT_FALSE(row.log());
    EXPECT_EQ(row.proto(), 0U);
    EXPECT_EQ(row.sourceAddr(), decltype(row.sourceAddr())());
    EXPECT_EQ(row.sourceMask(), decltype(row.sourceMask())());
    EXPECT_EQ(row.destAddr(), decltype(row.destAddr())());
    EXPECT_EQ(row.destMask(), decltype(row.destMask())());
  }

  Ptr<Acl::AclSubConfig> sub_ = Qel::make<Acl::AclSubConfig>();
  Ptr<Acl::AclConfig> acl_ = acl("acl1", T::kType, sub_);
  Ptr<Acl::AclStatus> status_ = Qel::make<Acl::AclStatus>("acl1");
};
TYPED_TEST_SUITE(Entries, AllTypes, TypeNames);

TYPED_TEST(Entries, AnAclRowStoresItsKeyAndConfiguration) {
  const auto row = Qel::make<typename TypeParam::AclEntry>("key", this->acl_);
  EXPECT_EQ(row->name(), Snmp::String("key"));
  EXPECT_EQ(row->aclConfig(), this->acl_);
  EXPECT_EQ(row->aclStatus(), nullptr);
}

TYPED_TEST(Entries, AnAclRowWithoutConfigurationAndStatusReadsFalse) {
  const auto row = Qel::make<typename TypeParam::AclEntry>("acl1", nullptr);
  EXPECT_FALSE(row->readonly());
  EXPECT_FALSE(row->statsEnabled());
  EXPECT_FALSE(row->countersIncomplete());
}

TYPED_TEST(Entries, AnAclRowReadsItsConfigurationLive) {
  const auto row = Qel::make<typename TypeParam::AclEntry>("acl1", this->acl_);
  for (const bool on : {false, true, false}) {
    this->acl_->readonlyIs(on);
    EXPECT_EQ(row->readonly(), on);
    EXPECT_FALSE(row->statsEnabled());
  }
  for (const bool on : {true, false}) {
    this->sub_->countersEnabledIs(on);
    EXPECT_EQ(row->statsEnabled(), on);
    EXPECT_FALSE(row->readonly());
  }
}

TYPED_TEST(Entries, StatsEnabledIsThatOfTheCurrentSubConfigurationAlone) {
  const auto row = Qel::make<typename TypeParam::AclEntry>("acl1", this->acl_);
  this->sub_->countersEnabledIs(true);
  this->acl_->subConfigIs(idOf(1), this->sub_);
  this->acl_->currCfgIs(nullptr);
  EXPECT_FALSE(row->statsEnabled());
  this->acl_->currCfgIs(subConfig({}));
  EXPECT_FALSE(row->statsEnabled());
  // The sub-configuration's own readonly flag is not the ACL's.
  this->sub_->readonlyIs(true);
  this->acl_->currCfgIs(this->sub_);
  EXPECT_TRUE(row->statsEnabled());
  EXPECT_FALSE(row->readonly());
}

TYPED_TEST(Entries, AnAclRowReadsItsStatusLive) {
  const auto row = Qel::make<typename TypeParam::AclEntry>("acl1", this->acl_);
  this->status_->countersIncompleteIs(true);
  EXPECT_FALSE(row->countersIncomplete());
  row->aclStatusIs(this->status_);
  EXPECT_EQ(row->aclStatus(), this->status_);
  EXPECT_TRUE(row->countersIncomplete());
  row->aclStatusIs(row->aclStatus());
  EXPECT_EQ(row->aclStatus(), this->status_);
  this->status_->countersIncompleteIs(false);
  EXPECT_FALSE(row->countersIncomplete());
  this->status_->countersIncompleteIs(true);
  row->aclStatusIs(nullptr);
  EXPECT_EQ(row->aclStatus(), nullptr);
  EXPECT_FALSE(row->countersIncomplete());
}

TYPED_TEST(Entries, ARuleRowStoresItsIndexAndConfiguration) {
  const auto row = this->ruleRow(10);
  EXPECT_EQ(row->index(), AclRuleTableIndex("acl1", 10));
  EXPECT_EQ(row->aclConfig(), this->acl_);
}

TYPED_TEST(Entries, ARuleRowWithoutItsRuleReadsDefaults) {
  const auto row = this->ruleRow(10);
  struct Case {
    const char* what;
    Ptr<Acl::AclSubConfig> current;
    Acl::UniqueId id;
  };
  typename TypeParam::Rule other;
  other.log = true;
  const auto elsewhere = subConfig({20});
  TypeParam::ruleIs(*elsewhere, idOf(20), other);
  for (const Case& c : {Case{"no sub-configuration", nullptr, Acl::UniqueId::invalid()},
                        {"no such sequence number", elsewhere, Acl::UniqueId::invalid()},
                        {"no rule of the identity", subConfig({10}), idOf(10)}}) {
    SCOPED_TRACE(c.what);
    this->acl_->currCfgIs(c.current);
    this->expectDefaults(*row);
    EXPECT_EQ(row->uniqueId(), c.id);
    EXPECT_EQ(row->remark(), "");
    EXPECT_EQ(row->remarkConfig(), Acl::RemarkConfig());
  }
}

TYPED_TEST(Entries, ARuleRowWithoutConfigurationReadsDefaults) {
  const auto row = Qel::make<typename TypeParam::RuleEntry>(this->index(10), nullptr);
  this->expectDefaults(*row);
  EXPECT_EQ(row->uniqueId(), Acl::UniqueId(0xFFFFFFFF, 0xFFFF, 0xFFFF));
  EXPECT_EQ(row->remark(), "");
}

TYPED_TEST(Entries, TheInvalidIdentityIsLookedUpLikeAnyOther) {
  typename TypeParam::Rule rule;
  rule.action = Acl::Action::deny;
  TypeParam::ruleIs(*this->sub_, Acl::UniqueId::invalid(), rule);
  EXPECT_EQ(this->ruleRow(10)->action(), Acl::Action::deny);
  this->status_->ruleStatusIs(Acl::UniqueId::invalid(), {5, 6});
  const auto stats = this->statsRow(10);
  stats->aclStatusIs(this->status_);
  EXPECT_EQ(stats->pkts(), 5U);
  EXPECT_EQ(stats->lastUpdateTime(), 6);
}

TYPED_TEST(Entries, ARemarkReadsItsTextAndDefaultRuleColumns) {
  this->sub_->remarkBySequenceIs(15, {"web servers"});
  this->sub_->ruleBySequenceIs(10, idOf(10));
  const auto row = this->ruleRow(15);
  EXPECT_EQ(row->remark(), "web servers");
  EXPECT_EQ(row->remarkConfig(), Acl::RemarkConfig{"web servers"});
  EXPECT_EQ(row->uniqueId(), Acl::UniqueId::invalid());
  this->expectDefaults(*row);
  EXPECT_EQ(this->ruleRow(10)->remark(), "");
}

TYPED_TEST(Entries, ARuleRowReadsTheRuleOfItsSequenceNumberLive) {
  typename TypeParam::Rule rule;
  rule.action = Acl::Action::deny;
  rule.log = true;
  rule.filter.proto = 6;
  this->sub_->ruleBySequenceIs(10, idOf(1));
  this->sub_->remarkBySequenceIs(10, {"both"});
  TypeParam::ruleIs(*this->sub_, idOf(1), rule);
  const auto row = this->ruleRow(10);
  EXPECT_EQ(row->uniqueId(), idOf(1));
  EXPECT_EQ(TypeParam::ruleConfig(*row), rule);
  EXPECT_EQ(row->action(), Acl::Action::deny);
  EXPECT_TRUE(row->log());
  EXPECT_EQ(row->proto(), 6U);
  EXPECT_EQ(row->remark(), "both");

  rule.filter.proto = 17;
  rule.log = false;
  TypeParam::ruleIs(*this->sub_, idOf(1), rule);
  EXPECT_EQ(row->proto(), 17U);
  EXPECT_FALSE(row->log());

  this->sub_->ruleBySequenceIs(10, idOf(2));
  EXPECT_EQ(row->uniqueId(), idOf(2));
  this->expectDefaults(*row);
}

// A reference would show the later change.
TYPED_TEST(Entries, WhatARuleRowGaveStaysAsItWas) {
  typename TypeParam::Rule rule;
  rule.filter.proto = 6;
  this->sub_->ruleBySequenceIs(10, idOf(1));
  this->sub_->remarkBySequenceIs(10, {"before"});
  TypeParam::ruleIs(*this->sub_, idOf(1), rule);
  const auto row = this->ruleRow(10);
  const auto& config = TypeParam::ruleConfig(*row);
  const auto& remark = row->remarkConfig();
  const auto& text = row->remark();
  typename TypeParam::Rule changed = rule;
  changed.filter.proto = 17;
  TypeParam::ruleIs(*this->sub_, idOf(1), changed);
  this->sub_->remarkBySequenceIs(10, {"after"});
  EXPECT_EQ(config, rule);
  EXPECT_EQ(remark.text, "before");
  EXPECT_EQ(text, "before");
  EXPECT_EQ(row->remark(), "after");
}

TYPED_TEST(Entries, RowsKeepWhatTheyReadAlive) {
  this->sub_->countersEnabledIs(true);
  this->sub_->ruleBySequenceIs(10, idOf(10));
  this->sub_->remarkBySequenceIs(10, {"remark"});
  this->status_->countersIncompleteIs(true);
  this->status_->ruleStatusIs(idOf(10), {7, 7.5});
  auto aclRow = Qel::make<typename TypeParam::AclEntry>("acl1", this->acl_);
  auto ruleRow = this->ruleRow(10);
  auto statsRow = this->statsRow(10);
  aclRow->aclStatusIs(this->status_);
  statsRow->aclStatusIs(this->status_);
  Strings log;
  const GoneLog<Acl::AclConfig> config(this->acl_, "configuration gone", log);
  const GoneLog<Acl::AclStatus> status(this->status_, "status gone", log);
  this->sub_ = nullptr;
  this->acl_ = nullptr;
  this->status_ = nullptr;

  ASSERT_THAT(log, IsEmpty());
  EXPECT_TRUE(aclRow->statsEnabled());
  EXPECT_TRUE(aclRow->countersIncomplete());
  aclRow = nullptr;
  ASSERT_THAT(log, IsEmpty());
  EXPECT_EQ(statsRow->pkts(), 7U);
  EXPECT_EQ(statsRow->lastUpdateTime(), 7.5);
  statsRow = nullptr;
  ASSERT_THAT(log, ElementsAre("status gone"));
  EXPECT_EQ(ruleRow->uniqueId(), idOf(10));
  EXPECT_EQ(ruleRow->remark(), "remark");
  ruleRow = nullptr;
  EXPECT_THAT(log, ElementsAre("status gone", "configuration gone"));
}

TYPED_TEST(Entries, ARowReadsOnlyTheRulesOfItsOwnType) {
  this->sub_->ruleBySequenceIs(10, idOf(1));
  Acl::IpRuleConfig ip;
  Acl::Ip6RuleConfig ip6;
  Acl::MacRuleConfig mac;
  ip.filter.proto = 4;
  ip6.filter.proto = 41;
  mac.filter.proto = 0x88CC;
  this->sub_->ipRuleByIdIs(idOf(1), ip);
  this->sub_->ip6RuleByIdIs(idOf(1), ip6);
  this->sub_->macRuleByIdIs(idOf(1), mac);
  const uint32_t expected = TypeParam::kType == Acl::ipv4()   ? 4
                            : TypeParam::kType == Acl::ipv6() ? 41
                                                              : 0x88CC;
  EXPECT_EQ(this->ruleRow(10)->proto(), expected);
}

TYPED_TEST(Entries, AStatisticsRowStoresWhatItWasMadeFrom) {
  const auto row = this->statsRow(10);
  EXPECT_EQ(row->index(), AclRuleTableIndex("acl1", 10));
  EXPECT_EQ(row->aclConfig(), this->acl_);
  EXPECT_EQ(row->creationTime(), kCreated);
  EXPECT_EQ(row->aclStatus(), nullptr);
}

TYPED_TEST(Entries, AnUncountedRuleReadsZeroSinceItsCreation) {
  const auto row = this->statsRow(10);
  this->sub_->ruleBySequenceIs(10, idOf(10));
  const auto expectUncounted = [&](const char* what) {
    SCOPED_TRACE(what);
    EXPECT_EQ(row->pkts(), 0U);
    EXPECT_EQ(row->lastUpdateTime(), kCreated);
    EXPECT_EQ(TypeParam::ruleStatus(*row), Acl::RuleStatus());
  };
  expectUncounted("no status");
  row->aclStatusIs(this->status_);
  expectUncounted("an empty status");
  this->status_->ruleStatusIs(idOf(11), {9, 9.5});
  this->status_->connRuleStatusIs(idOf(10), {8, 8.5});
  expectUncounted("a status that counts others");
  this->status_->ruleStatusIs(idOf(10), {7, 7.5});
  EXPECT_EQ(row->pkts(), 7U);
  this->sub_->ruleBySequenceDel(10);
  expectUncounted("the sequence number gone");
  this->acl_->currCfgIs(nullptr);
  expectUncounted("no sub-configuration");
}

TYPED_TEST(Entries, ACountedRuleReadsTheCounterAndItsTime) {
  this->sub_->ruleBySequenceIs(10, idOf(10));
  const auto row = this->statsRow(10);
  row->aclStatusIs(this->status_);
  for (const Acl::RuleStatus& counted :
       {Acl::RuleStatus{1234, 500.25}, {0, 0}, {UINT64_MAX, 1e9}}) {
    this->status_->ruleStatusIs(idOf(10), counted);
    EXPECT_EQ(row->uniqueId(), idOf(10));
    EXPECT_EQ(row->pkts(), counted.pkts);
    EXPECT_EQ(row->lastUpdateTime(), counted.lastUpdateTime);
    EXPECT_EQ(TypeParam::ruleStatus(*row), counted);
  }
}

TYPED_TEST(Entries, AnotherStatusChangesTheValuesAtTheNextRead) {
  this->sub_->ruleBySequenceIs(10, idOf(10));
  const auto row = this->statsRow(10);
  const auto other = Qel::make<Acl::AclStatus>("acl1");
  this->status_->ruleStatusIs(idOf(10), {1, 801});
  other->ruleStatusIs(idOf(10), {2, 802});
  row->aclStatusIs(this->status_);
  EXPECT_EQ(row->pkts(), 1U);
  row->aclStatusIs(other);
  EXPECT_EQ(row->aclStatus(), other);
  EXPECT_EQ(row->pkts(), 2U);
  EXPECT_EQ(row->lastUpdateTime(), 802);
  row->aclStatusIs(nullptr);
  EXPECT_EQ(row->pkts(), 0U);
  EXPECT_EQ(row->lastUpdateTime(), kCreated);
}

TYPED_TEST(Entries, AStatisticsRowWithoutConfigurationHasTheInvalidIdentity) {
  const auto row = Qel::make<typename TypeParam::StatsEntry>(this->index(10), nullptr, kCreated);
  row->aclStatusIs(this->status_);
  EXPECT_EQ(row->uniqueId(), Acl::UniqueId::invalid());
  EXPECT_EQ(row->pkts(), 0U);
  EXPECT_EQ(row->lastUpdateTime(), kCreated);
}

}  // namespace
