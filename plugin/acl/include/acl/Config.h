#pragma once

/// ACL configuration: lists, their versions and their rules. Sources write it, the plug-in reads
/// it.
///
///     Config -> AclTypeConfig (one per type) -> AclConfig (one per ACL) -> AclSubConfig (versions)
///
/// An ACL's rules are those of its current sub-configuration, `currCfg`. A source publishes a
/// changed ACL as a new sub-configuration, or edits the current one in place.

#include "acl/NamedCollection.h"
#include "acl/Types.h"
#include "qel/Entity.h"

namespace Acl {

/// One version of an ACL's rules. A rule is a sequence number, the identity that stands there, and
/// the rule under that identity; which of the three rule collections holds it is a matter of the
/// ACL's type. A sequence number may hold a remark, with or without a rule.
class AclSubConfig : public Qel::Entity {
 public:
  class NotifieeConst : public Qel::NotifieeOf<AclSubConfig> {
   public:
    using Qel::NotifieeOf<AclSubConfig>::NotifieeOf;
    virtual void onReadonly() {}
    virtual void onCommitted() {}
    QEL_COLLECTION_CALLBACKS(RuleBySequence, uint32_t)
    virtual void onCountersEnabled() {}
    virtual void onFragmentsEnabled() {}
    QEL_COLLECTION_CALLBACKS(IpRuleById, UniqueId)
    QEL_COLLECTION_CALLBACKS(Ip6RuleById, UniqueId)
    QEL_COLLECTION_CALLBACKS(MacRuleById, UniqueId)
    QEL_COLLECTION_CALLBACKS(RemarkBySequence, uint32_t)
  };

  explicit AclSubConfig(Qel::Name name = {}) : Entity(std::move(name)) {}
  Qel::String8 fwkType() const override { return "Acl::AclSubConfig"; }

  QEL_ATTRIBUTE(bool, readonly, Readonly)
  QEL_ATTRIBUTE(bool, committed, Committed)
  QEL_VALUE_COLLECTION(Qel::OrderedCollection, uint32_t, UniqueId, ruleBySequence, RuleBySequence,
                       UniqueId::invalid())
  QEL_ATTRIBUTE(bool, countersEnabled, CountersEnabled)
  QEL_ATTRIBUTE(bool, fragmentsEnabled, FragmentsEnabled)
  QEL_VALUE_COLLECTION(Qel::HashCollection, UniqueId, IpRuleConfig, ipRuleById, IpRuleById,
                       IpRuleConfig())
  QEL_VALUE_COLLECTION(Qel::HashCollection, UniqueId, Ip6RuleConfig, ip6RuleById, Ip6RuleById,
                       Ip6RuleConfig())
  QEL_VALUE_COLLECTION(Qel::HashCollection, UniqueId, MacRuleConfig, macRuleById, MacRuleById,
                       MacRuleConfig())
  QEL_VALUE_COLLECTION(Qel::OrderedCollection, uint32_t, RemarkConfig, remarkBySequence,
                       RemarkBySequence, RemarkConfig())
};

/// One ACL.
class AclConfig : public Qel::Entity {
 public:
  class NotifieeConst : public Qel::NotifieeOf<AclConfig> {
   public:
    using Qel::NotifieeOf<AclConfig>::NotifieeOf;
    virtual void onReadonly() {}
    virtual void onCurrCfg() {}
    QEL_COLLECTION_CALLBACKS(SubConfig, UniqueId)
    virtual void onCounterUpdateRequestTime() {}
    virtual void onDynamic() {}
  };

  AclConfig(Qel::Name name, AclType type) : Entity(std::move(name)), type_(type) {}
  Qel::String8 fwkType() const override { return "Acl::AclConfig"; }

  AclType type() const { return type_; }
  /// Whether operators may not change the ACL.
  QEL_ATTRIBUTE(bool, readonly, Readonly)
  /// The version in force; null while none is committed.
  QEL_ATTRIBUTE(Qel::Ptr<const AclSubConfig>, currCfg, CurrCfg)
  QEL_VALUE_COLLECTION(Qel::HashCollection, UniqueId, Qel::Ptr<const AclSubConfig>, subConfig,
                       SubConfig, nullptr)
  QEL_ATTRIBUTE(Qel::Seconds, counterUpdateRequestTime, CounterUpdateRequestTime)
  QEL_ATTRIBUTE(bool, dynamic, Dynamic)

 private:
  AclType type_;
};

/// The ACLs of one type by name.
class AclTypeConfig final : public NamedCollection<AclTypeConfig, AclConfig> {
 public:
  using NamedCollection::NamedCollection;
  Qel::String8 fwkType() const override { return "Acl::AclTypeConfig"; }
};

/// The ACL configuration of a switch or of one source: one `AclTypeConfig` for each type, from the
/// start.
class Config : public Qel::Entity {
 public:
  explicit Config(Qel::Name name);
  ~Config() override;
  Qel::String8 fwkType() const override { return "Acl::Config"; }

  /// The configurations of a type; null for a value that is no type.
  Qel::Ptr<AclTypeConfig> typeConfig(AclType type);
  Qel::Ptr<const AclTypeConfig> typeConfig(AclType type) const;
  /// Takes a type away; what refers to it keeps it.
  void typeConfigDel(AclType type);

 private:
  Qel::OrderedCollection<AclType, Qel::Ptr<AclTypeConfig>> typeConfig_;
};

namespace Input {

/// What one source configures. It stands in the input directory under the source's name.
class Config final : public Acl::Config {
 public:
  using Acl::Config::Config;
  Qel::String8 fwkType() const override { return "Acl::Input::Config"; }
};

}  // namespace Input
}  // namespace Acl
