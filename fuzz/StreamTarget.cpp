// Octets over a local socket, in pieces: a connection's start, its framing, its messages and its
// end, by the agent's own way. Whatever comes in, another connection is answered as before.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "CpuLimit.h"
#include "Require.h"
#include "snmp/Agent.h"

namespace Fuzz {

namespace {

// Everybody on the local socket may read; the engine is the one that the seeds of version 3 name.
constexpr const char* kConfiguration = R"(
com2secunix readers default public
group readers v2c readers
access readers "" any noauth prefix all none none
view all included .1
createUser open
rouser open noauth
exactEngineID 0x80007ed90466757a7a
sysContact nobody
sysName fuzz
sysLocation nowhere
)";

// A GET of sysName.0.
constexpr std::string_view kQuestion(
    "\x30\x26\x02\x01\x01\x04\x06public\xa0\x19\x02\x01\x01\x02\x01\x00\x02\x01\x00\x30\x0e\x30\x0c"
    "\x06\x08\x2b\x06\x01\x02\x01\x01\x05\x00\x05\x00",
    40);

/// The agent on a local socket, and an honest connection to it.
class Agent {
 public:
  Agent() : agent_(options()) {
    agent_.open();
    honest_ = connection();
    served_ = answer();
    require(served_.find("fuzz") != std::string::npos, "the agent answers");
  }
  ~Agent() {
    ::close(honest_);
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  /// A connection that sends so much at a time and goes.
  void serve(std::string_view octets, size_t piece) {
    const int stranger = connection();
    while (!octets.empty()) {
      const ssize_t sent = ::send(stranger, octets.data(), std::min(piece, octets.size()),
                                  MSG_DONTWAIT | MSG_NOSIGNAL);
      if (sent < 0 && errno != EAGAIN) break;
      octets.remove_prefix(static_cast<size_t>(std::max<ssize_t>(sent, 0)));
      turn();
      received(stranger);
    }
    ::close(stranger);
    turn();
  }
  void check() { require(answer() == served_, "the agent answers as it did before"); }

 private:
  Snmp::AgentOptions options() {
    require(mkdtemp(folder_.data()) != nullptr, "a temporary folder can be made");
    setenv("SNMP_PERSISTENT_DIR", folder_.c_str(), 1);
    std::ofstream(folder_ + "/agent.conf") << kConfiguration;
    return {"fuzz", {"unix:" + folder_ + "/socket"}, folder_ + "/agent.conf"};
  }
  int connection() {
    const int made = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s/socket", folder_.c_str());
    require(::connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
            "the agent takes connections");
    turn();
    return made;
  }
  /// Serves what waits: a connection is accepted, read or closed in each look.
  void turn() { agent_.serve(0, {}, {}); }
  static std::string received(int descriptor) {
    static std::array<char, 65536> some;
    const ssize_t count = ::recv(descriptor, some.data(), some.size(), MSG_DONTWAIT);
    return {some.data(), static_cast<size_t>(std::max<ssize_t>(count, 0))};
  }
  std::string answer() {
    require(::send(honest_, kQuestion.data(), kQuestion.size(), MSG_NOSIGNAL) ==
                static_cast<ssize_t>(kQuestion.size()),
            "an honest connection stays");
    std::string received;
    for (int i = 0; received.empty() && i < 100; ++i) {
      turn();
      received = this->received(honest_);
    }
    return received;
  }

  std::string folder_ = (std::filesystem::temp_directory_path() / "aclsnmp-fuzz.XXXXXX").string();
  Snmp::Agent agent_;
  int honest_ = -1;
  std::string served_;
};

}  // namespace

}  // namespace Fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace Fuzz;
  static Agent agent;
  if (size == 0) return 0;
  const CpuLimit limit;
  // The first octet says in how large pieces the rest comes.
  const size_t piece = data[0] == 0xFF ? size : 1 + data[0];
  agent.serve({reinterpret_cast<const char*>(data) + 1, size - 1}, piece);
  agent.check();
  return 0;
}
