#pragma once

/// Row iteration and reading, written once for every table.
///
/// Life of a walk: the agent library calls `first` with the request's index as a hint in the loop
/// context, gets an iterator there instead, moves it with `next`, copies it into a data context for
/// the row that it keeps, and calls `handle` with that row. The loop context in hand when `first`
/// returns is freed at the end whatever happened, so the hint is replaced before anything can fail.
///
/// `function` is the name of the door through which the library came; texts start with it.

#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "Table.h"
#include "Trace.h"

namespace AclSnmp {

/// An unsigned index value; 0 where the request names none.
inline uint32_t unsignedValue(const netsnmp_variable_list* index) {
  const bool named = index != nullptr && index->val.integer != nullptr;
  return named ? static_cast<uint32_t>(*index->val.integer) : 0;
}

/// Sets a varbind from an encoder's result; false when the encoder failed or there is no memory.
inline bool setValue(netsnmp_variable_list* variable, u_char asnType, const unsigned char* buffer,
                     int length) {
  return length >= 0 &&
         snmp_set_var_typed_value(variable, asnType, buffer, static_cast<size_t>(length)) == 0;
}

template <const auto& table>
class Hooks {
  using TableT = std::remove_cvref_t<decltype(table)>;
  using Entry = typename TableT::Entry;
  using Key = typename TableT::Key;

 public:
  using Iterator = typename TableT::Iterator;

  static netsnmp_variable_list* first(const char* function, void** loopContext,
                                      netsnmp_variable_list* index,
                                      const netsnmp_iterator_info* info) {
    const auto* hint = static_cast<const netsnmp_table_request_info*>(*loopContext);
    *loopContext = nullptr;
    const auto& rows = rowsOf(info);
    ACLSNMP_MIB_TRACE(
        2, function,
        function << " - *hint = " << static_cast<const void*>(hint)
                 << ", number_indexes = " << (hint == nullptr ? 0U : hint->number_indexes));
    std::unique_ptr<Iterator> iterator;
    if (hint != nullptr && hint->number_indexes == table.index.size()) {
      iterator = matching(function, rows, hint->indexes);
    }
    const bool hintMatched = iterator != nullptr;
    if (!hintMatched) iterator = std::make_unique<Iterator>(rows.begin());
    *loopContext = iterator.get();
    const Iterator& position = *iterator.release();  // freed through the loop context from here on
    skipFiltered(function, *static_cast<Iterator*>(*loopContext), index);
    ACLSNMP_MIB_TRACE(2, function,
                      function << " - allocated new loop context "
                               << static_cast<const void*>(&position)
                               << ", hintMatched=" << hintMatched);
    return fillIndex(position, index);
  }

  static netsnmp_variable_list* next(const char* function, void** loopContext, void** dataContext,
                                     netsnmp_variable_list* index) {
    auto* iterator = static_cast<Iterator*>(*loopContext);
    if (iterator == nullptr || iterator->atEnd()) {
      ACLSNMP_MIB_TRACE(
          2, function,
          function << " - at end of loop context " << static_cast<const void*>(iterator));
      return nullptr;
    }
    auto* data = dataContext == nullptr ? nullptr : static_cast<Iterator*>(*dataContext);
    ACLSNMP_MIB_TRACE(2, function,
                      function << " - advancing loop context " << static_cast<const void*>(iterator)
                               << " ; data context " << static_cast<const void*>(data));
    ++*iterator;
    skipFiltered(function, *iterator, index);
    if (data != nullptr) *data = *iterator;
    return fillIndex(*iterator, index);
  }

  /// The iteration helper: fills the index varbinds from the iterator's row. Null at end.
  static netsnmp_variable_list* fillIndex(const Iterator& iterator, netsnmp_variable_list* index) {
    static const std::string name = std::string(table.name) + "IterationHelper";
    const char* function = name.c_str();
    if (iterator.atEnd()) {
      ACLSNMP_MIB_TRACE(2, function, function << " - iterator is at end");
      return nullptr;
    }
    netsnmp_variable_list* variable = index;
    if constexpr (TableT::kHasTimeMark) {
      ACLSNMP_MIB_TRACE(2, function,
                        function << " - Using existing TimeFilter " << table.index[0].name << "="
                                 << unsignedValue(variable));
      variable = variable->next_variable;
    }
    const Snmp::String& aclName = nameOf(iterator.key());
    ACLSNMP_MIB_TRACE(2, function,
                      function << " - iterator has another value: aclName=" << aclName);
    unsigned char octets[kNameBuffer];
    const int length = StringToAsnOctetStringF()(aclName.string8(), octets, kNameBuffer);
    if (!setValue(variable, ASN_OCTET_STR, octets, length)) {
      ACLSNMP_MIB_TRACE(
          0, function,
          function << " - an ACL name of " << aclName.size() << " octets does not fit the index");
      return nullptr;
    }
    if constexpr (TableT::kHasSequence) {
      const uint32_t seqId = iterator.key().seqId();
      ACLSNMP_MIB_TRACE(2, function, function << " - iterator has another value: seqId=" << seqId);
      unsigned char number[kValueBuffer];
      const int size = U32ToAsnUnsignedF()(seqId, number, kValueBuffer);
      if (!setValue(variable->next_variable, ASN_UNSIGNED, number, size)) return nullptr;
    }
    return index;
  }

