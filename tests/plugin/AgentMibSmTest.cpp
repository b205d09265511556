#include <algorithm>

#include "AgentMibSm.h"

namespace {

using AclSnmp::AclMibSm;
using AclSnmp::AclSnmpTypeConfig;
using AclSnmp::AclSnmpTypeStatus;
using Fixtures::acl;
using Fixtures::AllTypes;
using Fixtures::keys;
using Fixtures::MibLog;
using Fixtures::MibSmBase;
using Fixtures::Strings;
using Fixtures::subConfig;
using Fixtures::timedBlocks;
using Fixtures::TypeNames;
using Support::Traced;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

template <class T>
class MibSm : public MibSmBase {
 protected:
  static constexpr Acl::AclType kType = T::kType;
};
TYPED_TEST_SUITE(MibSm, AllTypes, TypeNames);

using MibSmWhole = MibSmBase;

TEST_F(MibSmWhole, StartsWithoutTypesAndHandsItsStatusToTheMib) {
  make();
  EXPECT_TRUE(sm_->initialized());
  EXPECT_TRUE(sm_->hasNotificationActive());
  EXPECT_EQ(sm_->scheduler(), scheduler_);
  EXPECT_EQ(sm_->config(), config_);
  EXPECT_EQ(sm_->status(), status_);
  EXPECT_EQ(sm_->aclMib(), mib_);
  EXPECT_EQ(mib_->aclStatus(), status_);
  for (const Acl::AclType type : Acl::kAclTypes) expectMembers(type, false);
  EXPECT_EQ(scheduler_->tasks(), 0U);
}

TEST_F(MibSmWhole, ANullStatusIsNotWatched) {
  mib_->aclStatusIs(Qel::make<Acl::Status>("old"));
  status_ = nullptr;
  make();
  EXPECT_EQ(mib_->aclStatus(), nullptr);
  EXPECT_TRUE(sm_->initialized());
  sm_->hasNotificationActiveIs(false);
  EXPECT_FALSE(sm_->hasNotificationActive());
}

TEST_F(MibSmWhole, HandsItsStatusToTheMibBeforeItTakesInTypes) {
  for (const Acl::AclType type : Acl::kAclTypes) status_->statusIs(type);
  const Support::TraceCapture traces("AclSnmpSm=8");
  MibLog log(mib_);
  Strings told;
  log.action = [&](const std::string&) { told = traces.messages(); };
  make();
  EXPECT_THAT(log.take(), ElementsAre("aclStatus"));
  EXPECT_THAT(told, ElementsAre("AclMibSm::handleInitialized"));
}

TYPED_TEST(MibSm, BuildsATypeThatIsThereAndOneThatComes) {
  for (const bool before : {true, false}) {
    this->status_ = Qel::make<Acl::Status>("status");
    if (before) this->status_->statusIs(TypeParam::kType);
    this->make();
    if (!before) this->status_->statusIs(TypeParam::kType);
    for (const Acl::AclType type : Acl::kAclTypes) {
      this->expectMembers(type, type == TypeParam::kType);
    }
    EXPECT_EQ(this->scheduler_->tasks(), 2U);
    this->sm_ = nullptr;
  }
}

TYPED_TEST(MibSm, ItsMembersAreBuiltOnEachOther) {
  constexpr Acl::AclType type = TypeParam::kType;
  this->status_->statusIs(type);
  this->make();
  const auto configMirror = this->sm_->codefedAclSnmpTypeConfig(type);
  const auto statusMirror = this->sm_->codefedAclSnmpTypeStatus(type);
  EXPECT_EQ(configMirror->name(), Qel::Name(TypeParam::kText));
  EXPECT_EQ(statusMirror->name(), Qel::Name(TypeParam::kText));
  EXPECT_EQ(configMirror->type(), type);
  EXPECT_EQ(statusMirror->type(), type);
  EXPECT_EQ(configMirror->parent(), this->sm_.get());
  EXPECT_EQ(statusMirror->parent(), this->sm_.get());
  EXPECT_EQ(configMirror->parentAttrName(), "codefedAclSnmpTypeConfig");
  EXPECT_EQ(statusMirror->parentAttrName(), "codefedAclSnmpTypeStatus");

  const auto configCodef = this->sm_->aclSnmpTypeConfigCodef(type);
  const auto statusCodef = this->sm_->aclSnmpTypeStatusCodef(type);
  const std::string text = TypeParam::kText;
  EXPECT_EQ(configCodef->task()->name(), text + " ACL Config processing");
  EXPECT_EQ(statusCodef->task()->name(), text + " ACL Status processing");
  EXPECT_EQ(configCodef->task()->priority(), 2U);
  EXPECT_EQ(statusCodef->task()->priority(), 2U);
  EXPECT_EQ(configCodef->cfgIn(), this->config_->typeConfig(type));
  EXPECT_EQ(statusCodef->statusIn(), this->status_->status(type));
  EXPECT_EQ(configCodef->cfgOut(), configMirror);
  EXPECT_EQ(statusCodef->statusOut(), statusMirror);

  const auto typeSm = this->sm_->aclTypeMibSm(type);
  EXPECT_EQ(typeSm->type(), type);
  EXPECT_EQ(typeSm->config(), configMirror);
  EXPECT_EQ(typeSm->status(), statusMirror);
  EXPECT_EQ(typeSm->aclMib(), this->mib_);
}

TYPED_TEST(MibSm, BuildsTheConfigurationsProcessorThenTheStatusProcessorThenTheMachine) {
  this->status_->statusIs(this->kType);
  Velomark::recordsDel();
  this->make();
  EXPECT_THAT(Fixtures::timedBlocks(),
              ElementsAre("1 void AclSnmp::AclSnmpTypeConfigCodef::handleInitialized()",
                          "1 void AclSnmp::AclSnmpTypeStatusCodef::handleInitialized()",
                          "1 void AclSnmp::AclTypeMibSm::handleInitialized()",
                          "1 void AclSnmp::AclMibSm::handleAclTypeStatus(Acl::AclType)",
                          "1 void AclSnmp::AclMibSm::handleInitialized()"));
  Velomark::recordsDel();
}

TYPED_TEST(MibSm, RowsComeWithTheRunsOfTheScheduler) {
  constexpr Acl::AclType type = TypeParam::kType;
  this->config_->typeConfig(type)->aclIs(acl("a", type, subConfig({10})));
  this->status_->statusIs(type)->aclIs(Qel::make<Acl::AclStatus>("a"));
  this->make();
  using AclEntry = typename TypeParam::AclEntry;
  EXPECT_TRUE(this->mib_->template entries<AclEntry>().empty());
  this->runAll();
  ASSERT_TRUE(this->mib_->template entry<AclEntry>("a"));
  EXPECT_EQ(this->mib_->template entry<AclEntry>("a")->aclStatus(),
            this->status_->status(type)->acl("a"));
  EXPECT_EQ(keys<typename TypeParam::StatsEntry>(*this->mib_), Strings{"a 10"});
}

TYPED_TEST(MibSm, AnotherNotificationOfATypeChangesNothing) {
  constexpr Acl::AclType type = TypeParam::kType;
  this->status_->statusIs(type);
  this->config_->typeConfig(type)->aclIs(acl("a", type));
  this->make();
  this->runAll();
  const auto configMirror = this->sm_->codefedAclSnmpTypeConfig(type);
  const auto statusMirror = this->sm_->codefedAclSnmpTypeStatus(type);
  const auto configCodef = this->sm_->aclSnmpTypeConfigCodef(type);
  const auto statusCodef = this->sm_->aclSnmpTypeStatusCodef(type);
  const auto typeSm = this->sm_->aclTypeMibSm(type);
  MibLog log(this->mib_);
  this->status_->statusNotify(type);
  EXPECT_EQ(this->sm_->codefedAclSnmpTypeConfig(type), configMirror);
  EXPECT_EQ(this->sm_->codefedAclSnmpTypeStatus(type), statusMirror);
  EXPECT_EQ(this->sm_->aclSnmpTypeConfigCodef(type), configCodef);
  EXPECT_EQ(this->sm_->aclSnmpTypeStatusCodef(type), statusCodef);
  EXPECT_EQ(this->sm_->aclTypeMibSm(type), typeSm);
  EXPECT_EQ(this->scheduler_->tasks(), 2U);
  EXPECT_FALSE(this->scheduler_->pending());
  EXPECT_THAT(log.take(), IsEmpty());
}

TYPED_TEST(MibSm, DeathTestATypeWithoutItsConfigurationOrStatus) {
  constexpr Acl::AclType type = TypeParam::kType;
  const char* text =
      "AclSnmpAgent:[0-9]+: .*AclMibSm::handleAclTypeStatus\\(Acl::AclType\\): Assertion "
      "'typeConfig && typeStatus' failed";
  this->make();
  EXPECT_DEATH(this->status_->statusNotify(type), text);
  this->status_->statusIs(type);
  EXPECT_DEATH(this->status_->statusDel(type), text);
  this->config_->typeConfigDel(type);
  EXPECT_DEATH(this->status_->statusNotify(type), text);
  EXPECT_DEATH(this->make(), text);
}

TYPED_TEST(MibSm, MembersAreMadeOnceAndMayGo) {
  constexpr Acl::AclType type = TypeParam::kType;
  const auto typeConfig = this->config_->typeConfig(type);
  this->make();
  const auto typeStatus = Qel::make<Acl::AclTypeStatus>("s", type);
  AclMibSm& sm = *this->sm_;
  const auto configMirror = sm.codefedAclSnmpTypeConfigIs(type);
  const auto statusMirror = sm.codefedAclSnmpTypeStatusIs(type);
  const auto configCodef =
      sm.aclSnmpTypeConfigCodefIs(this->scheduler_, 5, "c", typeConfig, configMirror);
  const auto statusCodef =
      sm.aclSnmpTypeStatusCodefIs(this->scheduler_, 6, "s", typeStatus, statusMirror);
  const auto typeSm = sm.aclTypeMibSmIs(configMirror, statusMirror, this->mib_);
  EXPECT_EQ(sm.codefedAclSnmpTypeConfigIs(type), configMirror);
  EXPECT_EQ(sm.codefedAclSnmpTypeStatusIs(type), statusMirror);
  EXPECT_EQ(sm.aclSnmpTypeConfigCodefIs(this->scheduler_, 2, "x", typeConfig, configMirror),
            configCodef);
  EXPECT_EQ(sm.aclSnmpTypeStatusCodefIs(this->scheduler_, 2, "x", typeStatus, statusMirror),
            statusCodef);
  EXPECT_EQ(sm.aclTypeMibSmIs(configMirror, statusMirror, this->mib_), typeSm);
  EXPECT_EQ(configCodef->task()->priority(), 5U);
  EXPECT_EQ(statusCodef->task()->name(), "s");
  this->expectMembers(type, true);

  for (const Acl::AclType other : Acl::kAclTypes) {
    if (other == type) continue;
    sm.codefedAclSnmpTypeConfigDel(other);
    sm.codefedAclSnmpTypeStatusDel(other);
    sm.aclSnmpTypeConfigCodefDel(other);
    sm.aclSnmpTypeStatusCodefDel(other);
    sm.aclTypeMibSmDel(other);
  }
  this->expectMembers(type, true);
  sm.codefedAclSnmpTypeConfigDel(type);
  sm.codefedAclSnmpTypeStatusDel(type);
  sm.aclSnmpTypeConfigCodefDel(type);
  sm.aclSnmpTypeStatusCodefDel(type);
  sm.aclTypeMibSmDel(type);
  this->expectMembers(type, false);
  EXPECT_EQ(configMirror->parent(), nullptr);
  EXPECT_EQ(statusMirror->parent(), nullptr);
}

TEST_F(MibSmWhole, AllMembersOfAKindMayGoAtOnce) {
  for (const Acl::AclType type : Acl::kAclTypes) status_->statusIs(type);
  make();
  EXPECT_EQ(scheduler_->tasks(), 6U);
  sm_->codefedAclSnmpTypeConfigDelAll();
  sm_->aclSnmpTypeConfigCodefDelAll();
  EXPECT_EQ(scheduler_->tasks(), 3U);
  sm_->codefedAclSnmpTypeStatusDelAll();
  sm_->aclSnmpTypeStatusCodefDelAll();
  sm_->aclTypeMibSmDelAll();
  for (const Acl::AclType type : Acl::kAclTypes) expectMembers(type, false);
  EXPECT_EQ(scheduler_->tasks(), 0U);
}

TEST_F(MibSmWhole, AProcessorNeedsItsInput) {
  make();
  EXPECT_THAT([this] { sm_->aclSnmpTypeConfigCodefIs(scheduler_, 2, "t", nullptr, nullptr); },
              ThrowsMessage<Qel::RangeException>(
                  "null aclSnmpTypeConfigCodef_CfgIn parameter to mutator for "
                  "AclSnmp::AclMibSm::aclSnmpTypeConfigCodef not allowed\""));
  EXPECT_THAT([this] { sm_->aclSnmpTypeStatusCodefIs(scheduler_, 2, "t", nullptr, nullptr); },
              ThrowsMessage<Qel::RangeException>(
                  "null aclSnmpTypeStatusCodef_StatusIn parameter to mutator for "
                  "AclSnmp::AclMibSm::aclSnmpTypeStatusCodef not allowed\""));
}

TYPED_TEST(MibSm, NullArgumentsAreRefusedWhetherOrNotTheMemberIsThere) {
  constexpr Acl::AclType type = TypeParam::kType;
  const auto nullText = ThrowsMessage<Qel::RangeException>("null ValidPtr");
  const auto typeConfig = this->config_->typeConfig(type);
  const auto typeStatus = Qel::make<Acl::AclTypeStatus>("s", type);
  const auto configMirror = Qel::make<AclSnmpTypeConfig>("c", type);
  const auto statusMirror = Qel::make<AclSnmpTypeStatus>("s", type);
  this->make();
  for (const bool there : {false, true}) {
    SCOPED_TRACE(there);
    if (there) this->status_->statusIs(type);
    AclMibSm& sm = *this->sm_;
    const auto& scheduler = this->scheduler_;
    EXPECT_THAT([&] { sm.aclSnmpTypeConfigCodefIs(nullptr, 2, "t", typeConfig, configMirror); },
                nullText);
    EXPECT_THAT([&] { sm.aclSnmpTypeConfigCodefIs(scheduler, 2, "t", typeConfig, nullptr); },
                nullText);
    EXPECT_THAT([&] { sm.aclSnmpTypeConfigCodefIs(scheduler, 2, "t", nullptr, configMirror); },
                ThrowsMessage<Qel::RangeException>(testing::StartsWith("null aclSnmpType")));
    EXPECT_THAT([&] { sm.aclSnmpTypeStatusCodefIs(nullptr, 2, "t", typeStatus, statusMirror); },
                nullText);
    EXPECT_THAT([&] { sm.aclSnmpTypeStatusCodefIs(scheduler, 2, "t", typeStatus, nullptr); },
                nullText);
    EXPECT_THAT([&] { sm.aclSnmpTypeStatusCodefIs(scheduler, 2, "t", nullptr, statusMirror); },
                ThrowsMessage<Qel::RangeException>(testing::StartsWith("null aclSnmpType")));
    EXPECT_THAT([&] { sm.aclTypeMibSmIs(nullptr, statusMirror, this->mib_); }, nullText);
    EXPECT_THAT([&] { sm.aclTypeMibSmIs(configMirror, nullptr, this->mib_); }, nullText);
    EXPECT_THAT([&] { sm.aclTypeMibSmIs(configMirror, statusMirror, nullptr); }, nullText);
    this->expectMembers(type, there);
  }
}

TYPED_TEST(MibSm, ItsHandlersMayBeCalledByHand) {
  constexpr Acl::AclType type = TypeParam::kType;
  this->make();
  this->sm_->hasNotificationActiveIs(false);
  this->status_->statusIs(type);
  this->expectMembers(type, false);
  this->sm_->handleAclTypeStatus(type);
  this->expectMembers(type, true);
  this->sm_->aclTypeMibSmDel(type);
  this->mib_->aclStatusIs(nullptr);
  this->sm_->handleInitialized();
  this->expectMembers(type, true);
  EXPECT_EQ(this->mib_->aclStatus(), this->status_);
}

TYPED_TEST(MibSm, ATypesMachineIsMadeFromTheSameObjectsOnly) {
  constexpr Acl::AclType type = TypeParam::kType;
  this->status_->statusIs(type);
  this->make();
  const auto config = this->sm_->codefedAclSnmpTypeConfig(type);
  const auto status = this->sm_->codefedAclSnmpTypeStatus(type);
  const auto otherConfig = Qel::make<AclSnmpTypeConfig>("other", type);
  const auto otherStatus = Qel::make<AclSnmpTypeStatus>("other", type);
  const auto otherMib = AclSnmp::AclMibIs("other");
  const auto typeSm = this->sm_->aclTypeMibSm(type);
  const auto message = [](const char* attribute, const void* given, const void* current) {
    return ThrowsMessage<Qel::NameInUseException>(
        "Reinstantiating the pointer interface where constructor parameter attribute " +
        std::string(attribute) + " has a different value of " + Qel::valueToStrep(given) +
        " than the current value of " + Qel::valueToStrep(current) + " not allowed");
  };
  EXPECT_THAT([&] { this->sm_->aclTypeMibSmIs(otherConfig, otherStatus, otherMib); },
              message("_config", otherConfig.get(), config.get()));
  EXPECT_THAT([&] { this->sm_->aclTypeMibSmIs(config, otherStatus, otherMib); },
              message("_status", otherStatus.get(), status.get()));
  EXPECT_THAT([&] { this->sm_->aclTypeMibSmIs(config, status, otherMib); },
              message("_aclMib", otherMib.get(), this->mib_.get()));
  EXPECT_THAT([&] { this->sm_->aclTypeMibSmIs(nullptr, status, this->mib_); },
              ThrowsMessage<Qel::RangeException>("null ValidPtr"));
  EXPECT_EQ(this->sm_->aclTypeMibSm(type), typeSm);
}

TYPED_TEST(MibSm, PassesItsNotificationFlagDown) {
  constexpr Acl::AclType type = TypeParam::kType;
  const Acl::AclType later = type == Acl::mac() ? Acl::ipv4() : Acl::mac();
  this->status_->statusIs(type);
  const auto a = acl("a", type, subConfig({10}));
  this->config_->typeConfig(type)->aclIs(a);
  this->make();
  this->runAll();
  this->sm_->hasNotificationActiveIs(false);
  EXPECT_FALSE(this->sm_->aclTypeMibSm(type)->hasNotificationActive());
  EXPECT_FALSE(this->sm_->aclTypeMibSm(type)->aclRuleSm("a")->hasNotificationActive());
  a->currCfgIs(nullptr);
  EXPECT_EQ(keys<typename TypeParam::RuleEntry>(*this->mib_), Strings{"a 10"});
  this->status_->statusIs(later);
  this->expectMembers(later, false);
  const auto made =
      this->sm_->aclTypeMibSmIs(this->sm_->codefedAclSnmpTypeConfigIs(later),
                                this->sm_->codefedAclSnmpTypeStatusIs(later), this->mib_);
  EXPECT_FALSE(made->hasNotificationActive());
  this->sm_->hasNotificationActiveIs(true);
  EXPECT_TRUE(made->hasNotificationActive());
  EXPECT_TRUE(this->sm_->aclTypeMibSm(type)->aclRuleSm("a")->hasNotificationActive());
  this->status_->statusNotify(later);
  this->expectMembers(later, true);
}

TYPED_TEST(MibSm, ItsProcessorsGoOnWhileItsNotificationsAreOff) {
  constexpr Acl::AclType type = TypeParam::kType;
  this->status_->statusIs(type);
  this->make();
  this->sm_->hasNotificationActiveIs(false);
  this->config_->typeConfig(type)->aclIs(acl("a", type));
  this->status_->status(type)->aclIs(Qel::make<Acl::AclStatus>("a"));
  this->runAll();
  EXPECT_TRUE(this->sm_->codefedAclSnmpTypeConfig(type)->acl("a"));
  EXPECT_TRUE(this->sm_->codefedAclSnmpTypeStatus(type)->acl("a"));
  EXPECT_TRUE(this->mib_->template entries<typename TypeParam::AclEntry>().empty());
}

TEST_F(MibSmWhole, TellsWhatItDoesInTheOrderOfTypes) {
  for (const Acl::AclType type : {Acl::mac(), Acl::ipv6(), Acl::ipv4()}) status_->statusIs(type);
  const auto line = [](const std::string& text) { return Traced{"AclSnmpSm", 8, text}; };
  Support::TraceCapture traces("AclSnmpSm=8");
  Velomark::recordsDel();
  make();
  EXPECT_THAT(traces.traced(), ElementsAre(line("AclMibSm::handleInitialized"),
                                           line("AclMibSm::handleAclTypeStatus( ipv4 )"),
                                           line("AclTypeMibSm::handleInitialized"),
                                           line("AclMibSm::handleAclTypeStatus( ipv6 )"),
                                           line("AclTypeMibSm::handleInitialized"),
                                           line("AclMibSm::handleAclTypeStatus( mac )"),
                                           line("AclTypeMibSm::handleInitialized")));
  EXPECT_THAT(traces.sources(), testing::Each("AclSnmpAgent"));
  const Strings blocks = timedBlocks();
  EXPECT_EQ(blocks.back(), "1 void AclSnmp::AclMibSm::handleInitialized()");
  EXPECT_EQ(std::count(blocks.begin(), blocks.end(),
                       "1 void AclSnmp::AclMibSm::handleAclTypeStatus(Acl::AclType)"),
            3);
  Velomark::recordsDel();
}

}  // namespace
