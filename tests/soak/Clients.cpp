#include "Clients.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <sstream>
#include <stdexcept>

#ifndef ACLSNMP_ENTERPRISE
#error "the build sets the enterprise number above the MIB root"
#endif
#define SOAK_TEXT(value) #value
#define SOAK_NUMBER(value) SOAK_TEXT(value)

extern char** environ;

namespace Soak {

namespace {

constexpr const char* kObjects = "1.3.6.1.4.1." SOAK_NUMBER(ACLSNMP_ENTERPRISE) ".3.5.1";

std::array<int, 2> newPipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe for a client");
  return ends;
}

}  // namespace

Clients::Clients(const std::string& program, unsigned count, const std::string& peer,
                 uint64_t seed) {
  for (unsigned i = 0; i < count; ++i) start(program, peer, seed + i + 1);
}

void Clients::start(const std::string& program, const std::string& peer, uint64_t seed) {
  const auto commands = newPipe();
  const auto answers = newPipe();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, commands[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, answers[1], STDOUT_FILENO);
  const std::string number = std::to_string(seed);
  const std::array<const char*, 5> arguments = {program.c_str(), peer.c_str(), kObjects,
                                                number.c_str(), nullptr};
  Client client;
  const int error = posix_spawn(&client.pid, program.c_str(), &actions, nullptr,
                                const_cast<char* const*>(arguments.data()), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(commands[0]);
  ::close(answers[1]);
  if (error != 0) throw std::runtime_error("client '" + program + "' cannot be started");
  client.in = commands[1];
  client.out = answers[0];
  ::fcntl(client.out, F_SETFL, O_NONBLOCK);
  descriptors_.push_back(client.out);
  clients_.push_back(std::move(client));
}

Clients::~Clients() {
  for (const Client& client : clients_) {
    ::close(client.in);
    ::close(client.out);
  }
  // One may still wait for an answer that nobody gives any more.
  for (const Client& client : clients_) ::kill(client.pid, SIGKILL);
  for (const Client& client : clients_) ::waitpid(client.pid, nullptr, 0);
}

void Clients::tell(size_t client, const std::string& command) {
  const std::string line = command + "\n";
  if (::write(clients_[client].in, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    throw std::runtime_error("client " + std::to_string(client) + " has gone");
  }
}

void Clients::tellAll(const std::string& command) {
  for (size_t i = 0; i < clients_.size(); ++i) tell(i, command);
}

void Clients::handleReadable(int descriptor, const std::function<void(size_t, Answer&)>& take) {
  size_t number = 0;
  while (clients_[number].out != descriptor) ++number;
  Client& client = clients_[number];
  std::array<char, 65536> octets{};
  const ssize_t count = ::read(descriptor, octets.data(), octets.size());
  if (count == 0) throw std::runtime_error("client " + std::to_string(number) + " has ended");
  if (count < 0) return;
  client.unread.append(octets.data(), static_cast<size_t>(count));
  size_t begin = 0;
  for (size_t end; (end = client.unread.find('\n', begin)) != std::string::npos; begin = end + 1) {
    std::string line = client.unread.substr(begin, end - begin);
    if (client.missing == 0) {
      client.answer = {};
      std::istringstream in(line);
      for (std::string word; in >> word;) client.answer.words.push_back(word);
      const std::string& kind = client.answer.words.at(0);
      const bool hasLines = kind == "column" || kind == "tree" || kind == "values";
      client.missing = hasLines ? std::stoul(client.answer.words.back()) : 0;
    } else {
      client.answer.lines.push_back(std::move(line));
      --client.missing;
    }
    if (client.missing != 0) continue;
    take(number, client.answer);
    client.answer = {};
  }
  // What is left is short; nothing is kept for the next long answer.
  std::string(client.unread, begin).swap(client.unread);
}

}  // namespace Soak
