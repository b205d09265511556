#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "acl/Aggregator.h"
#include "support/TraceCapture.h"

namespace {

using Acl::AclConfig;
using Acl::AclConfigAggregatorSm;
using Acl::AclType;
using Acl::AclTypeConfig;
using Acl::Config;
using Qel::Name;
using Qel::Ptr;
using Support::Traced;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;
using Input = Acl::Input::Config;

class Watcher final : public AclTypeConfig::NotifieeConst {
 public:
  explicit Watcher(const Ptr<const AclTypeConfig>& config) { notifierIs(config); }
  using AclTypeConfig::NotifieeConst::onAcl;
  void onAcl(Name name) override {
    log.push_back((notifier()->acl(name) ? "+" : "-") + name.string().str());
  }
  std::vector<std::string> log;
};

class ConfigAggregator : public testing::Test {
 protected:
  static Ptr<AclConfig> publish(const Ptr<Input>& input, const char* name,
                                AclType type = AclType::ipv4) {
    const auto acl = Qel::make<AclConfig>(name, type);
    input->typeConfig(type)->aclIs(acl);
    return acl;
  }
  static void withdraw(const Ptr<Input>& input, const char* name, AclType type = AclType::ipv4) {
    input->typeConfig(type)->aclDel(name);
  }
  void start() { aggregator_ = Qel::make<AclConfigAggregatorSm>(dir_, cli_, out_); }
  Ptr<const AclConfig> merged(const char* name, AclType type = AclType::ipv4) const {
    return out_->typeConfig(type)->acl(name);
  }
  static Traced refusal(const char* type, const char* acl, const char* input, const char* owner) {
    return {"AclConfig", 0,
            std::string("refused ") + type + " ACL '" + acl + "' of input '" + input +
                "': input '" + owner + "' has an ACL of this type and name already"};
  }

