#include "CodefSides.h"
#include "qel/Type.h"

namespace {

using Fixtures::acl;
using Fixtures::Strings;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

template <class Side>
class CodefTest : public Fixtures::CodefTest<Side> {};
TYPED_TEST_SUITE(CodefTest, Fixtures::Sides, Fixtures::SideNames);

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

TYPED_TEST(CodefTest, ARunThatYieldsAtTheEndOfTheOrderGoesOnAtItsStart) {
  const auto order = this->hashOrder({"a", "b", "c"});
  this->makeWith({"a", "b", "c"});
  this->codef_->backlogQuantumIs(0);
  this->codef_->bookmarkIs(order[2]);
  EXPECT_EQ(this->run(), 1U);
  EXPECT_THAT(this->log_.take(), ElementsAre(this->plus(order[2])));
  EXPECT_EQ(this->codef_->bookmark(), order[0]);
  EXPECT_EQ(this->run(), 1U);
  EXPECT_THAT(this->log_.take(), ElementsAre(this->plus(order[0])));
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

TYPED_TEST(CodefTest, AnAclThatChangesDuringItsOwnTurnIsTakenAgain) {
  this->makeWith({"a"});
  bool changed = false;
  this->log_.action = [&](const std::string&) {
    if (!std::exchange(changed, true)) this->add({"a"});  // another object
  };
  EXPECT_EQ(this->run(), 2U);
  EXPECT_THAT(this->log_.take(), ElementsAre("+a", "-a", "+a"));
  this->expectMirrorEqualsInput();
}

TYPED_TEST(CodefTest, ProcessingUsesTheInputAndTheMirrorThatItIsGiven) {
  using Input = typename TypeParam::Input;
  this->makeWith({"a"});
  const auto in = Qel::make<Input>("other", Acl::mac());
  const auto mirror = Qel::make<typename TypeParam::Mirror>("other", Acl::mac());
  in->aclIs(TypeParam::member("a"));
  EXPECT_EQ(AclSnmp::doProcessing(*this->codef_, Qel::Ptr<const Input>(in), mirror, 0), 1U);
  EXPECT_TRUE(mirror->acl("a"));
  EXPECT_EQ(mirror->acl("a"), std::as_const(*in).acl("a"));
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

TYPED_TEST(CodefTest, AChangeThatSharesAnEntryAsksForARunToo) {
  this->makeWith({"a"});
  this->codef_->unscheduleCodef();
  this->in_->aclNotify("a");
  EXPECT_TRUE(this->scheduler_->pending());
  EXPECT_EQ(this->run(), 1U);
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
  const Support::TraceCapture traces("AclSnmpTypeCodef=8");
  EXPECT_EQ(this->codef_->processBacklog(0), 0U);
  EXPECT_EQ(traces.traced().size(), 1U);  // the entry into the run
  EXPECT_THAT(this->backlog(), ElementsAre("a"));
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

TYPED_TEST(CodefTest, ANameTakenOutOfTheBacklogDuringARunIsNotTakenByIt) {
  const auto order = this->hashOrder({"a", "b", "c", "d"});
  for (size_t out = 1; out < order.size(); ++out) {
    this->in_ = Qel::make<typename TypeParam::Input>("in", Acl::mac());
    this->mirror_->aclDelAll();
    this->makeWith({"a", "b", "c", "d"});
    this->log_.take();
    this->log_.action = [&](const std::string& line) {
      if (line == this->plus(order[0])) this->codef_->backlogDel(order[out]);
    };
    EXPECT_EQ(this->run(), 3U);
    Strings expected;
    for (size_t i = 0; i < 4; ++i) {
      if (i != out) expected.push_back(this->plus(order[i]));
    }
    EXPECT_EQ(this->log_.take(), expected);
    this->log_.action = {};
  }
}

TYPED_TEST(CodefTest, TheBacklogMayBeEmptiedDuringARun) {
  this->makeWith({"a", "b", "c"});
  this->codef_->bookmarkIs("x");
  this->log_.action = [this](const std::string&) { this->codef_->backlogDelAll(); };
  EXPECT_EQ(this->run(), 1U);
  EXPECT_EQ(this->log_.take().size(), 1U);
  EXPECT_EQ(this->codef_->bookmark(), Qel::Name("x"));
}

TYPED_TEST(CodefTest, AnEntryLeavesTheBacklogBeforeTheMirrorChanges) {
  this->makeWith({"a"});
  this->run();
  this->in_->aclNotify("a");
  std::vector<uint64_t> pending;
  this->log_.take();
  this->log_.action = [&](const std::string&) { pending.push_back(this->codef_->backlogSize()); };
  this->run();
  EXPECT_THAT(this->log_.take(), ElementsAre("-a", "+a"));
  EXPECT_THAT(pending, ElementsAre(0, 0));
}

TYPED_TEST(CodefTest, ARunStandsAtTheNextEntryBeforeTheMirrorChanges) {
  // What comes between an entry and the next one while the former is taken waits for the wrap.
  const auto order = this->hashOrder({"a", "b", "c"});
  this->make();
  for (const Qel::Name& name : {order[0], order[2]}) this->in_->aclIs(TypeParam::member(name));
  this->log_.action = [&](const std::string& line) {
    if (line == this->plus(order[0])) this->in_->aclIs(TypeParam::member(order[1]));
  };
  EXPECT_EQ(this->run(), 3U);
  EXPECT_THAT(this->log_.take(),
              ElementsAre(this->plus(order[0]), this->plus(order[2]), this->plus(order[1])));
}

TYPED_TEST(CodefTest, BothSidesAreLookedUpBeforeTheMirrorChanges) {
  this->makeWith({"a"});
  this->run();
  const auto first = this->in_->acl("a");
  this->in_->aclNotify("a");
  this->log_.take();
  std::vector<bool> wasFirst;
  this->log_.action = [&](const std::string& line) {
    if (line == "-a" && wasFirst.empty()) this->add({"a"});  // another object
    if (line == "+a") wasFirst.push_back(this->mirror_->acl("a") == first);
  };
  EXPECT_EQ(this->run(), 2U);
  EXPECT_THAT(this->log_.take(), ElementsAre("-a", "+a", "-a", "+a"));
  EXPECT_THAT(wasFirst, ElementsAre(true, false));
}

TYPED_TEST(CodefTest, AProcessingOutsideOfARunTakesEverything) {
  this->makeWith({"a", "b", "c"});
  this->codef_->backlogQuantumIs(0);
  EXPECT_FALSE(this->codef_->taskShouldYield());
  EXPECT_EQ(this->codef_->processBacklog(0), 3U);
  EXPECT_FALSE(this->codef_->taskShouldYield());
  this->expectMirrorEqualsInput();
}

TYPED_TEST(CodefTest, ANewReactorTakesThePlaceOfTheOldOne) {
  this->make();
  const auto other = Qel::make<typename TypeParam::Input>("other", Acl::ipv6());
  other->aclIs(TypeParam::member("x"));
  TypeParam::newIn(*this->codef_, other);
  EXPECT_EQ(TypeParam::in(*this->codef_), other);
  EXPECT_EQ(this->codef_->type(), Acl::ipv6());
  EXPECT_EQ(this->in_->notifieeList().size(), 0U);
  EXPECT_EQ(other->notifieeList().size(), 1U);
  EXPECT_EQ(this->codef_->backlogSize(), 0U);
  other->aclNotify("x");
  EXPECT_THAT(this->backlog(), ElementsAre("x"));
  this->codef_->hasNotificationActiveIs(false);
  TypeParam::newIn(*this->codef_, this->in_);
  this->add({"y"});
  EXPECT_THAT(this->backlog(), ElementsAre("x"));
}

TYPED_TEST(CodefTest, DeathTestInitializationComesOnceAndFirst) {
  this->make();
  EXPECT_DEATH(this->codef_->handleInitialized(),
               "AclSnmpTypeCodef:[0-9]+: .*::handleInitialized\\(\\).*: Assertion "
               "'!initialized\\(\\)' failed");
  this->codef_->initializedIs(false);
  EXPECT_DEATH(this->add({"a"}),
               "AclSnmpTypeCodef:[0-9]+: .*::handleAcl\\(.*: Assertion 'initialized\\(\\)' failed");
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

}  // namespace
