#include "FileReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "qel/Descriptor.h"

namespace Sources::OpenConfig {

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

DocumentError fileError(std::string found) {
  return {0, 0, "", std::move(found), "a regular file that can be read"};
}

DocumentError systemError() {
  return fileError(errno == ENOENT ? "no file" : std::string(std::strerror(errno)));
}

bool isFresh(const FileIdentity& identity) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec * kSecond + now.tv_nsec - identity.modified < kFresh;
}

/// All octets of an open file, one more than `most` at the most.
std::variant<std::string, DocumentError> readAll(int descriptor, size_t expected, size_t most) {
  constexpr size_t kStep = 1 << 16;
  std::string octets;
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
  if (filled > most) {
    return DocumentError{0, 0, "", "more than " + std::to_string(most) + " octets",
                         "a smaller document"};
  }
  return octets;
}

}  // namespace

std::optional<FileIdentity> identityOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return identity(status);
}

FileContents readFile(const std::string& path, const Limits& limits) {
  FileContents contents;
  struct stat before {};
  // Opening a device may act on it, so the kind is looked at first.
  if (stat(path.c_str(), &before) != 0) {
    contents.octets = systemError();
    return contents;
  }
  contents.identity = identity(before);
  contents.fresh = isFresh(*contents.identity);
  if (!S_ISREG(before.st_mode)) {
    contents.octets = fileError(kindName(before.st_mode));
    return contents;
  }
  const Qel::Descriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file || fstat(file.number(), &before) != 0) {
    contents.octets = systemError();
    return contents;
  }
  contents.identity = identity(before);
  contents.fresh = isFresh(*contents.identity);
  if (!S_ISREG(before.st_mode)) {
    contents.octets = fileError(kindName(before.st_mode));
    return contents;
  }
  const size_t size = std::min(static_cast<size_t>(before.st_size), limits.octets);
  contents.octets = readAll(file.number(), size, limits.octets);
  struct stat after {};
  contents.changing = fstat(file.number(), &after) != 0 || !(identity(after) == identity(before));
  return contents;
}

}  // namespace Sources::OpenConfig
