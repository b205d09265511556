#pragma once

/// What the tables' columns can carry, in octets: the buffers of the plug-in and what sources
/// accept.

#include <cstddef>

namespace Acl {

/// The name of an ACL, which is an index.
inline constexpr size_t kMaxNameOctets = 100;
/// The ports of a rule as text.
inline constexpr size_t kMaxPortsOctets = 60;
inline constexpr size_t kMaxRemarkOctets = 127;

}  // namespace Acl
