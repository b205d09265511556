#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "acl/Config.h"
#include "acl/NamedCollection.h"
#include "acl/Status.h"

namespace {

using Acl::AclConfig;
using Acl::AclStatus;
using Acl::AclType;
using Acl::AclTypeConfig;
using Acl::AclTypeStatus;
using Qel::Name;
using Qel::Ptr;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

class CollectionWatcher final : public AclTypeConfig::NotifieeConst {
 public:
  explicit CollectionWatcher(const Ptr<const AclTypeConfig>& config) { notifierIs(config); }
  using AclTypeConfig::NotifieeConst::onAcl;
  void onAcl(Name name) override {
    log.push_back((notifier()->acl(name) ? "+" : "-") + name.string().str());
    if (action) action();
  }
  std::vector<std::string> log;
  std::function<void()> action;
};

class NamedCollections : public testing::Test {
 protected:
  static Ptr<AclConfig> acl(const char* name) { return Qel::make<AclConfig>(name, AclType::ipv4); }
  void add(std::initializer_list<const char*> names) {
    for (const char* name : names) config_->aclIs(acl(name));
    watcher_.log.clear();
  }

  Ptr<AclTypeConfig> config_ = Qel::make<AclTypeConfig>("ipv4", AclType::ipv4);
  CollectionWatcher watcher_{config_};
};

TEST_F(NamedCollections, AMemberStandsUnderItsOwnName) {
  const auto a = acl("a");
  config_->aclIs(a);
  EXPECT_EQ(config_->acl("a"), a);
  EXPECT_EQ(config_->acl("b"), nullptr);
  EXPECT_EQ(config_->acl().find("a")->key(), Name("a"));
  EXPECT_EQ(config_->type(), AclType::ipv4);
  EXPECT_THAT(watcher_.log, ElementsAre("+a"));
}

TEST_F(NamedCollections, TheSameMemberAgainIsSilent) {
  const auto a = acl("a");
  config_->aclIs(a);
  config_->aclIs(a);
  EXPECT_THAT(watcher_.log, ElementsAre("+a"));
}

TEST_F(NamedCollections, AnotherMemberOfTheNameReplacesAndNotifiesOnce) {
  add({"a", "b", "c"});
  const auto other = acl("b");
  config_->aclIs(other);
  EXPECT_EQ(config_->acl("b"), other);
  EXPECT_EQ(config_->acl().size(), 3U);
  EXPECT_THAT(watcher_.log, ElementsAre("+b"));
}

TEST_F(NamedCollections, AReplacementLeavesIteratorsInPlace) {
  add({"a", "b", "c"});
  auto it = config_->acl().begin();
  config_->aclIs(acl("a"));
  ++it;
  EXPECT_EQ(it.key(), Name("b"));
}

TEST_F(NamedCollections, ANullMemberIsRefused) {
  EXPECT_THAT([this] { config_->aclIs(nullptr); },
              ThrowsMessage<Qel::RangeException>(
                  "null _acl parameter to mutator for Acl::AclTypeConfig::acl not allowed\""));
  const auto status = Qel::make<AclTypeStatus>("ipv4", AclType::ipv4);
  EXPECT_THAT([&status] { status->aclIs(nullptr); },
              ThrowsMessage<Qel::RangeException>(
                  "null _acl parameter to mutator for Acl::AclTypeStatus::acl not allowed\""));
  EXPECT_THAT([this] { config_->newAcl(nullptr); },
              ThrowsMessage<Qel::RangeException>(
                  "null _acl parameter to mutator for Acl::AclTypeConfig::acl not allowed\""));
  EXPECT_TRUE(config_->acl().empty());
  EXPECT_THAT(watcher_.log, IsEmpty());
}

TEST_F(NamedCollections, DelGivesTheMemberBackAndNotifiesWhenItIsGone) {
  const auto a = acl("a");
  config_->aclIs(a);
  watcher_.log.clear();
  EXPECT_EQ(config_->aclDel("a"), a);
  EXPECT_THAT(watcher_.log, ElementsAre("-a"));
}

TEST_F(NamedCollections, DelOfAnAbsentNameIsNullAndSilent) {
  add({"a"});
  EXPECT_EQ(config_->aclDel("b"), nullptr);
  EXPECT_THAT(watcher_.log, IsEmpty());
}

TEST_F(NamedCollections, DelByTheCollectionsOwnKeyIsSafe) {
  add({"an ACL whose name is on the heap"});
  config_->aclDel(config_->acl().firstKey());
  EXPECT_THAT(watcher_.log, ElementsAre("-an ACL whose name is on the heap"));
}

TEST_F(NamedCollections, DelAtAnIteratorLetsTheWalkGoOn) {
  add({"a", "b", "c"});
  auto it = config_->acl().startAt("b");
  config_->aclDel(it);
  EXPECT_EQ(it.key(), Name("b"));
  ++it;
  EXPECT_EQ(it.key(), Name("c"));
  EXPECT_THAT(watcher_.log, ElementsAre("-b"));
}

TEST_F(NamedCollections, WalksAndDeletesAllInNameOrder) {
  add({"c", "a", "b"});
  std::vector<std::string> walked;
  for (auto it = config_->acl().begin(); it; ++it) walked.push_back(it.key().string().str());
  EXPECT_THAT(walked, ElementsAre("a", "b", "c"));
  config_->aclDelAll();
  EXPECT_THAT(watcher_.log, ElementsAre("-a", "-b", "-c"));
  EXPECT_TRUE(config_->acl().empty());
}

TEST_F(NamedCollections, ACallbackMayDeleteAheadOfDelAll) {
  add({"a", "b", "c"});
  watcher_.action = [this] { config_->aclDel("b"); };
  config_->aclDelAll();
  EXPECT_THAT(watcher_.log, ElementsAre("-a", "-b", "-c"));
}

TEST_F(NamedCollections, AnObserverMayDropTheMemberThatCame) {
  // A name too long to be kept inside the object: the next observer would read freed memory.
  const std::string name(100, 'n');
  Watcher second(config_);
  auto member = acl(name.c_str());
  bool done = false;
  watcher_.action = [&] {
    if (std::exchange(done, true)) return;
    member = nullptr;
    config_->aclDel(name.c_str());
  };
  config_->aclIs(member);
  EXPECT_THAT(watcher_.log, ElementsAre("+" + name, "-" + name));
  EXPECT_THAT(second.log, ElementsAre("-" + name, "-" + name));
  // The same when it is told of by the member's own name. The action rests meanwhile.
  config_->aclIs(acl(name.c_str()));
  second.log.clear();
  done = false;
  watcher_.action = [&] {
    if (std::exchange(done, true)) return;
    config_->aclDel(name.c_str());
  };
  config_->aclNotify(config_->acl().find(name.c_str())->acl->name());
  EXPECT_THAT(second.log, ElementsAre("-" + name, "-" + name));
}

TEST_F(NamedCollections, NewAclIsSilent) {
  const auto a = acl("a");
  EXPECT_EQ(config_->newAcl(a).acl, a);
  EXPECT_EQ(config_->acl("a"), a);
  EXPECT_THAT(watcher_.log, IsEmpty());
}

TEST_F(NamedCollections, MembersAreSharedAndKeepTheirParent) {
  const auto a = acl("a");
  config_->aclIs(a);
  EXPECT_EQ(a->parent(), nullptr);
  config_ = nullptr;
  watcher_.notifierIs(nullptr);
  EXPECT_EQ(a->references(), 1U);
}

}  // namespace
