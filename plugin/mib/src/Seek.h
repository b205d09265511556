#pragma once

/// The handler in front of the table iterator: it makes a search of what the iterator would walk
/// the table for. A GET of a row that is absent ends here, without a value. A GETNEXT whose index
/// is no row goes on from the greatest row below it, so that the iterator's hint always matches.
///
/// Indexes compare as the sub-identifiers of their OIDs, also where a request's is cut, too long or
/// has sub-identifiers that no octet has.

#include <compare>
#include <span>

#include "Hooks.h"

namespace AclSnmp {

/// The sub-identifiers of an index, or of what a request has in place of one.
using SubIds = std::span<const oid>;

/// The order of a name as the index has it, length first, and of sub-identifiers; takes those that
/// it compared from them.
inline std::strong_ordering compareName(const Snmp::String& name, SubIds& rest) {
  const std::string_view octets = name.string8().view();
  const auto compare = [&rest](oid own) {
    if (rest.empty()) return std::strong_ordering::greater;
    const auto order = own <=> rest.front();
    rest = rest.subspan(1);
    return order;
  };
  auto order = compare(octets.size());
  for (size_t i = 0; i < octets.size() && order == 0; ++i) {
    order = compare(static_cast<unsigned char>(octets[i]));
  }
  return order;
}
/// The order of a row's index and of sub-identifiers.
inline std::strong_ordering compareKey(const Snmp::String& key, SubIds ids) {
  const auto order = compareName(key, ids);
  return order == 0 && !ids.empty() ? std::strong_ordering::less : order;
}
inline std::strong_ordering compareKey(const AclRuleTableIndex& key, SubIds ids) {
  const auto order = compareName(key.aclName(), ids);
  if (order != 0) return order;
  if (ids.empty()) return std::strong_ordering::greater;
  if (key.seqId() != ids.front()) return oid{key.seqId()} <=> ids.front();
  return ids.size() > 1 ? std::strong_ordering::less : std::strong_ordering::equal;
}

template <const auto& table>
class Seek {
  using TableT = std::remove_cvref_t<decltype(table)>;
  using Entry = typename TableT::Entry;
  using Iterator = typename TableT::Iterator;

 public:
  /// The agent library's handler; its data is the `AclMib`. A list of several requests is passed on
  /// as it is: the serialize handler, which stands further up, makes none.
  static int handle(netsnmp_mib_handler* handler, netsnmp_handler_registration* registration,
                    netsnmp_agent_request_info* info, netsnmp_request_info* requests) noexcept {
    const bool absent = Call(table.name).guarded(false, [&] {
      const bool plain = requests != nullptr && requests->next == nullptr &&
                         requests->processed == 0 &&
                         (info->mode == MODE_GET || info->mode == MODE_GETNEXT);
      netsnmp_table_request_info* request = plain ? netsnmp_extract_table_info(requests) : nullptr;
      if (request == nullptr) return false;
      const auto& mib = *static_cast<const AclMib*>(registration->my_reg_void);
      const netsnmp_variable_list& name = *requests->requestvb;
      const size_t column = registration->rootoid_len + 2;
      SubIds ids;
      if (name.name_length > column) ids = {name.name + column, name.name_length - column};
      return info->mode == MODE_GET ? !contains(mib, ids) : (goOnFrom(mib, ids, *request), false);
    });
    return absent ? SNMP_ERR_NOERROR
                  : netsnmp_call_next_handler(handler, registration, info, requests);
  }

 private:
  /// The greatest row whose index is not above `ids`, of those whose name fits an index.
  static Iterator lastUpTo(const AclMib& mib, SubIds ids) {
    return mib.entries<Entry>().lastOf([ids](const typename Entry::Key& key) {
      return aclNameOf(key).size() <= kNameBuffer && compareKey(key, ids) <= 0;
    });
  }
  /// The time mark is no part of a row's key.
  static SubIds behindMark(SubIds ids) {
    return TableT::kHasTimeMark && !ids.empty() ? ids.subspan(1) : ids;
  }

  static bool contains(const AclMib& mib, SubIds ids) {
    const Iterator row = lastUpTo(mib, behindMark(ids));
    if (!row || compareKey(row.key(), behindMark(ids)) != 0) return false;
    if constexpr (TableT::kHasTimeMark) {
      return TimeFilter<table>(&mib, static_cast<uint32_t>(ids[0])).passes(*row.value());
    } else {
      return true;
    }
  }

  /// Makes the hint name the greatest row that is not above the request's index; where there is
  /// none, no row, which stands for the first one.
  static void goOnFrom(const AclMib& mib, SubIds ids, netsnmp_table_request_info& request) {
    const Iterator row = lastUpTo(mib, behindMark(ids));
    if (row && compareKey(row.key(), behindMark(ids)) == 0) return;
    request.number_indexes = 0;
    if (!row) return;
    netsnmp_variable_list* variable = request.indexes;
    if constexpr (TableT::kHasTimeMark) variable = variable->next_variable;
    if (!setName(variable, row.key())) return;
    if constexpr (TableT::kHasSequence) {
      if (!setSequence(variable->next_variable, row.key())) return;
    }
    request.number_indexes = static_cast<unsigned>(table.index.size());
  }
};

}  // namespace AclSnmp
