#pragma once

/// `Snmp::String`: an octet string as it stands in the index of a MIB row.
///
/// Its order is that of the OID into which a variable-length string index is encoded (RFC 2578,
/// section 7.7): the length comes first, so a shorter string sorts before a longer one and strings
/// of one length sort by their unsigned octets. Any octet is data.

#include <compare>
#include <ostream>
#include <string>

#include "qel/Strep.h"
#include "qel/String8.h"

namespace Snmp {

class String {
 public:
  /// A sub-identifier for each octet: the longest string that an index takes.
  static constexpr size_t kMaxIndexLength = 255;

  String() = default;
  String(const char* text) : text_(text) {}
  explicit String(const Qel::String8& text) : text_(text) {}
  explicit String(const Qel::Name& name) : text_(name.string()) {}
  /// Reads what `valueToStrep` writes; throws `Qel::RangeException` for anything else.
  String(Qel::StrepIterator& current, Qel::StrepIterator end)
      : text_(Qel::readQuoted(current, end)) {}

  const Qel::String8& string8() const { return text_; }
  size_t size() const { return text_.size(); }
  bool empty() const { return text_.empty(); }

  friend bool operator==(const String&, const String&) = default;
  friend std::strong_ordering operator<=>(const String& a, const String& b) {
    if (a.size() != b.size()) return a.size() <=> b.size();
    return a.text_ <=> b.text_;
  }
  friend std::ostream& operator<<(std::ostream& out, const String& text) {
    return out << text.text_;
  }

 private:
  Qel::String8 text_;
};

inline std::string valueToStrep(const String& value) {
  return Qel::quotedStrep(value.string8().view());
}

}  // namespace Snmp
