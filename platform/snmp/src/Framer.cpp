#include "Framer.h"

#include <cstdint>
#include <cstring>
#include <optional>

#include "qel/Assert.h"

namespace Snmp {

namespace {

constexpr unsigned char kSequence = 0x30;
constexpr unsigned char kLong = 0x80;

/// The length of a message with its header, `kMaxMessage` + 1 for any longer one, 0 for what is not
/// a message; nothing while its header is not whole.
std::optional<size_t> lengthOf(std::string_view octets) {
  const auto octet = [octets](size_t place) { return static_cast<unsigned char>(octets[place]); };
  if (octets.empty()) return std::nullopt;
  if (octet(0) != kSequence) return 0;
  if (octets.size() < 2) return std::nullopt;
  if (octet(1) < kLong) return 2 + octet(1);
  const size_t count = octet(1) - kLong;
  // Without a length, or with one of more octets than the agent library reads.
  if (count == 0 || count > sizeof(uint64_t)) return 0;
  if (octets.size() < 2 + count) return std::nullopt;
  uint64_t length = 0;
  for (size_t i = 0; i < count; ++i) length = length << 8 | octet(2 + i);
  if (length > kMaxMessage - 2 - count) return kMaxMessage + 1;
  return 2 + count + length;
}

}  // namespace

Framer::Fault Framer::add(std::string_view octets) {
  QEL_ASSERT(octets.size() <= room(), "Framer");
  held_ += octets;
  while (const auto length = lengthOf(std::string_view(held_).substr(whole_))) {
    if (*length == 0) return Fault::noMessage;
    if (*length > kMaxMessage) return Fault::tooLong;
    if (*length > held_.size() - whole_) break;
    whole_ += *length;
  }
  return Fault::none;
}

size_t Framer::take(void* buffer) {
  const size_t taken = whole_;
  std::memcpy(buffer, held_.data(), taken);
  // Without the memory that a long message took.
  held_ = std::string(held_, taken);
  whole_ = 0;
  return taken;
}

}  // namespace Snmp
