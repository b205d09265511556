#include "Fixtures.h"
#include "codef/Mirror.h"
#include "qel/Type.h"

namespace {

using Fixtures::acl;
using Fixtures::AclLog;
using Fixtures::GoneLog;
using Fixtures::Ptr;
using Fixtures::Strings;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

struct ConfigSide {
  using Mirror = AclSnmp::AclSnmpTypeConfig;
  using Member = Acl::AclConfig;
  static constexpr const char* kSide = "Config";
  static constexpr const char* kType = "AclSnmp::AclSnmpTypeConfig";
  static Ptr<Member> member(const char* name) { return acl(name, Acl::ipv4()); }
  static Ptr<Mirror> made(const char* name, Acl::AclType type) {
    return AclSnmp::aclSnmpTypeConfigFactory(name, type);
  }
};
struct StatusSide {
  using Mirror = AclSnmp::AclSnmpTypeStatus;
  using Member = Acl::AclStatus;
  static constexpr const char* kSide = "Status";
  static constexpr const char* kType = "AclSnmp::AclSnmpTypeStatus";
  static Ptr<Member> member(const char* name) { return Qel::make<Acl::AclStatus>(name); }
  static Ptr<Mirror> made(const char* name, Acl::AclType type) {
    return AclSnmp::aclSnmpTypeStatusFactory(name, type);
  }
};
struct SideNames {
  template <class T>
  static std::string GetName(int) {
    return T::kSide;
  }
};

template <class Side>
class MirrorTest : public testing::Test {
 protected:
  using Mirror = typename Side::Mirror;
  Strings names() const {
    Strings all;
    for (auto it = mirror_->acl().begin(); it; ++it) {
      EXPECT_EQ(it.key(), it.value().key());
      all.push_back(it.key().string().str());
    }
    return all;
  }
  void addAll(std::initializer_list<const char*> names) {
    for (const char* name : names) mirror_->aclIs(Side::member(name));
    log_.take();
  }

