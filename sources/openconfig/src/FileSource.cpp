#include "openconfig/FileSource.h"

#include "FileReader.h"
#include "FileWatch.h"
#include "Worker.h"

namespace Sources::OpenConfig {

FileSource::FileSource(const Mount& mount, std::string name, std::string path, const Limits& limits)
    : mount_(mount),
      name_(std::move(name)),
      path_(std::move(path)),
      applier_(Qel::make<Applier>(mount, name_)),
      quiet_(Qel::make<Mek::Task>(mount.scheduler, Applier::kPriority,
                                  Qel::String8("source " + name_ + " quiet"),
                                  [this] { look(false); })),
      watch_(std::make_unique<FileWatch>(path_)),
      worker_(std::make_unique<Worker>(path_, limits)) {}

FileSource::~FileSource() { quiet_->unschedule(); }

void FileSource::start() { look(false); }

void FileSource::reload() { look(true); }

Progress FileSource::progress() const {
  if (!good_ || applier_->backlogSize() != 0) return Progress::reading;
  return *good_ ? Progress::published : Progress::failed;
}

std::vector<int> FileSource::descriptors() const {
  if (watch_->descriptor() < 0) return {worker_->descriptor()};
  return {watch_->descriptor(), worker_->descriptor()};
}

void FileSource::handleReadable(int descriptor) {
  if (descriptor == worker_->descriptor()) {
    handleOutcomes();
  } else if (descriptor == watch_->descriptor()) {
    handleChanges();
  }
}

void FileSource::look(bool forced) {
  quiet_->unschedule();
  const bool watched = watch_->arm();
  if (!watched && !watchFailed_) {
    mount_.log(Severity::warning,
               path_ + ": cannot be watched; changes are read when a reload is asked for");
  }
  watchFailed_ = !watched;
  worker_->request(forced);
}

void FileSource::settle() {
  quiet_->unschedule();
  quiet_->scheduleAfter(kQuiet);
}

void FileSource::handleChanges() {
  switch (watch_->drain()) {
    case FileWatch::Change::none:
      break;
    case FileWatch::Change::nearby:
      // Not put off by further ones: a busy directory must not keep the file from being read.
      quiet_->scheduleAfter(kQuiet);
      break;
    case FileWatch::Change::writing:
      settle();
      break;
    case FileWatch::Change::complete:
      look(false);
      break;
  }
}

void FileSource::handleOutcomes() {
  while (std::optional<Outcome> outcome = worker_->take()) {
    if (outcome->unsettled) {
      quiet_->scheduleAfter(kQuiet);
      continue;
    }
    mount_.log(outcome->snapshot ? Severity::info : Severity::error, outcome->message);
    good_ = outcome->snapshot.has_value();
    if (outcome->snapshot) applier_->snapshotIs(std::move(*outcome->snapshot));
  }
}

std::optional<std::string> check(const std::string& path, const Limits& limits) {
  FileContents contents = readFile(path, limits);
  if (const auto* error = std::get_if<DocumentError>(&contents.octets)) return error->text(path);
  const Parsed parsed = parse(std::get<std::string>(contents.octets), limits);
  if (const auto* error = std::get_if<DocumentError>(&parsed)) return error->text(path);
  return std::nullopt;
}

}  // namespace Sources::OpenConfig
