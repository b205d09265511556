// The columns in which the rule rows of the types differ.

#include <array>
#include <stdexcept>

#include "Fixtures.h"

namespace {

using Fixtures::acl;
using Fixtures::AclRuleTableIndex;
using Fixtures::idOf;
using Fixtures::Ipv4;
using Fixtures::Ipv6;
using Fixtures::Mac;
using Fixtures::Ptr;
using Fixtures::subConfig;
using Fixtures::TypeNames;
using testing::ThrowsMessage;
using L3Types = testing::Types<Ipv4, Ipv6>;

template <class T>
class L3Entries : public testing::Test {
 protected:
  Ptr<typename T::RuleEntry> ruleRow(uint32_t seq) {
    return Qel::make<typename T::RuleEntry>(AclRuleTableIndex("acl1", seq), acl_);
  }
  Ptr<Acl::AclSubConfig> sub_ = Qel::make<Acl::AclSubConfig>();
  Ptr<Acl::AclConfig> acl_ = acl("acl1", T::kType, sub_);
};
using L3Types = testing::Types<Ipv4, Ipv6>;
TYPED_TEST_SUITE(L3Entries, L3Types, TypeNames);

TYPED_TEST(L3Entries, ReadTheColumnsThatBothShare) {
  typename TypeParam::Rule rule;
  rule.filter.proto = 6;
  rule.filter.sport = {Acl::RangeOperator::range, "1024-65535"};
  rule.filter.dport = {Acl::RangeOperator::eq, "80 443"};
  rule.filter.established = true;
  rule.filter.icmpType = 0xFFFF;
  rule.filter.icmpCode = 3;
  rule.filter.tcpFlags = Acl::syn | Acl::ack;
  this->sub_->ruleBySequenceIs(10, idOf(10));
  TypeParam::ruleIs(*this->sub_, idOf(10), rule);
  const auto row = this->ruleRow(10);
  EXPECT_EQ(row->filter(), rule.filter);
  EXPECT_EQ(row->filter().tcpFlags, 18);
  EXPECT_EQ(row->proto(), 6U);
  EXPECT_EQ(row->sportOper(), Acl::RangeOperator::range);
  EXPECT_EQ(row->sports(), "1024-65535");
  EXPECT_EQ(row->dportOper(), Acl::RangeOperator::eq);
  EXPECT_EQ(row->dports(), "80 443");
  EXPECT_TRUE(row->established());
  EXPECT_EQ(row->icmpType(), 0xFFFF);
  EXPECT_EQ(row->icmpCode(), 3);
}

TYPED_TEST(L3Entries, TheFilterThatARowGaveStaysAsItWas) {
  typename TypeParam::Rule rule;
  rule.filter.sport.ports = "80";
  this->sub_->ruleBySequenceIs(10, idOf(10));
  TypeParam::ruleIs(*this->sub_, idOf(10), rule);
  const auto row = this->ruleRow(10);
  const auto& filter = row->filter();
  const auto& ports = row->sports();
  typename TypeParam::Rule changed = rule;
  changed.filter.sport.ports = "443";
  TypeParam::ruleIs(*this->sub_, idOf(10), changed);
  EXPECT_EQ(filter, rule.filter);
  EXPECT_EQ(ports, "80");
  EXPECT_EQ(row->sports(), "443");
}

TYPED_TEST(L3Entries, ReadDefaultsWithoutARule) {
  const auto row = this->ruleRow(10);
  EXPECT_EQ(row->filter(), std::decay_t<decltype(row->filter())>());
  EXPECT_EQ(row->sportOper(), Acl::RangeOperator::any);
  EXPECT_EQ(row->sports(), "");
  EXPECT_EQ(row->dportOper(), Acl::RangeOperator::any);
  EXPECT_EQ(row->dports(), "");
  EXPECT_FALSE(row->established());
  EXPECT_EQ(row->icmpType(), 0);
  EXPECT_EQ(row->icmpCode(), 0);
}

TEST(Ipv4RuleRow, ReadsItsOwnColumns) {
  Acl::IpRuleConfig rule;
  rule.filter.source = Kavet::IpAddr(0xC0000201);
  rule.filter.sourceMask = Kavet::IpAddr(0xFFFFFF00);
  rule.filter.destination = Kavet::IpAddr(0x0A000001);
  rule.filter.destinationMask = Kavet::IpAddr(0x00FF00FF);
  rule.filter.ttl = {Acl::RangeOperator::gt, 64};
  const auto sub = subConfig({10});
  sub->ipRuleByIdIs(idOf(10), rule);
  const auto row =
      Qel::make<Ipv4::RuleEntry>(AclRuleTableIndex("a", 10), acl("a", Acl::ipv4(), sub));
  EXPECT_EQ(row->sourceAddr(), Kavet::IpAddr(0xC0000201));
  EXPECT_EQ(row->sourceMask(), Kavet::IpAddr(0xFFFFFF00));
  EXPECT_EQ(row->destAddr(), Kavet::IpAddr(0x0A000001));
  EXPECT_EQ(row->destMask(), Kavet::IpAddr(0x00FF00FF));
  EXPECT_EQ(row->ttlOper(), Acl::RangeOperator::gt);
  EXPECT_EQ(row->ttlValue(), 64U);
  for (const bool on : {true, false}) {
    rule.filter.tracked = on;
    rule.filter.fragments = !on;
    sub->ipRuleByIdIs(idOf(10), rule);
    EXPECT_EQ(row->tracked(), on);
    EXPECT_EQ(row->fragments(), !on);
  }
}

TEST(MacRuleRow, ReadsItsOwnColumns) {
  Acl::MacRuleConfig rule;
  rule.filter.source = Kavet::EthAddr({2, 0, 0, 0, 0, 1});
  rule.filter.sourceMask = Kavet::EthAddr({0xFF, 0xFF, 0xFF, 0, 0, 0});
  rule.filter.destination = Kavet::EthAddr({2, 0, 0, 0, 0, 2});
  rule.filter.destinationMask = Kavet::EthAddr({0, 0, 0, 0xFF, 0xFF, 0xFF});
  rule.filter.proto = 0x86DD;
  const auto sub = subConfig({10});
  sub->macRuleByIdIs(idOf(10), rule);
  const auto row = Qel::make<Mac::RuleEntry>(AclRuleTableIndex("a", 10), acl("a", Acl::mac(), sub));
  EXPECT_EQ(row->sourceAddr(), rule.filter.source);
  EXPECT_EQ(row->sourceMask(), rule.filter.sourceMask);
  EXPECT_EQ(row->destAddr(), rule.filter.destination);
  EXPECT_EQ(row->destMask(), rule.filter.destinationMask);
  EXPECT_EQ(row->proto(), 0x86DDU);
}

class Ipv6RuleRow : public testing::Test {
 protected:
  void prefixesAre(const Acl::Ip6Prefix& source, const Acl::Ip6Prefix& destination) {
    rule_.filter.sourceIs(source);
    rule_.filter.destinationIs(destination);
    sub_->ip6RuleByIdIs(idOf(10), rule_);
  }
  Acl::Ip6RuleConfig rule_;
  Ptr<Acl::AclSubConfig> sub_ = subConfig({10});
  Ptr<Ipv6::RuleEntry> row_ =
      Qel::make<Ipv6::RuleEntry>(AclRuleTableIndex("a", 10), acl("a", Acl::ipv6(), sub_));
};

TEST_F(Ipv6RuleRow, ReadsAddressesUnmaskedAndTheHopLimit) {
  rule_.filter.ttl = {Acl::RangeOperator::lt, 255};
  const Kavet::Ip6Addr source({0x20, 1, 0xd, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1});
  const Kavet::Ip6Addr destination({0xff, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xfb});
  prefixesAre({source, 32}, {destination, 8});
  EXPECT_EQ(row_->sourceAddr(), source);
  EXPECT_EQ(row_->destAddr(), destination);
  EXPECT_EQ(row_->hopLimitOper(), Acl::RangeOperator::lt);
  EXPECT_EQ(row_->hopLimit(), 255U);
}

struct Mask {
  uint32_t length;
  Kavet::Ip6Addr::Octets octets;
};

TEST_F(Ipv6RuleRow, MakesMasksFromPrefixLengths) {
  constexpr uint8_t f = 0xFF;
  for (const Mask& c : {Mask{0, {}},
                        {1, {0x80}},
                        {7, {0xFE}},
                        {8, {f}},
                        {9, {f, 0x80}},
                        {12, {f, 0xF0}},
                        {63, {f, f, f, f, f, f, f, 0xFE}},
                        {64, {f, f, f, f, f, f, f, f}},
                        {65, {f, f, f, f, f, f, f, f, 0x80}},
                        {127, {f, f, f, f, f, f, f, f, f, f, f, f, f, f, f, 0xFE}},
                        {128, {f, f, f, f, f, f, f, f, f, f, f, f, f, f, f, f}}}) {
    SCOPED_TRACE(c.length);
    prefixesAre({{}, c.length}, {});
    EXPECT_EQ(row_->sourceMask().octets(), c.octets);
    EXPECT_EQ(row_->destMask(), Kavet::Ip6Addr());
    prefixesAre({}, {{}, c.length});
    EXPECT_EQ(row_->destMask().octets(), c.octets);
    EXPECT_EQ(row_->sourceMask(), Kavet::Ip6Addr());
  }
}

TEST_F(Ipv6RuleRow, ALengthAbove128IsOutOfRange) {
  for (const uint32_t length : {129U, 136U, 4294967295U}) {
    SCOPED_TRACE(length);
    prefixesAre({{}, length}, {{}, length});
    const auto outOfRange = ThrowsMessage<std::out_of_range>("Ip6Addr::u8Is: index out of range");
    EXPECT_THAT([this] { (void)row_->sourceMask(); }, outOfRange);
    EXPECT_THAT([this] { (void)row_->destMask(); }, outOfRange);
    EXPECT_EQ(row_->sourceAddr(), Kavet::Ip6Addr());
  }
}

}  // namespace
