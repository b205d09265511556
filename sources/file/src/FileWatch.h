#pragma once

/// Tells when one file may have changed, by inotify on the directories through which its path
/// leads: the one of the path, those of the links on the way, and the one where the file really is.
/// Where a directory is missing, the nearest one above it is watched.

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "qel/Descriptor.h"

namespace Sources {

class FileWatch {
 public:
  enum class Change {
    none,
    /// Something beside the file came or went; a link on the way may have moved.
    nearby,
    /// The file is being written, or is gone.
    writing,
    /// The file was closed after writing, or moved into place.
    complete,
  };

  explicit FileWatch(std::string path);

  /// -1 when the system has no inotify instance left.
  int descriptor() const { return descriptor_.number(); }

  /// Follows the path anew and watches what it leads through now. Call it before the file is looked
  /// at, so that no change falls between. False when some directory cannot be watched.
  bool arm();

  /// Takes what was reported: the last change of the file, or what else there was.
  Change drain();

 private:
  bool watch(std::string directory, std::string name);

  std::string path_;
  Qel::Descriptor descriptor_;
  std::map<int, std::set<std::string>> names_;  // by watch: the names that matter there
};

}  // namespace Sources
