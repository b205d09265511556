#pragma once

/// Network addresses as plain values. Octets are in network order; numbers are in host order.

#include <array>
#include <compare>
#include <cstdint>
#include <stdexcept>

namespace Kavet {

/// An IPv4 address or mask.
class IpAddr {
 public:
  constexpr IpAddr() = default;
  /// 192.0.2.1 is 0xC0000201.
  constexpr explicit IpAddr(uint32_t value) : value_(value) {}

  constexpr uint32_t value() const { return value_; }
  constexpr std::array<uint8_t, 4> octets() const {
    return {static_cast<uint8_t>(value_ >> 24), static_cast<uint8_t>(value_ >> 16),
            static_cast<uint8_t>(value_ >> 8), static_cast<uint8_t>(value_)};
  }
  friend constexpr auto operator<=>(const IpAddr&, const IpAddr&) = default;

 private:
  uint32_t value_ = 0;
};

/// An IPv6 address or mask.
class Ip6Addr {
 public:
  using Octets = std::array<uint8_t, 16>;

  constexpr Ip6Addr() = default;
  constexpr explicit Ip6Addr(const Octets& octets) : octets_(octets) {}

  constexpr const Octets& octets() const { return octets_; }
  /// Sets one octet; an index above 15 throws `std::out_of_range`.
  constexpr void u8Is(uint32_t index, uint8_t value) {
    if (index >= octets_.size()) throw std::out_of_range("Ip6Addr::u8Is: index out of range");
    octets_[index] = value;
  }
  friend constexpr auto operator<=>(const Ip6Addr&, const Ip6Addr&) = default;

 private:
  Octets octets_{};
};

/// An Ethernet (MAC) address or mask.
class EthAddr {
 public:
  using Octets = std::array<uint8_t, 6>;

  constexpr EthAddr() = default;
  constexpr explicit EthAddr(const Octets& octets) : octets_(octets) {}

  constexpr const Octets& octets() const { return octets_; }
  friend constexpr auto operator<=>(const EthAddr&, const EthAddr&) = default;

 private:
  Octets octets_{};
};

}  // namespace Kavet
