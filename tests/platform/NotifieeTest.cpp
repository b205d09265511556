#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "qel/Entity.h"
#include "qel/Notifiee.h"

namespace {

using Qel::Hold;
using Qel::Ptr;
using testing::ElementsAre;
using testing::IsEmpty;
using Log = std::vector<std::string>;

class Bell : public Qel::Entity {
 public:
  class NotifieeConst : public Qel::NotifieeOf<Bell> {
   public:
    using Qel::NotifieeOf<Bell>::NotifieeOf;
    virtual void onRing() {}
  };
  explicit Bell(Log* log = nullptr) : Entity("bell"), log_(log) {}
  ~Bell() override {
    if (log_ != nullptr) log_->push_back("bell destroyed");
  }
  void ring() const {
    notify<NotifieeConst>([](NotifieeConst& n) { n.onRing(); });
  }

 private:
  Log* log_;
};

class Listener : public Bell::NotifieeConst {
 public:
  Listener(std::string name, Log& log, const Ptr<const Bell>& bell, Hold hold = Hold::counted)
      : NotifieeConst(hold), name_(std::move(name)), log_(log) {
    notifierIs(bell);
  }
  void onRing() override {
    log_.push_back(name_);
    const auto run = action;  // the listener may go with it
    if (run) run();
  }
  void onZeroReferences() override {
    log_.push_back(name_ + " zero");
    if (action) action();
  }

  std::function<void()> action;

 private:
  std::string name_;
  Log& log_;
};

class Notifiees : public testing::Test {
 protected:
  std::unique_ptr<Listener> listener(const std::string& name, Hold hold = Hold::counted) {
    return std::make_unique<Listener>(name, log_, bell_, hold);
  }
  Log ring() {
    log_.clear();
    bell_->ring();
    return log_;
  }

