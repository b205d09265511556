#include "nftables/RulesetSource.h"

#include "Worker.h"

namespace Sources::Nftables {

namespace {

/// How often it is looked whether a reading takes too long.
constexpr Qel::Seconds kWatch = 1;

}  // namespace

RulesetSource::RulesetSource(const Mount& mount, std::string name, Qel::Seconds interval)
    : mount_(mount),
      name_(std::move(name)),
      applier_(Qel::make<Applier>(mount, name_)),
      watchdog_(Qel::make<Mek::Task>(mount.scheduler, Applier::kPriority,
                                     Qel::String8("source " + name_ + " watchdog"),
                                     [this] { watch(); })),
      worker_(std::make_unique<Worker>(interval)) {}

RulesetSource::~RulesetSource() { watchdog_->unschedule(); }

void RulesetSource::start() {
  worker_->start();
  watch();
}

void RulesetSource::reload() { worker_->request(); }

std::vector<int> RulesetSource::descriptors() const { return {worker_->descriptor()}; }

Progress RulesetSource::progress() const {
  if (!failed_ || applier_->backlogSize() != 0) return Progress::reading;
  return *failed_ ? Progress::failed : Progress::published;
}

void RulesetSource::handleReadable(int) {
  std::optional<Outcome> outcome = worker_->take();
  if (!outcome) return;
  failed_ = outcome->failed;
  for (const auto& [severity, line] : outcome->lines) mount_.log(severity, line);
  if (auto* snapshot = std::get_if<Snapshot>(&outcome->content)) {
    applier_->snapshotIs(std::move(*snapshot));
  } else if (auto* changes = std::get_if<CounterChanges>(&outcome->content)) {
    applier_->changesAre(std::move(*changes));
  }
}

void RulesetSource::watch() {
  worker_->watch();
  watchdog_->scheduleAfter(kWatch);
}

}  // namespace Sources::Nftables
