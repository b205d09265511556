#pragma once

/// The source that reads one OpenConfig ACL document from a file and follows its changes: saved in
/// place, replaced by another file, or reached through a link that moves.
///
/// A document that is bad or missing is reported as one error line and changes nothing: what was
/// served stays served. A good one is reported as one info line and applied in slices.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "openconfig/Document.h"
#include "sources/Applier.h"
#include "sources/Source.h"

namespace Sources::OpenConfig {

class FileWatch;
class Worker;

class FileSource final : public Source {
 public:
  /// How long a file that is being written must be left alone before it is read.
  static constexpr Qel::Seconds kQuiet = 0.1;

  /// `name` is unique among the sources of the mount. Throws `std::system_error` where the system
  /// has no thread or descriptor left.
  FileSource(const Mount& mount, std::string name, std::string path, const Limits& limits = {});
  ~FileSource() override;

  const std::string& name() const override { return name_; }
  const std::string& path() const { return path_; }
  void start() override;
  std::vector<int> descriptors() const override;
  void handleReadable(int descriptor) override;
  void reload() override;
  Progress progress() const override;

 private:
  void look(bool forced);
  void handleChanges();
  void handleOutcomes();
  void settle();

  Mount mount_;
  std::string name_;
  std::string path_;
  Qel::Ptr<Applier> applier_;
  Qel::Ptr<Mek::Task> quiet_;
  std::unique_ptr<FileWatch> watch_;
  std::unique_ptr<Worker> worker_;
  bool watchFailed_ = false;
  // Whether the last reading gave a snapshot; nothing before the first one.
  std::optional<bool> good_;
};

/// Reads a file at once, without publishing anything: one line that says why it would be refused,
/// or nothing when it is good.
std::optional<std::string> check(const std::string& path, const Limits& limits = {});

}  // namespace Sources::OpenConfig
