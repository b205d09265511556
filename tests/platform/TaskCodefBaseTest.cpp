#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <vector>

#include "mek/TaskCodefBase.h"

namespace {

using Mek::TaskScheduler;
using Qel::Ptr;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

/// Processes numbers, each of which takes a quarter of a second.
class Processor final : public Mek::TaskCodefBase {
 public:
  static constexpr Qel::Seconds kEntryTime = 0.25;

  Processor(const Ptr<TaskScheduler>& scheduler, Qel::ManualClock& clock)
      : TaskCodefBase(scheduler, 3, "processor"), clock_(clock) {}
  ~Processor() override {
    if (onGone) onGone();
  }

  void add(int entry) {
    updatesSeenInc(1);
    backlog_.insert(entry);
    scheduleCodef();
  }
  void tearDown() { taskDel(); }

  uint64_t backlogSize() const override { return backlog_.size(); }
  uint64_t processBacklog(const Qel::Seconds& startTime) override {
    starts.push_back(startTime);
    uint64_t taken = 0;
    while (!backlog_.empty()) {
      processed.push_back(*backlog_.begin());
      backlog_.erase(backlog_.begin());
      ++taken;
      clock_.advance(kEntryTime);
      if (onEntry) onEntry();
      if (taskShouldYield()) break;
    }
    return taken;
  }

  std::vector<int> processed;
  std::vector<Qel::Seconds> starts;
  std::function<void()> onEntry;
  std::function<void()> onGone;

 private:
  Qel::ManualClock& clock_;
  std::set<int> backlog_;
};

class Codef : public testing::Test {
 protected:
  void addAll(std::initializer_list<int> entries) {
    for (const int entry : entries) processor_->add(entry);
  }

