#pragma once

/// ACL status: counters and what the data plane supports. Sources write it, the plug-in reads it.
///
///     Status -> AclTypeStatus (one per type) -> AclStatus (one per ACL)

#include <algorithm>
#include <limits>

#include "acl/NamedCollection.h"
#include "acl/Types.h"
#include "qel/Entity.h"

namespace Acl {

/// Counters by rule, which know how late the latest of them is.
template <class Key, class Value>
class RuleStatuses : public Qel::HashCollection<Key, Value> {
  using Base = Qel::HashCollection<Key, Value>;

 public:
  /// No counter in the collection has changed later; what has left it may have.
  Qel::Seconds latestUpdate() const { return latestUpdate_; }

  bool insertOrAssign(const Key& key, const Value& value) {
    latestUpdate_ = std::max(latestUpdate_, value.lastUpdateTime);
    return Base::insertOrAssign(key, value);
  }

 private:
  Qel::Seconds latestUpdate_ = -std::numeric_limits<Qel::Seconds>::infinity();
};

/// The status of the ACL of the same name.
class AclStatus : public Qel::Entity {
 public:
  class NotifieeConst : public Qel::NotifieeOf<AclStatus> {
   public:
    using Qel::NotifieeOf<AclStatus>::NotifieeOf;
    QEL_COLLECTION_CALLBACKS(RuleStatus, UniqueId)
    QEL_COLLECTION_CALLBACKS(ConnRuleStatus, UniqueId)
    virtual void onCounterUpdateTime() {}
    virtual void onVersion() {}
    virtual void onCountersIncomplete() {}
    virtual void onNoRuleMatches() {}
    virtual void onNoConnRuleMatches() {}
  };

  explicit AclStatus(Qel::Name name) : Entity(std::move(name)) {}
  Qel::String8 fwkType() const override { return "Acl::AclStatus"; }

  QEL_VALUE_COLLECTION(RuleStatuses, UniqueId, RuleStatus, ruleStatus, RuleStatus, RuleStatus())
  QEL_VALUE_COLLECTION(Qel::HashCollection, UniqueId, RuleStatus, connRuleStatus, ConnRuleStatus,
                       RuleStatus())
  QEL_ATTRIBUTE(Qel::Seconds, counterUpdateTime, CounterUpdateTime)
  QEL_ATTRIBUTE(uint64_t, version, Version)
  /// Whether some of the ACL's rules are not counted.
  QEL_ATTRIBUTE(bool, countersIncomplete, CountersIncomplete)
  QEL_ATTRIBUTE(uint64_t, noRuleMatches, NoRuleMatches)
  QEL_ATTRIBUTE(uint64_t, noConnRuleMatches, NoConnRuleMatches)
};

/// The statuses of one type's ACLs by ACL name.
class AclTypeStatus final : public NamedCollection<AclTypeStatus, AclStatus> {
 public:
  class NotifieeConst : public NamedCollection::NotifieeConst {
   public:
    using NamedCollection::NotifieeConst::NotifieeConst;
    QEL_COLLECTION_CALLBACKS(Intf, AclDirection)
  };

  using NamedCollection::NamedCollection;
  Qel::String8 fwkType() const override { return "Acl::AclTypeStatus"; }

  /// How many interfaces an ACL of the type is bound to, by direction.
  QEL_VALUE_COLLECTION(Qel::OrderedCollection, AclDirection, uint32_t, intf, Intf, 0)
};

class StatusBase : public Qel::Entity {
 public:
  class NotifieeConst : public Qel::NotifieeOf<StatusBase> {
   public:
    using Qel::NotifieeOf<StatusBase>::NotifieeOf;
    /// The status of this type was added, replaced or removed.
    QEL_COLLECTION_CALLBACKS(Status, AclType)
    virtual void onDpAclSupported() {}
    virtual void onDpAclLoggingSupported() {}
    virtual void onDpAclCountersSupported() {}
    virtual void onDpRouterAclSupported() {}
    // Of a `Status` only.
    QEL_COLLECTION_CALLBACKS(CpStatus, AclType)
    virtual void onEgressIpRaclSharing() {}
  };

  explicit StatusBase(Qel::Name name) : Entity(std::move(name)) {}
  ~StatusBase() override;

  using StatusCollection = Qel::OrderedCollection<AclType, Qel::Ptr<AclTypeStatus>>;
  const StatusCollection& status() const { return status_; }
  /// The status of a type, or null.
  Qel::Ptr<AclTypeStatus> status(AclType type) { return status_.valueOr(type, nullptr); }
  Qel::Ptr<const AclTypeStatus> status(AclType type) const {
    return status_.valueOr(type, nullptr);
  }
  /// The status of a type, made where it is absent.
  Qel::Ptr<AclTypeStatus> statusIs(AclType type);
  void statusDel(AclType type);
  void statusNotify(AclType type) const;

  // What the data plane can do.
  QEL_ATTRIBUTE(bool, dpAclSupported, DpAclSupported)
  QEL_ATTRIBUTE(bool, dpAclLoggingSupported, DpAclLoggingSupported)
  QEL_ATTRIBUTE(bool, dpAclCountersSupported, DpAclCountersSupported)
  QEL_ATTRIBUTE(bool, dpRouterAclSupported, DpRouterAclSupported)

 private:
  StatusCollection status_;
};

/// The ACL status of a switch.
class Status : public StatusBase {
 public:
  using StatusBase::StatusBase;
  Qel::String8 fwkType() const override { return "Acl::Status"; }

  /// The control plane's own ACLs.
  Qel::Ptr<AclTypeStatus> cpStatus(AclType type) const { return cpStatus_.valueOr(type, nullptr); }
  void cpStatusIs(const Qel::Ptr<AclTypeStatus>& status) {
    const AclType type = status->type();
    if (!cpStatus_.insertOrAssign(type, status)) return;
    notify<NotifieeConst>([type](NotifieeConst& n) { n.onCpStatus(type); });
  }
  QEL_ATTRIBUTE(bool, egressIpRaclSharing, EgressIpRaclSharing)

 private:
  StatusCollection cpStatus_;
};

namespace Input {

/// What one source reports, for the ACLs that it configures. It stands in the status input
/// directory under the source's name and has every type from the start.
class Status final : public StatusBase {
 public:
  explicit Status(Qel::Name name);
  Qel::String8 fwkType() const override { return "Acl::Input::Status"; }
};

}  // namespace Input
}  // namespace Acl
