#include "apply/Applier.h"

#include <unordered_set>

namespace Sources {

namespace {

using Acl::UniqueId;

/// Counters that are set before the clock is looked at again.
constexpr size_t kCountersAtOnce = 64;

void addRule(Acl::AclSubConfig& version, const UniqueId& id, const Acl::IpRuleConfig& rule) {
  version.ipRuleByIdIs(id, rule);
}
void addRule(Acl::AclSubConfig& version, const UniqueId& id, const Acl::Ip6RuleConfig& rule) {
  version.ip6RuleByIdIs(id, rule);
}
void addRule(Acl::AclSubConfig& version, const UniqueId& id, const Acl::MacRuleConfig& rule) {
  version.macRuleByIdIs(id, rule);
}

template <class Config>
bool isEqual(const Config* present, const RuleConfig& wanted) {
  const auto* config = std::get_if<Config>(&wanted);
  return present != nullptr && config != nullptr && *present == *config;
}

bool holdsRule(const Acl::AclSubConfig& version, Acl::AclType type, const RuleSnapshot& rule) {
  switch (type) {
    case Acl::AclType::ipv4:
      return isEqual(version.ipRuleById().find(rule.id), rule.config);
    case Acl::AclType::ipv6:
      return isEqual(version.ip6RuleById().find(rule.id), rule.config);
    case Acl::AclType::mac:
      return isEqual(version.macRuleById().find(rule.id), rule.config);
  }
  return false;
}

bool holdsRules(const Acl::AclSubConfig& version, Acl::AclType type, const AclSnapshot& acl) {
  if (version.ruleBySequence().size() != acl.rules.size()) return false;
  for (const auto& [sequence, rule] : acl.rules) {
    const UniqueId* id = version.ruleBySequence().find(sequence);
    if (id == nullptr || !(*id == rule.id) || !holdsRule(version, type, rule)) return false;
  }
  return true;
}

bool holdsRemarks(const Acl::AclSubConfig& version, const AclSnapshot& acl) {
  if (version.remarkBySequence().size() != acl.remarks.size()) return false;
  for (const auto& [sequence, text] : acl.remarks) {
    const Acl::RemarkConfig* remark = version.remarkBySequence().find(sequence);
    if (remark == nullptr || remark->text.view() != text) return false;
  }
  return true;
}

bool holds(const Acl::AclSubConfig& version, Acl::AclType type, const AclSnapshot& acl) {
  return version.countersEnabled() == acl.countersEnabled &&
         version.fragmentsEnabled() == acl.fragmentsEnabled && holdsRules(version, type, acl) &&
         holdsRemarks(version, acl);
}

Qel::Ptr<const Acl::AclSubConfig> newVersion(const Qel::Name& name, const AclSnapshot& acl) {
  const auto version = Qel::make<Acl::AclSubConfig>(name);
  version->readonlyIs(acl.readonly);
  version->countersEnabledIs(acl.countersEnabled);
  version->fragmentsEnabledIs(acl.fragmentsEnabled);
  for (const auto& [sequence, rule] : acl.rules) {
    std::visit([&, id = rule.id](const auto& config) { addRule(*version, id, config); },
               rule.config);
    version->ruleBySequenceIs(sequence, rule.id);
  }
  for (const auto& [sequence, text] : acl.remarks) {
    version->remarkBySequenceIs(sequence, Acl::RemarkConfig{Qel::String8(text)});
  }
  version->committedIs(true);
  return version;
}

void publishVersion(Acl::AclConfig& config, const AclSnapshot& acl) {
  const bool first = config.subConfig().empty();
  const UniqueId previous = first ? UniqueId() : config.subConfig().firstKey();
  const UniqueId next(previous.number() + 1, 0, 0);
  const auto version = newVersion(config.name(), acl);
  config.subConfigIs(next, version);
  config.currCfgIs(version);
  if (!first) config.subConfigDel(previous);
}

void countersAre(Acl::AclStatus& status, const AclSnapshot& acl) {
  status.countersIncompleteIs(acl.countersIncomplete);
  size_t counted = 0;
  for (const auto& [sequence, rule] : acl.rules) {
    if (!rule.counter) continue;
    ++counted;
    const Acl::RuleStatus* present = status.ruleStatus().find(rule.id);
    const bool unchanged = present != nullptr && present->pkts == rule.counter->pkts;
    const Qel::Seconds since = unchanged ? present->lastUpdateTime : Qel::now();
    status.ruleStatusIs(rule.id, {rule.counter->pkts, rule.counter->lastUpdate.value_or(since)});
  }
  if (status.ruleStatus().size() == counted) return;
  std::vector<UniqueId> gone;
  struct Hash {
    size_t operator()(const UniqueId& id) const { return id.hash(); }
  };
  std::unordered_set<UniqueId, Hash> wanted;
  for (const auto& [sequence, rule] : acl.rules) {
    if (rule.counter) wanted.insert(rule.id);
  }
  for (const auto& [id, present] : status.ruleStatus()) {
    if (!wanted.contains(id)) gone.push_back(id);
  }
  for (const UniqueId& id : gone) status.ruleStatusDel(id);
}

}  // namespace

Applier::Applier(const Mount& mount, const std::string& name)
    : TaskCodefBase(mount.scheduler, kPriority, Qel::String8("source " + name)),
      inputDir_(Qel::validPtr(mount.inputDir)),
      statusDir_(Qel::validPtr(mount.statusDir)),
      config_(Qel::make<Acl::Input::Config>(Qel::Name(Qel::String8(name)))),
      status_(Qel::make<Acl::Input::Status>(Qel::Name(Qel::String8(name)))) {
  statusDir_->entityIs(status_);
  inputDir_->entityIs(config_);
}

Applier::~Applier() {
  if (inputDir_->entity(config_->name()) == config_) inputDir_->entityDel(config_->name());
  if (statusDir_->entity(status_->name()) == status_) statusDir_->entityDel(status_->name());
}

void Applier::snapshotIs(Snapshot snapshot) {
  pending_ = std::move(snapshot);
  removed_.clear();
  counters_.clear();
  for (const auto& [key, published] : published_) {
    if (!pending_.acls.contains(key)) removed_.push_back(key);
  }
  updatesSeenInc(backlogSize());
  status_->dpAclSupportedIs(pending_.dataPlane.acl);
  status_->dpAclLoggingSupportedIs(pending_.dataPlane.logging);
  status_->dpAclCountersSupportedIs(pending_.dataPlane.counters);
  status_->dpRouterAclSupportedIs(pending_.dataPlane.routerAcl);
  scheduleCodef();
}

void Applier::changesAre(CounterChanges changes) {
  updatesSeenInc(changes.size());
  while (!changes.empty()) {
    auto next = changes.extract(changes.begin());
    if (!next.mapped().empty()) counters_.emplace_back(next.key(), std::move(next.mapped()));
  }
  scheduleCodef();
}

uint64_t Applier::processBacklog(const Qel::Seconds&) {
  uint64_t processed = 0;
  while (backlogSize() != 0) {
    applyNext();
    ++processed;
    if (taskShouldYield()) break;
  }
  return processed;
}

void Applier::applyNext() {
  // What is taken leaves the backlog first: a reaction to the change may bring the next snapshot.
  if (!removed_.empty()) {
    const Snapshot::Key key = std::move(removed_.back());
    removed_.pop_back();
    remove(key);
    return;
  }
  if (pending_.acls.empty()) return count();
  const auto next = pending_.acls.extract(pending_.acls.begin());
  const auto found = published_.find(next.key());
  if (found == published_.end()) {
    add(next.key(), next.mapped());
  } else {
    change(found->second, next.mapped());
  }
}

void Applier::count() {
  auto& [key, counters] = counters_.front();
  const auto found = published_.find(key);
  const Qel::Ptr<Acl::AclStatus> status =
      found == published_.end() ? nullptr : found->second.status;
  const Qel::Seconds now = Qel::now();
  for (size_t i = 0; i < kCountersAtOnce && !counters.empty(); ++i) {
    const auto [id, pkts] = counters.back();
    counters.pop_back();
    if (status && status->ruleStatus().find(id) != nullptr) status->ruleStatusIs(id, {pkts, now});
  }
  if (counters.empty()) counters_.pop_front();
}

void Applier::add(const Snapshot::Key& key, const AclSnapshot& acl) {
  const auto& [type, octets] = key;
  const Qel::Name name{Qel::String8(octets)};
  const Published published{Qel::make<Acl::AclConfig>(name, type), Qel::make<Acl::AclStatus>(name)};
  published_.emplace(key, published);
  countersAre(*published.status, acl);
  published.config->readonlyIs(acl.readonly);
  publishVersion(*published.config, acl);
  status_->statusIs(type)->aclIs(published.status);
  config_->typeConfig(type)->aclIs(published.config);
}

void Applier::change(const Published& published, const AclSnapshot& acl) {
  const Published kept = published;
  countersAre(*kept.status, acl);
  kept.config->readonlyIs(acl.readonly);
  if (!holds(*kept.config->currCfg(), kept.config->type(), acl)) {
    publishVersion(*kept.config, acl);
  }
}

void Applier::remove(const Snapshot::Key& key) {
  const auto& [type, octets] = key;
  published_.erase(key);
  const Qel::Name name{Qel::String8(octets)};
  config_->typeConfig(type)->aclDel(name);
  status_->statusIs(type)->aclDel(name);
}

}  // namespace Sources
