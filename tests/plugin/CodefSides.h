#pragma once

/// The two backlog processors under common names, and one of them between an input and a mirror.

#include <algorithm>

#include "Fixtures.h"
#include "codef/AclSnmpTypeCodef.h"

namespace Fixtures {

struct ConfigSide {
  using Codef = AclSnmp::AclSnmpTypeConfigCodef;
  using Reactor = Codef::QelCfgIn;
  using Input = Acl::AclTypeConfig;
  using Mirror = AclSnmp::AclSnmpTypeConfig;
  static constexpr const char* kSide = "Config";
  static constexpr const char* kType = "AclSnmp::AclSnmpTypeConfigCodef";
  static constexpr const char* kHandle =
      "void AclSnmp::AclSnmpTypeConfigCodef::handleAclConfig(Qel::Name)";
  static auto member(const Qel::Name& name) { return acl(name, Acl::mac()); }
  static auto in(const Codef& codef) { return codef.cfgIn(); }
  static auto out(const Codef& codef) { return codef.cfgOut(); }
  static void inIs(Codef& codef, const Ptr<const Input>& in) { codef.cfgInIs(in); }
  static auto inDel(Codef& codef) { return codef.cfgInDel(); }
  static void newIn(Codef& codef, const Ptr<const Input>& in) { codef.newCfgIn(in); }
  static void handle(Codef& codef, const char* name) { codef.handleAclConfig(name); }
  static constexpr auto kMake = &AclSnmp::AclSnmpTypeConfigCodefIs;
  static constexpr auto kFactory = &AclSnmp::aclSnmpTypeConfigCodefFactory;
};
struct StatusSide {
  using Codef = AclSnmp::AclSnmpTypeStatusCodef;
  using Reactor = Codef::QelStatusIn;
  using Input = Acl::AclTypeStatus;
  using Mirror = AclSnmp::AclSnmpTypeStatus;
  static constexpr const char* kSide = "Status";
  static constexpr const char* kType = "AclSnmp::AclSnmpTypeStatusCodef";
  static constexpr const char* kHandle =
      "void AclSnmp::AclSnmpTypeStatusCodef::handleAclStatus(Qel::Name)";
  static auto member(const Qel::Name& name) { return Qel::make<Acl::AclStatus>(name); }
  static auto in(const Codef& codef) { return codef.statusIn(); }
  static auto out(const Codef& codef) { return codef.statusOut(); }
  static void inIs(Codef& codef, const Ptr<const Input>& in) { codef.statusInIs(in); }
  static auto inDel(Codef& codef) { return codef.statusInDel(); }
  static void newIn(Codef& codef, const Ptr<const Input>& in) { codef.newStatusIn(in); }
  static void handle(Codef& codef, const char* name) { codef.handleAclStatus(name); }
  static constexpr auto kMake = &AclSnmp::AclSnmpTypeStatusCodefIs;
  static constexpr auto kFactory = &AclSnmp::aclSnmpTypeStatusCodefFactory;
};
struct SideNames {
  template <class T>
  static std::string GetName(int) {
    return T::kSide;
  }
};

template <class Side>
class CodefTest : public testing::Test {
 protected:
  using Codef = typename Side::Codef;
  using Input = typename Side::Input;
  using Mirror = typename Side::Mirror;

  void make() { codef_ = Side::kMake(scheduler_, 2, "the task", in_, mirror_); }
  void makeWith(std::initializer_list<const char*> names) {
    add(names);
    make();
  }
  void add(std::initializer_list<const char*> names) {
    for (const char* name : names) in_->aclIs(Side::member(name));
  }
  uint64_t run() {
    const uint64_t before = codef_->updatesProcessed();
    EXPECT_TRUE(scheduler_->runNext());
    return codef_->updatesProcessed() - before;
  }
  Strings backlog() const {
    Strings all;
    for (auto it = codef_->backlog().begin(); it; ++it) {
      EXPECT_EQ(it.value().name, it.key());
      all.push_back(it.key().string().str() + (it.value().value ? "" : " false"));
    }
    return all;
  }
  /// Names as the backlog is walked.
  static std::vector<Qel::Name> hashOrder(std::vector<Qel::Name> names) {
    std::sort(names.begin(), names.end(), Qel::HashLess());
    return names;
  }
  static std::string plus(const Qel::Name& name) { return "+" + name.string().str(); }
  void expectMirrorEqualsInput() {
    EXPECT_EQ(mirror_->acl().size(), in_->acl().size());
    for (auto it = in_->acl().begin(); it; ++it) {
      EXPECT_EQ(mirror_->acl(it.key()), it.value().acl) << it.key();
    }
  }

  Qel::ManualClock clock_{100};
  Ptr<Mek::TaskScheduler> scheduler_ = Qel::make<Mek::TaskScheduler>();
  Ptr<Input> in_ = Qel::make<Input>("in", Acl::mac());
  Ptr<Mirror> mirror_ = Qel::make<Mirror>("mirror", Acl::mac());
  AclLog<Mirror> log_{mirror_};
  Ptr<Codef> codef_;
};
using Sides = testing::Types<ConfigSide, StatusSide>;

}  // namespace Fixtures
