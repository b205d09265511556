#pragma once

/// The state machines that merge what the sources publish into the one configuration and the one
/// status that the plug-in reads. Objects are shared, not copied.
///
/// The name of an ACL belongs, per type, to the input that was mounted first among those that
/// configure it; the command line input `cliInput` counts as mounted before all others. The ACL of
/// any later input is refused with one trace and takes its place when the owner lets go.

#include <map>
#include <memory>
#include <set>
#include <vector>

#include "acl/Config.h"
#include "acl/Status.h"
#include "qel/Dir.h"

namespace Acl {

class AclConfigAggregatorSm : public Qel::PtrInterface {
 public:
  /// Merges at once what is there. Null arguments throw `Qel::RangeException` "null ValidPtr".
  AclConfigAggregatorSm(const Qel::Ptr<const Qel::Dir>& inputDir,
                        const Qel::Ptr<const Input::Config>& cliInput,
                        const Qel::Ptr<Config>& configOut);
  ~AclConfigAggregatorSm() override;

  const Qel::Ptr<const Qel::Dir>& inputDir() const { return inputDir_; }
  const Qel::Ptr<const Input::Config>& cliInput() const { return cliInput_; }
  const Qel::Ptr<Config>& configOut() const { return configOut_; }

  /// While off, changes of the inputs are not followed.
  void hasNotificationActiveIs(bool active);

 private:
  class QelInputDir;
  class QelTypeConfig;
  struct MountedInput;

  void handleInput(const Qel::Name& name);
  void handleAcl(AclType type, const Qel::Name& name);
  void mount(const Qel::Ptr<const Input::Config>& input);
  void unmount(const Qel::Name& name);

  Qel::Ptr<const Qel::Dir> inputDir_;
  Qel::Ptr<const Input::Config> cliInput_;
  Qel::Ptr<Config> configOut_;
  std::unique_ptr<QelInputDir> dirReactor_;
  std::vector<std::unique_ptr<MountedInput>> inputs_;  // in the order of mounting
};

/// Publishes, for each ACL of the merged configuration, the status that its owner reports. The data
/// plane supports what any input says that it supports.
class AclStatusAggregatorSm : public Qel::PtrInterface {
 public:
  /// `statusDir` holds each source's `Input::Status` under the name of its `Input::Config` in
  /// `inputDir`. Null arguments throw `Qel::RangeException` "null ValidPtr".
  AclStatusAggregatorSm(const Qel::Ptr<const Qel::Dir>& inputDir,
                        const Qel::Ptr<const Qel::Dir>& statusDir,
                        const Qel::Ptr<const Config>& config, const Qel::Ptr<Status>& statusOut);
  ~AclStatusAggregatorSm() override;

 private:
  class QelStatusDir;
  class QelStatus;
  template <class PerType>
  class QelPerType;
  struct MountedStatus;

  void handleInput(const Qel::Name& name);
  void handleAcl(AclType type, const Qel::Name& name);
  void handleFlags();

  Qel::Ptr<const Qel::Dir> inputDir_;
  Qel::Ptr<const Qel::Dir> statusDir_;
  Qel::Ptr<const Config> config_;
  Qel::Ptr<Status> statusOut_;
  std::unique_ptr<QelStatusDir> dirReactor_;
  std::vector<std::unique_ptr<QelPerType<AclTypeConfig>>> configReactors_;
  std::map<Qel::Name, std::unique_ptr<MountedStatus>> inputs_;
};

}  // namespace Acl
