#include "apply/ReadingThread.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <iterator>
#include <mutex>
#include <system_error>

#include "qel/Descriptor.h"

namespace Sources {

namespace {

Qel::Descriptor newEvent() {
  Qel::Descriptor event(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  if (!event) throw std::system_error(errno, std::generic_category(), "eventfd");
  return event;
}

Qel::Descriptor newTimer() {
  Qel::Descriptor timer(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
  if (!timer) throw std::system_error(errno, std::generic_category(), "timerfd_create");
  return timer;
}

/// Makes a timer readable after so long, or not at all for no time.
void set(const Qel::Descriptor& timer, std::chrono::milliseconds after) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(after);
  itimerspec time{};
  time.it_value.tv_sec = seconds.count();
  time.it_value.tv_nsec = std::chrono::nanoseconds(after - seconds).count();
  timerfd_settime(timer.number(), 0, &time, nullptr);
}

void raise(const Qel::Descriptor& event) { eventfd_write(event.number(), 1); }

void clear(const Qel::Descriptor& event) {
  eventfd_t count = 0;
  eventfd_read(event.number(), &count);
}

/// Keeps signals away from threads that are made during its lifetime: they are for the event
/// thread.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

}  // namespace

struct ReadingThread::Shared {
  static constexpr std::chrono::seconds kRetry{1};

  Shared(std::unique_ptr<Reader> made, std::chrono::milliseconds mostTime)
      : reader(std::move(made)), longest(mostTime) {}

  /// Waits until a reading is due and there is room for what it gives: whether it is forced, or
  /// nothing for the end.
  std::optional<bool> waitForWork();
  /// One reading, watched for how long it takes.
  std::optional<Outcome> read(bool forcedOne);

  bool isOverdue() const { return since && Reader::Clock::now() - *since >= longest; }

  const std::unique_ptr<Reader> reader;
  const Qel::Descriptor ready = newEvent();
  const Qel::Descriptor wake = newEvent();
  const Qel::Descriptor late = newTimer();
  const std::chrono::milliseconds longest;
  std::stop_source stop;

  std::mutex mutex;
  std::condition_variable end;
  bool ended = false;
  bool requested = false;
  bool forced = false;
  /// Nothing is read before that.
  Reader::Clock::time_point retryAt{};
  /// When the reading under way began.
  std::optional<Reader::Clock::time_point> since;
  std::optional<Outcome> outcome;
};

ReadingThread::ReadingThread(std::unique_ptr<Reader> reader, const Patience& patience)
    : shared_(std::make_shared<Shared>(std::move(reader), patience.reading)), patience_(patience) {
  const SignalsBlocked blocked;
  thread_ = std::thread([shared = shared_] { run(*shared); });
}

ReadingThread::~ReadingThread() {
  shared_->stop.request_stop();
  raise(shared_->wake);
  shared_->reader->breakOff();
  std::unique_lock lock(shared_->mutex);
  // Where many files stand on one file system that hangs, waiting for each would add up.
  constexpr std::chrono::milliseconds kNearlyNone{50};
  const auto wait = shared_->isOverdue() ? std::min(kNearlyNone, patience_.end) : patience_.end;
  if (shared_->end.wait_for(lock, wait, [this] { return shared_->ended; })) {
    lock.unlock();
    thread_.join();
  } else {
    thread_.detach();
  }
}

void ReadingThread::request(bool forced) {
  {
    const std::lock_guard lock(shared_->mutex);
    shared_->requested = true;
    shared_->forced = shared_->forced || forced;
  }
  raise(shared_->wake);
}

int ReadingThread::descriptor() const { return shared_->ready.number(); }

Reader& ReadingThread::reader() { return *shared_->reader; }

std::optional<Outcome> ReadingThread::take() {
  std::optional<Outcome> outcome;
  {
    const std::lock_guard lock(shared_->mutex);
    clear(shared_->ready);
    outcome.swap(shared_->outcome);
  }
  if (outcome) raise(shared_->wake);
  return outcome;
}

int ReadingThread::overdueDescriptor() const { return shared_->late.number(); }

bool ReadingThread::takeOverdue() {
  const std::lock_guard lock(shared_->mutex);
  uint64_t expired = 0;
  if (::read(shared_->late.number(), &expired, sizeof expired) < 0) expired = 0;
  return shared_->isOverdue();
}

std::optional<bool> ReadingThread::Shared::waitForWork() {
  constexpr long kLongest = 3'600'000;
  while (!stop.stop_requested()) {
    bool full = false;
    bool waits = false;
    {
      const std::lock_guard lock(mutex);
      clear(wake);
      full = outcome.has_value();
      waits = Reader::Clock::now() < retryAt;
      if (requested && !full && !waits) {
        requested = false;
        return std::exchange(forced, false);
      }
    }
    const auto now = Reader::Clock::now();
    const auto due = waits ? retryAt : reader->due();
    if (!full && !waits && due <= now) return false;
    // One millisecond more than what is cut off.
    const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(due - now).count() + 1;
    pollfd polled[] = {{wake.number(), POLLIN, 0}, {reader->descriptor(), POLLIN, 0}};
    poll(polled, std::size(polled), full ? -1 : static_cast<int>(std::min<long>(rest, kLongest)));
    if (polled[1].revents != 0) reader->handleReadable();
  }
  return std::nullopt;
}

std::optional<Outcome> ReadingThread::Shared::read(bool forcedOne) {
  {
    const std::lock_guard lock(mutex);
    since = Reader::Clock::now();
  }
  set(late, longest);
  std::optional<Outcome> given;
  try {
    given = reader->read(forcedOne, stop.get_token());
  } catch (const std::bad_alloc&) {
    // Not even enough to say so: it is asked for again.
    const std::lock_guard lock(mutex);
    requested = true;
    forced = true;
    retryAt = Reader::Clock::now() + kRetry;
  }
  set(late, std::chrono::milliseconds(0));
  const std::lock_guard lock(mutex);
  if (isOverdue()) raise(ready);
  since.reset();
  return given;
}

void ReadingThread::run(Shared& shared) {
  while (const std::optional<bool> forced = shared.waitForWork()) {
    std::optional<Outcome> outcome = shared.read(*forced);
    if (!outcome || shared.stop.stop_requested()) continue;
    const std::lock_guard lock(shared.mutex);
    shared.outcome = std::move(outcome);
    raise(shared.ready);
  }
  const std::lock_guard lock(shared.mutex);
  shared.ended = true;
  shared.end.notify_one();
}

}  // namespace Sources
