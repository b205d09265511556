#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Documents.h"

namespace OpenConfig {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct Case {
  std::string text;
  std::string refusal;
};

const std::string kSet = "f:1: /openconfig-acl:acl/acl-sets/acl-set/0";
const std::string kEntry = kSet + "/acl-entries/acl-entry/0";

void expectRefusals(const std::vector<Case>& cases) {
  for (const Case& c : cases) EXPECT_EQ(refusal(c.text), c.refusal) << c.text;
}

// Leafs of one container of an entry, and what is said about them.
void expectLeafs(const std::string& type, const std::string& container,
                 const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    const std::string text =
        documentOf(setOf(type, entryOf("\"" + container + "\":{\"config\":{" + c.text + "}}")));
    EXPECT_EQ(refusal(text), kEntry + "/" + container + "/config/" + c.refusal) << c.text;
  }
}

TEST(DocumentError, TextNamesFileLineColumnAndPath) {
  EXPECT_EQ((DocumentError{3, 4, "", "x", "y"}).text("f"), "f:3:4: found x, expected y");
  EXPECT_EQ((DocumentError{3, 0, "/a", "x", "y"}).text("f"), "f:3: /a: found x, expected y");
  EXPECT_EQ((DocumentError{0, 0, "", "x", "y"}).text("f"), "f: found x, expected y");
}

TEST(DocumentError, WhatIsNotJsonIsRefusedWithLineAndColumn) {
  EXPECT_THAT(refusal(""), StartsWith("f:1:1: found the end of the text, expected "));
  EXPECT_THAT(refusal("{\n  \"acl\": {\n"), StartsWith("f:2:11: found the end of the text"));
  EXPECT_THAT(refusal("{\n\"acl\": }"), StartsWith("f:2:8: found \"}\", expected "));
  EXPECT_THAT(refusal("{\"acl\":{}} x"), StartsWith("f:1:12: found \"x\""));
  EXPECT_THAT(refusal("{\"acl\":{},}"), StartsWith("f:1:11: found \"}\", expected string literal"));
  EXPECT_THAT(refusal("{\"acl"), StartsWith("f:1:5: found the end of the text"));
  EXPECT_THAT(refusal("{\"a\xff\":1}"), StartsWith("f:1:4: found \"\\xff\""));
  EXPECT_THAT(refusal("{\"acl\" \"x\"}"), StartsWith("f:1:10: found \"\"x\"\", expected ':'"));
  EXPECT_THAT(refusal("{\"acl\":tru}"), StartsWith("f:1:11: found \"}\", expected "));
  EXPECT_EQ(refusal(std::string("{\"acl\":{}}\n\0", 12)),
            "f:2:1: found \"\\x00\", expected well-formed JSON");
}

TEST(DocumentError, NoOctetOfTheDocumentGetsIntoTheLineUnescaped) {
  expectRefusals({
      {"-\xd7", R"(f:1:2: found "\xd7", expected digit after '-')"},
      {"-\n", R"(f:1:2: found "\x0a", expected digit after '-')"},
      {"1e\xff", R"(f:1:3: found "\xff", expected '+', '-', or digit after exponent)"},
      {"{\"; expected \xe9\xff\":1}", R"(f:1:15: found "\xff", expected well-formed JSON)"},
      {"[\"; last read: '\xc3\xa9; expected \xff\"]",
       R"(f:1:30: found "\xff", expected well-formed JSON)"},
  });
}

TEST(DocumentError, EveryCutOfADocumentIsRefused) {
  const std::string whole = documentOf(setOf("ACL_IPV4", entryOf("\"ipv4\":{}")));
  ASSERT_EQ(refusal(whole), "accepted");
  for (size_t length = 0; length < whole.size(); ++length) {
    EXPECT_THAT(refusal(whole.substr(0, length)), StartsWith("f:1:")) << length;
  }
}

