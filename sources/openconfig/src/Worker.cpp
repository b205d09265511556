#include "Worker.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <functional>
#include <new>
#include <string_view>

#include "sources/Text.h"
#include "sources/Thread.h"

namespace Sources::OpenConfig {

Worker::Worker(std::string path, const Limits& limits)
    : path_(std::move(path)), limits_(limits), descriptor_(newEventDescriptor()) {
  const SignalsBlocked blocked;
  try {
    thread_ = std::jthread([this](const std::stop_token& stop) { run(stop); });
  } catch (...) {
    close(descriptor_);
    throw;
  }
}

Worker::~Worker() {
  thread_.request_stop();
  thread_.join();
  close(descriptor_);
}

void Worker::request(bool forced) {
  {
    const std::lock_guard lock(mutex_);
    requested_ = true;
    forced_ = forced_ || forced;
  }
  wake_.notify_one();
}

std::optional<Outcome> Worker::take() {
  const std::lock_guard lock(mutex_);
  if (outcomes_.empty()) {
    eventfd_t count = 0;
    eventfd_read(descriptor_, &count);
    return std::nullopt;
  }
  std::optional<Outcome> outcome(std::move(outcomes_.front()));
  outcomes_.pop_front();
  return outcome;
}

void Worker::run(const std::stop_token& stop) {
  std::unique_lock lock(mutex_);
  while (wake_.wait(lock, stop, [this] { return requested_; })) {
    requested_ = false;
    const bool forced = std::exchange(forced_, false);
    lock.unlock();
    std::optional<Outcome> outcome;
    try {
      outcome = look(forced, stop);
    } catch (const std::bad_alloc&) {
      outcome = Outcome{false, std::nullopt, path_ + ": found too little memory to read it"};
    }
    lock.lock();
    if (stop.stop_requested()) return;
    if (!outcome) continue;
    outcomes_.push_back(std::move(*outcome));
    eventfd_write(descriptor_, 1);
  }
}

std::optional<Outcome> Worker::look(bool forced, const std::stop_token& stop) {
  if (!forced && looked_ && readable_ && !fresh_ && identityOf(path_) == identity_) {
    return std::nullopt;
  }
  FileContents contents = readFile(path_, limits_);
  if (contents.changing) return Outcome{true, std::nullopt, ""};

  const bool same = looked_ && !forced && contents.identity == identity_;
  looked_ = true;
  identity_ = contents.identity;
  fresh_ = contents.fresh;
  const auto* text = std::get_if<std::string>(&contents.octets);
  if (text == nullptr) {
    readable_ = false;
    std::string message = std::get<DocumentError>(contents.octets).text(path_);
    if (same && message == refusal_) return std::nullopt;
    refusal_ = message;
    return Outcome{false, std::nullopt, std::move(message)};
  }
  const size_t hash = std::hash<std::string_view>()(*text);
  const bool known = same && readable_ && hash == hash_;
  readable_ = true;
  hash_ = hash;
  refusal_.clear();
  if (known) return std::nullopt;
  Parsed parsed = parse(*text, limits_, stop);
  if (auto* snapshot = std::get_if<Snapshot>(&parsed)) {
    std::string message = path_ + ": loaded " + summaryOf(*snapshot);
    return Outcome{false, std::move(*snapshot), std::move(message)};
  }
  return Outcome{false, std::nullopt, std::get<DocumentError>(parsed).text(path_)};
}

}  // namespace Sources::OpenConfig