  static void* makeDataContext(const char* function, const void* loopContext) {
    auto* data = new Iterator(*static_cast<const Iterator*>(loopContext));
    ACLSNMP_MIB_TRACE(2, function,
                      function << " - allocated data context " << static_cast<const void*>(data)
                               << " for loop context " << loopContext);
    return data;
  }

  static void freeContext(const char* function, void* context) {
    const std::unique_ptr<Iterator> iterator(static_cast<Iterator*>(context));
    ACLSNMP_MIB_TRACE(2, function, function << " " << static_cast<const void*>(iterator.get()));
  }

  static int handle(const char* function, const netsnmp_agent_request_info* info,
                    netsnmp_request_info* requests) {
    ACLSNMP_MIB_TRACE(2, function, function);
    ACLSNMP_MIB_TRACE(2, function, function << ": request mode " << info->mode);
    for (netsnmp_request_info* request = requests; request != nullptr; request = request->next) {
      if (request->processed != 0) {
        ACLSNMP_MIB_TRACE(
            2, function,
            function << ": request " << static_cast<const void*>(request) << " already processed");
        continue;
      }
      if (info->mode != MODE_GET) {
        refuseColumn(function, request, columnOf(request), SNMP_ERR_NOTWRITABLE);
        return SNMP_ERR_NOERROR;
      }
      const auto* row = static_cast<const Iterator*>(netsnmp_extract_iterator_context(request));
      if (row == nullptr) {
        ACLSNMP_MIB_TRACE(2, function, function << ": null data context in request");
        return SNMP_ERR_NOERROR;
      }
      const auto* column = table.column(columnOf(request));
      if (column == nullptr) {
        refuseColumn(function, request, columnOf(request), SNMP_NOSUCHOBJECT);
        return SNMP_ERR_NOERROR;
      }
      ACLSNMP_MIB_TRACE(
          2, function,
          function << ": request GET for column " << column->name << ", key " << row->key());
      if (!read(function, *column, *row->value(), request)) {
        netsnmp_request_set_error(requests, SNMP_ERR_GENERR);
        return SNMP_ERR_GENERR;
      }
    }
    return SNMP_ERR_NOERROR;
  }

 private:
  static const typename TableT::Rows& rowsOf(const netsnmp_iterator_info* info) {
    return static_cast<const AclMib*>(info->myvoid)->template entries<Entry>();
  }
  static const Snmp::String& nameOf(const Snmp::String& key) { return key; }
  static const Snmp::String& nameOf(const AclRuleTableIndex& key) { return key.aclName(); }

  static unsigned columnOf(netsnmp_request_info* request) {
    const netsnmp_table_request_info* info = netsnmp_extract_table_info(request);
    return info == nullptr ? 0 : info->colnum;
  }

  /// An iterator at the row that the hint names, or null.
  static std::unique_ptr<Iterator> matching(const char* function, const typename TableT::Rows& rows,
                                            const netsnmp_variable_list* hint) {
    unsigned parsed = 0;
    const std::optional<Key> key = keyOf(function, hint, parsed);
    if (!key) {
      ACLSNMP_MIB_TRACE(2, function,
                        function << " - needed " << table.index.size() << " components, "
                                 << "found only " << parsed);
      return nullptr;
    }
    try {
      auto iterator = std::make_unique<Iterator>(rows.startAt(*key));
      if (!iterator->atEnd() && iterator->key() == *key) return iterator;
      ACLSNMP_MIB_TRACE(2, function, function << " - key '" << *key << "' not found in table");
    } catch (const Qel::RangeException& exception) {
      ACLSNMP_MIB_TRACE(0, function,
                        "Bad hint for " << table.name << ": " << kKeyType
                                        << " ctor threw exception: " << exception.what());
    }
    return nullptr;
  }

