#pragma once

/// The whole way from a snapshot to the MIB in one process, on a clock that stands still: what a
/// fuzz target feeds and what it looks at. One at a time.

#include <map>
#include <string>
#include <vector>

#include "MibCases.h"
#include "Mounts.h"
#include "apply/Applier.h"
#include "model/AclMib.h"
#include "openconfig/Document.h"
#include "qel/Time.h"

namespace Fuzz {

struct Cell {
  u_char type = 0;
  std::string octets;
  friend bool operator==(const Cell&, const Cell&) = default;
};

struct Row {
  std::string name;
  uint32_t seqId = 0;              // 0 where the table has none
  std::map<unsigned, Cell> cells;  // by column number
  friend bool operator==(const Row&, const Row&) = default;

  /// The last column's value of a statistics row: when it changed, in the agent's ticks.
  uint32_t changed() const;
};

/// What is served: the rows of the nine tables, in the order of `MibTest::tables()` and of a walk.
using Served = std::vector<std::vector<Row>>;

class Chain {
 public:
  Chain();
  ~Chain();
  Chain(const Chain&) = delete;
  Chain& operator=(const Chain&) = delete;

  /// Brings the MIB to a snapshot.
  void apply(Sources::Snapshot snapshot);
  const AclSnmp::AclMib& mib() const;

  /// Reads everything by the hooks and handlers. It must be in walking order and free of errors.
  Served served() const;

 private:
  // The clock and the agent's start on it: a time is a tick count for good.
  Qel::ManualClock clock_;
  Qel::Ptr<Mek::TaskScheduler> scheduler_;
  Daemon::Mounts mounts_;
  Qel::Ptr<Sources::Applier> applier_;
};

/// The snapshot of a document that is known to be good.
Sources::Snapshot snapshotOf(const std::string& document);
/// The example document's, with counters that changed at different times.
Sources::Snapshot exampleSnapshot();

}  // namespace Fuzz
