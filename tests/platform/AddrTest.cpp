#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kavet/Addr.h"

namespace {

using Kavet::EthAddr;
using Kavet::Ip6Addr;
using Kavet::IpAddr;
using testing::Each;
using testing::ElementsAre;
using testing::ThrowsMessage;

TEST(IpAddr, OctetsAreInNetworkOrder) {
  constexpr IpAddr kAddress(0xC0000201);
  EXPECT_EQ(kAddress.value(), 0xC0000201U);
  EXPECT_THAT(kAddress.octets(), ElementsAre(192, 0, 2, 1));
  EXPECT_THAT(IpAddr().octets(), ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(IpAddr(0xFFFFFFFF).octets(), Each(255));
}

TEST(IpAddr, OrdersByNumber) {
  EXPECT_EQ(IpAddr(1), IpAddr(1));
  EXPECT_LT(IpAddr(0x7FFFFFFF), IpAddr(0x80000000));
}

TEST(Ip6Addr, SetsEachOfItsSixteenOctets) {
  Ip6Addr address;
  EXPECT_THAT(address.octets(), Each(0));
  Ip6Addr::Octets expected{};
  for (uint32_t i = 0; i <= 15; ++i) {
    expected[i] = static_cast<uint8_t>(0xF0 + i);
    address.u8Is(i, expected[i]);
    EXPECT_EQ(address.octets(), expected);
  }
  EXPECT_EQ(address, Ip6Addr(expected));
}

TEST(Ip6Addr, RefusesAnIndexAboveFifteen) {
  for (const uint32_t index : {16U, 17U, 0xFFFFFFFFU}) {
    Ip6Addr address;
    EXPECT_THAT([&] { address.u8Is(index, 1); },
                ThrowsMessage<std::out_of_range>("Ip6Addr::u8Is: index out of range"));
    EXPECT_EQ(address, Ip6Addr());
  }
}

TEST(Addresses, CompareByTheirOctets) {
  EXPECT_LT(Ip6Addr({0x20}), Ip6Addr({0x20, 0x01}));
  EXPECT_LT(Ip6Addr({0x7F, 0xFF}), Ip6Addr({0x80}));
  EXPECT_LT(EthAddr({0, 1}), EthAddr({0, 2}));
  EXPECT_EQ(EthAddr({1, 2, 3, 4, 5, 6}), EthAddr({1, 2, 3, 4, 5, 6}));
  EXPECT_NE(EthAddr({1, 2, 3, 4, 5, 6}), EthAddr({1, 2, 3, 4, 5, 7}));
  EXPECT_THAT(EthAddr({1, 2, 3, 4, 5, 6}).octets(), ElementsAre(1, 2, 3, 4, 5, 6));
}

}  // namespace
