#include <gtest/gtest.h>
#include <net-snmp/net-snmp-config.h>
// After the configuration: it needs its types.
#include <net-snmp/net-snmp-includes.h>

#include <string>

#include "snmp/Agent.h"

namespace {

TEST(Log, ATextStaysOneLineWhateverItHolds) {
  snmp_enable_stderrlog();
  testing::internal::CaptureStderr();
  Snmp::log(Snmp::LogLevel::error, "refused 'a\nforged line\x7f'");
  const std::string written = testing::internal::GetCapturedStderr();
  snmp_disable_stderrlog();
  EXPECT_EQ(written, "refused 'a\\x0aforged line\\x7f'\n");
}

}  // namespace
