#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mek/TaskScheduler.h"

namespace {

using Mek::Task;
using Mek::TaskScheduler;
using Qel::Ptr;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

class Scheduler : public testing::Test {
 protected:
  Ptr<Task> task(const std::string& name, Mek::TaskPriority priority = 1) {
    return Qel::make<Task>(scheduler_, priority, name, [this, name] { log_.push_back(name); });
  }
  std::vector<std::string> runAll() {
    log_.clear();
    while (scheduler_->runNext()) {
    }
    return log_;
  }

  Qel::ManualClock clock_{1000};
  Ptr<TaskScheduler> scheduler_ = Qel::make<TaskScheduler>();
  std::vector<std::string> log_;
};

TEST_F(Scheduler, WithoutWorkNothingRuns) {
  const auto idle = task("idle");
  EXPECT_FALSE(scheduler_->pending());
  EXPECT_FALSE(scheduler_->runNext());
  EXPECT_EQ(scheduler_->runFor(1), 0U);
  EXPECT_EQ(scheduler_->timeToNext(), std::nullopt);
  EXPECT_FALSE(idle->isScheduled());
}

TEST_F(Scheduler, CountsItsTasksForTheirLifetime) {
  EXPECT_EQ(scheduler_->tasks(), 0U);
  auto one = task("one");
  const auto two = task("two", 7);
  EXPECT_EQ(scheduler_->tasks(), 2U);
  EXPECT_EQ(two->name(), "two");
  EXPECT_EQ(two->priority(), 7U);
  one = nullptr;
  EXPECT_EQ(scheduler_->tasks(), 1U);
}

TEST_F(Scheduler, ANullSchedulerIsRefused) {
  EXPECT_THAT([] { Qel::make<Task>(Ptr<TaskScheduler>(), 1U, "x", [] {}); },
              ThrowsMessage<Qel::RangeException>("null ValidPtr"));
}

TEST_F(Scheduler, MoreUrgentTasksRunFirstAndEqualOnesInTheOrderOfScheduling) {
  const auto a = task("a", 2);
  const auto b = task("b", 0);
  const auto c = task("c", 2);
  const auto d = task("d", 1);
  const auto e = task("e", 0);
  for (const auto& t : {c, d, a, e, b}) t->schedule();
  EXPECT_THAT(runAll(), ElementsAre("e", "b", "d", "c", "a"));
}

TEST_F(Scheduler, AMoreUrgentTaskScheduledDuringARunGoesNext) {
  const auto urgent = task("urgent", 0);
  const auto late = task("late", 1);
  const auto first = Qel::make<Task>(scheduler_, 1U, "first", [&] { urgent->schedule(); });
  first->schedule();
  late->schedule();
  EXPECT_THAT(runAll(), ElementsAre("urgent", "late"));
}

TEST_F(Scheduler, SchedulingAnOutstandingTaskAgainChangesNothing) {
  const auto a = task("a");
  const auto b = task("b");
  a->schedule();
  b->schedule();
  a->schedule();
  EXPECT_TRUE(a->isScheduled());
  EXPECT_THAT(runAll(), ElementsAre("a", "b"));
  EXPECT_FALSE(a->isScheduled());
  a->schedule();
  EXPECT_THAT(runAll(), ElementsAre("a"));
}

TEST_F(Scheduler, ATaskThatSchedulesItselfGoesToTheEnd) {
  const auto other = task("other");
  int runs = 0;
  Ptr<Task> self;
  self = Qel::make<Task>(scheduler_, 1U, "self", [&] {
    log_.push_back("self");
    EXPECT_FALSE(self->isScheduled());
    if (++runs < 3) self->schedule();
  });
  self->schedule();
  other->schedule();
  EXPECT_THAT(runAll(), ElementsAre("self", "other", "self", "self"));
}

TEST_F(Scheduler, ADelayedTaskRunsWhenItsTimeHasCome) {
  const auto a = task("a");
  a->scheduleAfter(5);
  EXPECT_TRUE(a->isScheduled());
  EXPECT_EQ(scheduler_->timeToNext(), 5);
  EXPECT_THAT(runAll(), IsEmpty());
  clock_.nowIs(1004.75);
  EXPECT_FALSE(scheduler_->pending());
  EXPECT_EQ(scheduler_->timeToNext(), 0.25);
  clock_.nowIs(1005);
  EXPECT_TRUE(scheduler_->pending());
  EXPECT_EQ(scheduler_->timeToNext(), 0);
  EXPECT_THAT(runAll(), ElementsAre("a"));
  EXPECT_EQ(scheduler_->timeToNext(), std::nullopt);
}

TEST_F(Scheduler, DelayedTasksBecomeReadyInTheOrderOfTheirTimes) {
  const auto a = task("a");
  const auto b = task("b");
  const auto c = task("c");
  const auto urgent = task("urgent", 0);
  a->scheduleAfter(3);
  b->scheduleAfter(1);
  c->scheduleAfter(3);
  urgent->scheduleAfter(2);
  clock_.advance(10);
  EXPECT_THAT(runAll(), ElementsAre("urgent", "b", "a", "c"));
}

TEST_F(Scheduler, AnEarlierRequestTakesThePlaceOfALaterOne) {
  const auto a = task("a");
  a->scheduleAfter(5);
  a->scheduleAfter(2);
  clock_.advance(2);
  EXPECT_THAT(runAll(), ElementsAre("a"));
  EXPECT_EQ(scheduler_->timeToNext(), std::nullopt);
  clock_.advance(3);
  EXPECT_THAT(runAll(), IsEmpty());
}

TEST_F(Scheduler, ARequestForTheSameTimeKeepsItsPlace) {
  const auto a = task("a");
  const auto b = task("b");
  for (const auto& t : {a, b, a}) t->scheduleAfter(5);
  clock_.advance(5);
  EXPECT_THAT(runAll(), ElementsAre("a", "b"));
}

TEST_F(Scheduler, TheEarlierOfTwoRequestsStays) {
  const auto a = task("a");
  a->scheduleAfter(5);
  a->scheduleAfter(9);
  EXPECT_EQ(scheduler_->timeToNext(), 5);
  a->scheduleAfter(2);
  EXPECT_EQ(scheduler_->timeToNext(), 2);
  a->schedule();
  EXPECT_EQ(scheduler_->timeToNext(), 0);
  a->scheduleAfter(1);
  EXPECT_EQ(scheduler_->timeToNext(), 0);
  EXPECT_THAT(runAll(), ElementsAre("a"));
  clock_.advance(20);
  EXPECT_THAT(runAll(), IsEmpty());
}

TEST_F(Scheduler, ADelayOfZeroIsReadyAtOnce) {
  const auto a = task("a");
  a->scheduleAfter(0);
  EXPECT_EQ(scheduler_->timeToNext(), 0);
  EXPECT_THAT(runAll(), ElementsAre("a"));
}

TEST_F(Scheduler, UnscheduleTakesARequestBack) {
  const auto a = task("a");
  const auto b = task("b");
  a->unschedule();
  a->schedule();
  b->schedule();
  a->unschedule();
  EXPECT_FALSE(a->isScheduled());
  EXPECT_THAT(runAll(), ElementsAre("b"));
  a->scheduleAfter(1);
  b->scheduleAfter(1);
  a->unschedule();
  clock_.advance(2);
  EXPECT_THAT(runAll(), ElementsAre("b"));
}

TEST_F(Scheduler, ATaskDestroyedWhileItWaitsDoesNotRun) {
  auto ready = task("ready");
  auto delayed = task("delayed");
  auto woken = task("woken");
  const auto stays = task("stays");
  delayed->scheduleAfter(5);
  woken->scheduleAfter(1);
  clock_.advance(2);
  ready->schedule();
  stays->schedule();
  EXPECT_TRUE(scheduler_->pending());
  ready = nullptr;
  delayed = nullptr;
  woken = nullptr;
  clock_.advance(10);
  EXPECT_EQ(scheduler_->tasks(), 1U);
  EXPECT_THAT(runAll(), ElementsAre("stays"));
}

TEST_F(Scheduler, ATaskDestroyedInItsOwnRunLivesUntilTheRunIsOver) {
  Ptr<Task> self;
  const auto captured = std::make_shared<std::string>("intact");
  self = Qel::make<Task>(scheduler_, 1U, "self", [this, &self, captured] {
    self->schedule();
    self = nullptr;
    log_.push_back(*captured);
    EXPECT_EQ(scheduler_->tasks(), 1U);
  });
  self->schedule();
  EXPECT_TRUE(scheduler_->runNext());
  EXPECT_THAT(log_, ElementsAre("intact"));
  EXPECT_EQ(scheduler_->tasks(), 0U);
  EXPECT_EQ(captured.use_count(), 1);
  EXPECT_FALSE(scheduler_->pending());
}

TEST_F(Scheduler, ATaskMayDestroyAnotherThatIsReady) {
  auto victim = task("victim");
  const auto killer = Qel::make<Task>(scheduler_, 1U, "killer", [&victim] { victim = nullptr; });
  killer->schedule();
  victim->schedule();
  EXPECT_THAT(runAll(), IsEmpty());
}

TEST_F(Scheduler, AnExceptionLeavesTheTaskIdleAndTheOthersReady) {
  const auto bad =
      Qel::make<Task>(scheduler_, 1U, "bad", [] { throw Qel::RangeException("from a run"); });
  const auto good = task("good");
  bad->schedule();
  good->schedule();
  EXPECT_THROW(scheduler_->runNext(), Qel::RangeException);
  EXPECT_FALSE(bad->isScheduled());
  EXPECT_THAT(runAll(), ElementsAre("good"));
}

TEST_F(Scheduler, RunForStopsWhenItsTimeIsUsed) {
  struct Case {
    double quantum;
    size_t ran;
  };
  for (const Case& c : {Case{0, 1}, {0.5, 1}, {1, 1}, {1.5, 2}, {2, 2}, {100, 4}}) {
    std::vector<Ptr<Task>> tasks;
    for (int i = 0; i < 4; ++i) {
      tasks.push_back(Qel::make<Task>(scheduler_, 1U, "second", [this] { clock_.advance(1); }));
      tasks.back()->schedule();
    }
    EXPECT_EQ(scheduler_->runFor(c.quantum), c.ran) << c.quantum;
    EXPECT_EQ(scheduler_->pending(), c.ran < 4) << c.quantum;
  }
}

TEST_F(Scheduler, RunForRunsWhatBecomesDueMeanwhile) {
  const auto late = task("late", 0);
  const auto slow = Qel::make<Task>(scheduler_, 1U, "slow", [this] { clock_.advance(1); });
  late->scheduleAfter(0.5);
  slow->schedule();
  EXPECT_EQ(scheduler_->runFor(2), 2U);
  EXPECT_THAT(log_, ElementsAre("late"));
}

TEST_F(Scheduler, LivesAsLongAsItsTasks) {
  const auto a = task("a");
  TaskScheduler* scheduler = scheduler_.get();
  scheduler_ = nullptr;
  a->schedule();
  EXPECT_TRUE(scheduler->runNext());
  EXPECT_THAT(log_, ElementsAre("a"));
}

}  // namespace
