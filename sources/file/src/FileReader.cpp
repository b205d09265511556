#include "FileReader.h"

#include <algorithm>
#include <functional>
#include <new>
#include <string_view>

#include "snapshot/Text.h"

namespace Sources {

namespace {

Outcome refused(std::string line) { return {{}, {{Severity::error, std::move(line)}}, true}; }

}  // namespace

std::optional<Outcome> FileReader::read(bool forced, const std::stop_token& stop) {
  due_ = Clock::time_point::max();
  std::optional<Outcome> outcome;
  try {
    arm();
    outcome = look(forced, stop);
    rest_ = {};
  } catch (const std::bad_alloc&) {
    constexpr std::chrono::seconds kShortest{1};
    constexpr std::chrono::seconds kLongest{64};
    const bool again = rest_ != std::chrono::seconds{};
    rest_ = std::clamp(2 * rest_, kShortest, kLongest);
    due_ = Clock::now() + rest_;
    looked_ = false;
    if (again) return std::nullopt;
    outcome = refused(path_ + ": found too little memory to read it; trying again");
  }
  if (outcome) failed_ = outcome->failed;
  // Nothing is told before there is something to tell of the file itself.
  if (!watchUntold_ || (!outcome && !looked_)) return outcome;
  if (!outcome) outcome = Outcome{{}, {}, failed_};
  outcome->lines.emplace(
      outcome->lines.begin(), Severity::warning,
      path_ + ": cannot be watched; changes are read when a reload is asked for");
  watchUntold_ = false;
  return outcome;
}

void FileReader::arm() {
  const bool watched = watch_.arm();
  watchUntold_ = !watched && (watchUntold_ || !watchFailed_);
  watchFailed_ = !watched;
}

std::optional<Outcome> FileReader::look(bool forced, const std::stop_token& stop) {
  if (!forced && looked_ && readable_ && !fresh_ && identityOf(path_) == identity_) {
    return std::nullopt;
  }
  const FileContents contents = readFile(path_, format_.mostOctets);
  if (contents.changing) {
    due_ = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                              std::chrono::duration<double>(FileSource::kQuiet));
    return std::nullopt;
  }
  const bool same = looked_ && !forced && contents.identity == identity_;
  looked_ = true;
  identity_ = contents.identity;
  fresh_ = contents.fresh;
  if (!contents.error.empty()) {
    readable_ = false;
    if (same && contents.error == refusal_) return std::nullopt;
    refusal_ = contents.error;
    return refused(path_ + ": " + refusal_);
  }
  const size_t hash = std::hash<std::string_view>()(contents.octets);
  const bool known = same && readable_ && hash == hash_;
  readable_ = true;
  hash_ = hash;
  refusal_.clear();
  if (known) return std::nullopt;
  auto parsed = format_.parse(contents.octets, path_, stop);
  if (auto* line = std::get_if<std::string>(&parsed)) return refused(std::move(*line));
  auto& snapshot = std::get<Snapshot>(parsed);
  std::string line = path_ + ": loaded " + summaryOf(snapshot);
  return Outcome{std::move(snapshot), {{Severity::info, std::move(line)}}};
}

}  // namespace Sources
