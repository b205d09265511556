#include "sources/Thread.h"

#include <pthread.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>

namespace Sources {

int newEventDescriptor() {
  const int descriptor = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
  return descriptor;
}

SignalsBlocked::SignalsBlocked() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before_);
}

SignalsBlocked::~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

}  // namespace Sources
