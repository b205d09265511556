#pragma once

/// The soak: the agent with its plug-in, the churn of its ACL model on the event thread, and SNMP
/// clients in processes of their own. From time to time everything comes to rest, and then the MIB
/// must equal the model; now and then the model is emptied, and then the memory in use must be what
/// it was. Whatever is not as it must be throws `std::runtime_error`.

#include <map>
#include <optional>
#include <string>

#include "Churn.h"
#include "Clients.h"
#include "Figures.h"
#include "Mounts.h"
#include "Oracle.h"
#include "Plugins.h"
#include "Presence.h"
#include "snmp/Agent.h"

namespace Soak {

struct Options {
  double seconds = 600;
  uint64_t seed = 1;
  unsigned clients = 4;
  uint32_t bigRules = 3000;
  /// Seconds of churn between two rests.
  double epoch = 2;
  /// Rests from one emptying to the next.
  unsigned restsPerCycle = 5;
  /// Slices are measured, but not held to their time.
  bool untimed = false;
  std::string pluginDir;
  std::string client;
};

class Soak {
 public:
  /// `folder` is there for the agent's configuration and state.
  Soak(const Options& options, const std::string& folder);
  ~Soak();
  Soak(const Soak&) = delete;
  Soak& operator=(const Soak&) = delete;

  /// Until the time is up and the last cycle is complete.
  Figures run();

 private:
  void turn(bool churning);
  void handle(size_t client, Answer& answer);
  void checkColumn(const Answer& answer);
  void churn();
  void settle();
  void pause();
  void rest();
  void compare(const Tree& expected);
  void sample(const Tree& expected);
  void timeOneAcl();
  void emptied();
  /// Serves until the client whose turn it is has answered.
  Answer ask(size_t client, const std::string& command);

  Options options_;
  Random random_;
  std::string address_;
  std::optional<Clients> clients_;
  Snmp::Agent agent_;
  Daemon::Plugins plugins_;
  Qel::Ptr<Mek::TaskScheduler> scheduler_;
  Daemon::Mounts mounts_;
  Oracle oracle_;
  Presence presence_;
  std::optional<Churn> churn_;
  std::optional<Answer> answer_;
  std::map<size_t, std::pair<uint64_t, double>> paused_;
  std::string complaint_;
  Figures figures_;
};

}  // namespace Soak
