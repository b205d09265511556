// What becomes of an encoder's result, whatever it is: the handlers with encoders of our own.

#include <gmock/gmock.h>

#include <type_traits>

#include "Hooks.h"
#include "MibValues.h"
#include "Tables.h"

namespace MibTest {
namespace {

/// What the encoders of altered tables return.
int encoded = -1;
/// The size of the buffer that one was given last.
int offered = -1;

template <const auto& original>
auto altered() {
  using TableT = std::remove_cvref_t<decltype(original)>;
  TableT copy = original;
  for (auto& column : copy.columns) {
    column.encode = [](const typename TableT::Entry&, unsigned char* buffer, int size) {
      offered = size;
      if (size > 0) std::memset(buffer, 0, static_cast<size_t>(size));
      return encoded;
    };
  }
  return copy;
}

template <const auto& original>
int alteredHandler(netsnmp_mib_handler*, netsnmp_handler_registration*,
                   netsnmp_agent_request_info* info, netsnmp_request_info* requests) {
  static const std::string function = std::string(original.name) + "_handler";
  static const auto table = altered<original>();
  return AclSnmp::Hooks<table>(function.c_str()).handle(info, requests);
}

std::vector<Netsnmp_Node_Handler*> alteredHandlers() {
  using namespace AclSnmp;
  return {alteredHandler<zorlenIpAclTable>,           alteredHandler<zorlenIpAclRuleTable>,
          alteredHandler<zorlenIpAclRuleStatsTable>,  alteredHandler<zorlenMacAclTable>,
          alteredHandler<zorlenMacAclRuleTable>,      alteredHandler<zorlenMacAclRuleStatsTable>,
          alteredHandler<zorlenIpv6AclTable>,         alteredHandler<zorlenIpv6AclRuleTable>,
          alteredHandler<zorlenIpv6AclRuleStatsTable>};
}

class Encoding : public Values, public testing::WithParamInterface<size_t> {
 protected:
  TableCase altered() const {
    TableCase t = tables()[GetParam()];
    t.handler = alteredHandlers()[GetParam()];
    return t;
  }
  /// What is traced when a column's encoder says a length that fails its batch: a request that was
  /// done before, that of the column, and one more.
  std::vector<Traced> failedBatch(const TableCase& t, unsigned column, int length,
                                  const char* levels) {
    encoded = length;
    Walk walk(t, *mib);
    walk.first();
    Batch batch(MODE_GET);
    const netsnmp_request_info& first = batch.add();
    batch.head()->processed = 1;
    const netsnmp_request_info& failing = batch.add(column, t, walk);
    const netsnmp_request_info& after = batch.add(column, t, walk);
    const TraceCapture capture(levels);
    EXPECT_EQ(t.handler(nullptr, nullptr, batch.info(), batch.head()), SNMP_ERR_GENERR);
    EXPECT_EQ(first.status, SNMP_ERR_GENERR) << column;
    EXPECT_EQ(failing.requestvb->type, ASN_NULL) << column;
    EXPECT_EQ(after.requestvb->type, ASN_NULL) << column;
    return capture.traced();
  }
  static bool isFixed(const ColumnCase& column) {
    return column.bufferSize == 16 || column.bufferSize == 6;
  }
};

INSTANTIATE_TEST_SUITE_P(Tables, Encoding, testing::Range(size_t{0}, size_t{9}),
                         [](const auto& info) { return tables()[info.param].name(); });

TEST_P(Encoding, EachEncoderIsGivenABufferOfItsColumnsSize) {
  const TableCase t = altered();
  encoded = -1;
  for (const ColumnCase& column : t.columns()) {
    offered = -1;
    read(t, column.number, t.handler);
    EXPECT_EQ(offered, column.bufferSize) << column.name;
  }
}

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
      EXPECT_EQ(failedBatch(t, column.number, length, "Snmp=2").back(),
                snmp(2, "handle_" + t.name() +
                            " - entity /<sysname>/snmp/acl/aclMIB length out of range: " +
                            column.attribute + " (" + std::to_string(length) + ")"));
    }
  }
}

TEST_P(Encoding, FailuresAreErrorsOfTheBatchWhenTheyAreNotTraced) {
  const TableCase t = altered();
  for (const ColumnCase& column : t.columns()) {
    for (const int length : {-1, column.bufferSize + 1}) {
      if (length > 1024) continue;
      EXPECT_THAT(failedBatch(t, column.number, length, "Snmp=1"), testing::IsEmpty());
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
