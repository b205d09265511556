#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

// After the general ones: it needs their types.
#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>

#include "snmp/Converters.h"

namespace {

int writeOctets(const void* octets, size_t length, unsigned char* buffer, int size) {
  if (size < 0 || length > static_cast<size_t>(size)) return -1;
  if (length != 0) std::memcpy(buffer, octets, length);
  return static_cast<int>(length);
}

template <class T>
int writeValue(const T& value, unsigned char* buffer, int size) {
  return writeOctets(&value, sizeof value, buffer, size);
}

template <class Address>
int writeAddress(const Address& address, unsigned char* buffer, int size) {
  const auto octets = address.octets();
  return writeOctets(octets.data(), octets.size(), buffer, size);
}

std::optional<Qel::Seconds>& replacedStart() {
  static std::optional<Qel::Seconds> start;
  return start;
}

constexpr double kTicksPerSecond = 100;

// The agent's start on the framework's clock. The library keeps it for itself: it gives the uptime
// in whole hundredths, and the start on the wall clock only, which is exact unless the wall clock
// was set since.
Qel::Seconds startNow() {
  constexpr double kMargin = 1e-5;  // the library counts in whole microseconds
  const Qel::Seconds before = Qel::now();
  const auto uptime = static_cast<double>(netsnmp_get_agent_uptime());
  const Qel::Seconds latest = Qel::now() - uptime / kTicksPerSecond;
  const Qel::Seconds earliest = before - (uptime + 1) / kTicksPerSecond;
  const auto* start = static_cast<const struct timeval*>(netsnmp_get_agent_starttime());
  const double started =
      static_cast<double>(start->tv_sec) + static_cast<double>(start->tv_usec) / 1e6;
  const double wall =
      std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  const Qel::Seconds exact = started - (wall - Qel::now());
  return exact >= earliest - kMargin && exact <= latest + kMargin ? exact : latest;
}

std::optional<Qel::Seconds>& keptStart() {
  static std::optional<Qel::Seconds> start;
  return start;
}

}  // namespace

int BoolToAsnIntegerF::operator()(bool value, unsigned char* buffer, int size) const {
  return writeValue<int32_t>(value ? 1 : 2, buffer, size);
}

int S32ToAsnIntegerF::operator()(int32_t value, unsigned char* buffer, int size) const {
  return writeValue(value, buffer, size);
}

int U32ToAsnUnsignedF::operator()(uint32_t value, unsigned char* buffer, int size) const {
  return writeValue(value, buffer, size);
}

int U64ToCounter64F::operator()(unsigned long long value, unsigned char* buffer, int size) const {
  counter64 counter;
  counter.high = static_cast<u_long>(value >> 32);
  counter.low = static_cast<u_long>(value & 0xFFFFFFFFU);
  return writeValue(counter, buffer, size);
}

int StringToAsnOctetStringF::operator()(const Qel::String8& value, unsigned char* buffer,
                                        int size) const {
  return writeOctets(value.view().data(), value.size(), buffer, size);
}

int KavetIpAddrToAsnOctetStringF::operator()(const Kavet::IpAddr& value, unsigned char* buffer,
                                             int size) const {
  return writeAddress(value, buffer, size);
}

int KavetIp6AddrToAsnOctetStringF::operator()(const Kavet::Ip6Addr& value, unsigned char* buffer,
                                              int size) const {
  return writeAddress(value, buffer, size);
}

int KavetEthAddrToAsnOctetStringF::operator()(const Kavet::EthAddr& value, unsigned char* buffer,
                                              int size) const {
  return writeAddress(value, buffer, size);
}

int NowSecondsToUptimeTimeTicksF::operator()(double time, unsigned char* buffer, int size) const {
  return writeValue(SecondsToTimeTicks(NowSecondsToUptimeSeconds(time)), buffer, size);
}

// Kept, so that one time gives the same ticks whenever it is asked for. A start that moved by more
// than a master's rounding and delay is another session's.
Qel::Seconds SnmpUtil::agentStart() {
  constexpr Qel::Seconds kMoved = 0.5;
  if (replacedStart()) return *replacedStart();
  std::optional<Qel::Seconds>& kept = keptStart();
  const Qel::Seconds latest =
      Qel::now() - static_cast<double>(netsnmp_get_agent_uptime()) / kTicksPerSecond;
  if (!kept || std::abs(latest - *kept) > kMoved) kept = startNow();
  return *kept;
}

void SnmpUtil::agentStarted() { keptStart() = startNow(); }
void SnmpUtil::agentStartIs(std::optional<Qel::Seconds> start) { replacedStart() = start; }

double NowSecondsToUptimeSeconds(double time) {
  const double uptime = time - SnmpUtil::agentStart();
  return uptime > 0 ? uptime : 0;  // also where the time is not a number
}

uint32_t SecondsToTimeTicks(double seconds) {
  constexpr double kMicrosPerSecond = 1e6;
  constexpr uint64_t kMicrosPerTick = 10000;
  // Above this, microseconds no longer fit 64 bits; no clock gets there.
  constexpr double kMaxSeconds = 1e12;
  if (!(seconds > 0) || std::isinf(seconds)) return 0;
  const double micros = std::round(std::min(seconds, kMaxSeconds) * kMicrosPerSecond);
  return static_cast<uint32_t>(static_cast<uint64_t>(micros) / kMicrosPerTick);
}

Snmp::String AsnOctetStringToSnmpString(const void* octets, unsigned int length) {
  if (length > Snmp::String::kMaxIndexLength) {
    throw Qel::RangeException("an index string of " + std::to_string(length) +
                              " octets is longer than 255");
  }
  if (length == 0) return {};
  return Snmp::String(Qel::String8(std::string_view(static_cast<const char*>(octets), length)));
}

uint32_t AsnUnsignedToU32(const void* value) {
  long number = 0;
  std::memcpy(&number, value, sizeof number);
  if (number < 0 || number > static_cast<long>(std::numeric_limits<uint32_t>::max())) {
    throw Qel::RangeException("the number " + std::to_string(number) +
                              " is not an unsigned 32-bit one");
  }
  return static_cast<uint32_t>(number);
}
