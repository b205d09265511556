// Where a walk starts: the request's index as a hint, over all nine tables.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MibRequests.h"

namespace MibTest {
namespace {

using testing::ElementsAreArray;

constexpr double kBeforeTheHint = 1001;
constexpr u_long kMark = 50;

class Hint : public testing::TestWithParam<TableCase> {
 protected:
  Hint() {
    for (const char* name : {"a", "bb", "cc"}) {
      for (const uint32_t seqId : {10U, 20U}) table().addRow(*mib, name, seqId, kBeforeTheHint);
    }
  }
  const TableCase& table() const { return GetParam(); }
  std::string first() const { return table().name() + "_get_first_data_point"; }
  std::string rowText(const std::string& name, uint32_t seqId) const {
    return table().hasSequence() ? name + " " + std::to_string(seqId) : name;
  }
  /// Puts the time mark in front where the table has one.
  void addMark() {
    if (table().hasTimeMark()) hint.number(kMark, ASN_TIMETICKS);
  }
  void addAll(const std::string& name, u_long seqId) {
    addMark();
    hint.name(name);
    if (table().hasSequence()) hint.number(seqId);
  }
  std::string componentText(const std::string& name) const {
    return "hint component " + table().nameObject() + " is '" + name + "'";
  }
  std::string seqText(const std::string& number) const {
    return "hint component " + table().seqObject() + " is '" + number + "'";
  }
  /// An ACL table says 0 whatever it found; a statistics table counts its time mark.
  Traced needed(unsigned found) const {
    return snmp(2, first() + " - needed " + std::to_string(table().indexes()) +
                       " components, found only " + std::to_string(found));
  }
  unsigned found(unsigned beforeName) const {
    return table().hasTimeMark() ? beforeName + 1 : beforeName;
  }

  /// The walk starts at `row` with exactly these traces between the first and the last ones.
  void expectStart(const std::string& row, bool matched, std::vector<Traced> between,
                   unsigned indexes) {
    Walk walk(table(), *mib);
    const TraceCapture capture("Snmp=2");
    ASSERT_EQ(walk.first(hint, indexes), walk.index().head());
    std::vector<Traced> all = {snmp(2, first() + " - *hint = " + text(walk.hint()) +
                                           ", number_indexes = " + std::to_string(indexes))};
    all.insert(all.end(), between.begin(), between.end());
    all.push_back(snmp(2, first() + " - allocated new loop context " + text(walk.loop()) +
                              ", hintMatched=" + (matched ? "1" : "0")));
    std::vector<Traced> start;
    for (const Traced& t : capture.traced()) {
      start.push_back(t);
      if (t == all.back()) break;
    }
    EXPECT_THAT(start, ElementsAreArray(all));
    EXPECT_EQ(walk.row(), row);
    EXPECT_NE(walk.loop(), walk.hint());
  }
  void expectStart(const std::string& row, bool matched, std::vector<Traced> between) {
    expectStart(row, matched, std::move(between), table().indexes());
  }
  /// The walk starts at the first row, without a match.
  void expectFullWalk(std::vector<Traced> between) {
    expectStart(rowText("a", 10), false, std::move(between));
  }
  std::vector<Traced> components(const std::string& name, const std::string& number) const {
    std::vector<Traced> traced = {snmp(2, componentText(name))};
    if (table().hasSequence()) traced.push_back(snmp(2, seqText(number)));
    return traced;
  }

