// What the handlers read: values of every column, lengths, and what cannot be encoded.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Hooks.h"
#include "Tables.h"
#include "mib_requests.h"

namespace MibTest {
namespace {

using testing::ElementsAre;

const Acl::UniqueId kId(7, 0, 0);
constexpr const char* kRemark = "web";

/// One ACL with one rule and its status, in all nine tables.
class Values : public testing::Test {
 protected:
  Values() {
    config->readonlyIs(true);
    config->currCfgIs(rules);
    rules->countersEnabledIs(true);
    rules->ruleBySequenceIs(10, kId);
    rules->remarkBySequenceIs(10, {kRemark});
    status->countersIncompleteIs(true);
    const AclSnmp::AclRuleTableIndex index("acl", 10);
    mib->newIpAclTable("acl", config)->aclStatusIs(status);
    mib->newMacAclTable("acl", config)->aclStatusIs(status);
    mib->newIpv6AclTable("acl", config)->aclStatusIs(status);
    mib->newIpAclRuleTable(index, config);
    mib->newMacAclRuleTable(index, config);
    mib->newIpv6AclRuleTable(index, config);
    mib->newIpAclRuleStatsTable(index, config, 1001.0)->aclStatusIs(status);
    mib->newMacAclRuleStatsTable(index, config, 1001.0)->aclStatusIs(status);
    mib->newIpv6AclRuleStatsTable(index, config, 1001.0)->aclStatusIs(status);
  }

  struct Read {
    int returned;
    int status;
    u_char type;
    Octets octets;
  };
  /// Reads one column of the row by the table's own handler.
  Read read(const TableCase& t, unsigned column) { return read(t, column, t.handler); }
  Read read(const TableCase& t, unsigned column, Netsnmp_Node_Handler* handler) {
    Walk walk(t, *mib);
    walk.first();
    Batch batch(MODE_GET);
    const netsnmp_request_info& request = batch.add(column, t, walk);
    const int returned = handler(nullptr, nullptr, batch.info(), batch.head());
    return {returned, request.status, request.requestvb->type, octetsOf(request.requestvb)};
  }
  void expectNumber(const TableCase& t, unsigned column, int64_t expected) {
    const Read value = read(t, column);
    long number = -1;
    ASSERT_EQ(value.octets.size(), sizeof number) << t << " " << column;
    std::memcpy(&number, value.octets.data(), sizeof number);
    EXPECT_EQ(number, expected) << t << " " << column;
    EXPECT_EQ(value.returned, SNMP_ERR_NOERROR);
  }
  void expectOctets(const TableCase& t, unsigned column, const Octets& expected) {
    const Read value = read(t, column);
    EXPECT_EQ(value.octets, expected) << t << " " << column;
    EXPECT_EQ(value.returned, SNMP_ERR_NOERROR);
  }
  void expectText(const TableCase& t, unsigned column, const std::string& expected) {
    expectOctets(t, column, Octets(expected.begin(), expected.end()));
  }
  /// The column fails with these traces, and with the same errors when they are off.
  void expectFailure(const TableCase& t, unsigned column, const std::vector<Traced>& expected) {
    Walk walk(t, *mib);
    walk.first();
    for (const bool traced : {true, false}) {
      SCOPED_TRACE(t.name() + (traced ? " traced" : " silent"));
      Batch batch(MODE_GET);
      const netsnmp_request_info& good = batch.add(2, t, walk);
      const netsnmp_request_info& bad = batch.add(column, t, walk);
      const netsnmp_request_info& after = batch.add(2, t, walk);
      const TraceCapture capture(traced ? "Snmp=2" : "Snmp=0");
      // The list head takes the error, not the request that failed.
      EXPECT_EQ(t.handler(nullptr, nullptr, batch.info(), batch.head()), SNMP_ERR_GENERR);
      EXPECT_EQ(good.status, SNMP_ERR_GENERR);
      EXPECT_EQ(bad.status, SNMP_ERR_NOERROR);
      EXPECT_EQ(bad.requestvb->type, ASN_NULL);
      EXPECT_EQ(after.requestvb->type, ASN_NULL);
      if (!traced) continue;
      ASSERT_GE(capture.traced().size(), expected.size());
      EXPECT_EQ(std::vector<Traced>(capture.traced().end() - static_cast<long>(expected.size()),
                                    capture.traced().end()),
                expected);
    }
  }
  Traced failed(const TableCase& t, const std::string& encoder, const std::string& attribute) {
    return snmp(2, "handle_" + t.name() + " - " + encoder + " failed for: " + attribute);
  }

