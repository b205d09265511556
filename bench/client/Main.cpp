// aclsnmp-bench-client: asks an SNMP agent on the loopback with prepared packets and says, as one
// line of JSON, how fast it answered and how much processor time it took.
//
//     aclsnmp-bench-client rate    --port P --pid PID --op getnext --base OID --columns 2,3 ...
//     aclsnmp-bench-client walk    --port P --pid PID --base OID --repetitions 50 ...
//
// `rate` keeps a window of requests for random rows under way for some seconds; with a window of 1
// the latencies are those of single requests. `walk` goes through a subtree, or through columns
// side by side, by GETBULK. Processor time is the server's, read from its clock by another process,
// and so hardly depends on what else the machine does.

#include <arpa/inet.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iostream>
#include <map>
#include <random>
#include <stdexcept>

#include "Packet.h"
#include "Shape.h"

namespace Bench {
namespace {

using Clock = std::chrono::steady_clock;
double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

struct Options {
  int port = 0;
  std::vector<int> pids;
  int cpu = -1;
  std::string operation = "getnext";
  std::string base;
  std::vector<unsigned> columns;
  std::vector<std::string> oids;
  Shape shape;
  std::string index = "rule";
  std::vector<uint32_t> mark;
  uint32_t repetitions = 50;
  unsigned window = 1;
  double seconds = 1;
  uint64_t count = 0;
  std::string until;
};

/// Processor seconds that the server's processes have used.
double processorSeconds(const Options& options) {
  double sum = 0;
  for (const int pid : options.pids) {
    clockid_t clock{};
    timespec used{};
    if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &used) != 0) {
      throw std::runtime_error("no process " + std::to_string(pid));
    }
    sum += static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
  }
  return sum;
}

