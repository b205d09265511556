#pragma once

/// Converters between values and the octets that a varbind carries.
///
/// An encoder writes into the caller's buffer of `size` octets and returns how many it wrote, or -1
/// when the buffer is too small. No octets is a success. Numbers are written in the form that the
/// agent library takes: INTEGER, Unsigned32 and TimeTicks as 4 octets in host order, Counter64 as
/// its two-word struct, addresses as their octets in network order.

#include <cstdint>
#include <optional>

#include "kavet/Addr.h"
#include "qel/String8.h"
#include "qel/Time.h"
#include "snmp/String.h"

/// TruthValue (RFC 2579): true is 1, false is 2.
struct BoolToAsnIntegerF {
  int operator()(bool value, unsigned char* buffer, int size) const;
};
struct S32ToAsnIntegerF {
  int operator()(int32_t value, unsigned char* buffer, int size) const;
};
struct U32ToAsnUnsignedF {
  int operator()(uint32_t value, unsigned char* buffer, int size) const;
};
struct U64ToCounter64F {
  int operator()(unsigned long long value, unsigned char* buffer, int size) const;
};
struct StringToAsnOctetStringF {
  int operator()(const Qel::String8& value, unsigned char* buffer, int size) const;
};
struct KavetIpAddrToAsnOctetStringF {
  int operator()(const Kavet::IpAddr& value, unsigned char* buffer, int size) const;
};
struct KavetIp6AddrToAsnOctetStringF {
  int operator()(const Kavet::Ip6Addr& value, unsigned char* buffer, int size) const;
};
struct KavetEthAddrToAsnOctetStringF {
  int operator()(const Kavet::EthAddr& value, unsigned char* buffer, int size) const;
};
/// A time on the framework's clock as sysUpTime (RFC 3418) was at that time.
struct NowSecondsToUptimeTimeTicksF {
  int operator()(double time, unsigned char* buffer, int size) const;
};

/// Seconds from the agent's start to `time`, both on the framework's clock. A time before the start
/// and one that is not a number give 0.
double NowSecondsToUptimeSeconds(double time);

namespace SnmpUtil {
/// Takes the agent's start from the library, to be kept: call it right after the library's start,
/// and when a new session with a master moved it. Otherwise it is taken at the first conversion,
/// and again when it is seen to have moved by more than half a second.
void agentStarted();
/// The start that is kept, on the framework's clock: for whoever converts many times at once.
Qel::Seconds agentStart();
/// Replaces the agent's start on the framework's clock, for tests; nothing restores the agent's
/// own.
void agentStartIs(std::optional<Qel::Seconds> start);
}  // namespace SnmpUtil

/// Seconds as hundredths of a second, modulo 2^32 (TimeTicks, RFC 2578 section 7.1.8): rounded to
/// whole microseconds, then cut. Negative seconds, infinities and what is not a number give 0.
uint32_t SecondsToTimeTicks(double seconds);

/// An index string; above 255 octets it throws `Qel::RangeException`.
Snmp::String AsnOctetStringToSnmpString(const void* octets, unsigned int length);

/// The unsigned number in an index varbind's value, which the agent library keeps as a `long`. A
/// value that does not fit 32 bits throws `Qel::RangeException`.
uint32_t AsnUnsignedToU32(const void* value);
