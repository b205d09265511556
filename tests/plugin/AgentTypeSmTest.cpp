#include "Fixtures.h"
#include "agent/AclTypeMibSm.h"

namespace {

using AclSnmp::AclSnmpTypeConfig;
using AclSnmp::AclSnmpTypeStatus;
using AclSnmp::AclTypeMibSm;
using Fixtures::acl;
using Fixtures::AclMib;
using Fixtures::AllTypes;
using Fixtures::GoneLog;
using Fixtures::keys;
using Fixtures::kNoType;
using Fixtures::MibLog;
using Fixtures::Ptr;
using Fixtures::Strings;
using Fixtures::subConfig;
using Fixtures::timedBlocks;
using Fixtures::TypeNames;
using Support::Traced;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using testing::ThrowsMessage;

template <class T>
class TypeSm : public testing::Test {
 protected:
  using AclEntry = typename T::AclEntry;
  using RuleEntry = typename T::RuleEntry;
  using StatsEntry = typename T::StatsEntry;

  void make() { sm_ = Qel::make<AclTypeMibSm>(config_, status_, mib_); }
  static std::string row(char there, const char* key) {
    return there + std::string(T::kTable) + "Table " + key;
  }
  static std::string rule(char there, const char* key) {
    return there + std::string(T::kTable) + "RuleTable " + key;
  }
  static std::string stats(char there, const char* key) {
    return there + std::string(T::kTable) + "RuleStatsTable " + key;
  }
  static Ptr<Acl::AclConfig> configOf(const char* name) {
    return acl(name, T::kType, subConfig({10}));
  }
  Ptr<AclEntry> aclRow(const char* name) { return mib_->template entry<AclEntry>(name); }
  Ptr<StatsEntry> statsRow(const char* name) {
    return mib_->template entry<StatsEntry>({name, 10});
  }
  /// The status that the row, the rule machine and the statistics row of an ACL have.
  void expectStatus(const char* name, const Ptr<const Acl::AclStatus>& status) {
    EXPECT_EQ(aclRow(name)->aclStatus(), status);
    EXPECT_EQ(sm_->aclRuleSm(name)->status(), status);
    EXPECT_EQ(statsRow(name)->aclStatus(), status);
  }

