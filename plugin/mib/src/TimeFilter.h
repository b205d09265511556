#pragma once

/// The time filter of the statistics tables: a row passes when it changed at or after the request's
/// time mark, less two ticks.

#include <algorithm>
#include <array>
#include <optional>

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

  /// Moves on to the first row that passes.
  void skip(const Call& call, Iterator& row) const {
    if (all_) return;
    // A trace tells of each row.
    const bool traced = mib_ == nullptr || mibTrace().enabled(2);
    if (!traced) skipEarly(row);
    while (!row.atEnd()) {
      const uint32_t ticks = ticksOf(row.value()->lastUpdateTime());
      const bool passed = passes(ticks);
      if (!passed) {
        call.trace(2, table.name, "_get_*_data_point filtered out ",
                   static_cast<const void*>(&row));
      }
      call.trace(passed ? 8 : 4, table.name, "_get_*_data_point: last changed (lastUpdateTime) ",
                 ticks, " requested value is ", mark_);
      if (passed) return;
      ++row;
      if (!traced) skipEarly(row);
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

  /// From a row to the first one that may pass: over each ACL whose latest change is too early, and
  /// over the rows that are in one whose is not.
  void skipEarly(Iterator& row) const {
    if (row.atEnd()) return;
    const auto& rows = mib_->entries<Entry>();
    auto acl = mib_->latestChanges<Entry>().startAt(row.key().aclName());
    for (; acl; ++acl) {
      if (noneUpTo(acl.value()->time())) continue;
      if (row.atEnd() || acl.key() != row.key().aclName()) row = rows.startAt({acl.key(), 0});
      if (skipEarlyOf(*acl.value(), row)) return;
    }
    row = Iterator();
  }

  /// From a row to the first one of its ACL that may pass; false where there is none.
  bool skipEarlyOf(const LatestChange& acl, Iterator& row) const {
    const Snmp::String name = row.key().aclName();
    std::array<Acl::UniqueId, 8> late;
    if (const auto count = lateCounters(acl, late)) {
      auto rule = acl.commonConfig()->currCfg()->ruleBySequence().startAt(row.key().seqId());
      rule.skip([&](uint32_t, const Acl::UniqueId& id) {
        return std::find(late.begin(), late.begin() + *count, id) == late.begin() + *count;
      });
      if (rule.atEnd()) return false;
      if (rule.key() == row.key().seqId()) return true;
      row = mib_->entries<Entry>().startAt({name, rule.key()});
    }
    row.skip([&](const AclRuleTableIndex& key, const Qel::Ptr<Entry>& value) {
      return key.aclName() == name && noneUpTo(value->lastUpdateTime());
    });
    return !row.atEnd() && row.key().aclName() == name;
  }

  /// The counters of an ACL that changed late enough, where those are few and no other row of it
  /// can pass. Counters lie side by side, which the rows that show them do not.
  template <size_t most>
  std::optional<size_t> lateCounters(const LatestChange& acl,
                                     std::array<Acl::UniqueId, most>& late) const {
    const Acl::AclStatus* status = acl.commonStatus();
    const Acl::AclConfig* config = acl.commonConfig();
    const bool common = status != nullptr && config != nullptr && config->currCfg();
    if (!common || !noneUpTo(acl.created())) return std::nullopt;
    size_t count = 0;
    for (const auto& [id, counter] : status->ruleStatus()) {
      if (noneUpTo(counter.lastUpdateTime)) continue;
      // What no rule has is the identity of every row without one.
      if (count == most || id == Acl::UniqueId::invalid()) return std::nullopt;
      late[count++] = id;
    }
    return count;
  }

  const AclMib* mib_;
  const uint32_t mark_;
  const bool all_;
  const Qel::Seconds start_;
};

}  // namespace AclSnmp
