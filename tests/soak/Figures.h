#pragma once

/// What a soak did and measured.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Soak {

/// What a run did and measured; seconds and octets.
struct Figures {
  double elapsed = 0;
  uint64_t changes = 0;
  double churning = 0;
  uint64_t requests = 0;
  double longestAnswer = 0;
  uint64_t walks = 0;
  uint64_t rowsWalked = 0;
  uint64_t rowsRequired = 0;
  uint64_t rests = 0;
  uint64_t valuesCompared = 0;
  uint64_t slices = 0;
  double longestSlice = 0;
  double longestAcl = 0;
  uint64_t emptied = 0;
  size_t heapStart = 0;
  size_t heapEnd = 0;
  size_t residentStart = 0;
  size_t residentEnd = 0;
  uint64_t refusals = 0;
};

/// What is wrong with them; empty when nothing is.
std::vector<std::string> complaints(const Figures& figures, bool untimed);
void print(const Figures& figures);

}  // namespace Soak