  const AgentStart start{1000};
  const Qel::Ptr<AclSnmp::AclMib> mib = AclSnmp::AclMibIs("aclMIB");
  const Qel::Ptr<Acl::AclConfig> config = Qel::make<Acl::AclConfig>("acl", Acl::AclType::ipv4);
  const Qel::Ptr<Acl::AclSubConfig> rules = Qel::make<Acl::AclSubConfig>("1");
  const Qel::Ptr<Acl::AclStatus> status = Qel::make<Acl::AclStatus>("acl");
};

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

// The tables' descriptions with encoders of our own.

/// What the encoders of `Altered` return.
int encoded = -1;

template <const auto& original>
constexpr auto altered() {
  using TableT = std::remove_cvref_t<decltype(original)>;
  TableT copy = original;
  for (auto& column : copy.columns) {
    column.encode = [](const typename TableT::Entry&, unsigned char* buffer, int size) {
      if (size > 0) std::memset(buffer, 0, static_cast<size_t>(size));
      return encoded;
    };
  }
  return copy;
}
template <const auto& original>
constexpr auto kAltered = altered<original>();

template <const auto& original>
int alteredHandler(netsnmp_mib_handler*, netsnmp_handler_registration*,
                   netsnmp_agent_request_info* info, netsnmp_request_info* requests) {
  static const std::string function = std::string(original.name) + "_handler";
  return AclSnmp::Hooks<kAltered<original>>::handle(function.c_str(), info, requests);
}

std::vector<Netsnmp_Node_Handler*> alteredHandlers() {
  using namespace AclSnmp;
  return {alteredHandler<kIpAclTable>,           alteredHandler<kIpAclRuleTable>,
          alteredHandler<kIpAclRuleStatsTable>,  alteredHandler<kMacAclTable>,
          alteredHandler<kMacAclRuleTable>,      alteredHandler<kMacAclRuleStatsTable>,
          alteredHandler<kIpv6AclTable>,         alteredHandler<kIpv6AclRuleTable>,
          alteredHandler<kIpv6AclRuleStatsTable>};
}

class Encoding : public Values, public testing::WithParamInterface<size_t> {
 protected:
  TableCase altered() const {
    TableCase t = tables()[GetParam()];
    t.handler = alteredHandlers()[GetParam()];
    return t;
  }
  static bool isFixed(const ColumnCase& column) {
    return column.bufferSize == 16 || column.bufferSize == 6;
  }
};

INSTANTIATE_TEST_SUITE_P(Tables, Encoding, testing::Range(size_t{0}, size_t{9}),
                         [](const auto& info) { return tables()[info.param].name(); });

TEST_P(Encoding, AFailedEncoderIsNamedWithItsAttribute) {
  const TableCase t = altered();
  for (const int length : {-1, -1000}) {
    encoded = length;
    for (const ColumnCase& column : t.columns()) {
      Walk walk(t, *mib);
      walk.first();
      Batch batch(MODE_GET);
      const netsnmp_request_info& request = batch.add(column.number, t, walk);
      const TraceCapture capture("Snmp=2");
      EXPECT_EQ(t.handler(nullptr, nullptr, batch.info(), batch.head()), SNMP_ERR_GENERR);
      EXPECT_EQ(request.status, SNMP_ERR_GENERR);
      EXPECT_EQ(capture.traced().back(), failed(t, column.encoder, column.attribute));
    }
  }
}

TEST_P(Encoding, ALengthOutOfItsColumnsRangeIsNamed) {
  const TableCase t = altered();
  for (const ColumnCase& column : t.columns()) {
    if (column.bufferSize == 1024) continue;
    std::vector<int> bad = {column.bufferSize + 1};
    if (isFixed(column)) bad.insert(bad.end(), {column.bufferSize - 1, 0});
    for (const int length : bad) {
      encoded = length;
      Walk walk(t, *mib);
      walk.first();
      Batch batch(MODE_GET);
      const netsnmp_request_info& first = batch.add();
      batch.head()->processed = 1;
      batch.add(column.number, t, walk);
      const TraceCapture capture("Snmp=2");
      EXPECT_EQ(t.handler(nullptr, nullptr, batch.info(), batch.head()), SNMP_ERR_GENERR);
      EXPECT_EQ(first.status, SNMP_ERR_GENERR);
      EXPECT_EQ(capture.traced().back(),
                snmp(2, "handle_" + t.name() +
                            " - entity /<sysname>/snmp/acl/aclMIB length out of range: " +
                            column.attribute + " (" + std::to_string(length) + ")"));
    }
  }
}

TEST_P(Encoding, NoOctetsAreAValueUnlessTheLengthIsFixed) {
  const TableCase t = altered();
  encoded = 0;
  for (const ColumnCase& column : t.columns()) {
    if (isFixed(column)) continue;
    const Read value = read(t, column.number, t.handler);
    EXPECT_EQ(value.returned, SNMP_ERR_NOERROR) << column.name;
    EXPECT_EQ(value.type, column.type);
  }
}

}  // namespace
}  // namespace MibTest
