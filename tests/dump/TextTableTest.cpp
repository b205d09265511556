#include "dump/TextTable.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Dump {
namespace {

using Acl::AclType;
using Acl::RangeOperator;
using Sources::AclSnapshot;
using Sources::RuleCounter;
using Sources::RuleSnapshot;
using Sources::Snapshot;

std::string printed(const Snapshot& snapshot) {
  std::ostringstream out;
  printTable(out, snapshot);
  return out.str();
}

TEST(Table, AnEmptySnapshotIsTheDataPlane) {
  EXPECT_EQ(printed({}), "data plane: -\n");
  Snapshot snapshot;
  snapshot.dataPlane = {true, true, true, true};
  EXPECT_EQ(printed(snapshot), "data plane: acl,logging,counters,router-acl\n");
}

TEST(Table, EveryConditionOfARuleIsShown) {
  Snapshot snapshot;
  AclSnapshot& acl = snapshot.acls[{AclType::ipv4, "inet/it's\n"}];
  acl = {true, true, true, true, {}, {{5, "first"}, {10, "\x1b[2J"}}};
  Acl::IpRuleConfig rule{Acl::Action::deny, true, Acl::IpFilter()};
  rule.filter.proto = 6;
  rule.filter.source = Kavet::IpAddr(0x0A000001);
  rule.filter.sourceMask = Kavet::IpAddr(0xFF0000FF);
  rule.filter.destination = Kavet::IpAddr(0xC6336400);
  rule.filter.destinationMask = Kavet::IpAddr(0xFFFFFF00);
  rule.filter.sport = {RangeOperator::neq, "22"};
  rule.filter.dport = {RangeOperator::eq, "1-1023,8080"};
  rule.filter.tcpFlags = 63;
  rule.filter.established = rule.filter.tracked = rule.filter.fragments = true;
  rule.filter.ttl = {RangeOperator::lt, 2};
  rule.filter.icmpType = 3;
  acl.rules.emplace(10, RuleSnapshot{{10, 0, 0}, rule, RuleCounter{123, 4}});
  acl.rules.emplace(200, RuleSnapshot{{200, 0, 0}, Acl::IpRuleConfig(), std::nullopt});
  EXPECT_EQ(printed(snapshot),
            R"(data plane: -

ipv4 'inet/it\'s\x0a': read-only,counters,counters-incomplete,fragments
  SEQ  ACTION  PROTO  SOURCE                  PORTS  DESTINATION      PORTS        FLAGS                                                                     PACKETS  REMARK
    5  remark                                                                                                                                                         'first'
   10  deny    tcp    10.0.0.1 & 255.0.0.255  !=22   198.51.100.0/24  1-1023,8080  fin,syn,rst,psh,ack,urg,established,tracked,icmp=3/0,ttl<2,fragments,log      123  '\x1b[2J'
  200  permit  any    any                     any    any              any          -                                                                               -
)");
}

TEST(Table, MacAclsHaveNoPorts) {
  Snapshot snapshot;
  Acl::MacRuleConfig rule;
  rule.filter.source = Kavet::EthAddr({0, 0x53, 0, 0, 0, 1});
  rule.filter.sourceMask = Kavet::EthAddr({255, 255, 255, 255, 255, 255});
  rule.filter.destination = Kavet::EthAddr({1, 0, 0, 0, 0, 0});
  rule.filter.destinationMask = rule.filter.destination;
  rule.filter.proto = 0x806;
  snapshot.acls[{AclType::mac, "m"}].rules.emplace(1, RuleSnapshot{{1, 0, 0}, rule, {}});
  snapshot.acls[{AclType::mac, "none"}];
  EXPECT_EQ(printed(snapshot), R"(data plane: -

mac 'm': -
  SEQ  ACTION  PROTO   SOURCE             DESTINATION                            FLAGS  PACKETS  REMARK
    1  permit  0x0806  00:53:00:00:00:01  01:00:00:00:00:00 & 01:00:00:00:00:00  -            -

mac 'none': -
)");
}

TEST(Table, EndsOfEveryKind) {
  Acl::IpRuleConfig four;
  four.filter.source = Kavet::IpAddr(0xC0000201);  // an address whose mask leaves all open
  Acl::Ip6RuleConfig six;
  Kavet::Ip6Addr address;
  address.u8Is(15, 1);
  six.filter.sourceIs({address, 0});
  six.filter.proto = 58;
  Snapshot snapshot;
  snapshot.acls[{AclType::ipv4, "a"}].rules.emplace(1, RuleSnapshot{{1, 0, 0}, four, {}});
  snapshot.acls[{AclType::ipv6, "a"}].rules.emplace(1, RuleSnapshot{{1, 0, 0}, six, {}});
  const std::string text = printed(snapshot);
  EXPECT_NE(text.find("  1  permit  any    192.0.2.1 & 0.0.0.0  any    any  "), std::string::npos)
      << text;
  EXPECT_NE(text.find("  1  permit  icmpv6  ::1/0   any    any  "), std::string::npos) << text;
}

}  // namespace
}  // namespace Dump
