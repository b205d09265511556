#pragma once

/// What a source's own thread takes: signals kept away from it, and a descriptor by which it wakes
/// the event thread.

#include <csignal>

namespace Sources {

/// A non-blocking eventfd, the caller's to close. Throws `std::system_error` where none is left.
int newEventDescriptor();

/// Keeps signals away from threads that are made during its lifetime: they are for the event
/// thread.
class SignalsBlocked {
 public:
  SignalsBlocked();
  ~SignalsBlocked();
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

}  // namespace Sources
