#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "snmp/String.h"

namespace {

using testing::ThrowsMessage;
using namespace std::string_view_literals;

Snmp::String text(std::string_view octets) { return Snmp::String(Qel::String8(octets)); }

TEST(SnmpString, ShorterOnesComeFirstAndEqualLengthsOrderByUnsignedOctets) {
  const std::vector<std::string_view> ordered = {
      ""sv,     "\0"sv,   "\x01"sv,     "B"sv,      "a"sv,      "b"sv,
      "\x7f"sv, "\x80"sv, "\xff"sv,     "\0\0"sv,   "\0\x01"sv, "\x01\0"sv,
      "aa"sv,   "zz"sv,   "\xff\xff"sv, "\0\0\0"sv, "abc"sv};
  for (size_t i = 0; i < ordered.size(); ++i) {
    for (size_t j = 0; j < ordered.size(); ++j) {
      EXPECT_EQ(text(ordered[i]) < text(ordered[j]), i < j) << i << " " << j;
      EXPECT_EQ(text(ordered[i]) == text(ordered[j]), i == j) << i << " " << j;
      EXPECT_EQ(text(ordered[i]) > text(ordered[j]), i > j) << i << " " << j;
    }
  }
}

TEST(SnmpString, IsMadeOfTextsAndNames) {
  EXPECT_EQ(Snmp::String("a"), text("a"));
  EXPECT_EQ(Snmp::String(Qel::Name("a")), text("a"));
  EXPECT_TRUE(Snmp::String().empty());
  EXPECT_EQ(text("a\0b"sv).size(), 3U);
  EXPECT_EQ(text("a\0b"sv).string8().view(), "a\0b"sv);
  std::ostringstream out;
  out << text("a\0b"sv);
  EXPECT_EQ(out.str(), "a\0b"sv);
  EXPECT_EQ(Snmp::String::kMaxIndexLength, 255U);
}

TEST(SnmpString, RoundTripsThroughItsTextForm) {
  std::string all;
  for (int octet = 0; octet < 256; ++octet) all += static_cast<char>(octet);
  for (const std::string_view octets :
       {""sv, "a"sv, "it's"sv, "\\"sv, "a\0b"sv, std::string_view(all)}) {
    const std::string strep = valueToStrep(text(octets)) + ",";
    const std::string_view view(strep);
    Qel::StrepIterator current = view.begin();
    EXPECT_EQ(Snmp::String(current, view.end()), text(octets));
    EXPECT_EQ(std::string_view(current, view.end()), ",");
  }
  EXPECT_EQ(valueToStrep(text("it's\n")), R"('it\'s\x0a')");
}

TEST(SnmpString, RefusesATextThatIsNotQuoted) {
  EXPECT_THAT(
      [] {
        const std::string_view view = "abc";
        Qel::StrepIterator current = view.begin();
        const Snmp::String never(current, view.end());
      },
      ThrowsMessage<Qel::RangeException>("expected a quoted string, found 'abc'"));
}

}  // namespace
