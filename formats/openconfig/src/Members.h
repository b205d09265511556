#pragma once

/// Objects as tables of members. A table names each member that an object may have and the function
/// that reads it into a target; a member without a function is accepted and ignored. Members are
/// read in the order of the table, whatever their order in the text, so that a table can put
/// `state` before the `config` that overrides it.

#include <array>
#include <string>
#include <string_view>

#include "Tree.h"

namespace OpenConfig {

template <class Target>
struct Member {
  std::string_view name;
  void (*read)(Target&, const Ref&);
};

[[noreturn]] inline void refuse(const Ref& at, std::string found, std::string expected) {
  throw Refused{at.error(std::move(found), std::move(expected))};
}
[[noreturn]] inline void refuse(const Ref& at, std::string expected) {
  refuse(at, at.shown(), std::move(expected));
}

inline void requireKind(const Ref& value, Kind kind, const char* expected) {
  if (value.kind() != kind) refuse(value, expected);
}

/// The member's name in the tables: that of openconfig-acl has no prefix, that of ours keeps it.
std::string_view localName(std::string_view key);
/// What RESTCONF puts around the data.
inline constexpr std::string_view kRestconfData = "ietf-restconf:data";
/// Whether a member belongs to a module that is not read here, or is an annotation.
bool isForeign(std::string_view key);

template <class Target, size_t N>
void readMembers(const std::array<Member<Target>, N>& members, Target& target, const Ref& object) {
  requireKind(object, Kind::object, "an object");
  std::array<Ref, N> present{};
  for (Ref child = object.firstChild(); child; child = child.next()) {
    const std::string_view name = localName(child.key());
    size_t slot = 0;
    while (slot < N && members[slot].name != name) ++slot;
    if (slot == N) {
      if (isForeign(child.key())) continue;
      std::string known;
      for (const auto& member : members) {
        known += (known.empty() ? "" : ", ") + std::string(member.name);
      }
      refuse(child, "an unknown member " + shownText(child.key()), "one of " + known);
    }
    if (present[slot]) {
      refuse(child, "a second member " + shownText(name), "each member once");
    }
    present[slot] = child;
  }
  for (size_t slot = 0; slot < N; ++slot) {
    if (present[slot] && members[slot].read != nullptr) members[slot].read(target, present[slot]);
  }
}

/// Calls `read` with each element of a list.
template <class Read>
void readList(const Ref& list, Read&& read) {
  requireKind(list, Kind::list, "a list");
  for (Ref element = list.firstChild(); element; element = element.next()) read(element);
}

}  // namespace OpenConfig
