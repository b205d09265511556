#pragma once

/// Cuts what arrives over a stream into whole messages, by the length that each announces, so that
/// the agent library never holds a part of one. One for each connection.

#include <cstddef>
#include <string>
#include <string_view>

namespace Snmp {

/// A message that announces more octets is not taken.
constexpr size_t kMaxMessage = 65536;

class Framer {
 public:
  enum class Fault { none, noMessage, tooLong };

  /// How many octets may be added so that all messages that are whole then fit into `kMaxMessage`.
  size_t room() const { return kMaxMessage - held_.size(); }
  /// Takes what arrived, at most `room()` octets. After a fault nothing more may be added.
  Fault add(std::string_view octets);

  /// How many octets of whole messages there are.
  size_t whole() const { return whole_; }
  /// Whether a part of a message is held.
  bool partial() const { return held_.size() > whole_; }
  /// Moves the whole messages to a buffer that has room for them; how many octets they are.
  size_t take(void* buffer);

 private:
  std::string held_;
  size_t whole_ = 0;
};

}  // namespace Snmp
