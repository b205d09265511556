// The order of these is the library's.
// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
// clang-format on

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <ctime>
#include <limits>
#include <vector>

#include "snmp/Converters.h"

namespace {
time_t wallClockStep = 0;
}

// The wall clock as if it were set while this process runs; the other clocks as they are.
extern "C" int clock_gettime(clockid_t clock, struct timespec* time) noexcept {
  const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
  if (clock == CLOCK_REALTIME) time->tv_sec += wallClockStep;
  return result;
}

namespace {

using testing::Each;
using testing::ThrowsMessage;
using Octets = std::vector<unsigned char>;
using namespace std::string_view_literals;

constexpr unsigned char kUntouched = 0xEE;

template <class T>
Octets hostOrder(T value) {
  Octets octets(sizeof value);
  std::memcpy(octets.data(), &value, sizeof value);
  return octets;
}

/// The converter writes exactly `expected`, and nothing at all into a buffer that is too small.
template <class Converter, class Value>
void expectOctets(const Converter& converter, const Value& value, const Octets& expected) {
  const int length = static_cast<int>(expected.size());
  for (const int size : {length, length + 1, length + 100}) {
    Octets buffer(static_cast<size_t>(size) + 8, kUntouched);
    ASSERT_EQ(converter(value, buffer.data(), size), length);
    EXPECT_EQ(Octets(buffer.begin(), buffer.begin() + length), expected);
    EXPECT_THAT(Octets(buffer.begin() + length, buffer.end()), Each(kUntouched));
  }
  for (const int size : {length - 1, 0, -1, std::numeric_limits<int>::min()}) {
    if (size >= length) continue;
    Octets buffer(static_cast<size_t>(length) + 8, kUntouched);
    EXPECT_EQ(converter(value, buffer.data(), size), -1) << size;
    EXPECT_THAT(buffer, Each(kUntouched)) << size;
  }
}

TEST(Converters, BoolIsATruthValue) {
  expectOctets(BoolToAsnIntegerF(), true, hostOrder<int32_t>(1));
  expectOctets(BoolToAsnIntegerF(), false, hostOrder<int32_t>(2));
}

TEST(Converters, SignedNumbersTakeFourOctets) {
  for (const int32_t value :
       {0, 1, -1, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()}) {
    expectOctets(S32ToAsnIntegerF(), value, hostOrder(value));
  }
}

TEST(Converters, UnsignedNumbersTakeFourOctets) {
  for (const uint32_t value : {0U, 1U, 0x80000000U, 0xFFFFFFFFU}) {
    expectOctets(U32ToAsnUnsignedF(), value, hostOrder(value));
  }
}

TEST(Converters, Counter64IsTheTwoWordStruct) {
  struct Case {
    unsigned long long value;
    u_long high;
    u_long low;
  };
  const std::vector<Case> cases = {
      {0, 0, 0},
      {1, 0, 1},
      {0xFFFFFFFFULL, 0, 0xFFFFFFFF},
      {1ULL << 32, 1, 0},
      {(1ULL << 32) + 7, 1, 7},
      {1ULL << 63, 0x80000000, 0},
      {~0ULL, 0xFFFFFFFF, 0xFFFFFFFF},
  };
  for (const Case& c : cases) {
    Octets expected = hostOrder(c.high);
    const Octets low = hostOrder(c.low);
    expected.insert(expected.end(), low.begin(), low.end());
    ASSERT_EQ(expected.size(), sizeof(counter64));
    expectOctets(U64ToCounter64F(), c.value, expected);
  }
}

TEST(Converters, StringsAreTheirOctets) {
  for (const std::string_view text : {"a"sv, "a\0b"sv, "\x80\xff"sv, "permit ip any any"sv}) {
    expectOctets(StringToAsnOctetStringF(), Qel::String8(text), Octets(text.begin(), text.end()));
  }
}

TEST(Converters, AnEmptyStringFitsEvenNoBuffer) {
  unsigned char octet = kUntouched;
  const StringToAsnOctetStringF converter;
  EXPECT_EQ(converter(Qel::String8(), &octet, 1), 0);
  EXPECT_EQ(converter(Qel::String8(), &octet, 0), 0);
  EXPECT_EQ(converter(Qel::String8(), nullptr, 0), 0);
  EXPECT_EQ(converter(Qel::String8(), &octet, -1), -1);
  EXPECT_EQ(octet, kUntouched);
}

TEST(Converters, AddressesAreInNetworkOrder) {
  expectOctets(KavetIpAddrToAsnOctetStringF(), Kavet::IpAddr(0xC0000201), {192, 0, 2, 1});
  expectOctets(KavetIp6AddrToAsnOctetStringF(),
               Kavet::Ip6Addr({0x20, 1, 0xd, 0xb8, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 0xff}),
               {0x20, 1, 0xd, 0xb8, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 0xff});
  expectOctets(KavetEthAddrToAsnOctetStringF(), Kavet::EthAddr({2, 0, 0x5e, 0x10, 0, 0xff}),
               {2, 0, 0x5e, 0x10, 0, 0xff});
}

TEST(SecondsToTimeTicks, RoundsToMicrosecondsAndThenCuts) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  struct Case {
    double seconds;
    uint32_t ticks;
  };
  const std::vector<Case> cases = {
      {0, 0},
      {0.000001, 0},
      {0.009999, 0},
      {0.0099994, 0},
      {0.0099996, 1},
      {0.01, 1},
      {0.019999, 1},
      {0.0199994, 1},
      {0.01999999, 2},
      {0.29, 29},
      {0.57, 57},
      {1.15, 115},
      {2.3, 230},
      {1, 100},
      {42949672.95, 4294967295U},
      {42949672.959999, 4294967295U},
      {42949672.96, 0},
      {42949672.97, 1},
      {42949672.96 * 2 + 0.05, 5},
      {-0.0, 0},
      {-0.01, 0},
      {-1e300, 0},
      {kInfinity, 0},
      {-kInfinity, 0},
      {std::numeric_limits<double>::quiet_NaN(), 0},
  };
  for (const Case& c : cases) EXPECT_EQ(SecondsToTimeTicks(c.seconds), c.ticks) << c.seconds;
}

