#include "AgentRuleSm.h"

namespace {

using AclSnmp::AclRuleMibSm;
using Fixtures::acl;
using Fixtures::AllTypes;
using Fixtures::idOf;
using Fixtures::keys;
using Fixtures::Strings;
using Fixtures::subConfig;
using Fixtures::timedBlocks;
using Fixtures::TypeNames;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

template <class T>
class RuleSm : public Fixtures::RuleSm<T> {};
TYPED_TEST_SUITE(RuleSm, AllTypes, TypeNames);

TYPED_TEST(RuleSm, AddsARowForEachRuleAndThenForEachRemark) {
  this->make();
  EXPECT_THAT(this->log_.take(), ElementsAre(this->rule('+', "b 10"), this->stats('+', "b 10"),
                                             this->rule('+', "b 20"), this->stats('+', "b 20"),
                                             this->rule('+', "b 15"), this->stats('+', "b 15")));
  this->expectRows({"b 10", "b 15", "b 20"});
  EXPECT_TRUE(this->sm_->initialized());
  EXPECT_TRUE(this->sm_->hasNotificationActive());
  EXPECT_EQ(this->sm_->config(), this->acl_);
  EXPECT_EQ(this->sm_->aclMib(), this->mib_);
  EXPECT_EQ(this->sm_->currCfg(), this->sub_);
  EXPECT_EQ(this->sm_->status(), nullptr);
  for (const uint32_t seq : {10, 15, 20}) {
    EXPECT_EQ(this->ruleRow(seq)->aclConfig(), this->acl_);
    EXPECT_EQ(this->statsRow(seq)->aclConfig(), this->acl_);
    EXPECT_EQ(this->statsRow(seq)->creationTime(), 100);
    EXPECT_EQ(this->statsRow(seq)->aclStatus(), nullptr);
  }
}

TYPED_TEST(RuleSm, ARuleAndARemarkOfOneNumberShareARow) {
  this->sub_->remarkBySequenceIs(10, {"same number"});
  this->make();
  this->expectRows({"b 10", "b 15", "b 20"});
  EXPECT_EQ(this->ruleRow(10)->remark(), "same number");
  EXPECT_EQ(this->ruleRow(10)->uniqueId(), idOf(10));
}

TYPED_TEST(RuleSm, NeedsItsArguments) {
  EXPECT_THAT([&] { Qel::make<AclRuleMibSm>(nullptr, this->mib_); },
              ThrowsMessage<Qel::RangeException>("null ValidPtr"));
  EXPECT_THAT([&] { Qel::make<AclRuleMibSm>(this->acl_, nullptr); },
              ThrowsMessage<Qel::RangeException>("null ValidPtr"));
}

TYPED_TEST(RuleSm, HasNoRowsWithoutASubConfiguration) {
  this->acl_->currCfgIs(nullptr);
  this->make();
  this->expectRows({});
  this->acl_->currCfgIs(this->sub_);
  this->expectRows({"b 10", "b 15", "b 20"});
  this->acl_->currCfgIs(nullptr);
  this->expectRows({});
  EXPECT_EQ(this->sm_->currCfg(), nullptr);
  EXPECT_EQ(this->sub_->notifieeList().size(), 0U);
}

TYPED_TEST(RuleSm, ANewSubConfigurationAddsBeforeItDeletesAndKeepsWhatStays) {
  this->make();
  const auto kept = this->ruleRow(10);
  const auto keptStats = this->statsRow(15);
  this->log_.take();
  this->clock_.nowIs(200);
  this->acl_->currCfgIs(subConfig({10, 30, 5}, {15}));
  EXPECT_THAT(this->log_.take(), ElementsAre(this->rule('+', "b 5"), this->stats('+', "b 5"),
                                             this->rule('+', "b 30"), this->stats('+', "b 30"),
                                             this->rule('-', "b 20"), this->stats('-', "b 20")));
  this->expectRows({"b 5", "b 10", "b 15", "b 30"});
  EXPECT_EQ(this->ruleRow(10), kept);
  EXPECT_EQ(this->statsRow(15), keptStats);
  EXPECT_EQ(this->statsRow(10)->creationTime(), 100);
  EXPECT_EQ(this->statsRow(15)->creationTime(), 100);
  EXPECT_EQ(this->statsRow(5)->creationTime(), 200);
  EXPECT_EQ(this->statsRow(30)->creationTime(), 200);
}

TYPED_TEST(RuleSm, AResynchronisationDeletesEachStatisticsRowRightAfterItsRuleRow) {
  this->make();
  this->log_.take();
  this->acl_->currCfgIs(nullptr);
  EXPECT_THAT(this->log_.take(), ElementsAre(this->rule('-', "b 10"), this->stats('-', "b 10"),
                                             this->rule('-', "b 15"), this->stats('-', "b 15"),
                                             this->rule('-', "b 20"), this->stats('-', "b 20")));
}

TYPED_TEST(RuleSm, AllRowsOfOneResynchronisationHaveOneCreationTime) {
  this->log_.action = [this](const std::string&) { this->clock_.advance(1); };
  this->make();
  for (const uint32_t seq : {10, 15, 20}) EXPECT_EQ(this->statsRow(seq)->creationTime(), 100);
}

TYPED_TEST(RuleSm, AResynchronisationLeavesTheRowsOfOtherAclsAlone) {
  this->addNeighbours();
  this->make();
  this->expectRows({"a 10", "b 10", "b 15", "b 20", "c 10", "bb 10"});
  this->acl_->currCfgIs(nullptr);
  this->expectRows({"a 10", "c 10", "bb 10"});
}

TYPED_TEST(RuleSm, ARuleOrRemarkThatComesGetsItsRows) {
  this->make();
  this->log_.take();
  this->sm_->statusIs(this->status_);
  this->clock_.nowIs(300);
  this->sub_->ruleBySequenceIs(30, idOf(30));
  EXPECT_THAT(this->log_.take(), ElementsAre(this->rule('+', "b 30"), this->stats('+', "b 30")));
  this->clock_.nowIs(301);
  this->sub_->remarkBySequenceIs(4294967295U, {"last"});
  EXPECT_THAT(this->log_.take(),
              ElementsAre(this->rule('+', "b 4294967295"), this->stats('+', "b 4294967295")));
  EXPECT_EQ(this->statsRow(30)->creationTime(), 300);
  EXPECT_EQ(this->statsRow(4294967295U)->creationTime(), 301);
  EXPECT_EQ(this->statsRow(30)->aclStatus(), this->status_);
}

TYPED_TEST(RuleSm, AChangedRuleKeepsItsRows) {
  this->make();
  const auto row = this->ruleRow(10);
  const auto stats = this->statsRow(10);
  this->log_.take();
  this->clock_.nowIs(300);
  this->sub_->ruleBySequenceIs(10, idOf(11));
  this->sub_->remarkBySequenceIs(10, {"and a remark"});
  EXPECT_THAT(this->log_.take(), IsEmpty());
  EXPECT_EQ(this->ruleRow(10), row);
  EXPECT_EQ(this->statsRow(10), stats);
  EXPECT_EQ(stats->creationTime(), 100);
  EXPECT_EQ(row->uniqueId(), idOf(11));
}

TYPED_TEST(RuleSm, ARuleRowThatIsThereIsNotGivenANewStatisticsRow) {
  this->make();
  this->mib_->template entryDel<typename TypeParam::StatsEntry>({"b", 10});
  this->sub_->ruleBySequenceIs(10, idOf(11));
  this->acl_->currCfgIs(subConfig({10}));
  EXPECT_EQ(keys<typename TypeParam::RuleEntry>(*this->mib_), Strings{"b 10"});
  EXPECT_EQ(keys<typename TypeParam::StatsEntry>(*this->mib_), Strings{});
}

TYPED_TEST(RuleSm, AChangeMeetsAStatisticsRowWithoutItsRuleRow) {
  this->make();
  this->sm_->statusIs(this->status_);
  const auto stats = this->statsRow(10);
  stats->aclStatusIs(nullptr);
  this->mib_->template entryDel<typename TypeParam::RuleEntry>({"b", 10});
  // A rule that comes at the time of the row that stayed takes it over ...
  this->log_.take();
  this->sub_->ruleBySequenceNotify(10);
  EXPECT_THAT(this->log_.take(), ElementsAre(this->rule('+', "b 10")));
  EXPECT_EQ(this->statsRow(10), stats);
  EXPECT_EQ(stats->aclStatus(), this->status_);
  // ... and at another time meets a row of other values.
  this->mib_->template entryDel<typename TypeParam::RuleEntry>({"b", 10});
  this->clock_.nowIs(200);
  EXPECT_THROW(this->sub_->ruleBySequenceNotify(10), Qel::NameInUseException);
  EXPECT_TRUE(this->ruleRow(10));
  // A rule that goes takes the row along.
  this->mib_->template entryDel<typename TypeParam::RuleEntry>({"b", 10});
  this->log_.take();
  this->sub_->ruleBySequenceDel(10);
  EXPECT_THAT(this->log_.take(), ElementsAre(this->stats('-', "b 10")));
}

TYPED_TEST(RuleSm, RowsGoWithTheLastOfRuleAndRemark) {
  this->sub_->remarkBySequenceIs(10, {"both"});
  this->make();
  this->log_.take();
  this->sub_->ruleBySequenceDel(10);
  EXPECT_THAT(this->log_.take(), IsEmpty());
  this->sub_->remarkBySequenceDel(10);
  EXPECT_THAT(this->log_.take(), ElementsAre(this->rule('-', "b 10"), this->stats('-', "b 10")));
  this->sub_->ruleBySequenceNotify(10);  // nothing left to delete
  EXPECT_THAT(this->log_.take(), IsEmpty());
  this->sub_->remarkBySequenceDel(15);
  this->sub_->ruleBySequenceDel(20);
  this->expectRows({});
}

TYPED_TEST(RuleSm, FollowsTheCurrentSubConfigurationOnly) {
  this->make();
  this->acl_->currCfgIs(subConfig({10}));
  this->sub_->ruleBySequenceIs(40, idOf(40));
  this->sub_->ruleBySequenceDel(10);
  this->expectRows({"b 10"});
  EXPECT_EQ(this->sub_->notifieeList().size(), 0U);
}

TYPED_TEST(RuleSm, HandsTheStatusToItsStatisticsRowsOnly) {
  this->addNeighbours();
  this->make();
  this->log_.take();
  this->sm_->statusIs(this->status_);
  EXPECT_EQ(this->sm_->status(), this->status_);
  EXPECT_EQ(this->status_->notifieeList().size(), 1U);
  for (const uint32_t seq : {10, 15, 20}) {
    EXPECT_EQ(this->statsRow(seq)->aclStatus(), this->status_);
  }
  for (const char* name : {"a", "c", "bb"}) {
    EXPECT_EQ(this->statsRow(10, name)->aclStatus(), nullptr);
  }
  this->sm_->statusIs(nullptr);
  EXPECT_EQ(this->sm_->status(), nullptr);
  EXPECT_EQ(this->status_->notifieeList().size(), 0U);
  EXPECT_EQ(this->statsRow(15)->aclStatus(), nullptr);
  this->sm_->statusIs(this->status_);
  this->sm_->statusDel();
  EXPECT_EQ(this->sm_->status(), nullptr);
  EXPECT_EQ(this->status_->notifieeList().size(), 0U);
  EXPECT_THAT(this->log_.take(), IsEmpty());
  EXPECT_EQ(keys<typename TypeParam::StatsEntry>(*this->mib_).size(), 6U);
}

TYPED_TEST(RuleSm, AStatisticsRowWithoutARuleRowGetsTheStatusToo) {
  this->make();
  this->mib_->template entryDel<typename TypeParam::RuleEntry>({"b", 15});
  this->sm_->statusIs(this->status_);
  EXPECT_EQ(this->statsRow(15)->aclStatus(), this->status_);
  this->sm_->statusDel();
  EXPECT_EQ(this->statsRow(15)->aclStatus(), nullptr);
}

TYPED_TEST(RuleSm, TheStatusThatItHasIsNotHandedOutAgain) {
  this->make();
  this->sm_->statusIs(this->status_);
  this->statsRow(10)->aclStatusIs(nullptr);
  this->sm_->statusIs(this->status_);
  EXPECT_EQ(this->statsRow(10)->aclStatus(), nullptr);
  this->sm_->statusDel();
  this->statsRow(10)->aclStatusIs(this->status_);
  this->sm_->statusIs(nullptr);
  EXPECT_EQ(this->statsRow(10)->aclStatus(), this->status_);
  this->sm_->statusDel();  // always hands out null
  EXPECT_EQ(this->statsRow(10)->aclStatus(), nullptr);
}

TYPED_TEST(RuleSm, ChangesOfTheStatusItselfAreReadLive) {
  this->make();
  this->sm_->statusIs(this->status_);
  Velomark::recordsDel();
  this->status_->ruleStatusIs(idOf(10), {3, 400});
  this->status_->countersIncompleteIs(true);
  EXPECT_THAT(timedBlocks(), IsEmpty());
  EXPECT_EQ(this->statsRow(10)->pkts(), 3U);
}

TYPED_TEST(RuleSm, ClosingDeletesItsRuleRowsAndThenItsStatisticsRows) {
  this->addNeighbours();
  this->make();
  const auto held = this->ruleRow(10);
  const auto heldStats = this->statsRow(10);
  this->log_.take();
  this->sm_->doClose();
  EXPECT_THAT(this->log_.take(), ElementsAre(this->rule('-', "b 10"), this->rule('-', "b 15"),
                                             this->rule('-', "b 20"), this->stats('-', "b 10"),
                                             this->stats('-', "b 15"), this->stats('-', "b 20")));
  this->expectRows({"a 10", "c 10", "bb 10"});
  EXPECT_EQ(held->uniqueId(), idOf(10));
  EXPECT_EQ(heldStats->lastUpdateTime(), 100);
}

TYPED_TEST(RuleSm, ClosingDeletesAStatisticsRowWithoutARuleRow) {
  this->make();
  this->mib_->template entryDel<typename TypeParam::RuleEntry>({"b", 15});
  this->sm_->doClose();
  this->expectRows({});
}

TYPED_TEST(RuleSm, WalksGoOnWhenAnObserverDeletesOtherRows) {
  using RuleEntry = typename TypeParam::RuleEntry;
  using StatsEntry = typename TypeParam::StatsEntry;
  for (const bool close : {true, false}) {
    this->acl_->currCfgIs(this->sub_);
    this->make();
    this->log_.action = [&](const std::string& line) {
      if (line != this->rule('-', "b 10")) return;
      this->mib_->template entryDel<RuleEntry>({"b", 15});
      this->mib_->template entryDel<StatsEntry>({"b", 10});
    };
    if (close) {
      this->sm_->doClose();
    } else {
      this->acl_->currCfgIs(nullptr);
    }
    EXPECT_THAT(keys<RuleEntry>(*this->mib_), IsEmpty());
    // The resynchronisation deletes a statistics row with its rule row only.
    EXPECT_EQ(keys<StatsEntry>(*this->mib_), close ? Strings{} : Strings{"b 15"});
    this->mib_->template entryDelAll<StatsEntry>();
    this->log_.action = {};
    this->sm_ = nullptr;
  }
}

TYPED_TEST(RuleSm, AnObserverMayEditTheSubConfigurationDuringAResynchronisation) {
  this->log_.action = [this](const std::string& line) {
    if (line == this->rule('+', "b 10")) this->sub_->ruleBySequenceIs(12, idOf(12));
    if (line == this->stats('+', "b 12")) this->sub_->ruleBySequenceDel(20);
  };
  this->make();
  this->expectRows({"b 10", "b 12", "b 15"});
}

TYPED_TEST(RuleSm, ReactsOnlyWhileNotificationsAreOn) {
  this->make();
  this->sm_->hasNotificationActiveIs(false);
  EXPECT_FALSE(this->sm_->hasNotificationActive());
  this->sub_->ruleBySequenceIs(30, idOf(30));
  this->sub_->remarkBySequenceDel(15);
  this->acl_->currCfgIs(nullptr);
  this->expectRows({"b 10", "b 15", "b 20"});
  this->sm_->hasNotificationActiveIs(true);
  this->acl_->currCfgIs(subConfig({30}));
  this->expectRows({"b 30"});
}

TYPED_TEST(RuleSm, PointingItElsewhereRunsNoHandler) {
  this->make();
  this->log_.take();
  Velomark::recordsDel();
  const auto otherSub = subConfig({99});
  const auto otherAcl = acl("b", TypeParam::kType, otherSub);
  this->sm_->currCfgIs(otherSub);
  EXPECT_EQ(this->sm_->currCfg(), otherSub);
  this->sm_->currCfgDel();
  EXPECT_EQ(this->sm_->currCfg(), nullptr);
  this->sm_->configDel();
  this->acl_->currCfgIs(nullptr);
  this->sm_->configIs(otherAcl);
  EXPECT_EQ(this->sm_->config(), otherAcl);
  EXPECT_THAT(this->log_.take(), IsEmpty());
  EXPECT_THAT(timedBlocks(), IsEmpty());
  otherAcl->currCfgIs(subConfig({98}));
  this->expectRows({"b 98"});
}

TYPED_TEST(RuleSm, ItsRowsAreThoseOfTheNameOfItsConfiguration) {
  this->make();
  const auto other = acl("c", TypeParam::kType, subConfig({10}));
  this->sm_->configIs(other);
  this->log_.take();
  Support::TraceCapture traces("AclSnmpSm=8");
  other->currCfgIs(subConfig({30}));
  EXPECT_THAT(traces.messages(), ElementsAre("AclRuleMibSm::handleAclCurrCfg c",
                                             "handleAclCurrCfg add rule : c : 30"));
  EXPECT_THAT(this->log_.take(), ElementsAre(this->rule('+', "c 30"), this->stats('+', "c 30")));
  EXPECT_EQ(this->statsRow(30, "c")->aclConfig(), other);
  this->sm_->statusIs(this->status_);
  EXPECT_EQ(this->statsRow(30, "c")->aclStatus(), this->status_);
  EXPECT_EQ(this->statsRow(10)->aclStatus(), nullptr);
  this->sm_->doClose();
  this->expectRows({"b 10", "b 15", "b 20"});
}

TYPED_TEST(RuleSm, WithoutAConfigurationItAddsNothingAndLeavesNothing) {
  for (const bool del : {false, true}) {
    this->make();
    if (del) {
      this->sm_->configDel();
    } else {
      this->sm_->configIs(nullptr);
    }
    EXPECT_EQ(this->sm_->config(), nullptr);
    EXPECT_EQ(this->acl_->notifieeList().size(), 0U);
    this->sub_->ruleBySequenceIs(30, idOf(30));
    this->sm_->statusIs(this->status_);
    EXPECT_EQ(this->statsRow(15)->aclStatus(), this->status_);
    this->expectRows({"b 10", "b 15", "b 20"});
    this->sub_->remarkBySequenceDel(15);
    this->expectRows({"b 10", "b 20"});
    this->sm_->configIs(this->acl_);
    this->sub_->remarkBySequenceIs(15, {"again"});
    this->sub_->ruleBySequenceDel(30);
    this->expectRows({"b 10", "b 15", "b 20"});
    this->sm_->configIs(nullptr);
    this->sm_->doClose();
    this->expectRows({});
    this->sm_ = nullptr;
  }
}

TYPED_TEST(RuleSm, ItsEndLeavesTheRowsAndLetsEverythingGo) {
  this->make();
  this->sm_->statusIs(this->status_);
  this->log_.take();
  this->sm_ = nullptr;
  this->expectRows({"b 10", "b 15", "b 20"});
  EXPECT_THAT(this->log_.take(), IsEmpty());
  EXPECT_EQ(this->acl_->notifieeList().size(), 0U);
  EXPECT_EQ(this->sub_->notifieeList().size(), 0U);
  EXPECT_EQ(this->status_->notifieeList().size(), 0U);
  EXPECT_EQ(this->statsRow(10)->aclStatus(), this->status_);
  this->sub_->ruleBySequenceDel(10);
  this->acl_->currCfgIs(nullptr);
  this->expectRows({"b 10", "b 15", "b 20"});
}

}  // namespace
