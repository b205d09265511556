// What comes before what: each trace before the step that it tells of and before the assertion that
// ends it, and the look-ups before the changes.

#include "Fixtures.h"
#include "agent/AclMibSm.h"

namespace {

using AclSnmp::AclMibSm;
using AclSnmp::AclRuleMibSm;
using AclSnmp::AclSnmpTypeConfig;
using AclSnmp::AclSnmpTypeStatus;
using AclSnmp::AclTypeMibSm;
using Fixtures::acl;
using Fixtures::AclMib;
using Fixtures::AllTypes;
using Fixtures::idOf;
using Fixtures::keys;
using Fixtures::kNoType;
using Fixtures::MibLog;
using Fixtures::Ptr;
using Fixtures::Strings;
using Fixtures::subConfig;
using Fixtures::TypeNames;
using testing::ElementsAre;

/// Acts with the traces on standard error, where a death test reads them.
void aloud(const std::function<void()>& act) {
  Qel::traceSettingsIs("AclSnmpSm=8");
  act();
}

template <class T>
class Order : public testing::Test {
 protected:
  /// The rows as "acl/rule/statistics".
  std::string rows() const {
    return std::to_string(mib_->template entries<typename T::AclEntry>().size()) + "/" +
           std::to_string(mib_->template entries<typename T::RuleEntry>().size()) + "/" +
           std::to_string(mib_->template entries<typename T::StatsEntry>().size());
  }
  /// Writes down each trace with the rows at that moment.
  void watch(Support::TraceCapture& traces) {
    traces.action = [this](const std::string& message) {
      told_.push_back(message + " @" + rows());
      if (then) then(message);
    };
  }
  Strings told() { return std::exchange(told_, {}); }
  void makeTypeSm() { typeSm_ = Qel::make<AclTypeMibSm>(configs_, statuses_, mib_); }

  Qel::ManualClock clock_{100};
  Ptr<AclMib> mib_ = AclSnmp::AclMibIs("mib");
  Ptr<Acl::AclSubConfig> sub_ = subConfig({10});
  Ptr<Acl::AclConfig> acl_ = acl("a", T::kType, sub_);
  Ptr<AclSnmpTypeConfig> configs_ = Qel::make<AclSnmpTypeConfig>("config", T::kType);
  Ptr<AclSnmpTypeStatus> statuses_ = Qel::make<AclSnmpTypeStatus>("status", T::kType);
  Ptr<AclTypeMibSm> typeSm_;
  std::function<void(const std::string&)> then;

