#pragma once

/// The state machine of one ACL: it keeps the ACL's rule and statistics rows in step with the
/// sequence numbers of the current sub-configuration's rules and remarks, and its statistics rows
/// with the ACL's status. Rows read their values live, so only their existence, creation time and
/// status are decided here.

#include <memory>

#include "acl/Config.h"
#include "acl/Status.h"
#include "agent/TableFamily.h"
#include "model/AclMib.h"

namespace AclSnmp {

class AclRuleMibSm : public Qel::PtrInterface {
 public:
  using SubConfigPtr = Qel::Ptr<const Acl::AclSubConfig>;

  /// Adds the rows of the ACL at once. Finding rows of this ACL is a fatal assertion; a null
  /// argument throws `Qel::RangeException`.
  AclRuleMibSm(const AclConfigPtr& config, const Qel::Ptr<AclMib>& aclMib);
  /// Leaves all rows where they are.
  ~AclRuleMibSm() override;

  const AclConfigPtr& config() const { return config_; }
  const Qel::Ptr<AclMib>& aclMib() const { return aclMib_; }
  const AclStatusPtr& status() const { return status_; }
  const SubConfigPtr& currCfg() const { return currCfg_; }
  bool initialized() const { return initialized_; }

  /// Hands the ACL's status, or null, to its statistics rows. The status it has already: nothing.
  void statusIs(const AclStatusPtr& status);
  void statusDel();
  /// These point a reactor elsewhere; no handler runs. The machine's rows are those of the last
  /// configuration's name and type; without a configuration none are added.
  void currCfgIs(const SubConfigPtr& currCfg);
  void currCfgDel() { currCfgIs(nullptr); }
  void configIs(const AclConfigPtr& config);
  void configDel() { configIs(nullptr); }

  bool hasNotificationActive() const { return active_; }
  void hasNotificationActiveIs(bool active);

  /// Deletes every rule row and then every statistics row of the ACL. A handler that is under way,
  /// because an observer of its rows closes the ACL, does no more.
  void doClose();

 private:
  class QelConfig;
  class QelStatus;
  class QelCurrCfg;

  void handleInitialized();
  void handleAclCurrCfg();
  void handleAclRuleConfig(uint32_t seq);
  void handleAclStatus();

  const TableFamily& family() const;
  bool hasSequence(uint32_t seq) const;
  void addRows(uint32_t seq, Qel::Seconds now);
  void delRows(const AclRuleTableIndex& row);
  AclRuleTableIndex index(uint32_t seq) const { return {snmpName_, seq}; }

  AclConfigPtr config_;
  Qel::Ptr<AclMib> aclMib_;
  AclStatusPtr status_;
  SubConfigPtr currCfg_;
  Acl::AclType type_;
  Snmp::String snmpName_;
  unsigned closings_ = 0;
  bool initialized_ = false;
  bool active_ = true;
  std::unique_ptr<QelConfig> configReactor_;
  std::unique_ptr<QelStatus> statusReactor_;
  std::unique_ptr<QelCurrCfg> currCfgReactor_;
};

}  // namespace AclSnmp
