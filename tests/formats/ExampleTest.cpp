#include <gtest/gtest.h>

#include <fstream>

#include "openconfig/Document.h"

namespace OpenConfig {
namespace {

TEST(Example, IsAccepted) {
  std::ifstream file(EXAMPLES "/acls.json");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const auto parsed = parseFile(text, "acls.json");
  const auto* refusal = std::get_if<std::string>(&parsed);
  EXPECT_EQ(refusal == nullptr ? "" : *refusal, "");
}

}  // namespace
}  // namespace OpenConfig
