#include "file/FileSource.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>

#include "../formats/Documents.h"

/// In place of that of the system, for the whole program: a link under this directory is followed
/// only once that is allowed.
namespace {
struct SilentDirectory {
  std::string path;
  std::promise<void> reached;
  std::promise<void> answers;
};
std::atomic<SilentDirectory*> silent = nullptr;
}  // namespace

extern "C" ssize_t readlink(const char* path, char* target, size_t size) noexcept {
  if (SilentDirectory* found = silent; found != nullptr && found->path == path) {
    silent = nullptr;
    found->reached.set_value();
    found->answers.get_future().wait();
  }
  return readlinkat(AT_FDCWD, path, target, size);
}

namespace Sources {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

using OpenConfig::documentOf;
using OpenConfig::entryOf;
using OpenConfig::Limits;
using OpenConfig::setOf;

FileFormat documents(const Limits& limits = {}) {
  return {[limits](std::string_view text, const std::string& path, const std::stop_token& stop) {
            return OpenConfig::parseFile(text, path, limits, stop);
          },
          limits.octets};
}

std::string documentWith(const std::string& name) {
  return documentOf(R"({"name":")" + name + R"(","type":"ACL_L2"})");
}

class FileSourceTest : public testing::Test {
 protected:
  FileSourceTest() {
    std::string pattern = (fs::temp_directory_path() / "acl-source-XXXXXX").string();
    dir_ = mkdtemp(pattern.data());
    path_ = (dir_ / "acls.json").string();
  }
  ~FileSourceTest() override {
    source_ = nullptr;
    fs::remove_all(dir_);
  }

  static void write(const fs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
  }
  void start(const Limits& limits = {}) {
    source_ = std::make_unique<FileSource>(mount_, "file", path_, documents(limits));
    source_->start();
  }
  /// Passes on what the descriptors report and runs the scheduler, the clock moving on by more than
  /// the quiet time whenever nothing is reported, until `done` or for 10 s.
  template <class Done>
  bool follow(Done&& done) {
    for (int idle = 0; idle < 1000;) {
      if (done()) return true;
      if (!pump(10)) {
        ++idle;
        clock_.advance(2 * FileSource::kQuiet);
      }
    }
    return false;
  }
  bool pump(int milliseconds) {
    std::vector<pollfd> polled;
    for (const int descriptor : source_->descriptors()) polled.push_back({descriptor, POLLIN, 0});
    const bool ready = poll(polled.data(), polled.size(), milliseconds) > 0;
    for (const pollfd& p : polled) {
      if (p.revents != 0) source_->handleReadable(p.fd);
    }
    while (mount_.scheduler->runNext()) {
    }
    return ready;
  }
  bool serves(const std::string& name) const {
    const auto config = Qel::ptrCast<Acl::Input::Config>(mount_.inputDir->entity("file"));
    const auto acls = config->typeConfig(Acl::AclType::mac);
    return acls->acl().size() == 1 && acls->acl(Qel::Name(Qel::String8(name)));
  }
  bool followTo(const std::string& name) {
    return follow([&] { return serves(name); });
  }
  bool followToLines(size_t count) {
    return follow([&] { return lines_.size() >= count; });
  }
  /// Follows until the file was looked at twice without a further outcome.
  void expectQuiet() {
    const size_t before = lines_.size();
    for (int i = 0; i < 5; ++i) {
      pump(5);
      clock_.advance(2 * FileSource::kQuiet);
    }
    EXPECT_EQ(lines_.size(), before) << lines_.back();
  }