TEST(DocumentError, Limits) {
  const std::string two = documentOf(setOf(
      "ACL_L2",
      entryOf("") + R"(,{"sequence-id":11,"actions":{"config":{"forwarding-action":"DROP"}}})"));
  EXPECT_EQ(refusal(two, {.entries = 2}), "accepted");
  EXPECT_EQ(
      refusal(two, {.entries = 1}),
      kSet + "/acl-entries/acl-entry/1: found more entries, expected at most 1 in the document");
  EXPECT_EQ(refusal(two, {.entriesOfAcl = 2}), "accepted");
  EXPECT_EQ(refusal(two, {.entriesOfAcl = 1}),
            kSet + "/acl-entries/acl-entry/1: found more entries, expected at most 1 in an ACL");
  const std::string acls =
      documentOf(R"({"name":"a","type":"ACL_L2"},{"name":"a","type":"ACL_IPV4"})");
  EXPECT_EQ(refusal(acls, {.acls = 2}), "accepted");
  EXPECT_EQ(refusal(acls, {.acls = 1}),
            "f:1: /openconfig-acl:acl/acl-sets/acl-set/1: found more ACLs, expected at most 1 in "
            "the document");
  EXPECT_EQ(refusal(R"({"acl":[0,0,0]})", {.nodes = 4}),
            "f:1:14: found more values, expected at most 4 in the document");
  EXPECT_EQ(refusal(two, {.octets = two.size()}), "accepted");
  EXPECT_EQ(refusal(two, {.octets = 20}),
            "f: found more than 20 octets, expected a smaller document");
  EXPECT_EQ(refusal(R"({"acl":{"v:x":[1]}})", {.depth = 3}), "accepted");
  EXPECT_EQ(refusal(R"({"acl":{"v:x":[[1]]}})", {.depth = 3}),
            "f:1:16: found deeper nesting, expected at most 3 levels");
  EXPECT_EQ(refusal(std::string(10'000'000, '[')),
            "f:1:65: found deeper nesting, expected at most 64 levels");
}

TEST(DocumentError, Structure) {
  expectRefusals({
      {"[]", "f:1: found a list, expected an object"},
      {"5", "f:1: found 5, expected an object"},
      {"{}", "f:1: found no member openconfig-acl:acl, expected an OpenConfig ACL document"},
      {R"({"data":{}})",
       "f:1: found no member openconfig-acl:acl, expected an OpenConfig ACL document"},
      {R"({"acl":null})", "f:1: /acl: found null, expected an object"},
      {R"({"acl":{"acl-sets":{"acl-set":{}}}})",
       "f:1: /acl/acl-sets/acl-set: found an object, expected a list"},
      {R"({"acl":{"acl-sets":{"acl-set":[true]}}})",
       "f:1: /acl/acl-sets/acl-set/0: found true, expected an object"},
      {R"({"acl":{},"openconfig-acl:acl":{}})",
       R"(f:1: /openconfig-acl:acl: found a second member "acl", expected each member once)"},
      {"{\"acl\":{},\n\"acl\":{}}",
       R"(f:2: /acl: found a second member "acl", expected each member once)"},
      {R"({"x":[{"a":1,"b":{"c":0,"c":0}}],"acl":{}})",
       R"(f:1: /x/0/b/c: found a second member "c", expected each member once)"},
      {R"({"acl":{"acl-set":[]}})",
       R"(f:1: /acl/acl-set: found an unknown member "acl-set", expected one of config, state, )"
       "interfaces, acl-sets, zorlen-acl-ext:data-plane"},
      {R"({"acl":{"zorlen-acl-ext:a/b~":0}})",
       R"(f:1: /acl/zorlen-acl-ext:a~1b~0: found an unknown member "zorlen-acl-ext:a/b~", )"
       "expected one of config, state, interfaces, acl-sets, zorlen-acl-ext:data-plane"},
      {R"({"acl":{"zorlen-acl-ext:data-plane":{"acl-supported":1}}})",
       "f:1: /acl/zorlen-acl-ext:data-plane/acl-supported: found 1, expected true or false"},
  });
}

