#pragma once

/// `AclMib`: the entity from which every request is answered. It holds the switch's ACL status and
/// nine ordered tables of rows, walked in the order of their OIDs. The synchronisation state
/// machines are its only writers; request handlers only read it.

#include <tuple>
#include <type_traits>

#include "model/Entries.h"
#include "qel/Entity.h"

namespace AclSnmp {

using LatestChangeCollection = Qel::OrderedCollection<Snmp::String, Qel::Ptr<LatestChange>>;

template <class Entry>
using EntryTable = Qel::OrderedCollection<typename Entry::Key, Qel::Ptr<Entry>>;

/// One table under its own names, for example:
///     newIpAclTable(name, aclConfig)   a new row in place of any of that key; no notification
///     ipAclTableIs(name, aclConfig)    the row, made (and notified) where it is absent; one that
///     was
///                                      made from other values throws `Qel::NameInUseException`
///     ipAclTableDel(name)              the removed row (notified), or null
///     ipAclTableDelAll()               removes all in key order, one notification each
///     ipAclTableNotify(name)           tells every notifiee
///     ipAclTable(name), ipAclTable()   a row or null; the table, for walks
///     ipAclTables()                    the number of rows
/// Statistics tables take the creation time as a third value.
#define ACLSNMP_TABLE(lower, Upper)                                                                \
 public:                                                                                           \
  using Upper##Key = Upper##Entry::Key;                                                            \
  template <class... Extra>                                                                        \
  Qel::Ptr<Upper##Entry> new##Upper(const Upper##Key& key, const AclConfigPtr& aclConfig,          \
                                    Extra... extra) {                                              \
    return newEntry<Upper##Entry>(key, aclConfig, extra...);                                       \
  }                                                                                                \
  template <class... Extra>                                                                        \
  Qel::Ptr<Upper##Entry> lower##Is(const Upper##Key& key, const AclConfigPtr& aclConfig,           \
                                   Extra... extra) {                                               \
    return entryIs<Upper##Entry>(key, aclConfig, extra...);                                        \
  }                                                                                                \
  Qel::Ptr<Upper##Entry> lower##Del(const Upper##Key& key) { return entryDel<Upper##Entry>(key); } \
  void lower##DelAll() { entryDelAll<Upper##Entry>(); }                                            \
  void lower##Notify(const Upper##Key& key) const { entryNotify<Upper##Entry>(key); }              \
  const EntryTable<Upper##Entry>& lower() const { return entries<Upper##Entry>(); }                \
  Qel::Ptr<Upper##Entry> lower(const Upper##Key& key) const { return entry<Upper##Entry>(key); }   \
  size_t lower##s() const { return lower().size(); }                                               \
                                                                                                   \
 private:                                                                                          \
  static void tell(NotifieeConst& notifiee, const Upper##Entry*, const Upper##Key& key) {          \
    notifiee.on##Upper(key);                                                                       \
  }                                                                                                \
                                                                                                   \
 public:

class AclMib : public Qel::Entity {
 public:
  class NotifieeConst : public Qel::NotifieeOf<AclMib> {
   public:
    using Qel::NotifieeOf<AclMib>::NotifieeOf;
    virtual void onAclStatus() {}
    QEL_COLLECTION_CALLBACKS(IpAclTable, Snmp::String)
    QEL_COLLECTION_CALLBACKS(IpAclRuleTable, AclRuleTableIndex)
    QEL_COLLECTION_CALLBACKS(IpAclRuleStatsTable, AclRuleTableIndex)
    QEL_COLLECTION_CALLBACKS(MacAclTable, Snmp::String)
    QEL_COLLECTION_CALLBACKS(MacAclRuleTable, AclRuleTableIndex)
    QEL_COLLECTION_CALLBACKS(MacAclRuleStatsTable, AclRuleTableIndex)
    QEL_COLLECTION_CALLBACKS(Ipv6AclTable, Snmp::String)
    QEL_COLLECTION_CALLBACKS(Ipv6AclRuleTable, AclRuleTableIndex)
    QEL_COLLECTION_CALLBACKS(Ipv6AclRuleStatsTable, AclRuleTableIndex)
  };

  explicit AclMib(Qel::Name name) : Entity(std::move(name)) {}
  Qel::String8 fwkType() const override { return "AclSnmp::AclMib"; }

  /// The switch's ACL status; null at start.
  QEL_ATTRIBUTE(Qel::Ptr<const Acl::Status>, aclStatus, AclStatus)

  ACLSNMP_TABLE(ipAclTable, IpAclTable)
  ACLSNMP_TABLE(ipAclRuleTable, IpAclRuleTable)
  ACLSNMP_TABLE(ipAclRuleStatsTable, IpAclRuleStatsTable)
  ACLSNMP_TABLE(macAclTable, MacAclTable)
  ACLSNMP_TABLE(macAclRuleTable, MacAclRuleTable)
  ACLSNMP_TABLE(macAclRuleStatsTable, MacAclRuleStatsTable)
  ACLSNMP_TABLE(ipv6AclTable, Ipv6AclTable)
  ACLSNMP_TABLE(ipv6AclRuleTable, Ipv6AclRuleTable)
  ACLSNMP_TABLE(ipv6AclRuleStatsTable, Ipv6AclRuleStatsTable)

