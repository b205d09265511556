#pragma once

/// The time filter of the statistics tables: a row passes when it changed at or after the request's
/// time mark, less two ticks.

#include <algorithm>

#include "Call.h"
#include "Table.h"

namespace AclSnmp {

/// An unsigned index value; 0 where the request names none.
inline uint32_t unsignedValue(const netsnmp_variable_list* index) {
  const bool named = index != nullptr && index->val.integer != nullptr;
  return named ? static_cast<uint32_t>(*index->val.integer) : 0;
}

template <const auto& table>
class TimeFilter {
  using Iterator = typename std::remove_cvref_t<decltype(table)>::Iterator;
  using Entry = typename std::remove_cvref_t<decltype(table)>::Entry;

 public:
  /// Without a MIB entity every row is looked at. Every row passes mark 0: what it would be
  /// compared with matters to a trace at most.
  TimeFilter(const AclMib* mib, uint32_t mark)
      : mib_(mib),
        mark_(mark),
        all_(mark == 0 && !mibTrace().enabled(8)),
        start_(all_ ? 0 : SnmpUtil::agentStart()) {}

  bool passes(const Entry& row) const { return all_ || passes(ticksOf(row.lastUpdateTime())); }

  /// Moves on to the first row that passes. An ACL whose latest change is too early is passed over
  /// as a whole, unless a trace tells of each row.
  void skip(const Call& call, Iterator& row) const {
    if (all_) return;
    const bool traced = mibTrace().enabled(2);
    const bool byAcl = mib_ != nullptr && !traced;
    if (byAcl) skipAcls(row);
    while (!row.atEnd()) {
      const Qel::Seconds changed = row.value()->lastUpdateTime();
      if (traced || !noneUpTo(changed)) {
        const uint32_t ticks = ticksOf(changed);
        const bool passed = passes(ticks);
        if (!passed) {
          call.trace(2, table.name, "_get_*_data_point filtered out ",
                     static_cast<const void*>(&row));
        }
        call.trace(passed ? 8 : 4, table.name, "_get_*_data_point: last changed (lastUpdateTime) ",
                   ticks, " requested value is ", mark_);
        if (passed) return;
      }
      const Snmp::String left = row.key().aclName();
      ++row;
      if (byAcl && !row.atEnd() && row.key().aclName() != left) skipAcls(row);
    }
  }

 private:
  Qel::Seconds uptimeAt(Qel::Seconds time) const { return std::max(0.0, time - start_); }
  uint32_t ticksOf(Qel::Seconds changed) const { return SecondsToTimeTicks(uptimeAt(changed)); }
  bool passes(uint32_t ticks) const {
    constexpr uint32_t kSlack = 2;
    return ticks + kSlack >= mark_;
  }
  /// Whether no row can pass that changed at `time` or before it. Counted without the wrap of
  /// ticks, and a tick on the safe side of their rounding.
  bool noneUpTo(Qel::Seconds time) const {
    constexpr double kTicksPerSecond = 100;
    constexpr double kMargin = 3;
    return uptimeAt(time) * kTicksPerSecond + kMargin < mark_;
  }

  /// From a row to the first one of an ACL with a row that may pass.
  void skipAcls(Iterator& row) const {
    if (row.atEnd()) return;
    const Snmp::String& name = row.key().aclName();
    auto acl = mib_->latestChanges<Entry>().startAt(name);
    while (acl && noneUpTo(acl.value()->time())) ++acl;
    if (acl && acl.key() == name) return;
    row = acl ? mib_->entries<Entry>().startAt({acl.key(), 0}) : Iterator();
  }

  const AclMib* mib_;
  const uint32_t mark_;
  const bool all_;
  const Qel::Seconds start_;
};

}  // namespace AclSnmp
