#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "TraceFile.h"
#include "qel/Trace.h"

namespace {

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream in(path);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

TEST(TraceFile, AppendsOneLineForEachTrace) {
  const auto path = std::filesystem::path(testing::TempDir()) / "aclsnmp-trace-file-test";
  std::filesystem::remove(path);
  const Qel::TraceHandle handle("TraceFileTest");
  for (const char* message : {"first", "second"}) {
    const Daemon::TraceFile file(path.string());
    QEL_TRACE(handle, 0, "Unit", message);
  }
  const std::string content = contentOf(path);
  EXPECT_NE(content.find(" TraceFileTest 0 Unit:"), std::string::npos) << content;
  EXPECT_NE(content.find(": first\n"), std::string::npos) << content;
  EXPECT_TRUE(content.ends_with(": second\n")) << content;
  std::filesystem::remove(path);
}

TEST(TraceFile, AFileThatCannotBeOpenedIsNamed) {
  try {
    const Daemon::TraceFile file("/nowhere/at/all");
    FAIL() << "opened";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(),
                 "trace file '/nowhere/at/all' cannot be opened: No such file or directory");
  }
}

TEST(TraceFile, AFullDiskLosesTracesAndNothingElse) {
  const Qel::TraceHandle handle("TraceFileTest");
  const Daemon::TraceFile file("/dev/full");
  testing::internal::CaptureStderr();
  QEL_TRACE(handle, 0, "Unit", "lost");
  QEL_TRACE(handle, 0, "Unit", "lost as well");
  // Said once, however many traces are lost.
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_EQ(said.find("trace file '/dev/full': traces are lost: No space left on device"),
            said.rfind("trace file '/dev/full': traces are lost: No space left on device"));
  EXPECT_NE(said.find("traces are lost"), std::string::npos) << said;
}
