#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <vector>

#include "acl/Types.h"

namespace {

using Acl::AclType;
using Acl::UniqueId;
using testing::Each;
using testing::ElementsAre;
using testing::ThrowsMessage;

TEST(AclType, HasItsNumbersAndTextForms) {
  struct Case {
    AclType type;
    uint32_t number;
    const char* text;
  };
  for (const Case& c : {Case{Acl::ipv4(), 0, "ipv4"},
                        {Acl::ipv6(), 1, "ipv6"},
                        {Acl::mac(), 2, "mac"},
                        {AclType{3}, 3, "unknown"},
                        {AclType{0xFFFFFFFF}, 0xFFFFFFFF, "unknown"}}) {
    EXPECT_EQ(static_cast<uint32_t>(c.type), c.number);
    EXPECT_STREQ(Acl::stringValue(c.type), c.text);
    EXPECT_EQ(Acl::valueToStrep(c.type), c.text);
    std::ostringstream out;
    out << c.type;
    EXPECT_EQ(out.str(), c.text);
  }
  EXPECT_THAT(Acl::kAclTypes, ElementsAre(AclType::ipv4, AclType::ipv6, AclType::mac));
}

TEST(UniqueId, IsEqualWhenAllItsFieldsAre) {
  const UniqueId id(1, 2, 3);
  EXPECT_EQ(id.number(), 1U);
  EXPECT_EQ(id.majorNumber(), 2U);
  EXPECT_EQ(id.minorNumber(), 3U);
  EXPECT_EQ(id, UniqueId(1, 2, 3));
  for (const UniqueId& other :
       {UniqueId(9, 2, 3), UniqueId(1, 9, 3), UniqueId(1, 2, 9), UniqueId(3, 2, 1), UniqueId()}) {
    EXPECT_FALSE(id == other);
  }
}

TEST(UniqueId, EqualOnesHaveOneHash) {
  EXPECT_EQ(UniqueId(1, 2, 3).hash(), UniqueId(1, 2, 3).hash());
  EXPECT_EQ(UniqueId().hash(), UniqueId(0, 0, 0).hash());
  UniqueId again(5, 6, 7);
  again.doInit();
  EXPECT_EQ(again.hash(), UniqueId(5, 6, 7).hash());
}

TEST(UniqueId, EveryFieldReachesTheHash) {
  std::set<size_t> hashes;
  size_t ids = 0;
  for (uint32_t number = 0; number < 10; ++number) {
    for (uint16_t major = 0; major < 10; ++major) {
      for (uint16_t minor = 0; minor < 10; ++minor) {
        hashes.insert(UniqueId(number, major, minor).hash());
        ++ids;
      }
    }
  }
  EXPECT_EQ(hashes.size(), ids);
}

TEST(UniqueId, TheInvalidOneIsAllOnes) {
  EXPECT_EQ(UniqueId::invalid(), UniqueId(0xFFFFFFFF, 0xFFFF, 0xFFFF));
  EXPECT_EQ(UniqueId::invalid().hash(), UniqueId(0xFFFFFFFF, 0xFFFF, 0xFFFF).hash());
  EXPECT_FALSE(UniqueId::invalid() == UniqueId());
}

TEST(Filters, TheTenantIdentifierHasTwentyFourBits) {
  EXPECT_EQ(Acl::IpFilter().tni(), 0U);
  EXPECT_EQ(Acl::IpFilter(16777215).tni(), 16777215U);
  EXPECT_EQ(Acl::Ip6Filter(16777215).tni(), 16777215U);
  for (const uint32_t tni : {16777216U, 0xFFFFFFFFU}) {
    constexpr char kMessage[] = "IpFilterBase::tni < 0 or > 16777215 not allowed";
    EXPECT_THAT([tni] { Acl::IpFilterBase{tni}; }, ThrowsMessage<Qel::RangeException>(kMessage));
    EXPECT_THAT([tni] { Acl::IpFilter{tni}; }, ThrowsMessage<Qel::RangeException>(kMessage));
    EXPECT_THAT([tni] { Acl::Ip6Filter{tni}; }, ThrowsMessage<Qel::RangeException>(kMessage));
  }
}

TEST(Filters, TheMplsLabelHasTwentyBits) {
  EXPECT_EQ(Acl::MacFilter().mplsLabel(), 0U);
  EXPECT_EQ(Acl::MacFilter(0xFFFFF).mplsLabel(), 0xFFFFFU);
  for (const uint32_t label : {0x100000U, 0xFFFFFFFFU}) {
    EXPECT_THAT(
        [label] { Acl::MacFilter{label}; },
        ThrowsMessage<Qel::RangeException>("MacFilter::mplsLabel < 0 or > 0xFFFFF not allowed"));
  }
}

void expectMatchesAnything(const Acl::IpFilterBase& filter) {
  EXPECT_EQ(filter.proto, 0U);
  EXPECT_EQ(static_cast<uint32_t>(filter.ttl.oper), 0U);
  EXPECT_EQ(filter.ttl.value, 0U);
  for (const Acl::PortRange& range : {filter.sport, filter.dport}) {
    EXPECT_EQ(static_cast<uint32_t>(range.oper), 0U);
    EXPECT_EQ(range.ports, "");
  }
  EXPECT_EQ(filter.tcpFlags, 0U);
  EXPECT_FALSE(filter.established);
  EXPECT_FALSE(filter.tracked);
  EXPECT_EQ(filter.icmpType, 0U);
  EXPECT_EQ(filter.icmpCode, 0U);
}

template <class Rule>
void expectPermitsSilently(const Rule& rule) {
  EXPECT_EQ(static_cast<uint32_t>(rule.action), 0U);
  EXPECT_FALSE(rule.log);
}

// What a row without its rule reads.
TEST(Rules, StartWithEveryFieldZeroFalseOrEmpty) {
  const Acl::IpRuleConfig ip;
  expectPermitsSilently(ip);
  expectMatchesAnything(ip.filter);
  EXPECT_FALSE(ip.filter.fragments);
  for (const Kavet::IpAddr& address :
       {ip.filter.source, ip.filter.sourceMask, ip.filter.destination, ip.filter.destinationMask}) {
    EXPECT_THAT(address.octets(), Each(0));
  }
  const Acl::Ip6RuleConfig ip6;
  expectPermitsSilently(ip6);
  expectMatchesAnything(ip6.filter);
  for (const Acl::Ip6Prefix& prefix : {ip6.filter.source(), ip6.filter.destination()}) {
    EXPECT_THAT(prefix.address.octets(), Each(0));
    EXPECT_EQ(prefix.length, 0U);
  }
  const Acl::MacRuleConfig mac;
  expectPermitsSilently(mac);
  EXPECT_EQ(mac.filter.proto, 0U);
  for (const Kavet::EthAddr& address : {mac.filter.source, mac.filter.sourceMask,
                                        mac.filter.destination, mac.filter.destinationMask}) {
    EXPECT_THAT(address.octets(), Each(0));
  }
  EXPECT_EQ(Acl::RemarkConfig().text, "");
}

template <class Rule>
void expectEachChangeMatters(const std::vector<void (*)(Rule&)>& changes) {
  EXPECT_EQ(Rule(), Rule());
  for (size_t i = 0; i < changes.size(); ++i) {
    Rule changed;
    changes[i](changed);
    EXPECT_FALSE(changed == Rule()) << "change " << i;
    Rule same;
    changes[i](same);
    EXPECT_EQ(changed, same) << "change " << i;
  }
}

TEST(Rules, AnIpv4RuleIsEqualWhenEveryFieldIs) {
  using Rule = Acl::IpRuleConfig;
  expectEachChangeMatters<Rule>({
      [](Rule& r) { r.action = Acl::Action::deny; },
      [](Rule& r) { r.log = true; },
      [](Rule& r) { r.filter = Acl::IpFilter(7); },
      [](Rule& r) { r.filter.proto = 6; },
      [](Rule& r) { r.filter.ttl.oper = Acl::RangeOperator::eq; },
      [](Rule& r) { r.filter.ttl.value = 1; },
      [](Rule& r) { r.filter.sport.oper = Acl::RangeOperator::range; },
      [](Rule& r) { r.filter.dport.ports = "80 443"; },
      [](Rule& r) { r.filter.tcpFlags = Acl::syn | Acl::urg; },
      [](Rule& r) { r.filter.established = true; },
      [](Rule& r) { r.filter.tracked = true; },
      [](Rule& r) { r.filter.icmpType = 8; },
      [](Rule& r) { r.filter.icmpCode = 1; },
      [](Rule& r) { r.filter.source = Kavet::IpAddr(1); },
      [](Rule& r) { r.filter.sourceMask = Kavet::IpAddr(1); },
      [](Rule& r) { r.filter.destination = Kavet::IpAddr(1); },
      [](Rule& r) { r.filter.destinationMask = Kavet::IpAddr(1); },
      [](Rule& r) { r.filter.fragments = true; },
  });
}

TEST(Rules, AnIpv6RuleIsEqualWhenEveryFieldIs) {
  using Rule = Acl::Ip6RuleConfig;
  expectEachChangeMatters<Rule>({
      [](Rule& r) { r.action = Acl::Action::deny; },
      [](Rule& r) { r.filter.proto = 58; },
      [](Rule& r) {
        r.filter.sourceIs({Kavet::Ip6Addr({0x20}), 0});
      },
      [](Rule& r) {
        r.filter.sourceIs({Kavet::Ip6Addr(), 64});
      },
      [](Rule& r) {
        r.filter.destinationIs({Kavet::Ip6Addr(), 128});
      },
  });
}

TEST(Rules, AMacRuleIsEqualWhenEveryFieldIs) {
  using Rule = Acl::MacRuleConfig;
  expectEachChangeMatters<Rule>({
      [](Rule& r) { r.log = true; },
      [](Rule& r) { r.filter = Acl::MacFilter(7); },
      [](Rule& r) { r.filter.proto = 0x800; },
      [](Rule& r) { r.filter.source = Kavet::EthAddr({1}); },
      [](Rule& r) { r.filter.sourceMask = Kavet::EthAddr({1}); },
      [](Rule& r) { r.filter.destination = Kavet::EthAddr({1}); },
      [](Rule& r) { r.filter.destinationMask = Kavet::EthAddr({1}); },
  });
}

TEST(Rules, EnumerationsHaveTheirNumbers) {
  EXPECT_EQ(static_cast<uint32_t>(Acl::Action::permit), 0U);
  EXPECT_EQ(static_cast<uint32_t>(Acl::Action::deny), 1U);
  using Acl::RangeOperator;
  uint32_t next = 0;
  for (const RangeOperator oper : {RangeOperator::any, RangeOperator::eq, RangeOperator::gt,
                                   RangeOperator::lt, RangeOperator::neq, RangeOperator::range}) {
    EXPECT_EQ(static_cast<uint32_t>(oper), next++);
  }
  int bit = 1;
  for (const int flag : {Acl::fin, Acl::syn, Acl::rst, Acl::psh, Acl::ack, Acl::urg}) {
    EXPECT_EQ(flag, bit);
    bit *= 2;
  }
}

}  // namespace
