#pragma once

/// BER as SNMP uses it, read into a tree and written again with lengths that are right.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Fuzz {

struct Ber {
  static constexpr uint8_t kInteger = 0x02;
  static constexpr uint8_t kOctets = 0x04;
  static constexpr uint8_t kOid = 0x06;
  static constexpr uint8_t kSequence = 0x30;

  uint8_t tag = 0;
  std::string content;  // of what is not made of parts
  std::vector<Ber> parts;
  bool constructed = false;

  /// Messages of version 3 have values inside octet strings; they are parts too.
  static std::optional<Ber> read(std::string_view text);
  std::string written() const;
  /// One number of an OID.
  static std::string subIdentifier(uint64_t number);
  /// This value and all inside it, outer ones first. Valid until one of them changes its parts.
  void collect(std::vector<Ber*>& all);

 private:
  static std::optional<Ber> take(std::string_view& text, unsigned depth);
  static bool takeAll(std::string_view text, unsigned depth, std::vector<Ber>& parts);
};

}  // namespace Fuzz
