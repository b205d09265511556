#include "snapshot/Text.h"

#include <arpa/inet.h>

#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>

namespace Sources {

namespace {

template <class Octets>
std::string addressText(int family, const Octets& octets) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  return inet_ntop(family, octets.data(), text.data(), text.size());
}

std::string counted(size_t count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

bool isWithin(uint8_t octet, uint8_t least, uint8_t most) {
  return octet >= least && octet <= most;
}

/// The length of the UTF-8 character at the front; 1 where there is none.
size_t characterLength(std::string_view octets) {
  const auto lead = static_cast<uint8_t>(octets.front());
  const size_t length = isWithin(lead, 0xC2, 0xDF)   ? 2
                        : isWithin(lead, 0xE0, 0xEF) ? 3
                        : isWithin(lead, 0xF0, 0xF4) ? 4
                                                     : 1;
  if (length > octets.size()) return 1;
  for (size_t i = 1; i < length; ++i) {
    const auto octet = static_cast<uint8_t>(octets[i]);
    // Longer forms than needed, surrogates and what is above U+10FFFF.
    const uint8_t least = i == 1 && lead == 0xE0 ? 0xA0 : i == 1 && lead == 0xF0 ? 0x90 : 0x80;
    const uint8_t most = i == 1 && lead == 0xED ? 0x9F : i == 1 && lead == 0xF4 ? 0x8F : 0xBF;
    if (!isWithin(octet, least, most)) return 1;
  }
  return length;
}

bool isControl(std::string_view character) {
  const auto lead = static_cast<uint8_t>(character.front());
  if (character.size() == 1) return lead < 0x20 || isWithin(lead, 0x7F, 0x9F);
  return lead == 0xC2 && static_cast<uint8_t>(character[1]) < 0xA0;
}

}  // namespace

std::string textOf(const Kavet::IpAddr& address) { return addressText(AF_INET, address.octets()); }

std::string textOf(const Kavet::Ip6Addr& address) {
  return addressText(AF_INET6, address.octets());
}

std::string textOf(const Kavet::EthAddr& address) {
  std::string text;
  for (const uint8_t octet : address.octets()) {
    std::array<char, 4> digits{};
    std::snprintf(digits.data(), digits.size(), ":%02x", octet);
    text += digits.data();
  }
  return text.substr(1);
}

std::optional<uint32_t> prefixLength(const Kavet::IpAddr& mask) {
  const auto ones = static_cast<uint32_t>(std::countl_one(mask.value()));
  if (std::popcount(mask.value()) != static_cast<int>(ones)) return std::nullopt;
  return ones;
}

std::string withoutControls(std::string_view octets) {
  std::string text;
  while (!octets.empty()) {
    const std::string_view character = octets.substr(0, characterLength(octets));
    if (isControl(character)) {
      text += '?';
    } else {
      text += character;
    }
    octets.remove_prefix(character.size());
  }
  return text;
}

bool hasControls(std::string_view octets) {
  while (!octets.empty()) {
    const std::string_view character = octets.substr(0, characterLength(octets));
    if (isControl(character)) return true;
    octets.remove_prefix(character.size());
  }
  return false;
}

std::string summaryOf(const Snapshot& snapshot) {
  size_t rules = 0;
  size_t remarks = 0;
  for (const auto& [key, acl] : snapshot.acls) {
    rules += acl.rules.size();
    remarks += acl.remarks.size();
  }
  return counted(snapshot.acls.size(), "ACL") + ", " + counted(rules, "rule") + ", " +
         counted(remarks, "remark");
}

}  // namespace Sources
