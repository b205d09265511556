#pragma once

/// The source that reads ACLs from one file and follows its changes: saved in place, replaced by
/// another file, or reached through a link that moves. The format is the caller's.
///
/// A file that is bad or missing is reported as one error line and changes nothing: what was served
/// stays served. A good one is reported as one info line and applied in slices. Everything that a
/// file system may keep waiting happens on the source's thread.

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "apply/ReadingSource.h"

namespace Sources {

/// How a file is read.
struct FileFormat {
  /// The snapshot that a text is, or one line, beginning with the path, that says why it is none.
  /// Called on the source's thread; ends soon once a stop is requested.
  std::function<std::variant<Snapshot, std::string>(std::string_view text, const std::string& path,
                                                    const std::stop_token& stop)>
      parse;
  /// The largest file that is read, in octets.
  size_t mostOctets = 0;
};

class FileWatch;

class FileSource final : public ReadingSource {
 public:
  /// How long a file that is being written must be left alone before it is read.
  static constexpr Qel::Seconds kQuiet = 0.1;

  /// As `ReadingSource`.
  FileSource(const Mount& mount, std::string name, std::string path, FileFormat format);
  ~FileSource() override;

  void start() override;
  std::vector<int> descriptors() const override;
  void handleReadable(int descriptor) override;
  void reload() override;

 private:
  void look(bool forced);
  void handleChanges();

  Qel::Ptr<Mek::Task> quiet_;
  FileWatch& watch_;  // the reader's
};

/// Reads a file at once, without publishing anything: one line that says why it would be refused,
/// or nothing when it is good.
std::optional<std::string> check(const std::string& path, const FileFormat& format);

}  // namespace Sources