  Log log_;
  Ptr<Bell> bell_ = Qel::make<Bell>();
  std::unique_ptr<Listener> a_ = listener("a");
  std::unique_ptr<Listener> b_ = listener("b");
  std::unique_ptr<Listener> c_ = listener("c");
};

TEST_F(Notifiees, AreCalledInTheOrderOfRegistration) {
  EXPECT_THAT(ring(), ElementsAre("a", "b", "c"));
  a_->notifierIs(nullptr);
  a_->notifierIs(bell_);
  EXPECT_THAT(ring(), ElementsAre("b", "c", "a"));
}

TEST_F(Notifiees, AnyMayGoDuringANotification) {
  using Member = std::unique_ptr<Listener> Notifiees::*;
  struct Case {
    std::string what;
    std::vector<Member> leaving;
    Log during;
    Log after;
  };
  const Member a = &Notifiees_AnyMayGoDuringANotification_Test::a_;
  const Member b = &Notifiees_AnyMayGoDuringANotification_Test::b_;
  const Member c = &Notifiees_AnyMayGoDuringANotification_Test::c_;
  const std::vector<Case> cases = {
      {"an earlier one", {a}, {"a", "b", "c"}, {"b", "c"}},
      {"itself", {b}, {"a", "b", "c"}, {"a", "c"}},
      {"a later one", {c}, {"a", "b"}, {"a", "b"}},
      {"the earlier and the later", {a, c}, {"a", "b"}, {"b"}},
      {"all", {a, b, c}, {"a", "b"}, {}},
  };
  for (const bool destroyed : {false, true}) {
    for (const Case& test : cases) {
      a_ = listener("a");
      b_ = listener("b");
      c_ = listener("c");
      bool once = false;
      b_->action = [&] {
        if (once) return;
        once = true;
        for (const Member member : test.leaving) {
          if (destroyed) {
            (this->*member).reset();
          } else {
            (this->*member)->notifierIs(nullptr);
          }
        }
      };
      EXPECT_EQ(ring(), test.during) << test.what << (destroyed ? " destroyed" : " removed");
      EXPECT_EQ(ring(), test.after) << test.what << (destroyed ? " destroyed" : " removed");
      EXPECT_EQ(bell_->notifieeList().size(), 3 - test.leaving.size());
    }
  }
}

TEST_F(Notifiees, NewOnesAreCalledFromTheNextNotificationOn) {
  std::unique_ptr<Listener> d;
  b_->action = [&] {
    if (!d) d = listener("d");
  };
  EXPECT_THAT(ring(), ElementsAre("a", "b", "c"));
  EXPECT_THAT(ring(), ElementsAre("a", "b", "c", "d"));
}

TEST_F(Notifiees, ManyNewOnesDuringANotificationLeaveTheRunningOneAlone) {
  std::vector<std::unique_ptr<Listener>> many;
  a_->action = [&] {
    while (many.size() < 1000) many.push_back(listener("new"));
  };
  EXPECT_THAT(ring(), ElementsAre("a", "b", "c"));
  EXPECT_EQ(ring().size(), 1003U);
}

TEST_F(Notifiees, OneThatLeftAndCameBackWaitsForTheNextNotification) {
  b_->action = [&] {
    c_->notifierIs(nullptr);
    c_->notifierIs(bell_);
  };
  EXPECT_THAT(ring(), ElementsAre("a", "b"));
  b_->action = nullptr;
  EXPECT_THAT(ring(), ElementsAre("a", "b", "c"));
}

TEST_F(Notifiees, NestedNotificationsKeepTheListInOrder) {
  int depth = 0;
  b_->action = [&] {
    if (++depth == 1) {
      bell_->ring();
    } else if (depth == 2) {
      a_.reset();
      c_.reset();
    }
  };
  EXPECT_THAT(ring(), ElementsAre("a", "b", "a", "b"));
  EXPECT_THAT(ring(), ElementsAre("b"));
}

TEST_F(Notifiees, OnesThatComeAfterANestedNotificationTakeNobodysPlace) {
  std::unique_ptr<Listener> d;
  int depth = 0;
  b_->action = [&] {
    if (++depth == 1) {
      bell_->ring();
      d = listener("d");
    } else {
      a_.reset();
    }
  };
  EXPECT_THAT(ring(), ElementsAre("a", "b", "a", "b", "c", "c"));
  EXPECT_THAT(ring(), ElementsAre("b", "c", "d"));
}

TEST_F(Notifiees, OnesThatLeftDuringANotificationAreNotCounted) {
  size_t counted = 0;
  b_->action = [&] {
    a_.reset();
    counted = bell_->notifieeList().size();
  };
  ring();
  EXPECT_EQ(counted, 2U);
}

TEST_F(Notifiees, AListThatAllLeftDuringANotificationIsEmpty) {
  c_->action = [&] {
    for (auto* listener : {&a_, &b_, &c_}) listener->reset();
  };
  ring();
  EXPECT_TRUE(bell_->notifieeList().empty());
}

TEST_F(Notifiees, InactiveOnesAndZombiesAreSkipped) {
  EXPECT_TRUE(a_->hasNotificationActive());
  EXPECT_FALSE(a_->isZombie());
  a_->hasNotificationActiveIs(false);
  b_->qelDoZombieReactors(true);
  EXPECT_THAT(ring(), ElementsAre("c"));
  a_->hasNotificationActiveIs(true);
  EXPECT_THAT(ring(), ElementsAre("a", "c"));
  b_->qelDoZombieReactors(false);
  EXPECT_THAT(ring(), ElementsAre("a", "b", "c"));
}

TEST_F(Notifiees, OnesMadeInactiveDuringANotificationAreSkippedAtOnce) {
  a_->action = [&] {
    b_->hasNotificationActiveIs(false);
    c_->qelDoZombieReactors(true);
  };
  EXPECT_THAT(ring(), ElementsAre("a"));
}

TEST_F(Notifiees, AnExceptionOfACallbackLeavesTheListInOrder) {
  b_->action = [&] {
    a_.reset();
    throw Qel::RangeException("from a callback");
  };
  EXPECT_THROW(ring(), Qel::RangeException);
  b_->action = nullptr;
  EXPECT_EQ(bell_->notifieeList().size(), 2U);
  EXPECT_THAT(ring(), ElementsAre("b", "c"));
}

TEST_F(Notifiees, MoveToAnotherNotifierWithoutACallback) {
  const auto other = Qel::make<Bell>();
  b_->notifierIs(other);
  EXPECT_THAT(log_, IsEmpty());
  EXPECT_EQ(b_->notifier(), other.get());
  EXPECT_THAT(ring(), ElementsAre("a", "c"));
  log_.clear();
  other->ring();
  EXPECT_THAT(log_, ElementsAre("b"));
}

TEST_F(Notifiees, MayMoveTheNotifierDuringANotification) {
  const auto other = Qel::make<Bell>();
  a_->action = [&] { c_->notifierIs(other); };
  EXPECT_THAT(ring(), ElementsAre("a", "b"));
  log_.clear();
  other->ring();
  EXPECT_THAT(log_, ElementsAre("c"));
}

TEST_F(Notifiees, SettingTheSameNotifierKeepsThePlace) {
  a_->notifierIs(bell_);
  EXPECT_THAT(ring(), ElementsAre("a", "b", "c"));
  EXPECT_EQ(bell_->notifieeList().size(), 3U);
}

TEST(NotifieeHold, ACountedOneKeepsItsNotifierUntilItMovesOn) {
  Log log;
  auto bell = Qel::make<Bell>(&log);
  Listener listener("a", log, bell);
  EXPECT_EQ(bell->references(), 2U);
  const Bell* held = bell.get();
  bell = nullptr;
  EXPECT_THAT(log, IsEmpty());
  EXPECT_EQ(listener.notifier(), held);
  listener.notifierIs(nullptr);
  EXPECT_THAT(log, ElementsAre("bell destroyed"));
  EXPECT_EQ(listener.notifier(), nullptr);
}

TEST(NotifieeHold, TheLastCountedOneTakesItsNotifierAlong) {
  Log log;
  { const Listener listener("a", log, Qel::make<Bell>(&log)); }
  EXPECT_THAT(log, ElementsAre("bell destroyed"));
}

TEST(NotifieeHold, AWeakOneIsToldAndForgetsItsNotifier) {
  Log log;
  auto bell = Qel::make<Bell>(&log);
  Listener listener("a", log, bell, Hold::weak);
  EXPECT_EQ(bell->references(), 1U);
  bell = nullptr;
  EXPECT_THAT(log, ElementsAre("a zero", "bell destroyed"));
  EXPECT_EQ(listener.notifier(), nullptr);
  const auto other = Qel::make<Bell>();
  listener.notifierIs(other);
  log.clear();
  other->ring();
  EXPECT_THAT(log, ElementsAre("a"));
}

TEST(NotifieeHold, OnZeroReferencesMayUseTheNotifierAndRemoveOthers) {
  Log log;
  auto bell = Qel::make<Bell>(&log);
  Listener a("a", log, bell, Hold::weak);
  auto b = std::make_unique<Listener>("b", log, bell, Hold::weak);
  a.action = [&] {
    const Ptr<const Bell> held(a.notifier());
    log.push_back(held->name().string().str());
    b.reset();
  };
  bell = nullptr;
  EXPECT_THAT(log, ElementsAre("a zero", "bell", "bell destroyed"));
}

TEST(NotifieeHold, SilentOnesAreNotToldOfZeroReferencesButForget) {
  Log log;
  auto bell = Qel::make<Bell>(&log);
  Listener inactive("inactive", log, bell, Hold::weak);
  Listener zombie("zombie", log, bell, Hold::weak);
  inactive.hasNotificationActiveIs(false);
  zombie.qelDoZombieReactors(true);
  bell = nullptr;
  EXPECT_THAT(log, ElementsAre("bell destroyed"));
  EXPECT_EQ(inactive.notifier(), nullptr);
  EXPECT_EQ(zombie.notifier(), nullptr);
}

TEST(NotifieeHold, TheNotifierLivesUntilItsRunningNotificationIsOver) {
  Log log;
  auto bell = Qel::make<Bell>(&log);
  Listener a("a", log, bell, Hold::weak);
  Listener b("b", log, bell, Hold::weak);
  a.action = [&] { bell = nullptr; };
  bell->ring();
  EXPECT_THAT(log, ElementsAre("a", "b", "a zero", "b zero", "bell destroyed"));
}

}  // namespace
