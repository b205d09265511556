#pragma once

/// A JSON document as a compact tree that knows where each value stands in the text. Built in one
/// pass without recursion; duplicate members, too deep nesting, too many values and text that is
/// not JSON are refused there. What stands within members that nobody reads is not kept.

#include <cstdint>
#include <deque>
#include <stop_token>
#include <string>
#include <string_view>

#include "openconfig/Document.h"

namespace OpenConfig {

enum class Kind : uint8_t { null, boolean, natural, otherNumber, string, object, list };

/// Ends the reading of a document. It does not leave this library.
struct Refused {
  DocumentError error;
};

class Tree;

/// One value of a tree. Valid while the tree is; the default one is no value.
class Ref {
 public:
  Ref() = default;
  Ref(const Tree* tree, uint32_t index) : tree_(tree), index_(index) {}

  explicit operator bool() const { return tree_ != nullptr; }
  Kind kind() const;
  /// The member's name; empty for what is not a member of an object.
  std::string_view key() const;
  /// The octets of a string.
  std::string_view text() const;
  /// The value of a natural number or of a boolean.
  uint64_t number() const;

  /// Members or elements in the order of the text, for objects and lists.
  Ref firstChild() const;
  Ref next() const;

  /// The value as an error message shows it: short, on one line, printable.
  std::string shown() const;
  /// An error at this value.
  DocumentError error(std::string found, std::string expected) const;

 private:
  std::string pointer() const;

  const Tree* tree_ = nullptr;
  uint32_t index_ = 0;
};

class Tree {
 public:
  /// Keeps a view of `text`. Throws `Refused`.
  Tree(std::string_view text, const Limits& limits, std::stop_token stop);
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  Ref root() const { return {this, 0}; }

 private:
  friend class Ref;
  class Builder;

  static constexpr uint32_t kNone = 0xFFFFFFFF;

  struct Text {
    uint32_t offset;
    uint32_t length;
  };
  struct Children {
    uint32_t first;
    uint32_t last;
  };
  struct Node {
    uint32_t place;  // the last octet of the value's first token
    uint32_t parent;
    uint32_t next;
    Text key;
    union {
      uint64_t number;
      Text text;  // in octets_; of other numbers too
      Children children;
    };
    Kind kind;
  };

  std::string_view view(Text text) const {
    return std::string_view(octets_).substr(text.offset, text.length);
  }

  std::string_view source_;
  std::deque<Node> nodes_;  // grows without a copy
  std::string octets_;      // keys and strings without their escapes
};

/// Octets between double quotes on one line: escaped where not printable, cut where long.
std::string shownText(std::string_view octets);

}  // namespace OpenConfig