  /// The key in a hint's index values, or nothing; counts the components that are good up to where
  /// one is bad.
  static std::optional<Key> keyOf(const char* function, const netsnmp_variable_list* value,
                                  unsigned& parsed) {
    if constexpr (TableT::kHasTimeMark) {
      // The time mark is taken as it stands.
      if (value == nullptr) return std::nullopt;
      value = value->next_variable;
      ++parsed;
    }
    const auto name = component<Snmp::String>(
        function, table.index[TableT::kNameIndex], value, [](const netsnmp_variable_list* v) {
          return AsnOctetStringToSnmpString(v->val.string, static_cast<unsigned>(v->val_len));
        });
    if (!name) return std::nullopt;
    ++parsed;
    if constexpr (TableT::kHasSequence) {
      const auto seqId = component<uint32_t>(
          function, table.index[TableT::kNameIndex + 1], value->next_variable,
          [](const netsnmp_variable_list* v) { return AsnUnsignedToU32(v->val.integer); });
      if (!seqId) return std::nullopt;
      return Key(*name, *seqId);
    } else {
      // An ACL table's count is not kept: its text always says 0.
      return name;
    }
  }

  template <class Value, class Convert>
  static std::optional<Value> component(const char* function, const IndexObject& object,
                                        const netsnmp_variable_list* value, Convert&& convert) {
    if (value == nullptr) return std::nullopt;
    if (value->type != object.asnType) {
      ACLSNMP_MIB_TRACE(0, function,
                        "hint for " << object.name << " has incorrect type! Expecting "
                                    << static_cast<int>(object.asnType) << " but got "
                                    << static_cast<int>(value->type));
      return std::nullopt;
    }
    if (value->val.string == nullptr) return std::nullopt;
    try {
      const Value converted = convert(value);
      ACLSNMP_MIB_TRACE(2, function,
                        "hint component " << object.name << " is '" << converted << "'");
      return converted;
    } catch (const Qel::RangeException& exception) {
      ACLSNMP_MIB_TRACE(0, function,
                        "hint for index " << object.name << " of " << table.name
                                          << " is out of range! " << exception.what());
      return std::nullopt;
    }
  }

  /// Moves on to the first row that changed at or after the request's time mark, less two ticks.
  static void skipFiltered([[maybe_unused]] const char* function,
                           [[maybe_unused]] Iterator& iterator,
                           [[maybe_unused]] const netsnmp_variable_list* index) {
    if constexpr (TableT::kHasTimeMark) {
      constexpr uint32_t kSlack = 2;
      const uint32_t mark = unsignedValue(index);
      // Every row passes mark 0: what it would be compared with matters to a trace at most.
      if (mark == 0 && !mibTrace().enabled(8)) return;
      for (; !iterator.atEnd(); ++iterator) {
        const uint32_t ticks =
            SecondsToTimeTicks(NowSecondsToUptimeSeconds(iterator.value()->lastUpdateTime()));
        const bool passes = ticks + kSlack >= mark;
        if (!passes) {
          ACLSNMP_MIB_TRACE(2, function,
                            table.name << "_get_*_data_point filtered out "
                                       << static_cast<const void*>(&iterator));
        }
        ACLSNMP_MIB_TRACE(passes ? 8 : 4, function,
                          table.name << "_get_*_data_point: last changed (lastUpdateTime) " << ticks
                                     << " requested value is " << mark);
        if (passes) return;
      }
    }
  }

  /// Encodes a column of a row into a request's varbind; false when it cannot be encoded.
  static bool read(const char* function, const Column<Entry>& column, const Entry& row,
                   netsnmp_request_info* request) {
    unsigned char buffer[kValueBuffer];
    int length = -1;
    try {
      length = column.encode(row, buffer, column.bufferSize);
    } catch (const std::exception& exception) {
      ACLSNMP_MIB_TRACE(0, function,
                        "handle_" << table.name << " - reading " << column.attribute
                                  << " threw exception: " << exception.what());
    }
    if (length >= 0 && !column.length.allows(length)) {
      ACLSNMP_MIB_TRACE(2, function,
                        "handle_" << table.name
                                  << " - entity /<sysname>/snmp/acl/aclMIB length out of range: "
                                  << column.attribute << " (" << length << ")");
      return false;
    }
    if (setValue(request->requestvb, column.asnType, buffer, length)) return true;
    ACLSNMP_MIB_TRACE(2, function,
                      "handle_" << table.name << " - " << column.encoderName
                                << " failed for: " << column.attribute);
    return false;
  }

  static void refuseColumn(const char* function, netsnmp_request_info* request, unsigned number,
                           int error) {
    ACLSNMP_MIB_TRACE(0, function, table.name << " invalid column " << number);
    netsnmp_request_set_error(request, error);
  }

  static constexpr const char* kKeyType =
      TableT::kHasSequence ? "AclSnmp::AclRuleTableIndex" : "Snmp::String";
};

}  // namespace AclSnmp
