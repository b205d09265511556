// What the rule machine says: traces, timed blocks and assertions.

#include "AgentRuleSm.h"

namespace {

using AclSnmp::AclRuleMibSm;
using Fixtures::acl;
using Fixtures::AllTypes;
using Fixtures::idOf;
using Fixtures::kNoType;
using Fixtures::subConfig;
using Fixtures::timedBlocks;
using Fixtures::TypeNames;
using Support::Traced;
using testing::ElementsAre;
using testing::IsEmpty;

template <class T>
class RuleSmSays : public Fixtures::RuleSm<T> {};
TYPED_TEST_SUITE(RuleSmSays, AllTypes, TypeNames);

Traced line(int level, const std::string& text) { return {"AclSnmpSm", level, text}; }

TYPED_TEST(RuleSmSays, DeathTestRowsOfItsAclAtTheStart) {
  const char* text =
      "AclSnmpAgent:[0-9]+: .*AclRuleMibSm::handleInitialized\\(\\).*: Assertion "
      "'iter.key\\(\\).aclName\\(\\) != snmpName' failed";
  this->mib_->template entryIs<typename TypeParam::StatsEntry>({"b", 10}, this->acl_, 1.0);
  EXPECT_DEATH(this->make(), text);
  this->mib_->template entryDelAll<typename TypeParam::StatsEntry>();
  this->mib_->template entryIs<typename TypeParam::RuleEntry>({"b", 99}, this->acl_);
  EXPECT_DEATH(this->make(), text);
}

TEST(RuleSmDeathTest, AnAclOfNoType) {
  const auto mib = AclSnmp::AclMibIs("mib");
  EXPECT_DEATH(Qel::make<AclRuleMibSm>(acl("b", kNoType), mib),
               "AclSnmpAgent:[0-9]+: .*AclRuleMibSm::family\\(\\) const: Assertion "
               "'config\\(\\)->type\\(\\) == Acl::ipv6\\(\\)' failed");
}

TYPED_TEST(RuleSmSays, TellsWhatItDoes) {
  this->addNeighbours();
  Support::TraceCapture traces("AclSnmpSm=8");
  this->make();
  EXPECT_THAT(traces.traced(), ElementsAre(line(8, "AclRuleMibSm::handleInitialized b"),
                                           line(8, "AclRuleMibSm::handleAclCurrCfg b"),
                                           line(7, "handleAclCurrCfg add rule : b : 10"),
                                           line(7, "handleAclCurrCfg add rule : b : 20"),
                                           line(7, "handleAclCurrCfg add rule : b : 15")));
  EXPECT_THAT(traces.sources(), testing::Each("AclSnmpAgent"));
  traces.clear();
  this->acl_->currCfgIs(subConfig({10}, {15}));
  EXPECT_THAT(traces.traced(),
              ElementsAre(line(8, "AclRuleMibSm::handleAclCurrCfg b"),
                          line(7, "handleAclCurrCfg add rule : b : 10"),
                          line(7, "handleAclCurrCfg add rule : b : 15"),
                          line(7,
                               "handleAclCurrCfg delete rule : Value('AclSnmp::"
                               "AclRuleTableIndex', ** {'aclName': 'b', 'seqId': 20})")));
  const auto current = subConfig({10});
  this->acl_->currCfgIs(current);
  traces.clear();
  current->ruleBySequenceIs(4294967295U, idOf(1));
  current->ruleBySequenceDel(10);
  EXPECT_THAT(traces.traced(), ElementsAre(line(8, "AclRuleMibSm::handleAclRuleConfig: 4294967295"),
                                           line(8, "handleAclRuleConfig add rule : b : 4294967295"),
                                           line(8, "AclRuleMibSm::handleAclRuleConfig: 10"),
                                           line(8, "handleAclRuleConfig delete rule : b : 10")));
  traces.clear();
  this->sm_->statusIs(this->status_);
  EXPECT_THAT(traces.traced(), IsEmpty());
  this->sm_->doClose();
  EXPECT_THAT(traces.traced(), ElementsAre(line(8, "AclRuleMibSm::doClose: b")));
}

TYPED_TEST(RuleSmSays, TellsOfRowsThatStayAndOfRowsThatAreNotThere) {
  this->sub_->remarkBySequenceIs(10, {"and a rule"});
  Support::TraceCapture traces("AclSnmpSm=8");
  this->make();
  EXPECT_THAT(traces.traced(), ElementsAre(line(8, "AclRuleMibSm::handleInitialized b"),
                                           line(8, "AclRuleMibSm::handleAclCurrCfg b"),
                                           line(7, "handleAclCurrCfg add rule : b : 10"),
                                           line(7, "handleAclCurrCfg add rule : b : 20"),
                                           line(7, "handleAclCurrCfg add rule : b : 10"),
                                           line(7, "handleAclCurrCfg add rule : b : 15")));
  traces.clear();
  this->sub_->ruleBySequenceIs(10, idOf(11));
  this->sub_->ruleBySequenceNotify(99);
  EXPECT_THAT(traces.traced(), ElementsAre(line(8, "AclRuleMibSm::handleAclRuleConfig: 10"),
                                           line(8, "handleAclRuleConfig add rule : b : 10"),
                                           line(8, "AclRuleMibSm::handleAclRuleConfig: 99"),
                                           line(8, "handleAclRuleConfig delete rule : b : 99")));
}

TYPED_TEST(RuleSmSays, EveryHandlerIsATimedBlock) {
  Velomark::recordsDel();
  this->make();
  this->sub_->ruleBySequenceDel(10);
  this->sm_->statusIs(this->status_);
  this->sm_->statusIs(this->status_);
  this->sm_->statusDel();
  this->sm_->doClose();
  EXPECT_THAT(timedBlocks(),
              ElementsAre("1 void AclSnmp::AclRuleMibSm::handleAclCurrCfg()",
                          "1 void AclSnmp::AclRuleMibSm::handleInitialized()",
                          "1 void AclSnmp::AclRuleMibSm::handleAclRuleConfig(uint32_t)",
                          "1 void AclSnmp::AclRuleMibSm::handleAclStatus()",
                          "1 void AclSnmp::AclRuleMibSm::handleAclStatus()",
                          "1 void AclSnmp::AclRuleMibSm::doClose()"));
  Velomark::recordsDel();
}

}  // namespace
