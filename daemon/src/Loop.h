#pragma once

/// The event loop: packets, the scheduler, file events and signals on one thread. Packets come
/// first, then one slice of scheduled work; it never sleeps while work is pending.

#include <memory>
#include <vector>

#include "apply/Source.h"
#include "mek/TaskScheduler.h"
#include "qel/Descriptor.h"
#include "snmp/Agent.h"

namespace Daemon {

/// The signals that the process handles, blocked for it and all threads that it starts from here
/// on, and readable as a descriptor.
class Signals {
 public:
  Signals();

  int descriptor() const { return descriptor_.number(); }
  /// The next signal that came, or 0.
  int next() const;

 private:
  Qel::Descriptor descriptor_;
};

/// Opens those of the descriptors 0 to 2 that are closed, on /dev/null, so that no file or socket
/// becomes standard output. For the start of a process.
void openStandardDescriptors();

/// Makes the heap join small blocks as they are freed. By default it puts that off until it has a
/// large block to give or to take, and then a slice or a request pays for all at once: tens of
/// milliseconds after many ACLs have gone. For the start of a process that runs the loop.
void keepHeapEven();

/// Serves until SIGTERM or SIGINT; SIGHUP makes every source read its input anew.
void runLoop(Snmp::Agent& agent, Mek::TaskScheduler& scheduler, const Signals& signals,
             const std::vector<std::unique_ptr<Sources::Source>>& sources);

}  // namespace Daemon
