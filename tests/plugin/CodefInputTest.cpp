// A backlog processor and its input: replaced, taken away, silent, and at its end.

#include "CodefSides.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

template <class Side>
class CodefInput : public Fixtures::CodefTest<Side> {};
TYPED_TEST_SUITE(CodefInput, Fixtures::Sides, Fixtures::SideNames);

TYPED_TEST(CodefInput, AnotherInputIsWatchedButNotQueued) {
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

TYPED_TEST(CodefInput, AnInputMayBeTakenAwayAndGivenBack) {
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

TYPED_TEST(CodefInput, NamesThatWaitWhenTheInputGoesCountAsAbsent) {
  this->makeWith({"a", "b"});
  this->run();
  this->log_.take();
  this->in_->aclNotify("a");
  TypeParam::inDel(*this->codef_);
  EXPECT_EQ(this->run(), 1U);
  EXPECT_THAT(this->log_.take(), ElementsAre("-a"));
}

TYPED_TEST(CodefInput, ARunGoesOnWithTheInputThatItBeganWith) {
  this->makeWith({"a", "b"});
  Fixtures::Strings gone;
  const Fixtures::GoneLog<typename TypeParam::Input> input(this->in_, "input", gone);
  this->log_.action = [&](const std::string&) {
    TypeParam::inDel(*this->codef_);
    this->in_ = nullptr;
    EXPECT_THAT(gone, IsEmpty());
  };
  EXPECT_EQ(this->run(), 2U);
  EXPECT_THAT(this->log_.take(), testing::UnorderedElementsAre("+a", "+b"));
  EXPECT_THAT(gone, ElementsAre("input"));
}

TYPED_TEST(CodefInput, FollowsItsInputWhileNotificationsAreOn) {
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

TYPED_TEST(CodefInput, AZombieIgnoresItsInput) {
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

TYPED_TEST(CodefInput, AZombieIgnoresAnInputThatItGetsToo) {
  this->make();
  this->codef_->qelDoZombieReactors(true);
  TypeParam::inDel(*this->codef_);
  TypeParam::inIs(*this->codef_, this->in_);
  this->add({"a"});
  EXPECT_EQ(this->codef_->updatesSeen(), 0U);
}

TYPED_TEST(CodefInput, AZombieReactorIgnoresWhoeverCallsIt) {
  this->make();
  typename TypeParam::Reactor reactor(this->codef_.get(), this->in_);
  reactor.onAcl("a");
  EXPECT_EQ(this->codef_->updatesSeen(), 1U);
  reactor.qelDoZombieReactors(true);
  reactor.onAcl("b");
  EXPECT_EQ(this->codef_->updatesSeen(), 1U);
}

TYPED_TEST(CodefInput, QueuesChangesOfOneNameOnly) {
  this->make();
  typename TypeParam::Reactor reactor(this->codef_.get(), this->in_);
  reactor.onAcl();
  reactor.onAclqelImmediate();
  EXPECT_EQ(this->codef_->updatesSeen(), 0U);
  EXPECT_EQ(this->codef_->backlogSize(), 0U);
  reactor.onAcl("a");
  EXPECT_THAT(this->backlog(), ElementsAre("a"));
}

TYPED_TEST(CodefInput, ItsEndDropsWhatIsPending) {
  this->makeWith({"a"});
  this->codef_ = nullptr;
  EXPECT_EQ(this->scheduler_->tasks(), 0U);
  EXPECT_FALSE(this->scheduler_->runNext());
  EXPECT_EQ(this->in_->notifieeList().size(), 0U);
  EXPECT_EQ(this->in_->references(), 1U);
  this->in_->aclNotify("a");
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

TYPED_TEST(CodefInput, ItsEndLetsTheMirrorGoThenTheInputAndThenItsTask) {
  this->make();
  Fixtures::Strings gone;
  std::vector<size_t> tasks;
  Fixtures::GoneLog<typename TypeParam::Mirror> mirror(this->mirror_, "mirror", gone);
  Fixtures::GoneLog<typename TypeParam::Input> input(this->in_, "input", gone);
  const Support::TraceCapture traces("AclSnmpTypeCodef=8");
  mirror.action = [&, in = this->in_.get()] {
    tasks.push_back(this->scheduler_->tasks());
    if (input.notifier() != nullptr) in->aclIs(TypeParam::member("late"));
  };
  input.action = [&] { tasks.push_back(this->scheduler_->tasks()); };
  this->log_.notifierIs(nullptr);
  this->mirror_ = nullptr;
  this->in_ = nullptr;
  this->codef_ = nullptr;
  EXPECT_THAT(gone, ElementsAre("mirror", "input"));
  EXPECT_THAT(tasks, ElementsAre(1, 1));
  EXPECT_EQ(this->scheduler_->tasks(), 0U);
  EXPECT_THAT(traces.traced(), IsEmpty());
}

}  // namespace
