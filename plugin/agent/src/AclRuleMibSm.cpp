#include "agent/AclRuleMibSm.h"

#include "AgentTrace.h"

namespace AclSnmp {

class AclRuleMibSm::QelConfig final : public Acl::AclConfig::NotifieeConst {
 public:
  explicit QelConfig(AclRuleMibSm* owner) : owner_(owner) {}
  void onCurrCfg() override {
    const auto kept = Qel::keep(owner_);
    owner_->currCfgIs(notifier()->currCfg());
    owner_->handleAclCurrCfg();
  }

 private:
  AclRuleMibSm* owner_;
};

/// Keeps the status alive and under the machine's notification flag; no attribute matters.
class AclRuleMibSm::QelStatus final : public Acl::AclStatus::NotifieeConst {};

class AclRuleMibSm::QelCurrCfg final : public Acl::AclSubConfig::NotifieeConst {
 public:
  explicit QelCurrCfg(AclRuleMibSm* owner) : owner_(owner) {}
  using Acl::AclSubConfig::NotifieeConst::onRemarkBySequence;
  using Acl::AclSubConfig::NotifieeConst::onRuleBySequence;
  void onRuleBySequence(uint32_t seq) override { changed(seq); }
  void onRemarkBySequence(uint32_t seq) override { changed(seq); }

 private:
  void changed(uint32_t seq) {
    const auto kept = Qel::keep(owner_);
    owner_->handleAclRuleConfig(seq);
  }