  Qel::ManualClock clock_{100};
  Ptr<AclMib> mib_ = AclSnmp::AclMibIs("mib");
  Ptr<AclSnmpTypeConfig> config_ = Qel::make<AclSnmpTypeConfig>("config", T::kType);
  Ptr<AclSnmpTypeStatus> status_ = Qel::make<AclSnmpTypeStatus>("status", T::kType);
  Ptr<Acl::AclStatus> statusOfA_ = Qel::make<Acl::AclStatus>("a");
  MibLog log_{mib_};
  Ptr<AclTypeMibSm> sm_;
};
TYPED_TEST_SUITE(TypeSm, AllTypes, TypeNames);

TYPED_TEST(TypeSm, StartsWithWhatTheMirrorsHoldInTheOrderOfNames) {
  for (const char* name : {"b", "a"}) this->config_->aclIs(this->configOf(name));
  this->status_->aclIs(this->statusOfA_);
  this->make();
  EXPECT_THAT(this->log_.take(),
              ElementsAre(this->row('+', "a"), this->rule('+', "a 10"), this->stats('+', "a 10"),
                          this->row('+', "b"), this->rule('+', "b 10"), this->stats('+', "b 10")));
  EXPECT_EQ(this->sm_->type(), TypeParam::kType);
  EXPECT_EQ(this->sm_->config(), this->config_);
  EXPECT_EQ(this->sm_->status(), this->status_);
  EXPECT_EQ(this->sm_->aclMib(), this->mib_);
  EXPECT_TRUE(this->sm_->initialized());
  EXPECT_TRUE(this->sm_->hasNotificationActive());
  EXPECT_TRUE(this->sm_->aclRuleSm("a")->hasNotificationActive());
  EXPECT_EQ(this->aclRow("a")->aclConfig(), this->config_->acl("a"));
  EXPECT_EQ(this->sm_->aclRuleSm().size(), 2U);
  EXPECT_EQ(this->sm_->aclRuleSm("a")->config(), this->config_->acl("a"));
  this->expectStatus("a", this->statusOfA_);
  this->expectStatus("b", nullptr);
}

TYPED_TEST(TypeSm, NeedsItsArguments) {
  for (int missing = 0; missing < 3; ++missing) {
    EXPECT_THAT(
        [&] {
          Qel::make<AclTypeMibSm>(missing == 0 ? nullptr : this->config_,
                                  missing == 1 ? nullptr : this->status_,
                                  missing == 2 ? nullptr : this->mib_);
        },
        ThrowsMessage<Qel::RangeException>("null ValidPtr"));
  }
}

TYPED_TEST(TypeSm, AnAclThatComesGetsItsRowBeforeItsRuleRows) {
  this->make();
  EXPECT_THAT(this->log_.take(), IsEmpty());
  this->config_->aclIs(this->configOf("Name in full, unchanged"));
  EXPECT_THAT(this->log_.take(), ElementsAre(this->row('+', "Name in full, unchanged"),
                                             this->rule('+', "Name in full, unchanged 10"),
                                             this->stats('+', "Name in full, unchanged 10")));
}

TYPED_TEST(TypeSm, AnAclThatGoesLosesItsRowBeforeItsRuleRows) {
  for (const char* name : {"a", "b", "c"}) this->config_->aclIs(this->configOf(name));
  this->status_->aclIs(Qel::make<Acl::AclStatus>("b"));
  this->make();
  this->log_.take();
  this->config_->aclDel("b");
  EXPECT_THAT(this->log_.take(),
              ElementsAre(this->row('-', "b"), this->rule('-', "b 10"), this->stats('-', "b 10")));
  EXPECT_EQ(this->sm_->aclRuleSm("b"), nullptr);
  EXPECT_EQ(keys<typename TypeParam::AclEntry>(*this->mib_), (Strings{"a", "c"}));
}

TYPED_TEST(TypeSm, TheRuleMachineOfAnAclThatGoesStaysUntilItsRowsAreGone) {
  this->config_->aclIs(this->configOf("b"));
  this->make();
  std::vector<bool> there;
  this->log_.action = [&](const std::string&) {
    there.push_back(static_cast<bool>(this->sm_->aclRuleSm("b")));
  };
  this->config_->aclDel("b");
  EXPECT_THAT(there, ElementsAre(true, true, true));
  EXPECT_EQ(this->sm_->aclRuleSm("b"), nullptr);
}

TYPED_TEST(TypeSm, ANameOfAnyOctetsAndLengthKeysTheRows) {
  std::string all;
  for (int octet = 0; octet < 256; ++octet) all += static_cast<char>(octet);
  this->make();
  for (const std::string& octets : {std::string("a\0b", 3), std::string(" MiXeD "), all + all}) {
    const Qel::Name name{Qel::String8(octets)};
    const Snmp::String key(name);
    this->config_->aclIs(acl(name, TypeParam::kType, subConfig({10})));
    const auto status = Qel::make<Acl::AclStatus>(name);
    this->status_->aclIs(status);
    const auto row = this->mib_->template entry<typename TypeParam::AclEntry>(key);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->name().string8().view(), octets);
    EXPECT_EQ(row->aclStatus(), status);
    const auto stats = this->mib_->template entry<typename TypeParam::StatsEntry>({key, 10});
    ASSERT_TRUE(stats);
    EXPECT_EQ(stats->index().aclName().string8().view(), octets);
    EXPECT_EQ(stats->aclStatus(), status);
    EXPECT_TRUE(this->sm_->aclRuleSm(name));
    this->config_->aclDel(name);
    EXPECT_EQ(this->mib_->template entry<typename TypeParam::AclEntry>(key), nullptr);
    EXPECT_THAT(keys<typename TypeParam::StatsEntry>(*this->mib_), IsEmpty());
  }
}

TYPED_TEST(TypeSm, AnotherNotificationOfTheSameAclMakesNothingNew) {
  this->config_->aclIs(this->configOf("a"));
  this->make();
  const auto machine = this->sm_->aclRuleSm("a");
  this->log_.take();
  this->status_->newAcl(this->statusOfA_);  // not notified
  this->config_->aclNotify("a");
  EXPECT_THAT(this->log_.take(), IsEmpty());
  EXPECT_EQ(this->sm_->aclRuleSm("a"), machine);
  this->expectStatus("a", this->statusOfA_);
}

TYPED_TEST(TypeSm, AStatusWithoutItsAclWaitsForIt) {
  this->make();
  this->status_->aclIs(this->statusOfA_);
  EXPECT_THAT(this->log_.take(), IsEmpty());
  EXPECT_TRUE(this->sm_->aclRuleSm().empty());
  Ptr<const Acl::AclStatus> atCreation;
  this->log_.action = [&](const std::string& line) {
    if (line == this->stats('+', "a 10")) atCreation = this->aclRow("a")->aclStatus();
  };
  this->config_->aclIs(this->configOf("a"));
  EXPECT_EQ(atCreation, this->statusOfA_);
  this->expectStatus("a", this->statusOfA_);
}

