#include "RulesetReader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

namespace Sources::Nftables {

namespace {

using namespace std::chrono_literals;

/// How long changes are collected before they are looked at.
constexpr auto kSettle = 50ms;
/// The rest after a reading, as a multiple of its time: until the next poll, and until the next
/// look at a change.
constexpr int kPollRest = 10;
constexpr int kChangeRest = 2;
constexpr auto kShortestRest = 100ms;
/// A reading is broken off after this time, or after as many times what the last good one took.
constexpr auto kPatience = 3s;
constexpr int kPatienceTimes = 5;
/// The rest when only a change of the ruleset can help.
constexpr auto kGivenUpRest = 1h;
/// Lines that could be said every time: so many in this time.
constexpr auto kQuiet = 10s;
constexpr int kMaxNews = 5;

std::string refusalOf(const std::string& error) {
  const std::string denied = std::strerror(EPERM);
  return error.find(denied) == std::string::npos ? error : denied + "; it takes CAP_NET_ADMIN";
}

}  // namespace

RulesetReader::RulesetReader(double interval)
    : interval_(std::chrono::duration_cast<Clock::duration>(
          std::chrono::duration<double>(std::max(interval, 0.1)))),
      patience_(Clock::duration(kPatience).count()) {}

void RulesetReader::watch() {
  const Clock::rep began = began_;
  if (began != 0 && Clock::now().time_since_epoch().count() - began > patience_) {
    library_.breakOff();
  }
}

Reader::Clock::time_point RulesetReader::due() const {
  return changed_ ? std::min(changeDue_, pollDue_) : pollDue_;
}

// Once a change is known, further ones need no wakening.
int RulesetReader::descriptor() const { return changed_ ? -1 : changes_.descriptor(); }

void RulesetReader::handleReadable() {
  changed_ = true;
  changeDue_ = std::max(changeDue_, Clock::now() + kSettle);
}

std::optional<Outcome> RulesetReader::read(bool, const std::stop_token&) {
  const Clock::time_point start = Clock::now();
  began_ = start.time_since_epoch().count();
  Outcome outcome;
  try {
    outcome = look();
  } catch (const std::bad_alloc&) {
    publication_.lost();
    outcome = refused("not enough memory");
  }
  began_ = 0;
  schedule(Clock::now() - start);
  if (outcome.lines.empty() && std::holds_alternative<std::monostate>(outcome.content)) {
    return std::nullopt;
  }
  return outcome;
}

void RulesetReader::schedule(Clock::duration cost) {
  const Clock::time_point now = Clock::now();
  const auto rest = library_.gaveUp() ? Clock::duration(kGivenUpRest) : cost * kPollRest;
  pollDue_ = now + std::max(interval_, rest);
  changeDue_ = now + std::max<Clock::duration>(kShortestRest, cost * kChangeRest);
}

Outcome RulesetReader::look() {
  const int error = changes_.open();
  if (error != 0) return refused(refusalOf(std::strerror(error)));
  // What changes from here on is told after the reading.
  changes_.drain();
  changed_ = false;
  const Clock::time_point start = Clock::now();
  const auto text = library_.list();
  if (!text) {
    const bool broken = library_.isBroken();
    library_.mend();
    changed_ = broken;
    return refused(broken ? "it changes faster than it can be read" : refusalOf(library_.error()));
  }
  auto read = readRuleset(*text);
  library_.release();
  patience_ = std::max<Clock::duration>(kPatience, (Clock::now() - start) * kPatienceTimes).count();
  if (const auto* why = std::get_if<std::string>(&read)) return refused(*why);
  return publish(std::move(std::get<Ruleset>(read)));
}

Outcome RulesetReader::refused(const std::string& why) {
  if (why == refusal_) return {};
  refusal_ = why;
  return {{}, {{Severity::error, "nftables: the ruleset cannot be read: " + why}}, true};
}

Outcome RulesetReader::publish(Ruleset ruleset) {
  Update update = publication_.next(std::move(ruleset));
  Outcome outcome{{}, std::move(update.lines)};
  resets_ += update.resets;
  const bool again = !refusal_.empty();
  refusal_.clear();
  const Clock::time_point now = Clock::now();
  const bool news = again || update.summary != summary_ || resets_ != 0;
  if (now - newsSince_ >= kQuiet) newsCount_ = 0;
  if (again || (news && newsCount_ < kMaxNews)) {
    if (newsCount_++ == 0) newsSince_ = now;
    summary_ = update.summary;
    std::string line = "nftables: publishing " + update.summary;
    if (resets_ != 0) line += "; counters that began anew: " + std::to_string(resets_);
    resets_ = 0;
    outcome.lines.emplace_back(Severity::info, std::move(line));
  }
  std::visit([&](auto& content) { outcome.content = std::move(content); }, update.content);
  if (const auto* changes = std::get_if<CounterChanges>(&outcome.content)) {
    if (changes->empty()) outcome.content = std::monostate();
  }
  return outcome;
}

}  // namespace Sources::Nftables