TEST(DocumentError, Acls) {
  const std::string longName(101, 'x');
  expectRefusals({
      {documentOf("{}"), kSet + ": found no name, expected a name"},
      {documentOf(R"({"name":"a"})"),
       kSet + ": found no type, expected ACL_IPV4, ACL_IPV6 or ACL_L2"},
      {documentOf(R"({"name":"a","type":"ACL_MIXED"})"),
       kSet + R"(/type: found "ACL_MIXED", expected ACL_IPV4, ACL_IPV6 or ACL_L2)"},
      {documentOf(R"({"name":"a","type":"other:ACL_L2"})"),
       kSet + R"(/type: found "other:ACL_L2", expected ACL_IPV4, ACL_IPV6 or ACL_L2)"},
      {documentOf(R"({"name":5,"type":"ACL_L2"})"), kSet + "/name: found 5, expected a string"},
      {documentOf(R"({"name":")" + longName + R"(","type":"ACL_L2"})"),
       kSet + "/name: found 101 octets, expected at most 100 octets"},
      {documentOf(R"({"name":"a","type":"ACL_L2","config":{"name":"b"}})"),
       kSet + R"(/config/name: found "b", expected the list's name "a")"},
      {documentOf(R"({"name":"a","type":"ACL_L2","config":{"type":"ACL_IPV4"}})"),
       kSet + R"(/config/type: found "ACL_IPV4", expected the list's type ACL_L2)"},
      {documentOf(R"({"name":"a","type":"ACL_L2","config":{"description":[]}})"),
       kSet + "/config/description: found a list, expected a string"},
      {documentOf(R"({"name":"a","type":"ACL_L2","config":{"zorlen-acl-ext:name-octets":"0g"}})"),
       kSet + R"(/config/zorlen-acl-ext:name-octets: found "0g", expected octets in pairs of )"
              R"(hexadecimal digits such as "c3ff20")"},
      {documentOf(R"({"name":"a","type":"ACL_L2","config":{"zorlen-acl-ext:name-octets":"123"}})"),
       kSet + R"(/config/zorlen-acl-ext:name-octets: found "123", expected octets in pairs of )"
              R"(hexadecimal digits such as "c3ff20")"},
      {documentOf(
           R"({"name":"a","type":"ACL_L2","config":{"zorlen-acl-ext:counters-incomplete":true}})"),
       kSet + R"(/config/zorlen-acl-ext:counters-incomplete: found an unknown member )"
              R"("zorlen-acl-ext:counters-incomplete", expected one of name, type, description, )"
              "zorlen-acl-ext:name-octets, zorlen-acl-ext:read-only, "
              "zorlen-acl-ext:counters-enabled, zorlen-acl-ext:fragments-enabled"},
      {documentOf(R"({"name":"a","type":"ACL_L2"},{"name":"a","type":"ACL_L2"})"),
       "f:1: /openconfig-acl:acl/acl-sets/acl-set/1: found a second ACL \"a\" of its type, "
       "expected each name once for a type"},
      {documentOf(R"({"name":"a","type":"ACL_L2"},
          {"name":"b","type":"ACL_L2","config":{"zorlen-acl-ext:name-octets":"61"}})"),
       "f:2: /openconfig-acl:acl/acl-sets/acl-set/1: found a second ACL \"a\" of its type, "
       "expected each name once for a type"},
  });
}

