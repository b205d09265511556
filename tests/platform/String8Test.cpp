#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "qel/String8.h"
#include "support/Collision.h"

namespace {

using Qel::Name;
using Qel::String8;
using namespace std::string_view_literals;

// In ascending order of the unsigned octets.
const std::vector<std::string_view> kOrdered = {
    ""sv,     "\0"sv,       "\0\0"sv, "\0a"sv,    "A"sv,       "B"sv, "a"sv,
    "a\0"sv,  "a\0b"sv,     "aa"sv,   "ab"sv,     "abc"sv,     "b"sv, "\x7f"sv,
    "\x80"sv, "\x80\x01"sv, "\xff"sv, "\xff\0"sv, "\xff\xff"sv};

template <class Text>
class OctetOrder : public testing::Test {};
using Texts = testing::Types<String8, Name>;
TYPED_TEST_SUITE(OctetOrder, Texts);

TYPED_TEST(OctetOrder, EveryPairOrdersByItsUnsignedOctets) {
  for (size_t i = 0; i < kOrdered.size(); ++i) {
    for (size_t j = 0; j < kOrdered.size(); ++j) {
      const TypeParam a{String8(kOrdered[i])};
      const TypeParam b{String8(kOrdered[j])};
      EXPECT_EQ(a < b, i < j) << i << " " << j;
      EXPECT_EQ(a == b, i == j) << i << " " << j;
      EXPECT_EQ(a > b, i > j) << i << " " << j;
    }
  }
}

TYPED_TEST(OctetOrder, EqualTextsHaveOneHash) {
  for (const std::string_view text : kOrdered) {
    EXPECT_EQ(TypeParam{String8(text)}.hash(), TypeParam{String8(std::string(text))}.hash());
  }
  EXPECT_NE(TypeParam("a").hash(), TypeParam("b").hash());
  EXPECT_NE(TypeParam{String8("a\0b"sv)}.hash(), TypeParam{String8("a\0c"sv)}.hash());
}

TYPED_TEST(OctetOrder, TextsOfOneHashAreToldApart) {
  const auto [one, two] = Support::collidingTexts();
  if (one.empty()) GTEST_SKIP() << "no texts of one hash are known for this standard library";
  const TypeParam a{String8(one)};
  const TypeParam b{String8(two)};
  ASSERT_EQ(a.hash(), b.hash());
  EXPECT_NE(a, b);
  EXPECT_EQ(a < b, one < two);
  EXPECT_EQ(b < a, two < one);
}

TEST(String8, NulIsData) {
  const String8 text("a\0b"sv);
  EXPECT_EQ(text.size(), 3U);
  EXPECT_EQ(text.view(), "a\0b"sv);
  EXPECT_EQ(text.str(), std::string("a\0b", 3));
  EXPECT_NE(text, String8("a"));
  std::ostringstream out;
  out << text << Name(text);
  EXPECT_EQ(out.str(), std::string("a\0ba\0b", 6));
}

TEST(String8, EmptyTextsAreAllTheSame) {
  for (const String8& text : {String8(), String8(""), String8(std::string()), String8(""sv)}) {
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(text.size(), 0U);
    EXPECT_EQ(text.view(), "");
    EXPECT_EQ(text.hash(), String8().hash());
    EXPECT_TRUE(text.sharesWith(String8()));
  }
}

TEST(String8, CopiesShareTheOctetsAndEqualTextsNeedNot) {
  const String8 text("shared");
  const String8 copy = text;
  const String8 equal("shared");
  EXPECT_TRUE(copy.sharesWith(text));
  EXPECT_EQ(copy.view().data(), text.view().data());
  EXPECT_FALSE(equal.sharesWith(text));
  EXPECT_EQ(equal, text);
  EXPECT_EQ(equal <=> text, std::strong_ordering::equal);
}

TEST(String8, OctetsOutliveTheTextTheyCameFrom) {
  String8 copy;
  {
    std::string source = "source of some length, on the heap";
    const String8 text(source);
    source.assign(source.size(), 'x');
    copy = text;
  }
  EXPECT_EQ(copy.view(), "source of some length, on the heap");
}

TEST(String8, PlusJoinsAndLeavesItsPartsAlone) {
  const String8 left("a\0"sv);
  const String8 right("b");
  EXPECT_EQ(left + right, String8("a\0b"sv));
  EXPECT_EQ(left + String8(), left);
  EXPECT_EQ(String8() + right, right);
  EXPECT_EQ(left.size(), 2U);
}

TEST(Name, KeepsTheTextItWasMadeOf) {
  const String8 text("ACL-1");
  EXPECT_TRUE(Name(text).string().sharesWith(text));
  EXPECT_EQ(Name(text), Name("ACL-1"));
  EXPECT_TRUE(Name().empty());
  EXPECT_FALSE(Name(text).empty());
}

}  // namespace
