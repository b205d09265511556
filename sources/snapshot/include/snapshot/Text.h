#pragma once

/// Values of the ACL model as text for people and documents.

#include <optional>
#include <string>

#include "kavet/Addr.h"
#include "snapshot/Snapshot.h"

namespace Sources {

/// "192.0.2.1"
std::string textOf(const Kavet::IpAddr& address);
/// "2001:db8::1"
std::string textOf(const Kavet::Ip6Addr& address);
/// "00:53:00:12:34:56"
std::string textOf(const Kavet::EthAddr& address);

/// The length of the prefix that a mask stands for; nothing where ones and zeros mix.
std::optional<uint32_t> prefixLength(const Kavet::IpAddr& mask);

/// How much a snapshot holds: "2 ACLs, 1 rule, 0 remarks"
std::string summaryOf(const Snapshot& snapshot);

}  // namespace Sources