TYPED_TEST(TypeSm, FollowsTheStatusOfAnAcl) {
  this->config_->aclIs(this->configOf("a"));
  this->config_->aclIs(this->configOf("b"));
  this->make();
  this->log_.take();
  this->status_->aclIs(this->statusOfA_);
  this->expectStatus("a", this->statusOfA_);
  this->expectStatus("b", nullptr);
  const auto other = Qel::make<Acl::AclStatus>("a");
  this->status_->aclIs(other);
  this->expectStatus("a", other);
  this->status_->aclDel("a");
  this->expectStatus("a", nullptr);
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

TYPED_TEST(TypeSm, AnAclThatGoesAndComesIsRebuilt) {
  const auto config = this->configOf("a");
  this->config_->aclIs(config);
  this->make();
  const auto machine = this->sm_->aclRuleSm("a");
  this->clock_.nowIs(200);
  this->config_->aclDel("a");
  this->config_->aclIs(config);
  EXPECT_FALSE(this->sm_->aclRuleSm("a") == machine);
  EXPECT_EQ(this->statsRow("a")->creationTime(), 200);
  EXPECT_EQ(config->notifieeList().size(), 2U);  // the held machine's reactor and the new one's
}

TYPED_TEST(TypeSm, AnotherObjectOfTheSameNameIsAnError) {
  this->config_->aclIs(this->configOf("a"));
  this->make();
  EXPECT_THAT([this] { this->config_->aclIs(this->configOf("a")); },
              ThrowsMessage<Qel::NameInUseException>(StartsWith("Reinstantiating the pointer")));
}

TYPED_TEST(TypeSm, ARuleMachineIsMadeOnceFromTheSameObjects) {
  this->make();
  const auto config = this->configOf("a");
  const auto otherMib = AclSnmp::AclMibIs("mib");
  const auto machine = this->sm_->aclRuleSmIs(config, this->mib_);
  EXPECT_EQ(this->sm_->aclRuleSm("a"), machine);
  EXPECT_EQ(this->sm_->aclRuleSmIs(config, this->mib_), machine);
  const auto address = [](const void* object) { return Qel::valueToStrep(object); };
  const auto message = [&](const char* attribute, const void* given, const void* current) {
    return ThrowsMessage<Qel::NameInUseException>(
        "Reinstantiating the pointer interface where constructor parameter attribute " +
        std::string(attribute) + " has a different value of " + address(given) +
        " than the current value of " + address(current) + " not allowed");
  };
  const auto other = this->configOf("a");
  EXPECT_THAT([&] { this->sm_->aclRuleSmIs(other, this->mib_); },
              message("_config", other.get(), config.get()));
  EXPECT_THAT([&] { this->sm_->aclRuleSmIs(config, otherMib); },
              message("_aclMib", otherMib.get(), this->mib_.get()));
  EXPECT_THAT([&] { this->sm_->aclRuleSmIs(nullptr, this->mib_); },
              ThrowsMessage<Qel::RangeException>("null ValidPtr"));
  EXPECT_THAT([&] { this->sm_->aclRuleSmIs(config, nullptr); },
              ThrowsMessage<Qel::RangeException>("null ValidPtr"));
  EXPECT_EQ(this->sm_->aclRuleSm("a"), machine);
}

TYPED_TEST(TypeSm, RuleMachinesMayGoWithoutTheirRows) {
  for (const char* name : {"a", "b", "c"}) this->config_->aclIs(this->configOf(name));
  this->make();
  this->log_.take();
  this->sm_->aclRuleSmDel("b");
  EXPECT_EQ(this->sm_->aclRuleSm("b"), nullptr);
  EXPECT_EQ(this->sm_->aclRuleSm().size(), 2U);
  this->sm_->aclRuleSmDel("x");
  this->sm_->aclRuleSmDelAll();
  EXPECT_TRUE(this->sm_->aclRuleSm().empty());
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

TYPED_TEST(TypeSm, PassesItsNotificationFlagToItsRuleMachines) {
  this->config_->aclIs(this->configOf("a"));
  this->make();
  this->sm_->hasNotificationActiveIs(false);
  EXPECT_FALSE(this->sm_->hasNotificationActive());
  EXPECT_FALSE(this->sm_->aclRuleSm("a")->hasNotificationActive());
  const auto later = this->configOf("b");
  EXPECT_FALSE(this->sm_->aclRuleSmIs(later, this->mib_)->hasNotificationActive());
  this->status_->aclIs(this->statusOfA_);
  this->config_->aclIs(this->configOf("c"));
  this->config_->aclDel("a");
  later->currCfgIs(nullptr);
  EXPECT_EQ(keys<typename TypeParam::AclEntry>(*this->mib_), Strings{"a"});
  EXPECT_EQ(keys<typename TypeParam::RuleEntry>(*this->mib_), (Strings{"a 10", "b 10"}));
  EXPECT_EQ(this->aclRow("a")->aclStatus(), nullptr);
  this->sm_->hasNotificationActiveIs(true);
  EXPECT_TRUE(this->sm_->aclRuleSm("b")->hasNotificationActive());
  this->config_->aclIs(this->configOf("d"));
  EXPECT_TRUE(this->aclRow("d"));
  EXPECT_TRUE(this->sm_->aclRuleSm("d")->hasNotificationActive());
}

TYPED_TEST(TypeSm, PointingItElsewhereRunsNoHandler) {
  this->config_->aclIs(this->configOf("a"));
  this->make();
  this->log_.take();
  Velomark::recordsDel();
  const auto otherConfig = Qel::make<AclSnmpTypeConfig>("other", TypeParam::kType);
  const auto otherStatus = Qel::make<AclSnmpTypeStatus>("other", TypeParam::kType);
  this->sm_->configIs(otherConfig);
  this->sm_->statusIs(otherStatus);
  EXPECT_EQ(this->sm_->config(), otherConfig);
  EXPECT_EQ(this->sm_->status(), otherStatus);
  this->config_->aclDelAll();
  this->status_->aclIs(this->statusOfA_);
  this->sm_->statusDel();
  this->sm_->configDel();
  EXPECT_EQ(this->sm_->config(), nullptr);
  EXPECT_EQ(this->sm_->status(), nullptr);
  EXPECT_THAT(timedBlocks(), IsEmpty());
  EXPECT_THAT(this->log_.take(), IsEmpty());
  this->sm_->configIs(otherConfig);
  otherConfig->aclIs(this->configOf("b"));
  EXPECT_EQ(keys<typename TypeParam::AclEntry>(*this->mib_), (Strings{"a", "b"}));
}

TYPED_TEST(TypeSm, AnObserverMayAddAnAclDuringTheFirstWalk) {
  for (const char* name : {"a", "c"}) this->config_->aclIs(this->configOf(name));
  this->log_.action = [this](const std::string& line) {
    if (line == this->row('+', "a")) this->config_->aclIs(this->configOf("b"));
    if (line == this->stats('+', "c 10")) this->config_->aclDel("a");
  };
  this->make();
  EXPECT_EQ(keys<typename TypeParam::AclEntry>(*this->mib_), (Strings{"b", "c"}));
  EXPECT_EQ(keys<typename TypeParam::RuleEntry>(*this->mib_), (Strings{"b 10", "c 10"}));
  EXPECT_EQ(this->sm_->aclRuleSm().size(), 2U);
}

TYPED_TEST(TypeSm, ItsEndLeavesTheRowsAndLetsEverythingGo) {
  const auto config = this->configOf("a");
  this->config_->aclIs(config);
  this->make();
  this->log_.take();
  this->sm_ = nullptr;
  EXPECT_THAT(this->log_.take(), IsEmpty());
  EXPECT_TRUE(this->aclRow("a"));
  EXPECT_TRUE(this->statsRow("a"));
  EXPECT_EQ(this->config_->notifieeList().size(), 0U);
  EXPECT_EQ(this->status_->notifieeList().size(), 0U);
  EXPECT_EQ(config->notifieeList().size(), 0U);
  this->config_->aclDel("a");
  this->status_->aclIs(this->statusOfA_);
  EXPECT_TRUE(this->aclRow("a"));
}

TYPED_TEST(TypeSm, IgnoresItsMirrorsWhileItsRuleMachinesGo) {
  auto sub = subConfig({10});
  const auto a = acl("a", TypeParam::kType, sub);
  this->config_->aclIs(a);
  this->make();
  this->sm_->aclRuleSm("a")->hasNotificationActiveIs(false);
  a->currCfgIs(nullptr);  // only the rule machine holds it now
  Strings gone;
  GoneLog<Acl::AclSubConfig> subGone(sub, "what only the rule machine holds", gone);
  sub = nullptr;
  subGone.action = [this] {
    this->config_->aclIs(this->configOf("late"));
    this->status_->aclIs(this->statusOfA_);
  };
  this->log_.take();
  this->sm_ = nullptr;
  EXPECT_THAT(gone, ElementsAre("what only the rule machine holds"));
  EXPECT_THAT(this->log_.take(), IsEmpty());
  EXPECT_EQ(this->aclRow("a")->aclStatus(), nullptr);
}

TYPED_TEST(TypeSm, DeathTestRowsAtTheStart) {
  this->mib_->template entryIs<typename TypeParam::AclEntry>("other", nullptr);
  EXPECT_DEATH(
      this->make(),
      "AclSnmpAgent:[0-9]+: .*AclTypeMibSm::handleInitialized\\(\\): Assertion '!aclMib\\(\\)->" +
          std::string(TypeParam::kTable) + "Tables\\(\\)' failed");
}

TYPED_TEST(TypeSm, DeathTestAStatusForAnAclWithoutItsRowOrItsMachine) {
  this->config_->aclIs(this->configOf("a"));
  this->make();
  this->sm_->aclRuleSmDel("a");
  const std::string function = "AclSnmpAgent:[0-9]+: .*AclTypeMibSm::handleAcl";
  const std::string assertion = "\\(const Qel::Name ?&\\): Assertion '";
  EXPECT_DEATH(this->status_->aclIs(this->statusOfA_),
               function + "Status" + assertion + "ruleSm' failed");
  EXPECT_DEATH(this->config_->aclDel("a"), function + "Config" + assertion + "ruleSm' failed");
  this->mib_->template entryDelAll<typename TypeParam::AclEntry>();
  EXPECT_DEATH(this->status_->aclIs(this->statusOfA_), function + "Status" + assertion +
                                                           "aclMib\\(\\)->" + TypeParam::kTable +
                                                           "Table\\( snmpName \\)' failed");
}

TEST(TypeSmDeathTest, MirrorsOfNoType) {
  EXPECT_DEATH(Qel::make<AclTypeMibSm>(Qel::make<AclSnmpTypeConfig>("config", kNoType),
                                       Qel::make<AclSnmpTypeStatus>("status", kNoType),
                                       AclSnmp::AclMibIs("mib")),
               "Assertion 'type\\(\\) == Acl::ipv6\\(\\)' failed");
}

TYPED_TEST(TypeSm, TellsWhatItDoes) {
  const auto line = [](int level, const std::string& text) {
    return Traced{"AclSnmpSm", level, text};
  };
  this->config_->aclIs(acl("a", TypeParam::kType));
  Support::TraceCapture traces("AclSnmpSm=8");
  this->make();
  EXPECT_THAT(traces.traced(), ElementsAre(line(8, "AclTypeMibSm::handleInitialized"),
                                           line(8, "AclTypeMibSm::handleAclConfig a"),
                                           line(7, "handleIpAclConfig add : a"),
                                           line(8, "AclRuleMibSm::handleInitialized a")));
  EXPECT_THAT(traces.sources(), testing::Each("AclSnmpAgent"));
  traces.clear();
  this->status_->aclIs(Qel::make<Acl::AclStatus>("b"));
  this->status_->aclIs(this->statusOfA_);
  EXPECT_THAT(traces.traced(), ElementsAre(line(8, "AclTypeMibSm::handleAclStatus b"),
                                           line(8, "AclTypeMibSm::handleAclStatus a"),
                                           line(7, "handleAclStatus update : a")));
  traces.clear();
  this->config_->aclDel("a");
  EXPECT_THAT(traces.traced(), ElementsAre(line(8, "AclTypeMibSm::handleAclConfig a"),
                                           line(7, "handleIpAclConfig del : a"),
                                           line(8, "AclRuleMibSm::doClose: a")));
}

TYPED_TEST(TypeSm, EveryHandlerIsATimedBlock) {
  Velomark::recordsDel();
  this->make();
  EXPECT_THAT(timedBlocks(), ElementsAre("1 void AclSnmp::AclTypeMibSm::handleInitialized()"));
  this->config_->aclIs(acl("a", TypeParam::kType));
  EXPECT_THAT(timedBlocks().back(),
              testing::MatchesRegex(
                  "1 void AclSnmp::AclTypeMibSm::handleAclConfig\\(const Qel::Name ?&\\)"));
  this->status_->aclIs(this->statusOfA_);
  EXPECT_THAT(timedBlocks().back(),
              testing::MatchesRegex(
                  "1 void AclSnmp::AclTypeMibSm::handleAclStatus\\(const Qel::Name ?&\\)"));
  Velomark::recordsDel();
}

}  // namespace
