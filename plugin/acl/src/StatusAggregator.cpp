#include "acl/Aggregator.h"

namespace Acl {

namespace {

/// The member of a name, or null, also where the type itself is absent.
template <class PerType>
typename PerType::MemberPtr member(const Qel::Ptr<const PerType>& perType, const Qel::Name& name) {
  return perType ? perType->acl(name) : nullptr;
}

}  // namespace

class AclStatusAggregatorSm::QelStatusDir final : public Qel::Dir::NotifieeConst {
 public:
  explicit QelStatusDir(AclStatusAggregatorSm* owner) : owner_(owner) {
    notifierIs(owner->statusDir_);
  }
  using Qel::Dir::NotifieeConst::onEntity;
  void onEntity(Qel::Name name) override { owner_->handleInput(name); }

 private:
  AclStatusAggregatorSm* owner_;
};

/// Follows one per-type collection, of the merged configuration or of an input's status.
template <class PerType>
class AclStatusAggregatorSm::QelPerType final : public PerType::NotifieeConst {
 public:
  QelPerType(AclStatusAggregatorSm* owner, const Qel::Ptr<const PerType>& perType) : owner_(owner) {
    this->notifierIs(perType);
  }
  using PerType::NotifieeConst::onAcl;
  void onAcl(Qel::Name name) override { owner_->handleAcl(this->notifier()->type(), name); }

 private:
  AclStatusAggregatorSm* owner_;
};

class AclStatusAggregatorSm::QelStatus final : public StatusBase::NotifieeConst {
 public:
  QelStatus(AclStatusAggregatorSm* owner, const Qel::Ptr<const StatusBase>& status)
      : owner_(owner) {
    notifierIs(status);
  }
  void onDpAclSupported() override { owner_->handleFlags(); }
  void onDpAclLoggingSupported() override { owner_->handleFlags(); }
  void onDpAclCountersSupported() override { owner_->handleFlags(); }
  void onDpRouterAclSupported() override { owner_->handleFlags(); }

 private:
  AclStatusAggregatorSm* owner_;
};

struct AclStatusAggregatorSm::MountedStatus {
  Qel::Ptr<const Input::Status> status;
  std::unique_ptr<QelStatus> reactor;
  std::vector<std::unique_ptr<QelPerType<AclTypeStatus>>> typeReactors;
};

AclStatusAggregatorSm::AclStatusAggregatorSm(const Qel::Ptr<const Qel::Dir>& inputDir,
                                             const Qel::Ptr<const Qel::Dir>& statusDir,
                                             const Qel::Ptr<const Config>& config,
                                             const Qel::Ptr<Status>& statusOut)
    : inputDir_(Qel::validPtr(inputDir)),
      statusDir_(Qel::validPtr(statusDir)),
      config_(Qel::validPtr(config)),
      statusOut_(Qel::validPtr(statusOut)),
      dirReactor_(std::make_unique<QelStatusDir>(this)) {
  for (const AclType type : kAclTypes) {
    configReactors_.push_back(
        std::make_unique<QelPerType<AclTypeConfig>>(this, config_->typeConfig(type)));
  }
  for (auto it = statusDir_->entity().begin(); it; ++it) handleInput(it.key());
}

AclStatusAggregatorSm::~AclStatusAggregatorSm() = default;

void AclStatusAggregatorSm::handleInput(const Qel::Name& name) {
  const auto status = Qel::ptrCast<const Input::Status>(statusDir_->entity(name));
  std::unique_ptr<MountedStatus> previous;
  if (const auto found = inputs_.find(name); found != inputs_.end()) {
    previous = std::move(found->second);
    inputs_.erase(found);
  }
  if (status) {
    auto mounted = std::make_unique<MountedStatus>();
    mounted->status = status;
    mounted->reactor = std::make_unique<QelStatus>(this, status);
    for (const AclType type : kAclTypes) {
      mounted->typeReactors.push_back(
          std::make_unique<QelPerType<AclTypeStatus>>(this, status->status(type)));
    }
    inputs_.emplace(name, std::move(mounted));
  }
  for (const auto& changed : {previous ? previous->status : nullptr, status}) {
    if (!changed) continue;
    for (const AclType type : kAclTypes) {
      const auto typeStatus = changed->status(type);
      if (!typeStatus) continue;
      for (auto it = typeStatus->acl().begin(); it; ++it) handleAcl(type, it.key());
    }
  }
  handleFlags();
}

void AclStatusAggregatorSm::handleAcl(AclType type, const Qel::Name& name) {
  const auto acl = member(config_->typeConfig(type), name);
  Qel::Ptr<const AclStatus> reported;
  if (acl) {
    for (const auto& [inputName, mounted] : inputs_) {
      const auto input = Qel::ptrCast<const Input::Config>(inputDir_->entity(inputName));
      if (input && member(input->typeConfig(type), name) == acl) {
        reported = member(mounted->status->status(type), name);
        break;
      }
    }
  }
  const auto out = statusOut_->statusIs(type);
  if (reported) {
    out->aclIs(reported);
  } else {
    out->aclDel(name);
  }
}

void AclStatusAggregatorSm::handleFlags() {
  bool acl = false;
  bool logging = false;
  bool counters = false;
  bool router = false;
  for (const auto& [name, mounted] : inputs_) {
    acl |= mounted->status->dpAclSupported();
    logging |= mounted->status->dpAclLoggingSupported();
    counters |= mounted->status->dpAclCountersSupported();
    router |= mounted->status->dpRouterAclSupported();
  }
  statusOut_->dpAclSupportedIs(acl);
  statusOut_->dpAclLoggingSupportedIs(logging);
  statusOut_->dpAclCountersSupportedIs(counters);
  statusOut_->dpRouterAclSupportedIs(router);
}

}  // namespace Acl
