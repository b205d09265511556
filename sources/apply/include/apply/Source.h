#pragma once

/// The interface behind which every source of ACLs stands.
///
/// A source belongs to the event thread, which makes it, calls it and destroys it. What takes long
/// (a big file, a dump of kernel state) it does on a thread of its own, which hands finished
/// snapshots over; see Snapshot.h.
///
/// From its construction a source publishes, under its own name, one `Acl::Input::Config` in the
/// input directory and one `Acl::Input::Status` in the status directory, empty at first. It takes
/// both out when it is destroyed.

#include <functional>
#include <string>
#include <vector>

#include "mek/TaskScheduler.h"
#include "qel/Dir.h"
#include "qel/Ptr.h"
#include "qel/Severity.h"

namespace Sources {

using Qel::Severity;

/// Where a source publishes, what it schedules its work on and whom it tells. `log` is called on
/// the event thread only, with one line and no line end.
struct Mount {
  Qel::Ptr<Qel::Dir> inputDir;
  Qel::Ptr<Qel::Dir> statusDir;
  Qel::Ptr<Mek::TaskScheduler> scheduler;
  std::function<void(Severity, const std::string&)> log;
};

/// How far a source is with what it reads.
enum class Progress {
  /// Nothing has been read yet, or what was read last is still being put into the model.
  reading,
  /// All of what was read last stands in the model.
  published,
  /// The last reading failed, which was logged as an error. What stood in the model before it still
  /// does.
  failed,
};

class Source {
 public:
  Source() = default;
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  virtual ~Source() = default;

  /// The name under which the source publishes.
  virtual const std::string& name() const = 0;
  /// Begins to read; called once.
  virtual void start() = 0;
  /// The descriptors to watch for reading; the same ones from construction to destruction.
  virtual std::vector<int> descriptors() const = 0;
  /// One of the descriptors has become readable. Never blocks; harmless when nothing is there.
  virtual void handleReadable(int descriptor) = 0;
  /// Reads everything anew, changed or not: an operator asked for it.
  virtual void reload() = 0;
  /// Changes in `handleReadable` and in scheduled tasks only. After `start` it becomes `published`
  /// or `failed` by itself once both are called as they are due; whether a later reading begins is
  /// the source's own matter.
  virtual Progress progress() const = 0;
};

}  // namespace Sources
