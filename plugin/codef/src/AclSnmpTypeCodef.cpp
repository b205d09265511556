#include "codef/AclSnmpTypeCodef.h"

#include "qel/Type.h"

namespace AclSnmp {

Qel::TraceHandle& codefTrace() {
  static Qel::TraceHandle handle("AclSnmpTypeCodef");
  return handle;
}

Qel::Ptr<AclSnmpTypeConfig> aclSnmpTypeConfigFactory(Qel::Name name, Acl::AclType type) {
  return Qel::make<AclSnmpTypeConfig>(std::move(name), type);
}
Qel::Ptr<AclSnmpTypeStatus> aclSnmpTypeStatusFactory(Qel::Name name, Acl::AclType type) {
  return Qel::make<AclSnmpTypeStatus>(std::move(name), type);
}

Qel::Ptr<AclSnmpTypeConfigCodef> AclSnmpTypeConfigCodefIs(
    const Qel::Ptr<Mek::TaskScheduler>& taskScheduler, Mek::TaskPriority taskPriority,
    Qel::String8 taskName, const Qel::Ptr<const Acl::AclTypeConfig>& cfgIn,
    const Qel::Ptr<AclSnmpTypeConfig>& cfgOut) {
  return Qel::make<AclSnmpTypeConfigCodef>(taskScheduler, taskPriority, taskName, cfgIn, cfgOut);
}
Qel::Ptr<AclSnmpTypeStatusCodef> AclSnmpTypeStatusCodefIs(
    const Qel::Ptr<Mek::TaskScheduler>& taskScheduler, Mek::TaskPriority taskPriority,
    Qel::String8 taskName, const Qel::Ptr<const Acl::AclTypeStatus>& statusIn,
    const Qel::Ptr<AclSnmpTypeStatus>& statusOut) {
  return Qel::make<AclSnmpTypeStatusCodef>(taskScheduler, taskPriority, taskName, statusIn,
                                           statusOut);
}

Qel::Ptr<AclSnmpTypeConfigCodef> aclSnmpTypeConfigCodefFactory(
    const Qel::Ptr<Mek::TaskScheduler>& taskScheduler, Mek::TaskPriority taskPriority,
    Qel::String8 taskName, const Qel::Ptr<const Acl::AclTypeConfig>& cfgIn,
    const Qel::Ptr<AclSnmpTypeConfig>& cfgOut) {
  return AclSnmpTypeConfigCodefIs(taskScheduler, taskPriority, taskName, cfgIn, cfgOut);
}
Qel::Ptr<AclSnmpTypeStatusCodef> aclSnmpTypeStatusCodefFactory(
    const Qel::Ptr<Mek::TaskScheduler>& taskScheduler, Mek::TaskPriority taskPriority,
    Qel::String8 taskName, const Qel::Ptr<const Acl::AclTypeStatus>& statusIn,
    const Qel::Ptr<AclSnmpTypeStatus>& statusOut) {
  return AclSnmpTypeStatusCodefIs(taskScheduler, taskPriority, taskName, statusIn, statusOut);
}

namespace {
const struct Registered {
  Qel::TypeRegistration<AclSnmpTypeConfig> typeConfig{"AclSnmp::AclSnmpTypeConfig"};
  Qel::TypeRegistration<AclSnmpTypeStatus> typeStatus{"AclSnmp::AclSnmpTypeStatus"};
  Qel::TypeRegistration<AclSnmpTypeConfigCodef> configCodef{"AclSnmp::AclSnmpTypeConfigCodef"};
  Qel::TypeRegistration<AclSnmpTypeStatusCodef> statusCodef{"AclSnmp::AclSnmpTypeStatusCodef"};
  Registered() {
    typeConfig.factory(&aclSnmpTypeConfigFactory);
    typeStatus.factory(&aclSnmpTypeStatusFactory);
    configCodef.factory(&aclSnmpTypeConfigCodefFactory);
    statusCodef.factory(&aclSnmpTypeStatusCodefFactory);
  }
} registered;
}  // namespace

}  // namespace AclSnmp
