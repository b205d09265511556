#pragma once

/// Fatal assertions, active in every build type.
///
/// A violated invariant is a defect of this process, never of its input: the given text, the source
/// unit, the line and the function are written to standard error and the process aborts.

namespace Qel {

/// Where a trace or an assertion stands. `source` is the name of the source unit, not a path.
struct Site {
  const char* source;
  int line;
  const char* function;
};

[[noreturn]] void assertionFailed(const char* text, const Site& site);

}  // namespace Qel

#define QEL_SITE(source) \
  ::Qel::Site { source, __LINE__, __PRETTY_FUNCTION__ }

/// Aborts with `text` unless `condition` holds.
#define QEL_ASSERT_TEXT(condition, text, source)      \
  do {                                                \
    if (!(condition)) {                               \
      ::Qel::assertionFailed(text, QEL_SITE(source)); \
    }                                                 \
  } while (false)

/// Aborts with the violated expression as the text unless it holds.
#define QEL_ASSERT(condition, source) QEL_ASSERT_TEXT(condition, #condition, source)
