#pragma once

/// Gives the rules of a chain sequence numbers that stay while other rules come and go.
///
/// Rules are 10 apart at first. A rule that comes between two others takes a number between theirs,
/// one that comes last the next multiple of 10. A rule is known again by its handle and digest, or,
/// after a reload that gave it another handle, by its digest and place.

#include <cstdint>
#include <vector>

namespace Sources::Nftables {

struct Numbered {
  uint64_t handle = 0;
  uint64_t digest = 0;
  uint32_t sequence = 0;
};

/// Fills in the numbers of `rules`; `before` is what the chain was. False when no number was left
/// somewhere and all rules were numbered anew.
bool number(const std::vector<Numbered>& before, std::vector<Numbered>& rules);

}  // namespace Sources::Nftables