  // The same operations for code that is written once for all tables.

  template <class Entry>
  const EntryTable<Entry>& entries() const {
    return std::get<EntryTable<Entry>>(tables_);
  }
  template <class Entry>
  Qel::Ptr<Entry> entry(const typename Entry::Key& key) const {
    return entries<Entry>().valueOr(key, nullptr);
  }
  template <class Entry, class... Extra>
  Qel::Ptr<Entry> newEntry(const typename Entry::Key& key, const AclConfigPtr& aclConfig,
                           Extra... extra) {
    const auto made = Qel::validPtr(Qel::make<Entry>(key, aclConfig, extra...));
    if constexpr (kHasStatistics<Entry>) {
      const auto& change = latestChangeIs<Entry>(key.aclName());
      made->latestChangeIs(change);
      if (!entries<Entry>().contains(key)) change->rowIs();
    }
    std::get<EntryTable<Entry>>(tables_).insertOrAssign(key, made);
    return made;
  }
  template <class Entry, class... Extra>
  Qel::Ptr<Entry> entryIs(const typename Entry::Key& key, const AclConfigPtr& aclConfig,
                          Extra... extra) {
    if (const Qel::Ptr<Entry> present = entry<Entry>(key)) {
      present->requireConstructedFrom(aclConfig, extra...);
      return present;
    }
    const auto made = newEntry<Entry>(key, aclConfig, extra...);
    // The row's own key, here and below: the argument may end with what an observer removes.
    entryNotify<Entry>(keyOf(*made));
    return made;
  }
  template <class Entry>
  Qel::Ptr<Entry> entryDel(const typename Entry::Key& key) {
    const auto removed = std::get<EntryTable<Entry>>(tables_).take(key);
    if (!removed) return nullptr;
    if constexpr (kHasStatistics<Entry>) {
      const Qel::Ptr<LatestChange>& change = (*removed)->latestChange();
      change->rowDel();
      if (change->rows() == 0) {
        std::get<LatestChanges<Entry>>(latestChanges_).changes.erase(keyOf(**removed).aclName());
      }
    }
    entryNotify<Entry>(keyOf(**removed));
    return *removed;
  }
  template <class Entry>
  void entryDelAll() {
    for (auto it = entries<Entry>().begin(); it; ++it) entryDel<Entry>(it.key());
  }
  /// By ACL, when the rows of a statistics table changed last.
  template <class Entry>
  const LatestChangeCollection& latestChanges() const {
    return std::get<LatestChanges<Entry>>(latestChanges_).changes;
  }
  template <class Entry>
  void entryNotify(const typename Entry::Key& key) const {
    notify<NotifieeConst>(
        [&key](NotifieeConst& n) { tell(n, static_cast<const Entry*>(nullptr), key); });
  }

 private:
  static const Snmp::String& keyOf(const AclTableEntry& entry) { return entry.name(); }
  static const AclRuleTableIndex& keyOf(const SequenceEntry& entry) { return entry.index(); }

  template <class Entry>
  static constexpr bool kHasStatistics = std::is_base_of_v<RuleStatsTableEntry, Entry>;
  template <class Entry>
  struct LatestChanges {
    LatestChangeCollection changes;
  };
  /// That of an ACL, made where it is absent.
  template <class Entry>
  const Qel::Ptr<LatestChange>& latestChangeIs(const Snmp::String& aclName) {
    LatestChangeCollection& changes = std::get<LatestChanges<Entry>>(latestChanges_).changes;
    if (changes.find(aclName) == nullptr) {
      changes.insertOrAssign(aclName, Qel::validPtr(Qel::make<LatestChange>()));
    }
    return *changes.find(aclName);
  }

  std::tuple<EntryTable<IpAclTableEntry>, EntryTable<IpAclRuleTableEntry>,
             EntryTable<IpAclRuleStatsTableEntry>, EntryTable<MacAclTableEntry>,
             EntryTable<MacAclRuleTableEntry>, EntryTable<MacAclRuleStatsTableEntry>,
             EntryTable<Ipv6AclTableEntry>, EntryTable<Ipv6AclRuleTableEntry>,
             EntryTable<Ipv6AclRuleStatsTableEntry>>
      tables_;
  std::tuple<LatestChanges<IpAclRuleStatsTableEntry>, LatestChanges<MacAclRuleStatsTableEntry>,
             LatestChanges<Ipv6AclRuleStatsTableEntry>>
      latestChanges_;
};

#undef ACLSNMP_TABLE

/// A new entity with empty tables.
Qel::Ptr<AclMib> AclMibIs(Qel::Name name);
/// The factory under which the type is registered with the entity framework.
Qel::Ptr<AclMib> aclMibFactory(Qel::Name name);

}  // namespace AclSnmp
