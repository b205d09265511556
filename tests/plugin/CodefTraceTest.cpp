#include "Fixtures.h"
#include "codef/AclSnmpTypeCodef.h"

namespace {

using Fixtures::acl;
using Fixtures::AclLog;
using Fixtures::Ptr;
using Fixtures::timedBlocks;
using Support::Traced;
using testing::ElementsAre;

const std::string kConfigInitialized = "void AclSnmp::AclSnmpTypeConfigCodef::handleInitialized()";
const std::string kConfigHandle =
    "void AclSnmp::AclSnmpTypeConfigCodef::handleAclConfig(Qel::Name)";
const std::string kConfigRun =
    "uint64_t AclSnmp::AclSnmpTypeConfigCodef::processBacklog(const Qel::Seconds&)";
const std::string kConfigProcessing =
    "uint64_t AclSnmp::doProcessing(AclSnmp::AclSnmpTypeConfigCodef&, const Qel::Ptr<const "
    "Acl::AclTypeConfig>&, const Qel::Ptr<AclSnmp::AclSnmpTypeConfig>&, const Qel::Seconds&)";
const std::string kStatusInitialized = "void AclSnmp::AclSnmpTypeStatusCodef::handleInitialized()";
const std::string kStatusHandle =
    "void AclSnmp::AclSnmpTypeStatusCodef::handleAclStatus(Qel::Name)";
const std::string kStatusRun =
    "uint64_t AclSnmp::AclSnmpTypeStatusCodef::processBacklog(const Qel::Seconds&)";
const std::string kStatusProcessing =
    "uint64_t AclSnmp::doProcessing(AclSnmp::AclSnmpTypeStatusCodef&, const Qel::Ptr<const "
    "Acl::AclTypeStatus>&, const Qel::Ptr<AclSnmp::AclSnmpTypeStatus>&, const Qel::Seconds&)";

Traced entry(const std::string& signature) { return {"AclSnmpTypeCodef", 7, signature}; }
Traced detail(const std::string& signature, const std::string& text) {
  return {"AclSnmpTypeCodef", 8, signature + text};
}

class CodefTraces : public testing::Test {
 protected:
  void SetUp() override { Velomark::recordsDel(); }
  void TearDown() override { Velomark::recordsDel(); }
  /// What was traced without the entries.
  std::vector<Traced> details() const {
    std::vector<Traced> all;
    for (const Traced& traced : traces_.traced()) {
      if (traced.level != 7) all.push_back(traced);
    }
    return all;
  }