  AclRuleMibSm* owner_;
};

AclRuleMibSm::AclRuleMibSm(const AclConfigPtr& config, const Qel::Ptr<AclMib>& aclMib)
    : config_(Qel::validPtr(config)),
      aclMib_(Qel::validPtr(aclMib)),
      type_(config->type()),
      snmpName_(config->name()),
      configReactor_(std::make_unique<QelConfig>(this)),
      statusReactor_(std::make_unique<QelStatus>()),
      currCfgReactor_(std::make_unique<QelCurrCfg>(this)) {
  configReactor_->notifierIs(config_);
  currCfgIs(config_->currCfg());
  handleInitialized();
}

AclRuleMibSm::~AclRuleMibSm() {
  configReactor_->qelDoZombieReactors(true);
  statusReactor_->qelDoZombieReactors(true);
  currCfgReactor_->qelDoZombieReactors(true);
  configReactor_->notifierIs(nullptr);
  statusReactor_->notifierIs(nullptr);
  currCfgReactor_->notifierIs(nullptr);
}

const TableFamily& AclRuleMibSm::family() const {
  const TableFamily* family = tableFamily(type_);
  QEL_ASSERT_TEXT(family != nullptr, "config()->type() == Acl::ipv6()", kAgentSource);
  return *family;
}

void AclRuleMibSm::statusIs(const AclStatusPtr& status) {
  if (status == status_) return;
  status_ = status;
  statusReactor_->notifierIs(status);
  handleAclStatus();
}

void AclRuleMibSm::statusDel() {
  status_ = nullptr;
  statusReactor_->notifierIs(nullptr);
  handleAclStatus();
}

void AclRuleMibSm::currCfgIs(const SubConfigPtr& currCfg) {
  currCfg_ = currCfg;
  currCfgReactor_->notifierIs(currCfg);
}

void AclRuleMibSm::configIs(const AclConfigPtr& config) {
  config_ = config;
  if (config_) {
    type_ = config_->type();
    snmpName_ = Snmp::String(config_->name());
  }
  configReactor_->notifierIs(config_);
}

void AclRuleMibSm::hasNotificationActiveIs(bool active) {
  active_ = active;
  configReactor_->hasNotificationActiveIs(active);
  statusReactor_->hasNotificationActiveIs(active);
  currCfgReactor_->hasNotificationActiveIs(active);
}

void AclRuleMibSm::handleInitialized() {
  const Velomark::Block block(1, __PRETTY_FUNCTION__);
  ACLSNMP_SM_TRACE(8, "AclRuleMibSm::handleInitialized " << snmpName_);
  initialized_ = true;
  // Any row that these walks find is one too many.
  const auto refuse = [](const AclRuleTableIndex&) {
    QEL_ASSERT_TEXT(false, "iter.key().aclName() != snmpName", kAgentSource);
  };
  family().forEachRule(*aclMib_, snmpName_, refuse);
  family().forEachStats(*aclMib_, snmpName_, refuse);
  if (currCfg_) handleAclCurrCfg();
}

void AclRuleMibSm::handleAclCurrCfg() {
  const Velomark::Block block(1, __PRETTY_FUNCTION__);
  ACLSNMP_SM_TRACE(8, "AclRuleMibSm::handleAclCurrCfg " << snmpName_);
  const unsigned closings = closings_;
  const auto closed = [&] { return closings_ != closings; };
  const Qel::Seconds now = Qel::now();
  const SubConfigPtr current = currCfg_;
  if (current) {
    const auto addAll = [&](auto it) {
      for (; it && !closed(); ++it) {
        ACLSNMP_SM_TRACE(7, "handleAclCurrCfg add rule : " << snmpName_ << " : " << it.key());
        addRows(it.key(), now);
      }
    };
    addAll(current->ruleBySequence().begin());
    addAll(current->remarkBySequence().begin());
  }
  if (closed()) return;
  family().forEachRule(*aclMib_, snmpName_, [&](const AclRuleTableIndex& row) {
    if (closed() || hasSequence(row.seqId())) return;
    ACLSNMP_SM_TRACE(7, "handleAclCurrCfg delete rule : " << row);
    delRows(row);
  });
}

void AclRuleMibSm::handleAclRuleConfig(uint32_t seq) {
  const Velomark::Block block(1, __PRETTY_FUNCTION__);
  ACLSNMP_SM_TRACE(8, "AclRuleMibSm::handleAclRuleConfig: " << seq);
  if (hasSequence(seq)) {
    ACLSNMP_SM_TRACE(8, "handleAclRuleConfig add rule : " << snmpName_ << " : " << seq);
    addRows(seq, Qel::now());
  } else {
    ACLSNMP_SM_TRACE(8, "handleAclRuleConfig delete rule : " << snmpName_ << " : " << seq);
    delRows(index(seq));
  }
}

void AclRuleMibSm::handleAclStatus() {
  const Velomark::Block block(1, __PRETTY_FUNCTION__);
  family().forEachStats(*aclMib_, snmpName_, [&](const AclRuleTableIndex& row) {
    family().statsStatusIs(*aclMib_, row, status_);
  });
}

void AclRuleMibSm::doClose() {
  const Velomark::Block block(1, __PRETTY_FUNCTION__);
  ACLSNMP_SM_TRACE(8, "AclRuleMibSm::doClose: " << snmpName_);
  ++closings_;
  family().forEachRule(*aclMib_, snmpName_,
                       [&](const AclRuleTableIndex& row) { family().ruleDel(*aclMib_, row); });
  family().forEachStats(*aclMib_, snmpName_,
                        [&](const AclRuleTableIndex& row) { family().statsDel(*aclMib_, row); });
}

bool AclRuleMibSm::hasSequence(uint32_t seq) const {
  return currCfg_ &&
         (currCfg_->ruleBySequence().contains(seq) || currCfg_->remarkBySequence().contains(seq));
}

void AclRuleMibSm::addRows(uint32_t seq, Qel::Seconds now) {
  if (!config_ || family().hasRule(*aclMib_, index(seq))) return;
  const unsigned closings = closings_;
  family().ruleIs(*aclMib_, index(seq), config_);
  // Where an observer of the rule row closed the ACL, a statistics row would not be the machine's.
  if (closings_ == closings) family().statsIs(*aclMib_, index(seq), config_, now, status_);
}

void AclRuleMibSm::delRows(const AclRuleTableIndex& row) {
  const unsigned closings = closings_;
  family().ruleDel(*aclMib_, row);
  // Where an observer closed the ACL, a statistics row of this index would not be the machine's.
  if (closings_ == closings) family().statsDel(*aclMib_, row);
}

}  // namespace AclSnmp
