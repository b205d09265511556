// Row iteration by direct calls of the hooks, over all nine tables.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "MibRequests.h"

namespace MibTest {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr double kLongAgo = 1001;

class Iteration : public testing::TestWithParam<TableCase> {
 protected:
  const TableCase& table() const { return GetParam(); }
  std::string hook(const char* which) const { return table().name() + "_" + which; }
  std::string helper() const { return table().name() + "IterationHelper"; }
  void add(const std::string& name, uint32_t seqId = 10) {
    table().addRow(*mib, name, seqId, kLongAgo);
  }
  void remove(const std::string& name, uint32_t seqId = 10) {
    table().deleteRow(*mib, name, seqId);
  }
  std::string rowText(const std::string& name, uint32_t seqId = 10) const {
    return table().hasSequence() ? name + " " + std::to_string(seqId) : name;
  }
  /// The rows of a walk from its start to its end.
  std::vector<std::string> rows() {
    Walk walk(table(), *mib);
    std::vector<std::string> found;
    for (auto* row = walk.first(); row != nullptr; row = walk.next()) found.push_back(walk.row());
    return found;
  }
  /// What the helper traces for a row, with what the filter says before it, if it is asked at all.
  std::vector<Traced> filling(const std::string& name, uint32_t seqId) const {
    std::vector<Traced> expected;
    if (table().hasTimeMark()) {
      expected.push_back(
          snmp(2, helper() + " - Using existing TimeFilter " + table().markObject() + "=0"));
    }
    expected.push_back(snmp(2, helper() + " - iterator has another value: aclName=" + name));
    if (table().hasSequence()) {
      expected.push_back(
          snmp(2, helper() + " - iterator has another value: seqId=" + std::to_string(seqId)));
    }
    return expected;
  }
  void expectFilter(std::vector<Traced>& expected) const {
    if (!table().hasTimeMark()) return;
    expected.push_back(snmp(8, table().name() +
                                   "_get_*_data_point: last changed (lastUpdateTime) 100 "
                                   "requested value is 0"));
  }

