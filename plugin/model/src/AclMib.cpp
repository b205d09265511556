#include "model/AclMib.h"

#include "qel/Type.h"

namespace AclSnmp {

Qel::Ptr<AclMib> AclMibIs(Qel::Name name) { return Qel::make<AclMib>(std::move(name)); }
Qel::Ptr<AclMib> aclMibFactory(Qel::Name name) { return AclMibIs(std::move(name)); }

namespace {
const struct Registered {
  Qel::TypeRegistration<AclMib> type{"AclSnmp::AclMib"};
  Registered() { type.factory(&aclMibFactory); }
} registered;
}  // namespace

}  // namespace AclSnmp
