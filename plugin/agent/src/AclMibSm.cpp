#include "agent/AclMibSm.h"

#include "AgentTrace.h"

namespace AclSnmp {

namespace {

constexpr Mek::TaskPriority kCodefPriority = 2;

template <class Member>
void delAll(AclMibSm::PerType<Member>& members) {
  for (auto it = members.begin(); it; ++it) members.erase(it.key());
}

/// Makes a mirror parented to its machine where the type has none.
template <class Mirror>
Qel::Ptr<Mirror> mirrorIs(AclMibSm::PerType<Mirror>& mirrors, Acl::AclType type,
                          const AclMibSm* parent, const char* attribute) {
  if (const auto present = mirrors.valueOr(type, nullptr)) return present;
  const auto made = Qel::validPtr(Qel::make<Mirror>(Qel::String8(Acl::valueToStrep(type)), type));
  made->parentIs(parent, attribute);
  mirrors.insertOrAssign(type, made);
  return made;
}

/// The machine does not outlive its mirrors' parent pointer: whoever still holds one sees none.
template <class Mirror>
void mirrorDel(AclMibSm::PerType<Mirror>& mirrors, Acl::AclType type) {
  if (const auto removed = mirrors.take(type)) (*removed)->parentIs(nullptr, {});
}

template <class Mirror>
void mirrorDelAll(AclMibSm::PerType<Mirror>& mirrors) {
  for (auto it = mirrors.begin(); it; ++it) mirrorDel(mirrors, it.key());
}

}  // namespace

Qel::TraceHandle& agentTrace() {
  static Qel::TraceHandle handle("AclSnmpSm");
  return handle;
}

class AclMibSm::QelStatus final : public Acl::Status::NotifieeConst {
 public:
  explicit QelStatus(AclMibSm* owner) : owner_(owner) {}
  using Acl::Status::NotifieeConst::onStatus;
  void onStatus(Acl::AclType type) override {
    const auto kept = Qel::keep(owner_);
    owner_->handleAclTypeStatus(type);
  }

