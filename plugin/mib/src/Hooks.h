#pragma once

/// Row iteration and reading, written once for every table.
///
/// Life of a walk: the agent library calls `first` with the request's index as a hint in the loop
/// context, gets an iterator there instead, moves it with `next`, copies it into a data context for
/// the row that it keeps, and calls `handle` with that row. The loop context in hand when `first`
/// returns is freed at the end whatever happened, so the hint is replaced before anything can fail.

#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Call.h"
#include "Table.h"
#include "TimeFilter.h"

namespace AclSnmp {

/// Sets a varbind from an encoder's result; false when the encoder failed or there is no memory.
inline bool setValue(netsnmp_variable_list* variable, u_char asnType, const unsigned char* buffer,
                     int length) {
  return length >= 0 &&
         snmp_set_var_typed_value(variable, asnType, buffer, static_cast<size_t>(length)) == 0;
}

/// Sets the index varbind of a row's ACL name; false when the name is too long.
template <class Key>
bool setName(netsnmp_variable_list* variable, const Key& key) {
  unsigned char octets[kNameBuffer];
  const int length = StringToAsnOctetStringF()(aclNameOf(key).string8(), octets, kNameBuffer);
  return setValue(variable, ASN_OCTET_STR, octets, length);
}
/// Sets the index varbind of a row's sequence number.
inline bool setSequence(netsnmp_variable_list* variable, const AclRuleTableIndex& key) {
  unsigned char number[kValueBuffer];
  const int length = U32ToAsnUnsignedF()(key.seqId(), number, kValueBuffer);
  return setValue(variable, ASN_UNSIGNED, number, length);
}

/// The row at which the request under way is to begin, found by a search in front of the iterator.
/// One at a time for each table, for as long as the object lives.
template <const auto& table>
class Found {
  using Iterator = typename std::remove_cvref_t<decltype(table)>::Iterator;

 public:
  Found() = default;
  ~Found() { current_ = outer_; }
  Found(const Found&) = delete;
  Found& operator=(const Found&) = delete;

  void is(const netsnmp_table_request_info* request, Iterator row) {
    request_ = request;
    row_ = std::move(row);
  }
  /// The row of the request whose table information is the hint, or null; to be taken once.
  static Iterator* of(const netsnmp_table_request_info* hint) {
    const bool known = hint != nullptr && current_ != nullptr && current_->request_ == hint;
    return known ? &current_->row_ : nullptr;
  }

 private:
  static inline Found* current_ = nullptr;

  Found* const outer_ = std::exchange(current_, this);
  const netsnmp_table_request_info* request_ = nullptr;
  Iterator row_;
};

/// One call of one of a table's functions. No function throws but `fillIndex`.
template <const auto& table>
class Hooks : private Call {
  using TableT = std::remove_cvref_t<decltype(table)>;
  using Entry = typename TableT::Entry;
  using Key = typename TableT::Key;
  using Index = netsnmp_variable_list;

 public:
  using Iterator = typename TableT::Iterator;

  using Call::Call;

  Index* first(void** loopContext, Index* index, const netsnmp_iterator_info* info) const noexcept {
    return guarded<Index*>(nullptr, [&] {
      const auto* hint = static_cast<const netsnmp_table_request_info*>(*loopContext);
      *loopContext = nullptr;
      const auto& rows = static_cast<const AclMib*>(info->myvoid)->entries<Entry>();
      tell(2, " - *hint = ", static_cast<const void*>(hint),
           ", number_indexes = ", hint == nullptr ? 0U : hint->number_indexes);
      std::unique_ptr<Iterator> made;
      if (Iterator* found = Found<table>::of(hint)) {
        made = std::make_unique<Iterator>(std::move(*found));
      } else if (hint != nullptr && hint->number_indexes == table.index.size()) {
        made = matching(rows, hint->indexes);
      }
      const bool hintMatched = made != nullptr;
      if (!hintMatched) made = std::make_unique<Iterator>(rows.begin());
      *loopContext = made.get();
      Iterator& iterator = *made.release();  // freed through the loop context from here on
      skipFiltered(info, iterator, index);
      tell(2, " - allocated new loop context ", static_cast<const void*>(&iterator),
           ", hintMatched=", hintMatched);
      return helper().fillIndex(iterator, index);
    });
  }

