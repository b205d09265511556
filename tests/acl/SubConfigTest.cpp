#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "acl/Config.h"
#include "acl/Status.h"

namespace {

using Acl::AclConfig;
using Acl::AclStatus;
using Acl::AclSubConfig;
using Acl::AclType;
using Acl::UniqueId;
using Qel::Ptr;
using testing::ElementsAre;
using testing::IsEmpty;
using Log = std::vector<std::string>;

class SubConfigWatcher final : public AclSubConfig::NotifieeConst {
 public:
  explicit SubConfigWatcher(const Ptr<const AclSubConfig>& config) { notifierIs(config); }
  using NotifieeConst::onIp6RuleById;
  using NotifieeConst::onIpRuleById;
  using NotifieeConst::onMacRuleById;
  using NotifieeConst::onRemarkBySequence;
  using NotifieeConst::onRuleBySequence;
  void onReadonly() override { log.emplace_back("readonly"); }
  void onCommitted() override { log.emplace_back("committed"); }
  void onCountersEnabled() override { log.emplace_back("countersEnabled"); }
  void onFragmentsEnabled() override { log.emplace_back("fragmentsEnabled"); }
  void onRuleBySequence(uint32_t seq) override { log.push_back("rule " + std::to_string(seq)); }
  void onRemarkBySequence(uint32_t seq) override { log.push_back("remark " + std::to_string(seq)); }
  void onIpRuleById(UniqueId id) override { log.push_back("ip " + std::to_string(id.number())); }
  void onIp6RuleById(UniqueId id) override { log.push_back("ip6 " + std::to_string(id.number())); }
  void onMacRuleById(UniqueId id) override { log.push_back("mac " + std::to_string(id.number())); }
  Log log;
};

class SubConfig : public testing::Test {
 protected:
  Log taken() { return std::exchange(watcher_.log, {}); }

