#pragma once

/// The rows of the MIB tables. A row stores its key and references to the ACL's configuration and
/// status; every column value is derived from those at the moment it is read, so a row never goes
/// stale. Reading never fails: where the configuration, status, rule or remark is missing, the
/// value is zero, false, empty or, for times, the row's creation time.

#include <cstdint>

#include "acl/Config.h"
#include "acl/Status.h"
#include "model/AclRuleTableIndex.h"
#include "model/LatestChange.h"
#include "qel/Ptr.h"
#include "qel/Strep.h"
#include "snmp/String.h"

namespace AclSnmp {

using AclConfigPtr = Qel::Ptr<const Acl::AclConfig>;
using AclStatusPtr = Qel::Ptr<const Acl::AclStatus>;

/// Throws the name-in-use error of an object that exists with another constructor parameter.
[[noreturn]] void reinstantiated(const char* attribute, const std::string& given,
                                 const std::string& current);

/// Passes when an existing object was built from the given pointer.
template <class T>
void requireSame(const char* attribute, const Qel::Ptr<T>& given, const Qel::Ptr<T>& current) {
  if (given == current) return;
  reinstantiated(attribute, Qel::valueToStrep(static_cast<const void*>(given.get())),
                 Qel::valueToStrep(static_cast<const void*>(current.get())));
}

/// One ACL.
class AclTableEntry : public Qel::PtrInterface {
 public:
  using Key = Snmp::String;

  AclTableEntry(Snmp::String name, AclConfigPtr aclConfig)
      : name_(std::move(name)), aclConfig_(std::move(aclConfig)) {}

  const Snmp::String& name() const { return name_; }
  const AclConfigPtr& aclConfig() const { return aclConfig_; }
  const AclStatusPtr& aclStatus() const { return aclStatus_; }
  void aclStatusIs(const AclStatusPtr& aclStatus) { aclStatus_ = aclStatus; }

  bool readonly() const;
  /// Whether the current sub-configuration counts packets.
  bool statsEnabled() const;
  bool countersIncomplete() const;

  /// Throws `Qel::NameInUseException` unless the row was built from this configuration.
  void requireConstructedFrom(const AclConfigPtr& aclConfig) const {
    requireSame("_aclConfig", aclConfig, aclConfig_);
  }

 private:
  Snmp::String name_;
  AclConfigPtr aclConfig_;
  AclStatusPtr aclStatus_;
};

class IpAclTableEntry final : public AclTableEntry {
 public:
  using AclTableEntry::AclTableEntry;
};
class MacAclTableEntry final : public AclTableEntry {
 public:
  using AclTableEntry::AclTableEntry;
};
class Ipv6AclTableEntry final : public AclTableEntry {
 public:
  using AclTableEntry::AclTableEntry;
};

/// What rule and statistics rows have in common.
class SequenceEntry : public Qel::PtrInterface {
 public:
  using Key = AclRuleTableIndex;

  const AclRuleTableIndex& index() const { return index_; }
  const AclConfigPtr& aclConfig() const { return aclConfig_; }
  /// The identity at the row's sequence number; the invalid one where there is none.
  Acl::UniqueId uniqueId() const;

  void requireConstructedFrom(const AclConfigPtr& aclConfig) const {
    requireSame("_aclConfig", aclConfig, aclConfig_);
  }

 protected:
  SequenceEntry(AclRuleTableIndex index, AclConfigPtr aclConfig)
      : index_(std::move(index)), aclConfig_(std::move(aclConfig)) {}

  /// The ACL's current sub-configuration, or null.
  const Acl::AclSubConfig* current() const {
    return aclConfig_ ? aclConfig_->currCfg().get() : nullptr;
  }

 private:
  AclRuleTableIndex index_;
  AclConfigPtr aclConfig_;
};

/// One rule or remark. `RuleConfigT` is the type's rule configuration and `rules` the collection of
/// the sub-configuration that holds it.
template <class RuleConfigT, const Qel::HashCollection<Acl::UniqueId, RuleConfigT>& (
                                 Acl::AclSubConfig::*rules)() const>
class RuleTableEntry : public SequenceEntry {
 public:
  RuleTableEntry(AclRuleTableIndex index, AclConfigPtr aclConfig)
      : SequenceEntry(std::move(index), std::move(aclConfig)) {}

  Acl::RemarkConfig remarkConfig() const {
    const Acl::AclSubConfig* config = current();
    return config == nullptr ? Acl::RemarkConfig() : config->remarkBySequence(index().seqId());
  }
  Acl::Action action() const { return rule().action; }
  bool log() const { return rule().log; }
  Qel::String8 remark() const { return remarkConfig().text; }

 protected:
  /// The rule at the row's sequence number, or a default one; valid until the configuration
  /// changes.
  const RuleConfigT& rule() const {
    static const RuleConfigT absent;
    const Acl::AclSubConfig* config = current();
    if (config == nullptr) return absent;
    const RuleConfigT* found = (config->*rules)().find(uniqueId());
    return found == nullptr ? absent : *found;
  }
};

/// The columns that IPv4 and IPv6 rules share.
template <class RuleConfigT, const Qel::HashCollection<Acl::UniqueId, RuleConfigT>& (
                                 Acl::AclSubConfig::*rules)() const>
class L3RuleTableEntry : public RuleTableEntry<RuleConfigT, rules> {
 public:
  using RuleTableEntry<RuleConfigT, rules>::RuleTableEntry;

