#include "Loop.h"

#include <fcntl.h>
#include <malloc.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>

namespace Daemon {

namespace {

sigset_t handledSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&set, signal);
  return set;
}

}  // namespace

Signals::Signals() {
  const sigset_t set = handledSignals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  descriptor_ = Qel::Descriptor(signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC));
  if (!descriptor_) throw std::runtime_error(std::string("signalfd: ") + std::strerror(errno));
}

int Signals::next() const {
  signalfd_siginfo info{};
  return ::read(descriptor_.number(), &info, sizeof info) == sizeof info
             ? static_cast<int>(info.ssi_signo)
             : 0;
}

void openStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    // The lowest free one is opened.
    if (::fcntl(descriptor, F_GETFD) < 0) ::open("/dev/null", O_RDWR);
  }
}

void keepHeapEven() { mallopt(M_MXFAST, 0); }

// How long other work goes on before the next look for packets, which costs some ten microseconds.
// A piece of work that has begun is finished first: a request waits for both.
constexpr Qel::Seconds kSlice = 0.001;

void runLoop(Snmp::Agent& agent, Mek::TaskScheduler& scheduler, const Signals& signals,
             const std::vector<std::unique_ptr<Sources::Source>>& sources) {
  std::map<int, Sources::Source*> owners;
  std::vector<int> watched = {signals.descriptor()};
  for (const auto& source : sources) {
    for (const int descriptor : source->descriptors()) {
      owners[descriptor] = source.get();
      watched.push_back(descriptor);
    }
  }
  bool running = true;
  const auto handleSignals = [&] {
    bool reload = false;
    while (const int signal = signals.next()) {
      if (signal == SIGHUP) {
        reload = true;
      } else {
        running = false;
      }
    }
    if (!reload) return;
    Snmp::log(Qel::Severity::info, "SIGHUP: reading the ACLs anew");
    for (const auto& source : sources) source->reload();
  };
  const auto handleReadable = [&](int descriptor) {
    if (descriptor == signals.descriptor()) {
      handleSignals();
    } else {
      owners.at(descriptor)->handleReadable(descriptor);
    }
  };
  while (running) {
    agent.serve(scheduler.timeToNext(), watched, handleReadable);
    if (running) scheduler.runFor(kSlice);
  }
}

}  // namespace Daemon
