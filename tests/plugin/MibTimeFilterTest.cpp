// The time mark of the statistics tables.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

#include "MibRequests.h"

namespace MibTest {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr time_t kStart = 1000;

class TimeFilter : public testing::TestWithParam<TableCase> {
 protected:
  const TableCase& table() const { return GetParam(); }
  /// A row that last changed when the agent was up for so many ticks.
  void add(const std::string& name, double ticks) {
    table().addRow(*mib, name, 1, static_cast<double>(kStart) + ticks / 100);
  }
  std::vector<std::string> rows(u_long mark) {
    Walk walk(table(), *mib);
    walk.timeMarkIs(mark);
    std::vector<std::string> found;
    for (auto* row = walk.first(); row != nullptr; row = walk.next()) {
      EXPECT_EQ(row->type, ASN_TIMETICKS);
      EXPECT_EQ(static_cast<u_long>(*row->val.integer), mark);
      found.push_back(stringOf(row->next_variable));
    }
    return found;
  }
  bool passes(double ticks, u_long mark) {
    add("row", ticks);
    const bool passed = !rows(mark).empty();
    table().deleteRow(*mib, "row", 1);
    return passed;
  }
  std::string lastChanged(const std::string& ticks, const std::string& mark) const {
    return table().name() + "_get_*_data_point: last changed (lastUpdateTime) " + ticks +
           " requested value is " + mark;
  }
  Traced filteredOut(const Walk& walk) const {
    return snmp(2, table().name() + "_get_*_data_point filtered out " + text(walk.loop()));
  }
  std::vector<Traced> filling(const std::string& mark, const std::string& name) const {
    const std::string helper = table().name() + "IterationHelper";
    return {snmp(2, helper + " - Using existing TimeFilter " + table().markObject() + "=" + mark),
            snmp(2, helper + " - iterator has another value: aclName=" + name),
            snmp(2, helper + " - iterator has another value: seqId=1")};
  }

