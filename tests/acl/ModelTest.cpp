#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "acl/Config.h"
#include "acl/Status.h"

namespace {

using Acl::AclDirection;
using Acl::AclType;
using Qel::Ptr;
using testing::ElementsAre;

TEST(Config, HasEveryTypeFromTheStart) {
  const auto config = Qel::make<Acl::Config>("config");
  EXPECT_EQ(config->fwkType(), "Acl::Config");
  EXPECT_EQ(Qel::make<Acl::Input::Config>("cli")->fwkType(), "Acl::Input::Config");
  for (const AclType type : Acl::kAclTypes) {
    const auto typeConfig = config->typeConfig(type);
    ASSERT_NE(typeConfig, nullptr);
    EXPECT_EQ(typeConfig->type(), type);
    EXPECT_EQ(typeConfig->fwkType(), "Acl::AclTypeConfig");
    EXPECT_EQ(typeConfig->parent(), config.get());
    EXPECT_EQ(typeConfig->parentAttrName(), "typeConfig");
    EXPECT_EQ(typeConfig->fullName(), Qel::String8("config/") + Acl::stringValue(type));
    EXPECT_EQ(Ptr<const Acl::Config>(config)->typeConfig(type), typeConfig);
  }
  EXPECT_EQ(config->typeConfig(AclType{3}), nullptr);
}

TEST(Config, ATypeMayBeTakenAway) {
  const auto config = Qel::make<Acl::Config>("config");
  const auto kept = config->typeConfig(AclType::ipv6);
  config->typeConfigDel(AclType::ipv6);
  config->typeConfigDel(AclType::ipv6);
  EXPECT_EQ(config->typeConfig(AclType::ipv6), nullptr);
  EXPECT_NE(config->typeConfig(AclType::ipv4), nullptr);
  EXPECT_EQ(kept->parent(), nullptr);
  EXPECT_EQ(kept->fullName(), "ipv6");
}

TEST(Config, TypesThatOutliveItHaveNoParent) {
  auto config = Qel::make<Acl::Input::Config>("config");
  const auto kept = config->typeConfig(AclType::mac);
  config = nullptr;
  EXPECT_EQ(kept->parent(), nullptr);
  EXPECT_EQ(kept->fullName(), "mac");
}

class StatusTypeWatcher final : public Acl::StatusBase::NotifieeConst {
 public:
  explicit StatusTypeWatcher(const Ptr<const Acl::StatusBase>& status) { notifierIs(status); }
  using NotifieeConst::onCpStatus;
  using NotifieeConst::onStatus;
  void onStatus(AclType type) override {
    log.push_back((notifier()->status(type) ? "+" : "-") + Acl::valueToStrep(type));
  }
  void onDpAclSupported() override { log.emplace_back("acl"); }
  void onDpAclLoggingSupported() override { log.emplace_back("logging"); }
  void onDpAclCountersSupported() override { log.emplace_back("counters"); }
  void onDpRouterAclSupported() override { log.emplace_back("router"); }
  void onCpStatus(AclType type) override { log.push_back("cp " + Acl::valueToStrep(type)); }
  void onEgressIpRaclSharing() override { log.emplace_back("sharing"); }
  std::vector<std::string> log;
};

TEST(Status, TypesComeAndGoWithOneNotificationEach) {
  const auto status = Qel::make<Acl::Status>("status");
  EXPECT_EQ(status->fwkType(), "Acl::Status");
  StatusTypeWatcher watcher(status);
  EXPECT_EQ(status->status(AclType::ipv4), nullptr);
  const auto made = status->statusIs(AclType::ipv4);
  EXPECT_EQ(status->statusIs(AclType::ipv4), made);
  EXPECT_EQ(status->status(AclType::ipv4), made);
  EXPECT_EQ(made->type(), AclType::ipv4);
  EXPECT_EQ(made->fullName(), "status/ipv4");
  EXPECT_EQ(made->parentAttrName(), "status");
  status->statusDel(AclType::ipv4);
  status->statusDel(AclType::ipv4);
  EXPECT_EQ(made->parent(), nullptr);
  status->statusNotify(AclType::mac);
  EXPECT_THAT(watcher.log, ElementsAre("+ipv4", "-ipv4", "-mac"));
}

TEST(Status, FlagsNotifyAfterAChangeOnly) {
  const auto status = Qel::make<Acl::Status>("status");
  StatusTypeWatcher watcher(status);
  for (int twice = 0; twice < 2; ++twice) {
    status->dpAclSupportedIs(true);
    status->dpAclLoggingSupportedIs(true);
    status->dpAclCountersSupportedIs(true);
    status->dpRouterAclSupportedIs(true);
  }
  EXPECT_THAT(watcher.log, ElementsAre("acl", "logging", "counters", "router"));
}

TEST(Acl, ItsConfigurationAndItsStatusNameTheirTypes) {
  EXPECT_EQ(Qel::make<Acl::AclConfig>("a", AclType::mac)->fwkType(), "Acl::AclConfig");
  EXPECT_EQ(Qel::make<Acl::AclStatus>("a")->fwkType(), "Acl::AclStatus");
}

TEST(Status, AnInputHasEveryTypeFromTheStart) {
  const auto status = Qel::make<Acl::Input::Status>("cli");
  EXPECT_EQ(status->fwkType(), "Acl::Input::Status");
  for (const AclType type : Acl::kAclTypes) {
    ASSERT_NE(status->status(type), nullptr);
    EXPECT_EQ(status->status(type)->fwkType(), "Acl::AclTypeStatus");
  }
}

TEST(Status, TypesThatOutliveItHaveNoParent) {
  auto status = Qel::make<Acl::Input::Status>("cli");
  const auto kept = status->status(AclType::mac);
  status = nullptr;
  EXPECT_EQ(kept->parent(), nullptr);
  EXPECT_EQ(kept->fullName(), "mac");
}

TEST(Status, KeepsTheControlPlanesAclsApart) {
  const auto status = Qel::make<Acl::Status>("status");
  EXPECT_EQ(status->cpStatus(AclType::ipv4), nullptr);
  const auto cp = Qel::make<Acl::AclTypeStatus>("cp", AclType::ipv4);
  status->cpStatusIs(cp);
  EXPECT_EQ(status->cpStatus(AclType::ipv4), cp);
  EXPECT_EQ(status->status(AclType::ipv4), nullptr);
  EXPECT_FALSE(status->egressIpRaclSharing());
  status->egressIpRaclSharingIs(true);
  EXPECT_TRUE(status->egressIpRaclSharing());
}

TEST(Status, TheControlPlanesAclsAndSharingNotifyAfterAChangeOnly) {
  const auto status = Qel::make<Acl::Status>("status");
  StatusTypeWatcher watcher(status);
  const auto cp = Qel::make<Acl::AclTypeStatus>("cp", AclType::mac);
  for (int twice = 0; twice < 2; ++twice) {
    status->cpStatusIs(cp);
    status->egressIpRaclSharingIs(true);
  }
  status->cpStatusIs(Qel::make<Acl::AclTypeStatus>("cp", AclType::mac));
  EXPECT_THAT(watcher.log, ElementsAre("cp mac", "sharing", "cp mac"));
}

TEST(AclTypeStatus, CountsInterfacesByDirection) {
  const auto status = Qel::make<Acl::AclTypeStatus>("ipv4", AclType::ipv4);
  EXPECT_TRUE(status->intf().empty());
  status->intfIs(AclDirection::ingress, 2);
  status->intfIs(AclDirection::ingress, 3);
  EXPECT_EQ(status->intf().valueOr(AclDirection::ingress, 0), 3U);
  EXPECT_FALSE(status->intf().contains(AclDirection::egress));
  EXPECT_EQ(status->intf(AclDirection::egress), 0U);
}

TEST(AclTypeStatus, NotifiesOfACountAfterAChangeOnly) {
  class CountWatcher final : public Acl::AclTypeStatus::NotifieeConst {
   public:
    explicit CountWatcher(const Ptr<const Acl::AclTypeStatus>& status) { notifierIs(status); }
    using NotifieeConst::onAcl;
    using NotifieeConst::onIntf;
    void onAcl(Qel::Name name) override { log.push_back("acl " + name.string().str()); }
    void onIntf(AclDirection direction) override {
      log.emplace_back(direction == AclDirection::ingress ? "ingress" : "egress");
    }
    std::vector<std::string> log;
  };
  const auto status = Qel::make<Acl::AclTypeStatus>("ipv4", AclType::ipv4);
  CountWatcher watcher(status);
  for (int twice = 0; twice < 2; ++twice) {
    status->intfIs(AclDirection::egress, 2);
    status->intfIs(AclDirection::ingress, 2);
  }
  status->intfDel(AclDirection::egress);
  status->aclIs(Qel::make<Acl::AclStatus>("a"));
  EXPECT_THAT(watcher.log, ElementsAre("egress", "ingress", "egress", "acl a"));
}

}  // namespace
