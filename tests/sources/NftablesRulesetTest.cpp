#include <gmock/gmock.h>

#include "Rulesets.h"

namespace Sources::Nftables {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kDrop = R"({"drop":null})";

std::string refusal(const std::string& text) {
  const auto result = readRuleset(text);
  const auto* why = std::get_if<std::string>(&result);
  return why == nullptr ? "" : *why;
}

TEST(NftablesRuleset, HasTheChainsInTheirOrderWithTheirRules) {
  const Ruleset ruleset = read(rulesetOf(
      chainOf("inet", "t", "b") + "," + chainOf("inet", "t", "a") + "," +
      ruleOf("inet", 3, kDrop, "", "t", "a") + "," + ruleOf("inet", 2, kDrop, "", "t", "a")));
  ASSERT_EQ(ruleset.chains.size(), 2U);
  EXPECT_EQ(ruleset.chains[0].name, "b");
  EXPECT_THAT(ruleset.chains[0].rules, IsEmpty());
  EXPECT_EQ(ruleset.chains[1].name, "a");
  ASSERT_EQ(ruleset.chains[1].rules.size(), 2U);
  EXPECT_EQ(ruleset.chains[1].rules[0].handle, 3U);
  EXPECT_EQ(ruleset.chains[1].rules[1].handle, 2U);
}

TEST(NftablesRuleset, MayBeEmpty) { EXPECT_THAT(read(rulesetOf("")).chains, IsEmpty()); }

TEST(NftablesRuleset, CountsInlineAndByNameAndNotAtAll) {
  const Ruleset ruleset = read(rulesetOf(
      R"({"counter":{"family":"ip","name":"web","table":"t","handle":1,"packets":7,"bytes":1}},)" +
      chainOf("ip") + "," +
      ruleOf("ip", 1, R"({"counter":{"packets":18446744073709551615,"bytes":0}})") + "," +
      ruleOf("ip", 2, R"({"counter":"web"})") + "," + ruleOf("ip", 3, R"({"counter":"gone"})") +
      "," + ruleOf("ip", 4, kDrop)));
  const Chain& chain = ruleset.chains.at(0);
  EXPECT_EQ(ruleset.packets(chain, chain.rules[0]), 18446744073709551615U);
  EXPECT_EQ(ruleset.packets(chain, chain.rules[1]), 7U);
  EXPECT_EQ(ruleset.packets(chain, chain.rules[2]), std::nullopt);
  EXPECT_EQ(ruleset.packets(chain, chain.rules[3]), std::nullopt);
}

uint64_t digestOf(const std::string& statements, const std::string& more = "",
                  uint64_t handle = 1) {
  return read(rulesetOf(chainOf("ip") + "," + ruleOf("ip", handle, statements, more)))
      .chains.at(0)
      .rules.at(0)
      .digest;
}

TEST(NftablesDigest, IsThatOfWhatTheRuleSaysNotOfWhatItCounts) {
  const std::string counter = R"({"counter":{"packets":1,"bytes":60}},)";
  const uint64_t digest = digestOf(counter + kDrop);
  EXPECT_EQ(digestOf(R"({"counter":{"packets":900,"bytes":1}},)" + kDrop), digest);
  EXPECT_EQ(digestOf(counter + kDrop, "", 77), digest);
  EXPECT_NE(digestOf(kDrop), digest);
  EXPECT_NE(digestOf(kDrop + "," + R"({"counter":{"packets":1,"bytes":60}})"), digest);
  EXPECT_NE(digestOf(counter + R"({"accept":null})"), digest);
  EXPECT_NE(digestOf(counter + kDrop, R"("comment":"x",)"), digest);
}

TEST(NftablesDigest, LeavesOutWhatAQuotaHasUsed) {
  EXPECT_EQ(digestOf(R"({"quota":{"val":5,"val_unit":"mbytes","used":1,"used_unit":"bytes"}})"),
            digestOf(R"({"quota":{"val":5,"val_unit":"mbytes"}})"));
}

TEST(NftablesRuleset, NamesTheKindsThatAreOnlyTold) {
  const Ruleset ruleset =
      read(rulesetOf(chainOf("ip") + "," +
                     ruleOf("ip", 1,
                            matchOf(R"({"meta":{"key":"iifname"}})", "==", R"("eth0")") + "," +
                                matchOf(R"({"meta":{"key":"iifname"}})", "!=", R"("eth1")") + "," +
                                R"({"jump":{"target":"x"}})")));
  EXPECT_THAT(ruleset.unshown, ElementsAre("jump", "meta iifname"));
}

TEST(NftablesRuleset, RefusesWhatIsNoRuleset) {
  EXPECT_THAT(refusal(""), HasSubstr("no JSON"));
  EXPECT_THAT(refusal("{"), HasSubstr("no JSON"));
  EXPECT_THAT(refusal("\xFF"), HasSubstr("no JSON"));
  EXPECT_THAT(refusal(R"({"nftables":[{"rule":{"comment":")"
                      "\xC3("
                      R"("}}]})"),
              HasSubstr("no JSON"));
  EXPECT_THAT(refusal("[]"), HasSubstr("no ruleset"));
  EXPECT_THAT(refusal("7"), HasSubstr("no ruleset"));
  EXPECT_THAT(refusal(R"({"other":[]})"), HasSubstr("no ruleset"));
  EXPECT_THAT(
      refusal(R"({"nftables":)" + std::string(100000, '[') + std::string(100000, ']') + "}"),
      HasSubstr("too many levels"));
}