 private:
  AclMibSm* owner_;
};

AclMibSm::AclMibSm(const Qel::Ptr<Mek::TaskScheduler>& scheduler,
                   const Qel::Ptr<const Acl::Config>& config,
                   const Qel::Ptr<const Acl::Status>& status, const Qel::Ptr<AclMib>& aclMib)
    : scheduler_(scheduler), config_(config), status_(status), aclMib_(aclMib) {
  if (status_) {
    statusReactor_ = std::make_unique<QelStatus>(this);
    statusReactor_->notifierIs(status_);
  }
  handleInitialized();
}

AclMibSm::~AclMibSm() {
  if (statusReactor_) {
    statusReactor_->qelDoZombieReactors(true);
    statusReactor_->notifierIs(nullptr);
  }
  codefedAclSnmpTypeConfigDelAll();
  aclSnmpTypeConfigCodefDelAll();
  codefedAclSnmpTypeStatusDelAll();
  aclSnmpTypeStatusCodefDelAll();
  aclTypeMibSmDelAll();
}

void AclMibSm::handleInitialized() {
  const Velomark::Block block(1, __PRETTY_FUNCTION__);
  ACLSNMP_SM_TRACE(8, "AclMibSm::handleInitialized");
  initialized_ = true;
  aclMib_->aclStatusIs(status_);
  if (!status_) return;
  for (auto it = status_->status().begin(); it; ++it) handleAclTypeStatus(it.key());
}

void AclMibSm::handleAclTypeStatus(Acl::AclType type) {
  const Velomark::Block block(1, __PRETTY_FUNCTION__);
  ACLSNMP_SM_TRACE(8, "AclMibSm::handleAclTypeStatus( " << type << " )");
  const auto typeConfig = config_->typeConfig(type);
  const auto typeStatus = status_->status(type);
  QEL_ASSERT(typeConfig && typeStatus, kAgentSource);
  codefedAclSnmpTypeConfigIs(type);
  codefedAclSnmpTypeStatusIs(type);
  const Qel::String8 typeName = Acl::stringValue(type);
  aclSnmpTypeConfigCodefIs(scheduler_, kCodefPriority, typeName + " ACL Config processing",
                           typeConfig, codefedAclSnmpTypeConfig(type));
  aclSnmpTypeStatusCodefIs(scheduler_, kCodefPriority, typeName + " ACL Status processing",
                           typeStatus, codefedAclSnmpTypeStatus(type));
  aclTypeMibSmIs(codefedAclSnmpTypeConfig(type), codefedAclSnmpTypeStatus(type), aclMib_);
}

void AclMibSm::hasNotificationActiveIs(bool active) {
  active_ = active;
  if (statusReactor_) statusReactor_->hasNotificationActiveIs(active);
  for (auto it = aclTypeMibSm_.begin(); it; ++it) it.value()->hasNotificationActiveIs(active);
}

Qel::Ptr<AclSnmpTypeConfig> AclMibSm::codefedAclSnmpTypeConfig(Acl::AclType type) const {
  return codefedAclSnmpTypeConfig_.valueOr(type, nullptr);
}
Qel::Ptr<AclSnmpTypeConfigCodef> AclMibSm::aclSnmpTypeConfigCodef(Acl::AclType type) const {
  return aclSnmpTypeConfigCodef_.valueOr(type, nullptr);
}
Qel::Ptr<AclSnmpTypeStatus> AclMibSm::codefedAclSnmpTypeStatus(Acl::AclType type) const {
  return codefedAclSnmpTypeStatus_.valueOr(type, nullptr);
}
Qel::Ptr<AclSnmpTypeStatusCodef> AclMibSm::aclSnmpTypeStatusCodef(Acl::AclType type) const {
  return aclSnmpTypeStatusCodef_.valueOr(type, nullptr);
}
Qel::Ptr<AclTypeMibSm> AclMibSm::aclTypeMibSm(Acl::AclType type) const {
  return aclTypeMibSm_.valueOr(type, nullptr);
}

Qel::Ptr<AclSnmpTypeConfig> AclMibSm::codefedAclSnmpTypeConfigIs(Acl::AclType type) {
  return mirrorIs(codefedAclSnmpTypeConfig_, type, this, "codefedAclSnmpTypeConfig");
}
Qel::Ptr<AclSnmpTypeStatus> AclMibSm::codefedAclSnmpTypeStatusIs(Acl::AclType type) {
  return mirrorIs(codefedAclSnmpTypeStatus_, type, this, "codefedAclSnmpTypeStatus");
}

Qel::Ptr<AclSnmpTypeConfigCodef> AclMibSm::aclSnmpTypeConfigCodefIs(
    const Qel::Ptr<Mek::TaskScheduler>& scheduler, Mek::TaskPriority priority,
    Qel::String8 taskName, const Qel::Ptr<const Acl::AclTypeConfig>& cfgIn,
    const Qel::Ptr<AclSnmpTypeConfig>& cfgOut) {
  if (!cfgIn) {
    throw Qel::RangeException(
        "null aclSnmpTypeConfigCodef_CfgIn parameter to mutator for "
        "AclSnmp::AclMibSm::aclSnmpTypeConfigCodef not allowed\"");
  }
  Qel::validPtr(scheduler);
  Qel::validPtr(cfgOut);
  if (const auto present = aclSnmpTypeConfigCodef(cfgIn->type())) return present;
  const auto made = Qel::validPtr(
      AclSnmpTypeConfigCodefIs(scheduler, priority, std::move(taskName), cfgIn, cfgOut));
  aclSnmpTypeConfigCodef_.insertOrAssign(cfgIn->type(), made);
  return made;
}

Qel::Ptr<AclSnmpTypeStatusCodef> AclMibSm::aclSnmpTypeStatusCodefIs(
    const Qel::Ptr<Mek::TaskScheduler>& scheduler, Mek::TaskPriority priority,
    Qel::String8 taskName, const Qel::Ptr<const Acl::AclTypeStatus>& statusIn,
    const Qel::Ptr<AclSnmpTypeStatus>& statusOut) {
  if (!statusIn) {
    throw Qel::RangeException(
        "null aclSnmpTypeStatusCodef_StatusIn parameter to mutator for "
        "AclSnmp::AclMibSm::aclSnmpTypeStatusCodef not allowed\"");
  }
  Qel::validPtr(scheduler);
  Qel::validPtr(statusOut);
  if (const auto present = aclSnmpTypeStatusCodef(statusIn->type())) return present;
  const auto made = Qel::validPtr(
      AclSnmpTypeStatusCodefIs(scheduler, priority, std::move(taskName), statusIn, statusOut));
  aclSnmpTypeStatusCodef_.insertOrAssign(statusIn->type(), made);
  return made;
}

Qel::Ptr<AclTypeMibSm> AclMibSm::aclTypeMibSmIs(const Qel::Ptr<const AclSnmpTypeConfig>& config,
                                                const Qel::Ptr<const AclSnmpTypeStatus>& status,
                                                const Qel::Ptr<AclMib>& aclMib) {
  const Acl::AclType type = Qel::validPtr(config)->type();
  Qel::validPtr(status);
  Qel::validPtr(aclMib);
  if (const auto present = aclTypeMibSm(type)) {
    requireSame("_config", config, present->config());
    requireSame("_status", status, present->status());
    requireSame("_aclMib", aclMib, present->aclMib());
    return present;
  }
  const auto made = Qel::validPtr(Qel::make<AclTypeMibSm>(config, status, aclMib));
  made->hasNotificationActiveIs(active_);
  aclTypeMibSm_.insertOrAssign(type, made);
  return made;
}

void AclMibSm::codefedAclSnmpTypeConfigDel(Acl::AclType type) {
  mirrorDel(codefedAclSnmpTypeConfig_, type);
}
void AclMibSm::aclSnmpTypeConfigCodefDel(Acl::AclType type) { aclSnmpTypeConfigCodef_.erase(type); }
void AclMibSm::codefedAclSnmpTypeStatusDel(Acl::AclType type) {
  mirrorDel(codefedAclSnmpTypeStatus_, type);
}
void AclMibSm::aclSnmpTypeStatusCodefDel(Acl::AclType type) { aclSnmpTypeStatusCodef_.erase(type); }
void AclMibSm::aclTypeMibSmDel(Acl::AclType type) { aclTypeMibSm_.erase(type); }
void AclMibSm::codefedAclSnmpTypeConfigDelAll() { mirrorDelAll(codefedAclSnmpTypeConfig_); }
void AclMibSm::aclSnmpTypeConfigCodefDelAll() { delAll(aclSnmpTypeConfigCodef_); }
void AclMibSm::codefedAclSnmpTypeStatusDelAll() { mirrorDelAll(codefedAclSnmpTypeStatus_); }
void AclMibSm::aclSnmpTypeStatusCodefDelAll() { delAll(aclSnmpTypeStatusCodef_); }
void AclMibSm::aclTypeMibSmDelAll() { delAll(aclTypeMibSm_); }

}  // namespace AclSnmp
