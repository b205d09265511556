#pragma once

/// The exceptions by which the framework reports misuse and bad values. None of them may cross a C
/// callback.

#include <stdexcept>
#include <string>

namespace Qel {

class Exception : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A value outside what its type, attribute or operation takes.
class RangeException : public Exception {
 public:
  using Exception::Exception;
};

/// A key or name that is taken by something different from what was asked for.
class NameInUseException : public Exception {
 public:
  using Exception::Exception;
};

/// A text that does not follow the form that its reader requires.
class SyntaxException : public Exception {
 public:
  using Exception::Exception;
};

/// Throws a range exception that says in which attribute the given one arose.
[[noreturn]] inline void rethrowInAttribute(const RangeException& exception,
                                            const char* attribute) {
  throw RangeException(std::string("in attribute '") + attribute + "': " + exception.what());
}

}  // namespace Qel
