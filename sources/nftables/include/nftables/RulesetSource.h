#pragma once

/// The source that publishes the nftables ruleset of the network namespace in which the agent was
/// started, with the packets that its rules have counted.
///
/// The ruleset is read at an interval and soon after the kernel has told of a change. What cannot
/// be read (CAP_NET_ADMIN is missing, a ruleset that changes faster than it can be read) is told
/// once, and what was published before stays.

#include <string>

#include "apply/ReadingSource.h"

namespace Sources::Nftables {

class RulesetSource final : public ReadingSource {
 public:
  static constexpr Qel::Seconds kDefaultInterval = 5;

  /// As `ReadingSource`; `interval` is the time from one reading to the next while nothing changes.
  RulesetSource(const Mount& mount, std::string name, Qel::Seconds interval = kDefaultInterval);
  ~RulesetSource() override;

  void start() override;

 private:
  void watch();

  Qel::Ptr<Mek::Task> watchdog_;
};

}  // namespace Sources::Nftables