TEST(SecondsToTimeTicks, EveryHundredthGivesItsOwnTick) {
  for (uint32_t tick = 0; tick < 1000000; tick += 7) {
    ASSERT_EQ(SecondsToTimeTicks(tick / 100.0), tick);
  }
}

TEST(SecondsToTimeTicks, HugeTimesAreNoUndefinedBehaviour) {
  // Beyond the widest count of microseconds: only a defined result is asked for.
  EXPECT_EQ(SecondsToTimeTicks(1e300), SecondsToTimeTicks(std::numeric_limits<double>::max()));
}

class Uptime : public testing::Test {
 protected:
  Uptime() { SnmpUtil::agentStartIs(1000.5); }
  ~Uptime() override { SnmpUtil::agentStartIs({}); }
};

TEST_F(Uptime, CountsFromTheAgentsStart) {
  EXPECT_EQ(NowSecondsToUptimeSeconds(1000.5), 0);
  EXPECT_EQ(NowSecondsToUptimeSeconds(1001), 0.5);
  EXPECT_EQ(NowSecondsToUptimeSeconds(2000.5), 1000);
}

TEST_F(Uptime, IsZeroBeforeTheStartAndForWhatIsNoNumber) {
  for (const double time : {1000.0, 0.0, -5.0, -std::numeric_limits<double>::infinity(),
                            std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(NowSecondsToUptimeSeconds(time), 0) << time;
  }
}

TEST_F(Uptime, TimeTicksAreThoseOfTheUptime) {
  struct Case {
    double time;
    uint32_t ticks;
  };
  for (const Case& c : {Case{1000.5, 0},
                        {1000.79, 29},
                        {1001.5, 100},
                        {999, 0},
                        {std::numeric_limits<double>::quiet_NaN(), 0},
                        {std::numeric_limits<double>::infinity(), 0}}) {
    expectOctets(NowSecondsToUptimeTimeTicksF(), c.time, hostOrder(c.ticks));
  }
}

/// The agent library's own start. It moves with the uptime that is set, as by an AgentX master.
class AgentUptime : public testing::Test {
 protected:
  ~AgentUptime() override {
    wallClockStep = 0;
    start(0);
  }
  static void start(u_long ticks) {
    netsnmp_set_agent_uptime(ticks);
    SnmpUtil::agentStarted();
  }
  /// The uptime of one time, which stays the same while the library counts on.
  static double steadyUptime(Qel::Seconds time) {
    const double first = NowSecondsToUptimeSeconds(time);
    const u_long asked = netsnmp_get_agent_uptime();
    while (netsnmp_get_agent_uptime() < asked + 3) {
      EXPECT_EQ(NowSecondsToUptimeSeconds(time), first);
      if (HasFailure()) break;
    }
    return first;
  }
};

TEST_F(AgentUptime, IsThatOfNow) {
  for (const u_long ticks : {0UL, 123UL, 12345678UL, 4294967200UL}) {
    start(ticks);
    const u_long before = netsnmp_get_agent_uptime();
    const double now = NowSecondsToUptimeSeconds(Qel::now()) * 100;
    const u_long after = netsnmp_get_agent_uptime();
    // The agent's own is cut to whole ticks.
    EXPECT_GE(now, static_cast<double>(before) - 0.01);
    EXPECT_LE(now, static_cast<double>(after) + 1.01);
  }
}

TEST_F(AgentUptime, OneTimeGivesTheSameUptimeHoweverOftenItIsAskedFor) {
  netsnmp_set_agent_uptime(5000);
  const double time = Qel::now();
  EXPECT_NEAR(steadyUptime(time), 50, 1);
}

TEST_F(AgentUptime, AWallClockThatIsSetLaterMovesNoTime) {
  const auto unset = std::chrono::system_clock::now();
  wallClockStep = 3600;
  ASSERT_GE(std::chrono::system_clock::now() - unset, std::chrono::hours(1));
  for (const time_t step : {3600, -3600}) {
    wallClockStep = 0;
    const double begun = Qel::now();
    start(5000);
    const double time = Qel::now();
    const double before = NowSecondsToUptimeSeconds(time);
    start(5000);
    const double again = Qel::now();
    wallClockStep = step;
    // The first conversion comes after the step, and is as exact as the one before.
    EXPECT_NEAR(steadyUptime(again), before, 0.005 + again - begun);
  }
}

TEST_F(AgentUptime, AStartTakenBesideASetWallClockIsKeptToo) {
  wallClockStep = 3600;
  netsnmp_set_agent_uptime(9000);  // not told of
  EXPECT_NEAR(steadyUptime(Qel::now()), 90, 1);
}

TEST_F(AgentUptime, AMoveIsFollowedWhenItIsToldOrLongerThanHalfASecond) {
  start(5000);
  const double time = Qel::now();
  const double first = NowSecondsToUptimeSeconds(time);
  for (const long ticks : {-30L, 30L}) {
    netsnmp_set_agent_uptime(static_cast<u_long>(std::floor(first * 100)) +
                             static_cast<u_long>(ticks));
    EXPECT_EQ(NowSecondsToUptimeSeconds(time), first);
  }
  SnmpUtil::agentStarted();
  const double told = NowSecondsToUptimeSeconds(time);
  EXPECT_NEAR(told, first + 0.3, 0.1);
  netsnmp_set_agent_uptime(static_cast<u_long>(told * 100) + 80);
  EXPECT_GT(NowSecondsToUptimeSeconds(time), told + 0.5);
}

TEST_F(AgentUptime, TimesBeforeTheStartAreZero) {
  start(5000);
  EXPECT_EQ(NowSecondsToUptimeSeconds(Qel::now() - 51), 0);
  EXPECT_GT(NowSecondsToUptimeSeconds(Qel::now() - 49), 0);
}

TEST_F(AgentUptime, FollowsAReplacedClock) {
  const double offset = Qel::now() + 1e6;
  Qel::clockIs([offset] {
    return offset +
           std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
               .count();
  });
  netsnmp_set_agent_uptime(777);
  const double uptime = NowSecondsToUptimeSeconds(Qel::now()) * 100;
  EXPECT_NEAR(uptime, static_cast<double>(netsnmp_get_agent_uptime()), 100);
  Qel::clockIs({});
}

TEST(AsnOctetStringToSnmpString, TakesUpTo255Octets) {
  const std::string octets(256, '\xff');
  EXPECT_EQ(AsnOctetStringToSnmpString(octets.data(), 0), Snmp::String());
  EXPECT_EQ(AsnOctetStringToSnmpString(nullptr, 0), Snmp::String());
  EXPECT_EQ(AsnOctetStringToSnmpString("a\0b", 3).string8().view(), "a\0b"sv);
  EXPECT_EQ(AsnOctetStringToSnmpString(octets.data(), 255).string8().view(),
            std::string_view(octets).substr(1));
  EXPECT_THAT(
      [&] { AsnOctetStringToSnmpString(octets.data(), 256); },
      ThrowsMessage<Qel::RangeException>("an index string of 256 octets is longer than 255"));
}

TEST(AsnUnsignedToU32, TakesThirtyTwoBits) {
  for (const long value : {0L, 1L, 0x80000000L, 0xFFFFFFFFL}) {
    EXPECT_EQ(AsnUnsignedToU32(&value), static_cast<uint32_t>(value));
  }
}

TEST(AsnUnsignedToU32, RefusesWhatDoesNotFit) {
  struct Case {
    long value;
    const char* message;
  };
  for (const Case& c : {Case{-1, "the number -1 is not an unsigned 32-bit one"},
                        {0x100000000L, "the number 4294967296 is not an unsigned 32-bit one"},
                        {std::numeric_limits<long>::min(),
                         "the number -9223372036854775808 is not an unsigned 32-bit one"}}) {
    EXPECT_THAT([&c] { AsnUnsignedToU32(&c.value); },
                ThrowsMessage<Qel::RangeException>(c.message));
  }
}

TEST(AsnUnsignedToU32, ReadsAnUnalignedValue) {
  alignas(long) unsigned char buffer[sizeof(long) + 1];
  const long value = 0xDEADBEEFL;
  std::memcpy(buffer + 1, &value, sizeof value);
  EXPECT_EQ(AsnUnsignedToU32(buffer + 1), 0xDEADBEEFU);
}

}  // namespace