  Ptr<Mirror> mirror_ = Qel::make<Mirror>("mirror", Acl::mac());
  AclLog<Mirror> log_{mirror_};
};
using Sides = testing::Types<ConfigSide, StatusSide>;
TYPED_TEST_SUITE(MirrorTest, Sides, SideNames);

TYPED_TEST(MirrorTest, StartsEmptyWithItsNameAndType) {
  for (const Acl::AclType type : Acl::kAclTypes) {
    for (const auto& mirror :
         {Qel::make<typename TypeParam::Mirror>("m", type), TypeParam::made("m", type)}) {
      EXPECT_EQ(mirror->name(), Qel::Name("m"));
      EXPECT_EQ(mirror->type(), type);
      EXPECT_EQ(mirror->fwkType(), TypeParam::kType);
      EXPECT_TRUE(mirror->acl().empty());
    }
  }
}

TYPED_TEST(MirrorTest, IsMadeByItsTypeName) {
  const auto made = Qel::ptrCast<typename TypeParam::Mirror>(
      Qel::typeOf(TypeParam::kType)
          .create({Qel::valueOf(Qel::Name("m")), Qel::valueOf(Acl::ipv6())}));
  ASSERT_TRUE(made);
  EXPECT_EQ(made->name(), Qel::Name("m"));
  EXPECT_EQ(made->type(), Acl::ipv6());
}

TYPED_TEST(MirrorTest, AddsAMemberUnderItsOwnNameAndNotifiesOnce) {
  const auto a = TypeParam::member("a");
  this->mirror_->aclIs(a);
  EXPECT_EQ(this->mirror_->acl("a"), a);
  EXPECT_EQ(this->mirror_->acl("b"), nullptr);
  EXPECT_EQ(a->references(), 2U);
  EXPECT_THAT(this->log_.take(), ElementsAre("+a"));
}

TYPED_TEST(MirrorTest, TheMemberThatIsThereAlreadyChangesNothing) {
  const auto a = TypeParam::member("a");
  this->mirror_->aclIs(a);
  this->log_.take();
  this->mirror_->aclIs(a);
  EXPECT_EQ(this->mirror_->acl("a"), a);
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

TYPED_TEST(MirrorTest, AnotherMemberOfTheNameReplacesTheOldOneAndNotifiesOnce) {
  const auto old = TypeParam::member("a");
  const auto other = TypeParam::member("a");
  this->mirror_->aclIs(old);
  this->log_.take();
  this->mirror_->aclIs(other);
  EXPECT_EQ(this->mirror_->acl("a"), other);
  EXPECT_EQ(this->mirror_->acl().size(), 1U);
  EXPECT_EQ(old->references(), 1U);
  EXPECT_THAT(this->log_.take(), ElementsAre("+a"));
}

TYPED_TEST(MirrorTest, RefusesNullAndChangesNothing) {
  this->addAll({"a"});
  EXPECT_THAT(
      [this] { this->mirror_->aclIs(nullptr); },
      ThrowsMessage<Qel::RangeException>(std::string("null _acl parameter to mutator for ") +
                                         TypeParam::kType + "::acl not allowed\""));
  EXPECT_THAT(this->names(), ElementsAre("a"));
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

TYPED_TEST(MirrorTest, AReplacedMemberIsLetGoBeforeTheNotification) {
  this->addAll({"a"});
  Strings order;
  const GoneLog<typename TypeParam::Member> gone(this->mirror_->acl("a"), "old one gone", order);
  this->log_.action = [&order](const std::string& line) { order.push_back(line); };
  this->mirror_->aclIs(TypeParam::member("a"));
  EXPECT_THAT(order, ElementsAre("old one gone", "+a"));
}

TYPED_TEST(MirrorTest, NewAclInsertsWithoutANotification) {
  const auto a = TypeParam::member("a");
  const auto& record = this->mirror_->newAcl(a);
  EXPECT_EQ(record.acl, a);
  EXPECT_EQ(record.key(), Qel::Name("a"));
  EXPECT_EQ(this->mirror_->acl("a"), a);
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

TYPED_TEST(MirrorTest, DeletesAMemberAndNotifiesWhenItIsGone) {
  const auto a = TypeParam::member("a");
  this->mirror_->aclIs(a);
  this->log_.take();
  EXPECT_EQ(this->mirror_->aclDel("a"), a);
  EXPECT_EQ(this->mirror_->acl("a"), nullptr);
  EXPECT_THAT(this->log_.take(), ElementsAre("-a"));
}

TYPED_TEST(MirrorTest, DeletingAnAbsentNameIsSilent) {
  this->addAll({"a"});
  EXPECT_EQ(this->mirror_->aclDel("b"), nullptr);
  EXPECT_THAT(this->names(), ElementsAre("a"));
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

TYPED_TEST(MirrorTest, DeletesTheMemberAtAnIterator) {
  this->addAll({"a", "b"});
  const auto position = this->mirror_->acl().startAt("b");
  this->mirror_->aclDel(position);
  EXPECT_THAT(this->names(), ElementsAre("a"));
  EXPECT_THAT(this->log_.take(), ElementsAre("-b"));
}

TYPED_TEST(MirrorTest, IsWalkedInTheOrderOfNames) {
  this->addAll({"b", "a", "aa", "c", "\xc3\xa4"});
  EXPECT_THAT(this->names(), ElementsAre("a", "aa", "b", "c", "\xc3\xa4"));
}

TYPED_TEST(MirrorTest, DeletesAllInTheOrderOfNames) {
  this->addAll({"b", "a", "c"});
  this->mirror_->aclDelAll();
  EXPECT_THAT(this->log_.take(), ElementsAre("-a", "-b", "-c"));
  EXPECT_TRUE(this->mirror_->acl().empty());
  this->mirror_->aclDelAll();
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

TYPED_TEST(MirrorTest, DeletingAllGoesOnWhenAnObserverDeletesOthers) {
  this->addAll({"a", "b", "c"});
  this->log_.action = [this](const std::string& line) {
    if (line == "-a") this->mirror_->aclDel("b");
  };
  this->mirror_->aclDelAll();
  EXPECT_THAT(this->log_.take(), ElementsAre("-a", "-b", "-c"));
  EXPECT_TRUE(this->mirror_->acl().empty());
}

TYPED_TEST(MirrorTest, NotifyTellsEveryObserverWithoutAChange) {
  AclLog<typename TypeParam::Mirror> second(this->mirror_);
  this->mirror_->aclNotify("a");
  EXPECT_THAT(this->log_.take(), ElementsAre("-a"));
  EXPECT_THAT(second.take(), ElementsAre("-a"));
  const auto unobserved = TypeParam::made("unobserved", Acl::ipv4());
  unobserved->aclNotify("a");
  EXPECT_TRUE(unobserved->acl().empty());
}

TYPED_TEST(MirrorTest, GoesWithoutTellingOfItsMembers) {
  const auto a = TypeParam::member("a");
  auto mirror = TypeParam::made("mirror", Acl::ipv4());
  mirror->aclIs(a);
  AclLog<typename TypeParam::Mirror> weak(mirror, Qel::Hold::weak);
  mirror = nullptr;
  EXPECT_THAT(weak.take(), ElementsAre("gone"));
  EXPECT_EQ(weak.notifier(), nullptr);
  EXPECT_EQ(a->references(), 1U);
}

TYPED_TEST(MirrorTest, TheDefaultCallbacksDoNothing) {
  typename TypeParam::Mirror::NotifieeConst silent;
  silent.notifierIs(this->mirror_);
  this->mirror_->aclIs(TypeParam::member("a"));
  silent.onAcl();
  silent.onAclqelImmediate();
  EXPECT_THAT(this->log_.take(), ElementsAre("+a"));
}

}  // namespace
