#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "acl/Aggregator.h"
#include "support/TraceCapture.h"

namespace {

using Acl::AclConfig;
using Acl::AclConfigAggregatorSm;
using Acl::AclStatus;
using Acl::AclStatusAggregatorSm;
using Acl::AclType;
using Acl::Config;
using Acl::Status;
using Qel::Ptr;
using testing::ThrowsMessage;
using InputConfig = Acl::Input::Config;
using InputStatus = Acl::Input::Status;

/// A source: its configuration and its status, of the same name.
struct Source {
  explicit Source(const char* name)
      : config(Qel::make<InputConfig>(name)), status(Qel::make<InputStatus>(name)) {}

  Ptr<AclConfig> publish(const char* name, AclType type = AclType::ipv4) const {
    const auto acl = Qel::make<AclConfig>(name, type);
    config->typeConfig(type)->aclIs(acl);
    return acl;
  }
  Ptr<AclStatus> report(const char* name, AclType type = AclType::ipv4) const {
    const auto acl = Qel::make<AclStatus>(name);
    status->status(type)->aclIs(acl);
    return acl;
  }

  Ptr<InputConfig> config;
  Ptr<InputStatus> status;
};

class StatusAggregator : public testing::Test {
 protected:
  void mount(const Source& source) {
    configDir_->entityIs(source.config);
    statusDir_->entityIs(source.status);
  }
  void start() {
    configAggregator_ = Qel::make<AclConfigAggregatorSm>(configDir_, cli_.config, config_);
    aggregator_ = Qel::make<AclStatusAggregatorSm>(configDir_, statusDir_, config_, out_);
  }
  Ptr<const AclStatus> published(const char* name, AclType type = AclType::ipv4) {
    const auto typeStatus = out_->status(type);
    return typeStatus ? typeStatus->acl(name) : nullptr;
  }

