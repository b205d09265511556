#include "LineLimit.h"

#include <algorithm>
#include <cctype>

namespace Snmp {

namespace {

constexpr size_t kKeyOctets = 64;
constexpr const char* kOthers = "*";

std::string keyOf(std::string_view line) {
  constexpr std::string_view kOpening = "[(<'\"";
  constexpr std::string_view kClosing = "])>'\"";
  std::string key;
  std::string word;
  const auto isDigit = [](unsigned char c) { return std::isdigit(c) != 0; };
  const auto endWord = [&] {
    if (std::none_of(word.begin(), word.end(), isDigit)) key += word;
    word.clear();
  };
  for (size_t place = 0; place < line.size() && key.size() < kKeyOctets; ++place) {
    if (std::isalnum(static_cast<unsigned char>(line[place])) != 0) {
      word += line[place];
      continue;
    }
    endWord();
    const size_t bracket = kOpening.find(line[place]);
    if (bracket == std::string_view::npos) continue;
    const size_t end = line.find(kClosing[bracket], place + 1);
    if (end != std::string_view::npos) place = end;
  }
  endWord();
  key.resize(std::min(key.size(), kKeyOctets));
  return key;
}

}  // namespace

LineLimit::Kind& LineLimit::kindOf(std::string_view line) {
  std::string key = keyOf(line);
  const auto found = kinds_.find(key);
  if (found != kinds_.end()) return found->second;
  if (kinds_.size() >= kKinds) {
    const Qel::Seconds now = Qel::now();
    std::erase_if(kinds_, [now](const auto& entry) {
      const Kind& kind = entry.second;
      return kind.heldBack == 0 && now - kind.written[(kind.count - 1) % kLines] >= kPeriod;
    });
  }
  if (kinds_.size() >= kKinds) key = kOthers;
  return kinds_[key];
}

bool LineLimit::admits(std::string_view line) {
  const Qel::Seconds now = Qel::now();
  Kind& kind = kindOf(line);
  Qel::Seconds& oldest = kind.written[kind.count % kLines];
  if (kind.count < kLines || now - oldest >= kPeriod) {
    oldest = now;
    ++kind.count;
    return true;
  }
  if (kind.heldBack++ == 0) kind.since = now;
  kind.last = line;
  return false;
}

void LineLimit::tellHeldBack(const std::function<void(const std::string&)>& tell, bool all) {
  const Qel::Seconds now = Qel::now();
  for (auto& [key, kind] : kinds_) {
    if (kind.heldBack == 0 || (!all && now - kind.since < kPeriod)) continue;
    tell("and " + std::to_string(kind.heldBack) + " more such lines, the last: " + kind.last);
    kind.heldBack = 0;
  }
}

std::optional<Qel::Seconds> LineLimit::timeToNext() const {
  std::optional<Qel::Seconds> next;
  for (const auto& [key, kind] : kinds_) {
    if (kind.heldBack == 0) continue;
    const Qel::Seconds left = std::max(0.0, kind.since + kPeriod - Qel::now());
    next = std::min(left, next.value_or(left));
  }
  return next;
}

}  // namespace Snmp