TEST(DocumentError, Entries) {
  const std::string action = R"("actions":{"config":{"forwarding-action":"DROP"}})";
  const std::string longRemark(128, 'r');
  const auto inAcl = [](const std::string& entries) {
    return documentOf(setOf("ACL_IPV4", entries));
  };
  expectRefusals({
      {inAcl("{" + action + "}"),
       kEntry + ": found no sequence-id, expected a number from 0 to 4294967295"},
      {inAcl(R"({"sequence-id":4294967296})"),
       kEntry + "/sequence-id: found 4294967296, expected a number from 0 to 4294967295"},
      {inAcl(R"({"sequence-id":-1})"),
       kEntry + "/sequence-id: found -1, expected a number from 0 to 4294967295"},
      {inAcl(R"({"sequence-id":1.0})"),
       kEntry + "/sequence-id: found 1.0, expected a number from 0 to 4294967295"},
      {inAcl(R"({"sequence-id":"1"})"),
       kEntry + "/sequence-id: found \"1\", expected a number from 0 to 4294967295"},
      {inAcl(R"({"sequence-id":1,"config":{"sequence-id":2}})"),
       kEntry + "/config/sequence-id: found 2, expected the entry's sequence-id 1"},
      {inAcl(R"({"sequence-id":1})"),
       kEntry + ": found no forwarding-action, expected ACCEPT, DROP or REJECT"},
      {inAcl(R"({"sequence-id":1,"actions":{"config":{"forwarding-action":"PASS"}}})"),
       kEntry +
           "/actions/config/forwarding-action: found \"PASS\", expected ACCEPT, DROP or REJECT"},
      {inAcl(R"({"sequence-id":1,"actions":{"config":{"log-action":"LOG"}}})"),
       kEntry + "/actions/config/log-action: found \"LOG\", expected LOG_SYSLOG or LOG_NONE"},
      {inAcl(R"({"sequence-id":1,"config":{"description":")" + longRemark + R"("}})"),
       kEntry + "/config/description: found 128 octets, expected at most 127 octets"},
      {inAcl(R"({"sequence-id":1,"config":{"matched-packets":"1"}})"),
       kEntry + "/config/matched-packets: found an unknown member \"matched-packets\", expected "
                "one of sequence-id, description, zorlen-acl-ext:description-octets, "
                "zorlen-acl-ext:remark-only, zorlen-acl-ext:rule-id"},
      {inAcl(R"({"sequence-id":1,"config":{"zorlen-acl-ext:description-octets":"f"}})"),
       kEntry + "/config/zorlen-acl-ext:description-octets: found \"f\", expected octets in pairs "
                "of hexadecimal digits such as \"c3ff20\""},
      {inAcl(R"({"sequence-id":1,"config":{"zorlen-acl-ext:description-octets":")" +
             std::string(256, '0') + R"("}})"),
       kEntry + "/config/zorlen-acl-ext:description-octets: found 256 octets, expected at most 254 "
                "octets"},
      {inAcl(R"({"sequence-id":1,"state":{"zorlen-acl-ext:last-update":"5"},)" + action + "}"),
       kEntry + "/state/zorlen-acl-ext:last-update: found \"5\", expected beside it "
                "matched-packets"},
      {inAcl(R"({"sequence-id":1,"state":{"zorlen-acl-ext:last-update":"2026-01-01"}})"),
       kEntry + "/state/zorlen-acl-ext:last-update: found \"2026-01-01\", expected a 64-bit "
                "counter such as \"1024\""},
      {inAcl("{\"sequence-id\":1," + action + "},{\"sequence-id\":2," + action +
             R"(,"config":{"zorlen-acl-ext:rule-id":"1.0.0"}})"),
       kSet + "/acl-entries/acl-entry/1: found a second rule of one rule-id, expected each rule-id "
              "once in an ACL"},
      {inAcl(R"({"sequence-id":1,"state":{"matched-packets":"18446744073709551616"}})"),
       kEntry + "/state/matched-packets: found \"18446744073709551616\", expected a 64-bit "
                "counter such as \"1024\""},
      {inAcl(R"({"sequence-id":1,"state":{"matched-packets":-5}})"),
       kEntry + "/state/matched-packets: found -5, expected a 64-bit counter such as \"1024\""},
      {inAcl(R"({"sequence-id":1,"state":{"matched-octets":""}})"),
       kEntry + "/state/matched-octets: found \"\", expected a 64-bit counter such as \"1024\""},
      {inAcl(R"({"sequence-id":1,"config":{"zorlen-acl-ext:remark-only":true}})"),
       kEntry + ": found no description, expected a description with remark-only"},
      {inAcl(R"({"sequence-id":1,"ipv4":{},
          "config":{"description":"r","zorlen-acl-ext:remark-only":true}})"),
       kEntry + "/ipv4: found an object, expected no matches and no actions with remark-only"},
      {inAcl("{\"sequence-id\":1," + action + "},{\"sequence-id\":1," + action + "}"),
       kSet + "/acl-entries/acl-entry/1: found a second entry with sequence-id 1, expected each "
              "sequence-id once in an ACL"},
      {inAcl(R"({"sequence-id":1,"ipv6":{}})"),
       kEntry + "/ipv6: found an unknown member \"ipv6\", expected one of sequence-id, state, "
                "config, ipv4, transport, actions, input-interface"},
      {documentOf(setOf("ACL_L2", R"({"sequence-id":1,"transport":{}})")),
       kEntry + "/transport: found an unknown member \"transport\", expected one of sequence-id, "
                "state, config, l2, actions, input-interface"},
  });
}

