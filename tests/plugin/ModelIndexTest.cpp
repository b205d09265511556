#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "model/AclRuleTableIndex.h"
#include "qel/Exception.h"

namespace {

using AclSnmp::AclRuleTableIndex;
using testing::HasSubstr;
using testing::ThrowsMessage;

constexpr uint32_t kMax = std::numeric_limits<uint32_t>::max();

AclRuleTableIndex parsed(std::string_view text) {
  auto current = text.begin();
  AclRuleTableIndex index(current, text.end());
  EXPECT_EQ(current, text.end());
  return index;
}

TEST(AclRuleTableIndex, StartsWithTheEmptyNameAndZero) {
  const AclRuleTableIndex index;
  EXPECT_EQ(index.aclName(), Snmp::String(""));
  EXPECT_EQ(index.seqId(), 0U);
}

TEST(AclRuleTableIndex, NotIsTrueForTheDefaultValueOnly) {
  EXPECT_TRUE(!AclRuleTableIndex());
  EXPECT_TRUE(!AclRuleTableIndex("", 0));
  EXPECT_FALSE(!AclRuleTableIndex("", 1));
  EXPECT_FALSE(!AclRuleTableIndex("x", 0));
  EXPECT_FALSE(!AclRuleTableIndex("x", 1));
}

TEST(AclRuleTableIndex, OrdersByNameAndThenByUnsignedNumber) {
  // In ascending order; names order by length first, then by unsigned octets.
  const std::vector<AclRuleTableIndex> ascending = {
      {"", 0},     {"", kMax},        {"a", 0},           {"a", 1},    {"a", 10},
      {"a", 20},   {"a", 2147483647}, {"a", 2147483648U}, {"a", kMax}, {"b", 1},
      {"\xff", 5}, {"aa", 0},         {"ab", 0},          {"b\x80", 0}};
  for (size_t i = 0; i < ascending.size(); ++i) {
    for (size_t j = 0; j < ascending.size(); ++j) {
      const AclRuleTableIndex& a = ascending[i];
      const AclRuleTableIndex& b = ascending[j];
      SCOPED_TRACE(valueToStrep(a) + " " + valueToStrep(b));
      EXPECT_EQ(a < b, i < j);
      EXPECT_EQ(a <= b, i <= j);
      EXPECT_EQ(a > b, i > j);
      EXPECT_EQ(a >= b, i >= j);
      EXPECT_EQ(a == b, i == j);
      EXPECT_EQ(a != b, i != j);
    }
  }
}

TEST(AclRuleTableIndex, OrderOfNamesIsThatOfTheStringType) {
  const std::vector<Snmp::String> names = {"", "b", "a", "B", "ab", "zz", "abc"};
  for (const Snmp::String& a : names) {
    for (const Snmp::String& b : names) {
      if (a == b) continue;
      EXPECT_EQ(AclRuleTableIndex(a, kMax) < AclRuleTableIndex(b, 0), a < b) << a << " " << b;
    }
  }
}

struct StringForm {
  AclRuleTableIndex index;
  std::string text;
};

std::vector<StringForm> stringForms() {
  return {
      {{"acl1", 10}, "Value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'acl1', 'seqId': 10})"},
      {{}, "Value('AclSnmp::AclRuleTableIndex', ** {'aclName': '', 'seqId': 0})"},
      {{"x", kMax},
       "Value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'x', 'seqId': 4294967295})"},
      {{"it's', 'seqId': 3})", 7},
       "Value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'it\\'s\\', \\'seqId\\': 3})', "
       "'seqId': 7})"},
      {{Snmp::String(Qel::String8(std::string_view("a\0\\\xff", 4))), 1},
       "Value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'a\\x00\\\\\\xff', 'seqId': 1})"}};
}

TEST(AclRuleTableIndex, WritesItsStringForm) {
  for (const StringForm& c : stringForms()) EXPECT_EQ(valueToStrep(c.index), c.text);
}

TEST(AclRuleTableIndex, StreamsItsStringForm) {
  for (const StringForm& c : stringForms()) {
    std::ostringstream out;
    out << c.index;
    EXPECT_EQ(out.str(), c.text);
  }
}

TEST(AclRuleTableIndex, ReadsItsStringForm) {
  for (const StringForm& c : stringForms()) EXPECT_EQ(parsed(c.text), c.index) << c.text;
}

TEST(AclRuleTableIndex, ReadingStopsJustPastTheEnd) {
  const std::string text = valueToStrep(AclRuleTableIndex("acl1", 10)) + "})x";
  const std::string_view view(text);
  auto current = view.begin();
  EXPECT_EQ(AclRuleTableIndex(current, view.end()), AclRuleTableIndex("acl1", 10));
  EXPECT_EQ(std::string_view(current, view.end()), "})x");
}

TEST(AclRuleTableIndex, RefusesTextThatDiffersFromTheForm) {
  const std::vector<std::string> bad = {
      "",
      "value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'acl1', 'seqId': 10})",
      "Value('AclSnmp::AclRuleTableIndex', ** {'aclname': 'acl1', 'seqId': 10})",
      "Value('AclSnmp::AclRuleTableIndex', ** {'seqId': 10, 'aclName': 'acl1'})",
      "Value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'acl1' , 'seqId': 10})",
      "Value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'acl1', 'seqId':10})",
      "Value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'acl1', 'seqId': ten})",
      "Value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'acl1', 'seqId': -1})",
      "Value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'acl1', 'seqId': })",
      "Value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'acl1', 'seqId': 10",
      "Value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'acl1', 'seqId': 10}",
      " Value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'acl1', 'seqId': 10})"};
  for (const std::string& text : bad) {
    EXPECT_THROW(parsed(text), Qel::SyntaxException) << text;
  }
}

TEST(AclRuleTableIndex, EveryShorterTextIsRefused) {
  const std::string text = valueToStrep(AclRuleTableIndex("acl1", 10));
  for (size_t length = 0; length < text.size(); ++length) {
    EXPECT_THROW(parsed(text.substr(0, length)), Qel::Exception) << length;
  }
}

TEST(AclRuleTableIndex, ABadNameIsARangeErrorThatNamesTheAttribute) {
  EXPECT_THAT(
      [] { parsed("Value('AclSnmp::AclRuleTableIndex', ** {'aclName': acl1, 'seqId': 10})"); },
      ThrowsMessage<Qel::RangeException>(HasSubstr("'aclName'")));
  EXPECT_THAT([] { parsed("Value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'acl1"); },
              ThrowsMessage<Qel::RangeException>(HasSubstr("'aclName'")));
}

TEST(AclRuleTableIndex, ABadNumberNamesTheAttribute) {
  EXPECT_THAT(
      [] { parsed("Value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'a', 'seqId': x})"); },
      ThrowsMessage<Qel::SyntaxException>(HasSubstr("'seqId'")));
  EXPECT_THAT(
      [] {
        parsed("Value('AclSnmp::AclRuleTableIndex', ** {'aclName': 'a', 'seqId': 4294967296})");
      },
      ThrowsMessage<Qel::RangeException>(HasSubstr("'seqId'")));
}

}  // namespace
