#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qel/Dir.h"
#include "qel/Entity.h"

namespace {

using Qel::Name;
using Qel::Ptr;
using testing::ElementsAre;
using testing::IsEmpty;

class Lamp : public Qel::Entity {
 public:
  class NotifieeConst : public Qel::NotifieeOf<Lamp> {
   public:
    using Qel::NotifieeOf<Lamp>::NotifieeOf;
    virtual void onLevel() {}
    virtual void onMaker() {}
    QEL_COLLECTION_CALLBACKS(Spot, Name)
    QEL_COLLECTION_CALLBACKS(Shade, Name)
  };

  explicit Lamp(Name name = "lamp") : Entity(std::move(name)) {}

  QEL_ATTRIBUTE(uint32_t, level, Level)
  QEL_ATTRIBUTE(Ptr<const Qel::Entity>, maker, Maker)
  QEL_VALUE_COLLECTION(Qel::OrderedCollection, Name, uint32_t, spot, Spot, 99)
  QEL_VALUE_COLLECTION(Qel::HashCollection, Name, uint32_t, shade, Shade, 98)
};

class LampWatcher final : public Lamp::NotifieeConst {
 public:
  explicit LampWatcher(const Ptr<const Lamp>& lamp) { notifierIs(lamp); }
  using Lamp::NotifieeConst::onShade;
  using Lamp::NotifieeConst::onSpot;
  void onLevel() override { log.push_back("level " + std::to_string(notifier()->level())); }
  void onMaker() override { log.push_back("maker"); }
  void onSpot(Name name) override {
    log.push_back("spot " + name.string().str() + " " + std::to_string(notifier()->spot(name)));
  }
  void onShade(Name name) override {
    log.push_back("shade " + name.string().str() + " " + std::to_string(notifier()->shade(name)));
  }
  std::vector<std::string> log;
};

class Lamps : public testing::Test {
 protected:
  Ptr<Lamp> lamp_ = Qel::make<Lamp>();
  LampWatcher watcher_{lamp_};
};

TEST_F(Lamps, AnAttributeNotifiesAfterAChangeOnly) {
  lamp_->levelIs(0);
  EXPECT_THAT(watcher_.log, IsEmpty());
  lamp_->levelIs(3);
  lamp_->levelIs(3);
  lamp_->levelIs(0);
  EXPECT_THAT(watcher_.log, ElementsAre("level 3", "level 0"));
}

TEST_F(Lamps, AnObjectAttributeComparesTheObject) {
  const auto maker = Qel::make<Qel::Entity>(Name("maker"));
  lamp_->makerIs(nullptr);
  lamp_->makerIs(maker);
  lamp_->makerIs(maker);
  lamp_->makerIs(Qel::make<Qel::Entity>(Name("maker")));
  EXPECT_THAT(watcher_.log, ElementsAre("maker", "maker"));
}

TEST_F(Lamps, AChangeMadeInACallbackIsSeenByTheCallbacksThatFollow) {
  class Dimmer final : public Lamp::NotifieeConst {
   public:
    explicit Dimmer(const Ptr<Lamp>& lamp) : lamp_(*lamp) { notifierIs(lamp); }
    void onLevel() override {
      if (lamp_.level() > 5) lamp_.levelIs(5);
    }

   private:
    Lamp& lamp_;
  };
  watcher_.notifierIs(nullptr);
  const Dimmer dimmer(lamp_);
  watcher_.notifierIs(lamp_);
  lamp_->levelIs(9);
  EXPECT_THAT(watcher_.log, ElementsAre("level 5", "level 5"));
}

TEST_F(Lamps, ACollectionNotifiesAfterAChangeOnly) {
  EXPECT_EQ(lamp_->spot("b"), 99U);
  lamp_->spotIs("b", 1);
  lamp_->spotIs("b", 1);
  lamp_->spotIs("b", 2);
  lamp_->shadeIs("b", 4);
  lamp_->shadeIs("b", 4);
  EXPECT_THAT(watcher_.log, ElementsAre("spot b 1", "spot b 2", "shade b 4"));
  EXPECT_EQ(lamp_->spot().size(), 1U);
}

TEST_F(Lamps, DeletingAnAbsentKeyIsSilent) {
  EXPECT_FALSE(lamp_->spotDel("b"));
  EXPECT_FALSE(lamp_->shadeDel("b"));
  EXPECT_THAT(watcher_.log, IsEmpty());
}

TEST_F(Lamps, DeletingAKeyNotifiesWhenItIsGone) {
  lamp_->spotIs("b", 1);
  lamp_->shadeIs("b", 4);
  watcher_.log.clear();
  EXPECT_TRUE(lamp_->spotDel("b"));
  EXPECT_TRUE(lamp_->shadeDel("b"));
  EXPECT_THAT(watcher_.log, ElementsAre("spot b 99", "shade b 98"));
}

TEST_F(Lamps, DeletingByTheCollectionsOwnKeyIsSafe) {
  lamp_->spotIs("a spot whose name is on the heap", 1);
  lamp_->shadeIs("a shade whose name is on the heap", 1);
  watcher_.log.clear();
  lamp_->spotDel(lamp_->spot().firstKey());
  lamp_->shadeDel(lamp_->shade().firstKey());
  EXPECT_THAT(watcher_.log, ElementsAre("spot a spot whose name is on the heap 99",
                                        "shade a shade whose name is on the heap 98"));
}

TEST_F(Lamps, DeletingAllGoesInKeyOrderWithOneNotificationEach) {
  for (const char* name : {"c", "a", "b"}) lamp_->spotIs(name, 1);
  watcher_.log.clear();
  lamp_->spotDelAll();
  EXPECT_THAT(watcher_.log, ElementsAre("spot a 99", "spot b 99", "spot c 99"));
  EXPECT_TRUE(lamp_->spot().empty());
  lamp_->spotDelAll();
  EXPECT_EQ(watcher_.log.size(), 3U);
}

TEST_F(Lamps, DeletingAllOfAHashCollectionNotifiesEachOnce) {
  for (const char* name : {"c", "a", "b"}) lamp_->shadeIs(name, 1);
  watcher_.log.clear();
  lamp_->shadeDelAll();
  EXPECT_THAT(watcher_.log,
              testing::UnorderedElementsAre("shade a 98", "shade b 98", "shade c 98"));
}

TEST_F(Lamps, NotifyByHandNeedsNoChange) {
  lamp_->spotNotify("x");
  lamp_->shadeNotify("y");
  EXPECT_THAT(watcher_.log, ElementsAre("spot x 99", "shade y 98"));
}

TEST(Entity, FullNameJoinsTheNamesFromTheOutermostDown) {
  const auto root = Qel::make<Lamp>("root");
  const auto middle = Qel::make<Lamp>("middle");
  const auto leaf = Qel::make<Lamp>("leaf");
  EXPECT_EQ(leaf->fullName(), "leaf");
  leaf->parentIs(middle.get(), "child");
  EXPECT_EQ(leaf->fullName(), "middle/leaf");
  middle->parentIs(root.get(), "inner");
  EXPECT_EQ(leaf->fullName(), "root/middle/leaf");
  EXPECT_EQ(leaf->parent(), middle.get());
  EXPECT_EQ(leaf->parentAttrName(), "child");
  leaf->parentIs(nullptr, {});
  EXPECT_EQ(leaf->fullName(), "leaf");
}

TEST(Entity, ANamelessParentAndOneThatIsNoEntityDoNotShowInTheFullName) {
  struct Owner : Qel::PtrInterface {};
  const auto owner = Qel::make<Owner>();
  const auto nameless = Qel::make<Lamp>(Name());
  const auto leaf = Qel::make<Lamp>("leaf");
  leaf->parentIs(nameless.get(), "x");
  EXPECT_EQ(leaf->fullName(), "leaf");
  leaf->parentIs(owner.get(), "x");
  EXPECT_EQ(leaf->fullName(), "leaf");
}

TEST(Entity, NamesItsType) {
  EXPECT_EQ(Qel::make<Qel::Entity>(Name("e"))->fwkType(), "Qel::Entity");
  EXPECT_EQ(Qel::make<Qel::Dir>()->fwkType(), "Qel::Dir");
}

}  // namespace