  const AgentStart start{1000};
  const Qel::Ptr<AclSnmp::AclMib> mib = AclSnmp::AclMibIs("aclMIB");
  Index hint;
};

INSTANTIATE_TEST_SUITE_P(Tables, Hint, testing::ValuesIn(tables()),
                         [](const auto& info) { return caseName(info); });

/// Of the tables whose key has a number.
class SequenceHint : public Hint {};
INSTANTIATE_TEST_SUITE_P(Tables, SequenceHint, testing::ValuesIn(withSequence()),
                         [](const auto& info) { return caseName(info); });

/// Of the tables whose index has a time mark.
class TimeMarkHint : public Hint {};
INSTANTIATE_TEST_SUITE_P(Tables, TimeMarkHint, testing::ValuesIn(withTimeMark()),
                         [](const auto& info) { return caseName(info); });

TEST_P(Hint, TheNamedRowIsTheStart) {
  addAll("bb", 20);
  expectStart(rowText("bb", 20), true, components("bb", "20"));
}

TEST_P(Hint, TheRestOfTheRowsFollowsTheNamedOne) {
  addAll("bb", 20);
  Walk walk(table(), *mib);
  ASSERT_NE(walk.first(hint, table().indexes()), nullptr);
  ASSERT_NE(walk.next(), nullptr);
  EXPECT_EQ(walk.row(), rowText("cc", 10));
}

TEST_P(Hint, AnAbsentKeyCostsAFullWalk) {
  const std::string absent = table().hasSequence() ? "bb" : "b";
  addAll(absent, 15);
  std::vector<Traced> between = components(absent, "15");
  between.push_back(
      snmp(2, first() + " - key '" + table().key(absent, 15) + "' not found in table"));
  expectFullWalk(between);
}

TEST_P(Hint, AKeyAboveAllRowsCostsAFullWalk) {
  addAll("zzz", 1);
  std::vector<Traced> between = components("zzz", "1");
  between.push_back(snmp(2, first() + " - key '" + table().key("zzz", 1) + "' not found in table"));
  expectFullWalk(between);
}

TEST_P(Hint, OfAnEmptyTableIsNotFound) {
  for (const char* name : {"a", "bb", "cc"}) {
    for (const uint32_t seqId : {10U, 20U}) table().deleteRow(*mib, name, seqId);
  }
  addAll("a", 10);
  Walk walk(table(), *mib);
  const TraceCapture capture("Snmp=2");
  EXPECT_EQ(walk.first(hint, table().indexes()), nullptr);
  EXPECT_THAT(capture.traced(),
              testing::Contains(
                  snmp(2, first() + " - key '" + table().key("a", 10) + "' not found in table")));
}

TEST_P(Hint, WithAnotherNumberOfIndexesIsNotLookedAt) {
  addAll("bb", 20);
  for (const unsigned indexes : {0U, table().indexes() - 1, table().indexes() + 1}) {
    SCOPED_TRACE(indexes);
    expectStart(rowText("a", 10), false, {}, indexes);
  }
}

TEST_P(Hint, WithAnEmptyIndexListHasNoComponents) { expectFullWalk({needed(0)}); }

TEST_P(Hint, WithANameOfAnotherTypeIsRejected) {
  for (const u_char type : {u_char{ASN_INTEGER}, u_char{ASN_UNSIGNED}, u_char{ASN_TIMETICKS}}) {
    hint.clear();
    addMark();
    hint.number(7, type);
    hint.number(20);
    expectFullWalk({snmp(0, "hint for " + table().nameObject() +
                                " has incorrect type! Expecting 4 but got " + std::to_string(type)),
                    needed(found(0))});
  }
}

TEST_P(Hint, WithANameOfNoOctetsIsAKey) {
  for (const uint32_t seqId : {10U, 20U}) table().addRow(*mib, "", seqId, kBeforeTheHint);
  addAll("", 20);
  expectStart(rowText("", 20), true, components("", "20"));
}

TEST_P(Hint, WithANameOf255OctetsIsAKey) {
  const std::string name(255, 'n');
  addAll(name, 10);
  std::vector<Traced> between = components(name, "10");
  between.push_back(snmp(2, first() + " - key '" + table().key(name, 10) + "' not found in table"));
  expectFullWalk(between);
}

TEST_P(Hint, WithANameOf256OctetsIsOutOfRange) {
  addAll(std::string(256, 'n'), 10);
  expectFullWalk({snmp(0, "hint for index " + table().nameObject() + " of " + table().name() +
                              " is out of range! an index string of 256 octets is longer than 255"),
                  needed(found(0))});
}

TEST_P(Hint, WithANameWithoutAValueHasNoName) {
  addMark();
  hint.nothing(ASN_OCTET_STR);
  hint.at(table().hasTimeMark() ? 1 : 0)->val_len = 5;
  hint.number(10);
  expectFullWalk({needed(found(0))});
}

TEST_P(SequenceHint, WithoutANumberCountsTheNameOnly) {
  addMark();
  hint.name("bb");
  expectFullWalk({snmp(2, componentText("bb")), needed(found(1))});
}

TEST_P(SequenceHint, WithANumberOfAnotherTypeIsRejected) {
  addMark();
  hint.name("bb").number(20, ASN_INTEGER);
  expectFullWalk(
      {snmp(2, componentText("bb")),
       snmp(0, "hint for " + table().seqObject() + " has incorrect type! Expecting 66 but got 2"),
       needed(found(1))});
}

TEST_P(SequenceHint, WithANumberThatDoesNotFit32BitsIsOutOfRange) {
  addMark();
  hint.name("bb").number(4294967296UL);
  expectFullWalk(
      {snmp(2, componentText("bb")),
       snmp(0, "hint for index " + table().seqObject() + " of " + table().name() +
                   " is out of range! the number 4294967296 is not an unsigned 32-bit one"),
       needed(found(1))});
}

TEST_P(SequenceHint, TakesTheLargestNumber) {
  table().addRow(*mib, "bb", 4294967295U, kBeforeTheHint);
  addAll("bb", 4294967295U);
  expectStart("bb 4294967295", true, components("bb", "4294967295"));
}

TEST_P(SequenceHint, WithANumberWithoutAValueHasNoNumber) {
  addMark();
  hint.name("bb").nothing(ASN_UNSIGNED);
  expectFullWalk({snmp(2, componentText("bb")), needed(found(1))});
}

// The time mark is no part of the key: neither its type nor its value is looked at.
TEST_P(TimeMarkHint, TakesAnyTimeMarkAsItStands) {
  hint.number(99999999999UL, ASN_INTEGER).name("bb").number(20);
  expectStart("bb 20", true, components("bb", "20"));
}

TEST_P(TimeMarkHint, WithATimeMarkAloneCountsOneComponent) {
  addMark();
  expectFullWalk({needed(1)});
}

// Nothing that a hint holds makes the building of a key or the search for it fail; what traces
// does.
TEST_P(Hint, AKeyThatCannotBeBuiltCostsAFullWalk) {
  addAll("absent", 10);
  std::vector<Traced> traced;
  const TraceCapture levels("Snmp=2");
  Qel::traceSinkIs([&](const Qel::TraceRecord& record) {
    traced.push_back(snmp(record.level, std::string(record.message)));
    if (record.message.ends_with("' not found in table")) throw Qel::RangeException("full");
  });
  Walk walk(table(), *mib);
  EXPECT_NE(walk.first(hint, table().indexes()), nullptr);
  EXPECT_EQ(walk.row(), rowText("a", 10));
  const std::string type = table().hasSequence() ? "AclSnmp::AclRuleTableIndex" : "Snmp::String";
  EXPECT_THAT(traced, testing::Contains(snmp(0, "Bad hint for " + table().name() + ": " + type +
                                                    " ctor threw exception: full")));
  EXPECT_THAT(traced, testing::Contains(snmp(2, first() + " - allocated new loop context " +
                                                    text(walk.loop()) + ", hintMatched=0")));
}

TEST_P(Hint, IsTakenOutBeforeAnythingCanFail) {
  addAll("a", 10);
  const TraceCapture levels("Snmp=2");
  Qel::traceSinkIs([](const Qel::TraceRecord&) { throw std::runtime_error("full"); });
  Walk walk(table(), *mib);
  EXPECT_EQ(walk.first(hint, table().indexes()), nullptr);
  EXPECT_EQ(walk.loop(), nullptr);
}

// Rejected input is said at level 0, what it costs is not.
TEST_P(Hint, RejectionIsTracedWithoutTheRoutineFlow) {
  addMark();
  hint.number(7, ASN_INTEGER);
  const TraceCapture capture("Snmp=0");
  Walk walk(table(), *mib);
  EXPECT_NE(walk.first(hint, table().indexes()), nullptr);
  EXPECT_THAT(capture.traced(),
              testing::ElementsAre(snmp(0, "hint for " + table().nameObject() +
                                               " has incorrect type! Expecting 4 but got 2")));
}

}  // namespace
}  // namespace MibTest
