#pragma once

/// OpenConfig ACL documents, RFC 7951 JSON of the module openconfig-acl, read into a snapshot and
/// written from one. A document is taken as a whole or refused as a whole. docs/openconfig.md tells
/// what is read.

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>

#include "snapshot/Snapshot.h"

namespace OpenConfig {

using Sources::AclSnapshot;
using Sources::DataPlane;
using Sources::RuleConfig;
using Sources::RuleCounter;
using Sources::RuleSnapshot;
using Sources::Snapshot;

/// What a document may take of memory and time.
struct Limits {
  /// Octets of the whole document; at most 4 GiB less one, whatever is asked.
  size_t octets = size_t{64} << 20;
  /// Objects and lists inside each other.
  size_t depth = 64;
  /// Entries of all ACLs together.
  size_t entries = 1'000'000;
  size_t entriesOfAcl = 100'000;
  size_t acls = 50'000;
  /// Values that are kept while the document is read, about one for 8 octets.
  size_t nodes = size_t{8} << 20;
};

/// Why a document is refused.
struct DocumentError {
  /// Counted from 1; 0 where the fault is the document as a whole.
  size_t line = 0;
  /// In octets, counted from 1; only where the text is not JSON.
  size_t column = 0;
  /// The place as a JSON pointer (RFC 6901); empty for the document as a whole.
  std::string path;
  std::string found;
  std::string expected;

  /// One line, for example `acls.json:12: /a/b: found 5, expected a string`.
  std::string text(std::string_view file) const;
  friend bool operator==(const DocumentError&, const DocumentError&) = default;
};

using Parsed = std::variant<Snapshot, DocumentError>;

/// Any thread. A stop that is asked for ends it soon, with an error of no further meaning.
Parsed parse(std::string_view text, const Limits& limits = {}, std::stop_token stop = {});

/// As `parse`, with the line that refuses the file in place of an error.
std::variant<Snapshot, std::string> parseFile(std::string_view text, std::string_view file,
                                              const Limits& limits = {}, std::stop_token stop = {});

/// Writes a document that `parse` reads as the same snapshot, each entry on a line of its own. What
/// no document can say is written as it is and refused by `parse`: values beyond what a column can
/// carry, or a port text that is not printable ASCII.
void write(std::ostream& out, const Snapshot& snapshot);

}  // namespace OpenConfig
