#include "apply/Numbering.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

namespace Sources {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A chain as a list of rules; each is a handle, and its digest the handle's unless another is
/// given.
class ChainNumbers {
 public:
  std::vector<uint32_t> next(const std::vector<uint64_t>& handles) {
    std::vector<NumberedRule> rules;
    for (const uint64_t handle : handles) rules.push_back({handle, handle + 1000, 0});
    return nextOf(rules);
  }
  std::vector<uint32_t> nextOf(std::vector<NumberedRule> rules) {
    kept_ = numberRules(before_, rules);
    before_ = std::move(rules);
    std::vector<uint32_t> sequences;
    for (const NumberedRule& rule : before_) sequences.push_back(rule.sequence);
    return sequences;
  }
  bool kept() const { return kept_; }

 private:
  std::vector<NumberedRule> before_;
  bool kept_ = true;
};

TEST(Numbering, LeavesGaps) {
  ChainNumbers chain;
  EXPECT_THAT(chain.next({1, 2, 3}), ElementsAre(10, 20, 30));
  EXPECT_THAT(chain.next({}), IsEmpty());
}

TEST(Numbering, PutsARuleInTheMiddleOfItsNeighbours) {
  ChainNumbers chain;
  chain.next({1, 2, 3});
  EXPECT_THAT(chain.next({1, 4, 2, 3}), ElementsAre(10, 15, 20, 30));
  EXPECT_THAT(chain.next({5, 1, 4, 2, 3}), ElementsAre(5, 10, 15, 20, 30));
  EXPECT_THAT(chain.next({5, 1, 4, 6, 7, 2, 3}), ElementsAre(5, 10, 15, 16, 18, 20, 30));
}

TEST(Numbering, PutsARuleAtTheEndOnTheNextTen) {
  ChainNumbers chain;
  chain.next({1, 2});
  EXPECT_THAT(chain.next({1, 3, 2}), ElementsAre(10, 15, 20));
  EXPECT_THAT(chain.next({1, 3, 4}), ElementsAre(10, 15, 20));
  EXPECT_THAT(chain.next({1, 3, 4, 5}), ElementsAre(10, 15, 20, 30));
}

TEST(Numbering, KeepsTheNumbersWhenARuleGoes) {
  ChainNumbers chain;
  chain.next({1, 2, 3});
  EXPECT_THAT(chain.next({1, 3}), ElementsAre(10, 30));
  EXPECT_THAT(chain.next({3}), ElementsAre(30));
  EXPECT_THAT(chain.next({3, 4}), ElementsAre(30, 40));
}

TEST(Numbering, GivesAReplacedRuleTheMiddleAsWell) {
  ChainNumbers chain;
  chain.next({1, 2, 3});
  EXPECT_THAT(chain.next({1, 9, 3}), ElementsAre(10, 20, 30));
}

TEST(Numbering, KnowsRulesAgainByTheirDigestAfterAReload) {
  ChainNumbers chain;
  chain.nextOf({{1, 7, 0}, {2, 8, 0}, {3, 9, 0}});
  EXPECT_THAT(chain.nextOf({{4, 7, 0}, {5, 66, 0}, {6, 8, 0}, {7, 9, 0}}),
              ElementsAre(10, 15, 20, 30));
}

TEST(Numbering, DoesNotTakeAHandleThatIsUsedAnewForTheSameRule) {
  ChainNumbers chain;
  chain.nextOf({{1, 7, 0}, {2, 8, 0}});
  // The same handles, the other way round: one of the two keeps its number.
  EXPECT_THAT(chain.nextOf({{1, 8, 0}, {2, 7, 0}}), ElementsAre(5, 10));
}

TEST(Numbering, NumbersAnewWhenNoNumberIsLeft) {
  ChainNumbers chain;
  chain.next({1, 2});
  std::vector<uint64_t> handles = {1, 2};
  uint64_t next = 3;
  while (chain.kept()) {
    handles.insert(handles.begin() + 1, next++);
    chain.next(handles);
    ASSERT_LT(next, 20U);
  }
  EXPECT_EQ(next, 3U + 4U);
  EXPECT_THAT(chain.next(handles), ElementsAre(10, 20, 30, 40, 50, 60));
  EXPECT_TRUE(chain.kept());
}

TEST(Numbering, StartsAnewBeyondTheLastNumber) {
  std::vector<NumberedRule> before = {{1, 1, 4294967290U}};
  std::vector<NumberedRule> rules = {{1, 1, 0}, {2, 2, 0}};
  EXPECT_FALSE(numberRules(before, rules));
  EXPECT_EQ(rules[0].sequence, 10U);
  EXPECT_EQ(rules[1].sequence, 20U);
}

TEST(Numbering, HoldsUnderRandomChanges) {
  std::mt19937 random(20);
  ChainNumbers chain;
  std::vector<uint64_t> handles;
  std::map<uint64_t, uint32_t> last;
  uint64_t next = 1;
  for (int round = 0; round < 2000; ++round) {
    const size_t at = handles.empty() ? 0 : random() % (handles.size() + 1);
    if (at < handles.size() && random() % 2 == 0) {
      handles.erase(handles.begin() + static_cast<ptrdiff_t>(at));
    } else {
      handles.insert(handles.begin() + static_cast<ptrdiff_t>(at), next++);
    }
    const std::vector<uint32_t> sequences = chain.next(handles);
    ASSERT_TRUE(std::is_sorted(sequences.begin(), sequences.end(), std::less_equal<>()));
    std::map<uint64_t, uint32_t> now;
    for (size_t i = 0; i < handles.size(); ++i) now[handles[i]] = sequences[i];
    if (!sequences.empty()) {
      ASSERT_GT(sequences.front(), 0U);
    }
    for (const auto& [handle, sequence] : now) {
      if (chain.kept() && last.contains(handle)) {
        ASSERT_EQ(last[handle], sequence);
      }
    }
    last = now;
  }
}

}  // namespace
}  // namespace Sources