  Qel::ManualClock clock_{1};
  std::vector<std::string> lines_;
  Mount mount_{Qel::make<Qel::Dir>("input"), Qel::make<Qel::Dir>("status"),
               Qel::make<Mek::TaskScheduler>(), [this](Severity severity, const std::string& line) {
                 const char* prefix = severity == Severity::error     ? "error "
                                      : severity == Severity::warning ? "warning "
                                                                      : "info ";
                 lines_.push_back(prefix + line);
               }};
  fs::path dir_;
  std::string path_;
  std::unique_ptr<FileSource> source_;
};

TEST_F(FileSourceTest, LoadsTheFileAtStart) {
  write(path_, documentOf(setOf("ACL_L2", entryOf(R"("config":{"description":"r"})"))));
  start();
  EXPECT_EQ(source_->name(), "file");
  EXPECT_EQ(source_->descriptors().size(), 3U);
  ASSERT_TRUE(followTo("a"));
  EXPECT_THAT(lines_, ElementsAre("info " + path_ + ": loaded 1 ACL, 1 rule, 1 remark"));
}

TEST_F(FileSourceTest, FileSystemThatDoesNotAnswerKeepsNobodyElseWaiting) {
  write(path_, documentWith("a"));
  SilentDirectory directory{path_, {}, {}};
  silent = &directory;
  start();
  directory.reached.get_future().wait();
  // Changes are reported meanwhile; they are looked at once the path can be followed.
  write(path_, documentWith("b"));
  for (int i = 0; i < 5; ++i) {
    pump(5);
    clock_.advance(2 * FileSource::kQuiet);
  }
  EXPECT_EQ(source_->progress(), Progress::reading);
  EXPECT_THAT(lines_, IsEmpty());
  directory.answers.set_value();
  EXPECT_TRUE(followTo("b"));
}

TEST_F(FileSourceTest, MissingFileIsOneErrorAndIsReadWhenItComes) {
  start();
  ASSERT_TRUE(followToLines(1));
  EXPECT_EQ(lines_[0],
            "error " + path_ + ": found no file, expected a regular file that can be read");
  write(dir_ / "other", "x");
  expectQuiet();
  write(path_, documentWith("a"));
  EXPECT_TRUE(followTo("a"));
}

TEST_F(FileSourceTest, ProgressIsThatOfTheLastReading) {
  const auto followTo = [this](Progress progress) {
    return follow([&] { return source_->progress() == progress; });
  };
  start();
  EXPECT_EQ(source_->progress(), Progress::reading);
  EXPECT_TRUE(followTo(Progress::failed));
  write(path_, documentWith("a"));
  EXPECT_TRUE(followTo(Progress::published));
  EXPECT_TRUE(serves("a"));
  write(path_, "{");
  EXPECT_TRUE(followTo(Progress::failed));
  EXPECT_TRUE(serves("a"));
}

TEST_F(FileSourceTest, IsNotPublishedBeforeTheLastAclIs) {
  write(path_, documentOf(R"({"name":"a","type":"ACL_L2"},{"name":"b","type":"ACL_L2"})"));
  start();
  // Handed over, but not a single task has run.
  const int descriptor = source_->descriptors().back();
  pollfd polled{descriptor, POLLIN, 0};
  while (lines_.empty() && poll(&polled, 1, 10000) > 0) source_->handleReadable(descriptor);
  ASSERT_EQ(lines_.size(), 1U);
  EXPECT_EQ(source_->progress(), Progress::reading);
  while (mount_.scheduler->runNext()) {
  }
  EXPECT_EQ(source_->progress(), Progress::published);
}

TEST_F(FileSourceTest, FollowsTruncateAndWrite) {
  write(path_, documentWith("a"));
  start();
  ASSERT_TRUE(followTo("a"));
  write(path_, documentWith("longer"));
  EXPECT_TRUE(followTo("longer"));
}

TEST_F(FileSourceTest, FollowsAtomicRename) {
  write(path_, documentWith("a"));
  start();
  ASSERT_TRUE(followTo("a"));
  write(dir_ / "new", documentWith("b"));
  fs::rename(dir_ / "new", path_);
  EXPECT_TRUE(followTo("b"));
}

TEST_F(FileSourceTest, FollowsEditorsThatMoveTheOldFileAway) {
  write(path_, documentWith("a"));
  start();
  ASSERT_TRUE(followTo("a"));
  fs::rename(path_, path_ + "~");
  write(path_, documentWith("b"));
  EXPECT_TRUE(followTo("b"));
}

TEST_F(FileSourceTest, FollowsASwappedLink) {
  write(dir_ / "one", documentWith("a"));
  write(dir_ / "two", documentWith("b"));
  fs::create_symlink("one", path_);
  start();
  ASSERT_TRUE(followTo("a"));
  fs::create_symlink("two", dir_ / "link");
  fs::rename(dir_ / "link", path_);
  ASSERT_TRUE(followTo("b"));
  write(dir_ / "two", documentWith("through"));
  EXPECT_TRUE(followTo("through"));
}

TEST_F(FileSourceTest, FollowsASwappedDirectoryLink) {
  fs::create_directories(dir_ / "v1");
  fs::create_directories(dir_ / "v2");
  write(dir_ / "v1" / "acls.json", documentWith("a"));
  write(dir_ / "v2" / "acls.json", documentWith("b"));
  fs::create_directory_symlink("v1", dir_ / "data");
  fs::create_symlink("data/acls.json", path_);
  start();
  ASSERT_TRUE(followTo("a"));
  fs::create_directory_symlink("v2", dir_ / "data2");
  fs::rename(dir_ / "data2", dir_ / "data");
  EXPECT_TRUE(followTo("b"));
}

TEST_F(FileSourceTest, FollowsTheTargetInAnotherDirectory) {
  fs::create_directory(dir_ / "real");
  write(dir_ / "real" / "file", documentWith("a"));
  fs::create_symlink(dir_ / "real" / "file", path_);
  start();
  ASSERT_TRUE(followTo("a"));
  write(dir_ / "real" / "file", documentWith("b"));
  EXPECT_TRUE(followTo("b"));
}

TEST_F(FileSourceTest, FollowsADirectoryThatComesLater) {
  path_ = (dir_ / "x" / "y" / "acls.json").string();
  start();
  ASSERT_TRUE(followToLines(1));
  fs::create_directories(dir_ / "x" / "y");
  write(path_, documentWith("a"));
  EXPECT_TRUE(followTo("a"));
}

TEST_F(FileSourceTest, HalfWrittenFileKeepsWhatIsServed) {
  write(path_, documentWith("a"));
  start();
  ASSERT_TRUE(followTo("a"));
  const std::string text = documentWith("b");
  {
    std::ofstream file(path_, std::ios::binary);
    file << text.substr(0, 40) << std::flush;
    ASSERT_TRUE(followToLines(2));
    EXPECT_THAT(lines_[1], StartsWith("error " + path_ + ":1:40: found the end of the text"));
    EXPECT_TRUE(serves("a"));
    file << text.substr(40);
  }
  EXPECT_TRUE(followTo("b"));
}

TEST_F(FileSourceTest, WritesThatGoOnAreNotRead) {
  write(path_, documentWith("a"));
  start();
  ASSERT_TRUE(followTo("a"));
  std::ofstream file(path_, std::ios::binary);
  for (const char octet : documentWith("b")) {
    file << octet << std::flush;
    ASSERT_TRUE(pump(1000));
    clock_.advance(0.9 * FileSource::kQuiet);
    pump(0);
  }
  EXPECT_EQ(lines_.size(), 1U);
  file.close();
  EXPECT_TRUE(followTo("b"));
  EXPECT_EQ(lines_.size(), 2U);
}

TEST_F(FileSourceTest, BadFileKeepsWhatIsServedAndIsReportedOnce) {
  write(path_, documentWith("a"));
  start();
  ASSERT_TRUE(followTo("a"));
  write(path_, "{\n\"acl\": 5}\n");
  ASSERT_TRUE(followToLines(2));
  EXPECT_EQ(lines_[1], "error " + path_ + ":2: /acl: found 5, expected an object");
  write(dir_ / "other", "");
  expectQuiet();
  EXPECT_TRUE(serves("a"));
}

TEST_F(FileSourceTest, RemovedFileKeepsWhatIsServed) {
  write(path_, documentWith("a"));
  start();
  ASSERT_TRUE(followTo("a"));
  fs::remove(path_);
  ASSERT_TRUE(followToLines(2));
  EXPECT_THAT(lines_[1], HasSubstr("found no file"));
  EXPECT_TRUE(serves("a"));
}

TEST_F(FileSourceTest, UnchangedFileIsNotReadAgain) {
  write(path_, documentWith("a"));
  start();
  ASSERT_TRUE(followTo("a"));
  ASSERT_EQ(chmod(path_.c_str(), 0600), 0);
  write(dir_ / "other", "");
  expectQuiet();
}

TEST_F(FileSourceTest, ReloadReadsAnew) {
  write(path_, documentWith("a"));
  start();
  ASSERT_TRUE(followTo("a"));
  source_->reload();
  ASSERT_TRUE(followToLines(2));
  EXPECT_EQ(lines_[1], lines_[0]);
}

TEST_F(FileSourceTest, OnlyRegularFilesAreRead) {
  path_ = dir_.string();
  start();
  ASSERT_TRUE(followToLines(1));
  EXPECT_EQ(lines_[0],
            "error " + path_ + ": found a directory, expected a regular file that can be read");
  source_ = nullptr;
  lines_.clear();
  path_ = (dir_ / "pipe").string();
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  start();
  ASSERT_TRUE(followToLines(1));
  EXPECT_EQ(lines_[0],
            "error " + path_ + ": found a named pipe, expected a regular file that can be read");
}

TEST_F(FileSourceTest, TooBigFileIsRefused) {
  write(path_, documentWith("a") + std::string(1000, ' '));
  start({.octets = 1000});
  ASSERT_TRUE(followToLines(1));
  EXPECT_EQ(lines_[0],
            "error " + path_ + ": found more than 1000 octets, expected a smaller document");
}

TEST_F(FileSourceTest, DestructionEndsAReading) {
  std::string entries;
  for (int i = 0; i < 100'000; ++i) {
    entries += (i == 0 ? "" : ",") + std::string(R"({"sequence-id":)") + std::to_string(i) +
               R"(,"actions":{"config":{"forwarding-action":"DROP"}}})";
  }
  write(path_, documentOf(setOf("ACL_L2", entries)));
  start();
  source_ = nullptr;
  EXPECT_THAT(lines_, IsEmpty());
  EXPECT_TRUE(mount_.inputDir->entity().empty());
  EXPECT_TRUE(mount_.statusDir->entity().empty());
  EXPECT_EQ(mount_.scheduler->tasks(), 0U);
}

TEST_F(FileSourceTest, CheckTellsWhyAFileIsRefused) {
  EXPECT_EQ(check(path_, documents()),
            path_ + ": found no file, expected a regular file that can be read");
  write(path_, "{}");
  EXPECT_EQ(check(path_, documents()),
            path_ +
                ":1: found no member openconfig-acl:acl, expected an OpenConfig "
                "ACL document");
  write(path_, documentWith("a"));
  EXPECT_EQ(check(path_, documents()), std::nullopt);
}

}  // namespace
}  // namespace Sources
