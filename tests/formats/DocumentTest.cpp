#include "openconfig/Document.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "Documents.h"
#include "qel/Time.h"

namespace OpenConfig {
namespace {

using Acl::AclType;
using Acl::RangeOperator;

template <class Rule>
Rule onlyRule(const std::string& type, const std::string& members) {
  const Snapshot snapshot = parsed(documentOf(setOf(type, entryOf(members))));
  if (snapshot.acls.size() != 1 || !snapshot.acls.begin()->second.rules.contains(10)) {
    ADD_FAILURE() << members;
    return Rule();
  }
  return std::get<Rule>(snapshot.acls.begin()->second.rules.at(10).config);
}

Acl::IpFilter ipv4(const std::string& leafs) {
  return onlyRule<Acl::IpRuleConfig>("ACL_IPV4", R"("ipv4":{"config":{)" + leafs + "}}").filter;
}
Acl::Ip6Filter ipv6(const std::string& leafs) {
  return onlyRule<Acl::Ip6RuleConfig>("ACL_IPV6", R"("ipv6":{"config":{)" + leafs + "}}").filter;
}
Acl::MacFilter l2(const std::string& leafs) {
  return onlyRule<Acl::MacRuleConfig>("ACL_L2", R"("l2":{"config":{)" + leafs + "}}").filter;
}
Acl::IpFilter transport(const std::string& leafs) {
  return onlyRule<Acl::IpRuleConfig>("ACL_IPV4", R"("transport":{"config":{)" + leafs + "}}")
      .filter;
}

TEST(Document, EmptyAclIsADocument) {
  EXPECT_TRUE(parsed(R"({"openconfig-acl:acl":{}})").acls.empty());
  EXPECT_TRUE(parsed(R"({"acl":{"acl-sets":{}}})").acls.empty());
  EXPECT_TRUE(parsed(R"({"ietf-restconf:data":{"openconfig-acl:acl":{}}})").acls.empty());
  EXPECT_TRUE(parsed(R"({"data":{"openconfig-acl:acl":{}}})").acls.empty());
}

TEST(Document, ForeignMembersInterfacesAndStateAreSkipped) {
  const Snapshot snapshot = parsed(R"({
    "openconfig-interfaces:interfaces": {"interface": [1, 2, {"a": null}]},
    "openconfig-acl:acl": {
      "@": {"x": 1},
      "state": {"counter-capability": "AGGREGATE_ONLY"},
      "config": {},
      "interfaces": {"interface": [{"id": "et1"}]},
      "vendor:more": 1.5e3,
      "acl-sets": {"acl-set": [{"name": "a", "type": "ACL_L2", "vendor:leaf": [true]}]}}})");
  EXPECT_EQ(snapshot.acls.size(), 1U);
}

TEST(Document, AclLeafs) {
  const Snapshot snapshot = parsed(documentOf(R"({
    "name": "a", "type": "openconfig-acl:ACL_IPV6",
    "config": {"name": "a", "type": "ACL_IPV6", "description": "any text",
               "zorlen-acl-ext:read-only": true, "zorlen-acl-ext:counters-enabled": true,
               "zorlen-acl-ext:fragments-enabled": true},
    "state": {"name": "a", "zorlen-acl-ext:counters-incomplete": true,
              "zorlen-acl-ext:read-only": false}})"));
  const AclSnapshot& acl = snapshot.acls.at({AclType::ipv6, "a"});
  EXPECT_TRUE(acl.readonly);
  EXPECT_TRUE(acl.countersEnabled);
  EXPECT_TRUE(acl.fragmentsEnabled);
  EXPECT_TRUE(acl.countersIncomplete);
}

TEST(Document, StateStandsInForMissingConfig) {
  const Snapshot snapshot = parsed(documentOf(R"({
    "state": {"name": "a", "type": "ACL_IPV4"},
    "acl-entries": {"acl-entry": [{
      "state": {"sequence-id": 7, "description": "old", "matched-packets": "5"},
      "config": {"description": "new"},
      "ipv4": {"state": {"protocol": 17, "hop-limit": 3}, "config": {"protocol": "IP_TCP"}},
      "actions": {"state": {"forwarding-action": "DROP", "log-action": "LOG_SYSLOG"}}}]}})"));
  const AclSnapshot& acl = snapshot.acls.at({AclType::ipv4, "a"});
  const auto& rule = std::get<Acl::IpRuleConfig>(acl.rules.at(7).config);
  EXPECT_EQ(acl.remarks.at(7), "new");
  EXPECT_EQ(rule.filter.proto, 6U);
  EXPECT_EQ(rule.filter.ttl.value, 3U);
  EXPECT_EQ(rule.action, Acl::Action::deny);
  EXPECT_TRUE(rule.log);
  EXPECT_EQ(acl.rules.at(7).counter->pkts, 5U);
  EXPECT_EQ(acl.rules.at(7).id, Acl::UniqueId(7, 0, 0));
}

TEST(Document, OneNameForEachType) {
  const Snapshot snapshot = parsed(documentOf(R"({"name":"a","type":"ACL_IPV4"},
    {"name":"a","type":"ACL_IPV6"},{"name":"a","type":"ACL_L2"},{"name":"","type":"ACL_L2"})"));
  EXPECT_EQ(snapshot.acls.size(), 4U);
}

TEST(Document, NamesThatAreNoUtf8) {
  using namespace std::string_literals;
  const std::string longest(100, 'x');
  const Snapshot snapshot = parsed(documentOf(R"({"name":"n\u00a0l","type":"ACL_L2"},{"name":")"s +
                                              longest + R"(","type":"ACL_L2"},
      {"name":"x","type":"ACL_L2","config":{"zorlen-acl-ext:name-octets":"7eFFc0C3"}},
      {"name":"y","type":"ACL_L2","config":{"zorlen-acl-ext:name-octets":""}})"));
  EXPECT_TRUE(snapshot.acls.contains({AclType::mac, "n\xc2\xa0l"}));
  EXPECT_TRUE(snapshot.acls.contains({AclType::mac, longest}));
  EXPECT_TRUE(snapshot.acls.contains({AclType::mac, "\x7e\xff\xc0\xc3"}));
  EXPECT_TRUE(snapshot.acls.contains({AclType::mac, ""}));
}

TEST(Document, ControlCharactersOfRemarksAreQuestionMarks) {
  const auto remark = [](const std::string& leaf) {
    const Snapshot snapshot =
        parsed(documentOf(setOf("ACL_L2", entryOf("\"config\":{" + leaf + "}"))));
    return snapshot.acls.begin()->second.remarks.at(10);
  };
  EXPECT_EQ(remark(R"("description":"a\u001b[2Jb\u0000\u007f\u0080\u009f\u00a0c")"),
            "a?[2Jb????\xc2\xa0"
            "c");
  // ESC, C1 alone and within "\u20ac", LF, C1 in two octets.
  EXPECT_EQ(remark(R"("zorlen-acl-ext:description-octets":"1b9be282ac0ac29b")"),
            "??\xe2\x82\xac??");
}

TEST(Document, NamesWithControlCharactersAreRefused) {
  const std::string expected = ", expected a name without control characters";
  const std::string place = "f:1: /openconfig-acl:acl/acl-sets/acl-set/0: found the name ";
  EXPECT_EQ(refusal(documentOf(R"({"name":"a\u001b[2J","type":"ACL_L2"})")),
            place + R"("a\x1b[2J")" + expected);
  EXPECT_EQ(refusal(documentOf(R"({"name":"\u009b2J","type":"ACL_L2"})")),
            place + R"("\xc2\x9b2J")" + expected);
  EXPECT_EQ(refusal(documentOf(
                R"({"name":"a","type":"ACL_L2","config":{"zorlen-acl-ext:name-octets":"809b"}})")),
            place + R"("\x80\x9b")" + expected);
  // Such a key alone is published nowhere.
  EXPECT_EQ(
      refusal(documentOf(
          R"({"name":"\u0007","type":"ACL_L2","config":{"zorlen-acl-ext:name-octets":"61"}})")),
      "accepted");
}

TEST(Document, DataPlaneFlags) {
  EXPECT_FALSE(parsed(R"({"acl":{}})").dataPlane.acl);
  const DataPlane flags = parsed(R"({"acl":{"zorlen-acl-ext:data-plane":{"acl-supported":true,
    "logging-supported":false,"counters-supported":true,"router-acl-supported":true}}})")
                              .dataPlane;
  EXPECT_TRUE(flags.acl);
  EXPECT_FALSE(flags.logging);
  EXPECT_TRUE(flags.counters);
  EXPECT_TRUE(flags.routerAcl);
}

TEST(Document, RemarkOnlyEntryHasNoRule) {
  const Snapshot snapshot = parsed(documentOf(setOf("ACL_L2", R"({"sequence-id":4294967295,
    "config":{"description":"r","zorlen-acl-ext:remark-only":true}})")));
  const AclSnapshot& acl = snapshot.acls.begin()->second;
  EXPECT_TRUE(acl.rules.empty());
  EXPECT_EQ(acl.remarks.at(4294967295U), "r");
}

TEST(Document, Actions) {
  const struct {
    const char* config;
    Acl::Action action;
    bool log;
  } cases[] = {
      {R"("forwarding-action":"ACCEPT")", Acl::Action::permit, false},
      {R"("forwarding-action":"openconfig-acl:DROP","log-action":"LOG_NONE")", Acl::Action::deny,
       false},
      {R"("forwarding-action":"REJECT","log-action":"openconfig-acl:LOG_SYSLOG")",
       Acl::Action::deny, true},
  };
  for (const auto& c : cases) {
    const Snapshot snapshot = parsed(documentOf(setOf(
        "ACL_L2", std::string(R"({"sequence-id":1,"actions":{"config":{)") + c.config + "}}}")));
    const auto& rule = snapshot.acls.begin()->second.rules.at(1);
    EXPECT_EQ(std::get<Acl::MacRuleConfig>(rule.config).action, c.action) << c.config;
    EXPECT_EQ(std::get<Acl::MacRuleConfig>(rule.config).log, c.log) << c.config;
    EXPECT_FALSE(rule.counter) << c.config;
  }
}

TEST(Document, CountersOf64Bits) {
  const struct {
    const char* written;
    uint64_t pkts;
  } cases[] = {
      {"0", 0},
      {"\"9007199254740993\"", 9007199254740993U},
      {"18446744073709551615", UINT64_MAX},
      {"\"18446744073709551615\"", UINT64_MAX},
  };
  for (const auto& c : cases) {
    const Snapshot snapshot = parsed(documentOf(
        setOf("ACL_L2", entryOf(std::string(R"("state":{"matched-octets":"1","matched-packets":)") +
                                c.written + "}"))));
    EXPECT_EQ(snapshot.acls.begin()->second.rules.at(10).counter->pkts, c.pkts) << c.written;
  }
}

TEST(Document, LastUpdateIsATimeOnTheOwnClock) {
  const auto lastUpdate = [](const std::string& written) {
    const Snapshot snapshot = parsed(documentOf(setOf(
        "ACL_L2",
        entryOf(R"("state":{"matched-packets":1,"zorlen-acl-ext:last-update":)" + written + "}"))));
    return snapshot.acls.begin()->second.rules.at(10).counter->lastUpdate.value();
  };
  const auto wall = std::chrono::duration_cast<std::chrono::nanoseconds>(
                        std::chrono::system_clock::now().time_since_epoch())
                        .count();
  const Qel::Seconds now = Qel::now();
  EXPECT_NEAR(lastUpdate("\"" + std::to_string(wall - 60'000'000'000) + "\""), now - 60, 1);
  EXPECT_NEAR(lastUpdate("1000000000") - lastUpdate("0"), 1, 1e-6);
  const Qel::Seconds future = lastUpdate(std::to_string(UINT64_MAX));
  EXPECT_GE(future, now);
  EXPECT_LE(future, Qel::now());
}

TEST(Document, RuleIdsAndRemarksOfOctetsThatAreNoUtf8) {
  const Snapshot snapshot = parsed(documentOf(
      setOf("ACL_L2", entryOf(R"("config":{"description":"key","zorlen-acl-ext:description-octets":
          "a0ffc3","zorlen-acl-ext:rule-id":"4294967295.65535.1"})"))));
  const AclSnapshot& acl = snapshot.acls.begin()->second;
  EXPECT_EQ(acl.remarks.at(10), "\xa0\xff\xc3");
  EXPECT_EQ(acl.rules.at(10).id, Acl::UniqueId(4294967295, 65535, 1));
}

TEST(Document, Ipv4Addresses) {
  const struct {
    const char* leafs;
    uint32_t source, sourceMask, destination, destinationMask;
  } cases[] = {
      {"", 0, 0, 0, 0},
      {R"("source-address":"192.0.2.1/24")", 0xC0000201, 0xFFFFFF00, 0, 0},
      {R"("source-address":"0.0.0.0/0","destination-address":"10.1.2.3/32")", 0, 0, 0x0A010203,
       0xFFFFFFFF},
      {R"("source-address":"10.0.0.1","zorlen-acl-ext:source-mask":"255.0.0.255",
          "destination-address":"10.0.0.2/8","zorlen-acl-ext:destination-mask":"0.0.0.255")",
       0x0A000001, 0xFF0000FF, 0x0A000002, 0x000000FF},
  };
  for (const auto& c : cases) {
    const Acl::IpFilter filter = ipv4(c.leafs);
    EXPECT_EQ(filter.source.value(), c.source) << c.leafs;
    EXPECT_EQ(filter.sourceMask.value(), c.sourceMask) << c.leafs;
    EXPECT_EQ(filter.destination.value(), c.destination) << c.leafs;
    EXPECT_EQ(filter.destinationMask.value(), c.destinationMask) << c.leafs;
  }
}

TEST(Document, Protocols) {
  const std::pair<const char*, uint32_t> cases[] = {
      {"0", 0},
      {"255", 255},
      {"58", 58},
      {"\"IP_TCP\"", 6},
      {"\"IP_UDP\"", 17},
      {"\"IP_ICMP\"", 1},
      {"\"IP_IGMP\"", 2},
      {"\"IP_GRE\"", 47},
      {"\"IP_PIM\"", 103},
      {"\"IP_RSVP\"", 46},
      {"\"IP_AUTH\"", 51},
      {"\"IP_L2TP\"", 115},
      {"\"openconfig-packet-match-types:IP_UDP\"", 17},
  };
  for (const auto& [written, number] : cases) {
    EXPECT_EQ(ipv4(std::string("\"protocol\":") + written).proto, number) << written;
    EXPECT_EQ(ipv6(std::string("\"protocol\":") + written).proto, number) << written;
  }
}

TEST(Document, HopLimits) {
  const std::pair<const char*, Acl::RangeCondition> cases[] = {
      {R"("dscp":46,"dscp-set":[0,63],"length":1500)", {RangeOperator::any, 0}},
      {R"("hop-limit":255)", {RangeOperator::eq, 255}},
      {R"("hop-limit":9,"zorlen-acl-ext:hop-limit-operator":"any")", {RangeOperator::any, 0}},
      {R"("zorlen-acl-ext:hop-limit-operator":"any")", {RangeOperator::any, 0}},
      {R"("hop-limit":1,"zorlen-acl-ext:hop-limit-operator":"eq")", {RangeOperator::eq, 1}},
      {R"("hop-limit":2,"zorlen-acl-ext:hop-limit-operator":"gt")", {RangeOperator::gt, 2}},
      {R"("hop-limit":3,"zorlen-acl-ext:hop-limit-operator":"lt")", {RangeOperator::lt, 3}},
      {R"("hop-limit":4,"zorlen-acl-ext:hop-limit-operator":"neq")", {RangeOperator::neq, 4}},
  };
  for (const auto& [leafs, condition] : cases) {
    EXPECT_EQ(ipv4(leafs).ttl, condition) << leafs;
    EXPECT_EQ(ipv6(leafs).ttl, condition) << leafs;
  }
}

TEST(Document, Ipv4Flags) {
  EXPECT_FALSE(ipv4("").fragments);
  EXPECT_FALSE(ipv4("").tracked);
  EXPECT_TRUE(ipv4(R"("zorlen-acl-ext:fragments":true)").fragments);
  EXPECT_TRUE(ipv4(R"("zorlen-acl-ext:tracked":true)").tracked);
  EXPECT_TRUE(ipv6(R"("zorlen-acl-ext:tracked":true,"source-flow-label":1)").tracked);
}

TEST(Document, Ipv6Prefixes) {
  Kavet::Ip6Addr::Octets octets{0x20, 0x01, 0x0d, 0xb8};
  octets[15] = 1;
  for (const uint32_t length : {0U, 1U, 7U, 8U, 9U, 64U, 127U, 128U}) {
    const std::string prefix = "\"2001:db8::1/" + std::to_string(length) + "\"";
    const Acl::Ip6Filter filter = ipv6("\"destination-address\":" + prefix);
    EXPECT_EQ(filter.destination(), (Acl::Ip6Prefix{Kavet::Ip6Addr(octets), length}));
    EXPECT_EQ(filter.source(), Acl::Ip6Prefix());
    EXPECT_EQ(ipv6("\"source-address\":" + prefix).source(), filter.destination());
  }
}

TEST(Document, Icmp) {
  const auto rule4 = onlyRule<Acl::IpRuleConfig>(
      "ACL_IPV4", R"("ipv4":{"icmpv4":{"config":{"type":3,"code":4}}})");
  EXPECT_EQ(rule4.filter.icmpType, 3);
  EXPECT_EQ(rule4.filter.icmpCode, 4);
  const auto rule6 = onlyRule<Acl::Ip6RuleConfig>(
      "ACL_IPV6", R"("ipv6":{"config":{"protocol":58},"icmpv6":{"config":{"type":255}}})");
  EXPECT_EQ(rule6.filter.icmpType, 255);
  EXPECT_EQ(rule6.filter.icmpCode, 0);
}

TEST(Document, MacAddresses) {
  using Octets = Kavet::EthAddr::Octets;
  const Octets address{0, 0x53, 0, 0xAB, 0xcd, 0xEF};
  const Octets exact{255, 255, 255, 255, 255, 255};
  const Octets vendor{255, 255, 255, 0, 0, 0};
  const Acl::MacFilter none = l2("");
  EXPECT_EQ(none, Acl::MacFilter());
  const Acl::MacFilter one = l2(R"("source-mac":"00:53:00:ab:CD:ef")");
  EXPECT_EQ(one.source.octets(), address);
  EXPECT_EQ(one.sourceMask.octets(), exact);
  EXPECT_EQ(one.destinationMask, Kavet::EthAddr());
  const Acl::MacFilter masked =
      l2(R"("destination-mac":"00:53:00:ab:cd:ef","destination-mac-mask":"ff:ff:ff:00:00:00")");
  EXPECT_EQ(masked.destination.octets(), address);
  EXPECT_EQ(masked.destinationMask.octets(), vendor);
}

TEST(Document, EtherTypes) {
  const std::pair<const char*, uint32_t> cases[] = {
      {"1536", 1536},
      {"65535", 65535},
      {"\"ETHERTYPE_IPV4\"", 0x0800},
      {"\"ETHERTYPE_ARP\"", 0x0806},
      {"\"ETHERTYPE_VLAN\"", 0x8100},
      {"\"ETHERTYPE_IPV6\"", 0x86DD},
      {"\"ETHERTYPE_MPLS\"", 0x8847},
      {"\"ETHERTYPE_LLDP\"", 0x88CC},
      {"\"openconfig-packet-match-types:ETHERTYPE_ROCE\"", 0x8915},
  };
  for (const auto& [written, number] : cases) {
    EXPECT_EQ(l2(std::string("\"ethertype\":") + written).proto, number) << written;
  }
  for (const uint32_t number : {0U, 1U, 1535U, 65535U}) {
    EXPECT_EQ(l2("\"zorlen-acl-ext:ethertype\":" + std::to_string(number)).proto, number);
  }
}

TEST(Document, Ports) {
  const std::string eleven = "10001,10002,10003,10004,10005,10006,10007,10008,10009,10010";
  const struct {
    std::string port;
    const char* oper;
    std::string list;
    Acl::PortRange range;
  } cases[] = {
      {"\"ANY\"", "", "", {}},
      {"\"openconfig-packet-match-types:ANY\"", "", "", {}},
      {"0", "", "", {RangeOperator::eq, "0"}},
      {"65535", "eq", "", {RangeOperator::eq, "65535"}},
      {"80", "gt", "", {RangeOperator::gt, "80"}},
      {"80", "lt", "", {RangeOperator::lt, "80"}},
      {"80", "neq", "", {RangeOperator::neq, "80"}},
      {"\"1024..65535\"", "", "", {RangeOperator::range, "1024-65535"}},
      {"\"7..7\"", "range", "", {RangeOperator::range, "7-7"}},
      {"", "", "[80,443]", {RangeOperator::eq, "80 443"}},
      {"", "neq", "[80,443]", {RangeOperator::neq, "80 443"}},
      {"", "gt", "[80]", {RangeOperator::gt, "80"}},
      {"", "range", "[1,9]", {RangeOperator::range, "1-9"}},
      {"",
       "",
       "[" + eleven + "]",
       {RangeOperator::eq, "10001 10002 10003 10004 10005 10006 10007 10008 10009 10010"}},
  };
  for (const auto& c : cases) {
    for (const std::string side : {"source", "destination"}) {
      std::string leafs;
      if (!c.port.empty()) leafs += ",\"" + side + "-port\":" + c.port;
      if (*c.oper != 0)
        leafs += ",\"zorlen-acl-ext:" + side + "-port-operator\":\"" + c.oper + "\"";
      if (!c.list.empty()) leafs += ",\"zorlen-acl-ext:" + side + "-ports\":" + c.list;
      const Acl::IpFilter filter = transport(leafs.substr(1));
      EXPECT_EQ(side == "source" ? filter.sport : filter.dport, c.range) << leafs;
      EXPECT_EQ(side == "source" ? filter.dport : filter.sport, Acl::PortRange()) << leafs;
    }
  }
}

TEST(Document, PortTexts) {
  const std::pair<const char*, Acl::PortRange> cases[] = {
      {R"("zorlen-acl-ext:source-port-text":"1-1023,8080")", {RangeOperator::eq, "1-1023,8080"}},
      {R"("zorlen-acl-ext:source-port-text":"")", {RangeOperator::eq, ""}},
      {R"("zorlen-acl-ext:source-port-text":"9","zorlen-acl-ext:source-port-operator":"range")",
       {RangeOperator::range, "9"}},
  };
  for (const auto& [leafs, range] : cases) EXPECT_EQ(transport(leafs).sport, range) << leafs;
  EXPECT_EQ(transport(R"("zorlen-acl-ext:destination-port-text":"x")").dport,
            (Acl::PortRange{RangeOperator::eq, "x"}));
}

TEST(Document, TcpFlags) {
  const std::pair<const char*, uint16_t> cases[] = {
      {"[]", 0},
      {"[\"TCP_FIN\"]", 1},
      {"[\"TCP_SYN\"]", 2},
      {"[\"TCP_RST\"]", 4},
      {"[\"TCP_PSH\"]", 8},
      {"[\"TCP_ACK\"]", 16},
      {"[\"TCP_URG\"]", 32},
      {"[\"openconfig-packet-match-types:TCP_SYN\",\"TCP_ACK\"]", 18},
  };
  for (const auto& [written, flags] : cases) {
    EXPECT_EQ(transport(std::string("\"tcp-flags\":") + written).tcpFlags, flags) << written;
    EXPECT_EQ(transport(std::string(R"("detail-mode":"EXPLICIT",
        "explicit-detail-match-mode":"ALL","explicit-tcp-flags":)") +
                        written)
                  .tcpFlags,
              flags);
  }
}

TEST(Document, BuiltinDetails) {
  EXPECT_TRUE(transport(R"("zorlen-acl-ext:established":true)").established);
  EXPECT_FALSE(transport("").established);
  EXPECT_TRUE(
      transport(R"("detail-mode":"BUILTIN","builtin-detail":"TCP_ESTABLISHED")").established);
  EXPECT_EQ(transport(R"("builtin-detail":"TCP_INITIAL")").tcpFlags, Acl::syn);
  EXPECT_TRUE(transport(R"("builtin-detail":"FRAGMENT")").fragments);
}

TEST(Document, StopEndsTheReading) {
  std::stop_source stop;
  stop.request_stop();
  EXPECT_TRUE(
      std::holds_alternative<DocumentError>(parse(documentOf(""), Limits(), stop.get_token())));
}

TEST(Document, WhatStandsInForeignMembersIsNotKept) {
  const auto around = [](const std::string& member, const std::string& value) {
    return R"({"acl":{")" + member + "\":" + value +
           R"(,"acl-sets":{"acl-set":[{"name":"a","type":"ACL_L2"}]}}})";
  };
  const std::string values = R"([0,[1,{"a":"b","a":[true,null,-1.5]}],{},"x"])";
  // The document, its two members, the list, the ACL and its two leafs.
  constexpr size_t kNodes = 8;
  for (const char* member : {"v:x", "@", "interfaces", "openconfig-acl:interfaces"}) {
    EXPECT_EQ(refusal(around(member, values), {.nodes = kNodes}), "accepted") << member;
    EXPECT_EQ(refusal(around(member, "\"text\""), {.nodes = kNodes}), "accepted") << member;
  }
  EXPECT_EQ(refusal(around("v:x", values), {.nodes = kNodes - 1}),
            "f:1:" + std::to_string(around("v:x", values).find("\"ACL_L2\"") + 8) +
                ": found more values, expected at most 7 in the document");
  EXPECT_EQ(refusal(around("v:x", "[[0]"), {}).substr(0, 4), "f:1:");
}

TEST(Document, HugeObjectsOfForeignMembersAreRead) {
  std::string members;
  for (int i = 0; i < 5000; ++i)
    members += "\"v:" + std::to_string(i) + "\":" + std::to_string(i) + ",";
  EXPECT_EQ(refusal("{" + members + R"("acl":{}})"), "accepted");
  EXPECT_EQ(refusal("{" + members + R"("acl":{},"v:17":0})"),
            R"(f:1: /v:17: found a second member "v:17", expected each member once)");
}

}  // namespace
}  // namespace OpenConfig