TEST(DocumentError, RuleIds) {
  for (const std::string bad : {"\"\"", "\"1\"", "\"1.2\"", "\"1.2.3.4\"", "\"1.2.\"", "\".2.3\"",
                                "\"1..3\"", "\"1.2.-3\"", "\"4294967296.0.0\"", "\"0.65536.0\"",
                                "\"0.0.65536\"", "\"4294967295.65535.65535\"", "10"}) {
    EXPECT_EQ(refusal(documentOf(
                  setOf("ACL_L2", entryOf("\"config\":{\"zorlen-acl-ext:rule-id\":" + bad + "}")))),
              kEntry + "/config/zorlen-acl-ext:rule-id: found " + bad +
                  ", expected a rule's identity such as \"10.0.0\"");
  }
}

TEST(DocumentError, IpLeafs) {
  const std::string prefix4 = ", expected an IPv4 prefix such as \"192.0.2.0/24\"";
  for (const std::string bad : {"10.0.0.0/33", "10.0.0/8", "10.0.0.256/8", "10.0.0.0/", "/8", "",
                                "10.0.0.0/-1", "10.0.0.0/8 ", "10.0.0.0/+8", "2001:db8::/32"}) {
    expectLeafs("ACL_IPV4", "ipv4",
                {{"\"source-address\":\"" + bad + "\"",
                  "source-address: found \"" + bad + "\"" + prefix4}});
  }
  expectLeafs(
      "ACL_IPV4", "ipv4",
      {{R"("source-address":7)", "source-address: found 7" + prefix4},
       {R"("source-address":"10.0.0.0\u0000/8")",
        "source-address: found \"10.0.0.0\\x00/8\"" + prefix4},
       {R"("destination-address":"10.0.0.1")",
        "destination-address: found \"10.0.0.1\"" + prefix4 + ", or a mask beside the address"},
       {R"("source-address":"10.0.0.1","zorlen-acl-ext:source-mask":"8")",
        "zorlen-acl-ext:source-mask: found \"8\", expected an IPv4 mask such as "
        "\"255.255.0.255\""},
       {R"("zorlen-acl-ext:source-mask":"255.0.0.0")",
        "zorlen-acl-ext:source-mask: found \"255.0.0.0\", expected beside it an address"},
       {R"("protocol":256)",
        "protocol: found 256, expected a number from 0 to 255, IP_TCP, IP_UDP, IP_ICMP, IP_IGMP, "
        "IP_GRE, IP_PIM, IP_RSVP, IP_AUTH or IP_L2TP"},
       {R"("protocol":"tcp")",
        "protocol: found \"tcp\", expected a number from 0 to 255, IP_TCP, IP_UDP, IP_ICMP, "
        "IP_IGMP, IP_GRE, IP_PIM, IP_RSVP, IP_AUTH or IP_L2TP"},
       {R"("hop-limit":256)", "hop-limit: found 256, expected a number from 0 to 255"},
       {R"("zorlen-acl-ext:hop-limit-operator":"gt")",
        "zorlen-acl-ext:hop-limit-operator: found \"gt\", expected beside it a hop-limit"},
       {R"("hop-limit":1,"zorlen-acl-ext:hop-limit-operator":"range")",
        "zorlen-acl-ext:hop-limit-operator: found \"range\", expected any, eq, gt, lt or neq"},
       {R"("dscp":64)", "dscp: found 64, expected a number from 0 to 63"},
       {R"("dscp-set":[64])", "dscp-set/0: found 64, expected a number from 0 to 63"},
       {R"("length":65536)", "length: found 65536, expected a number from 0 to 65535"},
       {R"("zorlen-acl-ext:fragments":"true")",
        "zorlen-acl-ext:fragments: found \"true\", expected true or false"}});
  EXPECT_EQ(refusal(documentOf(
                setOf("ACL_IPV4", entryOf(R"("ipv4":{"icmpv4":{"config":{"type":256}}})")))),
            kEntry + "/ipv4/icmpv4/config/type: found 256, expected a number from 0 to 255");

  const std::string prefix6 = ", expected an IPv6 prefix such as \"2001:db8::/32\"";
  for (const std::string bad :
       {"2001:db8::/129", "2001:db8::", "10.0.0.0/8", "::/", "fe80::1%e/64"}) {
    expectLeafs("ACL_IPV6", "ipv6",
                {{"\"source-address\":\"" + bad + "\"",
                  "source-address: found \"" + bad + "\"" + prefix6}});
  }
  EXPECT_THAT(refusal(documentOf(setOf(
                  "ACL_IPV6", entryOf(R"("ipv6":{"config":{"zorlen-acl-ext:fragments":true}})")))),
              HasSubstr("found an unknown member \"zorlen-acl-ext:fragments\""));
}

