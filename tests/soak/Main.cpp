// aclsnmp-soak: churn of the ACL model under the eyes of SNMP clients; see Soak.h.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>

#include "Loop.h"
#include "Soak.h"

namespace {

/// A folder for the agent library's state, gone with it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    char pattern[] = "/tmp/aclsnmp-soak-XXXXXX";
    path_ = mkdtemp(pattern);
    setenv("SNMP_PERSISTENT_DIR", path_.c_str(), 1);
    setenv("SNMPCONFPATH", path_.c_str(), 1);
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace

int main(int argc, char** argv) {
  Daemon::keepHeapEven();
  Soak::Options options;
  options.pluginDir = PLUGIN_DIR;
  options.client = CLIENT_PROGRAM;
  CLI::App app("Changes ACLs while SNMP clients read them, and checks every rest.", "aclsnmp-soak");
  app.add_option("--seconds", options.seconds, "how long, at least")->capture_default_str();
  app.add_option("--seed", options.seed, "what the changes and questions come from")
      ->capture_default_str();
  app.add_option("--clients", options.clients, "SNMP clients")->capture_default_str();
  app.add_option("--big", options.bigRules, "rules of the biggest ACL")->capture_default_str();
  app.add_option("--epoch", options.epoch, "seconds of churn between two rests")
      ->capture_default_str();
  app.add_option("--rests", options.restsPerCycle, "rests from one emptying to the next")
      ->capture_default_str();
  app.add_flag("--untimed", options.untimed,
               "hold no slice to its time, for tools under which time means nothing");
  CLI11_PARSE(app, argc, argv);
  std::printf("seed              %llu\n", static_cast<unsigned long long>(options.seed));
  std::fflush(stdout);
  try {
    const TemporaryFolder folder;
    const Soak::Figures figures = Soak::Soak(options, folder.path()).run();
    Soak::print(figures);
    const auto complaints = Soak::complaints(figures, options.untimed);
    for (const std::string& text : complaints) {
      std::fprintf(stderr, "aclsnmp-soak: %s\n", text.c_str());
    }
    return complaints.empty() ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "aclsnmp-soak: seed %llu: %s\n",
                 static_cast<unsigned long long>(options.seed), error.what());
    return 1;
  }
}
