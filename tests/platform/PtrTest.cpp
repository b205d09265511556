#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <unordered_set>
#include <vector>

#include "qel/Ptr.h"

namespace {

using Qel::Ptr;
using testing::ThrowsMessage;

class Probe : public Qel::PtrInterface {
 public:
  explicit Probe(std::atomic<int>& destroyed) : destroyed_(destroyed) {}
  ~Probe() override { ++destroyed_; }

 private:
  std::atomic<int>& destroyed_;
};

class DerivedProbe final : public Probe {
 public:
  using Probe::Probe;
};

class Ptrs : public testing::Test {
 protected:
  std::atomic<int> destroyed_ = 0;
};

TEST_F(Ptrs, EveryHolderCounts) {
  const auto first = Qel::make<Probe>(destroyed_);
  EXPECT_EQ(first->references(), 1U);
  {
    const Ptr<Probe> second = first;
    const Ptr<const Probe> third = second;
    EXPECT_EQ(first->references(), 3U);
  }
  EXPECT_EQ(first->references(), 1U);
}

TEST_F(Ptrs, LastReferenceDestroysOnce) {
  auto first = Qel::make<Probe>(destroyed_);
  auto second = first;
  first = nullptr;
  EXPECT_EQ(destroyed_, 0);
  second = nullptr;
  EXPECT_EQ(destroyed_, 1);
}

TEST_F(Ptrs, MoveLeavesNullAndTheCountAlone) {
  auto first = Qel::make<Probe>(destroyed_);
  const Probe* object = first.get();
  Ptr<Probe> second = std::move(first);
  EXPECT_EQ(first, nullptr);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(second.get(), object);
  Ptr<Probe> third;
  third = std::move(second);
  EXPECT_EQ(second, nullptr);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(third->references(), 1U);
  EXPECT_EQ(destroyed_, 0);
}

TEST_F(Ptrs, MoveAssignmentLetsGoOfTheFormerObject) {
  auto first = Qel::make<Probe>(destroyed_);
  first = Qel::make<Probe>(destroyed_);
  EXPECT_EQ(destroyed_, 1);
}

TEST_F(Ptrs, SelfAssignmentKeepsTheObject) {
  auto first = Qel::make<Probe>(destroyed_);
  Ptr<Probe>& same = first;
  first = same;
  EXPECT_EQ(first->references(), 1U);
  first = std::move(same);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->references(), 1U);
  EXPECT_EQ(destroyed_, 0);
}

TEST_F(Ptrs, AssignmentFromAMemberOfTheHeldObjectIsSafe) {
  struct Node : Qel::PtrInterface {
    Ptr<Node> next;
  };
  auto head = Qel::make<Node>();
  head->next = Qel::make<Node>();
  const Node* second = head->next.get();
  head = head->next;
  EXPECT_EQ(head.get(), second);
  EXPECT_EQ(head->references(), 1U);
}

TEST_F(Ptrs, EqualityAndHashAreThoseOfTheObject) {
  const auto first = Qel::make<Probe>(destroyed_);
  const auto other = Qel::make<Probe>(destroyed_);
  const Ptr<const Probe> same = first;
  EXPECT_TRUE(first == same);
  EXPECT_FALSE(first == other);
  EXPECT_TRUE(Ptr<Probe>() == nullptr);
  EXPECT_FALSE(first == nullptr);
  EXPECT_TRUE(first);
  EXPECT_FALSE(Ptr<Probe>());
  const std::unordered_set<Ptr<Probe>> set = {first, other, first};
  EXPECT_EQ(set.size(), 2U);
}

TEST_F(Ptrs, CastGivesTheSameObjectOrNull) {
  const Ptr<Probe> derived = Qel::make<DerivedProbe>(destroyed_);
  const Ptr<Probe> base = Qel::make<Probe>(destroyed_);
  EXPECT_EQ(Qel::ptrCast<DerivedProbe>(derived), derived);
  EXPECT_EQ(Qel::ptrCast<DerivedProbe>(base), nullptr);
  EXPECT_EQ(Qel::ptrCast<DerivedProbe>(Ptr<Probe>()), nullptr);
  EXPECT_EQ(derived->references(), 1U);
}

TEST_F(Ptrs, ValidPtrRefusesNull) {
  const auto object = Qel::make<Probe>(destroyed_);
  EXPECT_EQ(&Qel::validPtr(object), &object);
  EXPECT_THAT([] { Qel::validPtr(Ptr<Probe>()); },
              ThrowsMessage<Qel::RangeException>("null ValidPtr"));
}

struct NoMemory : Qel::PtrInterface {
  static void* operator new(size_t) { throw std::bad_alloc(); }
  static void* operator new(size_t, const std::nothrow_t&) noexcept { return nullptr; }
  static void operator delete(void*) {}
};

TEST(Make, GivesNullWithoutMemory) { EXPECT_EQ(Qel::make<NoMemory>(), nullptr); }

struct Throwing : Qel::PtrInterface {
  Throwing() { throw Qel::RangeException("from the constructor"); }
};

TEST(Make, PassesTheConstructorsException) {
  EXPECT_THAT([] { Qel::make<Throwing>(); },
              ThrowsMessage<Qel::RangeException>("from the constructor"));
}

struct SelfReferring : Qel::PtrInterface {
  SelfReferring(int& zero, int& gone) : zero(zero), gone(gone) {}
  ~SelfReferring() override {
    takeAndRelease();
    ++gone;
  }
  void zeroReferencesIs() override {
    ++zero;
    takeAndRelease();
    PtrInterface::zeroReferencesIs();
  }
  void takeAndRelease() {
    Ptr<SelfReferring> self(this);
    const Ptr<SelfReferring> other = self;
    self = nullptr;
  }
  int& zero;
  int& gone;
};

TEST(PtrInterface, ReferencesTakenDuringDestructionDoNotDestroyTwice) {
  int zero = 0;
  int gone = 0;
  { const auto object = Qel::make<SelfReferring>(zero, gone); }
  EXPECT_EQ(zero, 1);
  EXPECT_EQ(gone, 1);
}

class ThreadSafePtrs : public Ptrs {
 protected:
  ThreadSafePtrs() { Qel::threadSafePointersIs(true); }
  ~ThreadSafePtrs() override { Qel::threadSafePointersIs(false); }
};

TEST_F(ThreadSafePtrs, TheSwitchIsOffAtStartAndReadable) {
  EXPECT_TRUE(Qel::threadSafePointers());
  Qel::threadSafePointersIs(false);
  EXPECT_FALSE(Qel::threadSafePointers());
}

TEST_F(ThreadSafePtrs, NoCountIsLostBetweenThreads) {
  const auto object = Qel::make<Probe>(destroyed_);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([object] {
      for (int i = 0; i < 50000; ++i) {
        const Ptr<Probe> copy = object;
        ASSERT_GE(copy->references(), 2U);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  threads.clear();
  EXPECT_EQ(object->references(), 1U);
  EXPECT_EQ(destroyed_, 0);
}

TEST_F(ThreadSafePtrs, WhicheverThreadLetsGoLastDestroysOnce) {
  constexpr int kObjects = 20000;
  std::vector<Ptr<Probe>> mine;
  for (int i = 0; i < kObjects; ++i) mine.push_back(Qel::make<Probe>(destroyed_));
  std::vector<Ptr<Probe>> others = mine;
  std::thread thread([&others] {
    for (Ptr<Probe>& object : others) object = nullptr;
  });
  for (Ptr<Probe>& object : mine) object = nullptr;
  thread.join();
  EXPECT_EQ(destroyed_, kObjects);
}

}  // namespace
