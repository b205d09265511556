#include "Figures.h"

#include <cstdio>

#include "mek/TaskScheduler.h"

namespace Soak {

std::vector<std::string> complaints(const Figures& f, bool untimed) {
  std::vector<std::string> found;
  // Emptied, a processor still has the name at which it stopped last, of up to a hundred octets.
  constexpr size_t kNamesKept = 2048;
  if (f.heapEnd > f.heapStart + kNamesKept || f.heapStart > f.heapEnd + kNamesKept) {
    found.push_back("the memory in use has changed");
  }
  if (!untimed && f.longestSlice > Mek::TaskScheduler::kDefaultQuantum + f.longestAcl) {
    found.push_back("a slice took longer than the quantum and one ACL");
  }
  if (f.rowsRequired == 0) found.push_back("no walk was held to any row");
  return found;
}

void print(const Figures& f) {
  const auto count = [](uint64_t number) { return static_cast<unsigned long long>(number); };
  std::printf("time              %.1f s, of it %.1f s of churn\n", f.elapsed, f.churning);
  std::printf("changes           %llu, %.0f a second of churn\n", count(f.changes),
              static_cast<double>(f.changes) / f.churning);
  std::printf("requests          %llu, longest answer %.1f ms as the clients see it\n",
              count(f.requests), f.longestAnswer * 1e3);
  std::printf("columns walked    %llu with %llu rows, %llu of them required\n", count(f.walks),
              count(f.rowsWalked), count(f.rowsRequired));
  std::printf("rests             %llu, %llu values compared\n", count(f.rests),
              count(f.valuesCompared));
  std::printf("longest slice     %.2f ms of %llu; one ACL alone at most %.2f ms\n",
              f.longestSlice * 1e3, count(f.slices), f.longestAcl * 1e3);
  std::printf("memory in use     %zu at the start, %zu at the end, emptied %llu times\n",
              f.heapStart, f.heapEnd, count(f.emptied));
  std::printf("resident          %.1f MB at the start, %.1f MB at the end\n",
              static_cast<double>(f.residentStart) / 1e6, static_cast<double>(f.residentEnd) / 1e6);
  std::printf("names refused     %llu\n", count(f.refusals));
}

}  // namespace Soak
