#include "acl/Config.h"
#include "acl/Status.h"

namespace Acl {

Config::Config(Qel::Name name) : Entity(std::move(name)) {
  for (const AclType type : kAclTypes) {
    const auto typeConfig = Qel::make<AclTypeConfig>(stringValue(type), type);
    typeConfig->parentIs(this, "typeConfig");
    typeConfig_.insertOrAssign(type, typeConfig);
  }
}

Config::~Config() {
  for (auto it = typeConfig_.begin(); it; ++it) it.value()->parentIs(nullptr, {});
}

Qel::Ptr<AclTypeConfig> Config::typeConfig(AclType type) {
  return typeConfig_.valueOr(type, nullptr);
}

Qel::Ptr<const AclTypeConfig> Config::typeConfig(AclType type) const {
  return typeConfig_.valueOr(type, nullptr);
}

void Config::typeConfigDel(AclType type) {
  if (const auto removed = typeConfig_.take(type)) (*removed)->parentIs(nullptr, {});
}

StatusBase::~StatusBase() {
  for (auto it = status_.begin(); it; ++it) it.value()->parentIs(nullptr, {});
}

Qel::Ptr<AclTypeStatus> StatusBase::statusIs(AclType type) {
  if (const auto present = status(type)) return present;
  const auto made = Qel::make<AclTypeStatus>(stringValue(type), type);
  made->parentIs(this, "status");
  status_.insertOrAssign(type, made);
  statusNotify(type);
  return made;
}

void StatusBase::statusDel(AclType type) {
  const auto removed = status_.take(type);
  if (!removed) return;
  (*removed)->parentIs(nullptr, {});
  statusNotify(type);
}

void StatusBase::statusNotify(AclType type) const {
  notify<NotifieeConst>([type](NotifieeConst& n) { n.onStatus(type); });
}

namespace Input {

Status::Status(Qel::Name name) : StatusBase(std::move(name)) {
  for (const AclType type : kAclTypes) statusIs(type);
}

}  // namespace Input
}  // namespace Acl
