#include <algorithm>

#include "acl/Aggregator.h"
#include "qel/Trace.h"

namespace Acl {

namespace {
Qel::TraceHandle& trace() {
  static Qel::TraceHandle handle("AclConfig");
  return handle;
}
}  // namespace

class AclConfigAggregatorSm::QelInputDir final : public Qel::Dir::NotifieeConst {
 public:
  explicit QelInputDir(AclConfigAggregatorSm* owner) : owner_(owner) {
    notifierIs(owner->inputDir());
  }
  using Qel::Dir::NotifieeConst::onEntity;
  void onEntity(Qel::Name name) override { owner_->handleInput(name); }

 private:
  AclConfigAggregatorSm* owner_;
};

class AclConfigAggregatorSm::QelTypeConfig final : public AclTypeConfig::NotifieeConst {
 public:
  QelTypeConfig(AclConfigAggregatorSm* owner, const Qel::Ptr<const AclTypeConfig>& config)
      : owner_(owner) {
    notifierIs(config);
  }
  using AclTypeConfig::NotifieeConst::onAcl;
  void onAcl(Qel::Name name) override { owner_->handleAcl(notifier()->type(), name); }

 private:
  AclConfigAggregatorSm* owner_;
};

/// One input in the order of mounting, with the ACLs that are refused to it.
struct AclConfigAggregatorSm::MountedInput {
  Qel::Ptr<const Input::Config> input;
  std::vector<std::unique_ptr<QelTypeConfig>> reactors;
  std::set<std::pair<AclType, Qel::Name>> refused;
};

AclConfigAggregatorSm::AclConfigAggregatorSm(const Qel::Ptr<const Qel::Dir>& inputDir,
                                             const Qel::Ptr<const Input::Config>& cliInput,
                                             const Qel::Ptr<Config>& configOut)
    : inputDir_(Qel::validPtr(inputDir)),
      cliInput_(Qel::validPtr(cliInput)),
      configOut_(Qel::validPtr(configOut)),
      dirReactor_(std::make_unique<QelInputDir>(this)) {
  mount(cliInput_);
  for (auto it = inputDir_->entity().begin(); it; ++it) handleInput(it.key());
}

AclConfigAggregatorSm::~AclConfigAggregatorSm() = default;

void AclConfigAggregatorSm::hasNotificationActiveIs(bool active) {
  dirReactor_->hasNotificationActiveIs(active);
  for (const auto& mounted : inputs_) {
    for (const auto& reactor : mounted->reactors) reactor->hasNotificationActiveIs(active);
  }
}

void AclConfigAggregatorSm::handleInput(const Qel::Name& name) {
  auto input = Qel::ptrCast<const Input::Config>(inputDir_->entity(name));
  // The command line input may stand in the directory as well; it is mounted already.
  if (input == cliInput_) input = nullptr;
  for (size_t i = 1; i < inputs_.size(); ++i) {
    if (inputs_[i]->input->name() != name) continue;
    if (inputs_[i]->input == input) return;
    unmount(name);
    break;
  }
  if (input) mount(input);
}

void AclConfigAggregatorSm::mount(const Qel::Ptr<const Input::Config>& input) {
  auto mounted = std::make_unique<MountedInput>();
  mounted->input = input;
  for (const AclType type : kAclTypes) {
    mounted->reactors.push_back(std::make_unique<QelTypeConfig>(this, input->typeConfig(type)));
  }
  inputs_.push_back(std::move(mounted));
  for (const AclType type : kAclTypes) {
    const auto typeConfig = input->typeConfig(type);
    if (!typeConfig) continue;
    for (auto it = typeConfig->acl().begin(); it; ++it) handleAcl(type, it.key());
  }
}

void AclConfigAggregatorSm::unmount(const Qel::Name& name) {
  // The command line input at the front stays for good.
  const auto found = std::find_if(inputs_.begin() + 1, inputs_.end(), [&](const auto& mounted) {
    return mounted->input->name() == name;
  });
  const Qel::Ptr<const Input::Config> input = (*found)->input;
  inputs_.erase(found);
  for (const AclType type : kAclTypes) {
    const auto typeConfig = input->typeConfig(type);
    if (!typeConfig) continue;
    for (auto it = typeConfig->acl().begin(); it; ++it) handleAcl(type, it.key());
  }
}

void AclConfigAggregatorSm::handleAcl(AclType type, const Qel::Name& name) {
  Qel::Ptr<const AclConfig> chosen;
  const Input::Config* owner = nullptr;
  for (const auto& mounted : inputs_) {
    const auto typeConfig = mounted->input->typeConfig(type);
    const auto acl = typeConfig ? typeConfig->acl(name) : nullptr;
    const std::pair key(type, name);
    if (acl && chosen) {
      if (mounted->refused.insert(key).second) {
        QEL_TRACE(trace(), 0, "AclConfigAggregator",
                  "refused " << type << " ACL '" << name << "' of input '" << mounted->input->name()
                             << "': input '" << owner->name()
                             << "' has an ACL of this type and name already");
      }
      continue;
    }
    mounted->refused.erase(key);
    if (acl) {
      chosen = acl;
      owner = mounted->input.get();
    }
  }
  const auto out = configOut_->typeConfig(type);
  if (!out) return;
  if (chosen) {
    out->aclIs(chosen);
  } else {
    out->aclDel(name);
  }
}

}  // namespace Acl
