#pragma once

/// The top-level state machine. For each ACL type in the ACL status it builds, in this order, the
/// configuration and the status mirror, the backlog processors that fill them, and the per-type
/// machine that watches them. Types come with the status; one never goes.

#include <memory>

#include "agent/AclTypeMibSm.h"
#include "codef/AclSnmpTypeCodef.h"

namespace AclSnmp {

class AclMibSm : public Qel::PtrInterface {
 public:
  template <class Member>
  using PerType = Qel::OrderedCollection<Acl::AclType, Qel::Ptr<Member>>;

  /// Takes in the types that the status has at once. A null `status` is not watched; the other
  /// arguments may not be null.
  AclMibSm(const Qel::Ptr<Mek::TaskScheduler>& scheduler, const Qel::Ptr<const Acl::Config>& config,
           const Qel::Ptr<const Acl::Status>& status, const Qel::Ptr<AclMib>& aclMib);
  /// Leaves all rows of the MIB entity where they are.
  ~AclMibSm() override;

  const Qel::Ptr<Mek::TaskScheduler>& scheduler() const { return scheduler_; }
  const Qel::Ptr<const Acl::Config>& config() const { return config_; }
  const Qel::Ptr<const Acl::Status>& status() const { return status_; }
  const Qel::Ptr<AclMib>& aclMib() const { return aclMib_; }
  bool initialized() const { return initialized_; }

  // The members of a type, or null.
  Qel::Ptr<AclSnmpTypeConfig> codefedAclSnmpTypeConfig(Acl::AclType type) const;
  Qel::Ptr<AclSnmpTypeConfigCodef> aclSnmpTypeConfigCodef(Acl::AclType type) const;
  Qel::Ptr<AclSnmpTypeStatus> codefedAclSnmpTypeStatus(Acl::AclType type) const;
  Qel::Ptr<AclSnmpTypeStatusCodef> aclSnmpTypeStatusCodef(Acl::AclType type) const;
  Qel::Ptr<AclTypeMibSm> aclTypeMibSm(Acl::AclType type) const;

  // Each makes the member of a type where it is absent and returns it.
  Qel::Ptr<AclSnmpTypeConfig> codefedAclSnmpTypeConfigIs(Acl::AclType type);
  Qel::Ptr<AclSnmpTypeStatus> codefedAclSnmpTypeStatusIs(Acl::AclType type);
  /// The type is the input's. A null argument throws `Qel::RangeException`, also where the
  /// processor is there.
  Qel::Ptr<AclSnmpTypeConfigCodef> aclSnmpTypeConfigCodefIs(
      const Qel::Ptr<Mek::TaskScheduler>& scheduler, Mek::TaskPriority priority,
      Qel::String8 taskName, const Qel::Ptr<const Acl::AclTypeConfig>& cfgIn,
      const Qel::Ptr<AclSnmpTypeConfig>& cfgOut);
  Qel::Ptr<AclSnmpTypeStatusCodef> aclSnmpTypeStatusCodefIs(
      const Qel::Ptr<Mek::TaskScheduler>& scheduler, Mek::TaskPriority priority,
      Qel::String8 taskName, const Qel::Ptr<const Acl::AclTypeStatus>& statusIn,
      const Qel::Ptr<AclSnmpTypeStatus>& statusOut);
  /// The type is the configuration mirror's. A null argument throws `Qel::RangeException`, a
  /// machine made from other objects `Qel::NameInUseException`.
  Qel::Ptr<AclTypeMibSm> aclTypeMibSmIs(const Qel::Ptr<const AclSnmpTypeConfig>& config,
                                        const Qel::Ptr<const AclSnmpTypeStatus>& status,
                                        const Qel::Ptr<AclMib>& aclMib);

  void codefedAclSnmpTypeConfigDel(Acl::AclType type);
  void aclSnmpTypeConfigCodefDel(Acl::AclType type);
  void codefedAclSnmpTypeStatusDel(Acl::AclType type);
  void aclSnmpTypeStatusCodefDel(Acl::AclType type);
  void aclTypeMibSmDel(Acl::AclType type);
  void codefedAclSnmpTypeConfigDelAll();
  void aclSnmpTypeConfigCodefDelAll();
  void codefedAclSnmpTypeStatusDelAll();
  void aclSnmpTypeStatusCodefDelAll();
  void aclTypeMibSmDelAll();

  /// Takes in every type that the status has.
  void handleInitialized();
  /// Makes what a type needs where it is absent. A type without its configuration or its status is
  /// a fatal assertion.
  void handleAclTypeStatus(Acl::AclType type);

  bool hasNotificationActive() const { return active_; }
  /// Passed on to every per-type machine.
  void hasNotificationActiveIs(bool active);

 private:
  class QelStatus;

  Qel::Ptr<Mek::TaskScheduler> scheduler_;
  Qel::Ptr<const Acl::Config> config_;
  Qel::Ptr<const Acl::Status> status_;
  Qel::Ptr<AclMib> aclMib_;
  PerType<AclSnmpTypeConfig> codefedAclSnmpTypeConfig_;
  PerType<AclSnmpTypeConfigCodef> aclSnmpTypeConfigCodef_;
  PerType<AclSnmpTypeStatus> codefedAclSnmpTypeStatus_;
  PerType<AclSnmpTypeStatusCodef> aclSnmpTypeStatusCodef_;
  PerType<AclTypeMibSm> aclTypeMibSm_;
  bool initialized_ = false;
  bool active_ = true;
  std::unique_ptr<QelStatus> statusReactor_;
};

}  // namespace AclSnmp
