#include "apply/Applier.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "acl/Aggregator.h"

namespace Sources {
namespace {

using Acl::AclType;
using Acl::UniqueId;
using testing::ElementsAre;
using testing::IsEmpty;

const Snapshot::Key kKey(AclType::ipv4, "a");

/// Writes down every notification of one ACL's objects and of its collections.
class Watcher {
 public:
  Watcher(Acl::Input::Config& config, Acl::Input::Status& status, AclType type)
      : configs_(*this), statuses_(*this), acl_(*this), counters_(*this) {
    configs_.notifierIs(config.typeConfig(type));
    statuses_.notifierIs(status.status(type));
    acl_.notifierIs(config.typeConfig(type)->acl("a"));
    counters_.notifierIs(status.status(type)->acl("a"));
  }
  std::vector<std::string> take() { return std::exchange(seen_, {}); }

 private:
  struct Configs final : Acl::AclTypeConfig::NotifieeConst {
    explicit Configs(Watcher& w) : w_(w) {}
    using NotifieeConst::onAcl;
    void onAcl(Qel::Name name) override { w_.seen_.push_back("config " + name.string().str()); }
    Watcher& w_;
  };
  struct Statuses final : Acl::AclTypeStatus::NotifieeConst {
    explicit Statuses(Watcher& w) : w_(w) {}
    using NotifieeConst::onAcl;
    void onAcl(Qel::Name name) override { w_.seen_.push_back("status " + name.string().str()); }
    Watcher& w_;
  };
  struct AclReactor final : Acl::AclConfig::NotifieeConst {
    explicit AclReactor(Watcher& w) : w_(w) {}
    void onReadonly() override { w_.seen_.push_back("readonly"); }
    void onCurrCfg() override { w_.seen_.push_back("currCfg"); }
    Watcher& w_;
  };
  struct Counters final : Acl::AclStatus::NotifieeConst {
    explicit Counters(Watcher& w) : w_(w) {}
    using NotifieeConst::onRuleStatus;
    void onRuleStatus(UniqueId id) override {
      w_.seen_.push_back("counter " + std::to_string(id.number()));
    }
    void onCountersIncomplete() override { w_.seen_.push_back("countersIncomplete"); }
    Watcher& w_;
  };

  std::vector<std::string> seen_;
  Configs configs_;
  Statuses statuses_;
  AclReactor acl_;
  Counters counters_;
};

RuleSnapshot ipRule(uint32_t sequence, uint32_t proto) {
  Acl::IpRuleConfig rule;
  rule.filter.proto = proto;
  return {UniqueId(sequence, 0, 0), rule, std::nullopt};
}

class ApplierTest : public testing::Test {
 protected:
  ApplierTest() {
    applier_ = Qel::make<Applier>(mount_, "file");
    config_ = Qel::ptrCast<Acl::Input::Config>(mount_.inputDir->entity("file"));
    status_ = Qel::ptrCast<Acl::Input::Status>(mount_.statusDir->entity("file"));
  }

  /// One ACL "a" with the rules 10 and 20, counted, and the remark 15.
  static Snapshot one() {
    Snapshot snapshot;
    AclSnapshot& acl = snapshot.acls[kKey];
    acl.rules.emplace(10, ipRule(10, 6));
    acl.rules.emplace(20, ipRule(20, 17));
    acl.rules.at(10).counter = RuleCounter{100, std::nullopt};
    acl.rules.at(20).counter = RuleCounter{200, std::nullopt};
    acl.remarks.emplace(15, "remark");
    return snapshot;
  }

  void apply(Snapshot snapshot) {
    applier_->snapshotIs(std::move(snapshot));
    while (mount_.scheduler->runNext()) {
    }
  }
  Qel::Ptr<const Acl::AclConfig> acl() { return config_->typeConfig(AclType::ipv4)->acl("a"); }
  Qel::Ptr<const Acl::AclStatus> aclStatus() { return status_->status(AclType::ipv4)->acl("a"); }

