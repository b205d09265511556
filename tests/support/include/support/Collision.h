#pragma once

/// Different texts of one length that have the same hash, as whoever names an ACL can make them.

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace Support {

namespace Detail {

// The standard library's hash takes a text in blocks of eight octets: hash = (hash ^ mix(block)) *
// kMul. All of it can be undone, so that a second block can be worked out that makes up for any
// difference in the first.
constexpr uint64_t kMul = 0xc6a4a7935bd1e995U;
constexpr uint64_t kSeed = 0xc70f6907U;

constexpr uint64_t inverse(uint64_t odd) {
  uint64_t x = odd;
  for (int i = 0; i < 6; ++i) x *= 2 - odd * x;
  return x;
}
// Its own inverse.
constexpr uint64_t fold(uint64_t x) { return x ^ x >> 47U; }
constexpr uint64_t mix(uint64_t block) { return fold(block * kMul) * kMul; }
constexpr uint64_t unmix(uint64_t mixed) { return fold(mixed * inverse(kMul)) * inverse(kMul); }

inline std::string text(uint64_t first, uint64_t second) {
  std::string octets(16, '\0');
  std::memcpy(octets.data(), &first, 8);
  std::memcpy(octets.data() + 8, &second, 8);
  return octets;
}

}  // namespace Detail

/// Empty texts where the standard library hashes otherwise.
inline std::pair<std::string, std::string> collidingTexts() {
  using namespace Detail;
  const auto afterFirst = [](uint64_t block) { return (kSeed ^ 16 * kMul ^ mix(block)) * kMul; };
  constexpr uint64_t kFirst = 0x6c63612d65676465U;  // "edge-acl"
  constexpr uint64_t kOther = 0x6c63612d65726f63U;  // "core-acl"
  constexpr uint64_t kSecond = 0x3130303030303030U;
  const std::string one = text(kFirst, kSecond);
  const std::string two =
      text(kOther, unmix(mix(kSecond) ^ afterFirst(kFirst) ^ afterFirst(kOther)));
  const std::hash<std::string_view> hash;
  if (one == two || hash(one) != hash(two)) return {};
  return {one, two};
}

}  // namespace Support
