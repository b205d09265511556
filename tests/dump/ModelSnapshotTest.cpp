#include "dump/ModelSnapshot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Dump {
namespace {

using Acl::AclType;
using Acl::UniqueId;
using Sources::AclSnapshot;
using Sources::entriesOf;
using Sources::RuleCounter;
using Sources::RuleSnapshot;
using Sources::Snapshot;

const Snapshot::Key kPublishedKey(AclType::ipv4, "a");

struct Published : testing::Test {
  AclSnapshot only() const { return snapshotOf(*config, *status).acls.at(kPublishedKey); }

  Qel::Ptr<Acl::Config> config = Qel::make<Acl::Config>("config");
  Qel::Ptr<Acl::Status> status = Qel::make<Acl::Status>("status");
  Qel::Ptr<Acl::AclConfig> acl = Qel::make<Acl::AclConfig>("a", AclType::ipv4);
  Qel::Ptr<Acl::AclSubConfig> version = Qel::make<Acl::AclSubConfig>("a");
};

TEST_F(Published, AnEmptyModelIsAnEmptySnapshot) {
  EXPECT_TRUE(snapshotOf(*config, *status) == Snapshot());
}

TEST_F(Published, AnAclWithoutVersionOrStatusHasNothingButItsFlag) {
  acl->readonlyIs(true);
  config->typeConfig(AclType::ipv4)->aclIs(acl);
  AclSnapshot expected;
  expected.readonly = true;
  EXPECT_TRUE(only() == expected);
  status->statusIs(AclType::ipv4);
  EXPECT_TRUE(only() == expected);
}

TEST_F(Published, ASequenceWhoseRuleIsMissingHasTheRuleThatMatchesAll) {
  version->ruleBySequenceIs(10, UniqueId(1, 2, 3));
  acl->currCfgIs(version);
  config->typeConfig(AclType::ipv4)->aclIs(acl);
  const RuleSnapshot expected{UniqueId(1, 2, 3), Acl::IpRuleConfig(), std::nullopt};
  EXPECT_THAT(only().rules, testing::ElementsAre(testing::Pair(10, expected)));
}

TEST_F(Published, CountersAreThoseOfTheRulesIdentity) {
  const auto aclStatus = Qel::make<Acl::AclStatus>("a");
  aclStatus->ruleStatusIs(UniqueId(1, 2, 3), {7, 50});
  aclStatus->ruleStatusIs(UniqueId(9, 9, 9), {8, 60});
  status->statusIs(AclType::ipv4)->aclIs(aclStatus);
  version->ruleBySequenceIs(10, UniqueId(1, 2, 3));
  version->ruleBySequenceIs(20, UniqueId(20, 0, 0));
  acl->currCfgIs(version);
  config->typeConfig(AclType::ipv4)->aclIs(acl);
  EXPECT_TRUE(only().rules.at(10).counter == (RuleCounter{7, 50}));
  EXPECT_FALSE(only().rules.at(20).counter);
}

TEST_F(Published, ATypeThatWasTakenAwayHasNoAcls) {
  config->typeConfig(AclType::ipv4)->aclIs(acl);
  config->typeConfigDel(AclType::ipv4);
  EXPECT_TRUE(snapshotOf(*config, *status).acls.empty());
}

TEST(Entries, RulesAndRemarksStandTogetherBySequence) {
  AclSnapshot acl;
  acl.rules.emplace(20, RuleSnapshot());
  acl.remarks = {{10, "r"}, {20, "s"}};
  const auto entries = entriesOf(acl);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries.at(10).rule, nullptr);
  EXPECT_EQ(*entries.at(10).remark, "r");
  EXPECT_EQ(entries.at(20).rule, &acl.rules.at(20));
  EXPECT_EQ(*entries.at(20).remark, "s");
}

}  // namespace
}  // namespace Dump
