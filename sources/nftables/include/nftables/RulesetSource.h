#pragma once

/// The source that publishes the nftables ruleset of the network namespace in which the agent was
/// started, with the packets that its rules have counted.
///
/// The ruleset is read at an interval and soon after the kernel has told of a change. What cannot
/// be read (CAP_NET_ADMIN is missing, a ruleset that changes faster than it can be read) is told
/// once, and what was published before stays.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sources/Applier.h"
#include "sources/Source.h"

namespace Sources::Nftables {

class Worker;

class RulesetSource final : public Source {
 public:
  static constexpr Qel::Seconds kDefaultInterval = 5;

  /// `name` is unique among the sources of the mount, `interval` the time from one reading to the
  /// next while nothing changes. Throws `std::system_error` where the system has no thread or
  /// descriptor left.
  RulesetSource(const Mount& mount, std::string name, Qel::Seconds interval = kDefaultInterval);
  /// Breaks a reading off that is under way.
  ~RulesetSource() override;

  const std::string& name() const override { return name_; }
  void start() override;
  std::vector<int> descriptors() const override;
  void handleReadable(int descriptor) override;
  void reload() override;
  Progress progress() const override;

 private:
  void watch();

  Mount mount_;
  std::string name_;
  Qel::Ptr<Applier> applier_;
  Qel::Ptr<Mek::Task> watchdog_;
  std::unique_ptr<Worker> worker_;
  /// Whether the last reading that was told of failed; nothing before the first.
  std::optional<bool> failed_;
};

}  // namespace Sources::Nftables