  typename RuleConfigT::Filter filter() const { return this->rule().filter; }
  uint32_t proto() const { return this->rule().filter.proto; }
  Acl::RangeOperator sportOper() const { return this->rule().filter.sport.oper; }
  Qel::String8 sports() const { return this->rule().filter.sport.ports; }
  Acl::RangeOperator dportOper() const { return this->rule().filter.dport.oper; }
  Qel::String8 dports() const { return this->rule().filter.dport.ports; }
  bool established() const { return this->rule().filter.established; }
  uint16_t icmpType() const { return this->rule().filter.icmpType; }
  uint16_t icmpCode() const { return this->rule().filter.icmpCode; }
};

class IpAclRuleTableEntry final
    : public L3RuleTableEntry<Acl::IpRuleConfig, &Acl::AclSubConfig::ipRuleById> {
 public:
  using L3RuleTableEntry::L3RuleTableEntry;

  Acl::IpRuleConfig ipRuleConfig() const { return rule(); }
  Kavet::IpAddr sourceAddr() const { return rule().filter.source; }
  Kavet::IpAddr sourceMask() const { return rule().filter.sourceMask; }
  Kavet::IpAddr destAddr() const { return rule().filter.destination; }
  Kavet::IpAddr destMask() const { return rule().filter.destinationMask; }
  Acl::RangeOperator ttlOper() const { return rule().filter.ttl.oper; }
  uint32_t ttlValue() const { return rule().filter.ttl.value; }
  bool tracked() const { return rule().filter.tracked; }
  bool fragments() const { return rule().filter.fragments; }
};

class Ipv6AclRuleTableEntry final
    : public L3RuleTableEntry<Acl::Ip6RuleConfig, &Acl::AclSubConfig::ip6RuleById> {
 public:
  using L3RuleTableEntry::L3RuleTableEntry;

  Acl::Ip6RuleConfig ip6RuleConfig() const { return rule(); }
  Kavet::Ip6Addr sourceAddr() const { return rule().filter.source().address; }
  /// The mask of the prefix length. A length above 128 throws `std::out_of_range`.
  Kavet::Ip6Addr sourceMask() const;
  Kavet::Ip6Addr destAddr() const { return rule().filter.destination().address; }
  Kavet::Ip6Addr destMask() const;
  Acl::RangeOperator hopLimitOper() const { return rule().filter.ttl.oper; }
  uint32_t hopLimit() const { return rule().filter.ttl.value; }
};

class MacAclRuleTableEntry final
    : public RuleTableEntry<Acl::MacRuleConfig, &Acl::AclSubConfig::macRuleById> {
 public:
  using RuleTableEntry::RuleTableEntry;

  Acl::MacRuleConfig macRuleConfig() const { return rule(); }
  Kavet::EthAddr sourceAddr() const { return rule().filter.source; }
  Kavet::EthAddr sourceMask() const { return rule().filter.sourceMask; }
  Kavet::EthAddr destAddr() const { return rule().filter.destination; }
  Kavet::EthAddr destMask() const { return rule().filter.destinationMask; }
  uint32_t proto() const { return rule().filter.proto; }
};

/// The packet counter of one rule.
class RuleStatsTableEntry : public SequenceEntry {
 public:
  RuleStatsTableEntry(AclRuleTableIndex index, AclConfigPtr aclConfig, Qel::Seconds creationTime)
      : SequenceEntry(std::move(index), std::move(aclConfig)), creationTime_(creationTime) {}
  ~RuleStatsTableEntry() override { latestChangeIs(nullptr); }

  Qel::Seconds creationTime() const { return creationTime_; }
  const AclStatusPtr& aclStatus() const { return aclStatus_; }
  void aclStatusIs(const AclStatusPtr& aclStatus);

  /// What the rows of the ACL share; the table gives it to its rows.
  const Qel::Ptr<LatestChange>& latestChange() const { return latestChange_; }
  void latestChangeIs(const Qel::Ptr<LatestChange>& latestChange);

  uint64_t pkts() const { return ruleStatus().pkts; }
  /// When the counter last changed; the creation time while the rule is not counted.
  Qel::Seconds lastUpdateTime() const;

  using SequenceEntry::requireConstructedFrom;
  void requireConstructedFrom(const AclConfigPtr& aclConfig, Qel::Seconds creationTime) const;

 protected:
  Acl::RuleStatus ruleStatus() const;

 private:
  AclStatusPtr aclStatus_;
  Qel::Ptr<LatestChange> latestChange_;
  Qel::Seconds creationTime_;
};

class IpAclRuleStatsTableEntry final : public RuleStatsTableEntry {
 public:
  using RuleStatsTableEntry::RuleStatsTableEntry;
  Acl::RuleStatus ipRuleStatus() const { return ruleStatus(); }
};
class MacAclRuleStatsTableEntry final : public RuleStatsTableEntry {
 public:
  using RuleStatsTableEntry::RuleStatsTableEntry;
  Acl::RuleStatus macRuleStatus() const { return ruleStatus(); }
};
class Ipv6AclRuleStatsTableEntry final : public RuleStatsTableEntry {
 public:
  using RuleStatsTableEntry::RuleStatsTableEntry;
  Acl::RuleStatus ip6RuleStatus() const { return ruleStatus(); }
};

}  // namespace AclSnmp
