#pragma once

/// The agent of this process behind a transport without a network: a packet goes through the agent
/// library as if it had come over UDP from 127.0.0.1, and what the agent sends comes back.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Fuzz {

class Loopback {
 public:
  /// Starts the agent with a configuration file's text, in folders of its own.
  explicit Loopback(const std::string& configuration);
  ~Loopback();
  Loopback(const Loopback&) = delete;
  Loopback& operator=(const Loopback&) = delete;

  /// Serves one packet to its end and gives what was sent meanwhile.
  std::vector<std::string> serve(std::string_view packet);

 private:
  class Agent;
  std::unique_ptr<Agent> agent_;
};

}  // namespace Fuzz
