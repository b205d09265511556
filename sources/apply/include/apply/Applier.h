#pragma once

/// Publishes snapshots into the ACL model as differences, one ACL at a time on the task scheduler.
///
/// What did not change is not touched: an ACL keeps its objects and nobody is notified. Changed
/// rules or remarks become a new sub-configuration of the same `Acl::AclConfig`; changed counters
/// are set in place on the same `Acl::AclStatus`. The status of a new ACL is published before its
/// configuration.
///
/// Owner: a source, on the event thread. From construction to destruction an `Acl::Input::Config`
/// and an `Acl::Input::Status` stand under the source's name in the mount's directories.

#include <deque>
#include <map>
#include <optional>
#include <vector>

#include "acl/Config.h"
#include "acl/Status.h"
#include "apply/Source.h"
#include "mek/TaskCodefBase.h"
#include "snapshot/Snapshot.h"

namespace Sources {

class Applier final : public Mek::TaskCodefBase {
 public:
  static constexpr Mek::TaskPriority kPriority = 3;

  /// A null directory or scheduler throws `Qel::RangeException`.
  Applier(const Mount& mount, const std::string& name);
  ~Applier() override;

  /// Begins to apply a snapshot. One that is still being applied is dropped: the difference is that
  /// to the model as it stands.
  void snapshotIs(Snapshot snapshot);
  /// Sets counters when what was asked for before is done. A snapshot that comes first has them all
  /// and takes their place. A counter of no published rule is passed over.
  void changesAre(CounterChanges changes);

  /// ACLs that still have to be looked at.
  uint64_t backlogSize() const override {
    return removed_.size() + pending_.acls.size() + counters_.size();
  }
  uint64_t processBacklog(const Qel::Seconds& startTime) override;

 private:
  struct Published {
    Qel::Ptr<Acl::AclConfig> config;
    Qel::Ptr<Acl::AclStatus> status;
  };

  void applyNext();
  void add(const Snapshot::Key& key, const AclSnapshot& acl);
  void change(const Published& published, const AclSnapshot& acl);
  void remove(const Snapshot::Key& key);
  void count();

  Qel::Ptr<Qel::Dir> inputDir_;
  Qel::Ptr<Qel::Dir> statusDir_;
  Qel::Ptr<Acl::Input::Config> config_;
  Qel::Ptr<Acl::Input::Status> status_;
  std::map<Snapshot::Key, Published> published_;
  // What is left of the current snapshot: published ACLs that it does not have, and its own.
  std::vector<Snapshot::Key> removed_;
  Snapshot pending_;
  std::deque<CounterChanges::value_type> counters_;
};

}  // namespace Sources
