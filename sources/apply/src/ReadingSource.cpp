#include "apply/ReadingSource.h"

namespace Sources {

ReadingSource::ReadingSource(const Mount& mount, std::string name, std::unique_ptr<Reader> reader)
    : mount_(mount),
      name_(std::move(name)),
      applier_(Qel::make<Applier>(mount, name_)),
      thread_(std::move(reader)) {}

void ReadingSource::handleReadable(int) {
  std::optional<Outcome> outcome = thread_.take();
  if (!outcome) return;
  failed_ = outcome->failed;
  for (const auto& [severity, line] : outcome->lines) mount_.log(severity, line);
  if (auto* snapshot = std::get_if<Snapshot>(&outcome->content)) {
    applier_->snapshotIs(std::move(*snapshot));
  } else if (auto* changes = std::get_if<CounterChanges>(&outcome->content)) {
    applier_->changesAre(std::move(*changes));
  }
}

Progress ReadingSource::progress() const {
  if (!failed_ || applier_->backlogSize() != 0) return Progress::reading;
  return *failed_ ? Progress::failed : Progress::published;
}

}  // namespace Sources
