#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "qel/Collection.h"
#include "qel/String8.h"

namespace {

using testing::ElementsAre;
using Numbers = Qel::OrderedCollection<int, std::string>;

Numbers numbers(std::initializer_list<int> keys) {
  Numbers result;
  for (const int key : keys) result.insertOrAssign(key, "v" + std::to_string(key));
  return result;
}

std::vector<int> rest(Numbers::ConstIterator it) {
  std::vector<int> keys;
  for (; it; ++it) keys.push_back(it.key());
  return keys;
}

TEST(OrderedCollection, WalksInKeyOrder) {
  EXPECT_THAT(rest(numbers({3, 1, 2}).begin()), ElementsAre(1, 2, 3));
  EXPECT_TRUE(Numbers().begin().atEnd());
}

TEST(OrderedCollection, AnIteratorOfNoCollectionIsAtEndAndStaysThere) {
  Numbers::ConstIterator it;
  ++it;
  EXPECT_TRUE(it.atEnd());
  EXPECT_FALSE(it);
}

TEST(OrderedCollection, StartAtFindsTheKeyOrTheNextOne) {
  const Numbers collection = numbers({10, 20, 30});
  EXPECT_THAT(rest(collection.startAt(20)), ElementsAre(20, 30));
  EXPECT_THAT(rest(collection.startAt(11)), ElementsAre(20, 30));
  EXPECT_THAT(rest(collection.startAt(-1)), ElementsAre(10, 20, 30));
  EXPECT_TRUE(collection.startAt(31).atEnd());
}

TEST(OrderedCollection, InsertOrAssignSaysWhetherSomethingChanged) {
  Numbers collection;
  EXPECT_TRUE(collection.insertOrAssign(1, "a"));
  EXPECT_FALSE(collection.insertOrAssign(1, "a"));
  EXPECT_TRUE(collection.insertOrAssign(1, "b"));
  EXPECT_EQ(*collection.find(1), "b");
  EXPECT_EQ(collection.size(), 1U);
}

TEST(OrderedCollection, LooksUpByKey) {
  Numbers collection = numbers({2});
  EXPECT_TRUE(collection.contains(2));
  EXPECT_FALSE(collection.contains(1));
  EXPECT_EQ(collection.find(1), nullptr);
  EXPECT_EQ(collection.valueOr(2, "absent"), "v2");
  EXPECT_EQ(collection.valueOr(1, "absent"), "absent");
  EXPECT_EQ(collection.firstKey(), 2);
  *collection.find(2) = "changed";
  EXPECT_EQ(collection.valueOr(2, "absent"), "changed");
}

TEST(OrderedCollection, TakeGivesWhatTheKeyHeld) {
  Numbers collection = numbers({1});
  EXPECT_EQ(collection.take(1), "v1");
  EXPECT_EQ(collection.take(1), std::nullopt);
  EXPECT_TRUE(collection.empty());
}

TEST(OrderedCollection, IteratorFindsItsPlaceAfterAChange) {
  struct Case {
    const char* what;
    void (*change)(Numbers&);
    std::vector<int> onward;  // from the iterator, which stood on 20
  };
  const std::vector<Case> cases = {
      {"its entry erased", [](Numbers& c) { c.erase(20); }, {20, 30, 40}},
      {"the next erased", [](Numbers& c) { c.erase(30); }, {20, 40}},
      {"the one before erased", [](Numbers& c) { c.erase(10); }, {20, 30, 40}},
      {"its own and the next erased", [](Numbers& c) { c.erase(20), c.erase(30); }, {20, 40}},
      {"all erased", [](Numbers& c) { c.erase(10), c.erase(20), c.erase(30), c.erase(40); }, {20}},
      {"one inserted right before", [](Numbers& c) { c.insertOrAssign(19, ""); }, {20, 30, 40}},
      {"one inserted right after", [](Numbers& c) { c.insertOrAssign(21, ""); }, {20, 21, 30, 40}},
      {"one inserted last", [](Numbers& c) { c.insertOrAssign(50, ""); }, {20, 30, 40, 50}},
      {"its entry erased and back",
       [](Numbers& c) { c.erase(20), c.insertOrAssign(20, "new"); },
       {20, 30, 40}},
      {"its value replaced", [](Numbers& c) { c.insertOrAssign(20, "new"); }, {20, 30, 40}},
  };
  for (const Case& test : cases) {
    Numbers collection = numbers({10, 20, 30, 40});
    const auto it = collection.startAt(20);
    test.change(collection);
    EXPECT_EQ(it.value(), "v20") << test.what;
    EXPECT_EQ(rest(it), test.onward) << test.what;
  }
}

TEST(OrderedCollection, IteratorFindsItsPlaceAfterItsEntryIsErased) {
  Numbers collection = numbers({1, 2, 3});
  auto it = collection.begin();
  collection.erase(1);
  EXPECT_EQ(it.key(), 1);
  EXPECT_EQ(it.value(), "v1");
  ++it;
  EXPECT_EQ(it.key(), 2);
  EXPECT_EQ(it.value(), "v2");
}

TEST(OrderedCollection, ErasingEveryEntryDuringTheWalkVisitsEachOnce) {
  Numbers collection = numbers({1, 2, 3, 4, 5});
  std::vector<int> visited;
  for (auto it = collection.begin(); it; ++it) {
    visited.push_back(it.key());
    collection.erase(it.key());
  }
  EXPECT_THAT(visited, ElementsAre(1, 2, 3, 4, 5));
  EXPECT_TRUE(collection.empty());
}

TEST(OrderedCollection, AnIteratorAtEndStaysThereWhenEntriesCome) {
  Numbers collection = numbers({1});
  auto it = collection.begin();
  ++it;
  collection.insertOrAssign(2, "v2");
  ++it;
  EXPECT_TRUE(it.atEnd());
}

TEST(OrderedCollection, FindsTheLastKeyBeforeAPlace) {
  const Numbers collection = numbers({10, 20, 30});
  for (const auto& [place, last] : std::map<int, int>{{9, 0}, {10, 10}, {29, 20}, {99, 30}}) {
    const auto it = collection.lastOf([place = place](int key) { return key <= place; });
    EXPECT_EQ(it ? it.key() : 0, last) << place;
  }
  EXPECT_TRUE(Numbers().lastOf([](int) { return true; }).atEnd());
  auto it = collection.lastOf([](int key) { return key <= 10; });
  ++it;
  EXPECT_EQ(it.key(), 20);
}

TEST(OrderedCollection, AReplacedValueIsSeenWhenTheIteratorGetsThere) {
  Numbers collection = numbers({1, 2});
  auto it = collection.begin();
  collection.insertOrAssign(2, "new");
  ++it;
  EXPECT_EQ(it.value(), "new");
}

// One harness for every ordered collection: seeded random operations against a plain map, with
// iterators that live through all of them.
struct NumberOrder {
  using Key = uint32_t;
  using Less = std::less<>;
  using Collection = Qel::OrderedCollection<Key, int>;
  static Key key(uint32_t n) { return n * 7; }
};
struct NameOrder {
  using Key = Qel::Name;
  using Less = std::less<>;
  using Collection = Qel::OrderedCollection<Key, int>;
  static Key key(uint32_t n) { return Qel::Name(Qel::String8("acl" + std::to_string(n))); }
};
struct HashOrder {
  using Key = Qel::Name;
  using Less = Qel::HashLess;
  using Collection = Qel::HashOrderedCollection<Key, int>;
  static Key key(uint32_t n) { return NameOrder::key(n); }
};

template <class Order>
class RandomOperations : public testing::Test {};
using Orders = testing::Types<NumberOrder, NameOrder, HashOrder>;
TYPED_TEST_SUITE(RandomOperations, Orders);

TYPED_TEST(RandomOperations, AgreeWithAPlainMap) {
  using Key = typename TypeParam::Key;
  constexpr uint32_t kKeys = 40;
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto below = [&random](uint32_t n) { return static_cast<uint32_t>(random() % n); };
    typename TypeParam::Collection collection;
    std::map<Key, int, typename TypeParam::Less> model;
    struct Walker {
      typename TypeParam::Collection::ConstIterator it;
      std::optional<std::pair<Key, int>> expected;
    };
    std::vector<Walker> walkers(8);
    const auto expectAt = [&model](auto position) -> std::optional<std::pair<Key, int>> {
      if (position == model.end()) return std::nullopt;
      return std::pair<Key, int>(*position);
    };

    for (int step = 0; step < 2000; ++step) {
      const Key key = TypeParam::key(below(kKeys));
      Walker& walker = walkers[below(static_cast<uint32_t>(walkers.size()))];
      // The keys up to this one.
      const auto before = [&key](const Key& candidate) {
        return !typename TypeParam::Less()(key, candidate);
      };
      switch (below(7)) {
        case 0:
        case 1: {
          const int value = static_cast<int>(below(3));
          const auto found = model.find(key);
          const bool changes = found == model.end() || found->second != value;
          ASSERT_EQ(collection.insertOrAssign(key, value), changes);
          model[key] = value;
          break;
        }
        case 2:
          ASSERT_EQ(collection.erase(key), model.erase(key) == 1);
          break;
        case 3:
          walker = {collection.startAt(key), expectAt(model.lower_bound(key))};
          break;
        case 4:
          walker = {collection.begin(), expectAt(model.begin())};
          break;
        case 5: {
          const auto after = model.upper_bound(key);
          walker = {collection.lastOf(before),
                    after == model.begin() ? std::nullopt : expectAt(std::prev(after))};
          break;
        }
        default:
          ++walker.it;
          if (walker.expected)
            walker.expected = expectAt(model.upper_bound(walker.expected->first));
          break;
      }
      for (const Walker& w : walkers) {
        ASSERT_EQ(w.it.atEnd(), !w.expected);
        if (!w.expected) continue;
        ASSERT_EQ(w.it.key(), w.expected->first);
        ASSERT_EQ(w.it.value(), w.expected->second);
      }
      ASSERT_EQ(collection.size(), model.size());
      ASSERT_EQ(collection.contains(key), model.contains(key));
    }
    auto it = collection.begin();
    for (const auto& [key, value] : model) {
      ASSERT_TRUE(it);
      ASSERT_EQ(it.key(), key);
      ASSERT_EQ(it.value(), value);
      ++it;
    }
    ASSERT_TRUE(it.atEnd());
  }
}

