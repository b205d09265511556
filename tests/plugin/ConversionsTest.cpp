#include "conversions/SnmpConversions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>

namespace {

using testing::Each;
using Buffer = std::array<unsigned char, 8>;

constexpr unsigned char kUntouched = 0xEE;

Buffer untouched() {
  Buffer buffer;
  buffer.fill(kUntouched);
  return buffer;
}

/// The code is written as four octets in host order, and nothing into a buffer that is too small.
template <class Code>
void expectInteger(int (*encode)(const Code&, unsigned char*, int), uint32_t code) {
  const auto value = static_cast<Code>(code);
  Buffer buffer = untouched();
  EXPECT_EQ(encode(value, buffer.data(), 4), 4) << code;
  int32_t written = -1;
  std::memcpy(&written, buffer.data(), sizeof written);
  EXPECT_EQ(written, static_cast<int32_t>(code));
  for (size_t i = 4; i < buffer.size(); ++i) EXPECT_EQ(buffer[i], kUntouched);
  for (const int length : {3, 1, 0, -1, std::numeric_limits<int>::min()}) {
    buffer = untouched();
    EXPECT_EQ(encode(value, buffer.data(), length), -1) << code << " into " << length;
    EXPECT_THAT(buffer, Each(kUntouched));
  }
}

TEST(RangeOperCode, EachOfTheSixCodesIsItsOwnInteger) {
  for (uint32_t code = 0; code <= 5; ++code) expectInteger(RangeOperCodeToAsnInteger, code);
}

TEST(RangeOperCode, EnumeratorsHaveTheirNumbers) {
  using enum Acl::RangeOperator;
  uint32_t number = 0;
  for (const Acl::RangeOperator oper : {any, eq, gt, lt, neq, range}) {
    EXPECT_EQ(static_cast<uint32_t>(oper), number++);
  }
}

TEST(ActionCode, BothCodesAreTheirOwnIntegers) {
  expectInteger(ActionCodeToAsnInteger, 0);
  expectInteger(ActionCodeToAsnInteger, 1);
  EXPECT_EQ(static_cast<uint32_t>(Acl::Action::permit), 0U);
  EXPECT_EQ(static_cast<uint32_t>(Acl::Action::deny), 1U);
}

constexpr const char* kBadOperator =
    "^SnmpConversions:[0-9]+: int RangeOperCodeToAsnInteger\\(const Acl::RangeOperator&, unsigned "
    "char\\*, int\\): Assertion 'bad value for ZorlenAclRangeOperator' failed\\.\n$";
constexpr const char* kBadAction =
    "^SnmpConversions:[0-9]+: int ActionCodeToAsnInteger\\(const Acl::Action&, unsigned char\\*, "
    "int\\): Assertion 'bad value for ZorlenAclAction' failed\\.\n$";

// The test is unsigned: a negative code counts as too large. The buffer's length does not matter.
TEST(RangeOperCodeDeathTest, AnyOtherCodeIsAFatalAssertion) {
  for (const uint32_t code : {6U, 7U, 256U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    Buffer buffer;
    EXPECT_DEATH(RangeOperCodeToAsnInteger(static_cast<Acl::RangeOperator>(code), buffer.data(), 4),
                 kBadOperator)
        << code;
  }
  EXPECT_DEATH(RangeOperCodeToAsnInteger(static_cast<Acl::RangeOperator>(6), nullptr, 0),
               kBadOperator);
}

TEST(ActionCodeDeathTest, AnyOtherCodeIsAFatalAssertion) {
  for (const uint32_t code : {2U, 3U, 256U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    Buffer buffer;
    EXPECT_DEATH(ActionCodeToAsnInteger(static_cast<Acl::Action>(code), buffer.data(), 4),
                 kBadAction)
        << code;
  }
  EXPECT_DEATH(ActionCodeToAsnInteger(static_cast<Acl::Action>(2), nullptr, 0), kBadAction);
}

TEST(ReverseBits, BitIBecomesBitSevenMinusI) {
  for (int octet = 0; octet < 256; ++octet) {
    int mirrored = 0;
    for (int bit = 0; bit < 8; ++bit) {
      if ((octet & (1 << bit)) != 0) mirrored |= 1 << (7 - bit);
    }
    EXPECT_EQ(ReverseBits(static_cast<unsigned char>(octet)), mirrored) << octet;
  }
  EXPECT_EQ(ReverseBits(0x01), 0x80);
  EXPECT_EQ(ReverseBits(0x03), 0xC0);
  EXPECT_EQ(ReverseBits(0x3F), 0xFC);
  EXPECT_EQ(ReverseBits(0x12), 0x48);
}

/// One octet is written whatever a positive length allows; nothing where it is not positive.
template <class Encode>
void expectBits(const Encode& encode, unsigned char expected) {
  for (const int length : {1, 2, 8}) {
    Buffer buffer = untouched();
    EXPECT_EQ(encode(buffer.data(), length), 1) << length;
    EXPECT_EQ(buffer[0], expected) << length;
    for (size_t i = 1; i < buffer.size(); ++i) EXPECT_EQ(buffer[i], kUntouched);
  }
  for (const int length : {0, -1, std::numeric_limits<int>::min()}) {
    Buffer buffer = untouched();
    EXPECT_EQ(encode(buffer.data(), length), 0) << length;
    EXPECT_THAT(buffer, Each(kUntouched)) << length;
  }
}

void expectTcpFlags(unsigned flags, unsigned char expected) {
  SCOPED_TRACE(flags);
  Acl::IpFilter filter;
  filter.tcpFlags = static_cast<uint16_t>(flags);
  expectBits([&](unsigned char* b, int n) { return TcpFlagsToAsnBits(filter, b, n); }, expected);
}

TEST(TcpFlags, TheFirstFlagIsTheMostSignificantBit) {
  expectTcpFlags(0, 0x00);
  expectTcpFlags(Acl::fin, 0x80);
  expectTcpFlags(Acl::syn, 0x40);
  expectTcpFlags(Acl::rst, 0x20);
  expectTcpFlags(Acl::psh, 0x10);
  expectTcpFlags(Acl::ack, 0x08);
  expectTcpFlags(Acl::urg, 0x04);
  expectTcpFlags(32, 0x04);
  expectTcpFlags(63, 0xFC);
}

TEST(TcpFlags, EverySetOfFlagsKeepsItsBitsApart) {
  for (unsigned flags = 0; flags < 64; ++flags) {
    expectTcpFlags(flags, ReverseBits(static_cast<unsigned char>(flags)));
  }
}

TEST(TcpFlags, HigherBitsAreIgnored) {
  expectTcpFlags(64, 0x00);
  expectTcpFlags(128, 0x00);
  expectTcpFlags(0x0100, 0x00);
  expectTcpFlags(0xFFFF, 0xFC);
  expectTcpFlags(0xFFC1, 0x80);
}

TEST(TcpFlags, AnIpv6FilterIsEncodedAlike) {
  Acl::Ip6Filter filter;
  filter.tcpFlags = Acl::syn | Acl::ack;
  expectBits([&](unsigned char* b, int n) { return TcpFlagsToAsnBits(filter, b, n); }, 0x48);
}

/// Bit i of `flags` is the i-th flag in the order of their declaration.
void expectSupportFlags(unsigned flags, unsigned char expected) {
  SCOPED_TRACE(flags);
  const auto status = Qel::make<Acl::Status>("status");
  status->dpAclSupportedIs((flags & 1U) != 0);
  status->dpAclLoggingSupportedIs((flags & 2U) != 0);
  status->dpAclCountersSupportedIs((flags & 4U) != 0);
  status->dpRouterAclSupportedIs((flags & 8U) != 0);
  const Qel::Ptr<const Acl::Status> seen = status;
  expectBits([&](unsigned char* b, int n) { return DpAclSupportFlagsToAsnBits(seen, b, n); },
             expected);
  EXPECT_EQ(status->references(), 2U);
}

TEST(DpAclSupportFlags, EachFlagHasItsBit) {
  expectSupportFlags(0, 0x00);
  expectSupportFlags(1, 0x80);
  expectSupportFlags(2, 0x40);
  expectSupportFlags(4, 0x20);
  expectSupportFlags(8, 0x10);
  expectSupportFlags(15, 0xF0);
}

TEST(DpAclSupportFlags, EverySetOfFlagsLeavesTheLowBitsZero) {
  for (unsigned flags = 0; flags < 16; ++flags) {
    expectSupportFlags(flags, ReverseBits(static_cast<unsigned char>(flags)));
  }
}

TEST(DpAclSupportFlags, WithoutAStatusNoBitIsSet) {
  expectBits([](unsigned char* b, int n) { return DpAclSupportFlagsToAsnBits(nullptr, b, n); },
             0x00);
}

}  // namespace
