#pragma once

/// `String8`: an immutable counted byte string. Copies share the octets; any octet, NUL included,
/// is data. Equality and order are those of the unsigned octets.

#include <compare>
#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

#include "qel/Ptr.h"

namespace Qel {

class String8 {
 public:
  String8() = default;
  String8(const char* text) : String8(std::string_view(text)) {}
  String8(const std::string& text) : String8(std::string_view(text)) {}
  String8(std::string_view text);

  std::string_view view() const { return rep_ ? std::string_view(rep_->text) : std::string_view(); }
  std::string str() const { return std::string(view()); }
  size_t size() const { return rep_ ? rep_->text.size() : 0; }
  bool empty() const { return !rep_; }
  /// The same for equal strings in every run of one build.
  size_t hash() const { return rep_ ? rep_->hash : 0; }
  /// Whether both share the same octets; equal strings need not.
  bool sharesWith(const String8& other) const { return rep_ == other.rep_; }

  friend bool operator==(const String8& a, const String8& b) {
    if (a.rep_ == b.rep_) return true;
    if (!a.rep_ || !b.rep_ || a.rep_->hash != b.rep_->hash) return false;
    return a.rep_->text == b.rep_->text;
  }
  friend std::strong_ordering operator<=>(const String8& a, const String8& b) {
    if (a.rep_ == b.rep_) return std::strong_ordering::equal;
    return a.view().compare(b.view()) <=> 0;
  }
  friend String8 operator+(const String8& a, const String8& b) { return a.str().append(b.view()); }
  friend std::ostream& operator<<(std::ostream& out, const String8& text) {
    return out << text.view();
  }

 private:
  struct Rep final : PtrInterface {
    explicit Rep(std::string_view t);
    const std::string text;
    const size_t hash;
  };
  Ptr<const Rep> rep_;  // null for the empty string
};

/// The name of an entity or of a member of a collection.
class Name {
 public:
  Name() = default;
  Name(const char* text) : text_(text) {}
  Name(const String8& text) : text_(text) {}

  const String8& string() const { return text_; }
  bool empty() const { return text_.empty(); }
  size_t hash() const { return text_.hash(); }

  friend bool operator==(const Name&, const Name&) = default;
  friend std::strong_ordering operator<=>(const Name&, const Name&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Name& name) { return out << name.text_; }
  template <class H>
  friend H AbslHashValue(H state, const Name& name) {
    return H::combine(std::move(state), name.text_.view());
  }

 private:
  String8 text_;
};

}  // namespace Qel
