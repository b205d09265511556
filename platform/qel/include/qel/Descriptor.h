#pragma once

/// A file descriptor that is closed with its owner.

#include <unistd.h>

#include <utility>

namespace Qel {

class Descriptor {
 public:
  /// No descriptor.
  Descriptor() = default;
  /// Owns what a system call returned; a negative number is no descriptor.
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    other.close();
    return *this;
  }
  ~Descriptor() { close(); }

  explicit operator bool() const { return number_ >= 0; }
  /// -1 without a descriptor.
  int number() const { return number_; }

 private:
  void close() {
    if (number_ >= 0) ::close(std::exchange(number_, -1));
  }

  int number_ = -1;
};

}  // namespace Qel
