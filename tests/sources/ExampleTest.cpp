#include <gtest/gtest.h>

#include "openconfig/FileSource.h"

namespace Sources::OpenConfig {
namespace {

TEST(Example, IsAccepted) {
  EXPECT_EQ(check(EXAMPLES "/acls.json").value_or("accepted"), "accepted");
}

}  // namespace
}  // namespace Sources::OpenConfig
