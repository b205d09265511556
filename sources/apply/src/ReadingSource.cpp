#include "apply/ReadingSource.h"

#include <sstream>

namespace Sources {

ReadingSource::ReadingSource(const Mount& mount, std::string name, std::string subject,
                             std::unique_ptr<Reader> reader, const Patience& patience)
    : mount_(mount),
      name_(std::move(name)),
      subject_(std::move(subject)),
      longest_(patience.reading),
      applier_(Qel::make<Applier>(mount, name_)),
      thread_(std::move(reader), patience) {}

void ReadingSource::tellOverdue() {
  if (thread_.takeOverdue() == overdue_) return;
  overdue_ = !overdue_;
  if (overdue_) {
    std::ostringstream line;
    line << subject_ << ": has not been read within "
         << std::chrono::duration<double>(longest_).count() << " s; what was published stays";
    mount_.log(Severity::warning, line.str());
  } else {
    mount_.log(Severity::info, subject_ + ": the reading that took long has ended");
  }
}

void ReadingSource::handleReadable(int) {
  tellOverdue();
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