  Qel::ManualClock clock_{100};
  Support::TraceCapture traces_{"AclSnmpTypeCodef=8"};
  Ptr<Mek::TaskScheduler> scheduler_ = Qel::make<Mek::TaskScheduler>();
  Ptr<Acl::AclTypeConfig> configs_ = Qel::make<Acl::AclTypeConfig>("in", Acl::ipv4());
  Ptr<Acl::AclTypeStatus> statuses_ = Qel::make<Acl::AclTypeStatus>("in", Acl::ipv4());
  Ptr<AclSnmp::AclSnmpTypeConfig> configMirror_ =
      Qel::make<AclSnmp::AclSnmpTypeConfig>("out", Acl::ipv4());
  Ptr<AclSnmp::AclSnmpTypeStatus> statusMirror_ =
      Qel::make<AclSnmp::AclSnmpTypeStatus>("out", Acl::ipv4());
};

TEST_F(CodefTraces, TheConfigProcessorTellsEveryStep) {
  configs_->aclIs(acl("a", Acl::ipv4()));
  const auto codef = AclSnmp::AclSnmpTypeConfigCodefIs(scheduler_, 2, "t", configs_, configMirror_);
  EXPECT_THAT(traces_.traced(), ElementsAre(entry(kConfigInitialized), entry(kConfigHandle),
                                            detail(kConfigHandle, " Adding a config to backlog")));
  traces_.clear();
  configs_->aclDel("a");
  configs_->aclIs(acl("a", Acl::ipv4()));
  EXPECT_THAT(traces_.traced(),
              ElementsAre(entry(kConfigHandle),
                          detail(kConfigHandle, " Got delete for a before add was processed"),
                          entry(kConfigHandle),
                          detail(kConfigHandle, " Got add for a before delete was processed")));
  traces_.clear();
  scheduler_->runNext();
  EXPECT_THAT(traces_.traced(),
              ElementsAre(entry(kConfigRun), detail(kConfigProcessing, " Added acl a"),
                          detail(kConfigProcessing, " processed 1")));
  configs_->aclDel("a");
  traces_.clear();
  scheduler_->runNext();
  EXPECT_THAT(traces_.traced(),
              ElementsAre(entry(kConfigRun), detail(kConfigProcessing, "Deleted acl a"),
                          detail(kConfigProcessing, " processed 1")));
}

TEST_F(CodefTraces, TheStatusProcessorTellsEveryStepInTheSameWords) {
  statuses_->aclIs(Qel::make<Acl::AclStatus>("a"));
  const auto codef =
      AclSnmp::AclSnmpTypeStatusCodefIs(scheduler_, 2, "t", statuses_, statusMirror_);
  EXPECT_THAT(traces_.traced(), ElementsAre(entry(kStatusInitialized), entry(kStatusHandle),
                                            detail(kStatusHandle, " Adding a config to backlog")));
  traces_.clear();
  statuses_->aclDel("a");
  statuses_->aclIs(Qel::make<Acl::AclStatus>("a"));
  EXPECT_THAT(traces_.traced(),
              ElementsAre(entry(kStatusHandle),
                          detail(kStatusHandle, " Got delete for a before add was processed"),
                          entry(kStatusHandle),
                          detail(kStatusHandle, " Got add for a before delete was processed")));
  traces_.clear();
  scheduler_->runNext();
  EXPECT_THAT(traces_.traced(),
              ElementsAre(entry(kStatusRun), detail(kStatusProcessing, " Added acl a"),
                          detail(kStatusProcessing, " processed 1")));
  statuses_->aclDel("a");
  traces_.clear();
  scheduler_->runNext();
  EXPECT_THAT(traces_.traced(),
              ElementsAre(entry(kStatusRun), detail(kStatusProcessing, "Deleted acl a"),
                          detail(kStatusProcessing, " processed 1")));
}

TEST_F(CodefTraces, AnAclOnBothSidesIsTracedBetweenItsRemovalAndItsReturn) {
  configs_->aclIs(acl("a", Acl::ipv4()));
  const auto codef = AclSnmp::AclSnmpTypeConfigCodefIs(scheduler_, 2, "t", configs_, configMirror_);
  scheduler_->runNext();
  configs_->aclNotify("a");
  AclLog<AclSnmp::AclSnmpTypeConfig> log(configMirror_);
  std::vector<size_t> tracedBefore;
  traces_.clear();
  log.action = [&](const std::string&) { tracedBefore.push_back(traces_.traced().size()); };
  scheduler_->runNext();
  EXPECT_THAT(log.take(), ElementsAre("-a", "+a"));
  EXPECT_THAT(tracedBefore, ElementsAre(1, 2));
  EXPECT_EQ(traces_.traced()[1], detail(kConfigProcessing, " Added acl a"));
  EXPECT_EQ(traces_.traced().size(), 3U);
}

TEST_F(CodefTraces, EachStepIsToldBeforeItIsTakenAndADeletionAfter) {
  configs_->aclIs(acl("a", Acl::ipv4()));
  std::vector<std::string> states;
  const auto noteAt = [&](const std::string& ending, const std::function<std::string()>& state) {
    traces_.action = [&states, ending, state](const std::string& message) {
      if (message.ends_with(ending)) states.push_back(ending + ": " + state());
    };
  };
  AclSnmp::AclSnmpTypeConfigCodef* codef = nullptr;
  const auto pending = [&] { return std::to_string(codef->backlogSize()); };
  const auto mirrored = [&] { return std::to_string(configMirror_->acl().size()); };
  const auto held = AclSnmp::AclSnmpTypeConfigCodefIs(scheduler_, 2, "t", configs_, configMirror_);
  codef = held.get();
  codef->backlogDelAll();
  noteAt("Adding a config to backlog", pending);
  codef->handleAclConfig("a");
  noteAt("Added acl a", mirrored);
  scheduler_->runNext();
  configs_->aclDel("a");
  noteAt("Deleted acl a", mirrored);
  scheduler_->runNext();
  EXPECT_THAT(states,
              ElementsAre("Adding a config to backlog: 0", "Added acl a: 0", "Deleted acl a: 0"));
  // The entry into a run comes before everything.
  codef->handleAclConfig("a");
  noteAt("const Qel::Seconds&)", pending);
  states.clear();
  scheduler_->runNext();
  EXPECT_THAT(states, ElementsAre("const Qel::Seconds&): 1"));
}

TEST_F(CodefTraces, DeathTestAHandlerTellsItsEntryBeforeItAsserts) {
  const auto codef = AclSnmp::AclSnmpTypeConfigCodefIs(scheduler_, 2, "t", configs_, configMirror_);
  const auto aloud = [](const std::function<void()>& act) {
    Qel::traceSinkIs({});
    Qel::traceSettingsIs("AclSnmpTypeCodef=7");
    act();
  };
  EXPECT_DEATH(aloud([&] { codef->handleInitialized(); }),
               "Codef::handleInitialized\\(\\)\n.*Assertion '!initialized\\(\\)' failed");
  codef->initializedIs(false);
  EXPECT_DEATH(aloud([&] { codef->handleAclConfig("a"); }),
               "Codef::handleAclConfig\\(Qel::Name\\)\n.*Assertion 'initialized\\(\\)' failed");
}

TEST_F(CodefTraces, AclsThatAreThereAtTheStartAreQueuedInTheOrderOfTheirNames) {
  for (const char* name : {"c", "a", "b"}) {
    configs_->aclIs(acl(name, Acl::ipv4()));
    statuses_->aclIs(Qel::make<Acl::AclStatus>(name));
  }
  const auto config =
      AclSnmp::AclSnmpTypeConfigCodefIs(scheduler_, 2, "t", configs_, configMirror_);
  EXPECT_THAT(details(), ElementsAre(detail(kConfigHandle, " Adding a config to backlog"),
                                     detail(kConfigHandle, " Adding b config to backlog"),
                                     detail(kConfigHandle, " Adding c config to backlog")));
  traces_.clear();
  const auto status =
      AclSnmp::AclSnmpTypeStatusCodefIs(scheduler_, 2, "t", statuses_, statusMirror_);
  EXPECT_THAT(details(), ElementsAre(detail(kStatusHandle, " Adding a config to backlog"),
                                     detail(kStatusHandle, " Adding b config to backlog"),
                                     detail(kStatusHandle, " Adding c config to backlog")));
}

TEST_F(CodefTraces, ARunThatYieldsTellsHowManyItTookToo) {
  for (const char* name : {"a", "b", "c"}) configs_->aclIs(acl(name, Acl::ipv4()));
  const auto codef = AclSnmp::AclSnmpTypeConfigCodefIs(scheduler_, 2, "t", configs_, configMirror_);
  codef->backlogQuantumIs(0);
  scheduler_->runNext();
  ASSERT_EQ(codef->backlogSize(), 2U);
  EXPECT_EQ(traces_.traced().back(), detail(kConfigProcessing, " processed 1"));
  codef->backlogQuantumIs(1);
  scheduler_->runNext();
  ASSERT_EQ(codef->backlogSize(), 0U);
  EXPECT_EQ(traces_.traced().back(), detail(kConfigProcessing, " processed 2"));
}

TEST_F(CodefTraces, AnEntryOfTheValueFalseCountsAsAbsent) {
  configs_->aclIs(acl("a", Acl::ipv4()));
  const auto codef = AclSnmp::AclSnmpTypeConfigCodefIs(scheduler_, 2, "t", configs_, configMirror_);
  codef->backlogIs("a", false);
  traces_.clear();
  codef->handleAclConfig("a");
  EXPECT_THAT(traces_.traced(), ElementsAre(entry(kConfigHandle),
                                            detail(kConfigHandle, " Adding a config to backlog")));
  EXPECT_TRUE(codef->backlog().find("a")->value);
  EXPECT_EQ(codef->backlogSize(), 1U);
  EXPECT_EQ(codef->updatesSeen(), 2U);
}

TEST_F(CodefTraces, ChangesWithoutAnInputCountAsDeletions) {
  const auto codef = AclSnmp::AclSnmpTypeStatusCodefIs(scheduler_, 2, "t", nullptr, statusMirror_);
  codef->handleAclStatus("a");
  traces_.clear();
  codef->handleAclStatus("a");
  EXPECT_EQ(traces_.traced().back(),
            detail(kStatusHandle, " Got delete for a before add was processed"));
  EXPECT_EQ(codef->updatesSeen(), 2U);
  EXPECT_TRUE(codef->task()->isScheduled());
}

TEST_F(CodefTraces, TracesNameTheirSourceAndOperation) {
  const auto codef = AclSnmp::AclSnmpTypeConfigCodefIs(scheduler_, 2, "t", configs_, configMirror_);
  EXPECT_THAT(traces_.sources(), ElementsAre("AclSnmpTypeCodef"));
  EXPECT_THAT(traces_.functions(), ElementsAre(kConfigInitialized));
}

TEST_F(CodefTraces, EveryHandlerIsATimedBlock) {
  configs_->aclIs(acl("a", Acl::ipv4()));
  statuses_->aclIs(Qel::make<Acl::AclStatus>("a"));
  const auto config =
      AclSnmp::AclSnmpTypeConfigCodefIs(scheduler_, 2, "t", configs_, configMirror_);
  const auto status =
      AclSnmp::AclSnmpTypeStatusCodefIs(scheduler_, 2, "t", statuses_, statusMirror_);
  while (scheduler_->runNext()) {
  }
  EXPECT_THAT(timedBlocks(),
              ElementsAre("1 " + kConfigHandle, "1 " + kConfigInitialized, "1 " + kStatusHandle,
                          "1 " + kStatusInitialized, "1 " + kConfigRun, "1 " + kStatusRun));
}

}  // namespace
