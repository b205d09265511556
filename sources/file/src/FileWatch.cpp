#include "FileWatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace Sources {

namespace {

constexpr uint32_t kEvents = IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE |
                             IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF;
constexpr uint32_t kComplete = IN_CLOSE_WRITE | IN_MOVED_TO;
/// What can move a link or a directory on the way to the file.
constexpr uint32_t kNearby = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF |
                             IN_MOVE_SELF | IN_IGNORED;
constexpr int kMostLinks = 40;

std::string directoryOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string nameIn(const std::string& path) { return path.substr(path.rfind('/') + 1); }

/// Where a link leads; empty for what is no link.
std::string linkTarget(const std::string& path) {
  std::array<char, PATH_MAX> target;
  const ssize_t length = readlink(path.c_str(), target.data(), target.size());
  if (length <= 0) return "";
  const std::string text(target.data(), static_cast<size_t>(length));
  return text.front() == '/' ? text : directoryOf(path) + "/" + text;
}

}  // namespace

FileWatch::FileWatch(std::string path)
    : path_(std::move(path)), descriptor_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

bool FileWatch::watch(Names& names, std::string directory, std::string name) const {
  int watch = inotify_add_watch(descriptor(), directory.c_str(), kEvents | IN_ONLYDIR);
  while (watch < 0 && (errno == ENOENT || errno == ENOTDIR) && directory != "/" &&
         directory != ".") {
    name = nameIn(directory);
    directory = directoryOf(directory);
    watch = inotify_add_watch(descriptor(), directory.c_str(), kEvents | IN_ONLYDIR);
  }
  if (watch < 0) return false;
  names[watch].insert(std::move(name));
  return true;
}

bool FileWatch::arm() {
  if (!descriptor_) return false;
  Names names;
  bool watched = true;
  std::string path = path_;
  for (int links = 0; links <= kMostLinks && !path.empty(); ++links) {
    watched = watch(names, directoryOf(path), nameIn(path)) && watched;
    path = linkTarget(path);
  }
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path_.c_str(), nullptr),
                                                         &std::free);
  if (real) watched = watch(names, directoryOf(real.get()), nameIn(real.get())) && watched;
  // What is reported between the watches and their names comes before the file is looked at.
  {
    const std::lock_guard lock(mutex_);
    names_.swap(names);
  }
  for (const auto& [old, gone] : names) {
    if (!names_.contains(old)) inotify_rm_watch(descriptor(), old);
  }
  return watched;
}

FileWatch::Change FileWatch::drain() {
  // One read: in a folder where events come faster than they are taken, the rest must wait its
  // turn.
  Change change = Change::none;
  alignas(inotify_event) std::array<char, 1 << 14> buffer;
  const std::lock_guard lock(mutex_);
  const ssize_t got = read(descriptor(), buffer.data(), buffer.size());
  for (ssize_t at = 0; at < got;) {
    inotify_event event;
    std::memcpy(&event, buffer.data() + at, sizeof event);
    const char* name = buffer.data() + at + sizeof event;
    at += static_cast<ssize_t>(sizeof event + event.len);
    if ((event.mask & IN_Q_OVERFLOW) != 0) {
      change = Change::complete;
      continue;
    }
    const auto watched = names_.find(event.wd);
    if (watched == names_.end()) continue;
    if (event.len != 0 && watched->second.contains(name)) {
      change = (event.mask & kComplete) != 0 ? Change::complete : Change::writing;
    } else if (change == Change::none && (event.mask & kNearby) != 0) {
      change = Change::nearby;
    }
  }
  return change;
}

}  // namespace Sources
