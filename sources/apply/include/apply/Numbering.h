#pragma once

/// Gives the rules of a list, in its order, sequence numbers that stay while other rules come and
/// go.
///
/// Rules are 10 apart at first. A rule that comes between two others takes a number between theirs,
/// one that comes last the next multiple of 10. A rule is known again by its handle and digest, or,
/// after a reload that gave it another handle, by its digest and place.

#include <cstdint>
#include <vector>

namespace Sources {

struct NumberedRule {
  /// What the source knows the rule by in its list: a number, or the hash of a name.
  uint64_t handle = 0;
  /// Of what the rule says.
  uint64_t digest = 0;
  uint32_t sequence = 0;
};

/// Fills in the numbers of `rules`; `before` is what the list was. False when no number was left
/// somewhere and all rules were numbered anew.
bool numberRules(const std::vector<NumberedRule>& before, std::vector<NumberedRule>& rules);

}  // namespace Sources
