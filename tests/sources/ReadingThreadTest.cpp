#include "apply/ReadingThread.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <future>
#include <system_error>

#include "apply/ReadingSource.h"
#include "qel/Descriptor.h"
#include "support/Sanitizer.h"

namespace Sources {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

/// Tells of each reading with one line.
class Scripted final : public Reader {
 public:
  std::optional<Outcome> read(bool forced, const std::stop_token& stop) override {
    signalsBlocked = isBlocked(SIGTERM) && isBlocked(SIGHUP);
    if (during) during(stop);
    ++readings;
    due_ = Clock::time_point::max();
    if (silent) return std::nullopt;
    return Outcome{{}, {{Qel::Severity::info, forced ? "forced" : "asked"}}};
  }
  Clock::time_point due() const override { return due_; }
  int descriptor() const override { return event.number(); }
  void handleReadable() override {
    eventfd_t count = 0;
    eventfd_read(event.number(), &count);
    due_ = Clock::now();
  }
  void breakOff() override {
    if (broken) broken();
  }

  std::function<void(const std::stop_token&)> during;
  std::function<void()> broken;
  bool silent = false;
  std::atomic<int> readings = 0;
  std::atomic<bool> signalsBlocked = false;
  const Qel::Descriptor event{eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)};

 private:
  static bool isBlocked(int signal) {
    sigset_t set;
    pthread_sigmask(SIG_SETMASK, nullptr, &set);
    return sigismember(&set, signal) == 1;
  }

  Clock::time_point due_ = Clock::time_point::max();
};

bool isReadable(const ReadingThread& thread, int milliseconds) {
  pollfd polled{thread.descriptor(), POLLIN, 0};
  return poll(&polled, 1, milliseconds) == 1;
}

/// The line of the next outcome.
std::string next(ReadingThread& thread) {
  constexpr int kLong = 60'000;
  while (isReadable(thread, kLong)) {
    if (auto outcome = thread.take()) return outcome->lines.at(0).second;
  }
  return "nothing";
}

size_t openDescriptors() {
  size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    ++count;
  }
  return count;
}

TEST(ReadingThread, ReadsWhenAskedAndTellsWhetherItIsForced) {
  ReadingThread thread(std::make_unique<Scripted>());
  EXPECT_FALSE(isReadable(thread, 0));
  thread.request(false);
  EXPECT_EQ(next(thread), "asked");
  EXPECT_FALSE(thread.take());
  EXPECT_FALSE(isReadable(thread, 0));
  thread.request(true);
  EXPECT_EQ(next(thread), "forced");
  EXPECT_TRUE(static_cast<Scripted&>(thread.reader()).signalsBlocked);
}

