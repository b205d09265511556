#pragma once

/// Reads an input of the fuzzer from front to back as choices, numbers and octets. Past the end
/// everything is 0, so that every input means something.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Fuzz {

class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  bool empty() const { return size_ == 0; }
  uint8_t octet() {
    if (empty()) return 0;
    --size_;
    return *data_++;
  }
  /// One of `count` choices.
  unsigned choice(unsigned count) { return octet() % count; }

  /// Any number; those at which widths and signs end come often.
  uint64_t number() {
    constexpr std::array<uint64_t, 8> kEdges = {
        0, 255, 256, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x100000000, 0xFFFFFFFFFFFFFFFF};
    const unsigned form = choice(16);
    if (form < kEdges.size()) return kEdges[form];
    const unsigned octets = form < 12 ? 1 : 1U << (form - 12);
    uint64_t value = 0;
    for (unsigned i = 0; i < octets; ++i) value = value << 8 | octet();
    return value;
  }

  /// Up to 255 octets, or 256 to 511: longer than an index can carry.
  std::string octets() {
    size_t length = octet();
    if (length == 255) length = 256 + size_t{octet()};
    std::string taken;
    for (size_t i = 0; i < length; ++i) taken += static_cast<char>(octet());
    return taken;
  }

 private:
  const uint8_t* data_;
  size_t size_;
};

}  // namespace Fuzz
