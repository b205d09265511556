#pragma once

/// The handler in front of the table iterator: it makes a search of what the iterator would walk
/// the table for. A GET of a row that is absent ends here, without a value. A GETNEXT whose index
/// is no row goes on from the greatest row below it, so that the iterator's hint always matches.
///
/// Indexes compare as the sub-identifiers of their OIDs, also where a request's is cut, too long or
/// has sub-identifiers that no octet has.

#include <algorithm>
#include <array>
#include <compare>
#include <span>
#include <string_view>

#include "Hooks.h"

namespace AclSnmp {

/// What a request has in place of an index, as sub-identifiers, for comparisons with the indexes of
/// rows.
class AskedIndex {
 public:
  explicit AskedIndex(std::span<const oid> ids) : ids_(ids) {
    while (octets_ < kMost && 1 + octets_ < ids.size() && ids[1 + octets_] <= kMost) {
      name_[octets_] = static_cast<char>(ids[1 + octets_]);
      ++octets_;
    }
  }

  /// The order of a row's index and this one, as OIDs.
  std::strong_ordering operator()(const Snmp::String& key) const {
    const auto order = compareName(key);
    return order != 0 ? order : compareRest(key.size(), nullptr);
  }
  std::strong_ordering operator()(const AclRuleTableIndex& key) const {
    const auto order = compareName(key.aclName());
    const uint32_t seqId = key.seqId();
    return order != 0 ? order : compareRest(key.aclName().size(), &seqId);
  }

 private:
  static constexpr size_t kMost = 255;

  /// A name's length comes first, then its octets.
  std::strong_ordering compareName(const Snmp::String& name) const {
    const std::string_view octets = name.string8().view();
    if (ids_.empty()) return std::strong_ordering::greater;
    if (octets.size() != ids_[0]) return octets.size() <=> ids_[0];
    const size_t both = std::min(octets.size(), octets_);
    const int order = octets.substr(0, both).compare({name_.data(), both});
    if (order != 0) return order <=> 0;
    if (both == octets.size()) return std::strong_ordering::equal;
    // Cut there, or a sub-identifier that no octet reaches.
    return ids_.size() == 1 + both ? std::strong_ordering::greater : std::strong_ordering::less;
  }
  std::strong_ordering compareRest(size_t octets, const uint32_t* seqId) const {
    auto rest = ids_.subspan(1 + octets);
    if (seqId != nullptr) {
      if (rest.empty()) return std::strong_ordering::greater;
      if (*seqId != rest[0]) return oid{*seqId} <=> rest[0];
      rest = rest.subspan(1);
    }
    return rest.empty() ? std::strong_ordering::equal : std::strong_ordering::less;
  }

  std::span<const oid> ids_;
  std::array<char, kMost> name_;
  size_t octets_ = 0;
};

template <const auto& table>
class Seek {
  using TableT = std::remove_cvref_t<decltype(table)>;
  using Entry = typename TableT::Entry;
  using Iterator = typename TableT::Iterator;

 public:
  /// The agent library's handler. A list of several requests is passed on as it is: the serialize
  /// handler, which stands further up, makes none.
  static int handle(netsnmp_mib_handler* handler, netsnmp_handler_registration* registration,
                    netsnmp_agent_request_info* info, netsnmp_request_info* requests) noexcept {
    Found<table> found;
    const bool absent = Call(table.name).guarded(false, [&] {
      const bool plain = requests != nullptr && requests->next == nullptr &&
                         requests->processed == 0 &&
                         (info->mode == MODE_GET || info->mode == MODE_GETNEXT);
      netsnmp_table_request_info* request = plain ? netsnmp_extract_table_info(requests) : nullptr;
      if (request == nullptr) return false;
      const auto& mib = *static_cast<const AclMib*>(registration->my_reg_void);
      const netsnmp_variable_list& name = *requests->requestvb;
      const size_t column = registration->rootoid_len + 2;
      std::span<const oid> ids;
      if (name.name_length > column) ids = {name.name + column, name.name_length - column};
      uint32_t mark = 0;
      if (TableT::kHasTimeMark && !ids.empty()) {
        mark = static_cast<uint32_t>(ids[0]);
        ids = ids.subspan(1);
      }
      const AskedIndex asked(ids);
      // The greatest row whose index is not above, of those whose name fits an index.
      Iterator row = mib.entries<Entry>().lastOf([&asked](const typename Entry::Key& key) {
        return aclNameOf(key).size() <= kNameBuffer && asked(key) <= 0;
      });
      const bool there = row && asked(row.key()) == 0;
      if (info->mode == MODE_GET) {
        if (!(there && passes(mib, *row.value(), mark))) return true;
        found.is(request, std::move(row));
      } else if (mibTrace().enabled(2)) {
        // A trace tells of the hint's components: it is the row below.
        if (!there) hintIs(row, *request);
      } else {
        if (row) {
          ++row;
        } else {
          row = mib.entries<Entry>().begin();
        }
        found.is(request, std::move(row));
      }
      return false;
    });
    return absent ? SNMP_ERR_NOERROR
                  : netsnmp_call_next_handler(handler, registration, info, requests);
  }

 private:
  static bool passes([[maybe_unused]] const AclMib& mib, [[maybe_unused]] const Entry& row,
                     [[maybe_unused]] uint32_t mark) {
    if constexpr (TableT::kHasTimeMark) {
      return TimeFilter<table>(&mib, mark).passes(row);
    } else {
      return true;
    }
  }

  /// Makes the hint name a row; without one, no row, which stands for the first one.
  static void hintIs(const Iterator& row, netsnmp_table_request_info& request) {
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
