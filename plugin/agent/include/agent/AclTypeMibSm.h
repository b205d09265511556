#pragma once

/// The state machine of one ACL type: it keeps the type's ACL table in step with the type's mirrors
/// and owns one `AclRuleMibSm` for each configured ACL. An ACL's row comes before its rule rows and
/// goes before them.
///
/// An observer of the rows may change the mirrors. What it changes of an ACL whose rows are being
/// deleted is taken in when they are gone. The one thing that it may not do is remove an ACL whose
/// first rows are being made: without a rule machine that is a fatal assertion.

#include <map>
#include <memory>

#include "agent/AclRuleMibSm.h"
#include "codef/Mirror.h"

namespace AclSnmp {

class AclTypeMibSm : public Qel::PtrInterface {
 public:
  /// Takes in the ACLs of the configuration mirror at once. Rows in the type's ACL table are a
  /// fatal assertion; a null argument throws `Qel::RangeException`.
  AclTypeMibSm(const Qel::Ptr<const AclSnmpTypeConfig>& config,
               const Qel::Ptr<const AclSnmpTypeStatus>& status, const Qel::Ptr<AclMib>& aclMib);
  /// Leaves all rows where they are.
  ~AclTypeMibSm() override;

  Acl::AclType type() const { return type_; }
  const Qel::Ptr<const AclSnmpTypeConfig>& config() const { return config_; }
  const Qel::Ptr<const AclSnmpTypeStatus>& status() const { return status_; }
  const Qel::Ptr<AclMib>& aclMib() const { return aclMib_; }
  bool initialized() const { return initialized_; }

  using AclRuleSmCollection = Qel::OrderedCollection<Qel::Name, Qel::Ptr<AclRuleMibSm>>;
  const AclRuleSmCollection& aclRuleSm() const { return aclRuleSm_; }
  Qel::Ptr<AclRuleMibSm> aclRuleSm(const Qel::Name& name) const {
    return aclRuleSm_.valueOr(name, nullptr);
  }
  /// The machine of an ACL, made where it is absent. Null arguments throw `Qel::RangeException`, a
  /// machine made from other objects `Qel::NameInUseException`.
  Qel::Ptr<AclRuleMibSm> aclRuleSmIs(const AclConfigPtr& aclConfig, const Qel::Ptr<AclMib>& aclMib);
  void aclRuleSmDel(const Qel::Name& name);
  void aclRuleSmDelAll();

  /// These replace or drop a watched mirror; no handler runs.
  void configIs(const Qel::Ptr<const AclSnmpTypeConfig>& config);
  void configDel() { configIs(nullptr); }
  void statusIs(const Qel::Ptr<const AclSnmpTypeStatus>& status);
  void statusDel() { statusIs(nullptr); }

  bool hasNotificationActive() const { return active_; }
  /// Passed on to every rule machine.
  void hasNotificationActiveIs(bool active);

 private:
  class QelConfig;
  class QelStatus;

  void handleInitialized();
  void handleAclConfig(const Qel::Name& name);
  void handleAclStatus(const Qel::Name& name);
  const TableFamily& family() const;

  Acl::AclType type_;
  Qel::Ptr<const AclSnmpTypeConfig> config_;
  Qel::Ptr<const AclSnmpTypeStatus> status_;
  Qel::Ptr<AclMib> aclMib_;
  AclRuleSmCollection aclRuleSm_;
  // The ACLs whose rows are being deleted, and whether the mirror told of one meanwhile.
  std::map<Qel::Name, bool> closing_;
  bool initialized_ = false;
  bool active_ = true;
  std::unique_ptr<QelConfig> configReactor_;
  std::unique_ptr<QelStatus> statusReactor_;
};

}  // namespace AclSnmp
