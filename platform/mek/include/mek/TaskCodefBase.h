#pragma once

/// The base of deferred processors: an entity that collects work and does it in runs on the task
/// scheduler, each within a share of time, and keeps statistics about them.
///
/// A derived class asks for a run with `scheduleCodef`, does the work in `processBacklog` and says
/// in `backlogSize` what is left; while that is not zero after a run, another run follows.

#include <cstdint>
#include <optional>

#include "mek/TaskScheduler.h"
#include "qel/Entity.h"

namespace Mek {

/// What a processor has seen and done; written by the base and, for `updatesSeen`, by the
/// processor.
class CodefBaseInternal : public Qel::Entity {
 public:
  using Qel::Entity::Entity;

  /// Changes that were reported to the processor.
  uint64_t updatesSeen() const { return updatesSeen_; }
  /// Backlog entries that were taken.
  uint64_t updatesProcessed() const { return updatesProcessed_; }
  /// Seconds spent in runs.
  Qel::Seconds timeUsed() const { return timeUsed_; }
  /// Runs made.
  uint64_t dispatchCount() const { return dispatchCount_; }
  /// Runs that ended with work left.
  uint64_t yieldBeforeFinishingCount() const { return yieldBeforeFinishingCount_; }
  /// Changes seen that did not need an entry of their own: those seen less those taken or pending.
  uint64_t updatesCoalesced() const;
  /// Whether the backlog has been empty after a run at least once.
  bool warm() const { return warm_; }

  /// The number of entries that wait.
  virtual uint64_t backlogSize() const { return 0; }

  virtual void updatesSeenInc(uint64_t count) { updatesSeenIs(updatesSeen_ + count); }
  virtual void updatesProcessedInc(uint64_t count) {
    updatesProcessedIs(updatesProcessed_ + count);
  }
  virtual void timeUsedInc(Qel::Seconds time) { timeUsedIs(timeUsed_ + time); }
  virtual void dispatchCountInc(uint64_t count) { dispatchCountIs(dispatchCount_ + count); }
  virtual void yieldBeforeFinishingCountInc(uint64_t count) {
    yieldBeforeFinishingCountIs(yieldBeforeFinishingCount_ + count);
  }
  virtual void updatesSeenIs(uint64_t count) { updatesSeen_ = count; }
  virtual void updatesProcessedIs(uint64_t count) { updatesProcessed_ = count; }
  virtual void timeUsedIs(Qel::Seconds time) { timeUsed_ = time; }
  virtual void dispatchCountIs(uint64_t count) { dispatchCount_ = count; }
  virtual void yieldBeforeFinishingCountIs(uint64_t count) { yieldBeforeFinishingCount_ = count; }

 protected:
  /// Takes the result of one run into the statistics.
  virtual void updateWorkStats(uint64_t entriesProcessed, uint64_t entriesRemaining);

 private:
  uint64_t updatesSeen_ = 0;
  uint64_t updatesProcessed_ = 0;
  Qel::Seconds timeUsed_ = 0;
  uint64_t dispatchCount_ = 0;
  uint64_t yieldBeforeFinishingCount_ = 0;
  bool warm_ = false;
};

class TaskCodefBase : public CodefBaseInternal {
 public:
  /// Registers a task of that name and priority. A null scheduler throws `RangeException`.
  TaskCodefBase(const Qel::Ptr<TaskScheduler>& taskScheduler, TaskPriority taskPriority,
                const Qel::String8& taskName);
  /// Removes the task.
  ~TaskCodefBase() override;

  /// Seconds that one run may use; `TaskScheduler::kDefaultQuantum` at start. With 0 a run yields
  /// after its first entry.
  Qel::Seconds backlogQuantum() const { return backlogQuantum_; }
  virtual void backlogQuantumIs(Qel::Seconds quantum) { backlogQuantum_ = quantum; }

  const Qel::Ptr<Task>& task() const { return task_; }
  bool taskCodefBaseInitialized() const { return taskCodefBaseInitialized_; }

  /// Does work that began at `startTime` until none is left or `taskShouldYield()`; returns how
  /// many entries it took.
  virtual uint64_t processBacklog(const Qel::Seconds& startTime) = 0;

  virtual void scheduleCodef();
  virtual void scheduleCodefDelay(Qel::Seconds delay);
  virtual void unscheduleCodef();

  /// Whether the run under way has used its share of time, or all runs together the scheduler's.
  /// False outside a run.
  bool taskShouldYield() const;

  bool hasNotificationActive() const { return notificationActive_; }
  virtual void hasNotificationActiveIs(bool active) { notificationActive_ = active; }
  bool isZombie() const { return zombie_; }
  virtual void qelDoZombieReactors(bool zombie) { zombie_ = zombie; }

 protected:
  virtual void taskIs(const Qel::Ptr<TaskScheduler>& taskScheduler, TaskPriority taskPriority,
                      const Qel::String8& taskName);
  virtual void taskDel();
  virtual void taskCodefBaseInitializedIs(bool initialized) {
    taskCodefBaseInitialized_ = initialized;
  }

 private:
  void run();

  Qel::Ptr<Task> task_;
  Qel::Seconds backlogQuantum_ = TaskScheduler::kDefaultQuantum;
  std::optional<Qel::Seconds> runStart_;  // of the run under way
  bool taskCodefBaseInitialized_ = false;
  bool notificationActive_ = true;
  bool zombie_ = false;
};

}  // namespace Mek
