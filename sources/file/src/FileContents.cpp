#include "FileContents.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "qel/Descriptor.h"

namespace Sources {

namespace {

constexpr int64_t kSecond = 1'000'000'000;
/// More than the steps in which file systems count time.
constexpr int64_t kFresh = kSecond / 20;

FileIdentity identity(const struct stat& status) {
  return {status.st_dev, status.st_ino, status.st_size,
          status.st_mtim.tv_sec * kSecond + status.st_mtim.tv_nsec};
}

const char* kindName(mode_t mode) {
  switch (mode & S_IFMT) {
    case S_IFDIR:
      return "a directory";
    case S_IFIFO:
      return "a named pipe";
    case S_IFSOCK:
      return "a socket";
    default:
      return "a device";
  }
}

std::string fileError(const std::string& found) {
  return "found " + found + ", expected a regular file that can be read";
}

std::string systemError() { return fileError(errno == ENOENT ? "no file" : std::strerror(errno)); }

bool isFresh(const FileIdentity& identity) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec * kSecond + now.tv_nsec - identity.modified < kFresh;
}

/// Reads all octets of an open file, or says why that cannot be done.
std::string readAll(int descriptor, size_t expected, size_t most, std::string& octets) {
  constexpr size_t kStep = 1 << 16;
  size_t filled = 0;
  while (filled <= most) {
    // One octet above the stated size, so that its end is seen without growing.
    octets.resize(std::min(std::max(filled + kStep, expected + 1), most + 1));
    const ssize_t got = read(descriptor, octets.data() + filled, octets.size() - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return systemError();
    if (got == 0) break;
    filled += static_cast<size_t>(got);
  }
  octets.resize(filled);
  if (filled <= most) return "";
  return "found more than " + std::to_string(most) + " octets, expected a smaller document";
}

}  // namespace

std::optional<FileIdentity> identityOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return identity(status);
}

FileContents readFile(const std::string& path, size_t mostOctets) {
  FileContents contents;
  struct stat before {};
  // Opening a device may act on it, so the kind is looked at first.
  if (stat(path.c_str(), &before) != 0) {
    contents.error = systemError();
    return contents;
  }
  contents.identity = identity(before);
  contents.fresh = isFresh(*contents.identity);
  if (!S_ISREG(before.st_mode)) {
    contents.error = fileError(kindName(before.st_mode));
    return contents;
  }
  const Qel::Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file || fstat(file.number(), &before) != 0) {
    contents.error = systemError();
    return contents;
  }
  contents.identity = identity(before);
  contents.fresh = isFresh(*contents.identity);
  if (!S_ISREG(before.st_mode)) {
    contents.error = fileError(kindName(before.st_mode));
    return contents;
  }
  const size_t size = std::min(static_cast<size_t>(before.st_size), mostOctets);
  contents.error = readAll(file.number(), size, mostOctets, contents.octets);
  struct stat after {};
  contents.changing = fstat(file.number(), &after) != 0 || !(identity(after) == identity(before));
  return contents;
}

}  // namespace Sources
