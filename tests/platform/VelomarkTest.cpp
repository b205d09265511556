#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "velomark/Velomark.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Velomark::Block;

class VelomarkRing : public testing::Test {
 protected:
  VelomarkRing() { Velomark::recordsDel(); }
  ~VelomarkRing() override { Velomark::levelIs(1); }

  static std::vector<std::string> texts() {
    std::vector<std::string> result;
    for (const auto& record : Velomark::records()) result.emplace_back(record.text);
    return result;
  }
};

TEST_F(VelomarkRing, KeepsBlocksInTheOrderInWhichTheyEnded) {
  {
    const Block outer(1, "outer");
    { const Block first(1, "first"); }
    EXPECT_THAT(texts(), ElementsAre("first"));
    { const Block second(0, "second"); }
  }
  EXPECT_THAT(texts(), ElementsAre("first", "second", "outer"));
}

TEST_F(VelomarkRing, ARecordSpansItsBlock) {
  const auto before = std::chrono::steady_clock::now();
  {
    const Block outer(1, "outer");
    const Block inner(0, "inner");
  }
  const auto after = std::chrono::steady_clock::now();
  const auto records = Velomark::records();
  ASSERT_EQ(records.size(), 2U);
  const auto& inner = records[0];
  const auto& outer = records[1];
  EXPECT_EQ(inner.level, 0);
  EXPECT_EQ(outer.level, 1);
  EXPECT_LE(before, outer.start);
  EXPECT_LE(outer.start, inner.start);
  EXPECT_LE(inner.start + inner.duration, outer.start + outer.duration);
  EXPECT_LE(outer.start + outer.duration, after);
  EXPECT_LE(inner.duration, outer.duration);
}

TEST_F(VelomarkRing, BlocksAboveTheLevelAreNotRecorded) {
  EXPECT_EQ(Velomark::level(), 1);
  { const Block off(2, "off"); }
  EXPECT_THAT(texts(), IsEmpty());
  Velomark::levelIs(2);
  EXPECT_EQ(Velomark::level(), 2);
  { const Block on(2, "on"); }
  Velomark::levelIs(-1);
  { const Block off(0, "off"); }
  EXPECT_THAT(texts(), ElementsAre("on"));
}

TEST_F(VelomarkRing, TheLevelAtTheStartOfABlockCounts) {
  {
    const Block off(2, "off");
    const Block on(1, "on");
    Velomark::levelIs(2);
  }
  {
    const Block on(2, "still on");
    Velomark::levelIs(0);
  }
  EXPECT_THAT(texts(), ElementsAre("on", "still on"));
}

TEST_F(VelomarkRing, WrapsAndKeepsTheLatest) {
  std::vector<std::string> names;
  for (size_t i = 0; i < Velomark::kRingSize + 5; ++i) names.push_back(std::to_string(i));
  for (size_t i = 0; i < names.size(); ++i) {
    { const Block block(1, names[i].c_str()); }
    const size_t kept = std::min(i + 1, Velomark::kRingSize);
    if (kept + 2 < Velomark::kRingSize) continue;
    EXPECT_EQ(texts(), std::vector<std::string>(names.begin() + static_cast<long>(i + 1 - kept),
                                                names.begin() + static_cast<long>(i + 1)));
  }
  Velomark::recordsDel();
  EXPECT_THAT(texts(), IsEmpty());
  { const Block block(1, "again"); }
  EXPECT_THAT(texts(), ElementsAre("again"));
  Velomark::recordsDel();
}

}  // namespace
