#include "Churn.h"

#include <algorithm>

namespace Soak {

namespace {

constexpr size_t kNames = 30;

std::set<uint32_t> sequencesOf(const Acl::AclSubConfig& version) {
  std::set<uint32_t> found;
  for (auto it = version.ruleBySequence().begin(); it; ++it) found.insert(it.key());
  for (auto it = version.remarkBySequence().begin(); it; ++it) found.insert(it.key());
  return found;
}

std::set<uint32_t> sequencesOf(const Sources::AclSnapshot& acl) {
  std::set<uint32_t> found;
  for (const auto& [sequence, rule] : acl.rules) found.insert(sequence);
  for (const auto& [sequence, remark] : acl.remarks) found.insert(sequence);
  return found;
}

}  // namespace

Churn::Churn(const Sources::Mount& mount, const Qel::Ptr<Acl::AclConfigAggregatorSm>& aggregator,
             Random& random, uint32_t bigRules, Lost lost)
    : inputDir_(mount.inputDir),
      statusDir_(mount.statusDir),
      aggregator_(aggregator),
      random_(random),
      bigRules_(bigRules),
      lost_(std::move(lost)),
      names_(names(random, kNames)),
      bigName_("one of some thousand rules"),
      trialName_("one to be timed") {
  direct_.resize(3);
  for (size_t i = 0; i < direct_.size(); ++i) {
    const Qel::Name name(Qel::String8("direct" + std::to_string(i)));
    direct_[i].config = Qel::make<Acl::Input::Config>(name);
    direct_[i].status = Qel::make<Acl::Input::Status>(name);
    // Whichever comes first.
    if (i == 0) statusDir_->entityIs(direct_[i].status);
    inputDir_->entityIs(direct_[i].config);
    if (i != 0) statusDir_->entityIs(direct_[i].status);
    mounted_.push_back(name);
  }
  for (const char* name : {"snapshots0", "snapshots1"}) {
    applied_.push_back({name, Qel::make<Sources::Applier>(mount, name), {}});
    mounted_.emplace_back(name);
  }
}

void Churn::epoch() {
  for (const Acl::AclType type : Acl::kAclTypes) removeEverywhere({type, bigName_});
  bigType_.reset();
  if (random_.oneIn(4)) bigType_ = random_.pick(Acl::kAclTypes);
  remounts_ = random_.oneIn(4);
  steady_.clear();
  for (const Acl::AclType type : Acl::kAclTypes) {
    for (const std::string& name : names_) {
      if (random_.coin()) steady_.emplace(type, name);
    }
  }
}

Key Churn::anyKey() {
  constexpr uint32_t kBigIsRare = 100;
  if (bigType_ && random_.oneIn(kBigIsRare)) return {*bigType_, bigName_};
  return {random_.pick(Acl::kAclTypes), random_.pick(names_)};
}

Acl::UniqueId Churn::newId() {
  return {++nextId_, static_cast<uint16_t>(random_.below(3)),
          static_cast<uint16_t>(random_.below(3))};
}

Rows Churn::rowsOf(const Qel::Name& input, const Key& key) const {
  const auto config = Qel::ptrCast<const Acl::Input::Config>(inputDir_->entity(input));
  const auto acl = config ? config->typeConfig(key.first)->acl(nameOf(key)) : nullptr;
  if (!acl) return std::nullopt;
  return acl->currCfg() ? sequencesOf(*acl->currCfg()) : std::set<uint32_t>();
}

void Churn::lost(const Key& key) {
  // A snapshot is applied some time later: what both sides have stays, whoever else wants the name
  // may come into its own in between.
  Rows left;
  size_t holders = 0;
  bool bySnapshot = false;
  for (const Qel::Name& name : mounted_) {
    const Rows now = rowsOf(name, key);
    const auto applied = std::find_if(applied_.begin(), applied_.end(),
                                      [&](const Applied& input) { return input.name == name; });
    if (applied == applied_.end()) {
      if (!now) continue;
      if (holders++ == 0) left = now;
      continue;
    }
    const auto next = applied->wanted.acls.find(key);
    if (!now && next == applied->wanted.acls.end()) continue;
    bySnapshot = true;
    if (holders++ != 0 || !now || next == applied->wanted.acls.end()) continue;
    const auto wanted = sequencesOf(next->second);
    left.emplace();
    std::set_intersection(now->begin(), now->end(), wanted.begin(), wanted.end(),
                          std::inserter(*left, left->end()));
  }
  if (holders > 1 && bySnapshot) left = std::nullopt;
  lost_(key, left);
}

void Churn::step() {
  constexpr uint32_t kRemountIsRare = 10000;
  if (remounts_ && random_.oneIn(kRemountIsRare)) return remount(random_.pick(direct_));
  const uint32_t choice = random_.below(1000);
  if (choice < 8) return unheardStep(random_.pick(direct_));
  if (choice < 20) return snapshotStep(random_.pick(applied_));
  if (choice < 30) return flagsStep();
  directStep(random_.pick(direct_), anyKey());
}

void Churn::flagsStep() {
  Acl::Input::Status& status = *random_.pick(direct_).status;
  const bool on = random_.oneIn(4);
  switch (random_.below(4)) {
    case 0:
      status.dpAclSupportedIs(on);
      break;
    case 1:
      status.dpAclLoggingSupportedIs(on);
      break;
    case 2:
      status.dpAclCountersSupportedIs(on);
      break;
    default:
      status.dpRouterAclSupportedIs(on);
  }
  ++changes_;
}

Sources::RuleSnapshot Churn::newRule(const Key& key) {
  Sources::RuleSnapshot made{newId(), rule(random_, key.first), {}};
  if (random_.coin()) made.counter = Sources::RuleCounter{random_.bits(), {}};
  return made;
}

Sources::AclSnapshot Churn::newSnapshot(const Key& key) {
  Sources::AclSnapshot acl;
  const bool big = isBig(key);
  const uint32_t count = big ? bigRules_ : random_.below(kSmallAcl);
  for (uint32_t i = 0; i < count; ++i) acl.rules[big ? i + 1 : anySequence()] = newRule(key);
  for (uint32_t i = random_.below(3); i > 0; --i) acl.remarks[anySequence()] = text(random_, 127);
  acl.readonly = random_.coin();
  acl.countersEnabled = random_.coin();
  acl.countersIncomplete = random_.coin();
  return acl;
}

void Churn::changeSnapshot(const Key& key, Sources::AclSnapshot& acl) {
  switch (random_.below(4)) {
    case 0:
      acl.rules[anySequence()] = newRule(key);
      break;
    case 1:
      acl.remarks[anySequence()] = text(random_, 127);
      break;
    case 2:
      acl.countersEnabled = !acl.countersEnabled;
      acl.readonly = !acl.readonly;
      break;
    default:
      for (auto& [sequence, rule] : acl.rules) {
        if (rule.counter) ++rule.counter->pkts;
      }
  }
}

void Churn::snapshotStep(Applied& input) {
  auto& acls = input.wanted.acls;
  std::set<Key> taken;
  for (uint32_t i = 1 + random_.below(10); i > 0; --i) {
    const Key key = anyKey();
    const auto found = acls.find(key);
    ++changes_;
    if (steady_.contains(key)) {
      if (found != acls.end()) changeSnapshot(key, found->second);
    } else if (found == acls.end()) {
      acls.emplace(key, newSnapshot(key));
      taken.insert(key);
    } else {
      switch (random_.below(4)) {
        case 0:
          acls.erase(found);
          taken.insert(key);
          break;
        case 1:
          found->second = newSnapshot(key);
          taken.insert(key);
          break;
        default:
          changeSnapshot(key, found->second);
      }
    }
  }
  input.wanted.dataPlane = {random_.oneIn(4), random_.oneIn(4), random_.oneIn(4), random_.oneIn(4)};
  input.applier->snapshotIs(input.wanted);
  for (const Key& key : taken) lost(key);
}

void Churn::fill() {
  for (Applied& input : applied_) {
    for (const Acl::AclType type : Acl::kAclTypes) {
      for (const std::string& name : names_) {
        input.wanted.acls.emplace(Key(type, name), newSnapshot({type, name}));
      }
    }
    input.applier->snapshotIs(input.wanted);
  }
}

void Churn::removeEverywhere(const Key& key) {
  for (Direct& input : direct_) {
    input.config->typeConfig(key.first)->aclDel(nameOf(key));
    input.status->status(key.first)->aclDel(nameOf(key));
    input.acls.erase(key);
    input.statuses.erase(key);
  }
  for (Applied& input : applied_) {
    if (input.wanted.acls.erase(key) != 0) input.applier->snapshotIs(input.wanted);
  }
  lost(key);
}

void Churn::clear() {
  for (Direct& input : direct_) {
    for (const Acl::AclType type : Acl::kAclTypes) {
      input.config->typeConfig(type)->aclDelAll();
      input.status->status(type)->aclDelAll();
    }
    input.acls.clear();
    input.statuses.clear();
    input.status->dpAclSupportedIs(false);
    input.status->dpAclLoggingSupportedIs(false);
    input.status->dpAclCountersSupportedIs(false);
    input.status->dpRouterAclSupportedIs(false);
  }
  for (Applied& input : applied_) {
    input.wanted = {};
    input.applier->snapshotIs({});
  }
  steady_.clear();
}

}  // namespace Soak
