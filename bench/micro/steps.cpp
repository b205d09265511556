// aclsnmp-bench-steps STEP COUNT: does one thing COUNT times, for a tool that counts instructions.
// Two runs of different length differ by the steps alone.

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "Chain.h"

int main(int argc, char** argv) {
  const std::string_view step = argc == 3 ? argv[1] : "";
  const size_t count = argc == 3 ? std::strtoul(argv[2], nullptr, 10) : 0;
  if (step == "backlog") {
    Bench::Backlog backlog;
    constexpr size_t kBatch = 100;
    for (size_t done = 0; done < count; done += kBatch) {
      backlog.insert(kBatch);
      backlog.drain();
    }
  } else if (step == "replace") {
    Bench::Chain chain({100, 10});
    for (size_t done = 0; done < count; ++done) {
      chain.replaceFirst();
      chain.drain();
    }
  } else {
    std::fprintf(stderr, "usage: aclsnmp-bench-steps backlog|replace COUNT\n");
    return 2;
  }
  return 0;
}
