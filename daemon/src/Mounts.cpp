#include "Mounts.h"

#include "qel/Type.h"
#include "snmp/Registration.h"

namespace Daemon {

namespace {

constexpr const char* kMibType = "AclSnmp::AclMib";
constexpr const char* kRootType = "AclSnmp::Root";
constexpr const char* kMibName = "aclMIB";
constexpr const char* kRootName = "root";

}  // namespace

Mounts::Mounts(const Qel::Ptr<Mek::TaskScheduler>& scheduler)
    : database_(Qel::make<Qel::Dir>()),
      inputDir_(database_->dirIs("acl/input")),
      statusDir_(database_->dirIs("acl/status")),
      pluginDir_(database_->dirIs("snmp/acl")),
      config_(Qel::make<Acl::Config>("config")),
      status_(Qel::make<Acl::Status>("status")) {
  for (const Acl::AclType type : Acl::kAclTypes) status_->statusIs(type);
  const auto cliInput = Qel::make<Acl::Input::Config>("cli");
  const auto mib = pluginDir_->newEntity(kMibType, kMibName);
  const auto root = pluginDir_->newEntity(kRootType, kRootName);

  using Qel::valueOf;
  const auto config = valueOf(Qel::Ptr<const Acl::Config>(config_));
  const auto status = valueOf(Qel::Ptr<const Acl::Status>(status_));
  Qel::call(kRootType, *root, "aclConfigIs", {config});
  Qel::call(kRootType, *root, "aclStatusIs", {status});
  Qel::call(kRootType, *root, "aclMibIs", {valueOf(mib)});
  Qel::call(kRootType, *root, "aclConfigAggregatorIs",
            {valueOf(inputDir_), valueOf(cliInput), valueOf(config_)});
  Qel::call(kRootType, *root, "aclMibSmIs", {valueOf(scheduler), config, status, valueOf(mib)});
  // After the configuration's: an ACL's status finds its owner there.
  statusAggregator_ =
      Qel::make<Acl::AclStatusAggregatorSm>(inputDir_, statusDir_, config_, status_);
  Snmp::mountPointIs(database_);
}

Mounts::~Mounts() {
  Snmp::mountPointIs(nullptr);
  statusAggregator_ = nullptr;
  const auto root = pluginDir_->entity(kRootName);
  Qel::call(kRootType, *root, "aclConfigAggregatorDel");
  Qel::call(kRootType, *root, "aclMibSmDel");
  pluginDir_->entityDel(kRootName);
  pluginDir_->entityDel(kMibName);
}

}  // namespace Daemon
