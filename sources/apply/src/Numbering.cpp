#include "apply/Numbering.h"

#include <absl/hash/hash.h>

#include <algorithm>
#include <deque>
#include <limits>
#include <optional>
#include <unordered_map>

namespace Sources {

namespace {

constexpr uint64_t kGap = 10;
constexpr uint64_t kMaxSequence = std::numeric_limits<uint32_t>::max();

using Place = std::optional<size_t>;

bool isSame(const NumberedRule& a, const NumberedRule& b) {
  return a.handle == b.handle && a.digest == b.digest;
}

/// Where each rule stood before.
std::vector<Place> placesBefore(const std::vector<NumberedRule>& before,
                                const std::vector<NumberedRule>& rules) {
  std::unordered_map<uint64_t, size_t, absl::Hash<uint64_t>> byHandle;
  for (size_t i = 0; i < before.size(); ++i) byHandle.emplace(before[i].handle, i);
  std::vector<Place> places(rules.size());
  std::vector<bool> taken(before.size());
  for (size_t i = 0; i < rules.size(); ++i) {
    const auto found = byHandle.find(rules[i].handle);
    if (found == byHandle.end() || !isSame(before[found->second], rules[i])) continue;
    places[i] = found->second;
    taken[found->second] = true;
  }
  std::unordered_map<uint64_t, std::deque<size_t>, absl::Hash<uint64_t>> byDigest;
  for (size_t i = 0; i < before.size(); ++i) {
    if (!taken[i]) byDigest[before[i].digest].push_back(i);
  }
  for (size_t i = 0; i < rules.size(); ++i) {
    const auto found = places[i] ? byDigest.end() : byDigest.find(rules[i].digest);
    if (found == byDigest.end() || found->second.empty()) continue;
    places[i] = found->second.front();
    found->second.pop_front();
  }
  return places;
}

/// Keeps the most places that are in ascending order and drops the others.
void keepAscending(std::vector<Place>& places) {
  std::vector<size_t> ends;  // by length less one: the rule at which the best such run ends
  std::vector<Place> previous(places.size());
  for (size_t i = 0; i < places.size(); ++i) {
    if (!places[i]) continue;
    const auto end = std::lower_bound(ends.begin(), ends.end(), *places[i],
                                      [&](size_t at, size_t place) { return *places[at] < place; });
    if (end != ends.begin()) previous[i] = *std::prev(end);
    if (end == ends.end()) {
      ends.push_back(i);
    } else {
      *end = i;
    }
  }
  std::vector<bool> kept(places.size());
  for (Place at = ends.empty() ? Place() : ends.back(); at; at = previous[*at]) kept[*at] = true;
  for (size_t i = 0; i < places.size(); ++i) {
    if (!kept[i]) places[i].reset();
  }
}

/// Numbers the rules from `first` to before `last` between `low` and, where there is one, `high`.
bool fill(std::vector<NumberedRule>& rules, size_t first, size_t last, uint64_t low,
          std::optional<uint64_t> high) {
  const uint64_t count = last - first;
  if (!high) {
    const uint64_t start = (low / kGap + 1) * kGap;
    if (start + count * kGap > kMaxSequence) return false;
    for (size_t i = first; i < last; ++i) {
      rules[i].sequence = static_cast<uint32_t>(start + (i - first) * kGap);
    }
    return true;
  }
  if (*high - low <= count) return false;
  for (size_t i = first; i < last; ++i) {
    rules[i].sequence = static_cast<uint32_t>(low + (*high - low) * (i - first + 1) / (count + 1));
  }
  return true;
}

bool fillGaps(std::vector<NumberedRule>& rules, const std::vector<NumberedRule>& before,
              const std::vector<Place>& places) {
  uint64_t low = 0;
  size_t first = 0;
  for (size_t i = 0; i < rules.size(); ++i) {
    if (!places[i]) continue;
    rules[i].sequence = before[*places[i]].sequence;
    if (!fill(rules, first, i, low, rules[i].sequence)) return false;
    low = rules[i].sequence;
    first = i + 1;
  }
  return fill(rules, first, rules.size(), low, std::nullopt);
}

}  // namespace

bool numberRules(const std::vector<NumberedRule>& before, std::vector<NumberedRule>& rules) {
  std::vector<Place> places = placesBefore(before, rules);
  keepAscending(places);
  if (fillGaps(rules, before, places)) return true;
  for (size_t i = 0; i < rules.size(); ++i) {
    rules[i].sequence = static_cast<uint32_t>((i + 1) * kGap);
  }
  return false;
}

}  // namespace Sources
