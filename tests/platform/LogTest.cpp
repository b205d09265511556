#include <fcntl.h>
#include <gtest/gtest.h>
#include <net-snmp/net-snmp-config.h>
// After the configuration: it needs its types.
#include <net-snmp/net-snmp-includes.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "LineLimit.h"
#include "Log.h"
#include "StandardError.h"
#include "qel/Time.h"
#include "snmp/Agent.h"

namespace {

TEST(Log, ATextStaysOneLineWhateverItHolds) {
  testing::internal::CaptureStderr();
  Snmp::log(Snmp::LogLevel::error, "refused 'a\nforged line\x7f'");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "refused 'a\\x0aforged line\\x7f'\n");
}

TEST(Log, WhatTheLibrarySaysIsBoundedAndItsListsOfOidsAreLeftOut) {
  Snmp::takeLibraryLog();
  testing::internal::CaptureStderr();
  for (int i = 0; i < 30; ++i) snmp_log(LOG_ERR, "Bad PDU type received: 0x%x\n", i);
  snmp_log(LOG_ERR, "    -- .1.3.6.1\n");
  snmp_log(LOG_ERR, "one\x1b\ntwo\n");
  Snmp::leaveLibraryLog();
  const std::string said = testing::internal::GetCapturedStderr();
  shutdown_snmp_logging();
  std::string expected;
  for (const char* number : {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9"}) {
    expected += std::string("Bad PDU type received: 0x") + number + "\n";
  }
  EXPECT_EQ(said, expected + "one\\x1b\ntwo\n" +
                      "and 20 more such lines, the last: Bad PDU type received: 0x1d\n");
}

/// What a limit lets through and tells, on a clock that stands still.
class LineLimitTest : public testing::Test {
 protected:
  size_t admitted(const std::string& line, size_t times) {
    size_t count = 0;
    for (size_t i = 0; i < times; ++i) count += limit.admits(line) ? 1 : 0;
    return count;
  }
  std::vector<std::string> told() {
    std::vector<std::string> lines;
    limit.tellHeldBack([&lines](const std::string& line) { lines.push_back(line); });
    return lines;
  }

  Qel::ManualClock clock{1000};
  Snmp::LineLimit limit;
};

TEST_F(LineLimitTest, TenLinesOfAKindAMinuteAndTheRestAsANumber) {
  EXPECT_EQ(limit.timeToNext(), std::nullopt);
  EXPECT_EQ(admitted("a line", 10), 10U);
  clock.advance(10);
  EXPECT_EQ(admitted("a line", 5), 0U);
  EXPECT_EQ(limit.timeToNext(), 60);
  clock.advance(49);
  EXPECT_EQ(admitted("a line", 1), 0U);
  EXPECT_TRUE(told().empty());
  clock.advance(1);
  EXPECT_EQ(admitted("a line", 20), 10U);
  clock.advance(10);
  EXPECT_EQ(told(), std::vector<std::string>{"and 16 more such lines, the last: a line"});
  EXPECT_TRUE(told().empty());
}

TEST_F(LineLimitTest, NumbersAddressesAndQuotedNamesMakeNoKind) {
  EXPECT_EQ(admitted("type 0xa9 from [10.0.0.1] of 'x' (udp)", 10), 10U);
  EXPECT_EQ(admitted("type 0xff from [fe80::1] of 'y' (tcp)", 1), 0U);
  EXPECT_EQ(admitted("another thing", 1), 1U);
}

TEST_F(LineLimitTest, KindsWithoutEndShareOne) {
  size_t count = 0;
  for (int i = 0; i < 1000; ++i) count += limit.admits("x" + std::string(i % 40 + 1, 'y')) ? 1 : 0;
  EXPECT_LE(count, (Snmp::LineLimit::kKinds + 1) * Snmp::LineLimit::kLines);
  clock.advance(60);
  EXPECT_LE(told().size(), Snmp::LineLimit::kKinds + 1);
  clock.advance(60);
  // Kinds that are over make room for others.
  EXPECT_EQ(admitted("a new kind", 20), 10U);
}

/// Another standard error for as long as it lives.
class Redirected {
 public:
  explicit Redirected(int descriptor) : saved_(::dup(STDERR_FILENO)) {
    ::dup2(descriptor, STDERR_FILENO);
  }
  ~Redirected() {
    ::dup2(saved_, STDERR_FILENO);
    ::close(saved_);
  }
  Redirected(const Redirected&) = delete;
  Redirected& operator=(const Redirected&) = delete;

 private:
  int saved_;
};

std::string readAll(int descriptor) {
  std::string all;
  std::array<char, 4096> some{};
  ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
  for (ssize_t count = 0; (count = ::read(descriptor, some.data(), some.size())) > 0;) {
    all.append(some.data(), static_cast<size_t>(count));
  }
  return all;
}

// The alarm ends the test where a line is waited for.
void writeWithoutAReader(const std::array<int, 2>& ends) {
  ::alarm(20);
  Snmp::StandardError output;
  std::string read;
  {
    const Redirected redirected(ends[1]);
    for (int i = 0; i < 20000; ++i) output.write("line " + std::to_string(i));
    read = readAll(ends[0]);
    output.write("after");
  }
  const std::string later = readAll(ends[0]);
  ::alarm(0);
  ::close(ends[0]);
  ::close(ends[1]);
  const size_t lines = static_cast<size_t>(std::count(read.begin(), read.end(), '\n'));
  EXPECT_GT(lines, 10U);
  EXPECT_TRUE(read.starts_with("line 0\nline 1\n"));
  EXPECT_EQ(later, std::to_string(20000 - lines) +
                       " lines of this log were lost: nobody read them\nafter\n");
}

TEST(StandardError, APipeThatNobodyReadsLosesLinesAndIsToldOfThem) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  writeWithoutAReader(ends);
}

TEST(StandardError, ASocketThatNobodyReadsLosesLinesAndIsToldOfThem) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
  writeWithoutAReader(ends);
}

TEST(StandardError, ALineIsCutToWhatAPipeTakesAsAWhole) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  Snmp::StandardError output;
  {
    const Redirected redirected(ends[1]);
    output.write(std::string(5000, 'x'));
  }
  EXPECT_EQ(readAll(ends[0]), std::string(4092, 'x') + "...\n");
  ::close(ends[0]);
  ::close(ends[1]);
}

}  // namespace
