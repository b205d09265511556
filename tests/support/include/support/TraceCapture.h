#pragma once

/// Collects the traces that are emitted during its lifetime, with the levels of the handles set as
/// asked and put back to 0 afterwards.

#include <algorithm>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "qel/Trace.h"

namespace Support {

struct Traced {
  std::string handle;
  int level;
  std::string message;
  friend bool operator==(const Traced&, const Traced&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Traced& t) {
    return out << t.handle << " " << t.level << " \"" << t.message << "\"";
  }
};

class TraceCapture {
 public:
  /// `settings` as in `Qel::traceSettingsIs`, for example "Snmp=8".
  explicit TraceCapture(const std::string& settings) {
    Qel::traceSettingsIs(settings);
    size_t start = 0;
    while (start < settings.size()) {
      const size_t comma = std::min(settings.find(',', start), settings.size());
      const std::string item = settings.substr(start, comma - start);
      reset_ += (reset_.empty() ? "" : ",") + item.substr(0, item.find('=')) + "=0";
      start = comma + 1;
    }
    Qel::traceSinkIs([this](const Qel::TraceRecord& record) {
      traced_.push_back({std::string(record.handle), record.level, std::string(record.message)});
      sources_.emplace_back(record.site.source);
      functions_.emplace_back(record.site.function);
      if (action) action(traced_.back().message);
    });
  }
  ~TraceCapture() {
    Qel::traceSinkIs({});
    Qel::traceSettingsIs(reset_);
  }
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;

  /// What a test does at the moment of a trace, with its message. May not throw.
  std::function<void(const std::string&)> action;

  const std::vector<Traced>& traced() const { return traced_; }
  const std::vector<std::string>& sources() const { return sources_; }
  const std::vector<std::string>& functions() const { return functions_; }
  std::vector<std::string> messages() const {
    std::vector<std::string> texts;
    for (const Traced& t : traced_) texts.push_back(t.message);
    return texts;
  }
  void clear() {
    traced_.clear();
    sources_.clear();
    functions_.clear();
  }

 private:
  std::string reset_;
  std::vector<Traced> traced_;
  std::vector<std::string> sources_;
  std::vector<std::string> functions_;
};

}  // namespace Support
