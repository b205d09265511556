#include "apply/ReadingThread.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>

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
  explicit Shared(std::unique_ptr<Reader> made) : reader(std::move(made)) {}

  /// Waits until a reading is due and there is room for what it gives: whether it is forced, or
  /// nothing for the end.
  std::optional<bool> waitForWork();

  const std::unique_ptr<Reader> reader;
  const Qel::Descriptor ready = newEvent();
  const Qel::Descriptor wake = newEvent();
  std::stop_source stop;

  std::mutex mutex;
  std::condition_variable end;
  bool ended = false;
  bool requested = false;
  bool forced = false;
  std::optional<Outcome> outcome;
};

ReadingThread::ReadingThread(std::unique_ptr<Reader> reader, std::chrono::milliseconds patience)
    : shared_(std::make_shared<Shared>(std::move(reader))), patience_(patience) {
  const SignalsBlocked blocked;
  thread_ = std::thread([shared = shared_] { run(*shared); });
}

ReadingThread::~ReadingThread() {
  shared_->stop.request_stop();
  raise(shared_->wake);
  shared_->reader->breakOff();
  std::unique_lock lock(shared_->mutex);
  if (shared_->end.wait_for(lock, patience_, [this] { return shared_->ended; })) {
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

std::optional<bool> ReadingThread::Shared::waitForWork() {
  constexpr long kLongest = 3'600'000;
  while (!stop.stop_requested()) {
    bool full = false;
    {
      const std::lock_guard lock(mutex);
      clear(wake);
      full = outcome.has_value();
      if (requested && !full) {
        requested = false;
        return std::exchange(forced, false);
      }
    }
    const auto now = Reader::Clock::now();
    const auto due = reader->due();
    if (!full && due <= now) return false;
    // One millisecond more than what is cut off.
    const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(due - now).count() + 1;
    pollfd polled[] = {{wake.number(), POLLIN, 0}, {reader->descriptor(), POLLIN, 0}};
    poll(polled, std::size(polled), full ? -1 : static_cast<int>(std::min<long>(rest, kLongest)));
    if (polled[1].revents != 0) reader->handleReadable();
  }
  return std::nullopt;
}

void ReadingThread::run(Shared& shared) {
  while (const std::optional<bool> forced = shared.waitForWork()) {
    std::optional<Outcome> outcome = shared.reader->read(*forced, shared.stop.get_token());
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
