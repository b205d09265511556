#pragma once

/// The description of a MIB table: its name, its place under the MIB's objects, its index objects
/// and its columns. A table is this data and nothing else; Hooks.h, Seek.h and Register.h serve
/// every one of them.

#include <array>
#include <climits>
#include <cstddef>
#include <type_traits>

#include "Encoders.h"
#include "acl/Limits.h"
#include "model/AclMib.h"

namespace AclSnmp {

inline constexpr int kValueBuffer = 1024;
inline constexpr int kNameBuffer = Acl::kMaxNameOctets;

/// How long an encoded value may be.
struct LengthRule {
  int atLeast = 0;
  int atMost = INT_MAX;
  constexpr bool allows(int length) const { return length >= atLeast && length <= atMost; }
};
inline constexpr LengthRule atMost(int size) { return {0, size}; }
inline constexpr LengthRule exactly(int size) { return {size, size}; }

template <class Entry>
struct Column {
  const char* name;
  const char* attribute;
  const char* encoderName;
  u_char asnType;
  int bufferSize;
  LengthRule length;
  int (*encode)(const Entry& entry, unsigned char* buffer, int size);
};

/// A column whose value is an attribute of the row. One with a length rule has a buffer of just
/// that size.
template <class Entry, auto attribute>
constexpr Column<Entry> column(const char* name, const char* attributeName,
                               LengthRule length = {}) {
  using Value = std::remove_cvref_t<std::invoke_result_t<decltype(attribute), const Entry&>>;
  return {name,
          attributeName,
          Encoder<Value>::kName,
          Encoder<Value>::kAsnType,
          length.atMost == INT_MAX ? kValueBuffer : length.atMost,
          length,
          [](const Entry& entry, unsigned char* buffer, int size) {
            return Encoder<Value>::encode((entry.*attribute)(), buffer, size);
          }};
}

/// One object of an index.
struct IndexObject {
  const char* name;
  u_char asnType;
};

template <class EntryT, size_t indexCount, size_t columnCount>
struct Table {
  using Entry = EntryT;
  using Key = typename Entry::Key;
  using Rows = EntryTable<Entry>;
  using Iterator = typename Rows::ConstIterator;

  /// The first index object of a statistics table is a filter, not part of the key.
  static constexpr bool kHasTimeMark = indexCount == 3;
  static constexpr bool kHasSequence = indexCount >= 2;
  static constexpr size_t kNameIndex = kHasTimeMark ? 1 : 0;
  static constexpr unsigned kFirstColumn = 2;
  static constexpr unsigned kLastColumn = kFirstColumn + columnCount - 1;

  const char* name;
  /// Group and number under the MIB's objects.
  std::array<oid, 2> place;
  std::array<IndexObject, indexCount> index;
  /// From column 2 on, without a gap.
  std::array<Column<Entry>, columnCount> columns;

  /// The column of a number, or null.
  constexpr const Column<Entry>* column(unsigned number) const {
    return number < kFirstColumn || number > kLastColumn ? nullptr
                                                         : &columns[number - kFirstColumn];
  }
};

inline const Snmp::String& aclNameOf(const Snmp::String& key) { return key; }
inline const Snmp::String& aclNameOf(const AclRuleTableIndex& key) { return key.aclName(); }

}  // namespace AclSnmp
