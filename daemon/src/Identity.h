#pragma once

/// Who the process is: begun with the privileges that opening the ports needs, it goes on as an
/// unprivileged user.

#include <sys/types.h>

#include <string>

namespace Daemon {

struct Identity {
  uid_t user = 0;
  gid_t group = 0;
};

/// The user and his group, or another one: "USER", "USER:GROUP", names or numbers. A number that is
/// no user's needs a group. Throws `std::runtime_error` for one that is not known.
Identity identityOf(const std::string& text);

/// Makes all threads of the process this user's, for good: with his supplementary groups and no
/// capabilities, or with CAP_NET_ADMIN only where it has that, for the calling thread and those it
/// starts. One that is this user already keeps its groups. Throws
/// `std::runtime_error` where that is refused.
void identityIs(const Identity& identity, bool keepNetAdmin);

}  // namespace Daemon
