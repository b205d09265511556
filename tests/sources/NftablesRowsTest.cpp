#include <gmock/gmock.h>

#include <fstream>
#include <stdexcept>

#include "Rulesets.h"
#include "apply/Remark.h"

namespace Sources::Nftables {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;

struct Case {
  std::string name;
  std::string family;
  std::string statements;
  std::vector<std::string> rows;
};

void PrintTo(const Case& c, std::ostream* out) { *out << c.statements; }

/// The cases of nftables-rows.txt, one a line.
std::vector<Case> cases() {
  std::ifstream file(ROWS);
  if (!file) throw std::runtime_error("no " ROWS);
  std::vector<Case> all;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line.front() == '#') continue;
    const size_t open = line.find(" [");
    const size_t close = line.find("] => ");
    if (open > close || close == std::string::npos) throw std::runtime_error("no case: " + line);
    Case& c = all.emplace_back();
    std::istringstream(line) >> c.name >> c.family;
    c.statements = line.substr(open + 2, close - open - 2);
    for (size_t at = close + 5; at <= line.size();) {
      const size_t end = std::min(line.find(" && ", at), line.size());
      c.rows.push_back(line.substr(at, end - at));
      at = end + 4;
    }
  }
  return all;
}

class Rows : public testing::TestWithParam<Case> {};

TEST_P(Rows, ShowOrTellWhatARuleSays) {
  EXPECT_THAT(rowsOf(GetParam().family, GetParam().statements), ElementsAreArray(GetParam().rows));
}

INSTANTIATE_TEST_SUITE_P(Nftables, Rows, testing::ValuesIn(cases()),
                         [](const auto& info) { return info.param.name; });

TEST(NftablesRemark, IsTheComment) {
  EXPECT_THAT(rowsOf("inet", R"({"accept":null})", R"("comment":"web servers",)"),
              ElementsAre("ipv4 permit # web servers", "ipv6 permit # web servers"));
}

TEST(NftablesRemark, HasTheCommentBeforeWhatIsNotShown) {
  EXPECT_THAT(rowsOf("ip", R"({"return":null})", R"("comment":"web",)"),
              ElementsAre("ipv4 permit # web [not shown: return]"));
}

TEST(NftablesRemark, HasQuestionMarksForControlCharacters) {
  Remark remark;
  remark.add("set", "set \x1b[2J");
  EXPECT_EQ(remark.text("a\nb\xc2\x9b"), "a?b? [not shown: set ?[2J]");
}

TEST(NftablesRemark, IsCutAtAWholeCharacter) {
  for (size_t lead = 0; lead < 4; ++lead) {
    std::string comment(lead, 'a');
    while (comment.size() < 200) comment += "\xE2\x82\xAC";  // the euro sign, three octets
    const Ruleset ruleset = read(
        rulesetOf(chainOf("ip") + "," +
                  ruleOf("ip", 1, R"({"accept":null})", R"("comment":")" + comment + R"(",)")));
    const std::string remark = ruleset.chains.at(0).rules.at(0).rows.at(0).remark;
    EXPECT_LE(remark.size(), 127U);
    EXPECT_GT(remark.size(), 124U);
    EXPECT_EQ((remark.size() - lead) % 3, 0U);
    EXPECT_EQ(remark, comment.substr(0, remark.size()));
  }
}

TEST(NftablesRemark, OfALongCommentLeavesRoomForWhatIsNotShown) {
  const auto rows = rowsOf("ip", R"({"jump":{"target":"other"}})",
                           R"("comment":")" + std::string(120, 'x') + R"(",)");
  EXPECT_THAT(rows, ElementsAre(HasSubstr("x [not shown: jump other]")));
}

TEST(NftablesRule, ThatContradictsItselfIsARowOfEachType) {
  const auto rows = rowsOf("inet", matchOf(payload("ip", "saddr"), "==", R"("10.0.0.1")") + "," +
                                       matchOf(payload("ip6", "daddr"), "==", R"("::1")") +
                                       R"(,{"accept":null})");
  EXPECT_EQ(rows.size(), 2U);
}

}  // namespace
}  // namespace Sources::Nftables