  Index* next(void** loopContext, void** dataContext, Index* index,
              const netsnmp_iterator_info* info) const noexcept {
    return guarded<Index*>(nullptr, [&]() -> Index* {
      auto* iterator = static_cast<Iterator*>(*loopContext);
      if (iterator == nullptr || iterator->atEnd()) {
        tell(2, " - at end of loop context ", static_cast<const void*>(iterator));
        return nullptr;
      }
      auto* data = dataContext == nullptr ? nullptr : static_cast<Iterator*>(*dataContext);
      tell(2, " - advancing loop context ", static_cast<const void*>(iterator), " ; data context ",
           static_cast<const void*>(data));
      ++*iterator;
      skipFiltered(info, *iterator, index);
      if (data != nullptr) *data = *iterator;
      return helper().fillIndex(*iterator, index);
    });
  }

  /// The iteration helper: fills the index varbinds from the iterator's row. Null at end.
  Index* fillIndex(const Iterator& iterator, Index* index) const {
    if (iterator.atEnd()) {
      tell(2, " - iterator is at end");
      return nullptr;
    }
    Index* variable = index;
    if constexpr (TableT::kHasTimeMark) {
      tell(2, " - Using existing TimeFilter ", table.index[0].name, "=", unsignedValue(variable));
      variable = variable->next_variable;
    }
    const Snmp::String& aclName = aclNameOf(iterator.key());
    tell(2, " - iterator has another value: aclName=", aclName);
    if (!setName(variable, iterator.key())) {
      tell(0, " - an ACL name of ", aclName.size(), " octets does not fit the index");
      return nullptr;
    }
    if constexpr (TableT::kHasSequence) {
      tell(2, " - iterator has another value: seqId=", iterator.key().seqId());
      if (!setSequence(variable->next_variable, iterator.key())) return nullptr;
    }
    return index;
  }

  void* makeDataContext(const void* loopContext) const noexcept {
    return guarded<void*>(nullptr, [&] {
      auto* data = new Iterator(*static_cast<const Iterator*>(loopContext));
      tell(2, " - allocated data context ", static_cast<const void*>(data), " for loop context ",
           loopContext);
      return data;
    });
  }

  void freeContext(void* context) const noexcept {
    guarded(true, [&] {
      const std::unique_ptr<Iterator> iterator(static_cast<Iterator*>(context));
      tell(2, " ", static_cast<const void*>(iterator.get()));
      return true;
    });
  }

  int handle(const netsnmp_agent_request_info* info,
             netsnmp_request_info* requests) const noexcept {
    return guarded<int>(SNMP_ERR_GENERR, [&] {
      tell(2);
      tell(2, ": request mode ", info->mode);
      for (netsnmp_request_info* request = requests; request != nullptr; request = request->next) {
        if (request->processed != 0) {
          tell(2, ": request ", static_cast<const void*>(request), " already processed");
          continue;
        }
        if (info->mode != MODE_GET) return refuse(request, SNMP_ERR_NOTWRITABLE);
        const auto* row = static_cast<const Iterator*>(netsnmp_extract_iterator_context(request));
        if (row == nullptr) {
          tell(2, ": null data context in request");
          return SNMP_ERR_NOERROR;
        }
        const auto* column = table.column(columnOf(request));
        if (column == nullptr) return refuse(request, SNMP_NOSUCHOBJECT);
        tell(2, ": request GET for column ", column->name, ", key ", row->key());
        if (!read(*column, *row->value(), request)) {
          netsnmp_request_set_error(requests, SNMP_ERR_GENERR);
          return SNMP_ERR_GENERR;
        }
      }
      return SNMP_ERR_NOERROR;
    });
  }

 private:
  static Hooks helper() {
    static const std::string name = std::string(table.name) + "IterationHelper";
    return Hooks(name.c_str());
  }

  static unsigned columnOf(netsnmp_request_info* request) {
    const netsnmp_table_request_info* info = netsnmp_extract_table_info(request);
    return info == nullptr ? 0 : info->colnum;
  }

