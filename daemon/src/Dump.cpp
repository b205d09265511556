#include "Dump.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <system_error>

#include "acl/Aggregator.h"
#include "dump/ModelSnapshot.h"

namespace Daemon {

namespace {

using Sources::Progress;

bool isAny(const SourceList& sources, Progress progress) {
  return std::any_of(sources.begin(), sources.end(),
                     [progress](const auto& source) { return source->progress() == progress; });
}

void complain(Qel::Severity severity, const std::string& text) {
  if (severity > Qel::Severity::warning) return;
  std::fprintf(stderr, "%s\n", text.c_str());
}

/// Waits until a source has something to hand over or a task is due, and does what is due.
void step(const SourceList& sources, Mek::TaskScheduler& scheduler) {
  std::vector<pollfd> watched;
  std::vector<Sources::Source*> owners;
  for (const auto& source : sources) {
    for (const int descriptor : source->descriptors()) {
      watched.push_back({descriptor, POLLIN, 0});
      owners.push_back(source.get());
    }
  }
  const auto wait = scheduler.timeToNext();
  const int milliseconds = wait ? static_cast<int>(std::ceil(*wait * 1000)) : -1;
  if (poll(watched.data(), watched.size(), milliseconds) < 0 && errno != EINTR) {
    throw std::system_error(errno, std::generic_category(), "poll");
  }
  for (size_t i = 0; i < watched.size(); ++i) {
    if (watched[i].revents != 0) owners[i]->handleReadable(watched[i].fd);
  }
  scheduler.runFor(Mek::TaskScheduler::kDefaultQuantum);
}

}  // namespace

std::optional<Sources::Snapshot> readOnce(
    const std::function<SourceList(const Sources::Mount&)>& makeSources) {
  const auto scheduler = Qel::make<Mek::TaskScheduler>();
  const auto inputDir = Qel::make<Qel::Dir>("input");
  const auto statusDir = Qel::make<Qel::Dir>("status");
  const auto config = Qel::make<Acl::Config>("config");
  const auto status = Qel::make<Acl::Status>("status");
  const auto configAggregator =
      Qel::make<Acl::AclConfigAggregatorSm>(inputDir, Qel::make<Acl::Input::Config>("cli"), config);
  // After the configuration's: an ACL's status finds its owner there.
  const auto statusAggregator =
      Qel::make<Acl::AclStatusAggregatorSm>(inputDir, statusDir, config, status);
  const SourceList sources = makeSources({inputDir, statusDir, scheduler, complain});
  for (const auto& source : sources) source->start();
  while (isAny(sources, Progress::reading)) step(sources, *scheduler);
  if (isAny(sources, Progress::failed)) return std::nullopt;
  return Dump::snapshotOf(*config, *status);
}

}  // namespace Daemon