// A key whose hash is chosen, to make collisions.
struct HashedKey {
  int value;
  size_t chosenHash;
  size_t hash() const { return chosenHash; }
  friend bool operator==(const HashedKey& a, const HashedKey& b) { return a.value == b.value; }
  friend bool operator<(const HashedKey& a, const HashedKey& b) { return a.value < b.value; }
  template <class H>
  friend H AbslHashValue(H state, const HashedKey& key) {
    return H::combine(std::move(state), key.chosenHash);
  }
};

TEST(HashOrderedCollection, OrdersByHashAndThenByKey) {
  Qel::HashOrderedCollection<HashedKey, int> collection;
  for (const HashedKey key : {HashedKey{1, 9}, {2, 5}, {4, 5}, {3, 5}, {5, 0}}) {
    collection.insertOrAssign(key, 0);
  }
  std::vector<int> walked;
  for (auto it = collection.begin(); it; ++it) walked.push_back(it.key().value);
  EXPECT_THAT(walked, ElementsAre(5, 2, 3, 4, 1));
}

TEST(HashOrderedCollection, AnAbsentKeyHasAPlaceToStartAt) {
  Qel::HashOrderedCollection<HashedKey, int> collection;
  collection.insertOrAssign({1, 10}, 0);
  collection.insertOrAssign({3, 20}, 0);
  collection.insertOrAssign({5, 20}, 0);
  struct Case {
    HashedKey start;
    int found;  // 0 is the end
  };
  for (const Case& c : {Case{{7, 5}, 1},
                        {{1, 10}, 1},
                        {{2, 10}, 3},
                        {{9, 15}, 3},
                        {{2, 20}, 3},
                        {{4, 20}, 5},
                        {{6, 20}, 0},
                        {{0, 21}, 0}}) {
    const auto it = collection.startAt(c.start);
    EXPECT_EQ(it ? it.key().value : 0, c.found) << c.start.value << " " << c.start.chosenHash;
  }
}

