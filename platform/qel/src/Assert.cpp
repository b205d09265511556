#include "qel/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace Qel {

void assertionFailed(const char* text, const Site& site) {
  std::fprintf(stderr, "%s:%d: %s: Assertion '%s' failed.\n", site.source, site.line, site.function,
               text);
  std::fflush(stderr);
  std::abort();
}

}  // namespace Qel
