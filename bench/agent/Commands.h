#pragma once

/// What the benchmark's agent does on command: one line in on standard input, one line of JSON out.
///
///     model TYPE ACLS RULES   makes a model of a type and waits until all its rows are there
///     peers                   fills the comparators with the rows of the IPv4 model
///     count STEP              counts a packet at the IPv4 model's first rule and at each STEP
///                             further on; gives the time mark before it
///     change inplace|version  adds a rule to an ACL of the IPv4 model until its row is there
///     delete ACLS             removes ACLs of the IPv4 model until their rows are gone
///     burst NAMES CHANGES     replaces ACLs of the IPv4 model, round and round; the backlog drains
///                             while requests are served
///     drained                 what the last burst took, when it is over
///     quit                    ends the agent
///
/// Times are those of the event thread, which does nothing else meanwhile; only a burst drains in
/// the main loop. It is a source of the daemon's loop, so that the loop itself is the product's.

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "Mounts.h"
#include "Shape.h"
#include "acl/Config.h"
#include "acl/Status.h"
#include "apply/Source.h"
#include "model/AclMib.h"

namespace Bench {

class Commands final : public Sources::Source {
 public:
  Commands(const Daemon::Mounts& mounts, const Qel::Ptr<Mek::TaskScheduler>& scheduler);
  ~Commands() override;

  const std::string& name() const override { return name_; }
  void start() override {}
  std::vector<int> descriptors() const override { return {0}; }
  void handleReadable(int descriptor) override;
  void reload() override {}
  Sources::Progress progress() const override { return Sources::Progress::published; }

 private:
  class RowCount;

  std::string run(const std::string& line);
  std::string model(Acl::AclType type, const Shape& shape);
  std::string count(size_t step);
  std::string change(bool inPlace);
  std::string remove(size_t acls);
  std::string burst(size_t names, size_t changes);
  std::string drained();

  void drain();
  size_t rows(Acl::AclType type) const;

  const std::string name_ = "bench";
  const Qel::Ptr<Mek::TaskScheduler> scheduler_;
  const Qel::Ptr<AclSnmp::AclMib> mib_;
  const Qel::Ptr<Acl::Input::Config> config_;
  const Qel::Ptr<Acl::Input::Status> status_;
  std::array<Shape, 3> shapes_;
  std::string input_;
  std::unique_ptr<RowCount> rowCount_;
  size_t changes_ = 0;
  uint32_t nextSequence_ = 5;
};

}  // namespace Bench