 private:
  Strings told_;
};
TYPED_TEST_SUITE(Order, AllTypes, TypeNames);

TYPED_TEST(Order, EveryTraceComesBeforeTheRowsChange) {
  Support::TraceCapture traces("AclSnmpSm=8");
  this->watch(traces);
  this->configs_->aclIs(this->acl_);
  this->makeTypeSm();
  EXPECT_THAT(this->told(), ElementsAre("AclTypeMibSm::handleInitialized @0/0/0",
                                        "AclTypeMibSm::handleAclConfig a @0/0/0",
                                        "handleIpAclConfig add : a @0/0/0",
                                        "AclRuleMibSm::handleInitialized a @1/0/0",
                                        "AclRuleMibSm::handleAclCurrCfg a @1/0/0",
                                        "handleAclCurrCfg add rule : a : 10 @1/0/0"));
  this->sub_->ruleBySequenceIs(20, idOf(20));
  this->sub_->ruleBySequenceDel(20);
  EXPECT_THAT(this->told(), ElementsAre("AclRuleMibSm::handleAclRuleConfig: 20 @1/1/1",
                                        "handleAclRuleConfig add rule : a : 20 @1/1/1",
                                        "AclRuleMibSm::handleAclRuleConfig: 20 @1/2/2",
                                        "handleAclRuleConfig delete rule : a : 20 @1/2/2"));
  this->acl_->currCfgIs(subConfig({30}));
  EXPECT_THAT(this->told(),
              ElementsAre("AclRuleMibSm::handleAclCurrCfg a @1/1/1",
                          "handleAclCurrCfg add rule : a : 30 @1/1/1",
                          "handleAclCurrCfg delete rule : Value('AclSnmp::AclRuleTableIndex', ** "
                          "{'aclName': 'a', 'seqId': 10}) @1/2/2"));
  this->configs_->aclDel("a");
  EXPECT_THAT(this->told(),
              ElementsAre("AclTypeMibSm::handleAclConfig a @1/1/1",
                          "handleIpAclConfig del : a @1/1/1", "AclRuleMibSm::doClose: a @0/1/1"));
}

TYPED_TEST(Order, AStatusIsToldBeforeItIsHandedOn) {
  this->configs_->aclIs(this->acl_);
  this->makeTypeSm();
  Support::TraceCapture traces("AclSnmpSm=8");
  std::vector<bool> handedOn;
  traces.action = [&](const std::string&) {
    handedOn.push_back(static_cast<bool>(
        this->mib_->template entry<typename TypeParam::AclEntry>("a")->aclStatus()));
  };
  this->statuses_->aclIs(Qel::make<Acl::AclStatus>("a"));
  EXPECT_THAT(traces.messages(),
              ElementsAre("AclTypeMibSm::handleAclStatus a", "handleAclStatus update : a"));
  EXPECT_THAT(handedOn, ElementsAre(false, false));
}

TYPED_TEST(Order, InitializationIsToldBeforeItIsNoted) {
  const auto config = Qel::make<Acl::Config>("config");
  const auto status = Qel::make<Acl::Status>("status");
  Support::TraceCapture traces("AclSnmpSm=8");
  Strings order;
  MibLog log(this->mib_);
  log.action = [&](const std::string& line) { order.push_back(line); };
  traces.action = [&](const std::string& message) { order.push_back(message); };
  const auto sm = Qel::make<AclMibSm>(Qel::make<Mek::TaskScheduler>(), config, status, this->mib_);
  EXPECT_THAT(order, ElementsAre("AclMibSm::handleInitialized", "aclStatus"));
  traces.action = [&](const std::string& message) {
    if (message.starts_with("AclMibSm::handleAclTypeStatus")) {
      EXPECT_EQ(sm->codefedAclSnmpTypeConfig(TypeParam::kType), nullptr);
    }
  };
  status->statusIs(TypeParam::kType);
  EXPECT_TRUE(sm->codefedAclSnmpTypeConfig(TypeParam::kType));
}

TYPED_TEST(Order, BothMirrorsAreLookedUpAfterTheFirstTraceAndBeforeTheSecond) {
  // Changed behind the machine's back at the first trace, it counts; at the second it is too late.
  for (const char* at : {"AclTypeMibSm::handleAclConfig a", "handleIpAclConfig add : a"}) {
    SCOPED_TRACE(at);
    this->mib_ = AclSnmp::AclMibIs("mib");
    this->configs_ = Qel::make<AclSnmpTypeConfig>("config", TypeParam::kType);
    this->statuses_ = Qel::make<AclSnmpTypeStatus>("status", TypeParam::kType);
    this->makeTypeSm();
    const auto late = acl("a", TypeParam::kType);
    const auto status = Qel::make<Acl::AclStatus>("a");
    Support::TraceCapture traces("AclSnmpSm=8");
    traces.action = [&](const std::string& message) {
      if (message != at) return;
      this->configs_->newAcl(late);
      this->statuses_->newAcl(status);
    };
    this->configs_->aclIs(this->acl_);
    const bool counts = std::string(at).starts_with("AclTypeMibSm");
    const auto row = this->mib_->template entry<typename TypeParam::AclEntry>("a");
    EXPECT_EQ(row->aclConfig(), counts ? late : this->acl_);
    EXPECT_EQ(static_cast<bool>(row->aclStatus()), counts);
    EXPECT_EQ(static_cast<bool>(this->typeSm_->aclRuleSm("a")->status()), counts);
  }
}

TYPED_TEST(Order, TheStatusIsLookedUpBeforeTheRowOfTheAclIsMade) {
  this->makeTypeSm();
  MibLog log(this->mib_);
  log.action = [&](const std::string& line) {
    if (line == "+" + std::string(TypeParam::kTable) + "Table a") {
      this->statuses_->newAcl(Qel::make<Acl::AclStatus>("a"));  // not notified
    }
  };
  this->configs_->aclIs(this->acl_);
  EXPECT_TRUE(this->statuses_->acl("a"));
  EXPECT_EQ(this->mib_->template entry<typename TypeParam::AclEntry>("a")->aclStatus(), nullptr);
  EXPECT_EQ(this->typeSm_->aclRuleSm("a")->status(), nullptr);
}

TYPED_TEST(Order, TheRowIsCheckedBeforeTheRuleMachine) {
  this->configs_->aclIs(this->acl_);
  this->makeTypeSm();
  this->typeSm_->aclRuleSmDel("a");
  this->mib_->template entryDelAll<typename TypeParam::AclEntry>();
  const std::string table = TypeParam::kTable;
  EXPECT_DEATH(aloud([&] { this->statuses_->aclIs(Qel::make<Acl::AclStatus>("a")); }),
               "AclTypeMibSm::handleAclStatus a\n.*handleAclStatus update : a\n.*Assertion "
               "'aclMib\\(\\)->" +
                   table + "Table\\( snmpName \\)' failed");
}

TYPED_TEST(Order, DeathTestEachAssertionComesAfterItsTraces) {
  using AclEntry = typename TypeParam::AclEntry;
  const std::string table = TypeParam::kTable;
  // A rule machine that finds rows of its ACL.
  this->mib_->template entryIs<typename TypeParam::RuleEntry>({"a", 10}, this->acl_);
  EXPECT_DEATH(aloud([&] { Qel::make<AclRuleMibSm>(this->acl_, this->mib_); }),
               "AclRuleMibSm::handleInitialized a\n.*Assertion 'iter.key");
  this->mib_->template entryDelAll<typename TypeParam::RuleEntry>();
  // A type's machine that finds rows of its type.
  this->mib_->template entryIs<AclEntry>("a", this->acl_);
  EXPECT_DEATH(aloud([&] { this->makeTypeSm(); }),
               "AclTypeMibSm::handleInitialized\n.*Assertion '!aclMib\\(\\)->" + table);
  this->mib_->template entryDelAll<AclEntry>();
  // An ACL that goes without its rule machine: its row is gone by then.
  this->configs_->aclIs(this->acl_);
  this->makeTypeSm();
  this->typeSm_->aclRuleSmDel("a");
  const auto delWithoutMachine = [&] {
    const MibLog log(this->mib_);
    const_cast<MibLog&>(log).action = [](const std::string& line) {
      std::fprintf(stderr, "%s\n", line.c_str());
    };
    this->configs_->aclDel("a");
  };
  EXPECT_DEATH(aloud(delWithoutMachine),
               "AclTypeMibSm::handleAclConfig a\n.*handleIpAclConfig del : a\n-" + table +
                   "Table a\n.*Assertion 'ruleSm' failed");
}

TYPED_TEST(Order, DeathTestATypesAssertionComesAfterItsTrace) {
  const auto config = Qel::make<Acl::Config>("config");
  const auto status = Qel::make<Acl::Status>("status");
  const auto sm = Qel::make<AclMibSm>(Qel::make<Mek::TaskScheduler>(), config, status, this->mib_);
  EXPECT_DEATH(aloud([&] { status->statusNotify(TypeParam::kType); }),
               std::string("AclMibSm::handleAclTypeStatus\\( ") + TypeParam::kText +
                   " \\)\n.*Assertion 'typeConfig && typeStatus' failed");
}

}  // namespace
