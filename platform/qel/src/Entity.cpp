#include "qel/Entity.h"

namespace Qel {

String8 Entity::fullName() const {
  const auto* parent = dynamic_cast<const Entity*>(parent_);
  if (parent == nullptr) return name_.string();
  const String8 above = parent->fullName();
  return above.empty() ? name_.string() : above + "/" + name_.string();
}

void Entity::zeroReferencesIs() {
  notifieeList_.notify<Notifiee>([](Notifiee& n) { n.onZeroReferences(); });
  PtrInterface::zeroReferencesIs();
}

}  // namespace Qel
