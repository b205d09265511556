#pragma once

/// The state database of this process: the ACL model and, mounted beside it, the entities of the
/// plug-in, which is known here only by its entity types' names.
///
///     acl/input/NAME      what each source configures        (Acl::Input::Config)
///     acl/status/NAME     what each source reports           (Acl::Input::Status)
///     snmp/acl/aclMIB     the plug-in's MIB entity           (AclSnmp::AclMib)
///     snmp/acl/root       the plug-in's root                 (AclSnmp::Root)

#include "acl/Aggregator.h"
#include "acl/Config.h"
#include "acl/Status.h"
#include "mek/TaskScheduler.h"
#include "qel/Dir.h"

namespace Daemon {

class Mounts {
 public:
  /// Needs the plug-in's types to be registered; throws `Qel::RangeException` otherwise.
  explicit Mounts(const Qel::Ptr<Mek::TaskScheduler>& scheduler);
  /// Takes the plug-in's entities down. What they registered must be withdrawn before.
  ~Mounts();
  Mounts(const Mounts&) = delete;
  Mounts& operator=(const Mounts&) = delete;

  const Qel::Ptr<Qel::Dir>& inputDir() const { return inputDir_; }
  const Qel::Ptr<Qel::Dir>& statusDir() const { return statusDir_; }

 private:
  Qel::Ptr<Qel::Dir> database_;
  Qel::Ptr<Qel::Dir> inputDir_;
  Qel::Ptr<Qel::Dir> statusDir_;
  Qel::Ptr<Qel::Dir> pluginDir_;
  Qel::Ptr<Acl::Config> config_;
  Qel::Ptr<Acl::Status> status_;
  Qel::Ptr<Acl::AclStatusAggregatorSm> statusAggregator_;
};

}  // namespace Daemon
