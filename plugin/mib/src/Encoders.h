#pragma once

/// How a column's value is encoded. The encoder follows from the type of the attribute that the
/// column shows: `Encoder<T>` has its name, which failure traces give, the ASN.1 type that it fills
/// and the conversion.

#include <concepts>

#include "conversions/SnmpConversions.h"
#include "mib/EntryPoints.h"
#include "snmp/Converters.h"

namespace AclSnmp {

template <class Value>
struct Encoder;

template <class Functor, class Value, u_char asnType>
struct ConverterEncoder {
  static constexpr u_char kAsnType = asnType;
  static int encode(const Value& value, unsigned char* buffer, int size) {
    return Functor()(value, buffer, size);
  }
};

template <std::unsigned_integral Number>
struct Encoder<Number> : ConverterEncoder<U32ToAsnUnsignedF, uint32_t, ASN_UNSIGNED> {
  static constexpr const char* kName = "U32ToAsnUnsigned";
};
template <>
struct Encoder<bool> : ConverterEncoder<BoolToAsnIntegerF, bool, ASN_INTEGER> {
  static constexpr const char* kName = "BoolToAsnInteger";
};
template <>
struct Encoder<uint64_t> : ConverterEncoder<U64ToCounter64F, uint64_t, ASN_COUNTER64> {
  static constexpr const char* kName = "U64ToCounter64";
};
template <>
struct Encoder<Qel::Seconds>
    : ConverterEncoder<NowSecondsToUptimeTimeTicksF, Qel::Seconds, ASN_TIMETICKS> {
  static constexpr const char* kName = "NowSecondsToUptimeTimeTicks";
};
template <>
struct Encoder<Qel::String8>
    : ConverterEncoder<StringToAsnOctetStringF, Qel::String8, ASN_OCTET_STR> {
  static constexpr const char* kName = "StringToAsnOctetString";
};
template <>
struct Encoder<Kavet::IpAddr>
    : ConverterEncoder<KavetIpAddrToAsnOctetStringF, Kavet::IpAddr, ASN_IPADDRESS> {
  static constexpr const char* kName = "KavetIpAddrToAsnOctetString";
};
template <>
struct Encoder<Kavet::Ip6Addr>
    : ConverterEncoder<KavetIp6AddrToAsnOctetStringF, Kavet::Ip6Addr, ASN_OCTET_STR> {
  static constexpr const char* kName = "KavetIp6AddrToAsnOctetString";
};
template <>
struct Encoder<Kavet::EthAddr>
    : ConverterEncoder<KavetEthAddrToAsnOctetStringF, Kavet::EthAddr, ASN_OCTET_STR> {
  static constexpr const char* kName = "KavetEthAddrToAsnOctetString";
};
template <>
struct Encoder<Acl::RangeOperator> {
  static constexpr const char* kName = "RangeOperCodeToAsnInteger";
  static constexpr u_char kAsnType = ASN_INTEGER;
  static int encode(Acl::RangeOperator value, unsigned char* buffer, int size) {
    return RangeOperCodeToAsnInteger(value, buffer, size);
  }
};
template <>
struct Encoder<Acl::Action> {
  static constexpr const char* kName = "ActionCodeToAsnInteger";
  static constexpr u_char kAsnType = ASN_INTEGER;
  static int encode(Acl::Action value, unsigned char* buffer, int size) {
    return ActionCodeToAsnInteger(value, buffer, size);
  }
};
/// A filter shows its TCP flags.
template <std::derived_from<Acl::IpFilterBase> Filter>
struct Encoder<Filter> {
  static constexpr const char* kName = "TcpFlagsToAsnBits";
  static constexpr u_char kAsnType = ASN_OCTET_STR;
  static int encode(const Acl::IpFilterBase& filter, unsigned char* buffer, int size) {
    return TcpFlagsToAsnBits(filter, buffer, size);
  }
};

}  // namespace AclSnmp
