#include "nftables/Publication.h"

#include <gmock/gmock.h>

#include "Rulesets.h"

namespace Sources::Nftables {
namespace {

using Acl::AclType;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

std::string counted(uint64_t packets, const std::string& more = R"(,{"accept":null})") {
  return R"({"counter":{"packets":)" + std::to_string(packets) + R"(,"bytes":0}})" + more;
}

class NftablesPublication : public testing::Test {
 protected:
  Update next(const std::string& elements) { return publication_.next(read(rulesetOf(elements))); }
  static Snapshot snapshotOf(Update update) {
    if (auto* snapshot = std::get_if<Snapshot>(&update.content)) return std::move(*snapshot);
    ADD_FAILURE() << "no snapshot";
    return {};
  }
  static CounterChanges changesOf(Update update) {
    if (auto* changes = std::get_if<CounterChanges>(&update.content)) return std::move(*changes);
    ADD_FAILURE() << "a snapshot";
    return {};
  }
  static std::vector<std::string> namesOf(const Snapshot& snapshot) {
    std::vector<std::string> names;
    for (const auto& [key, acl] : snapshot.acls) {
      names.push_back(std::string(Acl::stringValue(key.first)) + " " + key.second);
    }
    return names;
  }
  static std::vector<std::string> linesOf(const Update& update) {
    std::vector<std::string> lines;
    for (const auto& [severity, line] : update.lines) lines.push_back(line);
    return lines;
  }

