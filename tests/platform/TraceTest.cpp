#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <vector>

#include "qel/Exception.h"
#include "qel/Trace.h"
#include "support/TraceCapture.h"

namespace Tracing {

constexpr int kLine = __LINE__ + 2;
void emitAt(Qel::TraceHandle& handle, int level, const std::string& message) {
  QEL_TRACE(handle, level, "TraceTest", "message " << message << ' ' << level);
}

}  // namespace Tracing

namespace {

using Support::TraceCapture;
using Support::Traced;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::ThrowsMessage;

TEST(Trace, EveryLevelUpToThatOfTheHandleIsEmitted) {
  Qel::TraceHandle handle("EveryLevel");
  const TraceCapture capture("EveryLevel=0");
  for (int handleLevel = 0; handleLevel <= 9; ++handleLevel) {
    handle.levelIs(handleLevel);
    EXPECT_EQ(handle.level(), handleLevel);
    for (int level = 0; level <= 9; ++level) {
      EXPECT_EQ(handle.enabled(level), level <= handleLevel) << level << " of " << handleLevel;
    }
  }
}

TEST(Trace, StartsAtLevelZero) {
  Qel::TraceHandle handle("StartsAtLevelZero");
  const TraceCapture capture("Unrelated=9");
  Tracing::emitAt(handle, 1, "routine");
  Tracing::emitAt(handle, 0, "wrong");
  EXPECT_THAT(capture.traced(), ElementsAre(Traced{"StartsAtLevelZero", 0, "message wrong 0"}));
}

TEST(Trace, CarriesHandleLevelSiteAndMessage) {
  Qel::TraceHandle handle("Carries");
  std::vector<int> lines;
  const TraceCapture capture("Carries=8");
  Tracing::emitAt(handle, 8, "a\nb");
  EXPECT_THAT(capture.traced(), ElementsAre(Traced{"Carries", 8, "message a\nb 8"}));
  EXPECT_THAT(capture.sources(), ElementsAre("TraceTest"));
  ASSERT_EQ(capture.functions().size(), 1U);
  EXPECT_THAT(capture.functions()[0],
              MatchesRegex("void Tracing::emitAt\\(Qel::TraceHandle ?&, int, const .*string.*\\)"));
}

struct Formatted {
  int* times;
  friend std::ostream& operator<<(std::ostream& out, const Formatted& f) {
    ++*f.times;
    return out << "formatted";
  }
};

TEST(Trace, TheMessageIsPutTogetherOnlyWhenTheLevelIsOn) {
  Qel::TraceHandle handle("OnlyWhenOn");
  const TraceCapture capture("OnlyWhenOn=4");
  int times = 0;
  QEL_TRACE(handle, 5, "TraceTest", Formatted{&times});
  EXPECT_EQ(times, 0);
  QEL_TRACE(handle, 4, "TraceTest", Formatted{&times});
  EXPECT_EQ(times, 1);
  EXPECT_THAT(capture.messages(), ElementsAre("formatted"));
}

TEST(TraceSettings, SetTheLevelsOfHandlesThatExist) {
  Qel::TraceHandle one("SettingsOne");
  Qel::TraceHandle two("SettingsTwo");
  Qel::TraceHandle twin("SettingsTwo");
  Qel::TraceHandle other("SettingsOther");
  Qel::traceSettingsIs("SettingsOne=2,SettingsTwo");
  EXPECT_EQ(one.level(), 2);
  EXPECT_EQ(two.level(), 9);
  EXPECT_EQ(twin.level(), 9);
  EXPECT_EQ(other.level(), 0);
  Qel::traceSettingsIs("SettingsTwo=0");
  EXPECT_EQ(one.level(), 2);
  EXPECT_EQ(two.level(), 0);
  Qel::traceSettingsIs("");
  EXPECT_EQ(one.level(), 2);
}

TEST(TraceSettings, CountForHandlesThatComeLater) {
  Qel::traceSettingsIs("ComesLater=7");
  {
    const Qel::TraceHandle first("ComesLater");
    EXPECT_EQ(first.level(), 7);
  }
  const Qel::TraceHandle second("ComesLater");
  EXPECT_EQ(second.level(), 7);
  EXPECT_EQ(Qel::TraceHandle("ComesLate").level(), 0);
}

TEST(TraceSettings, TheLastOfOneNameCounts) {
  const Qel::TraceHandle handle("LastCounts");
  Qel::traceSettingsIs("LastCounts=3,LastCounts=5");
  EXPECT_EQ(handle.level(), 5);
}

TEST(TraceSettings, ABadTextThrowsAndSetsNothing) {
  const Qel::TraceHandle handle("BadText");
  struct Case {
    const char* settings;
    const char* item;
  };
  const std::vector<Case> cases = {
      {"BadText=3,=2", "=2"},
      {"BadText=3,,Other=1", ""},
      {",BadText=3", ""},
      {"BadText=3,BadText=", "BadText="},
      {"BadText=10", "BadText=10"},
      {"BadText=-1", "BadText=-1"},
      {"BadText=+1", "BadText=+1"},
      {"BadText= 1", "BadText= 1"},
      {"BadText=1 ", "BadText=1 "},
      {"BadText=x", "BadText=x"},
      {"BadText=1=2", "BadText=1=2"},
      {"BadText=99999999999999999999", "BadText=99999999999999999999"},
  };
  for (const Case& c : cases) {
    EXPECT_THAT(
        [&c] { Qel::traceSettingsIs(c.settings); },
        ThrowsMessage<Qel::RangeException>("trace setting '" + std::string(c.item) +
                                           "': expected NAME=LEVEL with a level from 0 to 9"))
        << c.settings;
    EXPECT_EQ(handle.level(), 0) << c.settings;
    EXPECT_EQ(Qel::TraceHandle("BadText").level(), 0) << c.settings;
  }
}

constexpr char kTime[] = "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}Z ";

TEST(TraceLine, HoldsEveryPartInOneLine) {
  EXPECT_THAT(Qel::traceLine({"Snmp", 8, {"Unit", 12, "void f()"}, "table 'a' | b"}),
              MatchesRegex(std::string(kTime) + "Snmp 8 Unit:12 void f\\(\\): table 'a' \\| b"));
}

TEST(TraceLine, TellsTheTimeInUtcWhateverTheZone) {
  setenv("TZ", "XST-3", 1);  // no other test minds
  tzset();
  const std::time_t earliest = std::time(nullptr);
  const std::string line = Qel::traceLine({"h", 0, {"s", 1, "f"}, ""});
  const std::time_t latest = std::time(nullptr);
  std::tm utc{};
  ASSERT_NE(strptime(line.c_str(), "%Y-%m-%dT%H:%M:%S", &utc), nullptr);
  EXPECT_GE(timegm(&utc), earliest);
  EXPECT_LE(timegm(&utc), latest);
}

TEST(TraceLine, EscapesEveryOctetThatDoesNotPrint) {
  std::string message;
  std::string expected;
  for (int octet = 0; octet < 256; ++octet) {
    message += static_cast<char>(octet);
    if (octet >= 0x20 && octet <= 0x7e) {
      expected += static_cast<char>(octet);
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02x", octet);
      expected += escaped;
    }
  }
  const std::string line = Qel::traceLine({"h", 0, {"s", 1, "f"}, message});
  EXPECT_EQ(line.substr(line.find("f: ") + 3), expected);
}

TEST(TraceSink, TheDefaultWritesALineToStandardError) {
  Qel::TraceHandle handle("DefaultSink");
  testing::internal::CaptureStderr();
  Tracing::emitAt(handle, 0, "one\ntwo");
  Tracing::emitAt(handle, 1, "never");
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              MatchesRegex(std::string(kTime) +
                           "DefaultSink 0 TraceTest:" + std::to_string(Tracing::kLine) +
                           " void Tracing::emitAt\\(.*\\): message one\\\\x0atwo 0\n"));
}

TEST(TraceSink, AnEmptyOneRestoresTheDefault) {
  Qel::TraceHandle handle("Restored");
  std::vector<std::string> seen;
  testing::internal::CaptureStderr();
  Qel::traceSinkIs([&seen](const Qel::TraceRecord& r) { seen.emplace_back(r.message); });
  Tracing::emitAt(handle, 0, "to the sink");
  EXPECT_THAT(testing::internal::GetCapturedStderr(), IsEmpty());
  EXPECT_THAT(seen, ElementsAre("message to the sink 0"));
  testing::internal::CaptureStderr();
  Qel::traceSinkIs({});
  Tracing::emitAt(handle, 0, "by default");
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("message by default 0\n"));
  EXPECT_EQ(seen.size(), 1U);
}

}  // namespace
