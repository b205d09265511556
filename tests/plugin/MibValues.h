#pragma once

/// One row in each of the nine tables, and the reading of its columns by the tables' own handlers.

#include <gtest/gtest.h>

#include <cstring>

#include "MibRequests.h"

namespace MibTest {

inline const Acl::UniqueId kId(7, 0, 0);
inline constexpr const char* kRemark = "web";

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

}  // namespace MibTest