class Connection {
 public:
  explicit Connection(int port) : socket_(::socket(AF_INET, SOCK_DGRAM, 0)) {
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(static_cast<uint16_t>(port));
    server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int room = 4 << 20;
    setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &room, sizeof room);
    const timeval patience{10, 0};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    if (socket_ < 0 ||
        connect(socket_, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0) {
      throw std::runtime_error(std::string("no socket: ") + std::strerror(errno));
    }
  }
  ~Connection() { ::close(socket_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void send(const Octets& packet) {
    if (::send(socket_, packet.data(), packet.size(), 0) < 0) {
      throw std::runtime_error(std::string("cannot send: ") + std::strerror(errno));
    }
  }
  /// The next response. Anything else than one without an error ends the measurement: a figure of a
  /// server that fails or drops would mean nothing.
  const Response& receive() {
    const ssize_t length = ::recv(socket_, buffer_, sizeof buffer_, 0);
    if (length < 0) throw std::runtime_error(std::string("no response: ") + std::strerror(errno));
    if (!read({buffer_, static_cast<size_t>(length)}, response_))
      throw std::runtime_error("not a response");
    if (response_.errorStatus != 0) {
      throw std::runtime_error("error status " + std::to_string(response_.errorStatus));
    }
    return response_;
  }

 private:
  int socket_;
  char buffer_[65536];
  Response response_;
};

void append(Oid& oid, const Oid& more) { oid.insert(oid.end(), more.begin(), more.end()); }

/// The names of one request: the given OIDs, and each column of one random row.
class Names {
 public:
  explicit Names(const Options& options) : options_(options) {}
  std::vector<Octets> next() {
    std::vector<Octets> names;
    if (!options_.base.empty()) {
      // The last row is left out: what follows it need not be a row of the same column.
      std::uniform_int_distribution<size_t> rows(0, options_.shape.rules() - 2);
      const size_t row = rows(random_);
      for (const unsigned column : options_.columns) {
        Oid oid = oidOf(options_.base);
        oid.push_back(column);
        append(oid, options_.mark);
        append(oid, options_.index == "acl"
                        ? options_.shape.aclIndex(row / options_.shape.rulesPerAcl)
                        : options_.shape.ruleIndex(row));
        if (options_.index == "gone") ++oid.back();
        names.push_back(encodedOid(oid));
      }
    }
    for (const std::string& oid : options_.oids) names.push_back(encodedOid(oidOf(oid)));
    return names;
  }

 private:
  const Options& options_;
  std::mt19937 random_{20240229};
};

Operation operationOf(const std::string& name) {
  static const std::map<std::string, Operation> operations = {
      {"get", Operation::get}, {"getnext", Operation::getNext}, {"getbulk", Operation::getBulk}};
  return operations.at(name);
}

void print(uint64_t requests, uint64_t varbinds, double seconds, double processor,
           std::vector<float>& latencies) {
  std::sort(latencies.begin(), latencies.end());
  const auto at = [&](double share) {
    if (latencies.empty()) return 0.0;
    const auto last = static_cast<double>(latencies.size() - 1);
    return static_cast<double>(latencies[static_cast<size_t>(share * last)]) * 1e6;
  };
  std::printf(
      "{\"requests\": %llu, \"varbinds\": %llu, \"seconds\": %.6f, \"server_cpu_seconds\": %.6f, "
      "\"p50_us\": %.1f, \"p99_us\": %.1f, \"max_us\": %.1f}\n",
      static_cast<unsigned long long>(requests), static_cast<unsigned long long>(varbinds), seconds,
      processor, at(0.5), at(0.99), at(1));
}

int rate(const Options& options) {
  constexpr size_t kPrepared = 4096;
  const Operation operation = operationOf(options.operation);
  Names names(options);
  std::vector<Octets> packets;
  for (size_t i = 0; i < kPrepared; ++i) {
    packets.push_back(request(operation, operation == Operation::getBulk ? options.repetitions : 0,
                              names.next()));
  }
  Connection connection(options.port);
  std::vector<Clock::time_point> sentAt(kPrepared);
  std::vector<float> latencies;
  latencies.reserve(1 << 20);
  const Octets until = options.until.empty() ? Octets() : encodedOid(oidOf(options.until));
  uint64_t sent = 0;
  uint64_t received = 0;
  uint64_t varbinds = 0;
  bool running = true;
  const double processorBefore = processorSeconds(options);
  const auto start = Clock::now();
  const auto sendNext = [&] {
    Octets& packet = packets[sent % kPrepared];
    requestIdIs(packet, requestId(static_cast<uint32_t>(sent)));
    sentAt[sent % kPrepared] = Clock::now();
    connection.send(packet);
    ++sent;
  };
  for (unsigned i = 0; i < options.window; ++i) sendNext();
  while (received < sent) {
    const Response& response = connection.receive();
    if (response.id != requestId(static_cast<uint32_t>(received)))
      throw std::runtime_error("a lost request");
    const auto now = Clock::now();
    latencies.push_back(std::chrono::duration<float>(now - sentAt[received % kPrepared]).count());
    ++received;
    varbinds += response.varbinds.size();
    for (const Varbind& varbind : response.varbinds) {
      if (varbind.isException() && options.index != "gone")
        throw std::runtime_error("a varbind without a value");
      // The object that says whether the work that is watched goes on.
      if (!until.empty() && varbind.name == until && varbind.value.back() == 0) running = false;
    }
    if (running && until.empty()) {
      running = options.count != 0
                    ? sent < options.count
                    : std::chrono::duration<double>(now - start).count() < options.seconds;
    }
    if (running) sendNext();
  }
  const double seconds = secondsSince(start);
  print(received, varbinds, seconds, processorSeconds(options) - processorBefore, latencies);
  return 0;
}

int walk(const Options& options) {
  std::vector<Octets> prefixes;
  if (options.columns.empty()) prefixes.push_back(encodedOid(oidOf(options.base)));
  for (const unsigned column : options.columns) {
    Oid oid = oidOf(options.base);
    oid.push_back(column);
    prefixes.push_back(encodedOid(oid));
  }
  std::vector<Octets> cursors;
  for (const Octets& prefix : prefixes) {
    Octets cursor = prefix;
    // Under a time mark a walk begins at the mark.
    if (!options.mark.empty()) cursor += encodedOid({0, 0, options.mark[0]}).substr(1);
    cursors.push_back(cursor);
  }
  if (!options.mark.empty()) prefixes = cursors;
  Connection connection(options.port);
  std::vector<float> latencies;
  latencies.reserve(1 << 16);
  uint64_t requests = 0;
  uint64_t varbinds = 0;
  const double processorBefore = processorSeconds(options);
  const auto start = Clock::now();
  for (bool inside = true; inside;) {
    Octets packet = request(Operation::getBulk, options.repetitions, cursors);
    requestIdIs(packet, requestId(static_cast<uint32_t>(requests)));
    const auto sentAt = Clock::now();
    connection.send(packet);
    const Response& response = connection.receive();
    latencies.push_back(static_cast<float>(secondsSince(sentAt)));
    if (response.id != requestId(static_cast<uint32_t>(requests)) || response.varbinds.empty())
      throw std::runtime_error("a lost request");
    ++requests;
    for (size_t i = 0; i < response.varbinds.size() && inside; ++i) {
      const Varbind& varbind = response.varbinds[i];
      const size_t cursor = i % cursors.size();
      inside = !varbind.isException() &&
               varbind.name.substr(0, prefixes[cursor].size()) == prefixes[cursor];
      if (!inside) break;
      cursors[cursor] = varbind.name;
      ++varbinds;
    }
  }
  const double seconds = secondsSince(start);
  print(requests, varbinds, seconds, processorSeconds(options) - processorBefore, latencies);
  return 0;
}

int run(int argc, char** argv) {
  Options options;
  CLI::App app("asks an SNMP agent with prepared packets");
  app.require_subcommand(1);
  app.fallthrough();
  app.add_option("--port", options.port)->required();
  app.add_option("--pid", options.pids, "the server's processes")->delimiter(',');
  app.add_option("--cpu", options.cpu, "the processor to run on");
  app.add_option("--base", options.base, "the OID of a table's entry, or of a subtree");
  app.add_option("--columns", options.columns)->delimiter(',');
  app.add_option("--acls", options.shape.acls);
  app.add_option("--rules", options.shape.rulesPerAcl, "rules of each ACL");
  app.add_option("--index", options.index, "acl, rule, or gone for rows that are not there");
  app.add_option("--mark", options.mark, "the time mark before the index")->expected(1);
  app.add_option("--repetitions", options.repetitions);
  CLI::App* rateCommand = app.add_subcommand("rate");
  rateCommand->add_option("--op", options.operation, "get, getnext or getbulk");
  rateCommand->add_option("--oid", options.oids, "a whole OID to ask for; may be repeated");
  rateCommand->add_option("--window", options.window, "requests under way");
  rateCommand->add_option("--seconds", options.seconds);
  rateCommand->add_option("--count", options.count, "a number of requests in place of a time");
  rateCommand->add_option("--until-zero", options.until, "go on until this object is 0");
  app.add_subcommand("walk");
  CLI11_PARSE(app, argc, argv);
  if (options.cpu >= 0) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(options.cpu, &set);
    sched_setaffinity(0, sizeof set, &set);
  }
  return rateCommand->parsed() ? rate(options) : walk(options);
}

}  // namespace
}  // namespace Bench

int main(int argc, char** argv) {
  try {
    return Bench::run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "aclsnmp-bench-client: " << error.what() << "\n";
    return 1;
  }
}
