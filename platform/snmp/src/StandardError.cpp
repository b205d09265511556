#include "StandardError.h"

#include <fcntl.h>
#include <linux/limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Snmp {

void StandardError::write(std::string_view line) {
  if (lost_ > 0) {
    if (!tryToWrite(std::to_string(lost_) + " lines of this log were lost: nobody read them")) {
      ++lost_;
      return;
    }
    lost_ = 0;
  }
  if (!tryToWrite(std::string(line))) ++lost_;
}

bool StandardError::tryToWrite(std::string line) {
  // A pipe takes so much as a whole or not at all.
  constexpr size_t kMost = PIPE_BUF - 1;
  if (line.size() > kMost) line.replace(kMost - 3, std::string::npos, "...");
  line += '\n';
  struct stat status {};
  if (::fstat(STDERR_FILENO, &status) != 0) return false;
  ssize_t written = 0;
  if (S_ISSOCK(status.st_mode)) {
    written = ::send(STDERR_FILENO, line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  } else if (S_ISREG(status.st_mode)) {
    written = ::write(STDERR_FILENO, line.data(), line.size());
  } else {
    if (status.st_dev != device_ || status.st_ino != file_) reopen(status);
    pollfd room{STDERR_FILENO, POLLOUT, 0};
    if (!own_ && (::poll(&room, 1, 0) <= 0 || (room.revents & POLLOUT) == 0)) {
      return false;
    }
    written = ::write(own_ ? own_.number() : STDERR_FILENO, line.data(), line.size());
  }
  return written == static_cast<ssize_t>(line.size());
}

void StandardError::reopen(const struct stat& status) {
  own_ = Qel::Descriptor(::open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  device_ = status.st_dev;
  file_ = status.st_ino;
}

}  // namespace Snmp
