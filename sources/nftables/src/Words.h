#pragma once

/// Expressions as short text, for remarks: near to what nft writes, without being meant to be read
/// back.

#include <string>

#include "Json.h"

namespace Sources::Nftables {

/// What an expression looks at, such as "tcp dport", "meta iifname" or "ip saddr . tcp dport".
std::string nameOf(const Json& expression);

/// A value, such as "80", "10.0.0.0/8" or "{22,80-90}".
std::string valueText(const Json& value);

}  // namespace Sources::Nftables