  const AgentStart start{1000};
  const Qel::Ptr<AclSnmp::AclMib> mib = AclSnmp::AclMibIs("aclMIB");
};

INSTANTIATE_TEST_SUITE_P(Tables, Iteration, testing::ValuesIn(tables()),
                         [](const auto& info) { return caseName(info); });

/// Of the tables whose key has a number.
class SequenceIteration : public Iteration {};
INSTANTIATE_TEST_SUITE_P(Tables, SequenceIteration, testing::ValuesIn(withSequence()),
                         [](const auto& info) { return caseName(info); });

TEST_P(Iteration, AnEmptyTableHasNoFirstRow) {
  Walk walk(table(), *mib);
  const TraceCapture capture("Snmp=9");
  EXPECT_EQ(walk.first(), nullptr);
  ASSERT_NE(walk.loop(), nullptr);
  EXPECT_THAT(
      capture.traced(),
      ElementsAre(snmp(2, hook("get_first_data_point") + " - *hint = 0, number_indexes = 0"),
                  snmp(2, hook("get_first_data_point") + " - allocated new loop context " +
                              text(walk.loop()) + ", hintMatched=0"),
                  snmp(2, helper() + " - iterator is at end")));
  EXPECT_EQ(walk.next(), nullptr);
}

TEST_P(Iteration, TheFirstRowFillsTheIndex) {
  add("b", 20);
  add("a", 4000000000U);
  Walk walk(table(), *mib);
  const TraceCapture capture("Snmp=9");
  EXPECT_EQ(walk.first(), walk.index().head());
  std::vector<Traced> expected = {
      snmp(2, hook("get_first_data_point") + " - *hint = 0, number_indexes = 0")};
  expectFilter(expected);
  expected.push_back(snmp(2, hook("get_first_data_point") + " - allocated new loop context " +
                                 text(walk.loop()) + ", hintMatched=0"));
  for (const Traced& t : filling("a", 4000000000U)) expected.push_back(t);
  EXPECT_THAT(capture.traced(), ElementsAreArray(expected));
  EXPECT_EQ(walk.row(), rowText("a", 4000000000U));
  const std::vector<u_char> types = table().indexTypes();
  for (size_t i = 0; i < types.size(); ++i) EXPECT_EQ(walk.index().at(i)->type, types[i]) << i;
}

TEST_P(Iteration, TracesNameTheirSite) {
  add("a");
  Walk walk(table(), *mib);
  const TraceCapture capture("Snmp=9");
  walk.first();
  walk.next();
  EXPECT_THAT(capture.sources(), testing::Each("AclMIB"));
  EXPECT_EQ(capture.functions().front(), hook("get_first_data_point"));
  EXPECT_EQ(capture.functions().back(), helper());
}

TEST_P(Iteration, RoutineFlowIsSilentBelowLevelTwo) {
  add("a");
  const TraceCapture capture("Snmp=1");
  rows();
  EXPECT_THAT(capture.traced(), testing::IsEmpty());
}

TEST_P(Iteration, AdvancingTracesBothContexts) {
  add("a");
  add("b");
  Walk walk(table(), *mib);
  walk.first();
  TraceCapture capture("Snmp=9");
  EXPECT_EQ(walk.next(), walk.index().head());
  std::vector<Traced> expected = {snmp(2, hook("get_next_data_point") +
                                              " - advancing loop context " + text(walk.loop()) +
                                              " ; data context 0")};
  expectFilter(expected);
  for (const Traced& t : filling("b", 10)) expected.push_back(t);
  EXPECT_THAT(capture.traced(), ElementsAreArray(expected));

  capture.clear();
  EXPECT_EQ(walk.next(), nullptr);
  EXPECT_THAT(capture.traced(),
              ElementsAre(snmp(2, hook("get_next_data_point") + " - advancing loop context " +
                                      text(walk.loop()) + " ; data context 0"),
                          snmp(2, helper() + " - iterator is at end")));

  capture.clear();
  EXPECT_EQ(walk.next(), nullptr);
  EXPECT_THAT(capture.traced(),
              ElementsAre(snmp(2, hook("get_next_data_point") + " - at end of loop context " +
                                      text(walk.loop()))));
}

TEST_P(Iteration, WithoutALoopContextThereIsNoNextRow) {
  add("a");
  Walk walk(table(), *mib);
  const TraceCapture capture("Snmp=9");
  EXPECT_EQ(walk.next(), nullptr);
  EXPECT_THAT(capture.traced(),
              ElementsAre(snmp(2, hook("get_next_data_point") + " - at end of loop context 0")));
}

TEST_P(Iteration, RowsComeInTheOrderOfTheirOids) {
  for (const char* name : {"b", "aa", "", "a", "\xFF", "B", "zzz"}) add(name);
  EXPECT_THAT(rows(), ElementsAre(rowText(""), rowText("B"), rowText("a"), rowText("b"),
                                  rowText("\xFF"), rowText("aa"), rowText("zzz")));
}

TEST_P(SequenceIteration, RulesOfAListComeByNumberAndTheNextListFollows) {
  for (const uint32_t seqId : {4294967295U, 10U, 0U, 9U}) add("a", seqId);
  add("b", 1);
  EXPECT_THAT(rows(), ElementsAre("a 0", "a 9", "a 10", "a 4294967295", "b 1"));
}

TEST_P(Iteration, AWalkGoesOnAfterItsRowIsGone) {
  for (const char* name : {"a", "b", "c"}) add(name);
  Walk walk(table(), *mib);
  walk.first();
  walk.next();
  ASSERT_EQ(walk.row(), rowText("b"));
  remove("b");
  ASSERT_NE(walk.next(), nullptr);
  EXPECT_EQ(walk.row(), rowText("c"));
}

TEST_P(SequenceIteration, AWalkGoesOnWithinItsListAfterItsRuleIsGone) {
  for (const uint32_t seqId : {10U, 20U, 30U}) add("a", seqId);
  Walk walk(table(), *mib);
  walk.first();
  walk.next();
  ASSERT_EQ(walk.row(), "a 20");
  remove("a", 20);
  add("a", 15);
  add("a", 25);
  ASSERT_NE(walk.next(), nullptr);
  EXPECT_EQ(walk.row(), "a 25");
}

TEST_P(Iteration, AWalkSeesRowsThatCameMeanwhileAboveItsOwn) {
  add("b");
  add("d");
  Walk walk(table(), *mib);
  walk.first();
  add("a");
  add("c");
  ASSERT_NE(walk.next(), nullptr);
  EXPECT_EQ(walk.row(), rowText("c"));
}

TEST_P(Iteration, AdvancingMovesAPresentDataContextToTheSameRow) {
  add("a");
  add("b", 20);
  Walk walk(table(), *mib);
  walk.first();
  void* data = walk.makeData();
  void* const before = data;
  {
    const TraceCapture capture("Snmp=2");
    ASSERT_NE(walk.next(&data), nullptr);
    EXPECT_EQ(capture.traced().front(),
              snmp(2, hook("get_next_data_point") + " - advancing loop context " +
                          text(walk.loop()) + " ; data context " + text(data)));
  }
  EXPECT_EQ(data, before);

  Batch batch(MODE_GET);
  netsnmp_request_info& request = batch.add(2);
  netsnmp_request_add_list_data(&request,
                                netsnmp_create_data_list(TABLE_ITERATOR_NAME, data, nullptr));
  const TraceCapture capture("Snmp=2");
  table().handler(nullptr, nullptr, batch.info(), batch.head());
  EXPECT_EQ(capture.messages().back(), hook("handler") + ": request GET for column " +
                                           table().columns().front().name + ", key " +
                                           table().key("b", 20));
  walk.freeData(data);
}

// The handler's contexts are made for the rows that the library keeps, not for every row passed.
TEST_P(Iteration, AnAbsentDataContextStaysAbsent) {
  add("a");
  add("b");
  Walk walk(table(), *mib);
  void* loop = nullptr;
  void* data = nullptr;
  ASSERT_NE(table().first(&loop, &data, walk.index().head(), walk.info()), nullptr);
  EXPECT_EQ(data, nullptr);
  const TraceCapture capture("Snmp=2");
  ASSERT_NE(table().next(&loop, &data, walk.index().head(), walk.info()), nullptr);
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(capture.traced().front(),
            snmp(2, hook("get_next_data_point") + " - advancing loop context " + text(loop) +
                        " ; data context 0"));
  table().freeLoopAtEnd(loop, walk.info());
}

TEST_P(Iteration, AdvancingToTheEndTakesAPresentDataContextAlong) {
  add("a");
  Walk walk(table(), *mib);
  walk.first();
  void* data = walk.makeData();
  EXPECT_EQ(walk.next(&data), nullptr);
  EXPECT_EQ(table().holders(*mib, "a", 10), 0U);
  const TraceCapture capture("Snmp=2");
  EXPECT_EQ(table().next(&data, nullptr, walk.index().head(), walk.info()), nullptr);
  EXPECT_THAT(capture.traced(),
              ElementsAre(snmp(
                  2, hook("get_next_data_point") + " - at end of loop context " + text(data))));
  walk.freeData(data);
}

TEST_P(Iteration, AContextHoldsItsRowUntilItMovesOnOrIsFreed) {
  add("a");
  add("b");
  const auto held = [this](const char* name) { return table().holders(*mib, name, 10); };
  Walk walk(table(), *mib);
  walk.first();
  EXPECT_EQ(held("a"), 1U);
  void* const data = walk.makeData();
  EXPECT_EQ(held("a"), 2U);
  walk.next();
  EXPECT_EQ(held("a"), 1U);
  EXPECT_EQ(held("b"), 1U);

  // What is freed is told while it is still held.
  std::vector<uint32_t> whenTold;
  const TraceCapture levels("Snmp=2");
  Qel::traceSinkIs([&](const Qel::TraceRecord&) {
    whenTold.insert(whenTold.end(), {held("a"), held("b")});
  });
  walk.freeData(data);
  EXPECT_EQ(held("a"), 0U);
  walk.end();
  EXPECT_EQ(held("b"), 0U);
  EXPECT_THAT(whenTold, ElementsAre(1U, 1U, 0U, 1U));
}

TEST_P(Iteration, ContextsAreMadeAndFreedWithATrace) {
  add("a");
  Walk walk(table(), *mib);
  walk.first();
  TraceCapture capture("Snmp=9");
  void* data = walk.makeData();
  EXPECT_NE(data, walk.loop());
  void* const loop = walk.loop();
  walk.freeData(data);
  walk.end();
  EXPECT_THAT(capture.traced(),
              ElementsAre(snmp(2, hook("make_data_context") + " - allocated data context " +
                                      text(data) + " for loop context " + text(loop)),
                          snmp(2, hook("free_data_context") + " " + text(data)),
                          snmp(2, hook("free_loop_context_at_end") + " " + text(loop))));
}

TEST_P(Iteration, FreeingNoContextOnlyTraces) {
  const TraceCapture capture("Snmp=9");
  table().freeData(nullptr, nullptr);
  table().freeLoopAtEnd(nullptr, nullptr);
  EXPECT_THAT(capture.traced(), ElementsAre(snmp(2, hook("free_data_context") + " 0"),
                                            snmp(2, hook("free_loop_context_at_end") + " 0")));
}

TEST_P(Iteration, ANameOfAHundredOctetsFitsTheIndex) {
  const std::string name(100, 'n');
  add(name);
  EXPECT_THAT(rows(), ElementsAre(rowText(name)));
}

// Longer names sort after all others, so nothing that could be served is lost.
TEST_P(Iteration, ALongerNameEndsTheWalkWithATrace) {
  add("a");
  add(std::string(101, 'n'));
  add(std::string(102, 'a'));
  const TraceCapture capture("Snmp=0");
  EXPECT_THAT(rows(), ElementsAre(rowText("a")));
  EXPECT_THAT(
      capture.traced(),
      ElementsAre(snmp(0, helper() + " - an ACL name of 101 octets does not fit the index")));
}

TEST_P(Iteration, AnyOctetOfANameIsData) {
  const std::string name("a\0\xFF'", 4);
  add(name);
  EXPECT_THAT(rows(), ElementsAre(rowText(name)));
}

TEST(IterationHelper, FillsTheIndexOfEachTableFromAnIterator) {
  const auto mib = AclSnmp::AclMibIs("aclMIB");
  std::vector<std::function<netsnmp_variable_list*(netsnmp_variable_list*)>> helpers;
#define MIB_TEST_HELPER(table)                                                                   \
  helpers.emplace_back([&](netsnmp_variable_list* index) {                                       \
    return zorlen##table##IterationHelper(mib->entries<AclSnmp::table##Entry>().begin(), index); \
  })
  ACLSNMP_FOR_EACH_TABLE(MIB_TEST_HELPER);
#undef MIB_TEST_HELPER
  for (size_t i = 0; i < helpers.size(); ++i) {
    const TableCase& t = tables()[i];
    SCOPED_TRACE(t.name());
    Index index;
    index.blank(t);
    EXPECT_EQ(helpers[i](index.head()), nullptr);
    t.addRow(*mib, "edge", 20, 0);
    const TraceCapture capture("Snmp=2");
    EXPECT_EQ(helpers[i](index.head()), index.head());
    EXPECT_EQ(capture.functions().back(), t.name() + "IterationHelper");
    const size_t name = t.hasTimeMark() ? 1 : 0;
    EXPECT_EQ(stringOf(index.at(name)), "edge");
    if (t.hasSequence()) {
      EXPECT_EQ(*index.at(name + 1)->val.integer, 20);
    }
  }
}

}  // namespace
}  // namespace MibTest
