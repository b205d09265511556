#pragma once

/// Reads one regular file whole, and tells one state of it from another.

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

namespace Sources {

/// What changes whenever a file is replaced or written.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  int64_t modified = 0;  // nanoseconds since the epoch
  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

/// The identity of what stands at a path, links followed; nothing where nothing stands.
std::optional<FileIdentity> identityOf(const std::string& path);

struct FileContents {
  /// The identity before the first octet was read.
  std::optional<FileIdentity> identity;
  /// Whether the file changed while it was read: the octets may be from two states of it.
  bool changing = false;
  /// Whether it was modified so lately that one more change need not alter the identity.
  bool fresh = false;
  /// Why it cannot be read, such as "found no file, expected ..."; empty where it was.
  std::string error;
  std::string octets;
};

/// Never waits for another process: what is not a regular file is refused, and so is one of more
/// than `mostOctets`.
FileContents readFile(const std::string& path, size_t mostOctets);

}  // namespace Sources
