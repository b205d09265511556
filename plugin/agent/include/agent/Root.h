#pragma once

/// The plug-in's root entity. Whoever mounts the plug-in creates it by its type name and sets its
/// attributes by their names; nothing inside the plug-in calls these mutators.

#include "acl/Aggregator.h"
#include "agent/AclMibSm.h"
#include "qel/Dir.h"
#include "qel/Entity.h"

namespace AclSnmp {

class Root : public Qel::Entity {
 public:
  explicit Root(Qel::Name name) : Entity(std::move(name)) {}
  /// Takes down the aggregator, then the state machine; the rows of the MIB entity stay.
  ~Root() override;
  Qel::String8 fwkType() const override { return "AclSnmp::Root"; }

  const Qel::Ptr<Acl::AclConfigAggregatorSm>& aclConfigAggregator() const {
    return aclConfigAggregator_;
  }
  const Qel::Ptr<AclMib>& aclMib() const { return aclMib_; }
  const Qel::Ptr<AclMibSm>& aclMibSm() const { return aclMibSm_; }
  const Qel::Ptr<const Acl::Config>& aclConfig() const { return aclConfig_; }
  const Qel::Ptr<const Acl::Status>& aclStatus() const { return aclStatus_; }

  void aclMibIs(const Qel::Ptr<AclMib>& aclMib) { aclMib_ = aclMib; }
  void aclConfigIs(const Qel::Ptr<const Acl::Config>& aclConfig) { aclConfig_ = aclConfig; }
  void aclStatusIs(const Qel::Ptr<const Acl::Status>& aclStatus) { aclStatus_ = aclStatus; }

  // Both keep the present object when it was built from the same arguments and else replace it, its
  // notifications switched off first. A null argument throws `Qel::RangeException` "null ValidPtr"
  // and leaves the present object in place.
  Qel::Ptr<Acl::AclConfigAggregatorSm> aclConfigAggregatorIs(
      const Qel::Ptr<const Qel::Dir>& inputDir, const Qel::Ptr<const Acl::Input::Config>& cliInput,
      const Qel::Ptr<Acl::Config>& configOut);
  Qel::Ptr<AclMibSm> aclMibSmIs(const Qel::Ptr<Mek::TaskScheduler>& scheduler,
                                const Qel::Ptr<const Acl::Config>& config,
                                const Qel::Ptr<const Acl::Status>& status,
                                const Qel::Ptr<AclMib>& aclMib);

  // Both switch the object's notifications off and release it.
  void aclConfigAggregatorDel();
  void aclMibSmDel();

 private:
  Qel::Ptr<Acl::AclConfigAggregatorSm> aclConfigAggregator_;
  Qel::Ptr<AclMib> aclMib_;
  Qel::Ptr<AclMibSm> aclMibSm_;
  Qel::Ptr<const Acl::Config> aclConfig_;
  Qel::Ptr<const Acl::Status> aclStatus_;
};

Qel::Ptr<Root> RootIs(Qel::Name name);
/// The factory under which the type is registered with the entity framework.
Qel::Ptr<Root> rootFactory(Qel::Name name);

}  // namespace AclSnmp
