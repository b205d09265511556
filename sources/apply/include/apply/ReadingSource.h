#pragma once

/// What the sources that read on a thread have in common: outcomes are taken, their lines logged
/// and their content applied. What was published before a reading that fails stays. A reading that
/// takes too long is told of once, and its end as well.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apply/Applier.h"
#include "apply/ReadingThread.h"
#include "apply/Source.h"

namespace Sources {

class ReadingSource : public Source {
 public:
  /// `name` is unique among the sources of the mount; `subject` is what lines begin with. Throws
  /// `std::system_error` where the system has no thread or descriptor left.
  ReadingSource(const Mount& mount, std::string name, std::string subject,
                std::unique_ptr<Reader> reader, const Patience& patience = {});

  const std::string& name() const final { return name_; }
  void start() override { request(false); }
  void reload() override { request(true); }
  std::vector<int> descriptors() const override {
    return {thread_.overdueDescriptor(), thread_.descriptor()};
  }
  void handleReadable(int descriptor) override;
  Progress progress() const final;

 protected:
  const Mount& mount() const { return mount_; }
  void request(bool forced) { thread_.request(forced); }
  Reader& reader() { return thread_.reader(); }

 private:
  void tellOverdue();

  Mount mount_;
  std::string name_;
  std::string subject_;
  std::chrono::milliseconds longest_;
  Qel::Ptr<Applier> applier_;
  ReadingThread thread_;
  /// Whether the last reading that was told of failed; nothing before the first.
  std::optional<bool> failed_;
  /// Whether the reading under way was told of as overdue.
  bool overdue_ = false;
};

}  // namespace Sources
