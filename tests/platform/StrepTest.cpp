#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "qel/Exception.h"
#include "qel/Strep.h"

namespace {

using Qel::RangeException;
using Qel::StrepIterator;
using Qel::SyntaxException;
using testing::ThrowsMessage;
using namespace std::string_view_literals;

TEST(ValueToStrep, WritesNumbersThatReadBack) {
  EXPECT_EQ(Qel::valueToStrep(uint32_t{0}), "0");
  EXPECT_EQ(Qel::valueToStrep(std::numeric_limits<uint32_t>::max()), "4294967295");
  for (const double value : {0.0, 0.1, 1.0 / 3, 1e300, -2.5, 12345678.9}) {
    EXPECT_EQ(std::stod(Qel::valueToStrep(value)), value);
  }
  EXPECT_EQ(Qel::valueToStrep(0.1), "0.1");
}

TEST(ValueToStrep, WritesAddressesInHex) {
  EXPECT_EQ(Qel::valueToStrep(static_cast<const void*>(nullptr)), "0x0");
  EXPECT_EQ(Qel::valueToStrep(reinterpret_cast<const void*>(uintptr_t{0xabc12})), "0xabc12");
}

struct Quoted {
  std::string_view octets;
  std::string_view text;
};
const std::vector<Quoted> kQuoted = {
    {""sv, "''"},
    {"plain text ~"sv, "'plain text ~'"},
    {"it's"sv, R"('it\'s')"},
    {"a\\b"sv, R"('a\\b')"},
    {"a\"b"sv, R"('a"b')"},
    {"\0"sv, R"('\x00')"},
    {"\n\x1f\x7f"sv, R"('\x0a\x1f\x7f')"},
    {"\x80\xff"sv, R"('\x80\xff')"},
    {"\\x00"sv, R"('\\x00')"},
};

TEST(QuotedStrep, EscapesQuotesBackslashesAndUnprintableOctets) {
  for (const Quoted& quoted : kQuoted) EXPECT_EQ(Qel::quotedStrep(quoted.octets), quoted.text);
}

TEST(Printable, EscapesUnprintableOctetsOnly) {
  EXPECT_EQ(Qel::printable("a'b\\ ~\x1f\x7f\xff\n"), R"(a'b\ ~\x1f\x7f\xff\x0a)");
}

TEST(ReadQuoted, ReadsWhatQuotedStrepWritesAndStopsBehindIt) {
  for (const Quoted& quoted : kQuoted) {
    const std::string text = std::string(quoted.text) + "'rest";
    std::string_view view(text);
    StrepIterator current = view.begin();
    EXPECT_EQ(Qel::readQuoted(current, view.end()), quoted.octets);
    EXPECT_EQ(std::string_view(current, view.end()), "'rest");
  }
}

TEST(ReadQuoted, RoundTripsEveryOctetAloneAndAllTogether) {
  std::string all;
  for (int octet = 0; octet < 256; ++octet) {
    const std::string one(1, static_cast<char>(octet));
    all += one;
    const std::string text = Qel::quotedStrep(one);
    StrepIterator current = std::string_view(text).begin();
    EXPECT_EQ(Qel::readQuoted(current, std::string_view(text).end()), one) << octet;
    EXPECT_EQ(current, std::string_view(text).end()) << octet;
  }
  const std::string text = Qel::quotedStrep(all);
  StrepIterator current = std::string_view(text).begin();
  EXPECT_EQ(Qel::readQuoted(current, std::string_view(text).end()), all);
}

TEST(ReadQuoted, RefusesWhatQuotedStrepDoesNotWrite) {
  struct Case {
    std::string_view text;
    const char* message;
  };
  const std::vector<Case> cases = {
      {"", "expected a quoted string, found ''"},
      {"abc'", "expected a quoted string, found 'abc\\''"},
      {"\"abc\"", "expected a quoted string, found '\"abc\"'"},
      {"'", "a quoted string is not closed"},
      {"'abc", "a quoted string is not closed"},
      {R"('abc\')", "a quoted string is not closed"},
      {R"('\)", R"(bad escape in a quoted string: '\\')"},
      {R"('\n')", R"(bad escape in a quoted string: '\\n\'')"},
      {R"('\x')", R"(bad escape in a quoted string: '\\x\'')"},
      {R"('\x0')", R"(bad escape in a quoted string: '\\x0\'')"},
      {R"('\x0)", R"(bad escape in a quoted string: '\\x0')"},
      {R"('\x0g')", R"(bad escape in a quoted string: '\\x0g\'')"},
      {R"('\y00')", R"(bad escape in a quoted string: '\\y00\'')"},
      {R"('\xW0')", R"(bad escape in a quoted string: '\\xW0\'')"},
      {R"('\xg1')", R"(bad escape in a quoted string: '\\xg1\'')"},
      {R"('\x00)", "a quoted string is not closed"},
      {R"('\xFF')", R"(bad escape in a quoted string: '\\xFF\'')"},
      {R"('\x41')", R"(bad escape in a quoted string: '\\x41\'')"},
      {"'a\n'"sv, R"(unescaped octet in a quoted string: '\x0a\'')"},
      {"'a\0'"sv, R"(unescaped octet in a quoted string: '\x00\'')"},
      {"'\x7f'"sv, R"(unescaped octet in a quoted string: '\x7f\'')"},
      {"'\x80'"sv, R"(unescaped octet in a quoted string: '\x80\'')"},
  };
  for (const Case& c : cases) {
    EXPECT_THAT(
        [&c] {
          StrepIterator current = c.text.begin();
          Qel::readQuoted(current, c.text.end());
        },
        ThrowsMessage<RangeException>(c.message))
        << c.text;
  }
}

TEST(ReadQuoted, DoesNotLookBehindTheEnd) {
  const std::string_view whole = R"('a\x01\'\\')";
  for (size_t length = 0; length < whole.size(); ++length) {
    StrepIterator current = whole.begin();
    EXPECT_THROW(Qel::readQuoted(current, whole.begin() + length), RangeException) << length;
    EXPECT_LE(current, whole.begin() + length) << length;
  }
}

TEST(ReadQuoted, QuotesAtMostThirtyTwoOctetsOfWhatItFound) {
  const std::string text(40, 'a');
  EXPECT_THAT(
      [&text] {
        StrepIterator current = std::string_view(text).begin();
        Qel::readQuoted(current, std::string_view(text).end());
      },
      ThrowsMessage<RangeException>("expected a quoted string, found '" + std::string(32, 'a') +
                                    "'"));
}

TEST(RequireLiteral, StepsOverTheLiteral) {
  constexpr std::string_view kText = "Key(1)";
  StrepIterator current = kText.begin();
  Qel::requireLiteral(current, kText.end(), "Key(");
  EXPECT_EQ(current - kText.begin(), 4);
  Qel::requireLiteral(current, kText.end(), "");
  EXPECT_EQ(current - kText.begin(), 4);
}

TEST(RequireLiteral, ThrowsAndStaysWhereTheTextDiffers) {
  struct Case {
    std::string_view text;
    const char* message;
  };
  const std::vector<Case> cases = {
      {"", "expected 'Key(', found ''"},
      {"Key", "expected 'Key(', found 'Key'"},
      {"key(1)", "expected 'Key(', found 'key(1)'"},
      {"\n", "expected 'Key(', found '\\x0a'"},
  };
  for (const Case& c : cases) {
    StrepIterator current = c.text.begin();
    EXPECT_THAT([&] { Qel::requireLiteral(current, c.text.end(), "Key("); },
                ThrowsMessage<SyntaxException>(c.message));
    EXPECT_EQ(current, c.text.begin());
  }
}

TEST(ReadU32Attribute, ReadsDigitsAndStopsBehindThem) {
  struct Case {
    std::string_view text;
    uint32_t value;
    std::string_view rest;
  };
  const std::vector<Case> cases = {{"0", 0, ""},
                                   {"1,2", 1, ",2"},
                                   {"007)", 7, ")"},
                                   {"4294967295", 4294967295U, ""},
                                   {"000000000000000000004294967295x", 4294967295U, "x"}};
  for (const Case& c : cases) {
    StrepIterator current = c.text.begin();
    EXPECT_EQ(Qel::readU32Attribute(current, c.text.end(), "n"), c.value) << c.text;
    EXPECT_EQ(std::string_view(current, c.text.end()), c.rest) << c.text;
  }
}

TEST(ReadU32Attribute, DoesNotLookBehindTheEnd) {
  constexpr std::string_view kText = "123";
  StrepIterator current = kText.begin();
  EXPECT_EQ(Qel::readU32Attribute(current, kText.begin() + 2, "n"), 12U);
  EXPECT_EQ(current - kText.begin(), 2);
  EXPECT_THAT(
      [&] { Qel::readU32Attribute(current, current, "n"); },
      ThrowsMessage<SyntaxException>("in attribute 'n': expected an unsigned number, found ''"));
}

TEST(ReadU32Attribute, ThrowsSyntaxWhereNoDigitStands) {
  struct Case {
    std::string_view text;
    const char* message;
  };
  const std::vector<Case> cases = {
      {"", "in attribute 'seq': expected an unsigned number, found ''"},
      {"-1", "in attribute 'seq': expected an unsigned number, found '-1'"},
      {"+1", "in attribute 'seq': expected an unsigned number, found '+1'"},
      {" 1", "in attribute 'seq': expected an unsigned number, found ' 1'"},
      {"x", "in attribute 'seq': expected an unsigned number, found 'x'"},
  };
  for (const Case& c : cases) {
    EXPECT_THAT(
        [&c] {
          StrepIterator current = c.text.begin();
          Qel::readU32Attribute(current, c.text.end(), "seq");
        },
        ThrowsMessage<SyntaxException>(c.message));
  }
}

TEST(ReadU32Attribute, ThrowsRangeAboveThirtyTwoBits) {
  for (const std::string_view text :
       {"4294967296"sv, "18446744073709551616"sv, "99999999999999999999999999999999"sv}) {
    EXPECT_THAT(
        [text] {
          StrepIterator current = text.begin();
          Qel::readU32Attribute(current, text.end(), "seq");
        },
        ThrowsMessage<RangeException>("in attribute 'seq': the number is above 4294967295"));
  }
}

TEST(RethrowInAttribute, NamesTheAttribute) {
  EXPECT_THAT([] { Qel::rethrowInAttribute(RangeException("too big"), "listName"); },
              ThrowsMessage<RangeException>("in attribute 'listName': too big"));
}

}  // namespace
