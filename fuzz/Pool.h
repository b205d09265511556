#pragma once

/// Some inputs that got far, for a mutator to start from. Most inputs that the fuzzer keeps are bad
/// ones, each in its own way, and from a bad one it is a long way to another good one.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Fuzz {

class Pool {
 public:
  bool empty() const { return kept_.empty(); }
  /// Keeps an input, when there are many in place of any other; `random` is any number.
  void keep(std::string_view input, size_t random) {
    constexpr size_t kMost = 256;
    if (kept_.size() < kMost) {
      kept_.emplace_back(input);
    } else {
      kept_[random % kMost] = input;
    }
  }
  const std::string& any(size_t random) const { return kept_[random % kept_.size()]; }

 private:
  std::vector<std::string> kept_;
};

/// That of the target in this program.
inline Pool& pool() {
  static Pool instance;
  return instance;
}

}  // namespace Fuzz