  Support::TraceCapture traces_{"AclConfig=0"};
  Ptr<Qel::Dir> configDir_ = Qel::make<Qel::Dir>("input");
  Ptr<Qel::Dir> statusDir_ = Qel::make<Qel::Dir>("status");
  Source cli_{"cli"};
  Source one_{"one"};
  Source two_{"two"};
  Ptr<Config> config_ = Qel::make<Config>("config");
  Ptr<Status> out_ = Qel::make<Status>("out");
  Ptr<AclConfigAggregatorSm> configAggregator_;
  Ptr<AclStatusAggregatorSm> aggregator_;
};

TEST_F(StatusAggregator, NullArgumentsAreRefused) {
  const auto expectRefused = [](const Ptr<Qel::Dir>& inputs, const Ptr<Qel::Dir>& statuses,
                                const Ptr<Config>& config, const Ptr<Status>& out) {
    EXPECT_THAT([&] { Qel::make<AclStatusAggregatorSm>(inputs, statuses, config, out); },
                ThrowsMessage<Qel::RangeException>("null ValidPtr"));
  };
  expectRefused(nullptr, statusDir_, config_, out_);
  expectRefused(configDir_, nullptr, config_, out_);
  expectRefused(configDir_, statusDir_, nullptr, out_);
  expectRefused(configDir_, statusDir_, config_, nullptr);
  EXPECT_TRUE(statusDir_->notifieeList().empty());
}

TEST_F(StatusAggregator, PublishesAtOnceWhatIsThere) {
  mount(one_);
  one_.publish("a", AclType::mac);
  const auto status = one_.report("a", AclType::mac);
  start();
  EXPECT_EQ(published("a", AclType::mac), status);
}

TEST_F(StatusAggregator, PublishesWhicheverOfAclAndStatusComesLast) {
  start();
  mount(one_);
  one_.publish("a");
  EXPECT_EQ(published("a"), nullptr);
  const auto a = one_.report("a");
  EXPECT_EQ(published("a"), a);
  const auto b = one_.report("b");
  EXPECT_EQ(published("b"), nullptr);
  one_.publish("b");
  EXPECT_EQ(published("b"), b);
}

TEST_F(StatusAggregator, FollowsReplacementAndWithdrawal) {
  start();
  mount(one_);
  one_.publish("a");
  one_.report("a");
  const auto second = one_.report("a");
  EXPECT_EQ(published("a"), second);
  one_.publish("a");
  EXPECT_EQ(published("a"), second);
  one_.status->status(AclType::ipv4)->aclDel("a");
  EXPECT_EQ(published("a"), nullptr);
  one_.report("a");
  one_.config->typeConfig(AclType::ipv4)->aclDel("a");
  EXPECT_EQ(published("a"), nullptr);
}

TEST_F(StatusAggregator, OnlyTheOwnersStatusCounts) {
  start();
  mount(one_);
  mount(two_);
  one_.publish("a");
  two_.publish("a");
  const auto ofOne = one_.report("a");
  const auto ofTwo = two_.report("a");
  EXPECT_EQ(published("a"), ofOne);
  one_.config->typeConfig(AclType::ipv4)->aclDel("a");
  EXPECT_EQ(published("a"), ofTwo);
  one_.publish("a");
  EXPECT_EQ(published("a"), ofOne);
}

TEST_F(StatusAggregator, AnOwnerWithoutAStatusShowsNoOtherInputsStatus) {
  start();
  mount(one_);
  mount(two_);
  one_.publish("a");
  two_.publish("a");
  two_.report("a");
  EXPECT_EQ(published("a"), nullptr);
}

TEST_F(StatusAggregator, FollowsTheCommandLineInputThatStandsInTheDirectory) {
  mount(cli_);
  start();
  cli_.publish("a");
  const auto status = cli_.report("a");
  EXPECT_EQ(published("a"), status);
}

TEST_F(StatusAggregator, FollowsTheOwnerWhenItsConfigurationIsUnmounted) {
  start();
  mount(one_);
  mount(two_);
  one_.publish("a");
  two_.publish("a");
  one_.report("a");
  const auto ofTwo = two_.report("a");
  configDir_->entityDel("one");
  EXPECT_EQ(published("a"), ofTwo);
}

TEST_F(StatusAggregator, AnUnmountedStatusIsWithdrawn) {
  start();
  mount(one_);
  one_.publish("a");
  one_.report("a");
  statusDir_->entityDel("one");
  EXPECT_EQ(published("a"), nullptr);
  one_.report("a");
  EXPECT_EQ(published("a"), nullptr);
  const auto successor = Qel::make<InputStatus>("one");
  const auto status = Qel::make<AclStatus>("a");
  successor->status(AclType::ipv4)->aclIs(status);
  statusDir_->entityIs(successor);
  EXPECT_EQ(published("a"), status);
}

TEST_F(StatusAggregator, AReplacedStatusGivesWayToItsSuccessor) {
  start();
  mount(one_);
  one_.publish("a");
  one_.publish("b");
  one_.report("a");
  one_.report("b");
  const auto successor = Qel::make<InputStatus>("one");
  const auto status = Qel::make<AclStatus>("a");
  successor->status(AclType::ipv4)->aclIs(status);
  statusDir_->entityIs(successor);
  EXPECT_EQ(published("a"), status);
  EXPECT_EQ(published("b"), nullptr);
  one_.report("b");
  EXPECT_EQ(published("b"), nullptr);
}

TEST_F(StatusAggregator, FlagsAreThoseOfAnyInput) {
  struct Case {
    const bool& (Acl::StatusBase::*get)() const;
    void (Acl::StatusBase::*set)(const bool&);
  };
  using Base = Acl::StatusBase;
  start();
  mount(one_);
  mount(two_);
  for (const Case& c : {Case{&Base::dpAclSupported, &Base::dpAclSupportedIs},
                        {&Base::dpAclLoggingSupported, &Base::dpAclLoggingSupportedIs},
                        {&Base::dpAclCountersSupported, &Base::dpAclCountersSupportedIs},
                        {&Base::dpRouterAclSupported, &Base::dpRouterAclSupportedIs}}) {
    const auto flag = [&] { return ((*out_).*c.get)(); };
    EXPECT_FALSE(flag());
    ((*one_.status).*c.set)(true);
    EXPECT_TRUE(flag());
    ((*two_.status).*c.set)(true);
    ((*one_.status).*c.set)(false);
    EXPECT_TRUE(flag());
    ((*two_.status).*c.set)(false);
    EXPECT_FALSE(flag());
  }
}

TEST_F(StatusAggregator, FlagsFollowMountingAndUnmounting) {
  one_.status->dpAclSupportedIs(true);
  statusDir_->entityIs(one_.status);
  start();
  EXPECT_TRUE(out_->dpAclSupported());
  statusDir_->entityDel("one");
  EXPECT_FALSE(out_->dpAclSupported());
  mount(one_);
  EXPECT_TRUE(out_->dpAclSupported());
  EXPECT_FALSE(out_->dpRouterAclSupported());
}

TEST_F(StatusAggregator, WhatIsNoStatusIsLeftAlone) {
  start();
  statusDir_->entityIs(Qel::make<Qel::Dir>("one"));
  configDir_->entityIs(one_.config);
  one_.publish("a");
  EXPECT_EQ(published("a"), nullptr);
  statusDir_->entityDel("one");
  statusDir_->entityIs(one_.status);
  const auto status = one_.report("a");
  EXPECT_EQ(published("a"), status);
}

TEST_F(StatusAggregator, LetsGoOfItsInputsWhenItGoes) {
  start();
  mount(one_);
  one_.publish("a");
  const auto status = one_.report("a");
  aggregator_ = nullptr;
  EXPECT_TRUE(statusDir_->notifieeList().empty());
  one_.status->status(AclType::ipv4)->aclDel("a");
  EXPECT_EQ(published("a"), status);
}

TEST_F(StatusAggregator, TypesTakenAwayAreNoCrash) {
  start();
  mount(one_);
  one_.publish("m", AclType::mac);
  one_.report("m", AclType::mac);
  config_->typeConfigDel(AclType::mac);
  one_.status->status(AclType::mac)->aclDel("m");
  EXPECT_EQ(published("m", AclType::mac), nullptr);
  one_.status->statusDel(AclType::ipv6);
  one_.publish("b", AclType::ipv6);
  EXPECT_EQ(published("b", AclType::ipv6), nullptr);
  statusDir_->entityDel("one");
  statusDir_->entityIs(one_.status);
  one_.publish("a");
  const auto status = one_.report("a");
  EXPECT_EQ(published("a"), status);
}

}  // namespace
