// How the top-level machine ends: what goes in which order, and what stays.

#include "AgentMibSm.h"

namespace {

using AclSnmp::AclSnmpTypeConfig;
using AclSnmp::AclSnmpTypeConfigCodef;
using AclSnmp::AclSnmpTypeStatus;
using AclSnmp::AclSnmpTypeStatusCodef;
using Fixtures::acl;
using Fixtures::AllTypes;
using Fixtures::GoneLog;
using Fixtures::keys;
using Fixtures::MibLog;
using Fixtures::Strings;
using Fixtures::subConfig;
using Fixtures::TypeNames;
using testing::ElementsAre;
using testing::IsEmpty;

template <class T>
class MibSmEnd : public Fixtures::MibSmBase {};
TYPED_TEST_SUITE(MibSmEnd, AllTypes, TypeNames);

TYPED_TEST(MibSmEnd, TakesDownMachinesAfterProcessorsAndLeavesTheRows) {
  constexpr Acl::AclType type = TypeParam::kType;
  this->config_->typeConfig(type)->aclIs(acl("a", type, subConfig({10})));
  const auto typeStatus = this->status_->statusIs(type);
  this->make();
  this->runAll();
  Strings gone;
  const GoneLog<AclSnmpTypeConfig> configMirror(this->sm_->codefedAclSnmpTypeConfig(type),
                                                "config mirror", gone);
  const GoneLog<AclSnmpTypeStatus> statusMirror(this->sm_->codefedAclSnmpTypeStatus(type),
                                                "status mirror", gone);
  const GoneLog<AclSnmpTypeConfigCodef> configCodef(this->sm_->aclSnmpTypeConfigCodef(type),
                                                    "config processor", gone);
  const GoneLog<AclSnmpTypeStatusCodef> statusCodef(this->sm_->aclSnmpTypeStatusCodef(type),
                                                    "status processor", gone);
  MibLog log(this->mib_);
  this->sm_ = nullptr;
  ASSERT_EQ(gone.size(), 4U);
  EXPECT_EQ(gone[0], "config processor");
  EXPECT_EQ(gone[1], "status processor");
  EXPECT_THAT(log.take(), IsEmpty());
  EXPECT_EQ(keys<typename TypeParam::AclEntry>(*this->mib_), Strings{"a"});
  EXPECT_EQ(keys<typename TypeParam::StatsEntry>(*this->mib_), Strings{"a 10"});
  EXPECT_EQ(this->mib_->aclStatus(), this->status_);
  EXPECT_EQ(this->status_->notifieeList().size(), 0U);
  EXPECT_EQ(this->scheduler_->tasks(), 0U);
  this->status_->statusDel(type);
  typeStatus->aclIs(Qel::make<Acl::AclStatus>("a"));
}

TYPED_TEST(MibSmEnd, AHeldMirrorForgetsItsParent) {
  this->status_->statusIs(TypeParam::kType);
  this->make();
  const auto configMirror = this->sm_->codefedAclSnmpTypeConfig(TypeParam::kType);
  const auto statusMirror = this->sm_->codefedAclSnmpTypeStatus(TypeParam::kType);
  this->sm_ = nullptr;
  EXPECT_EQ(configMirror->parent(), nullptr);
  EXPECT_EQ(statusMirror->parent(), nullptr);
  EXPECT_EQ(configMirror->notifieeList().size(), 0U);
}

TYPED_TEST(MibSmEnd, TakesEachProcessorDownAfterItsMirror) {
  constexpr Acl::AclType type = TypeParam::kType;
  this->status_->statusIs(type);
  this->make();
  const auto configMirror = this->sm_->codefedAclSnmpTypeConfig(type);
  const auto statusMirror = this->sm_->codefedAclSnmpTypeStatus(type);
  Strings gone;
  GoneLog<AclSnmpTypeConfigCodef> configCodef(this->sm_->aclSnmpTypeConfigCodef(type),
                                              "config processor", gone);
  GoneLog<AclSnmpTypeStatusCodef> statusCodef(this->sm_->aclSnmpTypeStatusCodef(type),
                                              "status processor", gone);
  configCodef.action = [&, machine = this->sm_.get()] {
    EXPECT_EQ(configMirror->parent(), nullptr);
    EXPECT_EQ(statusMirror->parent(), machine);
  };
  statusCodef.action = [&] {
    EXPECT_EQ(statusMirror->parent(), nullptr);
    EXPECT_EQ(statusMirror->notifieeList().size(), 1U);  // the type's machine
  };
  this->sm_ = nullptr;
  EXPECT_THAT(gone, ElementsAre("config processor", "status processor"));
  EXPECT_EQ(statusMirror->notifieeList().size(), 0U);
}

TYPED_TEST(MibSmEnd, TakesInNoTypeMeanwhile) {
  constexpr Acl::AclType type = TypeParam::kType;
  this->status_->statusIs(type);
  this->make();
  Strings gone;
  GoneLog<AclSnmpTypeConfigCodef> codef(this->sm_->aclSnmpTypeConfigCodef(type), "processor", gone);
  codef.action = [this] {
    this->status_->statusIs(TypeParam::kType == Acl::mac() ? Acl::ipv4() : Acl::mac());
  };
  const Support::TraceCapture traces("AclSnmpSm=8");
  this->sm_ = nullptr;
  EXPECT_THAT(gone, ElementsAre("processor"));
  EXPECT_THAT(traces.traced(), IsEmpty());
  EXPECT_EQ(this->scheduler_->tasks(), 0U);
}

}  // namespace
