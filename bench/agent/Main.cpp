// aclsnmp-bench-agent: the daemon's loop with the plug-in, fed by commands in place of documents,
// and with other tables beside it to compare with. See Commands.h.
//
//     aclsnmp-bench-agent PLUGIN_DIR ADDRESS CONFIGURATION [CPU]

#include <sched.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

#include "Commands.h"
#include "Loop.h"
#include "Mounts.h"
#include "Peers.h"
#include "Plugins.h"
#include "snmp/Agent.h"
#include "snmp/Registration.h"

namespace {

int run(const char* pluginDir, const char* address, const char* configuration) {
  const Daemon::Signals signals;
  // Destroyed in reverse, as in the daemon.
  Snmp::Agent agent({"aclsnmpbench", {address}, configuration});
  Daemon::Plugins plugins(pluginDir);
  const auto scheduler = Qel::make<Mek::TaskScheduler>();
  const Daemon::Mounts mounts(scheduler);
  Snmp::contextIs("");
  Snmp::initNewRegistrations();
  Bench::registerPeers([&] { return scheduler->pending(); });
  const struct Unregister {
    Daemon::Plugins& plugins;
    ~Unregister() { plugins.unregisterContexts(); }
  } unregister{plugins};
  std::vector<std::unique_ptr<Sources::Source>> sources;
  sources.push_back(std::make_unique<Bench::Commands>(mounts, scheduler));
  agent.open();
  std::printf("ready\n");
  std::fflush(stdout);
  Daemon::runLoop(agent, *scheduler, signals, sources);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Daemon::keepHeapEven();
  if (argc < 4) {
    std::fprintf(stderr, "usage: aclsnmp-bench-agent PLUGIN_DIR ADDRESS CONFIGURATION [CPU]\n");
    return 2;
  }
  if (argc > 4) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(std::atoi(argv[4]), &set);
    sched_setaffinity(0, sizeof set, &set);
  }
  try {
    return run(argv[1], argv[2], argv[3]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "aclsnmp-bench-agent: %s\n", error.what());
    return 1;
  }
}