  Support::TraceCapture traces_{"AclConfig=0"};
  Ptr<Qel::Dir> dir_ = Qel::make<Qel::Dir>("input");
  Ptr<Input> cli_ = Qel::make<Input>("cli");
  Ptr<Input> one_ = Qel::make<Input>("one");
  Ptr<Input> two_ = Qel::make<Input>("two");
  Ptr<Config> out_ = Qel::make<Config>("config");
  Ptr<AclConfigAggregatorSm> aggregator_;
};

TEST_F(ConfigAggregator, NullArgumentsAreRefused) {
  const auto expectRefused = [](const Ptr<Qel::Dir>& dir, const Ptr<Input>& cli,
                                const Ptr<Config>& out) {
    EXPECT_THAT([&] { Qel::make<AclConfigAggregatorSm>(dir, cli, out); },
                ThrowsMessage<Qel::RangeException>("null ValidPtr"));
  };
  expectRefused(nullptr, cli_, out_);
  expectRefused(dir_, nullptr, out_);
  expectRefused(dir_, cli_, nullptr);
  EXPECT_TRUE(dir_->notifieeList().empty());
}

TEST_F(ConfigAggregator, MergesAtOnceWhatIsThere) {
  dir_->entityIs(one_);
  const auto fromCli = publish(cli_, "a");
  const auto fromOne = publish(one_, "b", AclType::mac);
  start();
  EXPECT_EQ(merged("a"), fromCli);
  EXPECT_EQ(merged("b", AclType::mac), fromOne);
  EXPECT_EQ(aggregator_->inputDir(), dir_);
  EXPECT_EQ(aggregator_->cliInput(), cli_);
  EXPECT_EQ(aggregator_->configOut(), out_);
  EXPECT_THAT(traces_.traced(), IsEmpty());
}

TEST_F(ConfigAggregator, FollowsEveryInputAndTypeAndSharesTheObjects) {
  start();
  dir_->entityIs(one_);
  for (const AclType type : Acl::kAclTypes) {
    for (const auto& input : {cli_, one_}) {
      const auto acl = publish(input, input->name().string().str().c_str(), type);
      EXPECT_EQ(out_->typeConfig(type)->acl(acl->name()), acl);
      input->typeConfig(type)->aclDel(acl->name());
      EXPECT_EQ(out_->typeConfig(type)->acl(acl->name()), nullptr);
    }
  }
}

TEST_F(ConfigAggregator, OneNameInTwoTypesIsNoConflict) {
  dir_->entityIs(one_);
  start();
  const auto ip = publish(cli_, "a", AclType::ipv4);
  const auto mac = publish(one_, "a", AclType::mac);
  EXPECT_EQ(merged("a", AclType::ipv4), ip);
  EXPECT_EQ(merged("a", AclType::mac), mac);
  EXPECT_THAT(traces_.traced(), IsEmpty());
}

TEST_F(ConfigAggregator, AReplacedAclIsReplacedWithOneNotification) {
  start();
  publish(cli_, "a");
  Watcher watcher(out_->typeConfig(AclType::ipv4));
  const auto second = publish(cli_, "a");
  EXPECT_EQ(merged("a"), second);
  EXPECT_THAT(watcher.log, ElementsAre("+a"));
}

TEST_F(ConfigAggregator, TheLaterMountedOfTwoIsRefusedWithOneTrace) {
  dir_->entityIs(two_);
  start();
  dir_->entityIs(one_);
  const auto first = publish(two_, "a");
  Watcher watcher(out_->typeConfig(AclType::ipv4));
  publish(one_, "a");
  EXPECT_EQ(merged("a"), first);
  EXPECT_THAT(traces_.traced(), ElementsAre(refusal("ipv4", "a", "one", "two")));
  EXPECT_THAT(traces_.sources(), ElementsAre("AclConfigAggregator"));
  publish(one_, "a");
  const auto changed = publish(two_, "a");
  EXPECT_EQ(merged("a"), changed);
  EXPECT_EQ(traces_.traced().size(), 1U);
  EXPECT_THAT(watcher.log, ElementsAre("+a"));
}

TEST_F(ConfigAggregator, ARefusalIsTracedAgainAfterTheRefusedOneWasWithdrawn) {
  dir_->entityIs(one_);
  start();
  publish(cli_, "a");
  publish(one_, "a");
  withdraw(one_, "a");
  traces_.clear();
  publish(one_, "a");
  EXPECT_THAT(traces_.traced(), ElementsAre(refusal("ipv4", "a", "one", "cli")));
}

TEST_F(ConfigAggregator, TheRefusedOneTakesOverWhenTheOwnerLetsGo) {
  dir_->entityIs(one_);
  start();
  publish(cli_, "a");
  const auto waiting = publish(one_, "a");
  traces_.clear();
  Watcher watcher(out_->typeConfig(AclType::ipv4));
  withdraw(cli_, "a");
  EXPECT_EQ(merged("a"), waiting);
  EXPECT_THAT(watcher.log, ElementsAre("+a"));
  EXPECT_THAT(traces_.traced(), IsEmpty());
}

TEST_F(ConfigAggregator, AnInputMountedEarlierTakesTheNameFromALaterOne) {
  dir_->entityIs(one_);
  start();
  publish(one_, "a");
  const auto fromCli = publish(cli_, "a");
  EXPECT_EQ(merged("a"), fromCli);
  EXPECT_THAT(traces_.traced(), ElementsAre(refusal("ipv4", "a", "one", "cli")));
}

TEST_F(ConfigAggregator, OfThreeTheOneMountedNextTakesOver) {
  start();
  dir_->entityIs(two_);
  dir_->entityIs(one_);
  publish(cli_, "a");
  const auto fromOne = publish(one_, "a");
  const auto fromTwo = publish(two_, "a");
  EXPECT_THAT(traces_.traced(),
              ElementsAre(refusal("ipv4", "a", "one", "cli"), refusal("ipv4", "a", "two", "cli")));
  traces_.clear();
  withdraw(cli_, "a");
  EXPECT_EQ(merged("a"), fromTwo);
  withdraw(two_, "a");
  EXPECT_EQ(merged("a"), fromOne);
  EXPECT_THAT(traces_.traced(), IsEmpty());
}

TEST_F(ConfigAggregator, AnUnmountedInputTakesItsAclsAlong) {
  start();
  dir_->entityIs(one_);
  dir_->entityIs(two_);
  const auto cliAcl = publish(cli_, "c");
  publish(one_, "a");
  publish(one_, "b", AclType::mac);
  const auto waiting = publish(two_, "a");
  traces_.clear();
  dir_->entityDel("one");
  EXPECT_EQ(merged("a"), waiting);
  EXPECT_EQ(merged("b", AclType::mac), nullptr);
  EXPECT_EQ(merged("c"), cliAcl);
  publish(one_, "d");
  EXPECT_EQ(merged("d"), nullptr);
  EXPECT_THAT(traces_.traced(), IsEmpty());
}

TEST_F(ConfigAggregator, AReplacedInputGivesWayToItsSuccessor) {
  start();
  dir_->entityIs(one_);
  publish(one_, "a");
  publish(one_, "b");
  const auto successor = Qel::make<Input>("one");
  const auto a = publish(successor, "a");
  dir_->entityIs(successor);
  EXPECT_EQ(merged("a"), a);
  EXPECT_EQ(merged("b"), nullptr);
  publish(one_, "c");
  EXPECT_EQ(merged("c"), nullptr);
  const auto d = publish(successor, "d");
  EXPECT_EQ(merged("d"), d);
  EXPECT_THAT(traces_.traced(), IsEmpty());
}

TEST_F(ConfigAggregator, WhatIsNoInputIsLeftAlone) {
  start();
  dir_->entityIs(Qel::make<Qel::Dir>("other"));
  dir_->entityIs(one_);
  const auto a = publish(one_, "a");
  dir_->entityDel("other");
  EXPECT_EQ(merged("a"), a);
  dir_->entityIs(Qel::make<Qel::Dir>("one"));
  EXPECT_EQ(merged("a"), nullptr);
}

TEST_F(ConfigAggregator, TheCommandLineInputMayStandInTheDirectoryToo) {
  dir_->entityIs(cli_);
  start();
  const auto a = publish(cli_, "a");
  EXPECT_EQ(merged("a"), a);
  EXPECT_THAT(traces_.traced(), IsEmpty());
  dir_->entityDel("cli");
  EXPECT_EQ(merged("a"), a);
  const auto b = publish(cli_, "b");
  EXPECT_EQ(merged("b"), b);
  dir_->entityIs(cli_);
  EXPECT_THAT(traces_.traced(), IsEmpty());
}

TEST_F(ConfigAggregator, IsDeafWhileNotificationIsOff) {
  start();
  dir_->entityIs(one_);
  const auto a = publish(one_, "a");
  aggregator_->hasNotificationActiveIs(false);
  publish(cli_, "b");
  publish(one_, "c");
  withdraw(one_, "a");
  publish(two_, "d");
  dir_->entityIs(two_);
  publish(two_, "f");
  EXPECT_EQ(merged("a"), a);
  EXPECT_EQ(out_->typeConfig(AclType::ipv4)->acl().size(), 1U);
  aggregator_->hasNotificationActiveIs(true);
  const auto e = publish(one_, "e");
  EXPECT_EQ(merged("e"), e);
}

TEST_F(ConfigAggregator, AnInputThatWentUnseenAndComesBackKeepsItsTurn) {
  start();
  dir_->entityIs(one_);
  dir_->entityIs(two_);
  aggregator_->hasNotificationActiveIs(false);
  dir_->entityDel("one");
  aggregator_->hasNotificationActiveIs(true);
  dir_->entityIs(one_);
  publish(two_, "a");
  const auto a = publish(one_, "a");
  EXPECT_EQ(merged("a"), a);
}

TEST_F(ConfigAggregator, LetsGoOfItsInputsWhenItGoes) {
  start();
  dir_->entityIs(one_);
  const auto a = publish(one_, "a");
  aggregator_ = nullptr;
  EXPECT_TRUE(dir_->notifieeList().empty());
  withdraw(one_, "a");
  EXPECT_EQ(merged("a"), a);
  EXPECT_EQ(cli_->references(), 1U);
}

TEST_F(ConfigAggregator, TypesTakenAwayAreNoCrash) {
  start();
  dir_->entityIs(one_);
  publish(one_, "a", AclType::mac);
  const auto orphan = one_->typeConfig(AclType::mac);
  one_->typeConfigDel(AclType::mac);
  orphan->aclIs(Qel::make<AclConfig>("b", AclType::mac));
  EXPECT_EQ(merged("b", AclType::mac), nullptr);
  two_->typeConfigDel(AclType::mac);
  dir_->entityIs(two_);
  dir_->entityDel("two");
  out_->typeConfigDel(AclType::ipv6);
  publish(one_, "c", AclType::ipv6);
  const auto d = publish(one_, "d");
  EXPECT_EQ(merged("d"), d);
}

}  // namespace
