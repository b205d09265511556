#include "mek/TaskScheduler.h"

#include <algorithm>
#include <utility>

namespace Mek {

Task::Task(const Qel::Ptr<TaskScheduler>& scheduler, TaskPriority priority, Qel::String8 name,
           std::function<void()> run)
    : scheduler_(Qel::validPtr(scheduler)),
      priority_(priority),
      name_(std::move(name)),
      run_(std::move(run)) {
  ++scheduler_->tasks_;
}

Task::~Task() {
  unschedule();
  --scheduler_->tasks_;
}

void Task::schedule() {
  if (state_ == State::ready) return;
  unschedule();
  scheduler_->ready(this);
}

void Task::scheduleAfter(Qel::Seconds delay) {
  const Qel::Seconds due = Qel::now() + delay;
  if (state_ == State::ready || (state_ == State::delayed && due_ <= due)) return;
  unschedule();
  due_ = due;
  scheduler_->delayed_.emplace(due, this);
  state_ = State::delayed;
}

void Task::unschedule() {
  if (state_ != State::idle) scheduler_->remove(this);
  state_ = State::idle;
}

void TaskScheduler::ready(Task* task) {
  ready_[task->priority_].push_back(task);
  task->state_ = Task::State::ready;
}

void TaskScheduler::remove(Task* task) {
  if (task->state_ == Task::State::ready) {
    const auto queue = ready_.find(task->priority_);
    std::erase(queue->second, task);
    if (queue->second.empty()) ready_.erase(queue);
  } else {
    std::erase_if(delayed_, [task](const auto& entry) { return entry.second == task; });
  }
}

void TaskScheduler::wakeDue() {
  const Qel::Seconds now = Qel::now();
  while (!delayed_.empty() && delayed_.begin()->first <= now) {
    Task* task = delayed_.begin()->second;
    delayed_.erase(delayed_.begin());
    ready(task);
  }
}

bool TaskScheduler::pending() {
  wakeDue();
  return !ready_.empty();
}

std::optional<Qel::Seconds> TaskScheduler::timeToNext() {
  if (pending()) return 0;
  if (delayed_.empty()) return std::nullopt;
  return std::max(0.0, delayed_.begin()->first - Qel::now());
}

bool TaskScheduler::runNext() {
  if (!pending()) return false;
  const auto queue = ready_.begin();
  const Qel::Ptr<Task> task(queue->second.front());
  queue->second.pop_front();
  if (queue->second.empty()) ready_.erase(queue);
  task->state_ = Task::State::idle;
  task->run_();
  return true;
}

size_t TaskScheduler::runFor(Qel::Seconds quantum) {
  const struct Slice {
    std::optional<Qel::Seconds>& end;
    const std::optional<Qel::Seconds> outer;
    ~Slice() { end = outer; }
  } slice{end_, std::exchange(end_, Qel::now() + quantum)};
  size_t ran = 0;
  while (runNext()) {
    ++ran;
    if (timeIsUsed()) break;
  }
  return ran;
}

bool TaskScheduler::timeIsUsed() const { return end_ && Qel::now() >= *end_; }

}  // namespace Mek
