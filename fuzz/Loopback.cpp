#include "Loopback.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

// After the general ones: it needs their types.
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <net-snmp/library/large_fd_set.h>
#include <net-snmp/library/snmpUDPDomain.h>
#include <net-snmp/library/snmp_transport.h>

#include <arpa/inet.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>

#include "Require.h"
#include "snmp/Agent.h"

namespace Fuzz {

namespace {

/// A folder that is gone with the process.
class Folder {
 public:
  Folder() {
    std::string made = (std::filesystem::temp_directory_path() / "aclsnmp-fuzz.XXXXXX").string();
    require(mkdtemp(made.data()) != nullptr, "a temporary folder can be made");
    path_ = made;
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

Snmp::AgentOptions optionsIn(const Folder& folder, const std::string& configuration) {
  setenv("SNMP_PERSISTENT_DIR", folder.path().c_str(), 1);
  const auto file = folder.path() / "agent.conf";
  std::ofstream(file) << configuration;
  return {"fuzz", {}, file.string()};
}

}  // namespace

class Loopback::Agent {
 public:
  explicit Agent(const std::string& configuration)
      : agent_(optionsIn(folder_, configuration)), descriptor_(eventfd(0, EFD_CLOEXEC)) {
    // What the library says of bad packets; the agent's own log goes the same way.
    snmp_disable_log();
    // The library frees it.
    auto* transport = SNMP_MALLOC_TYPEDEF(netsnmp_transport);
    transport->domain = netsnmpUDPDomain;
    transport->domain_length = static_cast<int>(netsnmpUDPDomain_len);
    transport->sock = descriptor_;
    transport->data = nullptr;
    transport->msgMaxSize = 65507;
    transport->f_recv = receive;
    transport->f_send = send;
    transport->f_close = [](netsnmp_transport*) { return 0; };
    transport->f_fmtaddr = [](netsnmp_transport*, const void*, int) { return strdup("loopback"); };
    require(running_ == nullptr, "one agent runs at a time");
    running_ = this;
    handle_ = netsnmp_register_agent_nsap(transport);
    require(handle_ > 0, "the agent takes the transport");
  }
  ~Agent() {
    netsnmp_deregister_agent_nsap(handle_);
    running_ = nullptr;
    ::close(descriptor_);
  }
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  std::vector<std::string> serve(std::string_view packet) {
    waiting_ = packet;
    sent_.clear();
    netsnmp_large_fd_set ready{};
    netsnmp_large_fd_set_init(&ready, FD_SETSIZE);
    netsnmp_large_fd_setfd(descriptor_, &ready);
    snmp_read2(&ready);
    netsnmp_large_fd_set_cleanup(&ready);
    netsnmp_check_outstanding_agent_requests();
    require(!waiting_, "the agent takes the packet");
    return std::move(sent_);
  }

 private:
  static int receive(netsnmp_transport*, void* buffer, int size, void** from, int* fromLength) {
    if (!running_->waiting_) return -1;
    const std::string_view packet = *running_->waiting_;
    running_->waiting_.reset();
    const size_t length = std::min(packet.size(), static_cast<size_t>(size));
    if (length != 0) std::memcpy(buffer, packet.data(), length);
    // As the library's UDP transport says where a packet is from; it frees this.
    auto* addresses = SNMP_MALLOC_TYPEDEF(netsnmp_indexed_addr_pair);
    addresses->remote_addr.sin.sin_family = AF_INET;
    addresses->remote_addr.sin.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addresses->remote_addr.sin.sin_port = htons(50000);
    *from = addresses;
    *fromLength = sizeof *addresses;
    return static_cast<int>(length);
  }
  static int send(netsnmp_transport*, const void* buffer, int size, void**, int*) {
    running_->sent_.emplace_back(static_cast<const char*>(buffer), static_cast<size_t>(size));
    return size;
  }

  static inline Agent* running_ = nullptr;

  const Folder folder_;
  Snmp::Agent agent_;
  int descriptor_;
  int handle_ = 0;
  std::optional<std::string_view> waiting_;
  std::vector<std::string> sent_;
};

Loopback::Loopback(const std::string& configuration)
    : agent_(std::make_unique<Agent>(configuration)) {}
Loopback::~Loopback() = default;

std::vector<std::string> Loopback::serve(std::string_view packet) { return agent_->serve(packet); }

}  // namespace Fuzz
