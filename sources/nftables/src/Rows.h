#pragma once

/// Makes the rows of one rule: its statements put into the columns, and what has no column told in
/// the remark.

#include <set>
#include <string>

#include "Json.h"
#include "nftables/Ruleset.h"

namespace Sources::Nftables {

/// Reads one rule as libnftables writes it. The kinds of what is only told in remarks are added to
/// `unshown`.
Rule readRule(const Json& rule, Family family, std::set<std::string>& unshown);

}  // namespace Sources::Nftables
