#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "qel/Dir.h"
#include "qel/Type.h"

namespace {

using Qel::Dir;
using Qel::Entity;
using Qel::Name;
using Qel::Ptr;
using testing::ElementsAre;
using testing::ThrowsMessage;

class Watcher final : public Dir::NotifieeConst {
 public:
  explicit Watcher(const Ptr<const Dir>& dir) { notifierIs(dir); }
  using Dir::NotifieeConst::onEntity;
  void onEntity(Name name) override {
    log.push_back((notifier()->entity(name) ? "+" : "-") + name.string().str());
    if (action) action();
  }
  std::vector<std::string> log;
  std::function<void()> action;
};

class Dirs : public testing::Test {
 protected:
  static Ptr<Entity> entity(const char* name) { return Qel::make<Entity>(Name(name)); }

  Ptr<Dir> root_ = Qel::make<Dir>();
};

TEST_F(Dirs, AnEntityStandsUnderItsOwnName) {
  const auto added = entity("a");
  root_->entityIs(added);
  EXPECT_EQ(root_->entity("a"), added);
  EXPECT_EQ(root_->entity("b"), nullptr);
  EXPECT_EQ(added->parent(), root_.get());
  EXPECT_EQ(added->parentAttrName(), "entity");
  EXPECT_EQ(root_->entityDel("a"), added);
  EXPECT_EQ(added->parent(), nullptr);
  EXPECT_EQ(added->parentAttrName(), "");
  EXPECT_EQ(root_->entity("a"), nullptr);
  EXPECT_EQ(root_->entityDel("a"), nullptr);
}

TEST_F(Dirs, ChangesNotifyOnceAndAfterTheFact) {
  Watcher watcher(root_);
  const auto first = entity("a");
  root_->entityIs(first);
  root_->entityIs(first);
  EXPECT_THAT(watcher.log, ElementsAre("+a"));
  root_->entityIs(entity("a"));
  EXPECT_THAT(watcher.log, ElementsAre("+a", "+a"));
  EXPECT_EQ(first->parent(), nullptr);
  root_->entityDel("b");
  root_->entityDel("a");
  EXPECT_THAT(watcher.log, ElementsAre("+a", "+a", "-a"));
}

TEST_F(Dirs, RemovalByTheDirectorysOwnKeyIsSafe) {
  root_->entityIs(entity("an entity whose name is on the heap"));
  const Watcher watcher(root_);
  root_->entityDel(root_->entity().firstKey());
  EXPECT_THAT(watcher.log, ElementsAre("-an entity whose name is on the heap"));
}

TEST_F(Dirs, ANullEntityIsRefused) {
  EXPECT_THAT([this] { root_->entityIs(nullptr); },
              ThrowsMessage<Qel::RangeException>("null ValidPtr"));
}

TEST_F(Dirs, EntitiesThatOutliveTheirDirectoryHaveNoParent) {
  const auto kept = entity("a");
  root_->entityIs(kept);
  root_ = nullptr;
  EXPECT_EQ(kept->parent(), nullptr);
  EXPECT_EQ(kept->fullName(), "a");
}

TEST_F(Dirs, AnEntityThatStandsElsewhereByNowKeepsItsParent) {
  const auto moved = entity("a");
  root_->entityIs(moved);
  const auto other = Qel::make<Dir>("other");
  other->entityIs(moved);
  root_ = nullptr;
  EXPECT_EQ(moved->parent(), other.get());
}

TEST_F(Dirs, DirIsMakesWhatIsAbsentOfAPath) {
  const auto deep = root_->dirIs("snmp/acl");
  EXPECT_EQ(deep->fullName(), "snmp/acl");
  EXPECT_EQ(root_->dirIs("snmp/acl"), deep);
  EXPECT_EQ(root_->dirIs("/snmp//acl/"), deep);
  EXPECT_EQ(root_->dirIs("snmp")->dirIs("acl"), deep);
  EXPECT_EQ(root_->dirIs(""), root_);
  EXPECT_EQ(root_->dirIs("//"), root_);
  EXPECT_EQ(root_->entity().size(), 1U);
}

TEST_F(Dirs, DirIsRefusesWhatIsNoDirectory) {
  const auto snmp = root_->dirIs("snmp");
  snmp->entityIs(entity("acl"));
  for (const char* path : {"snmp/acl", "snmp/acl/more"}) {
    EXPECT_THAT([&] { root_->dirIs(path); },
                ThrowsMessage<Qel::NameInUseException>("'snmp/acl' is not a directory"));
  }
}

TEST_F(Dirs, LookupFollowsAPathWhateverItsSlashes) {
  const auto deep = root_->dirIs("snmp/acl");
  const auto leaf = entity("aclMIB");
  deep->entityIs(leaf);
  struct Case {
    const char* path;
    Ptr<Entity> found;
  };
  const std::vector<Case> cases = {
      {"snmp/acl/aclMIB", leaf},
      {"/snmp/acl/aclMIB", leaf},
      {"snmp/acl/aclMIB/", leaf},
      {"//snmp///acl//aclMIB", leaf},
      {"snmp/acl", deep},
      {"snmp/acl//", deep},
      {"", nullptr},
      {"/", nullptr},
      {"acl", nullptr},
      {"snmp/none", nullptr},
      {"snmp/none/aclMIB", nullptr},
      {"snmp/acl/aclMIB/x", nullptr},
      {"snmp/acl/aclMI", nullptr},
      {"Snmp/acl", nullptr},
  };
  for (const Case& c : cases) EXPECT_EQ(root_->lookup(c.path), c.found) << c.path;
}

class Made final : public Entity {
 public:
  using Entity::Entity;
  Qel::String8 fwkType() const override { return "DirTest::Made"; }
};
struct NoEntity : Qel::PtrInterface {};

TEST_F(Dirs, NewEntityMakesOneOfARegisteredType) {
  Qel::TypeRegistration<Made> registration("DirTest::Entity");
  registration.factory(+[](const Name& name) { return Qel::make<Made>(name); });
  const Watcher watcher(root_);
  const auto made = root_->newEntity("DirTest::Entity", "one");
  EXPECT_NE(Qel::ptrCast<Made>(made), nullptr);
  EXPECT_EQ(made->name(), Name("one"));
  EXPECT_EQ(root_->entity("one"), made);
  EXPECT_EQ(made->fullName(), "one");
  EXPECT_THAT(watcher.log, ElementsAre("+one"));
}

TEST_F(Dirs, NewEntityRefusesATakenNameAndAnUnknownType) {
  Qel::TypeRegistration<Made> registration("DirTest::Entity");
  registration.factory(+[](const Name& name) { return Qel::make<Made>(name); });
  const auto dir = root_->dirIs("snmp/acl");
  const auto first = dir->newEntity("DirTest::Entity", "one");
  EXPECT_THAT([&] { dir->newEntity("DirTest::Entity", "one"); },
              ThrowsMessage<Qel::NameInUseException>(
                  "the name 'one' is taken in the directory 'snmp/acl'"));
  EXPECT_EQ(dir->entity("one"), first);
  EXPECT_THAT([&] { dir->newEntity("DirTest::None", "two"); },
              ThrowsMessage<Qel::RangeException>("no type 'DirTest::None' is registered"));
  EXPECT_EQ(dir->entity().size(), 1U);
}

TEST_F(Dirs, NewEntityRefusesATypeThatIsNoEntity) {
  Qel::TypeRegistration<NoEntity> registration("DirTest::NoEntity");
  registration.factory(+[](const Name&) { return Qel::make<NoEntity>(); });
  EXPECT_THAT([&] { root_->newEntity("DirTest::NoEntity", "one"); },
              ThrowsMessage<Qel::RangeException>("null ValidPtr"));
  EXPECT_TRUE(root_->entity().empty());
}

TEST_F(Dirs, ACallbackMayRemoveTheEntityThatCame) {
  Watcher watcher(root_);
  watcher.action = [&] { root_->entityDel("a"); };
  root_->entityIs(entity("a"));
  EXPECT_EQ(root_->entity("a"), nullptr);
  EXPECT_THAT(watcher.log, ElementsAre("+a", "-a"));
}

}  // namespace