  Qel::ManualClock clock_{50};
  Mount mount_{Qel::make<Qel::Dir>("input"), Qel::make<Qel::Dir>("status"),
               Qel::make<Mek::TaskScheduler>(), [](Severity, const std::string&) {}};
  Qel::Ptr<Applier> applier_;
  Qel::Ptr<Acl::Input::Config> config_;
  Qel::Ptr<Acl::Input::Status> status_;
};

TEST_F(ApplierTest, PublishesUnderItsNameAndTakesBothOut) {
  ASSERT_TRUE(config_);
  ASSERT_TRUE(status_);
  apply(one());
  applier_ = nullptr;
  EXPECT_FALSE(mount_.inputDir->entity("file"));
  EXPECT_FALSE(mount_.statusDir->entity("file"));
  EXPECT_EQ(mount_.scheduler->tasks(), 0U);
}

TEST_F(ApplierTest, LeavesWhatTookItsPlace) {
  const auto other = Qel::make<Acl::Input::Config>("file");
  mount_.inputDir->entityIs(other);
  applier_ = nullptr;
  EXPECT_EQ(mount_.inputDir->entity("file"), other);
}

TEST_F(ApplierTest, PublishesAnAcl) {
  Snapshot snapshot = one();
  snapshot.acls[kKey].readonly = true;
  snapshot.acls[kKey].countersEnabled = true;
  snapshot.acls[kKey].fragmentsEnabled = true;
  snapshot.acls[kKey].countersIncomplete = true;
  apply(std::move(snapshot));

  ASSERT_TRUE(acl());
  const auto version = acl()->currCfg();
  EXPECT_EQ(acl()->type(), AclType::ipv4);
  EXPECT_TRUE(acl()->readonly());
  EXPECT_EQ(acl()->subConfig(UniqueId(1, 0, 0)), version);
  EXPECT_TRUE(version->committed());
  EXPECT_TRUE(version->countersEnabled());
  EXPECT_TRUE(version->fragmentsEnabled());
  EXPECT_EQ(version->ruleBySequence().size(), 2U);
  EXPECT_EQ(version->ruleBySequence(20), UniqueId(20, 0, 0));
  EXPECT_EQ(version->ipRuleById(UniqueId(20, 0, 0)).filter.proto, 17U);
  EXPECT_EQ(version->remarkBySequence(15).text, "remark");
  EXPECT_TRUE(aclStatus()->countersIncomplete());
  EXPECT_EQ(aclStatus()->ruleStatus(UniqueId(10, 0, 0)), (Acl::RuleStatus{100, 50}));
}

TEST_F(ApplierTest, PublishesEveryType) {
  Snapshot snapshot;
  Acl::Ip6RuleConfig rule6;
  rule6.filter.proto = 58;
  Acl::MacRuleConfig ruleMac;
  ruleMac.filter.proto = 0x0806;
  snapshot.acls[{AclType::ipv6, "a"}].rules.emplace(1, RuleSnapshot{{1, 0, 0}, rule6, {}});
  snapshot.acls[{AclType::mac, "a"}].rules.emplace(2, RuleSnapshot{{2, 0, 0}, ruleMac, {}});
  snapshot.dataPlane = {true, false, true, true};
  const Snapshot again = snapshot;
  apply(std::move(snapshot));
  const auto acl6 = config_->typeConfig(AclType::ipv6)->acl("a");
  const auto version6 = acl6->currCfg();
  EXPECT_EQ(version6->ip6RuleById(UniqueId(1, 0, 0)), rule6);
  const auto aclMac = config_->typeConfig(AclType::mac)->acl("a");
  const auto versionMac = aclMac->currCfg();
  EXPECT_EQ(versionMac->macRuleById(UniqueId(2, 0, 0)), ruleMac);
  EXPECT_TRUE(status_->dpAclSupported());
  EXPECT_FALSE(status_->dpAclLoggingSupported());
  EXPECT_TRUE(status_->dpAclCountersSupported());
  EXPECT_TRUE(status_->dpRouterAclSupported());
  apply(again);
  EXPECT_EQ(acl6->currCfg(), version6);
  EXPECT_EQ(aclMac->currCfg(), versionMac);
}

TEST_F(ApplierTest, StatusOfANewAclIsThereBeforeItsConfiguration) {
  struct Reactor final : Acl::AclTypeConfig::NotifieeConst {
    using NotifieeConst::onAcl;
    void onAcl(Qel::Name name) override { sawStatus = static_cast<bool>(status->acl(name)); }
    Qel::Ptr<Acl::AclTypeStatus> status;
    bool sawStatus = false;
  } reactor;
  reactor.status = status_->status(AclType::ipv4);
  reactor.notifierIs(config_->typeConfig(AclType::ipv4));
  apply(one());
  EXPECT_TRUE(reactor.sawStatus);
}

TEST_F(ApplierTest, UntouchedAclKeepsItsObjectsAndNotifiesNobody) {
  apply(one());
  const auto acl = this->acl();
  const auto version = acl->currCfg();
  const auto status = aclStatus();
  Watcher watcher(*config_, *status_, AclType::ipv4);
  clock_.advance(10);
  apply(one());
  EXPECT_THAT(watcher.take(), IsEmpty());
  EXPECT_EQ(this->acl(), acl);
  EXPECT_EQ(acl->currCfg(), version);
  EXPECT_EQ(aclStatus(), status);
  EXPECT_EQ(status->ruleStatus(UniqueId(10, 0, 0)).lastUpdateTime, 50);
}

TEST_F(ApplierTest, EachChangeOfRulesIsOneNewVersionOfTheSameAcl) {
  const struct {
    const char* what;
    void (*change)(AclSnapshot&);
  } changes[] = {
      {"rule edited", [](AclSnapshot& a) { a.rules.at(10) = ipRule(10, 47); }},
      {"identity changed", [](AclSnapshot& a) { a.rules.at(10) = ipRule(11, 6); }},
      {"rule added", [](AclSnapshot& a) { a.rules.emplace(30, ipRule(30, 1)); }},
      {"rule removed", [](AclSnapshot& a) { a.rules.erase(20); }},
      {"remark edited", [](AclSnapshot& a) { a.remarks.at(15) = "other"; }},
      {"remark added", [](AclSnapshot& a) { a.remarks.emplace(10, "beside"); }},
      {"remark removed", [](AclSnapshot& a) { a.remarks.clear(); }},
      {"counters enabled", [](AclSnapshot& a) { a.countersEnabled = true; }},
      {"fragments enabled", [](AclSnapshot& a) { a.fragmentsEnabled = true; }},
  };
  for (const auto& c : changes) {
    SCOPED_TRACE(c.what);
    Snapshot before = one();
    Snapshot after = one();
    for (auto* snapshot : {&before, &after}) {
      for (auto& [sequence, rule] : snapshot->acls[kKey].rules) rule.counter.reset();
    }
    c.change(after.acls[kKey]);
    apply({});
    apply(std::move(before));
    const auto acl = this->acl();
    const auto previous = acl->currCfg();
    const auto status = aclStatus();
    Watcher watcher(*config_, *status_, AclType::ipv4);
    apply(std::move(after));
    EXPECT_THAT(watcher.take(), ElementsAre("currCfg"));
    EXPECT_EQ(this->acl(), acl);
    EXPECT_EQ(aclStatus(), status);
    EXPECT_FALSE(acl->currCfg() == previous);
    EXPECT_EQ(acl->subConfig().size(), 1U);
    EXPECT_EQ(acl->subConfig(UniqueId(2, 0, 0)), acl->currCfg());
  }
}

TEST_F(ApplierTest, NewRulesStandInTheNewVersion) {
  apply(one());
  Snapshot changed = one();
  changed.acls[kKey].rules.at(10) = ipRule(10, 47);
  changed.acls[kKey].rules.erase(20);
  changed.acls[kKey].rules.emplace(30, ipRule(30, 1));
  apply(std::move(changed));
  const auto version = acl()->currCfg();
  EXPECT_EQ(version->ipRuleById(UniqueId(10, 0, 0)).filter.proto, 47U);
  EXPECT_EQ(version->ipRuleById(UniqueId(30, 0, 0)).filter.proto, 1U);
  EXPECT_EQ(version->ruleBySequence(20), UniqueId::invalid());
  EXPECT_EQ(version->ipRuleById().size(), 2U);
}

TEST_F(ApplierTest, ReadonlyChangesInPlace) {
  apply(one());
  const auto version = acl()->currCfg();
  Watcher watcher(*config_, *status_, AclType::ipv4);
  Snapshot changed = one();
  changed.acls[kKey].readonly = true;
  apply(std::move(changed));
  EXPECT_THAT(watcher.take(), ElementsAre("readonly"));
  EXPECT_TRUE(acl()->readonly());
  EXPECT_EQ(acl()->currCfg(), version);
}

TEST_F(ApplierTest, CountersChangeInPlace) {
  apply(one());
  const auto version = acl()->currCfg();
  const auto status = aclStatus();
  Watcher watcher(*config_, *status_, AclType::ipv4);
  clock_.advance(10);
  Snapshot changed = one();
  changed.acls[kKey].rules.at(20).counter->pkts = 201;
  apply(changed);
  EXPECT_THAT(watcher.take(), ElementsAre("counter 20"));
  EXPECT_EQ(acl()->currCfg(), version);
  EXPECT_EQ(aclStatus(), status);
  EXPECT_EQ(status->ruleStatus(UniqueId(10, 0, 0)), (Acl::RuleStatus{100, 50}));
  EXPECT_EQ(status->ruleStatus(UniqueId(20, 0, 0)), (Acl::RuleStatus{201, 60}));

  changed.acls[kKey].rules.at(10).counter.reset();
  changed.acls[kKey].countersIncomplete = true;
  apply(changed);
  EXPECT_THAT(watcher.take(), ElementsAre("countersIncomplete", "counter 10"));
  EXPECT_FALSE(status->ruleStatus().contains(UniqueId(10, 0, 0)));
}

TEST_F(ApplierTest, TimeOfTheSourceStands) {
  Snapshot snapshot = one();
  snapshot.acls[kKey].rules.at(10).counter = RuleCounter{100, 12.5};
  apply(snapshot);
  EXPECT_EQ(aclStatus()->ruleStatus(UniqueId(10, 0, 0)), (Acl::RuleStatus{100, 12.5}));
  snapshot.acls[kKey].rules.at(10).counter = RuleCounter{100, 13.5};
  apply(snapshot);
  EXPECT_EQ(aclStatus()->ruleStatus(UniqueId(10, 0, 0)), (Acl::RuleStatus{100, 13.5}));
}

TEST_F(ApplierTest, RemovedAclGoesWithItsStatus) {
  apply(one());
  Watcher watcher(*config_, *status_, AclType::ipv4);
  apply({});
  EXPECT_THAT(watcher.take(), ElementsAre("config a", "status a"));
  EXPECT_FALSE(acl());
  EXPECT_FALSE(aclStatus());
  apply(one());
  EXPECT_EQ(acl()->subConfig().size(), 1U);
}

TEST_F(ApplierTest, AclOfAnotherTypeIsAnotherAcl) {
  apply(one());
  Snapshot changed;
  changed.acls[{AclType::mac, "a"}];
  apply(std::move(changed));
  EXPECT_FALSE(acl());
  EXPECT_TRUE(config_->typeConfig(AclType::mac)->acl("a"));
  EXPECT_TRUE(status_->status(AclType::mac)->acl("a"));
}

Snapshot many(size_t count, uint32_t proto) {
  Snapshot snapshot;
  for (size_t i = 0; i < count; ++i) {
    snapshot.acls[{AclType::ipv4, "acl" + std::to_string(i)}].rules.emplace(1, ipRule(1, proto));
  }
  return snapshot;
}

TEST_F(ApplierTest, OneAclIsTheSmallestSlice) {
  applier_->backlogQuantumIs(0);
  applier_->snapshotIs(many(3, 6));
  const auto& acls = config_->typeConfig(AclType::ipv4)->acl();
  EXPECT_TRUE(acls.empty());
  for (size_t slice = 1; slice <= 3; ++slice) {
    EXPECT_TRUE(mount_.scheduler->runNext());
    EXPECT_EQ(acls.size(), slice);
    EXPECT_EQ(applier_->backlogSize(), 3 - slice);
  }
  EXPECT_FALSE(mount_.scheduler->runNext());
  EXPECT_EQ(applier_->task()->priority(), 3U);
  EXPECT_EQ(applier_->backlogSize(), 0U);
}

TEST_F(ApplierTest, WithinTheQuantumOneSliceDoesAll) {
  applier_->snapshotIs(many(100, 6));
  EXPECT_TRUE(mount_.scheduler->runNext());
  EXPECT_EQ(applier_->backlogSize(), 0U);
  EXPECT_EQ(config_->typeConfig(AclType::ipv4)->acl().size(), 100U);
}

TEST_F(ApplierTest, LaterSnapshotReplacesTheOneBeingApplied) {
  applier_->backlogQuantumIs(0);
  applier_->snapshotIs(many(4, 6));
  mount_.scheduler->runNext();
  mount_.scheduler->runNext();  // acl0 and acl1 are there
  Snapshot later = many(1, 17);
  later.acls[{AclType::ipv4, "z"}];
  applier_->snapshotIs(std::move(later));
  EXPECT_EQ(applier_->backlogSize(), 3U);
  while (mount_.scheduler->runNext()) {
  }
  const auto typeConfig = config_->typeConfig(AclType::ipv4);
  EXPECT_EQ(typeConfig->acl().size(), 2U);
  EXPECT_EQ(typeConfig->acl("acl0")->currCfg()->ipRuleById(UniqueId(1, 0, 0)).filter.proto, 17U);
  EXPECT_TRUE(typeConfig->acl("z"));
}

TEST_F(ApplierTest, AggregatesWithOtherSources) {
  const auto merged = Qel::make<Acl::Config>("config");
  const auto mergedStatus = Qel::make<Acl::Status>("status");
  const auto configSm = Qel::make<Acl::AclConfigAggregatorSm>(
      mount_.inputDir, Qel::make<Acl::Input::Config>("cli"), merged);
  const auto statusSm = Qel::make<Acl::AclStatusAggregatorSm>(mount_.inputDir, mount_.statusDir,
                                                              merged, mergedStatus);
  apply(one());
  EXPECT_EQ(merged->typeConfig(AclType::ipv4)->acl("a"), acl());
  EXPECT_EQ(mergedStatus->status(AclType::ipv4)->acl("a"), aclStatus());
  applier_ = nullptr;
  EXPECT_FALSE(merged->typeConfig(AclType::ipv4)->acl("a"));
  EXPECT_FALSE(mergedStatus->status(AclType::ipv4)->acl("a"));
}

TEST_F(ApplierTest, SetsChangedCountersAndNothingElse) {
  apply(one());
  Watcher watcher(*config_, *status_, AclType::ipv4);
  clock_.nowIs(60);
  applier_->changesAre({{kKey, {{UniqueId(20, 0, 0), 7}, {UniqueId(99, 0, 0), 1}}},
                        {{AclType::mac, "unknown"}, {{UniqueId(10, 0, 0), 1}}}});
  EXPECT_EQ(applier_->backlogSize(), 2U);
  while (mount_.scheduler->runNext()) {
  }
  EXPECT_EQ(applier_->backlogSize(), 0U);
  EXPECT_THAT(watcher.take(), ElementsAre("counter 20"));
  EXPECT_EQ(*aclStatus()->ruleStatus().find(UniqueId(20, 0, 0)), (Acl::RuleStatus{7, 60}));
  EXPECT_EQ(*aclStatus()->ruleStatus().find(UniqueId(10, 0, 0)), (Acl::RuleStatus{100, 50}));
}

TEST_F(ApplierTest, YieldsBetweenChangedCounters) {
  Snapshot snapshot;
  CounterChanges changes;
  for (uint32_t i = 1; i <= 1000; ++i) {
    RuleSnapshot rule = ipRule(i, 6);
    rule.counter = RuleCounter{0, std::nullopt};
    snapshot.acls[kKey].rules.emplace(i, rule);
    changes[kKey].emplace_back(UniqueId(i, 0, 0), i);
  }
  apply(std::move(snapshot));
  applier_->backlogQuantumIs(0);
  applier_->changesAre(std::move(changes));
  size_t runs = 0;
  while (mount_.scheduler->runNext()) ++runs;
  EXPECT_GT(runs, 10U);
  for (uint32_t i = 1; i <= 1000; ++i) {
    EXPECT_EQ(aclStatus()->ruleStatus().find(UniqueId(i, 0, 0))->pkts, i);
  }
}

TEST_F(ApplierTest, ChangedCountersWaitForTheSnapshotBeforeThemAndGiveWayToTheNext) {
  applier_->snapshotIs(one());
  applier_->changesAre({{kKey, {{UniqueId(10, 0, 0), 101}}}});
  while (mount_.scheduler->runNext()) {
  }
  EXPECT_EQ(aclStatus()->ruleStatus().find(UniqueId(10, 0, 0))->pkts, 101U);
  applier_->changesAre({{kKey, {{UniqueId(10, 0, 0), 102}}}});
  apply(one());
  EXPECT_EQ(aclStatus()->ruleStatus().find(UniqueId(10, 0, 0))->pkts, 100U);
}

}  // namespace
}  // namespace Sources
