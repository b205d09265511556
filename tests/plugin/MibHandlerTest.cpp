// The handlers by direct calls, over all nine tables: modes, requests, errors.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "MibRequests.h"

namespace MibTest {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

class Handler : public testing::TestWithParam<TableCase> {
 protected:
  Handler() {
    table().addRow(*mib, "acl", 10, 1001);
    walk.first();
  }
  const TableCase& table() const { return GetParam(); }
  std::string handler() const { return table().name() + "_handler"; }
  int handle(Batch& batch) { return table().handler(nullptr, nullptr, batch.info(), batch.head()); }
  netsnmp_request_info& add(Batch& batch, unsigned column) {
    return batch.add(column, table(), walk);
  }
  Traced mode(int number) const {
    return snmp(2, handler() + ": request mode " + std::to_string(number));
  }
  Traced reading(const ColumnCase& column) const {
    return snmp(2, handler() + ": request GET for column " + column.name + ", key " +
                       table().key("acl", 10));
  }
  Traced processed(const netsnmp_request_info& request) const {
    return snmp(2, handler() + ": request " + text(&request) + " already processed");
  }
  Traced invalid(unsigned column) const {
    return snmp(0, table().name() + " invalid column " + std::to_string(column));
  }

  const AgentStart start{1000};
  const Qel::Ptr<AclSnmp::AclMib> mib = AclSnmp::AclMibIs("aclMIB");
  Walk walk{table(), *mib};
};

INSTANTIATE_TEST_SUITE_P(Tables, Handler, testing::ValuesIn(tables()),
                         [](const auto& info) { return caseName(info); });

TEST_P(Handler, EveryColumnIsReadWithItsTypeInListOrder) {
  Batch batch(MODE_GET);
  std::vector<netsnmp_request_info*> requests;
  std::vector<Traced> expected = {snmp(2, handler()), mode(160)};
  std::vector<ColumnCase> columns = table().columns();
  std::reverse(columns.begin(), columns.end());
  for (const ColumnCase& column : columns) {
    requests.push_back(&add(batch, column.number));
    expected.push_back(reading(column));
  }
  const TraceCapture capture("Snmp=2");
  EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
  for (size_t i = 0; i < columns.size(); ++i) {
    EXPECT_EQ(requests[i]->requestvb->type, columns[i].type) << columns[i].name;
    EXPECT_EQ(requests[i]->status, SNMP_ERR_NOERROR);
  }
  std::vector<Traced> traced;  // the hooks' own ones left out
  for (const Traced& t : capture.traced()) {
    if (t.message.find("data_context") == std::string::npos) traced.push_back(t);
  }
  EXPECT_THAT(traced, ElementsAreArray(expected));
  EXPECT_EQ(capture.functions().front(), handler());
}

TEST_P(Handler, ReadingIsSilentBelowLevelTwo) {
  Batch batch(MODE_GET);
  add(batch, 2);
  const TraceCapture capture("Snmp=1");
  EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
  EXPECT_THAT(capture.traced(), testing::IsEmpty());
}

TEST_P(Handler, AnEmptyListIsNoError) {
  for (const int number : std::initializer_list<int>{MODE_GET, MODE_SET_RESERVE1}) {
    Batch batch(number);
    const TraceCapture capture("Snmp=2");
    EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
    EXPECT_THAT(capture.traced(), ElementsAre(snmp(2, handler()), mode(number)));
  }
}

TEST_P(Handler, AProcessedRequestIsPassedOver) {
  Batch batch(MODE_GET);
  netsnmp_request_info& done = add(batch, 99);
  done.processed = 1;
  netsnmp_request_info& open = add(batch, 2);
  const TraceCapture capture("Snmp=2");
  EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
  EXPECT_THAT(capture.traced(), ElementsAre(snmp(2, handler()), mode(160), processed(done),
                                            reading(table().columns().front())));
  EXPECT_EQ(done.requestvb->type, ASN_NULL);
  EXPECT_EQ(open.requestvb->type, table().columns().front().type);
}

TEST_P(Handler, ARequestWithoutARowEndsTheBatchWithoutAnError) {
  Batch batch(MODE_GET);
  const netsnmp_request_info& before = add(batch, 2);
  const netsnmp_request_info& rowless = batch.add(2);
  const netsnmp_request_info& after = add(batch, 2);
  const TraceCapture capture("Snmp=2");
  EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
  EXPECT_THAT(capture.traced(),
              ElementsAre(snmp(2, handler()), mode(160), reading(table().columns().front()),
                          snmp(2, handler() + ": null data context in request")));
  EXPECT_EQ(before.requestvb->type, table().columns().front().type);
  for (const auto* request : {&rowless, &after}) {
    EXPECT_EQ(request->requestvb->type, ASN_NULL);
    EXPECT_EQ(request->status, SNMP_ERR_NOERROR);
    EXPECT_EQ(request->processed, 0);
  }
}

// The row is asked for first: without one, the column does not matter.
TEST_P(Handler, ARequestWithoutARowIsNotAskedForItsColumn) {
  Batch batch(MODE_GET);
  const netsnmp_request_info& request = batch.add(99);
  const TraceCapture capture("Snmp=0");
  EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
  EXPECT_THAT(capture.traced(), testing::IsEmpty());
  EXPECT_EQ(request.requestvb->type, ASN_NULL);
}

TEST_P(Handler, AnUnknownColumnIsNoSuchObjectAndEndsTheBatch) {
  for (const unsigned column : {0U, 1U, table().lastColumn() + 1, 4294967295U}) {
    SCOPED_TRACE(column);
    Batch batch(MODE_GET);
    const netsnmp_request_info& before = add(batch, 2);
    const netsnmp_request_info& unknown = add(batch, column);
    const netsnmp_request_info& after = add(batch, 2);
    const TraceCapture capture("Snmp=0");
    EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
    EXPECT_THAT(capture.traced(), ElementsAre(invalid(column)));
    EXPECT_EQ(before.requestvb->type, table().columns().front().type);
    EXPECT_EQ(unknown.requestvb->type, SNMP_NOSUCHOBJECT);
    EXPECT_EQ(unknown.processed, 1);
    EXPECT_EQ(after.requestvb->type, ASN_NULL);
    EXPECT_EQ(after.processed, 0);
  }
}

TEST_P(Handler, TheLastColumnIsTheOneThatTheTableEndsWith) {
  const unsigned expected = table().kind == Kind::acls    ? 4
                            : table().kind == Kind::stats ? 3
                            : table().family == "Ip"      ? 21
                            : table().family == "Ipv6"    ? 19
                                                          : 9;
  Batch batch(MODE_GET);
  const netsnmp_request_info& last = add(batch, expected);
  const netsnmp_request_info& beyond = add(batch, expected + 1);
  const TraceCapture capture("Snmp=0");
  EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
  EXPECT_NE(last.requestvb->type, ASN_NULL);
  EXPECT_NE(last.requestvb->type, SNMP_NOSUCHOBJECT);
  EXPECT_EQ(beyond.requestvb->type, SNMP_NOSUCHOBJECT);
}

TEST_P(Handler, ARequestWithoutTableInformationHasNoColumn) {
  Batch batch(MODE_GET);
  netsnmp_request_info& request = batch.add();
  void* data = walk.makeData();
  netsnmp_request_add_list_data(&request,
                                netsnmp_create_data_list(TABLE_ITERATOR_NAME, data, nullptr));
  const TraceCapture capture("Snmp=0");
  EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
  EXPECT_THAT(capture.traced(), ElementsAre(invalid(0)));
  EXPECT_EQ(request.requestvb->type, SNMP_NOSUCHOBJECT);
  walk.freeData(data);
}

// A trace that fails is the one thing in a handler that can throw beside its columns.
TEST_P(Handler, AnExceptionIsAnErrorOfTheHandler) {
  Batch batch(MODE_GET);
  add(batch, 2);
  const TraceCapture levels("Snmp=2");
  Qel::traceSinkIs([](const Qel::TraceRecord&) { throw std::runtime_error("full"); });
  EXPECT_EQ(handle(batch), SNMP_ERR_GENERR);
  Qel::traceSinkIs({});
}

// Whatever the column: no column can be written.
TEST_P(Handler, AnyOtherModeIsNotWritableForTheFirstOpenRequestOnly) {
  for (const int number : std::initializer_list<int>{
           MODE_SET_RESERVE1, MODE_SET_RESERVE2, MODE_SET_ACTION, MODE_SET_COMMIT, MODE_SET_FREE,
           MODE_SET_UNDO, MODE_GETNEXT, MODE_GETBULK, MODE_GET_STASH}) {
    for (const unsigned column : {1U, 2U, table().lastColumn(), 99U}) {
      SCOPED_TRACE(std::to_string(number) + " column " + std::to_string(column));
      Batch batch(number);
      netsnmp_request_info& done = batch.add(3);
      done.processed = 1;
      netsnmp_request_info& alsoDone = batch.add(3);
      alsoDone.processed = 1;
      const netsnmp_request_info& open = batch.add(column);
      const netsnmp_request_info& after = batch.add(column);
      const TraceCapture capture("Snmp=2");
      EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
      EXPECT_THAT(capture.traced(), ElementsAre(snmp(2, handler()), mode(number), processed(done),
                                                processed(alsoDone), invalid(column)));
      EXPECT_EQ(open.status, SNMP_ERR_NOTWRITABLE);
      EXPECT_EQ(done.status, SNMP_ERR_NOERROR);
      EXPECT_EQ(after.status, SNMP_ERR_NOERROR);
      EXPECT_EQ(after.processed, 0);
    }
  }
}

TEST_P(Handler, AnyOtherModeLeavesProcessedRequestsAlone) {
  Batch batch(MODE_SET_RESERVE1);
  netsnmp_request_info& done = batch.add(2);
  done.processed = 1;
  const TraceCapture capture("Snmp=2");
  EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
  EXPECT_THAT(capture.traced(), ElementsAre(snmp(2, handler()), mode(0), processed(done)));
  EXPECT_EQ(done.status, SNMP_ERR_NOERROR);
}

// A context holds its row: a request in flight reads it to the end.
TEST_P(Handler, ARowThatWasDeletedMeanwhileIsStillRead) {
  Batch batch(MODE_GET);
  std::vector<netsnmp_request_info*> requests;
  for (const ColumnCase& column : table().columns()) {
    requests.push_back(&add(batch, column.number));
  }
  table().deleteRow(*mib, "acl", 10);
  walk.end();
  EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
  for (size_t i = 0; i < requests.size(); ++i) {
    EXPECT_EQ(requests[i]->requestvb->type, table().columns()[i].type);
  }
}

}  // namespace
}  // namespace MibTest
