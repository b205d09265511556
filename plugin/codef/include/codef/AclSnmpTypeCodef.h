#pragma once

/// The deferred backlog processors, one per ACL type and side.
///
/// A processor notes the name of each ACL that its input says has changed and moves it into its
/// mirror in a later run on the task scheduler, one ACL at a time within the run's share of time.
/// Changes of one ACL before its turn count once, and what is mirrored is always the input at the
/// time of the run. A processor is live as soon as it exists: the ACLs that the input already holds
/// are queued first.

#include "codef/Mirror.h"
#include "codef/TypeCodef.h"

namespace AclSnmp {

struct TypeConfigCodefTraits {
  using Input = Acl::AclTypeConfig;
  using Output = AclSnmpTypeConfig;
  static constexpr const char* kHandleInitialized =
      "void AclSnmp::AclSnmpTypeConfigCodef::handleInitialized()";
  static constexpr const char* kHandleAcl =
      "void AclSnmp::AclSnmpTypeConfigCodef::handleAclConfig(Qel::Name)";
  static constexpr const char* kProcessBacklog =
      "uint64_t AclSnmp::AclSnmpTypeConfigCodef::processBacklog(const Qel::Seconds&)";
  static constexpr const char* kDoProcessing =
      "uint64_t AclSnmp::doProcessing(AclSnmp::AclSnmpTypeConfigCodef&, const Qel::Ptr<const "
      "Acl::AclTypeConfig>&, const Qel::Ptr<AclSnmp::AclSnmpTypeConfig>&, const Qel::Seconds&)";
};

struct TypeStatusCodefTraits {
  using Input = Acl::AclTypeStatus;
  using Output = AclSnmpTypeStatus;
  static constexpr const char* kHandleInitialized =
      "void AclSnmp::AclSnmpTypeStatusCodef::handleInitialized()";
  static constexpr const char* kHandleAcl =
      "void AclSnmp::AclSnmpTypeStatusCodef::handleAclStatus(Qel::Name)";
  static constexpr const char* kProcessBacklog =
      "uint64_t AclSnmp::AclSnmpTypeStatusCodef::processBacklog(const Qel::Seconds&)";
  static constexpr const char* kDoProcessing =
      "uint64_t AclSnmp::doProcessing(AclSnmp::AclSnmpTypeStatusCodef&, const Qel::Ptr<const "
      "Acl::AclTypeStatus>&, const Qel::Ptr<AclSnmp::AclSnmpTypeStatus>&, const Qel::Seconds&)";
};

/// Mirrors an ACL agent's configurations of one type.
class AclSnmpTypeConfigCodef final : public TypeCodef<TypeConfigCodefTraits> {
 public:
  /// What watches the input.
  class QelCfgIn final : public Reactor {
   public:
    using Reactor::Reactor;
  };

  /// A null input is none; a null scheduler throws `Qel::RangeException`.
  AclSnmpTypeConfigCodef(const Qel::Ptr<Mek::TaskScheduler>& taskScheduler,
                         Mek::TaskPriority taskPriority, Qel::String8 taskName,
                         const Qel::Ptr<const Acl::AclTypeConfig>& cfgIn,
                         const Qel::Ptr<AclSnmpTypeConfig>& cfgOut)
      : TypeCodef(taskScheduler, taskPriority, taskName, cfgOut) {
    start<QelCfgIn>(cfgIn);
  }
  Qel::String8 fwkType() const override { return "AclSnmp::AclSnmpTypeConfigCodef"; }

