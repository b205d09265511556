#include "Identity.h"

#include <cap-ng.h>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <optional>
#include <stdexcept>

namespace Daemon {

namespace {

std::optional<id_t> numberIn(const std::string& text) {
  id_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  // All ones stands for "no change" in the system's calls.
  if (error != std::errc() || end != text.data() + text.size() || number == static_cast<id_t>(-1)) {
    return std::nullopt;
  }
  return number;
}

}  // namespace

Identity identityOf(const std::string& text) {
  const size_t colon = text.find(':');
  const std::string userName = text.substr(0, colon);
  const auto number = numberIn(userName);
  const passwd* user = number ? getpwuid(*number) : getpwnam(userName.c_str());
  Identity identity;
  if (user != nullptr) {
    identity = {user->pw_uid, user->pw_gid};
  } else if (number && colon != std::string::npos) {
    identity.user = *number;
  } else {
    throw std::runtime_error("user '" + userName + "' is not known");
  }
  if (colon != std::string::npos) {
    const std::string groupName = text.substr(colon + 1);
    const auto groupNumber = numberIn(groupName);
    const group* group = groupNumber ? nullptr : getgrnam(groupName.c_str());
    if (!groupNumber && group == nullptr) {
      throw std::runtime_error("group '" + groupName + "' is not known");
    }
    identity.group = groupNumber ? *groupNumber : group->gr_gid;
  }
  return identity;
}

void identityIs(const Identity& identity, bool keepNetAdmin) {
  // No program that is begun from here gets more again.
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  capng_get_caps_process();
  const bool has = capng_have_capability(CAPNG_PERMITTED, CAP_NET_ADMIN) != 0;
  capng_clear(CAPNG_SELECT_ALL);
  if (keepNetAdmin && has) {
    capng_update(CAPNG_ADD, static_cast<capng_type_t>(CAPNG_EFFECTIVE | CAPNG_PERMITTED),
                 CAP_NET_ADMIN);
  }
  if (identity.user == geteuid() && identity.group == getegid() && identity.user != 0) {
    if (capng_apply(CAPNG_SELECT_CAPS) != 0) {
      throw std::runtime_error(std::string("capabilities cannot be dropped: ") +
                               std::strerror(errno));
    }
    return;
  }
  const auto groups =
      getpwuid(identity.user) != nullptr ? CAPNG_INIT_SUPP_GRP : CAPNG_DROP_SUPP_GRP;
  if (capng_change_id(static_cast<int>(identity.user), static_cast<int>(identity.group), groups) !=
      0) {
    throw std::runtime_error("user " + std::to_string(identity.user) + " and group " +
                             std::to_string(identity.group) +
                             " cannot be taken on: " + std::strerror(errno));
  }
}

}  // namespace Daemon
