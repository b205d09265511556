#pragma once

/// What the MIB must hold, worked out from the entities of the sources and from nothing else.
///
/// The text of a value is its ASN.1 type as a number, a colon, and the value: a decimal number, or
/// octets as hexadecimal digits.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Values.h"
#include "acl/Status.h"
#include "qel/Dir.h"

namespace Soak {

using Oid = std::vector<uint32_t>;
std::string dotted(const Oid& oid);

/// When something happened, as sharply as it is known.
struct Interval {
  Qel::Seconds earliest = 0;
  Qel::Seconds latest = 0;
};

struct Expected {
  std::string value;
  /// For a time: when it must lie, on the framework's clock; `value` is empty then.
  std::optional<Interval> time;
};

/// OIDs stand below the MIB's objects.
using Tree = std::map<Oid, Expected>;

/// Name index of a table: its length, then its octets.
Oid nameIndex(const std::string& name);
/// The number of a type's group of tables.
uint32_t groupOf(Acl::AclType type);

class Oracle {
 public:
  Oracle(Qel::Ptr<const Qel::Dir> inputDir, Qel::Ptr<const Qel::Dir> statusDir)
      : inputDir_(std::move(inputDir)), statusDir_(std::move(statusDir)) {}

  /// The ACL's configuration and status in force: those of the input in the order of mounting that
  /// has it first.
  struct Acl {
    Qel::Ptr<const ::Acl::AclConfig> config;
    Qel::Ptr<const ::Acl::AclStatus> status;
  };
  std::map<Key, Acl> acls(const std::vector<Qel::Name>& mounted) const;

  /// The whole MIB at a moment when nothing is pending any more.
  Tree tree(const std::vector<Qel::Name>& mounted);

  /// Begins to count rows anew: the MIB has none.
  void forget() { since_.clear(); }

 private:
  void addAcl(Tree& tree, const Key& key, const Acl& acl);

  Qel::Ptr<const Qel::Dir> inputDir_;
  Qel::Ptr<const Qel::Dir> statusDir_;
  /// When the last tree was worked out, and for the rows of it the time before which they were not
  /// made.
  Qel::Seconds last_ = 0;
  std::map<std::pair<Key, uint32_t>, Qel::Seconds> since_;
  std::map<std::pair<Key, uint32_t>, Qel::Seconds> seen_;
};

}  // namespace Soak
