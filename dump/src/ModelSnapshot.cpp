#include "dump/ModelSnapshot.h"

namespace Dump {

namespace {

using Sources::AclSnapshot;
using Sources::RuleConfig;
using Sources::RuleCounter;
using Sources::RuleSnapshot;
using Sources::Snapshot;

RuleConfig ruleOf(const Acl::AclSubConfig& version, Acl::AclType type, const Acl::UniqueId& id) {
  switch (type) {
    case Acl::AclType::ipv4:
      return version.ipRuleById(id);
    case Acl::AclType::ipv6:
      return version.ip6RuleById(id);
    case Acl::AclType::mac:
      break;
  }
  return version.macRuleById(id);
}

AclSnapshot aclOf(const Acl::AclConfig& config, const Acl::AclStatus* status) {
  AclSnapshot acl;
  acl.readonly = config.readonly();
  acl.countersIncomplete = status != nullptr && status->countersIncomplete();
  const auto version = config.currCfg();
  if (!version) return acl;
  acl.countersEnabled = version->countersEnabled();
  acl.fragmentsEnabled = version->fragmentsEnabled();
  for (auto it = version->ruleBySequence().begin(); it; ++it) {
    RuleSnapshot rule{it.value(), ruleOf(*version, config.type(), it.value()), std::nullopt};
    const Acl::RuleStatus* counter =
        status == nullptr ? nullptr : status->ruleStatus().find(rule.id);
    if (counter != nullptr) rule.counter = RuleCounter{counter->pkts, counter->lastUpdateTime};
    acl.rules.emplace(it.key(), std::move(rule));
  }
  for (auto it = version->remarkBySequence().begin(); it; ++it) {
    acl.remarks.emplace(it.key(), it.value().text.str());
  }
  return acl;
}

}  // namespace

Sources::Snapshot snapshotOf(const Acl::Config& config, const Acl::StatusBase& status) {
  Sources::Snapshot snapshot;
  snapshot.dataPlane = {status.dpAclSupported(), status.dpAclLoggingSupported(),
                        status.dpAclCountersSupported(), status.dpRouterAclSupported()};
  for (const Acl::AclType type : Acl::kAclTypes) {
    const auto configs = config.typeConfig(type);
    const auto statuses = status.status(type);
    if (!configs) continue;
    for (auto it = configs->acl().begin(); it; ++it) {
      const auto reported = statuses ? statuses->acl(it.key()) : nullptr;
      snapshot.acls.emplace(Sources::Snapshot::Key(type, it.key().string().str()),
                            aclOf(*it.value().acl, reported.get()));
    }
  }
  return snapshot;
}

}  // namespace Dump
