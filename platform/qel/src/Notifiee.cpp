#include "qel/Notifiee.h"

#include <algorithm>

namespace Qel {

Notifiee::~Notifiee() { leave(); }

void Notifiee::join(NotifieeList& list) {
  leave();
  list_ = &list;
  list.add(this);
}

void Notifiee::leave() {
  if (list_ != nullptr) list_->remove(this);
  list_ = nullptr;
}

NotifieeList::~NotifieeList() {
  for (Notifiee* notifiee : notifiees_) {
    if (notifiee == nullptr) continue;
    notifiee->list_ = nullptr;
    notifiee->notifierGone();
  }
}

size_t NotifieeList::size() const {
  return notifiees_.size() -
         static_cast<size_t>(std::count(notifiees_.begin(), notifiees_.end(), nullptr));
}

void NotifieeList::remove(Notifiee* notifiee) {
  const auto slot = std::find(notifiees_.begin(), notifiees_.end(), notifiee);
  if (walks_ != 0) {
    *slot = nullptr;
  } else {
    notifiees_.erase(slot);
  }
}

void NotifieeList::compact() { std::erase(notifiees_, nullptr); }

}  // namespace Qel
