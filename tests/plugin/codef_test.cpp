#include <algorithm>

#include "Fixtures.h"
#include "codef/AclSnmpTypeCodef.h"
#include "qel/Type.h"

namespace {

using Fixtures::acl;
using Fixtures::AclLog;
using Fixtures::Ptr;
using Fixtures::Strings;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

struct ConfigSide {
  using Codef = AclSnmp::AclSnmpTypeConfigCodef;
  using Input = Acl::AclTypeConfig;
  using Mirror = AclSnmp::AclSnmpTypeConfig;
  static constexpr const char* kSide = "Config";
  static constexpr const char* kType = "AclSnmp::AclSnmpTypeConfigCodef";
  static constexpr const char* kHandle =
      "void AclSnmp::AclSnmpTypeConfigCodef::handleAclConfig(Qel::Name)";
  static auto member(const char* name) { return acl(name, Acl::mac()); }
  static auto in(const Codef& codef) { return codef.cfgIn(); }
  static auto out(const Codef& codef) { return codef.cfgOut(); }
  static void inIs(Codef& codef, const Ptr<const Input>& in) { codef.cfgInIs(in); }
  static auto inDel(Codef& codef) { return codef.cfgInDel(); }
  static void handle(Codef& codef, const char* name) { codef.handleAclConfig(name); }
  static constexpr auto kMake = &AclSnmp::AclSnmpTypeConfigCodefIs;
  static constexpr auto kFactory = &AclSnmp::aclSnmpTypeConfigCodefFactory;
};
struct StatusSide {
  using Codef = AclSnmp::AclSnmpTypeStatusCodef;
  using Input = Acl::AclTypeStatus;
  using Mirror = AclSnmp::AclSnmpTypeStatus;
  static constexpr const char* kSide = "Status";
  static constexpr const char* kType = "AclSnmp::AclSnmpTypeStatusCodef";
  static constexpr const char* kHandle =
      "void AclSnmp::AclSnmpTypeStatusCodef::handleAclStatus(Qel::Name)";
  static auto member(const char* name) { return Qel::make<Acl::AclStatus>(name); }
  static auto in(const Codef& codef) { return codef.statusIn(); }
  static auto out(const Codef& codef) { return codef.statusOut(); }
  static void inIs(Codef& codef, const Ptr<const Input>& in) { codef.statusInIs(in); }
  static auto inDel(Codef& codef) { return codef.statusInDel(); }
  static void handle(Codef& codef, const char* name) { codef.handleAclStatus(name); }
  static constexpr auto kMake = &AclSnmp::AclSnmpTypeStatusCodefIs;
  static constexpr auto kFactory = &AclSnmp::aclSnmpTypeStatusCodefFactory;
};
struct SideNames {
  template <class T>
  static std::string GetName(int) {
    return T::kSide;
  }
};

template <class Side>
class CodefTest : public testing::Test {
 protected:
  using Codef = typename Side::Codef;
  using Input = typename Side::Input;
  using Mirror = typename Side::Mirror;

  void make() { codef_ = Side::kMake(scheduler_, 2, "the task", in_, mirror_); }
  void makeWith(std::initializer_list<const char*> names) {
    add(names);
    make();
  }
  void add(std::initializer_list<const char*> names) {
    for (const char* name : names) in_->aclIs(Side::member(name));
  }
  uint64_t run() {
    const uint64_t before = codef_->updatesProcessed();
    EXPECT_TRUE(scheduler_->runNext());
    return codef_->updatesProcessed() - before;
  }
  Strings backlog() const {
    Strings all;
    for (auto it = codef_->backlog().begin(); it; ++it) {
      EXPECT_EQ(it.value().name, it.key());
      all.push_back(it.key().string().str() + (it.value().value ? "" : " false"));
    }
    return all;
  }
  /// Names as the backlog is walked.
  static std::vector<Qel::Name> hashOrder(std::vector<Qel::Name> names) {
    std::sort(names.begin(), names.end(), Qel::HashLess());
    return names;
  }
  static std::string plus(const Qel::Name& name) { return "+" + name.string().str(); }
  void expectMirrorEqualsInput() {
    EXPECT_EQ(mirror_->acl().size(), in_->acl().size());
    for (auto it = in_->acl().begin(); it; ++it) {
      EXPECT_EQ(mirror_->acl(it.key()), it.value().acl) << it.key();
    }
  }

