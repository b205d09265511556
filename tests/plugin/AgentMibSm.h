#pragma once

/// The top-level machine on an ACL configuration and status without ACLs.

#include "Fixtures.h"
#include "agent/AclMibSm.h"

namespace Fixtures {

class MibSmBase : public testing::Test {
 protected:
  void make() { sm_ = Qel::make<AclSnmp::AclMibSm>(scheduler_, config_, status_, mib_); }
  void runAll() {
    while (scheduler_->runNext()) {
    }
  }
  void expectMembers(Acl::AclType type, bool there) {
    EXPECT_EQ(static_cast<bool>(sm_->codefedAclSnmpTypeConfig(type)), there);
    EXPECT_EQ(static_cast<bool>(sm_->codefedAclSnmpTypeStatus(type)), there);
    EXPECT_EQ(static_cast<bool>(sm_->aclSnmpTypeConfigCodef(type)), there);
    EXPECT_EQ(static_cast<bool>(sm_->aclSnmpTypeStatusCodef(type)), there);
    EXPECT_EQ(static_cast<bool>(sm_->aclTypeMibSm(type)), there);
  }

  Qel::ManualClock clock_{100};
  Ptr<Mek::TaskScheduler> scheduler_ = Qel::make<Mek::TaskScheduler>();
  Ptr<Acl::Config> config_ = Qel::make<Acl::Config>("config");
  Ptr<Acl::Status> status_ = Qel::make<Acl::Status>("status");
  Ptr<AclMib> mib_ = AclSnmp::AclMibIs("mib");
  Ptr<AclSnmp::AclMibSm> sm_;
};

}  // namespace Fixtures
