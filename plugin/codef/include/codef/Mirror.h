#pragma once

/// The plug-in's mirrors of the ACLs of one type: which configurations and which statuses exist, as
/// far as the backlog has been worked off. Written by the backlog processors, watched by the
/// per-type state machine.

#include "acl/Config.h"
#include "acl/NamedCollection.h"
#include "acl/Status.h"

namespace AclSnmp {

class AclSnmpTypeConfig final : public Acl::NamedCollection<AclSnmpTypeConfig, Acl::AclConfig> {
 public:
  using NamedCollection::NamedCollection;
  Qel::String8 fwkType() const override { return "AclSnmp::AclSnmpTypeConfig"; }
};

class AclSnmpTypeStatus final : public Acl::NamedCollection<AclSnmpTypeStatus, Acl::AclStatus> {
 public:
  using NamedCollection::NamedCollection;
  Qel::String8 fwkType() const override { return "AclSnmp::AclSnmpTypeStatus"; }
};

/// The factories under which the types are registered with the entity framework.
Qel::Ptr<AclSnmpTypeConfig> aclSnmpTypeConfigFactory(Qel::Name name, Acl::AclType type);
Qel::Ptr<AclSnmpTypeStatus> aclSnmpTypeStatusFactory(Qel::Name name, Acl::AclType type);

}  // namespace AclSnmp
