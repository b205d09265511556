#include "file/FileSource.h"

#include "FileReader.h"

namespace Sources {

FileSource::FileSource(const Mount& mount, std::string name, std::string path, FileFormat format)
    : ReadingSource(mount, std::move(name), path,
                    std::make_unique<FileReader>(path, std::move(format))),
      quiet_(Qel::make<Mek::Task>(mount.scheduler, Applier::kPriority,
                                  Qel::String8("source " + this->name() + " quiet"),
                                  [this] { look(false); })),
      watch_(static_cast<FileReader&>(reader()).watch()) {}

FileSource::~FileSource() { quiet_->unschedule(); }

void FileSource::start() { look(false); }

void FileSource::reload() { look(true); }

std::vector<int> FileSource::descriptors() const {
  std::vector<int> all = ReadingSource::descriptors();
  if (watch_.descriptor() >= 0) all.insert(all.begin(), watch_.descriptor());
  return all;
}

void FileSource::handleReadable(int descriptor) {
  if (descriptor == watch_.descriptor()) return handleChanges();
  ReadingSource::handleReadable(descriptor);
}

void FileSource::look(bool forced) {
  quiet_->unschedule();
  request(forced);
}

void FileSource::handleChanges() {
  switch (watch_.drain()) {
    case FileWatch::Change::none:
      break;
    case FileWatch::Change::nearby:
      // Not put off by further ones: a busy directory must not keep the file from being read.
      quiet_->scheduleAfter(kQuiet);
      break;
    case FileWatch::Change::writing:
      quiet_->unschedule();
      quiet_->scheduleAfter(kQuiet);
      break;
    case FileWatch::Change::complete:
      look(false);
      break;
  }
}

std::optional<std::string> check(const std::string& path, const FileFormat& format) {
  const FileContents contents = readFile(path, format.mostOctets);
  if (!contents.error.empty()) return path + ": " + contents.error;
  auto parsed = format.parse(contents.octets, path, {});
  if (auto* error = std::get_if<std::string>(&parsed)) return std::move(*error);
  return std::nullopt;
}

}  // namespace Sources
