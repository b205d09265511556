#include "agent/Root.h"

#include "qel/Type.h"

namespace AclSnmp {

namespace {

/// Switches a held object's notifications off and lets it go.
template <class Sm>
void release(Qel::Ptr<Sm>& held) {
  if (!held) return;
  held->hasNotificationActiveIs(false);
  held = nullptr;
}

}  // namespace

Root::~Root() {
  aclConfigAggregatorDel();
  aclMibSmDel();
}

Qel::Ptr<Acl::AclConfigAggregatorSm> Root::aclConfigAggregatorIs(
    const Qel::Ptr<const Qel::Dir>& inputDir, const Qel::Ptr<const Acl::Input::Config>& cliInput,
    const Qel::Ptr<Acl::Config>& configOut) {
  Qel::validPtr(inputDir);
  Qel::validPtr(cliInput);
  Qel::validPtr(configOut);
  if (aclConfigAggregator_ && aclConfigAggregator_->inputDir() == inputDir &&
      aclConfigAggregator_->cliInput() == cliInput &&
      aclConfigAggregator_->configOut() == configOut) {
    return aclConfigAggregator_;
  }
  const auto made =
      Qel::validPtr(Qel::make<Acl::AclConfigAggregatorSm>(inputDir, cliInput, configOut));
  release(aclConfigAggregator_);
  aclConfigAggregator_ = made;
  return made;
}

Qel::Ptr<AclMibSm> Root::aclMibSmIs(const Qel::Ptr<Mek::TaskScheduler>& scheduler,
                                    const Qel::Ptr<const Acl::Config>& config,
                                    const Qel::Ptr<const Acl::Status>& status,
                                    const Qel::Ptr<AclMib>& aclMib) {
  Qel::validPtr(scheduler);
  Qel::validPtr(config);
  Qel::validPtr(status);
  Qel::validPtr(aclMib);
  if (aclMibSm_ && aclMibSm_->scheduler() == scheduler && aclMibSm_->config() == config &&
      aclMibSm_->status() == status && aclMibSm_->aclMib() == aclMib) {
    return aclMibSm_;
  }
  const auto made = Qel::validPtr(Qel::make<AclMibSm>(scheduler, config, status, aclMib));
  release(aclMibSm_);
  aclMibSm_ = made;
  return made;
}

void Root::aclConfigAggregatorDel() { release(aclConfigAggregator_); }
void Root::aclMibSmDel() { release(aclMibSm_); }

Qel::Ptr<Root> RootIs(Qel::Name name) { return Qel::make<Root>(std::move(name)); }
Qel::Ptr<Root> rootFactory(Qel::Name name) { return RootIs(std::move(name)); }

namespace {
const struct Registered {
  Qel::TypeRegistration<Root> root{"AclSnmp::Root"};
  Registered() {
    root.factory(&rootFactory)
        .operation("aclConfigAggregator", &Root::aclConfigAggregator)
        .operation("aclConfigAggregatorIs", &Root::aclConfigAggregatorIs)
        .operation("aclConfigAggregatorDel", &Root::aclConfigAggregatorDel)
        .operation("aclMib", &Root::aclMib)
        .operation("aclMibIs", &Root::aclMibIs)
        .operation("aclMibSm", &Root::aclMibSm)
        .operation("aclMibSmIs", &Root::aclMibSmIs)
        .operation("aclMibSmDel", &Root::aclMibSmDel)
        .operation("aclConfig", &Root::aclConfig)
        .operation("aclConfigIs", &Root::aclConfigIs)
        .operation("aclStatus", &Root::aclStatus)
        .operation("aclStatusIs", &Root::aclStatusIs);
  }
} registered;
}  // namespace

}  // namespace AclSnmp