  /// An iterator at the row that the hint names, or null.
  std::unique_ptr<Iterator> matching(const typename TableT::Rows& rows, const Index* hint) const {
    unsigned parsed = 0;
    try {
      const std::optional<Key> key = keyOf(hint, parsed);
      if (!key) {
        tell(2, " - needed ", table.index.size(), " components, ", "found only ", parsed);
        return nullptr;
      }
      auto iterator = std::make_unique<Iterator>(rows.startAt(*key));
      if (!iterator->atEnd() && iterator->key() == *key) return iterator;
      tell(2, " - key '", *key, "' not found in table");
    } catch (const Qel::RangeException& exception) {
      trace(0, "Bad hint for ", table.name, ": ",
            TableT::kHasSequence ? "AclSnmp::AclRuleTableIndex" : "Snmp::String",
            " ctor threw exception: ", exception.what());
    }
    return nullptr;
  }

  /// The key in a hint's index values, or nothing; counts the components that are good up to where
  /// one is bad.
  std::optional<Key> keyOf(const Index* value, unsigned& parsed) const {
    if constexpr (TableT::kHasTimeMark) {
      // The time mark is taken as it stands.
      if (value == nullptr) return std::nullopt;
      value = value->next_variable;
      ++parsed;
    }
    const auto name =
        component<Snmp::String>(table.index[TableT::kNameIndex], value, [](const Index* v) {
          return AsnOctetStringToSnmpString(v->val.string, static_cast<unsigned>(v->val_len));
        });
    if (!name) return std::nullopt;
    // An ACL table's count is not kept: its text always says 0.
    if constexpr (!TableT::kHasSequence) {
      return name;
    } else {
      ++parsed;
      const auto seqId =
          component<uint32_t>(table.index[TableT::kNameIndex + 1], value->next_variable,
                              [](const Index* v) { return AsnUnsignedToU32(v->val.integer); });
      if (!seqId) return std::nullopt;
      return Key(*name, *seqId);
    }
  }

  template <class Value, class Convert>
  std::optional<Value> component(const IndexObject& object, const Index* value,
                                 const Convert& convert) const {
    if (value == nullptr) return std::nullopt;
    if (value->type != object.asnType) {
      trace(0, "hint for ", object.name, " has incorrect type! Expecting ",
            static_cast<int>(object.asnType), " but got ", static_cast<int>(value->type));
      return std::nullopt;
    }
    if (value->val.string == nullptr) return std::nullopt;
    try {
      const Value converted = convert(value);
      trace(2, "hint component ", object.name, " is '", converted, "'");
      return converted;
    } catch (const Qel::RangeException& exception) {
      trace(0, "hint for index ", object.name, " of ", table.name, " is out of range! ",
            exception.what());
      return std::nullopt;
    }
  }

  void skipFiltered([[maybe_unused]] const netsnmp_iterator_info* info,
                    [[maybe_unused]] Iterator& iterator,
                    [[maybe_unused]] const Index* index) const {
    if constexpr (TableT::kHasTimeMark) {
      const auto* mib = info == nullptr ? nullptr : static_cast<const AclMib*>(info->myvoid);
      TimeFilter<table>(mib, unsignedValue(index)).skip(*this, iterator);
    }
  }

  /// Encodes a column of a row into a request's varbind; false when it cannot be encoded.
  bool read(const Column<Entry>& column, const Entry& row, netsnmp_request_info* request) const {
    unsigned char buffer[kValueBuffer];
    int length = -1;
    try {
      length = column.encode(row, buffer, column.bufferSize);
    } catch (const std::exception& exception) {
      trace(0, "handle_", table.name, " - reading ", column.attribute,
            " threw exception: ", exception.what());
    }
    if (length >= 0 && !column.length.allows(length)) {
      trace(2, "handle_", table.name,
            " - entity /<sysname>/snmp/acl/aclMIB length out of range: ", column.attribute, " (",
            length, ")");
      return false;
    }
    if (setValue(request->requestvb, column.asnType, buffer, length)) return true;
    trace(2, "handle_", table.name, " - ", column.encoderName, " failed for: ", column.attribute);
    return false;
  }

  int refuse(netsnmp_request_info* request, int error) const {
    trace(0, table.name, " invalid column ", columnOf(request));
    netsnmp_request_set_error(request, error);
    return SNMP_ERR_NOERROR;
  }
};

}  // namespace AclSnmp
