#pragma once

/// Tells when one file may have changed, by inotify on the directories through which its path
/// leads: the one of the path, those of the links on the way, and the one where the file really is.
/// Where a directory is missing, the nearest one above it is watched. Following the path can take
/// as long as a file system does not answer, so one thread may do that while another takes reports.

#include <cstdint>
#include <map>
#include <mutex>
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

  /// Takes what was reported: the last change of the file, or what else there was. Never waits for
  /// a file system.
  Change drain();

 private:
  using Names = std::map<int, std::set<std::string>>;  // by watch: the names that matter there

  bool watch(Names& names, std::string directory, std::string name) const;

  const std::string path_;
  const Qel::Descriptor descriptor_;
  std::mutex mutex_;
  Names names_;
};

}  // namespace Sources
