#pragma once

/// Reads an OpenConfig ACL document, RFC 7951 JSON of the module openconfig-acl, into a snapshot. A
/// document is taken as a whole or refused as a whole. docs/openconfig.md tells what is read.

#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>

#include "sources/Snapshot.h"

namespace Sources::OpenConfig {

/// What a document may take of memory and time.
struct Limits {
  /// Octets of the whole document; at most 4 GiB less one, whatever is asked.
  size_t octets = size_t{64} << 20;
  /// Objects and lists inside each other.
  size_t depth = 64;
  /// Entries of all ACLs together.
  size_t entries = 1'000'000;
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

}  // namespace Sources::OpenConfig
