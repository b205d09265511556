#pragma once

/// The description of a MIB table: its names, its place under the MIB root, its index objects and
/// its columns. A table is this data and nothing else; Hooks.h and Register.h serve every one of
/// them.

#include <array>
#include <climits>
#include <cstddef>
#include <type_traits>

#include "conversions/SnmpConversions.h"
#include "mib/AclMIB.h"
#include "model/AclMib.h"
#include "snmp/Converters.h"

namespace AclSnmp {

inline constexpr int kValueBuffer = 1024;
inline constexpr int kNameBuffer = 100;

// Encoders: the name that failure traces give, the ASN.1 type that they fill.

template <class Functor, class Value, u_char asnType>
struct FunctorEncoder {
  static constexpr u_char kAsnType = asnType;
  static int encode(const Value& value, unsigned char* buffer, int size) {
    return Functor()(value, buffer, size);
  }
};
struct BoolEncoder : FunctorEncoder<BoolToAsnIntegerF, bool, ASN_INTEGER> {
  static constexpr const char* kName = "BoolToAsnInteger";
};
struct U32Encoder : FunctorEncoder<U32ToAsnUnsignedF, uint32_t, ASN_UNSIGNED> {
  static constexpr const char* kName = "U32ToAsnUnsigned";
};
struct U64Encoder : FunctorEncoder<U64ToCounter64F, uint64_t, ASN_COUNTER64> {
  static constexpr const char* kName = "U64ToCounter64";
};
struct TimeEncoder : FunctorEncoder<NowSecondsToUptimeTimeTicksF, Qel::Seconds, ASN_TIMETICKS> {
  static constexpr const char* kName = "NowSecondsToUptimeTimeTicks";
};
struct StringEncoder : FunctorEncoder<StringToAsnOctetStringF, Qel::String8, ASN_OCTET_STR> {
  static constexpr const char* kName = "StringToAsnOctetString";
};
struct IpEncoder : FunctorEncoder<KavetIpAddrToAsnOctetStringF, Kavet::IpAddr, ASN_IPADDRESS> {
  static constexpr const char* kName = "KavetIpAddrToAsnOctetString";
};
struct Ip6Encoder : FunctorEncoder<KavetIp6AddrToAsnOctetStringF, Kavet::Ip6Addr, ASN_OCTET_STR> {
  static constexpr const char* kName = "KavetIp6AddrToAsnOctetString";
};
struct EthEncoder : FunctorEncoder<KavetEthAddrToAsnOctetStringF, Kavet::EthAddr, ASN_OCTET_STR> {
  static constexpr const char* kName = "KavetEthAddrToAsnOctetString";
};
struct RangeOperEncoder {
  static constexpr const char* kName = "RangeOperCodeToAsnInteger";
  static constexpr u_char kAsnType = ASN_INTEGER;
  static int encode(Acl::RangeOperator value, unsigned char* buffer, int size) {
    return RangeOperCodeToAsnInteger(value, buffer, size);
  }
};
struct ActionEncoder {
  static constexpr const char* kName = "ActionCodeToAsnInteger";
  static constexpr u_char kAsnType = ASN_INTEGER;
  static int encode(Acl::Action value, unsigned char* buffer, int size) {
    return ActionCodeToAsnInteger(value, buffer, size);
  }
};
struct TcpFlagsEncoder {
  static constexpr const char* kName = "TcpFlagsToAsnBits";
  static constexpr u_char kAsnType = ASN_OCTET_STR;
  static int encode(const Acl::IpFilterBase& filter, unsigned char* buffer, int size) {
    return TcpFlagsToAsnBits(filter, buffer, size);
  }
};

/// How long an encoded value may be.
struct LengthRule {
  int atLeast = 0;
  int atMost = INT_MAX;
  constexpr bool allows(int length) const { return length >= atLeast && length <= atMost; }
};

template <class Entry>
struct Column {
  unsigned number;
  const char* name;
  const char* attribute;
  const char* encoderName;
  u_char asnType;
  int bufferSize;
  LengthRule length;
  int (*encode)(const Entry& entry, unsigned char* buffer, int size);
};

/// A column whose value is the entry's `attribute`, in a buffer of the common size.
template <class Entry, auto attribute, class Encoder>
constexpr Column<Entry> column(unsigned number, const char* name, const char* attributeName) {
  return {number,
          name,
          attributeName,
          Encoder::kName,
          Encoder::kAsnType,
          kValueBuffer,
          {},
          [](const Entry& entry, unsigned char* buffer, int size) {
            return Encoder::encode((entry.*attribute)(), buffer, size);
          }};
}
/// A column of at most `size` octets, in a buffer of that size.
template <class Entry, auto attribute, class Encoder>
constexpr Column<Entry> column(unsigned number, const char* name, const char* attributeName,
                               LengthRule length) {
  Column<Entry> made = column<Entry, attribute, Encoder>(number, name, attributeName);
  made.bufferSize = length.atMost;
  made.length = length;
  return made;
}
inline constexpr LengthRule atMost(int size) { return {0, size}; }
inline constexpr LengthRule exactly(int size) { return {size, size}; }

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
  std::array<Column<Entry>, columnCount> columns;

  /// The column of a number, or null.
  constexpr const Column<Entry>* column(unsigned number) const {
    return number < kFirstColumn || number > kLastColumn ? nullptr
                                                         : &columns[number - kFirstColumn];
  }
  /// Whether the columns stand in order, without a gap.
  constexpr bool inOrder() const {
    for (size_t i = 0; i < columnCount; ++i) {
      if (columns[i].number != kFirstColumn + i) return false;
    }
    return true;
  }
};

}  // namespace AclSnmp
