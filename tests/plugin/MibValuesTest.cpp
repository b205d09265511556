// What the handlers read: values of every column, lengths, and what cannot be encoded.

#include "MibValues.h"

namespace MibTest {
namespace {

TEST_F(Values, AclColumnsReadTheirOwnTruthValue) {
  for (const char* name : {"zorlenIpAclTable", "zorlenMacAclTable", "zorlenIpv6AclTable"}) {
    const TableCase& t = table(name);
    for (unsigned only = 1; only <= 4; ++only) {  // column 1: none
      config->readonlyIs(only == 2);
      rules->countersEnabledIs(only == 3);
      status->countersIncompleteIs(only == 4);
      for (unsigned column = 2; column <= 4; ++column) {
        expectNumber(t, column, column == only ? 1 : 2);
      }
    }
  }
}

TEST_F(Values, AnAclWithoutConfigurationAndStatusReadsFalse) {
  for (const char* name : {"zorlenIpAclTable", "zorlenMacAclTable", "zorlenIpv6AclTable"}) {
    const TableCase& t = table(name);
    t.addRow(*mib, "acl", 0, 0);
    for (unsigned column = 2; column <= 4; ++column) expectNumber(t, column, 2);
  }
}

/// Fills what the two kinds of IP filter share.
void fillCommon(Acl::IpFilterBase& filter) {
  filter.proto = 6;
  filter.ttl = {Acl::RangeOperator::lt, 64};
  filter.sport = {Acl::RangeOperator::range, "1024-65535"};
  filter.dport = {Acl::RangeOperator::neq, "80 443"};
  filter.tcpFlags = Acl::syn | Acl::ack;
  filter.established = true;
  filter.icmpType = 65535;
  filter.icmpCode = 3;
}

TEST_F(Values, EveryColumnOfAnIpv4Rule) {
  const TableCase& t = table("zorlenIpAclRuleTable");
  Acl::IpRuleConfig rule;
  fillCommon(rule.filter);
  rule.filter.source = Kavet::IpAddr(0xC0000201);
  rule.filter.sourceMask = Kavet::IpAddr(0xFFFFFF00);
  rule.filter.destination = Kavet::IpAddr(0xC6336400);
  rule.filter.destinationMask = Kavet::IpAddr(0xFF000000);
  rule.filter.tracked = true;
  rule.action = Acl::Action::deny;
  rules->ipRuleByIdIs(kId, rule);
  expectNumber(t, 2, 6);
  expectOctets(t, 3, {192, 0, 2, 1});
  expectOctets(t, 4, {255, 255, 255, 0});
  expectOctets(t, 5, {198, 51, 100, 0});
  expectOctets(t, 6, {255, 0, 0, 0});
  expectNumber(t, 7, 5);
  expectText(t, 8, "1024-65535");
  expectNumber(t, 9, 4);
  expectText(t, 10, "80 443");
  expectNumber(t, 11, 3);
  expectNumber(t, 12, 64);
  expectNumber(t, 13, 1);
  expectNumber(t, 14, 2);
  expectOctets(t, 15, {0x48});
  expectNumber(t, 16, 1);
  expectNumber(t, 17, 65535);
  expectNumber(t, 18, 3);
  expectNumber(t, 19, 1);
  expectNumber(t, 20, 2);
  expectText(t, 21, kRemark);

  // The truth values and the action the other way round.
  rule.filter.tracked = false;
  rule.filter.fragments = true;
  rule.filter.established = false;
  rule.filter.proto = 4294967295U;
  rule.action = Acl::Action::permit;
  rule.log = true;
  rules->ipRuleByIdIs(kId, rule);
  expectNumber(t, 2, 4294967295LL);
  expectNumber(t, 13, 2);
  expectNumber(t, 14, 1);
  expectNumber(t, 16, 2);
  expectNumber(t, 19, 0);
  expectNumber(t, 20, 1);
}

TEST_F(Values, EveryColumnOfAnIpv6Rule) {
  const TableCase& t = table("zorlenIpv6AclRuleTable");
  Acl::Ip6RuleConfig rule;
  fillCommon(rule.filter);
  rule.filter.sourceIs({Kavet::Ip6Addr({0x20, 0x01, 0x0D, 0xB8}), 33});
  rule.filter.destinationIs({Kavet::Ip6Addr({0xFE, 0x80}), 128});
  rule.action = Acl::Action::deny;
  rules->ip6RuleByIdIs(kId, rule);
  expectNumber(t, 2, 6);
  expectOctets(t, 3, {0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  expectOctets(t, 4, {0xFF, 0xFF, 0xFF, 0xFF, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  expectOctets(t, 5, {0xFE, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  expectOctets(t, 6, Octets(16, 0xFF));
  expectNumber(t, 7, 5);
  expectText(t, 8, "1024-65535");
  expectNumber(t, 9, 4);
  expectText(t, 10, "80 443");
  expectNumber(t, 11, 3);
  expectNumber(t, 12, 64);
  expectOctets(t, 13, {0x48});
  expectNumber(t, 14, 1);
  expectNumber(t, 15, 65535);
  expectNumber(t, 16, 3);
  expectNumber(t, 17, 1);
  expectNumber(t, 18, 2);
  expectText(t, 19, kRemark);
}

TEST_F(Values, EveryColumnOfAMacRule) {
  const TableCase& t = table("zorlenMacAclRuleTable");
  Acl::MacRuleConfig rule;
  rule.filter.source = Kavet::EthAddr({0, 0, 0x5E, 0, 0x53, 1});
  rule.filter.sourceMask = Kavet::EthAddr({255, 255, 255, 0, 0, 0});
  rule.filter.destination = Kavet::EthAddr({0, 0, 0x5E, 0, 0x53, 2});
  rule.filter.destinationMask = Kavet::EthAddr({255, 255, 255, 255, 255, 0});
  rule.filter.proto = 2048;
  rule.action = Acl::Action::deny;
  rule.log = true;
  rules->macRuleByIdIs(kId, rule);
  expectOctets(t, 2, {0, 0, 0x5E, 0, 0x53, 1});
  expectOctets(t, 3, {255, 255, 255, 0, 0, 0});
  expectOctets(t, 4, {0, 0, 0x5E, 0, 0x53, 2});
  expectOctets(t, 5, {255, 255, 255, 255, 255, 0});
  expectNumber(t, 6, 2048);
  expectNumber(t, 7, 1);
  expectNumber(t, 8, 1);
  expectText(t, 9, kRemark);
}

TEST_F(Values, RuleColumnsReadTheirOwnTruthValue) {
  const auto expectOnly = [this](const char* name, std::vector<unsigned> columns, unsigned only) {
    for (const unsigned column : columns) {
      expectNumber(table(name), column, column == only ? 1 : 2);
    }
  };
  for (const unsigned only : {0U, 13U, 14U, 16U, 20U}) {
    Acl::IpRuleConfig rule;
    rule.filter.tracked = only == 13;
    rule.filter.fragments = only == 14;
    rule.filter.established = only == 16;
    rule.log = only == 20;
    rules->ipRuleByIdIs(kId, rule);
    expectOnly("zorlenIpAclRuleTable", {13, 14, 16, 20}, only);
  }
  for (const unsigned only : {0U, 14U, 18U}) {
    Acl::Ip6RuleConfig rule;
    rule.filter.established = only == 14;
    rule.log = only == 18;
    rules->ip6RuleByIdIs(kId, rule);
    expectOnly("zorlenIpv6AclRuleTable", {14, 18}, only);
  }
  for (const unsigned only : {0U, 8U}) {
    Acl::MacRuleConfig rule;
    rule.log = only == 8;
    rules->macRuleByIdIs(kId, rule);
    expectOnly("zorlenMacAclRuleTable", {8}, only);
  }
}

TEST_F(Values, StatisticsAreTheCountAndTheUptimeOfItsLastChange) {
  for (const char* name :
       {"zorlenIpAclRuleStatsTable", "zorlenMacAclRuleStatsTable", "zorlenIpv6AclRuleStatsTable"}) {
    const TableCase& t = table(name);
    status->ruleStatusDel(kId);
    expectNumber(t, 3, 100);  // the row's creation
    status->ruleStatusIs(kId, {0x0123456789ABCDEFULL, 1012.34});
    const Read count = read(t, 2);
    counter64 counter{};
    ASSERT_EQ(count.octets.size(), sizeof counter);
    std::memcpy(&counter, count.octets.data(), sizeof counter);
    EXPECT_EQ(counter.high, 0x01234567U);
    EXPECT_EQ(counter.low, 0x89ABCDEFU);
    EXPECT_EQ(count.type, ASN_COUNTER64);
    expectNumber(t, 3, 1234);
  }
}

TEST_F(Values, ARemarkOf127OctetsIsServedALongerOneFails) {
  for (const char* name :
       {"zorlenIpAclRuleTable", "zorlenMacAclRuleTable", "zorlenIpv6AclRuleTable"}) {
    const TableCase& t = table(name);
    for (const size_t length : {size_t{0}, size_t{127}}) {
      rules->remarkBySequenceIs(10, {Qel::String8(std::string(length, 'r'))});
      expectText(t, t.lastColumn(), std::string(length, 'r'));
    }
    for (const size_t length : {size_t{128}, size_t{2000}}) {
      rules->remarkBySequenceIs(10, {Qel::String8(std::string(length, 'r'))});
      expectFailure(t, t.lastColumn(), {failed(t, "StringToAsnOctetString", "remark")});
    }
  }
}

TEST_F(Values, PortsOf60OctetsAreServedLongerOnesFail) {
  for (const char* name : {"zorlenIpAclRuleTable", "zorlenIpv6AclRuleTable"}) {
    const TableCase& t = table(name);
    for (const unsigned column : {8U, 10U}) {
      for (const size_t length : {60U, 61U}) {
        Acl::PortRange ports{Acl::RangeOperator::eq, Qel::String8(std::string(length, '1'))};
        Acl::IpRuleConfig ip;
        Acl::Ip6RuleConfig ip6;
        (column == 8 ? ip.filter.sport : ip.filter.dport) = ports;
        (column == 8 ? ip6.filter.sport : ip6.filter.dport) = ports;
        rules->ipRuleByIdIs(kId, ip);
        rules->ip6RuleByIdIs(kId, ip6);
        if (length == 60) {
          expectText(t, column, std::string(60, '1'));
        } else {
          expectFailure(t, column,
                        {failed(t, "StringToAsnOctetString", column == 8 ? "sports" : "dports")});
        }
      }
    }
  }
}

// Nothing that a read throws gets past the handler.
TEST_F(Values, AColumnWhoseReadThrowsFailsWithTheExceptionsText) {
  const TableCase& t = table("zorlenIpv6AclRuleTable");
  for (const unsigned column : {4U, 6U}) {
    Acl::Ip6RuleConfig rule;
    if (column == 4) rule.filter.sourceIs({{}, 129});
    if (column == 6) rule.filter.destinationIs({{}, 129});
    rules->ip6RuleByIdIs(kId, rule);
    const std::string attribute = column == 4 ? "sourceMask" : "destMask";
    expectFailure(t, column,
                  {snmp(0, "handle_" + t.name() + " - reading " + attribute +
                               " threw exception: Ip6Addr::u8Is: index out of range"),
                   failed(t, "KavetIp6AddrToAsnOctetString", attribute)});
  }
}

}  // namespace
}  // namespace MibTest
