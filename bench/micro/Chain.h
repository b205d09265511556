#pragma once

/// The plug-in's synchronisation without an agent: a model, the state machines and the MIB entity,
/// and the backlog processor alone.

#include <vector>

#include "Model.h"
#include "agent/AclMibSm.h"

namespace Bench {

/// IPv4 ACLs of a shape with all their rows. A drain does all pending work in one go.
class Chain {
 public:
  explicit Chain(const Shape& shape) : shape_(shape) {
    status_->statusIs(Acl::AclType::ipv4);
    for (size_t acl = 0; acl < shape.acls; ++acl) replace(acl);
    // A run is never cut off by the clock: what it does is the same every time.
    machine_->aclSnmpTypeConfigCodef(Acl::AclType::ipv4)->backlogQuantumIs(1e9);
    drain();
    for (auto& spare : spare_) spare = aclConfig(shape, Acl::AclType::ipv4, 0);
  }

  const AclSnmp::AclMib& mib() const { return *mib_; }
  AclSnmp::AclRuleTableIndex index(size_t rule) const {
    return {Snmp::String(Qel::String8(Shape::aclName(rule / shape_.rulesPerAcl))),
            Shape::sequence(rule % shape_.rulesPerAcl)};
  }
  /// Puts another configuration of the first ACL in place, made beforehand.
  void replaceFirst() { config_->typeConfig(Acl::AclType::ipv4)->aclIs(spare_[turn_++ % 2]); }
  void drain() {
    while (scheduler_->runNext()) {
    }
  }

 private:
  void replace(size_t acl) {
    config_->typeConfig(Acl::AclType::ipv4)->aclIs(aclConfig(shape_, Acl::AclType::ipv4, acl));
  }

  const Shape shape_;
  const Qel::Ptr<Mek::TaskScheduler> scheduler_ = Qel::make<Mek::TaskScheduler>();
  const Qel::Ptr<Acl::Config> config_ = Qel::make<Acl::Config>("config");
  const Qel::Ptr<Acl::Status> status_ = [] {
    const auto status = Qel::make<Acl::Status>("status");
    status->statusIs(Acl::AclType::ipv4);
    return status;
  }();
  const Qel::Ptr<AclSnmp::AclMib> mib_ = AclSnmp::AclMibIs("aclMIB");
  const Qel::Ptr<AclSnmp::AclMibSm> machine_ =
      Qel::make<AclSnmp::AclMibSm>(scheduler_, config_, status_, mib_);
  Qel::Ptr<Acl::AclConfig> spare_[2];
  size_t turn_ = 0;
};

/// A backlog processor with nothing on either side of it, and names for it.
class Backlog {
 public:
  static constexpr size_t kNames = 1000;

  Backlog() {
    for (size_t i = 0; i < kNames; ++i) names_.emplace_back(Qel::String8(Shape::aclName(i)));
    codef_->backlogQuantumIs(1e9);
  }
  void insert(size_t count) {
    for (size_t i = 0; i < count; ++i) codef_->handleAclConfig(names_[i % kNames]);
  }
  void drain() {
    while (scheduler_->runNext()) {
    }
  }

 private:
  const Qel::Ptr<Mek::TaskScheduler> scheduler_ = Qel::make<Mek::TaskScheduler>();
  const Qel::Ptr<AclSnmp::AclSnmpTypeConfigCodef> codef_ = AclSnmp::AclSnmpTypeConfigCodefIs(
      scheduler_, 2, "bench", Qel::make<Acl::AclTypeConfig>("in", Acl::AclType::ipv4),
      Qel::make<AclSnmp::AclSnmpTypeConfig>("out", Acl::AclType::ipv4));
  std::vector<Qel::Name> names_;
};

}  // namespace Bench
