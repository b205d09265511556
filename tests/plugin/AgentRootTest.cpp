#include "Fixtures.h"
#include "agent/Root.h"
#include "qel/Type.h"

namespace {

using AclSnmp::AclMibSm;
using AclSnmp::Root;
using Fixtures::acl;
using Fixtures::AclMib;
using Fixtures::GoneLog;
using Fixtures::Ipv4;
using Fixtures::keys;
using Fixtures::MibLog;
using Fixtures::Ptr;
using Fixtures::Strings;
using Fixtures::subConfig;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

class RootTest : public testing::Test {
 protected:
  RootTest() { status_->statusIs(Acl::ipv4()); }
  Ptr<AclMibSm> makeSm() { return root_->aclMibSmIs(scheduler_, config_, status_, mib_); }
  auto makeAggregator() { return root_->aclConfigAggregatorIs(inputDir_, cliInput_, config_); }
  void runAll() {
    while (scheduler_->runNext()) {
    }
  }

  Ptr<Mek::TaskScheduler> scheduler_ = Qel::make<Mek::TaskScheduler>();
  Ptr<Acl::Config> config_ = Qel::make<Acl::Config>("config");
  Ptr<Acl::Status> status_ = Qel::make<Acl::Status>("status");
  Ptr<AclMib> mib_ = AclSnmp::AclMibIs("mib");
  Ptr<Qel::Dir> inputDir_ = Qel::make<Qel::Dir>("input");
  Ptr<Acl::Input::Config> cliInput_ = Qel::make<Acl::Input::Config>("cli");
  Ptr<Root> root_ = AclSnmp::RootIs("root");
};

TEST_F(RootTest, IsMadeEmptyByItsFactoriesAndInADirectory) {
  const auto dir = Qel::make<Qel::Dir>("plugins");
  for (const auto& root : {AclSnmp::RootIs("acl"), AclSnmp::rootFactory("acl"),
                           Qel::ptrCast<Root>(dir->newEntity("AclSnmp::Root", "acl"))}) {
    ASSERT_TRUE(root);
    EXPECT_EQ(root->name(), Qel::Name("acl"));
    EXPECT_EQ(root->fwkType(), "AclSnmp::Root");
    EXPECT_EQ(root->aclConfigAggregator(), nullptr);
    EXPECT_EQ(root->aclMib(), nullptr);
    EXPECT_EQ(root->aclMibSm(), nullptr);
    EXPECT_EQ(root->aclConfig(), nullptr);
    EXPECT_EQ(root->aclStatus(), nullptr);
    root->aclMibSmDel();
    root->aclConfigAggregatorDel();
  }
}

TEST_F(RootTest, StoresItsPointers) {
  root_->aclMibIs(mib_);
  root_->aclConfigIs(config_);
  root_->aclStatusIs(status_);
  EXPECT_EQ(root_->aclMib(), mib_);
  EXPECT_EQ(root_->aclConfig(), config_);
  EXPECT_EQ(root_->aclStatus(), status_);
  EXPECT_EQ(root_->aclMibSm(), nullptr);
  root_->aclMibIs(nullptr);
  EXPECT_EQ(root_->aclMib(), nullptr);
}

TEST_F(RootTest, EveryAttributeIsReachedByItsName) {
  const auto call = [this](const char* operation, const Qel::Values& arguments = {}) {
    return Qel::call("AclSnmp::Root", *root_, operation, arguments);
  };
  call("aclMibIs", {Qel::valueOf(mib_)});
  call("aclConfigIs", {Qel::valueOf(config_)});
  call("aclStatusIs", {Qel::valueOf(status_)});
  call("aclConfigAggregatorIs",
       {Qel::valueOf(inputDir_), Qel::valueOf(cliInput_), Qel::valueOf(config_)});
  call("aclMibSmIs",
       {Qel::valueOf(scheduler_), call("aclConfig"), call("aclStatus"), call("aclMib")});
  ASSERT_TRUE(root_->aclMibSm());
  EXPECT_EQ(root_->aclMibSm()->status(), status_);
  EXPECT_EQ(call("aclMibSm"), Qel::valueOf(root_->aclMibSm()));
  EXPECT_EQ(call("aclConfigAggregator"), Qel::valueOf(root_->aclConfigAggregator()));
  EXPECT_EQ(root_->aclConfigAggregator()->configOut(), config_);
  call("aclMibSmDel");
  call("aclConfigAggregatorDel");
  EXPECT_EQ(root_->aclMibSm(), nullptr);
  EXPECT_EQ(root_->aclConfigAggregator(), nullptr);
}

TEST_F(RootTest, TheMachineIsKeptForTheSameArgumentsOnly) {
  Ptr<AclMibSm> previous = makeSm();
  ASSERT_TRUE(previous);
  EXPECT_EQ(root_->aclMibSm(), previous);
  EXPECT_EQ(makeSm(), previous);
  struct Case {
    const char* what;
    Ptr<Mek::TaskScheduler> scheduler;
    Ptr<Acl::Config> config;
    Ptr<Acl::Status> status;
    Ptr<AclMib> mib;
  };
  const auto scheduler = Qel::make<Mek::TaskScheduler>();
  const auto config = Qel::make<Acl::Config>("config");
  const auto status = Qel::make<Acl::Status>("status");
  const auto mib = AclSnmp::AclMibIs("mib");
  for (const Case& c : {Case{"scheduler", scheduler, config_, status_, mib_},
                        {"config", scheduler, config, status_, mib_},
                        {"status", scheduler, config, status, mib_},
                        {"mib", scheduler, config, status, mib}}) {
    SCOPED_TRACE(c.what);
    const auto made = root_->aclMibSmIs(c.scheduler, c.config, c.status, c.mib);
    EXPECT_FALSE(made == previous);
    EXPECT_EQ(root_->aclMibSm(), made);
    EXPECT_EQ(made->scheduler(), c.scheduler);
    EXPECT_EQ(made->config(), c.config);
    EXPECT_EQ(made->status(), c.status);
    EXPECT_EQ(made->aclMib(), c.mib);
    EXPECT_TRUE(made->hasNotificationActive());
    EXPECT_FALSE(previous->hasNotificationActive());
    EXPECT_EQ(previous->references(), 1U);
    previous = made;
  }
}

TEST_F(RootTest, AReplacedMachineStandsStill) {
  config_->typeConfig(Acl::ipv4())->aclIs(acl("a", Acl::ipv4()));
  const auto first = makeSm();
  runAll();
  const auto other = AclSnmp::AclMibIs("other");
  root_->aclMibSmIs(scheduler_, config_, status_, other);
  EXPECT_FALSE(first->aclTypeMibSm(Acl::ipv4())->hasNotificationActive());
  EXPECT_FALSE(first->aclTypeMibSm(Acl::ipv4())->aclRuleSm("a")->hasNotificationActive());
  config_->typeConfig(Acl::ipv4())->aclIs(acl("b", Acl::ipv4()));
  runAll();
  EXPECT_EQ(keys<Ipv4::AclEntry>(*mib_), Strings{"a"});
  EXPECT_EQ(keys<Ipv4::AclEntry>(*other), (Strings{"a", "b"}));
}

TEST_F(RootTest, TheMachineNeedsItsArgumentsAndStaysWhereOneIsMissing) {
  const auto present = makeSm();
  const auto untyped = Qel::make<Acl::Status>("status");
  for (int missing = 0; missing < 4; ++missing) {
    SCOPED_TRACE(missing);
    EXPECT_THAT(
        [&] {
          root_->aclMibSmIs(missing == 0 ? nullptr : scheduler_, missing == 1 ? nullptr : config_,
                            missing == 2 ? nullptr : untyped, missing == 3 ? nullptr : mib_);
        },
        ThrowsMessage<Qel::RangeException>("null ValidPtr"));
    EXPECT_EQ(root_->aclMibSm(), present);
    EXPECT_TRUE(present->hasNotificationActive());
  }
}

TEST_F(RootTest, TheMachineIsSwitchedOffBeforeItGoes) {
  const auto held = makeSm();
  root_->aclMibSmDel();
  EXPECT_EQ(root_->aclMibSm(), nullptr);
  EXPECT_EQ(held->references(), 1U);
  EXPECT_FALSE(held->hasNotificationActive());
  EXPECT_FALSE(held->aclTypeMibSm(Acl::ipv4())->hasNotificationActive());
  root_->aclMibSmDel();
}

TEST_F(RootTest, TheAggregatorMergesTheInputsAndIsKeptForTheSameArguments) {
  cliInput_->typeConfig(Acl::mac())->aclIs(acl("cli", Acl::mac()));
  const auto first = makeAggregator();
  ASSERT_TRUE(first);
  EXPECT_EQ(root_->aclConfigAggregator(), first);
  EXPECT_TRUE(config_->typeConfig(Acl::mac())->acl("cli"));
  EXPECT_EQ(makeAggregator(), first);
  const auto otherDir = Qel::make<Qel::Dir>("other");
  const auto otherCli = Qel::make<Acl::Input::Config>("other");
  const auto otherOut = Qel::make<Acl::Config>("other");
  EXPECT_FALSE(root_->aclConfigAggregatorIs(otherDir, cliInput_, config_) == first);
  const auto third = root_->aclConfigAggregatorIs(otherDir, otherCli, config_);
  EXPECT_EQ(third->cliInput(), otherCli);
  const auto fourth = root_->aclConfigAggregatorIs(otherDir, otherCli, otherOut);
  EXPECT_FALSE(fourth == third);
  EXPECT_EQ(root_->aclConfigAggregator(), fourth);
  EXPECT_EQ(first->references(), 1U);
  // A replaced aggregator stands still.
  cliInput_->typeConfig(Acl::mac())->aclIs(acl("late", Acl::mac()));
  EXPECT_EQ(config_->typeConfig(Acl::mac())->acl("late"), nullptr);
}

TEST_F(RootTest, TheAggregatorNeedsItsArgumentsAndStaysWhereOneIsMissing) {
  const auto present = makeAggregator();
  for (int missing = 0; missing < 3; ++missing) {
    EXPECT_THAT(
        [&] {
          root_->aclConfigAggregatorIs(missing == 0 ? nullptr : inputDir_,
                                       missing == 1 ? nullptr : cliInput_,
                                       missing == 2 ? nullptr : config_);
        },
        ThrowsMessage<Qel::RangeException>("null ValidPtr"));
    EXPECT_EQ(root_->aclConfigAggregator(), present);
  }
}

TEST_F(RootTest, TheAggregatorIsSwitchedOffBeforeItGoes) {
  const auto held = makeAggregator();
  root_->aclConfigAggregatorDel();
  EXPECT_EQ(root_->aclConfigAggregator(), nullptr);
  cliInput_->typeConfig(Acl::ipv6())->aclIs(acl("late", Acl::ipv6()));
  EXPECT_EQ(config_->typeConfig(Acl::ipv6())->acl("late"), nullptr);
  root_->aclConfigAggregatorDel();
}

TEST_F(RootTest, ItsEndTakesDownTheAggregatorBeforeTheMachine) {
  makeSm();
  makeAggregator();
  Strings gone;
  const GoneLog<Qel::Dir> dir(inputDir_, "what only the aggregator holds", gone);
  const GoneLog<Acl::AclTypeStatus> status(status_->status(Acl::ipv4()),
                                           "what only the machine holds", gone);
  mib_->aclStatusIs(nullptr);
  inputDir_ = nullptr;
  status_ = nullptr;
  root_ = nullptr;
  EXPECT_THAT(gone, ElementsAre("what only the aggregator holds", "what only the machine holds"));
  EXPECT_EQ(scheduler_->tasks(), 0U);
}

TEST_F(RootTest, ItsEndSwitchesOffWhatSomeoneStillHolds) {
  const auto machine = makeSm();
  const auto aggregator = makeAggregator();
  root_ = nullptr;
  EXPECT_EQ(machine->references(), 1U);
  EXPECT_FALSE(machine->hasNotificationActive());
  EXPECT_FALSE(machine->aclTypeMibSm(Acl::ipv4())->hasNotificationActive());
  EXPECT_EQ(aggregator->references(), 1U);
  cliInput_->typeConfig(Acl::ipv6())->aclIs(acl("late", Acl::ipv6()));
  EXPECT_EQ(config_->typeConfig(Acl::ipv6())->acl("late"), nullptr);
}

TEST_F(RootTest, ItsEndLeavesTheRows) {
  cliInput_->typeConfig(Acl::ipv4())->aclIs(acl("a", Acl::ipv4(), subConfig({10}, {20})));
  makeAggregator();
  makeSm();
  runAll();
  MibLog log(mib_);
  root_ = nullptr;
  runAll();
  EXPECT_THAT(log.take(), IsEmpty());
  EXPECT_EQ(keys<Ipv4::AclEntry>(*mib_), Strings{"a"});
  EXPECT_EQ(keys<Ipv4::RuleEntry>(*mib_), (Strings{"a 10", "a 20"}));
  EXPECT_EQ(keys<Ipv4::StatsEntry>(*mib_), (Strings{"a 10", "a 20"}));
}

TEST_F(RootTest, DeathTestAnotherMachineOnAMibThatHasRows) {
  config_->typeConfig(Acl::ipv4())->aclIs(acl("a", Acl::ipv4()));
  makeSm();
  runAll();
  const auto scheduler = Qel::make<Mek::TaskScheduler>();
  EXPECT_DEATH(root_->aclMibSmIs(scheduler, config_, status_, mib_),
               "Assertion '!aclMib\\(\\)->ipAclTables\\(\\)' failed");
}

}  // namespace