TEST(ReadingThread, ReadsOnOnlyWhenTheOutcomeWasTaken) {
  ReadingThread thread(std::make_unique<Scripted>());
  auto& reader = static_cast<Scripted&>(thread.reader());
  thread.request(false);
  ASSERT_TRUE(isReadable(thread, 60'000));
  // What is asked for meanwhile comes once, forced when one of the requests was.
  thread.request(false);
  thread.request(true);
  thread.request(false);
  EXPECT_EQ(reader.readings, 1);
  EXPECT_EQ(next(thread), "asked");
  EXPECT_EQ(next(thread), "forced");
  EXPECT_EQ(reader.readings, 2);
}

TEST(ReadingThread, ReadsWhenItsDescriptorTells) {
  ReadingThread thread(std::make_unique<Scripted>());
  thread.request(false);
  EXPECT_EQ(next(thread), "asked");
  eventfd_write(static_cast<Scripted&>(thread.reader()).event.number(), 1);
  EXPECT_EQ(next(thread), "asked");
}

TEST(ReadingThread, ReadingWithoutAnOutcomeTellsNothing) {
  auto reader = std::make_unique<Scripted>();
  reader->silent = true;
  std::promise<void> read;
  reader->during = [&](const std::stop_token&) { read.set_value(); };
  ReadingThread thread(std::move(reader));
  thread.request(false);
  read.get_future().wait();
  EXPECT_FALSE(isReadable(thread, 0));
}

TEST(ReadingThread, DestructionStopsAReadingAndBreaksItOff) {
  auto reader = std::make_unique<Scripted>();
  std::promise<void> begun;
  std::promise<void> broken;
  std::atomic<bool> stopped = false;
  reader->during = [&](const std::stop_token& stop) {
    begun.set_value();
    broken.get_future().wait();
    stopped = stop.stop_requested();
  };
  reader->broken = [&] { broken.set_value(); };
  {
    ReadingThread thread(std::move(reader), {.end = 60s});
    thread.request(false);
    begun.get_future().wait();
  }
  EXPECT_TRUE(stopped);
}

TEST(ReadingThread, ReaderThatHangsIsLeftBehind) {
  /// Tells of its end, which is after that of the thread's owner.
  struct Hanging final : Reader {
    Hanging(std::promise<void>& begun, std::shared_future<void> end, std::promise<void>& gone)
        : begun_(begun), end_(std::move(end)), gone_(gone) {}
    ~Hanging() override { gone_.set_value(); }
    std::optional<Outcome> read(bool, const std::stop_token&) override {
      begun_.set_value();
      end_.wait();
      return Outcome{};
    }
    std::promise<void>& begun_;
    std::shared_future<void> end_;
    std::promise<void>& gone_;
  };
  std::promise<void> begun;
  std::promise<void> end;
  std::promise<void> gone;
  {
    ReadingThread thread(std::make_unique<Hanging>(begun, end.get_future().share(), gone),
                         {.end = 1ms});
    thread.request(false);
    begun.get_future().wait();
  }
  auto goes = gone.get_future();
  EXPECT_EQ(goes.wait_for(0s), std::future_status::timeout);
  end.set_value();
  EXPECT_EQ(goes.wait_for(60s), std::future_status::ready);
}

TEST(ReadingThread, DestructionHardlyWaitsForAReaderThatIsOverdue) {
  std::promise<void> end;
  auto gone = std::make_shared<std::promise<void>>();
  auto goes = gone->get_future();
  auto reader = std::make_unique<Scripted>();
  reader->during = [&](const std::stop_token&) {
    end.get_future().wait();
    gone->set_value();
  };
  {
    // An hour, if it waited.
    ReadingThread thread(std::move(reader), {.reading = 1ms, .end = 3600s});
    thread.request(false);
    pollfd polled{thread.overdueDescriptor(), POLLIN, 0};
    ASSERT_EQ(poll(&polled, 1, 60'000), 1);
    EXPECT_TRUE(thread.takeOverdue());
    EXPECT_EQ(poll(&polled, 1, 0), 0);
  }
  end.set_value();
  EXPECT_EQ(goes.wait_for(60s), std::future_status::ready);
}

TEST(ReadingSource, TellsOnceOfAReadingThatHangsAndOnceOfItsEnd) {
  class Source final : public ReadingSource {
   public:
    using ReadingSource::ReadingSource;
  };
  std::vector<std::string> lines;
  const Mount mount{
      Qel::make<Qel::Dir>("input"), Qel::make<Qel::Dir>("status"), Qel::make<Mek::TaskScheduler>(),
      [&](Severity severity, const std::string& line) {
        lines.push_back((severity == Severity::warning ? "warning " : "info ") + line);
      }};
  std::promise<void> end;
  auto reader = std::make_unique<Scripted>();
  Scripted& scripted = *reader;
  scripted.during = [&](const std::stop_token&) { end.get_future().wait(); };
  Source source(mount, "name", "subject", std::move(reader), {.reading = 20ms});
  source.start();
  const auto follow = [&](size_t count) {
    while (lines.size() < count) {
      std::vector<pollfd> polled;
      for (const int descriptor : source.descriptors()) polled.push_back({descriptor, POLLIN, 0});
      ASSERT_GT(poll(polled.data(), polled.size(), 60'000), 0);
      for (const pollfd& p : polled) {
        if (p.revents != 0) source.handleReadable(p.fd);
      }
    }
  };
  follow(1);
  EXPECT_EQ(source.progress(), Progress::reading);
  source.handleReadable(source.descriptors().front());
  source.handleReadable(source.descriptors().back());
  EXPECT_THAT(lines, ElementsAre("warning subject: has not been read within 0.02 s; what was "
                                 "published stays"));
  end.set_value();
  follow(3);
  EXPECT_THAT(lines, ElementsAre(testing::_, "info subject: the reading that took long has ended",
                                 "info asked"));
  EXPECT_EQ(source.progress(), Progress::published);
  // The next one is in time.
  scripted.during = nullptr;
  source.reload();
  follow(4);
  EXPECT_EQ(lines.back(), "info forced");
}

TEST(ReadingThread, WithoutADescriptorLeftKeepsNone) {
  if (SUPPORT_ASAN) GTEST_SKIP() << "the sanitizer needs descriptors to look at memory";
  auto reader = std::make_unique<Scripted>();
  // The lowest one that is free, and so the only one: the thread takes three.
  const int lowest = Qel::Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC)).number();
  const size_t before = openDescriptors();
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit tight{static_cast<rlim_t>(lowest) + 1, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
  EXPECT_THROW(ReadingThread(std::move(reader)), std::system_error);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  // The reader's own event went with it.
  EXPECT_EQ(openDescriptors(), before - 1);
}

}  // namespace
}  // namespace Sources
