#pragma once

/// Values of the ACL model as text for people and documents.

#include <optional>
#include <string>
#include <string_view>

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

/// Whether there is a character that controls terminals: U+0000 to U+001F and U+007F to U+009F in
/// UTF-8, and such an octet alone that is no part of a UTF-8 character.
bool hasControls(std::string_view octets);
/// The octets with a question mark in place of each such character.
std::string withoutControls(std::string_view octets);

/// How much a snapshot holds: "2 ACLs, 1 rule, 0 remarks"
std::string summaryOf(const Snapshot& snapshot);

}  // namespace Sources
