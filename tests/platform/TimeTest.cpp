#include <gtest/gtest.h>

#include <chrono>

#include "qel/Time.h"

namespace {

double monotonic() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

TEST(Time, NowIsInSecondsOnTheMonotonicClock) {
  const double before = monotonic();
  const Qel::Seconds now = Qel::now();
  EXPECT_LE(before, now);
  EXPECT_LE(now, monotonic());
}

TEST(Time, ManualClockStandsStillUntilItIsMoved) {
  Qel::ManualClock clock(100);
  EXPECT_EQ(Qel::now(), 100);
  EXPECT_EQ(Qel::now(), 100);
  clock.advance(2.5);
  EXPECT_EQ(Qel::now(), 102.5);
  clock.nowIs(7);
  EXPECT_EQ(Qel::now(), 7);
}

TEST(Time, TheMonotonicClockIsBackAfterTheManualOne) {
  const double before = monotonic();
  { const Qel::ManualClock clock(-5); }
  EXPECT_LE(before, Qel::now());
}

TEST(Time, AnyFunctionMayBeTheClock) {
  double next = 1;
  Qel::clockIs([&next] { return next++; });
  EXPECT_EQ(Qel::now(), 1);
  EXPECT_EQ(Qel::now(), 2);
  Qel::clockIs({});
  EXPECT_GT(Qel::now(), 2);
}

}  // namespace
