#pragma once

/// An entity of one ACL type with a collection of other entities under their own names: the base of
/// the per-type ACL configurations and statuses and of the plug-in's mirrors of them.

#include "acl/Types.h"
#include "qel/Entity.h"

namespace Acl {

/// `Self` is the deriving entity type, `Member` the type of what it collects. Members are shared
/// with whoever made them. Changes notify `onAcl(name)` after the fact.
template <class Self, class Member>
class NamedCollection : public Qel::Entity {
 public:
  using MemberPtr = Qel::Ptr<const Member>;

  class NotifieeConst : public Qel::NotifieeOf<Self> {
   public:
    using Qel::NotifieeOf<Self>::NotifieeOf;
    /// The entry of this name was added, replaced or removed.
    QEL_COLLECTION_CALLBACKS(Acl, Qel::Name)
  };

  /// The record of one member: the key is the member's own name.
  struct QelAcl {
    MemberPtr acl;
    Qel::Name key() const { return acl->name(); }
    friend bool operator==(const QelAcl&, const QelAcl&) = default;
  };
  using AclCollection = Qel::OrderedCollection<Qel::Name, QelAcl>;
  using AclIterator = typename AclCollection::ConstIterator;

  NamedCollection(Qel::Name name, AclType type) : Entity(std::move(name)), type_(type) {}

  AclType type() const { return type_; }
  const AclCollection& acl() const { return acl_; }
  /// The member of a name, or null.
  MemberPtr acl(const Qel::Name& name) const {
    const QelAcl* found = acl_.find(name);
    return found == nullptr ? nullptr : found->acl;
  }

  /// Puts a member under its own name. The member that is there already: nothing happens. Another
  /// one: it is replaced in place. Null throws `Qel::RangeException`.
  void aclIs(const MemberPtr& acl) {
    requireMember(acl);
    if (QelAcl* found = acl_.find(acl->name())) {
      if (found->acl == acl) return;
      acl_.insertOrAssign(acl->name(), QelAcl{acl});
    } else {
      newAcl(acl);
    }
    aclNotify(acl->name());
  }
  /// Inserts a member without a notification. Null throws `Qel::RangeException`.
  const QelAcl& newAcl(const MemberPtr& acl) {
    requireMember(acl);
    acl_.insertOrAssign(acl->name(), QelAcl{acl});
    return *acl_.find(acl->name());
  }
  /// Removes the member of a name and returns it; null, and no notification, when there is none.
  MemberPtr aclDel(Qel::Name name) {
    const auto removed = acl_.take(name);
    if (!removed) return nullptr;
    aclNotify(std::move(name));
    return removed->acl;
  }
  void aclDel(const AclIterator& position) { aclDel(position.key()); }
  /// Removes all, in name order, one notification each.
  void aclDelAll() {
    for (auto it = acl_.begin(); it; ++it) aclDel(it);
  }
  /// The name is the caller's to lose: an observer may end the member that it came from.
  void aclNotify(Qel::Name name) const {
    this->template notify<NotifieeConst>([&name](NotifieeConst& n) { n.onAcl(name); });
  }

 private:
  void requireMember(const MemberPtr& acl) const {
    if (acl) return;
    throw Qel::RangeException("null _acl parameter to mutator for " + fwkType().str() +
                              "::acl not allowed\"");
  }

  AclType type_;
  AclCollection acl_;
};

}  // namespace Acl
