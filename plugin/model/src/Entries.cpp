#include "model/Entries.h"

namespace AclSnmp {

void reinstantiated(const char* attribute, const std::string& given, const std::string& current) {
  throw Qel::NameInUseException(
      std::string("Reinstantiating the pointer interface where constructor parameter attribute ") +
      attribute + " has a different value of " + given + " than the current value of " + current +
      " not allowed");
}

bool AclTableEntry::readonly() const { return aclConfig_ && aclConfig_->readonly(); }

bool AclTableEntry::statsEnabled() const {
  return aclConfig_ && aclConfig_->currCfg() && aclConfig_->currCfg()->countersEnabled();
}

bool AclTableEntry::countersIncomplete() const {
  return aclStatus_ && aclStatus_->countersIncomplete();
}

Acl::UniqueId SequenceEntry::uniqueId() const {
  const Acl::AclSubConfig* config = current();
  return config == nullptr ? Acl::UniqueId::invalid() : config->ruleBySequence(index_.seqId());
}

namespace {

Kavet::Ip6Addr maskOf(uint32_t length) {
  Kavet::Ip6Addr mask;
  const uint32_t whole = length / 8;
  for (uint32_t i = 0; i < whole; ++i) mask.u8Is(i, 0xFF);
  if (length % 8 != 0) mask.u8Is(whole, static_cast<uint8_t>(0xFF << (8 - length % 8)));
  return mask;
}

}  // namespace

Kavet::Ip6Addr Ipv6AclRuleTableEntry::sourceMask() const {
  return maskOf(rule().filter.source().length);
}

Kavet::Ip6Addr Ipv6AclRuleTableEntry::destMask() const {
  return maskOf(rule().filter.destination().length);
}

void RuleStatsTableEntry::aclStatusIs(const AclStatusPtr& aclStatus) {
  if (latestChange_) {
    latestChange_->statusIs(aclStatus);
    latestChange_->statusDel(aclStatus_);
  }
  aclStatus_ = aclStatus;
}

void RuleStatsTableEntry::latestChangeIs(const Qel::Ptr<LatestChange>& latestChange) {
  if (latestChange) {
    latestChange->creationIs(creationTime_, aclConfig());
    latestChange->statusIs(aclStatus_);
  }
  if (latestChange_) latestChange_->statusDel(aclStatus_);
  latestChange_ = latestChange;
}

Acl::RuleStatus RuleStatsTableEntry::ruleStatus() const {
  return aclStatus_ ? aclStatus_->ruleStatus(uniqueId()) : Acl::RuleStatus();
}

Qel::Seconds RuleStatsTableEntry::lastUpdateTime() const {
  if (!aclStatus_) return creationTime_;
  const Acl::AclSubConfig* config = current();
  const Acl::UniqueId* id =
      config == nullptr ? nullptr : config->ruleBySequence().find(index().seqId());
  static const Acl::UniqueId none = Acl::UniqueId::invalid();
  const Acl::RuleStatus* counted = aclStatus_->ruleStatus().find(id == nullptr ? none : *id);
  return counted == nullptr ? creationTime_ : counted->lastUpdateTime;
}

void RuleStatsTableEntry::requireConstructedFrom(const AclConfigPtr& aclConfig,
                                                 Qel::Seconds creationTime) const {
  requireConstructedFrom(aclConfig);
  // Exact equality is meant: another time is another row.
  if (creationTime != creationTime_) {
    reinstantiated("_creationTime", Qel::valueToStrep(creationTime),
                   Qel::valueToStrep(creationTime_));
  }
}

}  // namespace AclSnmp
