#pragma once

/// What a fuzz target says when something that must hold does not: one line, and the end.

#include <cstdio>
#include <cstdlib>
#include <string>

namespace Fuzz {

[[noreturn]] inline void broken(const std::string& what) {
  std::fprintf(stderr, "broken: %s\n", what.c_str());
  std::abort();
}

inline void require(bool holds, const char* what) {
  if (!holds) broken(what);
}

}  // namespace Fuzz
