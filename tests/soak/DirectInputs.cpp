// The inputs whose entities are written directly; see Churn.h.

#include <algorithm>

#include "Churn.h"

namespace Soak {

namespace {

/// A sequence number of a collection; the collection is not empty.
template <class Collection>
uint32_t sequenceIn(Random& random, const Collection& collection) {
  const uint32_t at = random.below(static_cast<uint32_t>(std::min<size_t>(collection.size(), 40)));
  auto it = collection.begin();
  for (uint32_t i = 0; i < at; ++i) ++it;
  return it.key();
}

}  // namespace

void Churn::directStep(Direct& input, const Key& key) {
  const auto found = input.acls.find(key);
  const bool steady = steady_.contains(key);
  if (found == input.acls.end()) {
    if (steady || random_.coin()) return statusStep(input, key);
    return addAcl(input, key);
  }
  switch (random_.below(8)) {
    case 0:
    case 1:
    case 2:
      return countersStep(input, key);
    case 3:
      return statusStep(input, key);
    case 4:
      if (!steady) return takingStep(input, key, found->second);
      [[fallthrough]];
    default:
      return keepingStep(input, key, found->second);
  }
}

/// A change that takes no row away.
void Churn::keepingStep(Direct& input, const Key& key, DirectAcl& acl) {
  switch (random_.below(10)) {
    case 0:
      ++changes_;
      return acl.config->readonlyIs(!acl.config->readonly());
    case 1:
      if (acl.current) acl.current->countersEnabledIs(!acl.current->countersEnabled());
      ++changes_;
      return;
    case 2:
      if (!acl.current) return;
      ++changes_;
      return versionIs(acl, copyOf(*acl.current));
    case 3:
      return replaceAcl(input, key, acl.current ? copyOf(*acl.current) : nullptr);
    case 4:
      // The object stays, what says it differs comes later.
      if (acl.current) swapForRemark(*acl.current);
      return;
    case 5:
    case 6:
      if (acl.current) remarkStep(*acl.current);
      return;
    default:
      if (acl.current) ruleStep(key, *acl.current);
  }
}

/// A change that takes rows away.
void Churn::takingStep(Direct& input, const Key& key, DirectAcl& acl) {
  ++changes_;
  switch (random_.below(8)) {
    case 0:
      input.config->typeConfig(key.first)->aclDel(nameOf(key));
      input.acls.erase(key);
      if (random_.coin()) {
        input.status->status(key.first)->aclDel(nameOf(key));
        input.statuses.erase(key);
      }
      break;
    case 1:
      replaceAcl(input, key, newVersion(key));
      break;
    case 2:
      versionIs(acl, random_.oneIn(4) ? nullptr : newVersion(key));
      break;
    case 3:
      if (acl.current) {
        acl.current->ruleBySequenceDelAll();
        if (random_.coin()) acl.current->remarkBySequenceDelAll();
      }
      break;
    case 4:
      if (acl.current && !acl.current->remarkBySequence().empty()) {
        acl.current->remarkBySequenceDel(sequenceIn(random_, acl.current->remarkBySequence()));
      }
      break;
    default:
      if (acl.current && !acl.current->ruleBySequence().empty()) {
        const uint32_t sequence = sequenceIn(random_, acl.current->ruleBySequence());
        const Acl::UniqueId id = acl.current->ruleBySequence(sequence);
        if (random_.coin()) ruleDel(*acl.current, id);
        acl.current->ruleBySequenceDel(sequence);
      } else if (!acl.current) {
        versionIs(acl, newVersion(key));
      }
  }
  lost(key);
}

Qel::Ptr<Acl::AclSubConfig> Churn::newVersion(const Key& key) {
  const auto version = Qel::make<Acl::AclSubConfig>(nameOf(key));
  version->countersEnabledIs(random_.coin());
  const bool big = isBig(key);
  const uint32_t count = big ? bigRules_ : random_.below(kSmallAcl);
  for (uint32_t i = 0; i < count; ++i) {
    const Acl::UniqueId id = newId();
    ruleIs(*version, id, rule(random_, key.first));
    version->ruleBySequenceIs(big ? i + 1 : anySequence(), id);
  }
  for (uint32_t i = random_.below(3); i > 0; --i) remarkStep(*version);
  return version;
}

void Churn::addAcl(Direct& input, const Key& key) {
  if (random_.coin()) statusStep(input, key);
  replaceAcl(input, key, random_.oneIn(10) ? nullptr : newVersion(key));
  lost(key);
}

void Churn::replaceAcl(Direct& input, const Key& key, const Qel::Ptr<Acl::AclSubConfig>& version) {
  DirectAcl acl{Qel::make<Acl::AclConfig>(nameOf(key), key.first), nullptr};
  acl.config->readonlyIs(random_.coin());
  versionIs(acl, version);
  input.acls[key] = acl;
  input.config->typeConfig(key.first)->aclIs(acl.config);
  ++changes_;
}

void Churn::versionIs(DirectAcl& acl, const Qel::Ptr<Acl::AclSubConfig>& version) {
  const Acl::UniqueId previous =
      acl.config->subConfig().empty() ? Acl::UniqueId() : acl.config->subConfig().firstKey();
  const Acl::UniqueId next(previous.number() + 1, 0, 0);
  if (version) acl.config->subConfigIs(next, version);
  acl.current = version;
  acl.config->currCfgIs(version);
  acl.config->subConfigDel(previous);
}

void Churn::ruleStep(const Key& key, Acl::AclSubConfig& version) {
  ++changes_;
  const bool any = !version.ruleBySequence().empty();
  if (any && random_.coin()) {
    // Another rule under the identity that stands there.
    const uint32_t sequence = sequenceIn(random_, version.ruleBySequence());
    ruleIs(version, version.ruleBySequence(sequence), rule(random_, key.first));
    return;
  }
  const bool full = version.ruleBySequence().size() >= kSmallAcl;
  const uint32_t sequence =
      any && full ? sequenceIn(random_, version.ruleBySequence()) : anySequence();
  const Acl::UniqueId previous = version.ruleBySequence(sequence);
  const Acl::UniqueId id = newId();
  // The place before the rule, the rule before its place, or a place without a rule.
  const uint32_t order = random_.below(5);
  if (order < 2) ruleIs(version, id, rule(random_, key.first));
  version.ruleBySequenceIs(sequence, id);
  if (order == 2 || order == 3) ruleIs(version, id, rule(random_, key.first));
  if (!(previous == Acl::UniqueId::invalid()) && random_.coin()) ruleDel(version, previous);
}

void Churn::remarkStep(Acl::AclSubConfig& version) {
  ++changes_;
  const auto& remarks = version.remarkBySequence();
  const bool known = remarks.size() >= 4 || (!remarks.empty() && random_.coin());
  const uint32_t sequence = known ? sequenceIn(random_, remarks) : anySequence();
  version.remarkBySequenceIs(sequence, {Qel::String8(text(random_, 127))});
}

/// A remark comes where a rule stands, which goes: the row stays. Or the other way round.
void Churn::swapForRemark(Acl::AclSubConfig& version) {
  const auto& rules = version.ruleBySequence();
  const auto& remarks = version.remarkBySequence();
  ++changes_;
  if (!rules.empty() && random_.coin()) {
    const uint32_t sequence = sequenceIn(random_, rules);
    const Acl::UniqueId id = version.ruleBySequence(sequence);
    version.remarkBySequenceIs(sequence, {Qel::String8(text(random_, 127))});
    version.ruleBySequenceDel(sequence);
    ruleDel(version, id);
  } else if (!remarks.empty()) {
    const uint32_t sequence = sequenceIn(random_, remarks);
    version.ruleBySequenceIs(sequence, newId());
    version.remarkBySequenceDel(sequence);
  }
}

void Churn::statusStep(Direct& input, const Key& key) {
  ++changes_;
  const auto typeStatus = input.status->status(key.first);
  const auto found = input.statuses.find(key);
  if (found != input.statuses.end() && random_.oneIn(3)) {
    typeStatus->aclDel(nameOf(key));
    input.statuses.erase(found);
    return;
  }
  const auto made = Qel::make<Acl::AclStatus>(nameOf(key));
  made->countersIncompleteIs(random_.coin());
  input.statuses[key] = made;
  const bool filled = random_.coin();
  if (filled) countersStep(input, key);
  typeStatus->aclIs(made);
  if (!filled) countersStep(input, key);
}

void Churn::countersStep(Direct& input, const Key& key) {
  const auto found = input.statuses.find(key);
  if (found == input.statuses.end()) return;
  Acl::AclStatus& status = *found->second;
  ++changes_;
  if (random_.oneIn(6)) status.countersIncompleteIs(!status.countersIncomplete());
  const auto acl = input.acls.find(key);
  if (acl == input.acls.end() || !acl->second.current) return;
  uint32_t left = 20;
  const auto& rules = acl->second.current->ruleBySequence();
  for (auto it = rules.begin(); it && left > 0; ++it, --left) {
    ++changes_;
    if (random_.oneIn(8)) {
      status.ruleStatusDel(it.value());
    } else {
      status.ruleStatusIs(it.value(), {random_.bits(), Qel::now()});
    }
  }
  // Counters of rules that have gone do not pile up.
  if (status.ruleStatus().size() > 2 * kSmallAcl) status.ruleStatusDelAll();
}

/// The input's entities are replaced by others with some of the same objects.
void Churn::remount(Direct& input) {
  const Qel::Name name = input.config->name();
  std::set<Key> touched;
  for (const auto& [key, acl] : input.acls) touched.insert(key);
  if (random_.coin()) {
    const auto config = Qel::make<Acl::Input::Config>(name);
    std::erase_if(input.acls, [&](const auto& entry) {
      return !steady_.contains(entry.first) && random_.oneIn(4);
    });
    for (const auto& [key, acl] : input.acls) config->typeConfig(key.first)->aclIs(acl.config);
    if (random_.coin()) inputDir_->entityDel(name);
    inputDir_->entityIs(config);
    input.config = config;
    // It is mounted anew, after all others.
    std::erase(mounted_, name);
    mounted_.push_back(name);
    changes_ += touched.size();
  }
  if (random_.coin()) {
    const auto status = Qel::make<Acl::Input::Status>(name);
    std::erase_if(input.statuses, [&](const auto&) { return random_.oneIn(4); });
    for (const auto& [key, acl] : input.statuses) status->status(key.first)->aclIs(acl);
    if (random_.coin()) statusDir_->entityDel(name);
    statusDir_->entityIs(status);
    input.status = status;
    changes_ += input.statuses.size();
  }
  for (const Key& key : touched) lost(key);
}

/// Changes while nobody listens to the inputs; each is told again afterwards.
void Churn::unheardStep(Direct& input) {
  std::set<Key> touched;
  aggregator_->hasNotificationActiveIs(false);
  for (uint32_t i = 1 + random_.below(4); i > 0; --i) {
    const Key key = anyKey();
    directStep(input, key);
    touched.insert(key);
  }
  aggregator_->hasNotificationActiveIs(true);
  for (const Key& key : touched) input.config->typeConfig(key.first)->aclNotify(nameOf(key));
}

void Churn::trial(Trial trial) {
  const Key key(Acl::AclType::ipv4, trialName_);
  Direct& direct = direct_.front();
  Applied& applied = applied_.front();
  switch (trial) {
    case Trial::add:
    case Trial::replace:
      return replaceAcl(direct, key, newVersion(key));
    case Trial::revise:
      return versionIs(direct.acls.at(key), newVersion(key));
    case Trial::remove:
      direct.config->typeConfig(key.first)->aclDel(nameOf(key));
      direct.acls.erase(key);
      return;
    case Trial::addBySnapshot:
    case Trial::reviseBySnapshot:
      applied.wanted.acls[key] = newSnapshot(key);
      break;
    case Trial::removeBySnapshot:
      applied.wanted.acls.erase(key);
  }
  applied.applier->snapshotIs(applied.wanted);
}

}  // namespace Soak
