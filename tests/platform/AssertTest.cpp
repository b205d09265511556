#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "qel/Assert.h"
#include "qel/Trace.h"

namespace Crash {

int evaluated = 0;

constexpr int kExpressionLine = __LINE__ + 1;
void expression(int value) { QEL_ASSERT(++evaluated != 0 && value == 1, "AssertTest"); }
constexpr int kTextLine = __LINE__ + 1;
void text(int value) { QEL_ASSERT_TEXT(value == 1, "ruleSm", "Other unit"); }

}  // namespace Crash

namespace {

using testing::KilledBySignal;
using testing::StrEq;

TEST(AssertDeathTest, WritesTheExpressionTheSourceTheLineAndTheFunction) {
  EXPECT_EXIT(Crash::expression(2), KilledBySignal(SIGABRT),
              StrEq("AssertTest:" + std::to_string(Crash::kExpressionLine) +
                    ": void Crash::expression(int): Assertion "
                    "'++evaluated != 0 && value == 1' failed.\n"));
}

TEST(AssertDeathTest, WritesTheGivenTextInPlaceOfTheExpression) {
  EXPECT_EXIT(Crash::text(0), KilledBySignal(SIGABRT),
              StrEq("Other unit:" + std::to_string(Crash::kTextLine) +
                    ": void Crash::text(int): Assertion 'ruleSm' failed.\n"));
}

TEST(AssertDeathTest, FailsAtAGivenSite) {
  EXPECT_EXIT(Qel::assertionFailed("100%s", {"Unit", 7, "f()"}), KilledBySignal(SIGABRT),
              StrEq("Unit:7: f(): Assertion '100%s' failed.\n"));
}

TEST(AssertDeathTest, EvaluatesItsConditionOnceAndGoesOnWhenItHolds) {
  Crash::evaluated = 0;
  Crash::expression(1);
  Crash::text(1);
  EXPECT_EQ(Crash::evaluated, 1);
}

}  // namespace