  Qel::ManualClock clock_{100};
  Ptr<TaskScheduler> scheduler_ = Qel::make<TaskScheduler>();
  Ptr<Processor> processor_ = Qel::make<Processor>(scheduler_, clock_);
};

TEST_F(Codef, RegistersItsTaskForItsLifetime) {
  EXPECT_TRUE(processor_->taskCodefBaseInitialized());
  EXPECT_EQ(processor_->name(), Qel::Name("processor"));
  EXPECT_EQ(processor_->task()->name(), "processor");
  EXPECT_EQ(processor_->task()->priority(), 3U);
  EXPECT_EQ(processor_->backlogQuantum(), TaskScheduler::kDefaultQuantum);
  EXPECT_EQ(TaskScheduler::kDefaultQuantum, 0.005);
  EXPECT_EQ(scheduler_->tasks(), 1U);
  processor_->add(1);
  processor_ = nullptr;
  EXPECT_EQ(scheduler_->tasks(), 0U);
  EXPECT_FALSE(scheduler_->pending());
}

TEST_F(Codef, ANullSchedulerIsRefused) {
  EXPECT_THAT([this] { Qel::make<Processor>(Ptr<TaskScheduler>(), clock_); },
              ThrowsMessage<Qel::RangeException>("null ValidPtr"));
}

TEST_F(Codef, StartsWithEmptyStatistics) {
  EXPECT_EQ(processor_->updatesSeen(), 0U);
  EXPECT_EQ(processor_->updatesProcessed(), 0U);
  EXPECT_EQ(processor_->updatesCoalesced(), 0U);
  EXPECT_EQ(processor_->timeUsed(), 0);
  EXPECT_EQ(processor_->dispatchCount(), 0U);
  EXPECT_EQ(processor_->yieldBeforeFinishingCount(), 0U);
  EXPECT_FALSE(processor_->warm());
}

TEST_F(Codef, AQuantumOfZeroYieldsAfterEachEntry) {
  processor_->backlogQuantumIs(0);
  addAll({1, 2, 3});
  for (uint64_t run = 1; run <= 3; ++run) {
    ASSERT_TRUE(scheduler_->runNext());
    EXPECT_EQ(processor_->processed.size(), run);
    EXPECT_EQ(processor_->dispatchCount(), run);
    EXPECT_EQ(processor_->updatesProcessed(), run);
    EXPECT_EQ(processor_->yieldBeforeFinishingCount(), std::min<uint64_t>(run, 2));
    EXPECT_EQ(processor_->timeUsed(), static_cast<double>(run) * Processor::kEntryTime);
    EXPECT_EQ(processor_->warm(), run == 3);
    EXPECT_EQ(processor_->task()->isScheduled(), run < 3);
  }
  EXPECT_FALSE(scheduler_->runNext());
  EXPECT_THAT(processor_->starts, ElementsAre(100, 100.25, 100.5));
}

TEST_F(Codef, ARunTakesWhatItsQuantumAllows) {
  struct Case {
    double quantum;
    size_t taken;
  };
  for (const Case& c : {Case{0.1, 1}, {0.25, 1}, {0.3, 2}, {0.5, 2}, {0.75, 3}, {100, 4}}) {
    processor_ = Qel::make<Processor>(scheduler_, clock_);
    processor_->backlogQuantumIs(c.quantum);
    addAll({1, 2, 3, 4});
    ASSERT_TRUE(scheduler_->runNext());
    EXPECT_EQ(processor_->processed.size(), c.taken) << c.quantum;
    EXPECT_EQ(processor_->backlogSize(), 4 - c.taken) << c.quantum;
  }
}

TEST_F(Codef, CountsCoalescedUpdatesOverPendingAndTakenOnes) {
  processor_->backlogQuantumIs(0);
  addAll({1, 1, 2, 1});
  EXPECT_EQ(processor_->updatesSeen(), 4U);
  EXPECT_EQ(processor_->updatesCoalesced(), 2U);
  scheduler_->runNext();
  EXPECT_EQ(processor_->updatesCoalesced(), 2U);
  processor_->add(1);
  EXPECT_EQ(processor_->updatesCoalesced(), 2U);
  scheduler_->runNext();
  scheduler_->runNext();
  EXPECT_EQ(processor_->updatesSeen(), 5U);
  EXPECT_EQ(processor_->updatesProcessed(), 3U);
  EXPECT_EQ(processor_->updatesCoalesced(), 2U);
}

TEST_F(Codef, MoreTakenThanSeenIsNoNegativeCoalescing) {
  processor_->updatesProcessedInc(3);
  EXPECT_EQ(processor_->updatesCoalesced(), 0U);
}

TEST_F(Codef, EachStatisticGrowsByAnyAmountAndMayBeSet) {
  using Base = Mek::CodefBaseInternal;
  struct Case {
    const char* what;
    uint64_t (Base::*count)() const;
    void (Base::*inc)(uint64_t);
    void (Base::*set)(uint64_t);
  };
  for (const Case& c :
       {Case{"seen", &Base::updatesSeen, &Base::updatesSeenInc, &Base::updatesSeenIs},
        {"processed", &Base::updatesProcessed, &Base::updatesProcessedInc,
         &Base::updatesProcessedIs},
        {"dispatched", &Base::dispatchCount, &Base::dispatchCountInc, &Base::dispatchCountIs},
        {"yielded", &Base::yieldBeforeFinishingCount, &Base::yieldBeforeFinishingCountInc,
         &Base::yieldBeforeFinishingCountIs}}) {
    SCOPED_TRACE(c.what);
    (*processor_.*c.inc)(3);
    (*processor_.*c.inc)(1ULL << 32);
    EXPECT_EQ((*processor_.*c.count)(), (1ULL << 32) + 3);
    (*processor_.*c.inc)(0);
    EXPECT_EQ((*processor_.*c.count)(), (1ULL << 32) + 3);
    (*processor_.*c.set)(7);
    EXPECT_EQ((*processor_.*c.count)(), 7U);
  }
  processor_->timeUsedInc(0.5);
  processor_->timeUsedInc(0.25);
  EXPECT_EQ(processor_->timeUsed(), 0.75);
  processor_->timeUsedIs(2);
  EXPECT_EQ(processor_->timeUsed(), 2);
}

TEST_F(Codef, ARunWithoutWorkIsCountedAndMakesItWarm) {
  processor_->scheduleCodef();
  EXPECT_TRUE(scheduler_->runNext());
  EXPECT_EQ(processor_->dispatchCount(), 1U);
  EXPECT_EQ(processor_->updatesProcessed(), 0U);
  EXPECT_EQ(processor_->yieldBeforeFinishingCount(), 0U);
  EXPECT_TRUE(processor_->warm());
  EXPECT_FALSE(scheduler_->runNext());
}

TEST_F(Codef, StaysWarmWhenWorkComesBack) {
  processor_->backlogQuantumIs(0);
  processor_->add(1);
  scheduler_->runNext();
  ASSERT_TRUE(processor_->warm());
  addAll({1, 2});
  scheduler_->runNext();
  EXPECT_TRUE(processor_->warm());
}

TEST_F(Codef, WorkThatComesDuringARunIsDone) {
  processor_->backlogQuantumIs(0);
  processor_->onEntry = [this] {
    if (processor_->processed.size() == 1) processor_->add(9);
  };
  processor_->add(1);
  scheduler_->runFor(100);
  EXPECT_THAT(processor_->processed, ElementsAre(1, 9));
  EXPECT_EQ(processor_->dispatchCount(), 2U);
}

TEST_F(Codef, ARunThatBeginsLateInTheSchedulersTimeEndsWithIt) {
  // All runs together stay within the time and one entry, whatever each may use by itself.
  processor_->backlogQuantumIs(1);
  const auto before =
      Qel::make<Mek::Task>(scheduler_, 1U, "before", [this] { clock_.advance(0.5); });
  before->schedule();
  addAll({1, 2, 3, 4, 5, 6, 7});
  scheduler_->runFor(1);
  EXPECT_THAT(processor_->processed, ElementsAre(1, 2));
  EXPECT_EQ(processor_->yieldBeforeFinishingCount(), 1U);
  // Outside of it a run has its own share.
  scheduler_->runNext();
  EXPECT_THAT(processor_->processed, ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(Codef, ASchedulersTimeInsideAnotherDoesNotEndTheOuterOne) {
  processor_->backlogQuantumIs(1);
  const auto nested =
      Qel::make<Mek::Task>(scheduler_, 1U, "nested", [this] { scheduler_->runFor(0); });
  nested->schedule();
  addAll({1, 2, 3, 4});
  EXPECT_FALSE(scheduler_->timeIsUsed());
  scheduler_->runFor(0.75);
  // One entry in the inner time, two more in what was left of the outer one.
  EXPECT_THAT(processor_->processed, ElementsAre(1, 2, 3));
  EXPECT_FALSE(scheduler_->timeIsUsed());
}

TEST_F(Codef, NothingYieldsOutsideOfARun) {
  processor_->backlogQuantumIs(0);
  EXPECT_FALSE(processor_->taskShouldYield());
  std::vector<bool> inside;
  processor_->onEntry = [&] { inside.push_back(processor_->taskShouldYield()); };
  addAll({1, 2});
  EXPECT_EQ(processor_->processBacklog(0), 2U);
  EXPECT_THAT(inside, ElementsAre(false, false));
  addAll({3});
  scheduler_->runNext();
  EXPECT_THAT(inside, ElementsAre(false, false, true));
  EXPECT_FALSE(processor_->taskShouldYield());
  // Neither in another task's time.
  const auto other = Qel::make<Mek::Task>(scheduler_, 1U, "other", [&] {
    clock_.advance(5);
    EXPECT_TRUE(scheduler_->timeIsUsed());
    EXPECT_FALSE(processor_->taskShouldYield());
  });
  other->schedule();
  EXPECT_EQ(scheduler_->runFor(1), 1U);
}

TEST_F(Codef, ARunInsideAnotherDoesNotEndIt) {
  processor_->backlogQuantumIs(0.5);
  std::vector<bool> yields;
  processor_->onEntry = [&] {
    if (processor_->processed.size() == 1) {
      processor_->add(9);
      scheduler_->runNext();
      yields.push_back(processor_->taskShouldYield());
    }
  };
  addAll({1});
  scheduler_->runNext();
  EXPECT_THAT(processor_->processed, ElementsAre(1, 9));
  EXPECT_THAT(yields, ElementsAre(true));  // the outer run has used its share
}

TEST_F(Codef, ARunMayBeDelayedAndTakenBack) {
  processor_->scheduleCodefDelay(2);
  EXPECT_EQ(scheduler_->timeToNext(), 2);
  processor_->unscheduleCodef();
  EXPECT_EQ(scheduler_->timeToNext(), std::nullopt);
}

TEST_F(Codef, AZombieIsNotRescheduled) {
  processor_->backlogQuantumIs(0);
  processor_->onEntry = [this] { processor_->qelDoZombieReactors(true); };
  addAll({1, 2});
  ASSERT_TRUE(scheduler_->runNext());
  EXPECT_TRUE(processor_->isZombie());
  EXPECT_EQ(processor_->backlogSize(), 1U);
  EXPECT_EQ(processor_->yieldBeforeFinishingCount(), 1U);
  EXPECT_FALSE(processor_->task()->isScheduled());
  EXPECT_FALSE(scheduler_->runNext());
}

TEST_F(Codef, DestroyedInItsOwnRunItGoesWhenTheRunIsOver) {
  processor_->backlogQuantumIs(0);
  bool gone = false;
  Processor* processor = processor_.get();
  processor->onGone = [&gone] { gone = true; };
  processor->onEntry = [&] {
    processor_ = nullptr;
    EXPECT_FALSE(gone);
  };
  addAll({1, 2});
  EXPECT_TRUE(scheduler_->runNext());
  EXPECT_TRUE(gone);
  EXPECT_EQ(scheduler_->tasks(), 0U);
  EXPECT_FALSE(scheduler_->pending());
}

TEST_F(Codef, ATaskRemovedBeforehandIsNotRemovedTwice) {
  processor_->add(1);
  processor_->tearDown();
  EXPECT_EQ(processor_->task(), nullptr);
  EXPECT_EQ(scheduler_->tasks(), 0U);
  EXPECT_FALSE(scheduler_->runNext());
  EXPECT_THAT(processor_->processed, IsEmpty());
  processor_ = nullptr;
}

TEST_F(Codef, ATaskThatSomeoneHoldsDoesNotRunWithoutItsProcessor) {
  const Ptr<Mek::Task> held = processor_->task();
  processor_->add(1);
  processor_ = nullptr;
  EXPECT_FALSE(held->isScheduled());
  EXPECT_FALSE(scheduler_->runNext());
  EXPECT_EQ(scheduler_->tasks(), 1U);
}

TEST_F(Codef, KeepsTheFlagsOfNotificationAndTeardown) {
  EXPECT_TRUE(processor_->hasNotificationActive());
  EXPECT_FALSE(processor_->isZombie());
  processor_->hasNotificationActiveIs(false);
  processor_->qelDoZombieReactors(true);
  EXPECT_FALSE(processor_->hasNotificationActive());
  EXPECT_TRUE(processor_->isZombie());
}

}  // namespace
