#include "agent/AclTypeMibSm.h"

#include "AgentTrace.h"

namespace AclSnmp {

class AclTypeMibSm::QelConfig final : public AclSnmpTypeConfig::NotifieeConst {
 public:
  explicit QelConfig(AclTypeMibSm* owner) : owner_(owner) {}
  using AclSnmpTypeConfig::NotifieeConst::onAcl;
  void onAcl(Qel::Name name) override {
    const auto kept = Qel::keep(owner_);
    owner_->handleAclConfig(name);
  }

 private:
  AclTypeMibSm* owner_;
};

class AclTypeMibSm::QelStatus final : public AclSnmpTypeStatus::NotifieeConst {
 public:
  explicit QelStatus(AclTypeMibSm* owner) : owner_(owner) {}
  using AclSnmpTypeStatus::NotifieeConst::onAcl;
  void onAcl(Qel::Name name) override {
    const auto kept = Qel::keep(owner_);
    owner_->handleAclStatus(name);
  }

 private:
  AclTypeMibSm* owner_;
};

AclTypeMibSm::AclTypeMibSm(const Qel::Ptr<const AclSnmpTypeConfig>& config,
                           const Qel::Ptr<const AclSnmpTypeStatus>& status,
                           const Qel::Ptr<AclMib>& aclMib)
    : type_(Qel::validPtr(config)->type()),
      config_(config),
      status_(Qel::validPtr(status)),
      aclMib_(Qel::validPtr(aclMib)),
      configReactor_(std::make_unique<QelConfig>(this)),
      statusReactor_(std::make_unique<QelStatus>(this)) {
  configReactor_->notifierIs(config_);
  statusReactor_->notifierIs(status_);
  handleInitialized();
}

AclTypeMibSm::~AclTypeMibSm() {
  configReactor_->qelDoZombieReactors(true);
  statusReactor_->qelDoZombieReactors(true);
  configReactor_->notifierIs(nullptr);
  statusReactor_->notifierIs(nullptr);
  aclRuleSmDelAll();
}

const TableFamily& AclTypeMibSm::family() const {
  const TableFamily* family = tableFamily(type_);
  QEL_ASSERT_TEXT(family != nullptr, "type() == Acl::ipv6()", kAgentSource);
  return *family;
}

Qel::Ptr<AclRuleMibSm> AclTypeMibSm::aclRuleSmIs(const AclConfigPtr& aclConfig,
                                                 const Qel::Ptr<AclMib>& aclMib) {
  const Qel::Name name = Qel::validPtr(aclConfig)->name();
  Qel::validPtr(aclMib);
  if (const auto present = aclRuleSm(name)) {
    requireSame("_config", aclConfig, present->config());
    requireSame("_aclMib", aclMib, present->aclMib());
    return present;
  }
  const auto made = Qel::validPtr(Qel::make<AclRuleMibSm>(aclConfig, aclMib));
  made->hasNotificationActiveIs(active_);
  aclRuleSm_.insertOrAssign(name, made);
  return made;
}

void AclTypeMibSm::aclRuleSmDel(const Qel::Name& name) { aclRuleSm_.erase(name); }

void AclTypeMibSm::aclRuleSmDelAll() {
  for (auto it = aclRuleSm_.begin(); it; ++it) aclRuleSmDel(it.key());
}

void AclTypeMibSm::configIs(const Qel::Ptr<const AclSnmpTypeConfig>& config) {
  config_ = config;
  configReactor_->notifierIs(config);
}

void AclTypeMibSm::statusIs(const Qel::Ptr<const AclSnmpTypeStatus>& status) {
  status_ = status;
  statusReactor_->notifierIs(status);
}

void AclTypeMibSm::hasNotificationActiveIs(bool active) {
  active_ = active;
  configReactor_->hasNotificationActiveIs(active);
  statusReactor_->hasNotificationActiveIs(active);
  for (auto it = aclRuleSm_.begin(); it; ++it) it.value()->hasNotificationActiveIs(active);
}

void AclTypeMibSm::handleInitialized() {
  const Velomark::Block block(1, __PRETTY_FUNCTION__);
  ACLSNMP_SM_TRACE(8, "AclTypeMibSm::handleInitialized");
  initialized_ = true;
  QEL_ASSERT_TEXT(family().empty(*aclMib_), family().emptyText, kAgentSource);
  const auto config = config_;
  for (auto it = config->acl().begin(); it; ++it) handleAclConfig(it.key());
}

void AclTypeMibSm::handleAclConfig(const Qel::Name& name) {
  const Velomark::Block block(1, __PRETTY_FUNCTION__);
  ACLSNMP_SM_TRACE(8, "AclTypeMibSm::handleAclConfig " << name);
  const AclConfigPtr aclConfig = config_ ? config_->acl(name) : nullptr;
  const AclStatusPtr aclStatus = status_ ? status_->acl(name) : nullptr;
  if (const auto closing = closing_.find(name); closing != closing_.end()) {
    closing->second = true;
    return;
  }
  if (aclConfig) {
    const Snmp::String snmpName(aclConfig->name());
    ACLSNMP_SM_TRACE(7, "handleIpAclConfig add : " << name);
    family().aclIs(*aclMib_, snmpName, aclConfig, aclStatus);
    aclRuleSmIs(aclConfig, aclMib_);
    aclRuleSm(name)->statusIs(aclStatus);
    return;
  }
  ACLSNMP_SM_TRACE(7, "handleIpAclConfig del : " << name);
  bool told = false;
  {
    const struct Closing {
      std::map<Qel::Name, bool>& all;
      const std::map<Qel::Name, bool>::iterator own;
      ~Closing() { all.erase(own); }
    } closing{closing_, closing_.emplace(name, false).first};
    family().aclDel(*aclMib_, Snmp::String(name));
    const auto ruleSm = aclRuleSm(name);
    QEL_ASSERT_TEXT(ruleSm, "ruleSm", kAgentSource);
    // Or the rows would follow edits that observers of the deletion make.
    ruleSm->hasNotificationActiveIs(false);
    ruleSm->doClose();
    aclRuleSmDel(name);
    told = closing.own->second;
  }
  // An observer of the rows may have added the ACL again.
  if (told && config_ && config_->acl(name)) handleAclConfig(name);
}

void AclTypeMibSm::handleAclStatus(const Qel::Name& name) {
  const Velomark::Block block(1, __PRETTY_FUNCTION__);
  ACLSNMP_SM_TRACE(8, "AclTypeMibSm::handleAclStatus " << name);
  const AclStatusPtr aclStatus = status_ ? status_->acl(name) : nullptr;
  const AclConfigPtr aclConfig = config_ ? config_->acl(name) : nullptr;
  if (!aclConfig || closing_.contains(name)) return;
  ACLSNMP_SM_TRACE(7, "handleAclStatus update : " << name);
  QEL_ASSERT_TEXT(family().aclStatusIs(*aclMib_, Snmp::String(name), aclStatus), family().rowText,
                  kAgentSource);
  const auto ruleSm = aclRuleSm(name);
  QEL_ASSERT_TEXT(ruleSm, "ruleSm", kAgentSource);
  ruleSm->statusIs(aclStatus);
}

}  // namespace AclSnmp