  Publication publication_;
};

TEST_F(NftablesPublication, MakesAclsOfChains) {
  const Snapshot snapshot =
      snapshotOf(next(chainOf("ip", "a", "x") + "," + chainOf("ip6", "a", "x") + "," +
                      chainOf("inet", "b", "x") + "," + chainOf("bridge", "c", "x") + "," +
                      chainOf("netdev", "d", "x") + "," + chainOf("arp", "e", "x")));
  EXPECT_THAT(namesOf(snapshot), ElementsAre("ipv4 a/x", "ipv4 b/x", "ipv6 a/x", "ipv6 b/x",
                                             "mac c/x", "mac d/x", "mac e/x"));
  EXPECT_TRUE(snapshot.dataPlane.acl);
  EXPECT_TRUE(snapshot.dataPlane.counters);
}

TEST_F(NftablesPublication, NumbersAndNamesTheRulesOfBothFamiliesAlike) {
  const Snapshot snapshot =
      snapshotOf(next(chainOf("inet") + "," +
                      ruleOf("inet", 1, matchOf(payload("ip6", "saddr"), "==", R"("::1")")) + "," +
                      ruleOf("inet", 2, counted(5), R"("comment":"both",)")));
  const AclSnapshot& ipv4 = snapshot.acls.at({AclType::ipv4, "t/c"});
  const AclSnapshot& ipv6 = snapshot.acls.at({AclType::ipv6, "t/c"});
  EXPECT_THAT(ipv4.rules, ElementsAre(Pair(20, testing::_)));
  EXPECT_THAT(ipv6.rules, ElementsAre(Pair(10, testing::_), Pair(20, testing::_)));
  EXPECT_THAT(ipv4.remarks, ElementsAre(Pair(20, "both")));
  EXPECT_EQ(ipv4.rules.at(20).counter->pkts, 5U);
  EXPECT_TRUE(ipv4.rules.at(20).id == ipv6.rules.at(20).id);
  EXPECT_FALSE(ipv4.countersIncomplete);
  EXPECT_TRUE(ipv6.countersIncomplete);
}

TEST_F(NftablesPublication, SaysWhatIsCounted) {
  struct Expectation {
    std::string rules;
    bool enabled;
    bool incomplete;
  };
  const std::string plain = "," + ruleOf("ip", 1, R"({"accept":null})");
  const std::string inlined = "," + ruleOf("ip", 2, counted(0));
  for (const auto& [rules, enabled, incomplete] :
       {Expectation{"", false, false}, Expectation{plain, false, true},
        Expectation{inlined, true, false}, Expectation{plain + inlined, true, true}}) {
    const Snapshot snapshot = snapshotOf(next(chainOf("ip") + rules));
    const AclSnapshot& acl = snapshot.acls.at({AclType::ipv4, "t/c"});
    EXPECT_EQ(acl.countersEnabled, enabled) << rules;
    EXPECT_EQ(acl.countersIncomplete, incomplete) << rules;
  }
}

TEST_F(NftablesPublication, GivesOnlyChangedCountersWhereNothingElseChanged) {
  const auto ruleset = [](uint64_t first, uint64_t second) {
    return chainOf("inet") + "," + ruleOf("inet", 1, counted(first)) + "," +
           ruleOf("inet", 2, counted(second));
  };
  const Snapshot snapshot = snapshotOf(next(ruleset(1, 1)));
  const Acl::UniqueId second = snapshot.acls.at({AclType::ipv4, "t/c"}).rules.at(20).id;
  EXPECT_THAT(changesOf(next(ruleset(1, 1))), IsEmpty());
  const CounterChanges changes = changesOf(next(ruleset(1, 9)));
  EXPECT_THAT(changes, ElementsAre(Pair(Pair(AclType::ipv4, "t/c"), ElementsAre(Pair(second, 9))),
                                   Pair(Pair(AclType::ipv6, "t/c"), ElementsAre(Pair(second, 9)))));
}

TEST_F(NftablesPublication, KeepsIdentityAndNumberOfARuleThatStays) {
  const std::string chain = chainOf("ip") + ",";
  const auto before =
      snapshotOf(next(chain + ruleOf("ip", 1, counted(1)) + "," + ruleOf("ip", 2, counted(2))));
  const auto after = snapshotOf(next(chain + ruleOf("ip", 1, counted(1)) + "," +
                                     ruleOf("ip", 3, counted(0, R"(,{"drop":null})")) + "," +
                                     ruleOf("ip", 2, counted(2))));
  const auto& rulesBefore = before.acls.at({AclType::ipv4, "t/c"}).rules;
  const auto& rulesAfter = after.acls.at({AclType::ipv4, "t/c"}).rules;
  EXPECT_THAT(rulesAfter, SizeIs(3));
  EXPECT_TRUE(rulesAfter.contains(15));
  for (const uint32_t sequence : {10, 20}) {
    EXPECT_TRUE(rulesAfter.at(sequence).id == rulesBefore.at(sequence).id);
  }
}

TEST_F(NftablesPublication, TellsRulesApartThatHaveHadOneHandle) {
  const auto before = snapshotOf(next(chainOf("ip") + "," + ruleOf("ip", 1, counted(1))));
  const auto after =
      snapshotOf(next(chainOf("ip") + "," + ruleOf("ip", 1, counted(0, R"(,{"drop":null})"))));
  EXPECT_FALSE(before.acls.at({AclType::ipv4, "t/c"}).rules.begin()->second.id ==
               after.acls.at({AclType::ipv4, "t/c"}).rules.begin()->second.id);
}

TEST_F(NftablesPublication, CountsResets) {
  const auto ruleset = [](uint64_t packets, uint64_t handle = 1) {
    return chainOf("ip") + "," + ruleOf("ip", handle, counted(packets));
  };
  next(ruleset(5));
  EXPECT_EQ(next(ruleset(5)).resets, 0U);
  const Update lower = next(ruleset(2));
  EXPECT_EQ(lower.resets, 1U);
  EXPECT_EQ(next(ruleset(3)).resets, 0U);
  // Another handle is another rule.
  EXPECT_EQ(next(ruleset(0, 2)).resets, 0U);
}

TEST_F(NftablesPublication, FollowsANamedCounterThatComesAndGoes) {
  const std::string counter = R"({"counter":{"family":"ip","name":"n","table":"t","packets":4}},)";
  const std::string rest = chainOf("ip") + "," + ruleOf("ip", 1, R"({"counter":"n"})");
  const Snapshot::Key key(AclType::ipv4, "t/c");
  EXPECT_FALSE(snapshotOf(next(rest)).acls.at(key).rules.at(10).counter);
  EXPECT_EQ(snapshotOf(next(counter + rest)).acls.at(key).rules.at(10).counter->pkts, 4U);
}

TEST_F(NftablesPublication, PutsTheFamilyInFrontOfANameThatIsTaken) {
  // Whichever came first: the order of families decides.
  const std::string ruleset = chainOf("inet", "filter", "input") + "," +
                              chainOf("ip", "filter", "input") + "," +
                              chainOf("netdev", "l2", "in") + "," + chainOf("bridge", "l2", "in");
  const Update first = next(ruleset);
  EXPECT_THAT(linesOf(first),
              ElementsAre(HasSubstr("inet filter input: published as 'inet filter/input'"),
                          HasSubstr("netdev l2 in: published as 'netdev l2/in'")));
  EXPECT_THAT(namesOf(std::get<Snapshot>(first.content)),
              ElementsAre("ipv4 filter/input", "ipv4 inet filter/input", "ipv6 inet filter/input",
                          "mac l2/in", "mac netdev l2/in"));
  EXPECT_THAT(linesOf(next(ruleset + "," + chainOf("ip", "new", "one"))), IsEmpty());
}

TEST_F(NftablesPublication, LeavesOutWhatHasNoNameLeft) {
  const Update update = next(chainOf("ip", "a/b", "c") + "," + chainOf("ip", "a", "b/c") + "," +
                             chainOf("ip", "a/b", "c"));
  EXPECT_THAT(namesOf(std::get<Snapshot>(update.content)),
              ElementsAre("ipv4 a/b/c", "ipv4 ip a/b/c"));
  EXPECT_THAT(linesOf(update), SizeIs(1));
}

TEST_F(NftablesPublication, SkipsANameWithControlCharactersAndSaysSoWithoutThem) {
  const Update update = next(chainOf("ip", "t", R"(\u001b[2Jc)") + "," + chainOf("ip", "t", "c"));
  EXPECT_THAT(namesOf(std::get<Snapshot>(update.content)), ElementsAre("ipv4 t/c"));
  EXPECT_THAT(linesOf(update),
              ElementsAre(HasSubstr("ip t ?[2Jc: not published: its name has control characters")));
}

TEST_F(NftablesPublication, SkipsANameThatIsTooLongAndSaysSoOnce) {
  const std::string ruleset = chainOf("ip", std::string(50, 't'), std::string(50, 'c')) + "," +
                              chainOf("ip", std::string(50, 't'), std::string(49, 'c'));
  const Update update = next(ruleset);
  EXPECT_THAT(std::get<Snapshot>(update.content).acls, SizeIs(1));
  EXPECT_THAT(linesOf(update), ElementsAre(HasSubstr("more than 100 octets")));
  EXPECT_THAT(linesOf(next(ruleset)), IsEmpty());
}

TEST_F(NftablesPublication, SaysOnceWhatHasNoColumn) {
  const std::string chain = chainOf("ip") + ",";
  EXPECT_THAT(linesOf(next(chain + ruleOf("ip", 1, R"({"return":null})"))),
              ElementsAre("nftables: told in remarks for want of a column: return"));
  EXPECT_THAT(linesOf(next(chain + ruleOf("ip", 1, R"({"return":null})") + "," +
                           ruleOf("ip", 2, R"({"jump":{"target":"x"}})"))),
              ElementsAre("nftables: told in remarks for want of a column: jump"));
}

TEST_F(NftablesPublication, SaysWhenAChainIsNumberedAnew) {
  std::vector<uint64_t> handles = {1, 2};
  std::vector<std::string> lines;
  for (uint64_t handle = 3; lines.empty(); ++handle) {
    ASSERT_LT(handle, 20U);
    std::string ruleset = chainOf("ip");
    for (const uint64_t one : handles) {
      ruleset += "," + ruleOf("ip", one, R"({"accept":null})",
                              R"("comment":"r)" + std::to_string(one) + R"(",)");
    }
    lines = linesOf(next(ruleset));
    handles.insert(handles.begin() + 1, handle);
  }
  EXPECT_THAT(lines, ElementsAre(HasSubstr("ip t c: no sequence number was left")));
}

TEST_F(NftablesPublication, SumsUpWhatIsPublished) {
  EXPECT_EQ(next("").summary, "0 ACLs, 0 rules, 0 remarks");
  EXPECT_EQ(next(chainOf("inet") + "," + ruleOf("inet", 1, R"({"return":null})")).summary,
            "2 ACLs, 2 rules, 2 remarks");
  EXPECT_EQ(next("").summary, "0 ACLs, 0 rules, 0 remarks");
}

}  // namespace
}  // namespace Sources::Nftables
