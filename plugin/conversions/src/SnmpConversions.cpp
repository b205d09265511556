#include "conversions/SnmpConversions.h"

#include <array>
#include <cstddef>
#include <cstdint>

#include "qel/Assert.h"
#include "snmp/Converters.h"

namespace {

constexpr const char* kSource = "SnmpConversions";

// The integers written for the codes 0 to N - 1.
constexpr std::array<int, 6> kRangeOperators = {0, 1, 2, 3, 4, 5};
constexpr std::array<int, 2> kActions = {0, 1};

template <size_t N>
int encode(const std::array<int, N>& codes, uint32_t value, const char* text, const Qel::Site& site,
           unsigned char* buffer, int length) {
  if (value >= N) Qel::assertionFailed(text, site);
  return S32ToAsnIntegerF()(codes[value], buffer, length);
}

int writeBits(unsigned char bits, unsigned char* buffer, int length) {
  if (length <= 0) return 0;
  buffer[0] = ReverseBits(bits);
  return 1;
}

}  // namespace

int RangeOperCodeToAsnInteger(const Acl::RangeOperator& value, unsigned char* buffer, int length) {
  return encode(kRangeOperators, static_cast<uint32_t>(value),
                "bad value for ZorlenAclRangeOperator",
                {kSource, __LINE__,
                 "int RangeOperCodeToAsnInteger(const Acl::RangeOperator&, unsigned char*, int)"},
                buffer, length);
}

int ActionCodeToAsnInteger(const Acl::Action& value, unsigned char* buffer, int length) {
  return encode(
      kActions, static_cast<uint32_t>(value), "bad value for ZorlenAclAction",
      {kSource, __LINE__, "int ActionCodeToAsnInteger(const Acl::Action&, unsigned char*, int)"},
      buffer, length);
}

unsigned char ReverseBits(unsigned char octet) {
  // Five copies of the octet, of which the mask keeps each bit once, at a place that the remainder
  // adds into the mirrored one.
  return static_cast<unsigned char>((octet * 0x0202020202ULL & 0x010884422010ULL) % 1023);
}

int TcpFlagsToAsnBits(const Acl::IpFilterBase& filter, unsigned char* buffer, int length) {
  constexpr unsigned kAllFlags = Acl::fin | Acl::syn | Acl::rst | Acl::psh | Acl::ack | Acl::urg;
  return writeBits(static_cast<unsigned char>(filter.tcpFlags & kAllFlags), buffer, length);
}

int DpAclSupportFlagsToAsnBits(const Qel::Ptr<const Acl::Status>& status, unsigned char* buffer,
                               int length) {
  unsigned bits = 0;
  if (status) {
    bits = (status->dpAclSupported() ? 1U : 0U) | (status->dpAclLoggingSupported() ? 2U : 0U) |
           (status->dpAclCountersSupported() ? 4U : 0U) |
           (status->dpRouterAclSupported() ? 8U : 0U);
  }
  return writeBits(static_cast<unsigned char>(bits), buffer, length);
}
