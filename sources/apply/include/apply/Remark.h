#pragma once

/// The remark of a rule: its comment and, in brackets, what no column shows, such as
/// "web servers [not shown: limit; meta iifname eth0]". Characters that control terminals become
/// question marks.

#include <cstddef>
#include <set>
#include <string>
#include <string_view>

namespace Sources {

/// The text cut to so many octets before a whole UTF-8 character.
std::string cut(std::string text, size_t octets);

class Remark {
 public:
  /// Adds what a rule does beside its columns: its kind and, where there is more to say, its text.
  /// A kind that says no more is added once.
  void add(const std::string& kind, const std::string& text);
  void add(const std::string& kind) { add(kind, kind); }

  const std::set<std::string>& kinds() const { return kinds_; }
  /// At most `Acl::kMaxRemarkOctets`, in whole UTF-8 characters.
  std::string text(std::string_view comment) const;

 private:
  std::set<std::string> kinds_;
  std::string notShown_;
};

}  // namespace Sources