TEST(HashCollection, AgreesWithAPlainUnorderedMap) {
  std::mt19937 random(11);
  Qel::HashCollection<Qel::Name, int> collection;
  std::unordered_map<std::string, int> model;
  for (int step = 0; step < 20000; ++step) {
    const std::string text = std::to_string(random() % 100);
    const Qel::Name key{Qel::String8(text)};
    if (random() % 2 == 0) {
      const int value = static_cast<int>(random() % 3);
      const bool changes = !model.contains(text) || model[text] != value;
      ASSERT_EQ(collection.insertOrAssign(key, value), changes);
      model[text] = value;
    } else {
      ASSERT_EQ(collection.erase(key), model.erase(text) == 1);
    }
    ASSERT_EQ(collection.size(), model.size());
    ASSERT_EQ(collection.empty(), model.empty());
    ASSERT_EQ(collection.contains(key), model.contains(text));
    ASSERT_EQ(collection.valueOr(key, -1), model.contains(text) ? model[text] : -1);
  }
  ASSERT_FALSE(model.empty());
  EXPECT_EQ(collection.begin()->first, collection.firstKey());
  std::unordered_map<std::string, int> walked;
  for (const auto& [key, value] : collection) walked[key.string().str()] = value;
  EXPECT_EQ(walked, model);
}

TEST(HashCollection, KeepsKeysOfOneHashApart) {
  Qel::HashCollection<HashedKey, int> collection;
  collection.insertOrAssign({1, 7}, 10);
  collection.insertOrAssign({2, 7}, 20);
  EXPECT_EQ(*collection.find({1, 7}), 10);
  EXPECT_EQ(*collection.find({2, 7}), 20);
  EXPECT_EQ(collection.find({3, 7}), nullptr);
  EXPECT_TRUE(collection.erase({1, 7}));
  EXPECT_EQ(collection.find({1, 7}), nullptr);
  EXPECT_EQ(*collection.find({2, 7}), 20);
}

}  // namespace
