#include "snmp/Agent.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

// After the general ones: it needs their types.
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <net-snmp/library/large_fd_set.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "Listen.h"
#include "Log.h"
#include "snmp/Converters.h"

// The modules of the library's own MIBs that belong to any agent: who it is, how it is doing, who
// may ask it (access control is begun by init_agent). Their headers are not installed.
extern "C" {
void init_system_mib(void);
void init_snmp_mib(void);
void init_sysORTable(void);
void init_snmpEngine(void);
void init_usmStats(void);
}

namespace Snmp {

namespace {

constexpr const char* kLoopback = "udp:127.0.0.1:161";

// Packets are served in a row until none waits or this long has passed; then other work gets its
// turn.
constexpr Qel::Seconds kMaxBurst = 0.005;

void requireReadable(const std::string& file) {
  std::ifstream in(file);
  if (!in || in.peek() == std::ifstream::traits_type::eof()) {
    if (in.eof() && !in.bad()) return;  // empty, but readable
    throw std::runtime_error("configuration file '" + file +
                             "' cannot be read: " + std::strerror(errno));
  }
}

constexpr Qel::Seconds kLongestWait = 3600;

Qel::Seconds secondsOf(const timeval& value) {
  return static_cast<Qel::Seconds>(value.tv_sec) + static_cast<Qel::Seconds>(value.tv_usec) / 1e6;
}

timeval timevalOf(Qel::Seconds seconds) {
  const Qel::Seconds bounded = std::clamp(seconds, 0.0, kLongestWait);
  timeval value{};
  value.tv_sec = static_cast<time_t>(bounded);
  // Rounded up: a wait that ends too early would only be begun again.
  value.tv_usec = static_cast<suseconds_t>(
      std::min(999999.0, std::ceil((bounded - std::floor(bounded)) * 1e6)));
  return value;
}

/// What the configuration's `agentaddress` lists.
std::vector<std::string> configuredAddresses() {
  const char* list = netsnmp_ds_get_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_PORTS);
  std::vector<std::string> addresses;
  std::istringstream in(list == nullptr ? "" : list);
  for (std::string address; std::getline(in, address, ',');) addresses.push_back(address);
  return addresses;
}

std::optional<unsigned> configuredNumber(int setting) {
  const int number = netsnmp_ds_get_int(NETSNMP_DS_APPLICATION_ID, setting);
  if (number == 0) return std::nullopt;
  return static_cast<unsigned>(number);
}

/// A descriptor set of any size.
class DescriptorSet {
 public:
  DescriptorSet() { netsnmp_large_fd_set_init(&set_, FD_SETSIZE); }
  ~DescriptorSet() { netsnmp_large_fd_set_cleanup(&set_); }
  DescriptorSet(const DescriptorSet&) = delete;
  DescriptorSet& operator=(const DescriptorSet&) = delete;

  netsnmp_large_fd_set* get() { return &set_; }
  void add(int descriptor) { netsnmp_large_fd_setfd(descriptor, &set_); }
  bool contains(int descriptor) { return netsnmp_large_fd_is_set(descriptor, &set_) != 0; }

 private:
  netsnmp_large_fd_set set_{};
};

/// The earlier of two times to wait, of which each may have no end.
std::optional<Qel::Seconds> earlier(std::optional<Qel::Seconds> one,
                                    std::optional<Qel::Seconds> other) {
  return one && other ? std::min(*one, *other) : one ? one : other;
}

}  // namespace

Agent::Agent(const AgentOptions& options) : name_(options.name), listen_(options.listen) {
  takeLibraryLog();
  streamLimitsAre(options.streams);
  netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 0);
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_ALARM_DONT_USE_SIG, 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_DONT_LOG_TCPWRAPPERS_CONNECTS,
                         1);
  // No SMUX peer: it would open a TCP port of its own.
  char withoutSmux[] = "-smux";
  add_to_init_list(withoutSmux);
  // The agent answers numbers and needs no MIB modules.
  setenv("MIBS", "", 1);
  if (!options.configFile.empty()) {
    requireReadable(options.configFile);
    // A folder that holds nothing, so that no other file of the name is read beside this one.
    char nowhere[] = "/dev/null";
    set_configuration_directory(nowhere);
    netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OPTIONALCONFIG,
                          options.configFile.c_str());
  }
  init_agent(name_.c_str());
  SnmpUtil::agentStarted();
  init_system_mib();
  init_snmp_mib();
  init_sysORTable();
  init_snmpEngine();
  init_usmStats();
  init_snmp(name_.c_str());
  takeConfiguredLogs();
  // Whatever the configuration says: messages are built in one way.
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_REVERSE_ENCODE, 1);
}

Agent::~Agent() {
  if (open_) shutdown_master_agent();
  leaveLibraryLog();
  snmp_shutdown(name_.c_str());
  shutdown_agent();
}

std::optional<unsigned> Agent::user() const { return configuredNumber(NETSNMP_DS_AGENT_USERID); }
std::optional<unsigned> Agent::group() const { return configuredNumber(NETSNMP_DS_AGENT_GROUPID); }

void Agent::open() {
  std::vector<std::string> addresses = listen_;
  if (addresses.empty()) addresses = configuredAddresses();
  if (addresses.empty()) addresses = {kLoopback};
  // The library begins without addresses of its own.
  netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_PORTS, "none");
  open_ = true;
  if (init_master_agent() != 0) throw std::runtime_error("the agent library does not start");
  for (const std::string& address : addresses) listenOn(address);
}

void Agent::serve(std::optional<Qel::Seconds> timeout, const std::vector<int>& watched,
                  const std::function<void(int)>& readable) {
  const auto own = earlier(endOverdueConnections(), tellHeldBackLines());
  std::optional<Qel::Seconds> begun;
  do {
    const bool first = !begun;
    DescriptorSet set;
    int count = 0;
    // What the library itself has due; it blocks where that is nothing.
    timeval due{};
    int block = 1;
    snmp_select_info2(&count, set.get(), &due, &block);
    if (first) {
      for (const int descriptor : watched) {
        set.add(descriptor);
        count = std::max(count, descriptor + 1);
      }
    }
    // Only the first look waits.
    std::optional<Qel::Seconds> patience = first ? earlier(timeout, own) : 0.0;
    if (block == 0) patience = std::min(secondsOf(due), patience.value_or(kLongestWait));
    timeval wait = timevalOf(patience.value_or(kLongestWait));
    const int ready = netsnmp_large_fd_set_select(count, set.get(), nullptr, nullptr, &wait);
    if (first) begun = Qel::now();
    if (ready > 0) {
      snmp_read2(set.get());
    } else if (ready == 0) {
      snmp_timeout();
    }
    run_alarms();
    netsnmp_check_outstanding_agent_requests();
    if (first && ready > 0) {
      for (const int descriptor : watched) {
        if (set.contains(descriptor)) readable(descriptor);
      }
    }
    if (ready <= 0) return;
  } while (Qel::now() - *begun < kMaxBurst);
}

}  // namespace Snmp
