#pragma once

/// The cooperative task scheduler of the event thread.
///
/// A task is run once for each time it was scheduled; scheduling it again while a run is
/// outstanding changes nothing. Tasks of a more urgent priority run first, tasks of one priority in
/// the order in which they became ready. Nothing runs by itself: the main loop calls `runNext` or
/// `runFor`.

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>

#include "qel/Ptr.h"
#include "qel/String8.h"
#include "qel/Time.h"

namespace Mek {

/// 0 is the most urgent.
using TaskPriority = uint32_t;

class TaskScheduler;

/// One piece of deferred work, registered with its scheduler for its lifetime.
class Task : public Qel::PtrInterface {
 public:
  Task(const Qel::Ptr<TaskScheduler>& scheduler, TaskPriority priority, Qel::String8 name,
       std::function<void()> run);
  ~Task() override;

  const Qel::String8& name() const { return name_; }
  TaskPriority priority() const { return priority_; }
  const Qel::Ptr<TaskScheduler>& scheduler() const { return scheduler_; }
  bool isScheduled() const { return state_ != State::idle; }

  /// Asks for a run soon.
  void schedule();
  /// Asks for a run when `delay` seconds have passed; a run that is due earlier stays.
  void scheduleAfter(Qel::Seconds delay);
  /// Takes an outstanding request back.
  void unschedule();

 private:
  friend class TaskScheduler;
  enum class State { idle, delayed, ready };

  Qel::Ptr<TaskScheduler> scheduler_;
  TaskPriority priority_;
  Qel::String8 name_;
  std::function<void()> run_;
  State state_ = State::idle;
  Qel::Seconds due_ = 0;
};

class TaskScheduler : public Qel::PtrInterface {
 public:
  /// The share of time that a run may use unless its task states another: 5 ms.
  static constexpr Qel::Seconds kDefaultQuantum = 0.005;

  /// Whether a task is ready to run now.
  bool pending();
  /// Seconds until the next delayed task is due, 0 when one is ready; nothing when there is none.
  std::optional<Qel::Seconds> timeToNext();
  /// Runs the most urgent ready task once; false when none was ready.
  bool runNext();
  /// Runs ready tasks until none is left or `quantum` seconds have passed; at least one where one
  /// is ready. Returns how many ran.
  size_t runFor(Qel::Seconds quantum);
  /// Whether the time of the `runFor` under way is used: whatever runs should come to its end.
  bool timeIsUsed() const;
  /// The number of tasks registered.
  size_t tasks() const { return tasks_; }

 private:
  friend class Task;
  void ready(Task* task);
  void remove(Task* task);
  void wakeDue();

  size_t tasks_ = 0;
  std::map<TaskPriority, std::deque<Task*>> ready_;
  std::multimap<Qel::Seconds, Task*> delayed_;
  std::optional<Qel::Seconds> end_;  // of the `runFor` under way
};

}  // namespace Mek