  Qel::Ptr<const Acl::AclTypeConfig> cfgIn() const { return InputPtr(input()); }
  const Qel::Ptr<AclSnmpTypeConfig>& cfgOut() const { return output(); }
  void cfgInIs(const Qel::Ptr<const Acl::AclTypeConfig>& cfgIn) { inputIs<QelCfgIn>(cfgIn); }
  /// Watches the input through a new reactor, in place of any other. Nothing is queued.
  void newCfgIn(const Qel::Ptr<const Acl::AclTypeConfig>& cfgIn) { newReactor<QelCfgIn>(cfgIn); }
  /// Disconnects and returns the old input.
  Qel::Ptr<const Acl::AclTypeConfig> cfgInDel() { return inputDel(); }
  void handleInitialized() { TypeCodef::handleInitialized(); }
  void handleAclConfig(Qel::Name name) { handleAcl(name); }
};

/// Mirrors an ACL agent's statuses of one type.
class AclSnmpTypeStatusCodef final : public TypeCodef<TypeStatusCodefTraits> {
 public:
  class QelStatusIn final : public Reactor {
   public:
    using Reactor::Reactor;
  };

  AclSnmpTypeStatusCodef(const Qel::Ptr<Mek::TaskScheduler>& taskScheduler,
                         Mek::TaskPriority taskPriority, Qel::String8 taskName,
                         const Qel::Ptr<const Acl::AclTypeStatus>& statusIn,
                         const Qel::Ptr<AclSnmpTypeStatus>& statusOut)
      : TypeCodef(taskScheduler, taskPriority, taskName, statusOut) {
    start<QelStatusIn>(statusIn);
  }
  Qel::String8 fwkType() const override { return "AclSnmp::AclSnmpTypeStatusCodef"; }

  Qel::Ptr<const Acl::AclTypeStatus> statusIn() const { return InputPtr(input()); }
  const Qel::Ptr<AclSnmpTypeStatus>& statusOut() const { return output(); }
  void statusInIs(const Qel::Ptr<const Acl::AclTypeStatus>& statusIn) {
    inputIs<QelStatusIn>(statusIn);
  }
  void newStatusIn(const Qel::Ptr<const Acl::AclTypeStatus>& statusIn) {
    newReactor<QelStatusIn>(statusIn);
  }
  Qel::Ptr<const Acl::AclTypeStatus> statusInDel() { return inputDel(); }
  void handleInitialized() { TypeCodef::handleInitialized(); }
  void handleAclStatus(Qel::Name name) { handleAcl(name); }
};

Qel::Ptr<AclSnmpTypeConfigCodef> AclSnmpTypeConfigCodefIs(
    const Qel::Ptr<Mek::TaskScheduler>& taskScheduler, Mek::TaskPriority taskPriority,
    Qel::String8 taskName, const Qel::Ptr<const Acl::AclTypeConfig>& cfgIn,
    const Qel::Ptr<AclSnmpTypeConfig>& cfgOut);
Qel::Ptr<AclSnmpTypeStatusCodef> AclSnmpTypeStatusCodefIs(
    const Qel::Ptr<Mek::TaskScheduler>& taskScheduler, Mek::TaskPriority taskPriority,
    Qel::String8 taskName, const Qel::Ptr<const Acl::AclTypeStatus>& statusIn,
    const Qel::Ptr<AclSnmpTypeStatus>& statusOut);

/// The factories under which the types are registered with the entity framework.
Qel::Ptr<AclSnmpTypeConfigCodef> aclSnmpTypeConfigCodefFactory(
    const Qel::Ptr<Mek::TaskScheduler>& taskScheduler, Mek::TaskPriority taskPriority,
    Qel::String8 taskName, const Qel::Ptr<const Acl::AclTypeConfig>& cfgIn,
    const Qel::Ptr<AclSnmpTypeConfig>& cfgOut);
Qel::Ptr<AclSnmpTypeStatusCodef> aclSnmpTypeStatusCodefFactory(
    const Qel::Ptr<Mek::TaskScheduler>& taskScheduler, Mek::TaskPriority taskPriority,
    Qel::String8 taskName, const Qel::Ptr<const Acl::AclTypeStatus>& statusIn,
    const Qel::Ptr<AclSnmpTypeStatus>& statusOut);

}  // namespace AclSnmp
