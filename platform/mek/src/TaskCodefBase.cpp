#include "mek/TaskCodefBase.h"

#include <utility>

namespace Mek {

uint64_t CodefBaseInternal::updatesCoalesced() const {
  const uint64_t accounted = updatesProcessed_ + backlogSize();
  return updatesSeen_ > accounted ? updatesSeen_ - accounted : 0;
}

void CodefBaseInternal::updateWorkStats(uint64_t entriesProcessed, uint64_t entriesRemaining) {
  dispatchCountInc(1);
  updatesProcessedInc(entriesProcessed);
  if (entriesRemaining != 0) {
    yieldBeforeFinishingCountInc(1);
  } else {
    warm_ = true;
  }
}

TaskCodefBase::TaskCodefBase(const Qel::Ptr<TaskScheduler>& taskScheduler,
                             TaskPriority taskPriority, const Qel::String8& taskName)
    : CodefBaseInternal(taskName) {
  TaskCodefBase::taskIs(taskScheduler, taskPriority, taskName);
  TaskCodefBase::taskCodefBaseInitializedIs(true);
}

TaskCodefBase::~TaskCodefBase() { TaskCodefBase::taskDel(); }

void TaskCodefBase::taskIs(const Qel::Ptr<TaskScheduler>& taskScheduler, TaskPriority taskPriority,
                           const Qel::String8& taskName) {
  task_ = Qel::make<Task>(taskScheduler, taskPriority, taskName, [this] { run(); });
}

void TaskCodefBase::taskDel() {
  if (!task_) return;
  task_->unschedule();
  task_ = nullptr;
}

void TaskCodefBase::scheduleCodef() { task_->schedule(); }
void TaskCodefBase::scheduleCodefDelay(Qel::Seconds delay) { task_->scheduleAfter(delay); }
void TaskCodefBase::unscheduleCodef() { task_->unschedule(); }

bool TaskCodefBase::taskShouldYield() const {
  if (!runStart_) return false;
  return Qel::now() - *runStart_ >= backlogQuantum_ || (task_ && task_->scheduler()->timeIsUsed());
}

void TaskCodefBase::run() {
  const Qel::Ptr<TaskCodefBase> self(this);
  const Qel::Seconds start = Qel::now();
  const struct Run {
    std::optional<Qel::Seconds>& current;
    const std::optional<Qel::Seconds> outer;
    ~Run() { current = outer; }
  } run{runStart_, std::exchange(runStart_, start)};
  const uint64_t processed = processBacklog(start);
  timeUsedInc(Qel::now() - start);
  const uint64_t remaining = backlogSize();
  updateWorkStats(processed, remaining);
  // A processor that was torn down by its own work does not run again.
  if (remaining != 0 && !isZombie()) scheduleCodef();
}

}  // namespace Mek
