#pragma once

/// Reads and parses one file when asked. One that has not changed since the last reading gives no
/// outcome, unless the reading is forced; one that is being written is looked at again soon.

#include <optional>
#include <string>

#include "FileContents.h"
#include "FileWatch.h"
#include "apply/ReadingThread.h"
#include "file/FileSource.h"

namespace Sources {

class FileReader final : public Reader {
 public:
  FileReader(std::string path, FileFormat format)
      : path_(std::move(path)), format_(std::move(format)), watch_(path_) {}

  /// For the event thread, which takes its reports; the thread of the readings arms it.
  FileWatch& watch() { return watch_; }

  std::optional<Outcome> read(bool forced, const std::stop_token& stop) override;
  Clock::time_point due() const override { return due_; }

 private:
  void arm();
  std::optional<Outcome> look(bool forced, const std::stop_token& stop);

  const std::string path_;
  const FileFormat format_;
  FileWatch watch_;
  bool watchFailed_ = false;
  /// Whether it is still to be said that the watch failed.
  bool watchUntold_ = false;

  Clock::time_point due_ = Clock::time_point::max();
  // The last reading.
  bool looked_ = false;
  bool readable_ = false;
  bool fresh_ = false;
  std::optional<FileIdentity> identity_;
  size_t hash_ = 0;
  std::string refusal_;
  bool failed_ = false;
  /// How long to rest after a reading for which memory was wanting; none after any other.
  std::chrono::seconds rest_{};
};

}  // namespace Sources
