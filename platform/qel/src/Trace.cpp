#include "qel/Trace.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <map>
#include <vector>

#include "qel/Exception.h"
#include "qel/Strep.h"

namespace Qel {

namespace {

constexpr int kAllLevels = 9;

struct Registry {
  std::vector<TraceHandle*> handles;
  std::map<std::string, int, std::less<>> settings;
  TraceSink sink;
};

Registry& registry() {
  static Registry instance;
  return instance;
}

std::string timeOfDay() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto micros =
      std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count() %
      1000000;
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[64];
  const size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
  std::snprintf(text + length, sizeof text - length, ".%06dZ", static_cast<int>(micros));
  return text;
}

}  // namespace

TraceHandle::TraceHandle(std::string_view name) : name_(name) {
  Registry& all = registry();
  const auto setting = all.settings.find(name_);
  if (setting != all.settings.end()) level_ = setting->second;
  all.handles.push_back(this);
}

TraceHandle::~TraceHandle() { std::erase(registry().handles, this); }

void TraceHandle::emit(int level, const Site& site, std::string_view message) const {
  const TraceRecord record{name_, level, site, message};
  if (registry().sink) {
    registry().sink(record);
  } else {
    std::fprintf(stderr, "%s\n", traceLine(record).c_str());
  }
}

void traceSinkIs(TraceSink sink) { registry().sink = std::move(sink); }

std::string traceLine(const TraceRecord& record) {
  std::ostringstream line;
  line << timeOfDay() << ' ' << record.handle << ' ' << record.level << ' ' << record.site.source
       << ':' << record.site.line << ' ' << record.site.function << ": "
       << printable(record.message);
  return line.str();
}

void traceSettingsIs(std::string_view settings) {
  std::map<std::string, int, std::less<>> parsed;
  while (!settings.empty()) {
    const size_t comma = std::min(settings.find(','), settings.size());
    const std::string_view item = settings.substr(0, comma);
    settings.remove_prefix(std::min(comma + 1, settings.size()));
    const size_t equals = item.find('=');
    int level = kAllLevels;
    bool good = equals != 0 && !item.empty();
    if (good && equals != std::string_view::npos) {
      const std::string_view number = item.substr(equals + 1);
      const auto result = std::from_chars(number.data(), number.data() + number.size(), level);
      good = result.ec == std::errc() && result.ptr == number.data() + number.size() &&
             level >= 0 && level <= kAllLevels;
    }
    if (!good) {
      throw RangeException("trace setting '" + std::string(item) +
                           "': expected NAME=LEVEL with a level from 0 to 9");
    }
    parsed[std::string(item.substr(0, equals))] = level;
  }
  for (const auto& [name, level] : parsed) {
    registry().settings[name] = level;
    for (TraceHandle* handle : registry().handles) {
      if (handle->name() == name) handle->levelIs(level);
    }
  }
}

}  // namespace Qel