TEST(DocumentError, MacLeafs) {
  for (const std::string bad : {"00:53:00:12:34", "00-53-00-12-34-56", "00:53:00:12:34:5g",
                                "00:53:00:12:34:56:", "0053.0012.3456", "+0:53:00:12:34:56"}) {
    expectLeafs("ACL_L2", "l2",
                {{"\"source-mac\":\"" + bad + "\"",
                  "source-mac: found \"" + bad +
                      "\", expected a MAC address such as \"00:53:00:12:34:56\""}});
  }
  const std::string types =
      ", expected a number from 1536 to 65535, ETHERTYPE_IPV4, ETHERTYPE_ARP, ETHERTYPE_VLAN, "
      "ETHERTYPE_IPV6, ETHERTYPE_MPLS, ETHERTYPE_LLDP or ETHERTYPE_ROCE";
  expectLeafs("ACL_L2", "l2",
              {{R"("destination-mac-mask":"ff:ff:ff:ff:ff:ff")",
                "destination-mac-mask: found \"ff:ff:ff:ff:ff:ff\", expected beside it an address"},
               {R"("zorlen-acl-ext:ethertype":65536)",
                "zorlen-acl-ext:ethertype: found 65536, expected a number from 0 to 65535"},
               {R"("ethertype":1535)", "ethertype: found 1535" + types},
               {R"("ethertype":65536)", "ethertype: found 65536" + types},
               {R"("ethertype":"0x0800")", "ethertype: found \"0x0800\"" + types}});
}