  Ptr<AclSubConfig> config_ = Qel::make<AclSubConfig>("v1");
  SubConfigWatcher watcher_{config_};
};

TEST_F(SubConfig, StartsEmptyAndOff) {
  EXPECT_FALSE(config_->readonly());
  EXPECT_FALSE(config_->committed());
  EXPECT_FALSE(config_->countersEnabled());
  EXPECT_FALSE(config_->fragmentsEnabled());
  EXPECT_TRUE(config_->ruleBySequence().empty());
  EXPECT_EQ(config_->fwkType(), "Acl::AclSubConfig");
}

TEST_F(SubConfig, AbsentKeysReadAsNothing) {
  EXPECT_EQ(config_->ruleBySequence(10), UniqueId::invalid());
  EXPECT_EQ(config_->ipRuleById(UniqueId(1, 0, 0)), Acl::IpRuleConfig());
  EXPECT_EQ(config_->ip6RuleById(UniqueId(1, 0, 0)), Acl::Ip6RuleConfig());
  EXPECT_EQ(config_->macRuleById(UniqueId(1, 0, 0)), Acl::MacRuleConfig());
  EXPECT_EQ(config_->remarkBySequence(10), Acl::RemarkConfig());
}

TEST_F(SubConfig, EveryFlagNotifiesAfterAChangeOnly) {
  struct Case {
    void (AclSubConfig::*set)(const bool&);
    const char* callback;
  };
  for (const Case& c : {Case{&AclSubConfig::readonlyIs, "readonly"},
                        {&AclSubConfig::committedIs, "committed"},
                        {&AclSubConfig::countersEnabledIs, "countersEnabled"},
                        {&AclSubConfig::fragmentsEnabledIs, "fragmentsEnabled"}}) {
    for (const bool value : {false, true, true, false}) ((*config_).*c.set)(value);
    EXPECT_THAT(taken(), ElementsAre(c.callback, c.callback));
  }
}

TEST_F(SubConfig, RulesBySequenceNotifyAfterAChangeOnly) {
  const UniqueId one(1, 0, 0);
  const UniqueId two(2, 0, 0);
  config_->ruleBySequenceIs(10, one);
  config_->ruleBySequenceIs(10, one);
  config_->ruleBySequenceIs(10, two);
  config_->ruleBySequenceIs(20, one);
  EXPECT_THAT(taken(), ElementsAre("rule 10", "rule 10", "rule 20"));
  EXPECT_EQ(config_->ruleBySequence(10), two);
  EXPECT_TRUE(config_->ruleBySequenceDel(10));
  EXPECT_FALSE(config_->ruleBySequenceDel(10));
  EXPECT_THAT(taken(), ElementsAre("rule 10"));
}

TEST_F(SubConfig, RulesByIdentityNotifyForTheirOwnTypeOnly) {
  const UniqueId id(7, 0, 0);
  Acl::IpRuleConfig ip;
  Acl::Ip6RuleConfig ip6;
  Acl::MacRuleConfig mac;
  config_->ipRuleByIdIs(id, ip);
  config_->ip6RuleByIdIs(id, ip6);
  config_->macRuleByIdIs(id, mac);
  config_->ipRuleByIdIs(id, ip);
  EXPECT_THAT(taken(), ElementsAre("ip 7", "ip6 7", "mac 7"));
  ip.action = Acl::Action::deny;
  config_->ipRuleByIdIs(id, ip);
  EXPECT_EQ(config_->ipRuleById(id).action, Acl::Action::deny);
  EXPECT_THAT(taken(), ElementsAre("ip 7"));
  config_->ip6RuleByIdDel(id);
  config_->ip6RuleByIdDel(id);
  config_->macRuleByIdDelAll();
  EXPECT_THAT(taken(), ElementsAre("ip6 7", "mac 7"));
}

TEST_F(SubConfig, DelAllGoesInSequenceOrder) {
  for (const uint32_t seq : {30U, 4294967295U, 10U, 0U}) {
    config_->ruleBySequenceIs(seq, UniqueId(seq, 0, 0));
    config_->remarkBySequenceIs(seq, {"text"});
  }
  taken();
  config_->ruleBySequenceDelAll();
  EXPECT_THAT(taken(), ElementsAre("rule 0", "rule 10", "rule 30", "rule 4294967295"));
  config_->remarkBySequenceDelAll();
  EXPECT_THAT(taken(), ElementsAre("remark 0", "remark 10", "remark 30", "remark 4294967295"));
}

TEST_F(SubConfig, ARemarkNotifiesWhenItsTextChanges) {
  config_->remarkBySequenceIs(5, {"one"});
  config_->remarkBySequenceIs(5, {"one"});
  config_->remarkBySequenceIs(5, {"two"});
  EXPECT_EQ(config_->remarkBySequence(5).text, "two");
  EXPECT_THAT(taken(), ElementsAre("remark 5", "remark 5"));
}

class AclWatcher final : public AclConfig::NotifieeConst {
 public:
  explicit AclWatcher(const Ptr<const AclConfig>& acl) { notifierIs(acl); }
  using NotifieeConst::onSubConfig;
  void onReadonly() override { log.emplace_back("readonly"); }
  void onCurrCfg() override { log.emplace_back("currCfg"); }
  void onSubConfig(UniqueId id) override { log.push_back("sub " + std::to_string(id.number())); }
  void onCounterUpdateRequestTime() override { log.emplace_back("requestTime"); }
  void onDynamic() override { log.emplace_back("dynamic"); }
  Log log;
};

TEST(AclConfig, NotifiesAfterAChangeOnly) {
  const auto acl = Qel::make<AclConfig>("a", AclType::mac);
  EXPECT_EQ(acl->type(), AclType::mac);
  EXPECT_EQ(acl->currCfg(), nullptr);
  AclWatcher watcher(acl);
  const auto first = Qel::make<AclSubConfig>();
  const UniqueId id(1, 0, 0);
  for (int twice = 0; twice < 2; ++twice) {
    acl->readonlyIs(true);
    acl->currCfgIs(first);
    acl->subConfigIs(id, first);
    acl->counterUpdateRequestTimeIs(1.5);
    acl->dynamicIs(true);
  }
  EXPECT_THAT(watcher.log, ElementsAre("readonly", "currCfg", "sub 1", "requestTime", "dynamic"));
  watcher.log.clear();
  EXPECT_EQ(acl->subConfig(id), first);
  EXPECT_EQ(acl->subConfig(UniqueId()), nullptr);
  acl->currCfgIs(Qel::make<AclSubConfig>());
  acl->currCfgIs(nullptr);
  acl->subConfigDel(id);
  EXPECT_THAT(watcher.log, ElementsAre("currCfg", "currCfg", "sub 1"));
}

class StatusWatcher final : public AclStatus::NotifieeConst {
 public:
  explicit StatusWatcher(const Ptr<const AclStatus>& status) { notifierIs(status); }
  using NotifieeConst::onConnRuleStatus;
  using NotifieeConst::onRuleStatus;
  void onRuleStatus(UniqueId id) override { log.push_back("rule " + std::to_string(id.number())); }
  void onConnRuleStatus(UniqueId id) override {
    log.push_back("conn " + std::to_string(id.number()));
  }
  void onCounterUpdateTime() override { log.emplace_back("updateTime"); }
  void onVersion() override { log.emplace_back("version"); }
  void onCountersIncomplete() override { log.emplace_back("incomplete"); }
  void onNoRuleMatches() override { log.emplace_back("noRule"); }
  void onNoConnRuleMatches() override { log.emplace_back("noConnRule"); }
  Log log;
};

TEST(AclStatus, NotifiesAfterAChangeOnly) {
  const auto status = Qel::make<AclStatus>("a");
  StatusWatcher watcher(status);
  const UniqueId id(3, 0, 0);
  EXPECT_EQ(status->ruleStatus(id), Acl::RuleStatus());
  for (int twice = 0; twice < 2; ++twice) {
    status->ruleStatusIs(id, {5, 1.5});
    status->connRuleStatusIs(id, {6, 2.5});
    status->counterUpdateTimeIs(2);
    status->versionIs(1);
    status->countersIncompleteIs(true);
    status->noRuleMatchesIs(7);
    status->noConnRuleMatchesIs(8);
  }
  EXPECT_THAT(watcher.log, ElementsAre("rule 3", "conn 3", "updateTime", "version", "incomplete",
                                       "noRule", "noConnRule"));
  watcher.log.clear();
  EXPECT_EQ(status->ruleStatus(id).pkts, 5U);
  EXPECT_EQ(status->connRuleStatus(id).lastUpdateTime, 2.5);
  status->ruleStatusIs(id, {5, 1.75});
  status->ruleStatusDel(id);
  status->ruleStatusDel(id);
  EXPECT_THAT(watcher.log, ElementsAre("rule 3", "rule 3"));
}

TEST(AclStatus, AnIdentityThatIsNotCountedReadsNoPacketsAtTimeZero) {
  const auto status = Qel::make<AclStatus>("a");
  const UniqueId counted(3, 0, 0);
  status->ruleStatusIs(counted, {5, 1.5});
  status->connRuleStatusIs(counted, {6, 2.5});
  for (const Acl::RuleStatus& absent :
       {status->ruleStatus(UniqueId(4, 0, 0)), status->connRuleStatus(UniqueId(4, 0, 0))}) {
    EXPECT_EQ(absent.pkts, 0U);
    EXPECT_EQ(absent.lastUpdateTime, 0.0);
  }
  // Asking makes no entry.
  EXPECT_EQ(status->ruleStatus().size(), 1U);
  EXPECT_EQ(status->connRuleStatus().size(), 1U);
}

}  // namespace
