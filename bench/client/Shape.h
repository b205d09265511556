#pragma once

/// How many ACLs of how many rules there are, and how they are named: what the agent that holds the
/// rows and the client that asks for them agree on.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace Bench {

struct Shape {
  size_t acls = 0;
  size_t rulesPerAcl = 1;

  size_t rules() const { return acls * rulesPerAcl; }
  static std::string aclName(size_t acl) {
    char name[32];
    std::snprintf(name, sizeof name, "edge-acl-%05zu", acl);
    return name;
  }
  static uint32_t sequence(size_t rule) { return static_cast<uint32_t>(10 * (rule + 1)); }

  /// The index of an ACL's row.
  static std::vector<uint32_t> aclIndex(size_t acl) {
    const std::string name = aclName(acl);
    std::vector<uint32_t> index{static_cast<uint32_t>(name.size())};
    for (const char octet : name) index.push_back(static_cast<unsigned char>(octet));
    return index;
  }
  /// The index of a rule's row, all rules counted through.
  std::vector<uint32_t> ruleIndex(size_t rule) const {
    std::vector<uint32_t> index = aclIndex(rule / rulesPerAcl);
    index.push_back(sequence(rule % rulesPerAcl));
    return index;
  }
};

}  // namespace Bench