  const AgentStart start{kStart};
  const Qel::Ptr<AclSnmp::AclMib> mib = AclSnmp::AclMibIs("aclMIB");
};

INSTANTIATE_TEST_SUITE_P(Tables, TimeFilter, testing::ValuesIn(withTimeMark()),
                         [](const auto& info) { return caseName(info); });

TEST_P(TimeFilter, MarkZeroGivesEveryRow) {
  add("a", 0);
  add("b", -500);  // before the agent's start
  add("c", 123456);
  EXPECT_THAT(rows(0), ElementsAre("a", "b", "c"));
}

TEST_P(TimeFilter, MarkZeroIsComparedAndTracedFromLevelEightOn) {
  add("a", 100);
  for (const int level : {7, 8}) {
    Walk walk(table(), *mib);
    const TraceCapture capture("Snmp=" + std::to_string(level));
    ASSERT_NE(walk.first(), nullptr);
    const Traced filter = snmp(8, lastChanged("100", "0"));
    EXPECT_EQ(std::ranges::count(capture.traced(), filter), level == 8 ? 1 : 0) << level;
  }
}

TEST_P(TimeFilter, AMarkLaterThanEveryChangeGivesNoRow) {
  add("a", 100);
  add("b", 200);
  EXPECT_THAT(rows(203), IsEmpty());
  EXPECT_THAT(rows(4294967295UL), IsEmpty());
}

TEST_P(TimeFilter, ARowMayLieTwoTicksBeforeTheMark) {
  EXPECT_TRUE(passes(1001, 1000));
  EXPECT_TRUE(passes(1000, 1000));
  EXPECT_TRUE(passes(999, 1000));
  EXPECT_TRUE(passes(998, 1000));
  EXPECT_FALSE(passes(997, 1000));
  EXPECT_FALSE(passes(997.99, 1000));
  EXPECT_TRUE(passes(0, 2));
  EXPECT_FALSE(passes(0, 3));
}

// Numbers are unsigned and the slack is added modulo 2^32.
TEST_P(TimeFilter, TheComparisonIsUnsignedAndWraps) {
  EXPECT_TRUE(passes(4294967293.0, 4294967295UL));
  EXPECT_FALSE(passes(4294967292.0, 4294967295UL));
  EXPECT_TRUE(passes(3000000000.0, 1));
  EXPECT_FALSE(passes(1, 3000000000UL));
  EXPECT_FALSE(passes(4294967294.0, 1));  // the sum is 0
  EXPECT_TRUE(passes(4294967294.0, 0));
  EXPECT_TRUE(passes(4294967295.0, 1));  // the sum is 1
  EXPECT_FALSE(passes(4294967295.0, 2));
  EXPECT_FALSE(passes(4294967296.0, 3));  // the ticks themselves are 0
}

TEST_P(TimeFilter, TheMarkIsTheLow32BitsOfTheIndexValue) {
  add("a", 100);
  Walk walk(table(), *mib);
  walk.timeMarkIs(4294967296UL + 102);
  EXPECT_NE(walk.first(), nullptr);
  walk.timeMarkIs(4294967296UL + 103);
  EXPECT_EQ(walk.first(), nullptr);
}

TEST_P(TimeFilter, AnIndexWithoutAValueIsMarkZero) {
  add("a", 0);
  Walk walk(table(), *mib);
  walk.index().head()->val.integer = nullptr;
  const TraceCapture capture("Snmp=2");
  EXPECT_NE(walk.first(), nullptr);
  EXPECT_EQ(capture.traced()[2], filling("0", "a")[0]);
}

TEST_P(TimeFilter, RowsThatChangedEarlierAreLeftOut) {
  add("a", 300);
  add("b", 100);
  add("c", 297);
  add("d", 298);
  add("e", 5000);
  EXPECT_THAT(rows(300), ElementsAre("a", "d", "e"));
}

TEST_P(TimeFilter, TheFirstHookTracesWhatItSkips) {
  add("a", 100);
  add("b", 200);
  add("c", 300);
  Walk walk(table(), *mib);
  walk.timeMarkIs(300);
  const TraceCapture capture("Snmp=9");
  ASSERT_NE(walk.first(), nullptr);
  const std::string first = table().name() + "_get_first_data_point";
  std::vector<Traced> expected = {
      snmp(2, first + " - *hint = 0, number_indexes = 0"),
      filteredOut(walk),
      snmp(4, lastChanged("100", "300")),
      filteredOut(walk),
      snmp(4, lastChanged("200", "300")),
      snmp(8, lastChanged("300", "300")),
      snmp(2, first + " - allocated new loop context " + text(walk.loop()) + ", hintMatched=0")};
  for (const Traced& t : filling("300", "c")) expected.push_back(t);
  EXPECT_THAT(capture.traced(), ElementsAreArray(expected));
}

TEST_P(TimeFilter, TheNextHookTracesWhatItSkips) {
  add("a", 300);
  add("b", 100);
  add("c", 400);
  add("d", 200);
  Walk walk(table(), *mib);
  walk.timeMarkIs(300);
  ASSERT_NE(walk.first(), nullptr);
  TraceCapture capture("Snmp=9");
  ASSERT_NE(walk.next(), nullptr);
  const Traced advancing =
      snmp(2, table().name() + "_get_next_data_point - advancing loop context " +
                  text(walk.loop()) + " ; data context 0");
  std::vector<Traced> expected = {advancing, filteredOut(walk), snmp(4, lastChanged("100", "300")),
                                  snmp(8, lastChanged("400", "300"))};
  for (const Traced& t : filling("300", "c")) expected.push_back(t);
  EXPECT_THAT(capture.traced(), ElementsAreArray(expected));

  capture.clear();
  EXPECT_EQ(walk.next(), nullptr);
  EXPECT_THAT(capture.traced(),
              ElementsAre(advancing, filteredOut(walk), snmp(4, lastChanged("200", "300")),
                          snmp(2, table().name() + "IterationHelper - iterator is at end")));
}

TEST_P(TimeFilter, SkippingMovesTheDataContextToTheRowThatPassed) {
  add("a", 300);
  add("b", 100);
  add("c", 400);
  Walk walk(table(), *mib);
  walk.timeMarkIs(300);
  ASSERT_NE(walk.first(), nullptr);
  void* data = walk.makeData();
  ASSERT_NE(walk.next(&data), nullptr);
  Batch batch(MODE_GET);
  netsnmp_request_add_list_data(&batch.add(3),
                                netsnmp_create_data_list(TABLE_ITERATOR_NAME, data, nullptr));
  const TraceCapture capture("Snmp=2");
  table().handler(nullptr, nullptr, batch.info(), batch.head());
  EXPECT_THAT(capture.messages().back(), testing::EndsWith(", key " + table().key("c", 1)));
  walk.freeData(data);
}

// The filter is asked from the row of the hint on, which is still said to have matched.
TEST_P(TimeFilter, TheRowOfAHintIsFilteredToo) {
  add("a", 300);
  add("b", 100);
  add("c", 300);
  Walk walk(table(), *mib);
  walk.timeMarkIs(300);
  Index hint;
  hint.number(300, ASN_TIMETICKS).name("b").number(1);
  const TraceCapture capture("Snmp=2");
  ASSERT_NE(walk.first(hint, 3), nullptr);
  EXPECT_EQ(stringOf(walk.index().at(1)), "c");
  EXPECT_THAT(capture.traced(),
              testing::Contains(snmp(2, table().name() +
                                            "_get_first_data_point - allocated new loop context " +
                                            text(walk.loop()) + ", hintMatched=1")));
}

// Those before the row of a hint are not what is asked for, whatever becomes of the ones after it.
TEST_P(TimeFilter, AHintWhoseRowsAreAllLeftOutEndsTheWalk) {
  add("a", 300);
  add("b", 100);
  add("c", 200);
  Walk walk(table(), *mib);
  walk.timeMarkIs(300);
  Index hint;
  hint.number(300, ASN_TIMETICKS).name("b").number(1);
  EXPECT_EQ(walk.first(hint, 3), nullptr);
  EXPECT_EQ(walk.next(), nullptr);
}

// The library repeats a walk without a hint; the mark stays where it was.
TEST_P(TimeFilter, TheMarkIsThatOfTheIndexNotOfTheHint) {
  add("a", 100);
  add("b", 300);
  Walk walk(table(), *mib);
  walk.timeMarkIs(300);
  Index hint;
  hint.number(0, ASN_TIMETICKS).name("a").number(1);
  ASSERT_NE(walk.first(hint, 3), nullptr);
  EXPECT_EQ(stringOf(walk.index().at(1)), "b");
  ASSERT_NE(walk.first(), nullptr);
  EXPECT_EQ(stringOf(walk.index().at(1)), "b");
}

TEST_P(TimeFilter, AChangedCounterBringsItsRowBack) {
  const auto config = Qel::make<Acl::AclConfig>("acl", Acl::AclType::ipv4);
  const auto rules = Qel::make<Acl::AclSubConfig>("1");
  const Acl::UniqueId id(7, 0, 0);
  rules->ruleBySequenceIs(1, id);
  config->currCfgIs(rules);
  const auto status = Qel::make<Acl::AclStatus>("acl");
  const AclSnmp::AclRuleTableIndex index("acl", 1);
  const double created = kStart + 1;
  mib->newIpAclRuleStatsTable(index, config, created)->aclStatusIs(status);
  mib->newMacAclRuleStatsTable(index, config, created)->aclStatusIs(status);
  mib->newIpv6AclRuleStatsTable(index, config, created)->aclStatusIs(status);
  EXPECT_THAT(rows(102), ElementsAre("acl"));  // created at 100
  EXPECT_THAT(rows(500), IsEmpty());
  status->ruleStatusIs(id, {3, kStart + 5});
  EXPECT_THAT(rows(500), ElementsAre("acl"));
}

// With traces each row is looked at, without them whole ACLs may be passed over.
TEST(TimeFilterByAcl, SeesTheRowsThatALookAtEachOneSees) {
  const AgentStart start(kStart);
  const TableCase& t = table("zorlenIpAclRuleStatsTable");
  std::mt19937 random(5);
  const auto below = [&random](uint32_t n) { return static_cast<uint32_t>(random() % n); };
  const auto time = [&]() -> double {
    switch (below(20)) {
      case 0:
        return std::numeric_limits<double>::quiet_NaN();
      case 1:
        return std::numeric_limits<double>::infinity();
      case 2:
        return -100;
      case 3:
        return static_cast<double>(kStart) + 42949672.96 + below(5);  // ticks have wrapped
      default:
        return static_cast<double>(kStart) + below(1000) / 100.0;
    }
  };
  const auto mib = AclSnmp::AclMibIs("aclMIB");
  const auto version = Qel::make<Acl::AclSubConfig>();
  for (uint32_t seq = 0; seq < 4; ++seq) {
    version->ruleBySequenceIs(seq, Acl::UniqueId(seq, 0, 0));
  }
  const auto config = Qel::make<Acl::AclConfig>("any", Acl::AclType::ipv4);
  config->currCfgIs(version);
  const auto other = Qel::make<Acl::AclConfig>("other", Acl::AclType::ipv4);
  other->currCfgIs(Qel::make<Acl::AclSubConfig>());
  std::vector<Qel::Ptr<Acl::AclStatus>> statuses = {nullptr};
  for (const char* name : {"x", "y", "z"}) statuses.push_back(Qel::make<Acl::AclStatus>(name));
  const auto walk = [&](u_long mark) {
    Walk rows(t, *mib);
    rows.timeMarkIs(mark);
    std::vector<std::string> found;
    for (auto* row = rows.first(); row != nullptr; row = rows.next()) found.push_back(rows.row());
    return found;
  };
  size_t filtered = 0;
  for (int step = 0; step < 20000; ++step) {
    const uint32_t acl = below(5);
    const AclSnmp::AclRuleTableIndex index(Snmp::String(("acl" + std::to_string(acl)).c_str()),
                                           below(4));
    switch (below(6)) {
      case 0:
        mib->newIpAclRuleStatsTable(index, acl == 0 && below(2) == 0 ? other : config, time());
        break;
      case 4: {
        const uint32_t number = below(5);
        version->ruleBySequenceIs(
            below(4), number == 4 ? Acl::UniqueId::invalid() : Acl::UniqueId(number, 0, 0));
        break;
      }
      case 1:
        if (const auto row = mib->ipAclRuleStatsTable(index)) row->aclStatusIs(statuses[below(4)]);
        break;
      case 2:
        statuses[1 + below(3)]->ruleStatusIs(
            below(20) == 0 ? Acl::UniqueId::invalid() : Acl::UniqueId(below(4), 0, 0),
            {below(9), time()});
        break;
      case 3:
        mib->ipAclRuleStatsTableDel(index);
        break;
      default:
        statuses[1 + below(3)]->ruleStatusDel(Acl::UniqueId(below(4), 0, 0));
        break;
    }
    const u_long mark = below(50) == 0 ? 4294967295U : below(1100);
    const auto byAcl = walk(mark);
    const TraceCapture traced("Snmp=2");
    ASSERT_EQ(byAcl, walk(mark)) << step << " mark " << mark;
    if (byAcl.size() < mib->ipAclRuleStatsTables()) ++filtered;
  }
  EXPECT_GT(filtered, 1000U);
}

}  // namespace
}  // namespace MibTest
