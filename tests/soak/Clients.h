#pragma once

/// The SNMP clients of the soak: processes of their own, told what to do through pipes.

#include <functional>
#include <string>
#include <vector>

#include "qel/Time.h"

namespace Soak {

/// What a client says: a first line of words, and the lines that belong to it.
struct Answer {
  std::vector<std::string> words;
  std::vector<std::string> lines;
};

class Clients {
 public:
  /// Starts `count` clients of the agent at `peer`. Throws `std::runtime_error` when one cannot be
  /// started.
  Clients(const std::string& program, unsigned count, const std::string& peer, uint64_t seed);
  /// Ends all and waits for them.
  ~Clients();
  Clients(const Clients&) = delete;
  Clients& operator=(const Clients&) = delete;

  size_t size() const { return clients_.size(); }
  const std::vector<int>& descriptors() const { return descriptors_; }
  void tell(size_t client, const std::string& command);
  void tellAll(const std::string& command);

  /// Reads from a descriptor and calls `take` with the client's number and each finished answer.
  void handleReadable(int descriptor, const std::function<void(size_t, Answer&)>& take);

 private:
  struct Client {
    int pid = -1;
    int in = -1;   // its standard input
    int out = -1;  // its standard output
    std::string unread;
    Answer answer;
    size_t missing = 0;  // lines of the answer
  };
  void start(const std::string& program, const std::string& peer, uint64_t seed);

  std::vector<Client> clients_;
  std::vector<int> descriptors_;
};

}  // namespace Soak
