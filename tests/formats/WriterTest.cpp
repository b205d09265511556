#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

#include "Documents.h"

namespace OpenConfig {
namespace {

using Acl::AclType;
using Acl::RangeOperator;

/// The line of the one entry of an ACL, without its sequence number and its action.
template <class Filter>
std::string lineOf(AclType type, const Filter& filter) {
  Acl::RuleConfig<Filter> rule;
  rule.filter = filter;
  Snapshot snapshot;
  snapshot.acls[{type, "a"}].rules.emplace(1, RuleSnapshot{{1, 0, 0}, rule, {}});
  const std::string text = written(snapshot);
  const std::string before = R"({"sequence-id":1,"config":{"sequence-id":1},)";
  const std::string after = R"("actions":{"config":{"forwarding-action":"ACCEPT"}}})";
  const size_t begin = text.find(before);
  const size_t end = text.find(after);
  if (begin == std::string::npos || end == std::string::npos) return text;
  return text.substr(begin + before.size(), end - begin - before.size());
}

TEST(Writer, ADocumentHasOneLineForEachEntry) {
  Snapshot snapshot;
  snapshot.dataPlane.counters = true;
  AclSnapshot& acl = snapshot.acls[{AclType::mac, "a\"b"}];
  acl.readonly = acl.countersEnabled = acl.fragmentsEnabled = acl.countersIncomplete = true;
  Acl::MacRuleConfig rule{Acl::Action::deny, true, Acl::MacFilter()};
  rule.filter.proto = 0x0806;
  acl.rules.emplace(20, RuleSnapshot{{7, 8, 9}, rule, RuleCounter{5, std::nullopt}});
  acl.remarks = {{10, "r"}, {20, "\xff"}};
  snapshot.acls[{AclType::mac, "b"}];
  EXPECT_EQ(written(snapshot),
            R"({
  "openconfig-acl:acl": {
    "zorlen-acl-ext:data-plane": {"acl-supported":false,"logging-supported":false,"counters-supported":true,"router-acl-supported":false},
    "acl-sets": {
      "acl-set": [
        {
          "name": "a\"b",
          "type": "ACL_L2",
          "config": {"name":"a\"b","type":"ACL_L2","zorlen-acl-ext:read-only":true,"zorlen-acl-ext:counters-enabled":true,"zorlen-acl-ext:fragments-enabled":true},
          "state": {"zorlen-acl-ext:counters-incomplete":true},
          "acl-entries": {
            "acl-entry": [
              {"sequence-id":10,"config":{"sequence-id":10,"description":"r","zorlen-acl-ext:remark-only":true}},
              {"sequence-id":20,"config":{"sequence-id":20,"zorlen-acl-ext:description-octets":"ff","zorlen-acl-ext:rule-id":"7.8.9"},"l2":{"config":{"ethertype":"ETHERTYPE_ARP"}},"actions":{"config":{"forwarding-action":"DROP","log-action":"LOG_SYSLOG"}},"state":{"matched-packets":"5"}}
            ]
          }
        },
        {
          "name": "b",
          "type": "ACL_L2",
          "config": {"name":"b","type":"ACL_L2"},
          "acl-entries": {
            "acl-entry": [
            ]
          }
        }
      ]
    }
  }
}
)");
}

TEST(Writer, NamesThatAreNotUtf8StandUnderAKeyThatNobodyHas) {
  Snapshot snapshot;
  for (const char* name : {"octets-2", "\xaa", "\xc3", "\xed\xa0\xa0"}) {
    snapshot.acls[{AclType::ipv4, name}];
  }
  const std::string text = written(snapshot);
  for (const char* leafs :
       {R"({"name":"octets-1","type":"ACL_IPV4","zorlen-acl-ext:name-octets":"aa"})",
        R"({"name":"octets-2","type":"ACL_IPV4"})",
        R"({"name":"octets-3","type":"ACL_IPV4","zorlen-acl-ext:name-octets":"c3"})",
        R"({"name":"octets-4","type":"ACL_IPV4","zorlen-acl-ext:name-octets":"eda0a0"})"}) {
    EXPECT_NE(text.find(leafs), std::string::npos) << leafs << text;
  }
  EXPECT_TRUE(parsed(text) == snapshot);
}

TEST(Writer, PortsStandInTheLeafOfTheStandardWhereItCanSayThem) {
  const struct {
    Acl::PortRange range;
    const char* leafs;
  } cases[] = {
      {{}, ""},
      {{RangeOperator::eq, "0"}, R"("source-port":0)"},
      {{RangeOperator::eq, "65535"}, R"("source-port":65535)"},
      {{RangeOperator::gt, "80"}, R"("source-port":80,"zorlen-acl-ext:source-port-operator":"gt")"},
      {{RangeOperator::range, "5-5"}, R"("source-port":"5..5")"},
      {{RangeOperator::range, "6-5"},
       R"("zorlen-acl-ext:source-port-text":"6-5","zorlen-acl-ext:source-port-operator":"range")"},
      {{RangeOperator::range, "5"},
       R"("zorlen-acl-ext:source-port-text":"5","zorlen-acl-ext:source-port-operator":"range")"},
      {{RangeOperator::eq, "65536"}, R"("zorlen-acl-ext:source-port-text":"65536")"},
      {{RangeOperator::eq, "080"}, R"("zorlen-acl-ext:source-port-text":"080")"},
      {{RangeOperator::eq, "80 443"}, R"("zorlen-acl-ext:source-port-text":"80 443")"},
      {{RangeOperator::eq, ""}, R"("zorlen-acl-ext:source-port-text":"")"},
      {{RangeOperator::neq, "1-1023,8080"},
       R"("zorlen-acl-ext:source-port-text":"1-1023,8080",)"
       R"("zorlen-acl-ext:source-port-operator":"neq")"},
  };
  for (const auto& c : cases) {
    Acl::IpFilter filter;
    filter.sport = c.range;
    const std::string leafs = c.leafs;
    EXPECT_EQ(lineOf(AclType::ipv4, filter),
              leafs.empty() ? "" : "\"transport\":{\"config\":{" + leafs + "}},");
  }
}

TEST(Writer, APortTextThatIsNotAsciiIsWrittenAndRefused) {
  Acl::IpFilter filter;
  filter.sport = {RangeOperator::eq, "8\xff"};
  EXPECT_EQ(lineOf(AclType::ipv4, filter),
            "\"transport\":{\"config\":{\"zorlen-acl-ext:source-port-text\":\"8\xef\xbf\xbd\"}},");
}

TEST(Writer, AddressesStandAsPrefixesWhereTheMaskIsOne) {
  const struct {
    uint32_t address, mask;
    const char* leafs;
  } cases[] = {
      {0, 0, ""},
      {0xC0000201, 0, R"("source-address":"192.0.2.1/0")"},
      {0, 0xFFFFFFFF, R"("source-address":"0.0.0.0/32")"},
      {0xC0000201, 0xFFFFFF00, R"("source-address":"192.0.2.1/24")"},
      {0xC0000201, 0xFF,
       R"("source-address":"192.0.2.1","zorlen-acl-ext:source-mask":"0.0.0.255")"},
  };
  for (const auto& c : cases) {
    Acl::IpFilter filter;
    filter.source = Kavet::IpAddr(c.address);
    filter.sourceMask = Kavet::IpAddr(c.mask);
    const std::string leafs = c.leafs;
    EXPECT_EQ(lineOf(AclType::ipv4, filter),
              leafs.empty() ? "" : "\"ipv4\":{\"config\":{" + leafs + "}},");
  }
}

TEST(Writer, EtherTypesBelowTheStandardsStandInOurLeaf) {
  const std::pair<uint32_t, const char*> cases[] = {
      {0, ""},
      {1, R"("l2":{"config":{"zorlen-acl-ext:ethertype":1}},)"},
      {1535, R"("l2":{"config":{"zorlen-acl-ext:ethertype":1535}},)"},
      {1536, R"("l2":{"config":{"ethertype":1536}},)"},
  };
  for (const auto& [type, leafs] : cases) {
    Acl::MacFilter filter;
    filter.proto = type;
    EXPECT_EQ(lineOf(AclType::mac, filter), leafs);
  }
}

TEST(Writer, ATimeThatIsNoneIsLeftOut) {
  for (const double time : {std::nan(""), std::numeric_limits<double>::infinity(), -1e300, -3e9}) {
    Snapshot snapshot;
    snapshot.acls[{AclType::mac, "a"}].rules.emplace(
        1, RuleSnapshot{{1, 0, 0}, Acl::MacRuleConfig(), RuleCounter{7, time}});
    const std::string text = written(snapshot);
    EXPECT_NE(text.find(R"("state":{"matched-packets":"7"})"), std::string::npos) << text;
  }
}

}  // namespace
}  // namespace OpenConfig