TEST(NftablesRuleset, TakesNoHarmFromOddElements) {
  const std::vector<std::string> odd = {
      "5",
      "null",
      "[]",
      R"("rule")",
      "{}",
      R"({"rule":5})",
      R"({"rule":{}})",
      R"({"rule":{"family":"ip"}})",
      R"({"rule":{"family":"decnet","table":"t","chain":"c","expr":[]}})",
      R"({"rule":{"family":"ip","table":"t","chain":"unknown","expr":[]}})",
      R"({"rule":{"family":"ip","table":5,"chain":{},"expr":[]}})",
      R"({"chain":{"family":"ip"}})",
      R"({"chain":[1]})",
      R"({"counter":{"family":"ip","name":"x","table":"t","packets":-1}})",
      R"({"counter":"x"})",
      chainOf("ip"),  // once more
  };
  for (const std::string& element : odd) {
    const Ruleset ruleset =
        read(rulesetOf(chainOf("ip") + "," + element + "," + ruleOf("ip", 1, kDrop)));
    ASSERT_FALSE(ruleset.chains.empty());
    EXPECT_EQ(ruleset.chains[0].rules.size(), 1U) << element;
  }
}

TEST(NftablesRuleset, TakesNoHarmFromOddRules) {
  const std::vector<std::string> odd = {
      "null",
      "5",
      R"("x")",
      "[]",
      "{}",
      R"({"a":1,"b":2})",
      "-5",
      R"({"set":[]})",
      R"({"set":5})",
      R"({"range":[]})",
      R"({"range":[1]})",
      R"({"range":["a",1]})",
      R"({"prefix":{}})",
      R"({"prefix":{"addr":5,"len":"x"}})",
      R"({"&":[]})",
      R"({"&":5})",
      R"({"payload":5})",
      R"({"payload":{"protocol":5}})",
      R"({"|":[{"|":[{"|":[]}]}]})",
      R"({"elem":{}})",
      R"({"set":[{"elem":5}]})",
      R"({"concat":[]})",
      R"({"meta":{}})",
  };
  for (const std::string family : {"ip", "ip6", "inet", "bridge", "netdev", "arp"}) {
    for (const std::string& value : odd) {
      std::string statements = value + R"(,{"match":)" + value + R"(},{"counter":)" + value +
                               R"(},{"jump":)" + value + R"(},{"vmap":)" + value +
                               R"(},{"mangle":)" + value + R"(},{"reject":)" + value + "}";
      for (const std::string& left :
           {payload("ip", "saddr"), payload("ip6", "daddr"), payload("ether", "saddr"),
            payload("tcp", "dport"), payload("tcp", "flags"), payload("ip", "ttl"),
            payload("ip", "frag-off"), payload("icmp", "type"),
            std::string(R"({"ct":{"key":"state"}})"), std::string(R"({"meta":{"key":"l4proto"}})"),
            std::string(R"({"meta":{"key":"nfproto"}})"), payload("ether", "type"), value}) {
        for (const std::string oper : {"==", "!=", "in", "<=", "?"}) {
          statements += "," + matchOf(left, oper, value) + "," +
                        matchOf(R"({"&":[)" + left + "," + value + "]}", oper, value);
        }
      }
      const Ruleset ruleset = read(
          rulesetOf(chainOf(family) + "," + ruleOf(family, 1, statements) + "," +
                    R"({"rule":{"family":")" + family + R"(","table":"t","chain":"c","handle":)" +
                    value + R"(,"comment":)" + value + R"(,"expr":)" + value + "}}"));
      ASSERT_EQ(ruleset.chains.at(0).rules.size(), 2U) << value;
      for (const Rule& rule : ruleset.chains[0].rules) {
        EXPECT_FALSE(rule.rows.empty()) << value;
        for (const Row& row : rule.rows) EXPECT_LE(row.remark.size(), 127U);
      }
    }
  }
}

TEST(NftablesRuleset, TakesNoHarmFromDeepExpressions) {
  std::string left = payload("tcp", "dport");
  std::string right = "1";
  for (int i = 0; i < 80; ++i) {
    left = R"({"&":[)" + left + ",1]}";
    right = R"({"set":[)" + right + "]}";
  }
  const Ruleset ruleset =
      read(rulesetOf(chainOf("ip") + "," + ruleOf("ip", 1, matchOf(left, "==", right))));
  EXPECT_EQ(ruleset.chains.at(0).rules.size(), 1U);
}

}  // namespace
}  // namespace Sources::Nftables