  Qel::ManualClock clock_{100};
  Ptr<Mek::TaskScheduler> scheduler_ = Qel::make<Mek::TaskScheduler>();
  Ptr<Input> in_ = Qel::make<Input>("in", Acl::mac());
  Ptr<Mirror> mirror_ = Qel::make<Mirror>("mirror", Acl::mac());
  AclLog<Mirror> log_{mirror_};
  Ptr<Codef> codef_;
};
using Sides = testing::Types<ConfigSide, StatusSide>;
TYPED_TEST_SUITE(CodefTest, Sides, SideNames);

TYPED_TEST(CodefTest, IsLiveAsSoonAsItExists) {
  this->make();
  EXPECT_TRUE(this->codef_->initialized());
  EXPECT_EQ(this->codef_->fwkType(), TypeParam::kType);
  EXPECT_EQ(this->codef_->type(), Acl::mac());
  EXPECT_EQ(TypeParam::in(*this->codef_), this->in_);
  EXPECT_EQ(TypeParam::out(*this->codef_), this->mirror_);
  EXPECT_TRUE(this->codef_->bookmark().empty());
  EXPECT_EQ(this->codef_->backlogSize(), 0U);
  EXPECT_EQ(this->codef_->task()->name(), "the task");
  EXPECT_EQ(this->codef_->task()->priority(), 2U);
  EXPECT_FALSE(this->scheduler_->pending());
  this->add({"a"});
  EXPECT_THAT(this->backlog(), ElementsAre("a"));
}

TYPED_TEST(CodefTest, QueuesWhatTheInputHoldsAtItsConstruction) {
  this->makeWith({"b", "a"});
  EXPECT_THAT(this->backlog(), testing::UnorderedElementsAre("a", "b"));
  EXPECT_EQ(this->codef_->backlogSize(), 2U);
  EXPECT_EQ(this->codef_->updatesSeen(), 2U);
  EXPECT_TRUE(this->mirror_->acl().empty());
  EXPECT_EQ(this->run(), 2U);
  this->expectMirrorEqualsInput();
  EXPECT_FALSE(this->scheduler_->pending());
}

TYPED_TEST(CodefTest, WorksWithoutAnInput) {
  this->in_ = nullptr;
  this->make();
  EXPECT_EQ(this->codef_->type(), Acl::AclType());
  EXPECT_EQ(TypeParam::in(*this->codef_), nullptr);
  EXPECT_EQ(this->codef_->backlogSize(), 0U);
  EXPECT_FALSE(this->scheduler_->pending());
  EXPECT_EQ(this->codef_->processBacklog(0), 0U);
}

TYPED_TEST(CodefTest, IsMadeByItsFactoryAndByItsTypeName) {
  this->add({"a"});
  const auto byFactory = TypeParam::kFactory(this->scheduler_, 2, "t", this->in_, this->mirror_);
  EXPECT_EQ(byFactory->backlogSize(), 1U);
  const auto byName = Qel::ptrCast<typename TypeParam::Codef>(
      Qel::typeOf(TypeParam::kType)
          .create({Qel::valueOf(this->scheduler_), Qel::valueOf(uint32_t{3}),
                   Qel::valueOf(Qel::String8("t")), Qel::valueOf(this->in_),
                   Qel::valueOf(this->mirror_)}));
  ASSERT_TRUE(byName);
  EXPECT_EQ(byName->task()->priority(), 3U);
  EXPECT_EQ(TypeParam::in(*byName), this->in_);
  EXPECT_EQ(TypeParam::out(*byName), this->mirror_);
}

TYPED_TEST(CodefTest, ANullSchedulerIsRefused) {
  this->scheduler_ = nullptr;
  EXPECT_THAT([this] { this->make(); }, ThrowsMessage<Qel::RangeException>("null ValidPtr"));
}

TYPED_TEST(CodefTest, ChangesOfOneNameShareAnEntryAndItsRunSeesTheLastOne) {
  this->make();
  this->add({"a", "a"});
  this->in_->aclDel("a");
  this->add({"a"});
  EXPECT_THAT(this->backlog(), ElementsAre("a"));
  EXPECT_EQ(this->codef_->updatesSeen(), 4U);
  EXPECT_EQ(this->run(), 1U);
  EXPECT_THAT(this->log_.take(), ElementsAre("+a"));
  this->expectMirrorEqualsInput();
}

TYPED_TEST(CodefTest, AnAclThatCameAndWentBeforeItsTurnIsTakenWithoutATrace) {
  this->make();
  this->add({"a"});
  this->in_->aclDel("a");
  const Support::TraceCapture traces("AclSnmpTypeCodef=8");
  EXPECT_EQ(this->run(), 1U);
  EXPECT_THAT(this->log_.take(), IsEmpty());
  EXPECT_EQ(traces.traced().size(), 2U);  // the entry into the run and its count
}

TYPED_TEST(CodefTest, AnAclOnBothSidesGoesAndComesAgain) {
  this->makeWith({"a"});
  this->run();
  this->log_.take();
  this->in_->aclNotify("a");
  EXPECT_EQ(this->run(), 1U);
  EXPECT_THAT(this->log_.take(), ElementsAre("-a", "+a"));
  this->expectMirrorEqualsInput();
  this->add({"a"});  // another object
  EXPECT_EQ(this->run(), 1U);
  EXPECT_THAT(this->log_.take(), ElementsAre("-a", "+a"));
  this->expectMirrorEqualsInput();
}

TYPED_TEST(CodefTest, ADeletedAclLeavesTheMirror) {
  this->makeWith({"a", "b"});
  this->run();
  this->log_.take();
  this->in_->aclDel("a");
  EXPECT_TRUE(this->mirror_->acl("a"));
  EXPECT_EQ(this->run(), 1U);
  EXPECT_THAT(this->log_.take(), ElementsAre("-a"));
  this->expectMirrorEqualsInput();
}

TYPED_TEST(CodefTest, ARunTakesOneEntryAtLeastAndNotesWhereToGoOn) {
  const auto order = this->hashOrder({"a", "b", "c", "d"});
  this->makeWith({"a", "b", "c", "d"});
  this->codef_->backlogQuantumIs(0);
  for (size_t i = 0; i < order.size(); ++i) {
    EXPECT_EQ(this->run(), 1U);
    EXPECT_THAT(this->log_.take(), ElementsAre(this->plus(order[i])));
    EXPECT_EQ(this->codef_->bookmark(), order[std::min<size_t>(i + 1, 3)]);
  }
  EXPECT_FALSE(this->scheduler_->pending());
  EXPECT_EQ(this->codef_->yieldBeforeFinishingCount(), 3U);
}

TYPED_TEST(CodefTest, ARunGoesOnUntilItsTimeIsUsed) {
  const auto order = this->hashOrder({"a", "b", "c", "d", "e"});
  this->makeWith({"a", "b", "c", "d", "e"});
  this->codef_->backlogQuantumIs(0.5);
  this->log_.action = [this](const std::string&) { this->clock_.advance(0.25); };
  EXPECT_EQ(this->run(), 2U);
  EXPECT_EQ(this->codef_->bookmark(), order[2]);
  EXPECT_EQ(this->run(), 2U);
  EXPECT_EQ(this->run(), 1U);
  Strings expected;
  for (const Qel::Name& name : order) expected.push_back(this->plus(name));
  EXPECT_EQ(this->log_.take(), expected);
}

TYPED_TEST(CodefTest, TheStartTimeOfARunIsNotConsulted) {
  this->makeWith({"a", "b", "c"});
  this->codef_->backlogQuantumIs(1e6);
  EXPECT_EQ(this->codef_->processBacklog(-1e9), 3U);
  this->expectMirrorEqualsInput();
}

TYPED_TEST(CodefTest, ARunStartsAtTheBookmarkAndWraps) {
  const auto order = this->hashOrder({"a", "b", "c", "d"});
  this->makeWith({"a", "b", "c", "d"});
  this->codef_->bookmarkIs(order[2]);
  EXPECT_EQ(this->run(), 4U);
  EXPECT_THAT(this->log_.take(), ElementsAre(this->plus(order[2]), this->plus(order[3]),
                                             this->plus(order[0]), this->plus(order[1])));
  EXPECT_EQ(this->codef_->bookmark(), order[2]);
}

TYPED_TEST(CodefTest, ARunStartsAfterABookmarkWhoseEntryIsGone) {
  const auto order = this->hashOrder({"a", "b", "c", "d"});
  for (size_t gone = 0; gone < order.size(); ++gone) {
    this->in_ = Qel::make<typename TypeParam::Input>("in", Acl::mac());
    this->mirror_->aclDelAll();
    this->makeWith({"a", "b", "c", "d"});
    this->log_.take();
    this->codef_->bookmarkIs(order[gone]);
    this->codef_->backlogDel(order[gone]);
    EXPECT_EQ(this->run(), 3U);
    Strings expected;
    for (size_t i = 1; i < 4; ++i) expected.push_back(this->plus(order[(gone + i) % 4]));
    EXPECT_EQ(this->log_.take(), expected);
  }
}

TYPED_TEST(CodefTest, ARunOnAnEmptyBacklogTakesNothing) {
  this->make();
  this->codef_->bookmarkIs("b");
  const Support::TraceCapture traces("AclSnmpTypeCodef=8");
  EXPECT_EQ(this->codef_->processBacklog(0), 0U);
  EXPECT_EQ(this->codef_->bookmark(), Qel::Name("b"));
  ASSERT_EQ(traces.traced().size(), 2U);
  EXPECT_TRUE(traces.messages()[1].ends_with(") processed 0"));
}

TYPED_TEST(CodefTest, ChangesThatComeDuringARunAreTaken) {
  this->makeWith({"a"});
  this->log_.action = [this](const std::string& line) {
    if (line == "+a") this->add({"b"});
    if (line == "+b") this->in_->aclDel("a");
  };
  EXPECT_EQ(this->run(), 3U);
  EXPECT_THAT(this->log_.take(), ElementsAre("+a", "+b", "-a"));
  this->expectMirrorEqualsInput();
}

TYPED_TEST(CodefTest, MayBeLetGoDuringItsOwnRun) {
  this->makeWith({"a", "b"});
  this->log_.action = [this](const std::string&) { this->codef_ = nullptr; };
  EXPECT_TRUE(this->scheduler_->runNext());
  EXPECT_EQ(this->scheduler_->tasks(), 0U);
  this->expectMirrorEqualsInput();
}

TYPED_TEST(CodefTest, AnUninitializedProcessorTakesNothing) {
  this->makeWith({"a"});
  this->codef_->initializedIs(false);
  EXPECT_EQ(this->codef_->processBacklog(0), 0U);
  EXPECT_THAT(this->backlog(), ElementsAre("a"));
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

TYPED_TEST(CodefTest, DeathTestInitializationComesOnceAndFirst) {
  this->make();
  EXPECT_DEATH(this->codef_->handleInitialized(), "Assertion '!initialized\\(\\)' failed");
  this->codef_->initializedIs(false);
  EXPECT_DEATH(this->add({"a"}), "Assertion 'initialized\\(\\)' failed");
}

TYPED_TEST(CodefTest, TheBacklogTakesEntriesByHand) {
  this->make();
  this->codef_->newBacklog("a", true);
  this->codef_->backlogIs("b", false);
  EXPECT_THAT(this->backlog(), testing::UnorderedElementsAre("a", "b false"));
  this->codef_->backlogIs("b", true);
  EXPECT_THAT(this->backlog(), testing::UnorderedElementsAre("a", "b"));
  this->codef_->backlogDel("a");
  this->codef_->backlogDel("x");
  EXPECT_THAT(this->backlog(), ElementsAre("b"));
  this->codef_->newBacklog("c", true);
  this->codef_->backlogDel(this->codef_->backlog().startAt("b"));
  EXPECT_THAT(this->backlog(), ElementsAre("c"));
  this->codef_->newBacklog("d", true);
  this->codef_->backlogNotify("d");
  this->codef_->backlogDelAll();
  EXPECT_EQ(this->codef_->backlogSize(), 0U);
  EXPECT_EQ(this->codef_->updatesSeen(), 0U);
  EXPECT_FALSE(this->scheduler_->pending());
}

TYPED_TEST(CodefTest, AnotherInputIsWatchedButNotQueued) {
  this->makeWith({"a"});
  this->run();
  const auto other = Qel::make<typename TypeParam::Input>("other", Acl::ipv6());
  other->aclIs(TypeParam::member("b"));
  TypeParam::inIs(*this->codef_, other);
  EXPECT_EQ(TypeParam::in(*this->codef_), other);
  EXPECT_EQ(this->codef_->type(), Acl::ipv6());
  this->add({"c"});
  EXPECT_EQ(this->codef_->backlogSize(), 0U);
  other->aclIs(TypeParam::member("d"));
  EXPECT_THAT(this->backlog(), ElementsAre("d"));
  TypeParam::inIs(*this->codef_, other);
  EXPECT_EQ(other->notifieeList().size(), 1U);
  EXPECT_EQ(this->in_->notifieeList().size(), 0U);
}

TYPED_TEST(CodefTest, AnInputMayBeTakenAwayAndGivenBack) {
  this->make();
  EXPECT_EQ(TypeParam::inDel(*this->codef_), this->in_);
  EXPECT_EQ(TypeParam::inDel(*this->codef_), nullptr);
  EXPECT_EQ(TypeParam::in(*this->codef_), nullptr);
  this->add({"a"});
  TypeParam::inIs(*this->codef_, this->in_);
  EXPECT_EQ(this->codef_->backlogSize(), 0U);
  this->add({"b"});
  EXPECT_THAT(this->backlog(), ElementsAre("b"));
  TypeParam::inIs(*this->codef_, nullptr);
  EXPECT_EQ(TypeParam::in(*this->codef_), nullptr);
  EXPECT_EQ(this->in_->notifieeList().size(), 0U);
}

TYPED_TEST(CodefTest, NamesThatWaitWhenTheInputGoesCountAsAbsent) {
  this->makeWith({"a", "b"});
  this->run();
  this->log_.take();
  this->in_->aclNotify("a");
  TypeParam::inDel(*this->codef_);
  EXPECT_EQ(this->run(), 1U);
  EXPECT_THAT(this->log_.take(), ElementsAre("-a"));
}

TYPED_TEST(CodefTest, FollowsItsInputWhileNotificationsAreOn) {
  this->make();
  this->codef_->hasNotificationActiveIs(false);
  EXPECT_FALSE(this->codef_->hasNotificationActive());
  this->add({"a"});
  EXPECT_EQ(this->codef_->backlogSize(), 0U);
  TypeParam::inDel(*this->codef_);
  TypeParam::inIs(*this->codef_, this->in_);  // a new reactor has the flag too
  this->add({"b"});
  EXPECT_EQ(this->codef_->backlogSize(), 0U);
  this->codef_->hasNotificationActiveIs(true);
  this->add({"c"});
  EXPECT_THAT(this->backlog(), ElementsAre("c"));
}

TYPED_TEST(CodefTest, AZombieIgnoresItsInput) {
  this->make();
  this->codef_->qelDoZombieReactors(true);
  EXPECT_TRUE(this->codef_->isZombie());
  this->add({"a"});
  EXPECT_EQ(this->codef_->updatesSeen(), 0U);
  this->codef_->qelDoZombieReactors(false);
  EXPECT_FALSE(this->codef_->isZombie());
  this->add({"b"});
  EXPECT_THAT(this->backlog(), ElementsAre("b"));
}

TYPED_TEST(CodefTest, ItsEndDropsWhatIsPending) {
  this->makeWith({"a"});
  this->codef_ = nullptr;
  EXPECT_EQ(this->scheduler_->tasks(), 0U);
  EXPECT_FALSE(this->scheduler_->runNext());
  EXPECT_EQ(this->in_->notifieeList().size(), 0U);
  EXPECT_EQ(this->in_->references(), 1U);
  this->in_->aclNotify("a");
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

}  // namespace