TEST(DocumentError, TransportLeafs) {
  const std::string port =
      ", expected a number from 0 to 65535, a range such as \"1024..65535\" or ANY";
  const std::string flags = ", expected TCP_SYN, TCP_FIN, TCP_RST, TCP_PSH, TCP_ACK or TCP_URG";
  expectLeafs(
      "ACL_IPV4", "transport",
      {{R"("source-port":65536)", "source-port: found 65536" + port},
       {R"("source-port":"80")", "source-port: found \"80\"" + port},
       {R"("source-port":"9..8")", "source-port: found \"9..8\"" + port},
       {R"("source-port":"1..65536")", "source-port: found \"1..65536\"" + port},
       {R"("destination-port":"1-2")", "destination-port: found \"1-2\"" + port},
       {R"("zorlen-acl-ext:source-port-operator":"ge")",
        "zorlen-acl-ext:source-port-operator: found \"ge\", expected eq, gt, lt, neq or range"},
       {R"("zorlen-acl-ext:source-port-operator":"eq")",
        "zorlen-acl-ext:source-port-operator: found \"eq\", expected beside it a port"},
       {R"("source-port":"ANY","zorlen-acl-ext:source-port-operator":"eq")",
        "zorlen-acl-ext:source-port-operator: found \"eq\", expected beside it a port"},
       {R"("source-port":5,"zorlen-acl-ext:source-port-operator":"range")",
        "zorlen-acl-ext:source-port-operator: found \"range\", expected beside it a lower and an "
        "upper port"},
       {R"("zorlen-acl-ext:source-ports":[2,1],"zorlen-acl-ext:source-port-operator":"range")",
        "zorlen-acl-ext:source-port-operator: found \"range\", expected beside it a lower and an "
        "upper port"},
       {R"("zorlen-acl-ext:source-ports":[2,1],"zorlen-acl-ext:source-port-operator":"gt")",
        "zorlen-acl-ext:source-port-operator: found \"gt\", expected beside it one port"},
       {R"("source-port":"1..2","zorlen-acl-ext:source-port-operator":"neq")",
        "zorlen-acl-ext:source-port-operator: found \"neq\", expected \"range\" beside a range of "
        "ports"},
       {R"("source-port":1,"zorlen-acl-ext:source-ports":[1])",
        "zorlen-acl-ext:source-ports: found a list of ports beside one port, expected one of the "
        "two"},
       {R"("zorlen-acl-ext:source-ports":[])",
        "zorlen-acl-ext:source-ports: found an empty list, expected at least one port"},
       {R"("zorlen-acl-ext:source-ports":[65536])",
        "zorlen-acl-ext:source-ports/0: found 65536, expected a number from 0 to 65535"},
       {R"("zorlen-acl-ext:source-ports":[10001,10002,10003,10004,10005,10006,10007,10008,10009,
          10010,1])",
        "zorlen-acl-ext:source-ports: found ports of 61 octets as text, expected at most 60"},
       {R"("zorlen-acl-ext:source-port-text":"80\u00e9")",
        "zorlen-acl-ext:source-port-text: found \"80\\xc3\\xa9\", expected ports in printable "
        "ASCII "
        "such as \"1-1023 8080\""},
       {R"("zorlen-acl-ext:source-port-text":")" + std::string(61, '1') + "\"",
        "zorlen-acl-ext:source-port-text: found 61 octets, expected at most 60 octets"},
       {R"("source-port":80,"zorlen-acl-ext:source-port-text":"80")",
        "zorlen-acl-ext:source-port-text: found a text beside ports, expected one of the two"},
       {R"("zorlen-acl-ext:source-ports":[80],"zorlen-acl-ext:source-port-text":"80")",
        "zorlen-acl-ext:source-port-text: found a text beside ports, expected one of the two"},
       {R"("tcp-flags":"TCP_SYN")", "tcp-flags: found \"TCP_SYN\", expected a list"},
       {R"("tcp-flags":["TCP_ECE"])", "tcp-flags/0: found \"TCP_ECE\"" + flags},
       {R"("explicit-tcp-flags":["TCP_ACK","TCP_CWR"])",
        "explicit-tcp-flags/1: found \"TCP_CWR\"" + flags},
       {R"("detail-mode":"NONE")", "detail-mode: found \"NONE\", expected EXPLICIT or BUILTIN"},
       {R"("explicit-detail-match-mode":"SOME")",
        "explicit-detail-match-mode: found \"SOME\", expected ANY or ALL"},
       {R"("builtin-detail":"TCP")",
        "builtin-detail: found \"TCP\", expected TCP_INITIAL, TCP_ESTABLISHED or FRAGMENT"}});
  expectLeafs("ACL_IPV6", "transport",
              {{R"("builtin-detail":"FRAGMENT")",
                "builtin-detail: found \"FRAGMENT\", expected TCP_INITIAL or TCP_ESTABLISHED in "
                "an IPv6 ACL"}});
}

TEST(DocumentError, WhatStoodThereIsShownShortAndPrintable) {
  const std::string text(200, 'x');
  EXPECT_EQ(refusal(R"({"acl":")" + text + R"("})"),
            "f:1: /acl: found \"" + text.substr(0, 60) + "...\", expected an object");
  EXPECT_EQ(refusal(R"({"acl":"\u001b[2J\n"})"),
            "f:1: /acl: found \"\\x1b[2J\\x0a\", expected an object");
}

TEST(DocumentError, LinesCountFromOne) {
  EXPECT_EQ(refusal("\n\n{\"acl\":\n{\"zorlen-acl-ext:data-plane\":\n5\n}}"),
            "f:5: /acl/zorlen-acl-ext:data-plane: found 5, expected an object");
}

}  // namespace
}  // namespace OpenConfig
