#include "Soak.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <stdexcept>
#include <unordered_set>

#include "Memory.h"
#include "qel/Trace.h"
#include "qel/Type.h"
#include "snmp/Registration.h"

namespace Soak {

namespace {

/// The time that this thread has computed: other work on the machine does not count.
double cpu() {
  timespec spent{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &spent);
  return static_cast<double>(spent.tv_sec) + static_cast<double>(spent.tv_nsec) / 1e9;
}

[[noreturn]] void fail(const std::string& text) { throw std::runtime_error(text); }

std::string freeAddress() {
  const int probe = ::socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  const bool bound = ::bind(probe, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                     ::getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size) == 0;
  ::close(probe);
  if (!bound) fail("no free port");
  return "udp:127.0.0.1:" + std::to_string(ntohs(address.sin_port));
}

std::string configurationIn(const std::string& folder) {
  std::string file = folder + "/soak.conf";
  std::ofstream(file) << "rocommunity public 127.0.0.1\n";
  return file;
}

Qel::Ptr<Acl::AclConfigAggregatorSm> aggregator() {
  const auto root = Qel::validPtr(SnmpUtil::getEntityRelative("snmp/acl/root"));
  const auto value = Qel::call("AclSnmp::Root", *root, "aclConfigAggregator");
  const auto* object = std::get_if<Qel::Ptr<Qel::PtrInterface>>(&value);
  if (object == nullptr) fail("the root has no aggregator");
  return Qel::validPtr(Qel::ptrCast<Acl::AclConfigAggregatorSm>(*object));
}

}  // namespace

Soak::Soak(const Options& options, const std::string& folder)
    : options_(options),
      random_(options.seed),
      address_(freeAddress()),
      agent_({"aclsnmp-soak", {address_}, configurationIn(folder)}),
      plugins_(options.pluginDir),
      scheduler_(Qel::make<Mek::TaskScheduler>()),
      mounts_(scheduler_),
      oracle_(mounts_.inputDir(), mounts_.statusDir()) {
  Qel::traceSinkIs([this](const Qel::TraceRecord& record) {
    // A name that another input has is refused with a trace; nothing else is to be said.
    if (record.handle == "AclConfig") {
      ++figures_.refusals;
    } else if (complaint_.empty()) {
      complaint_ = Qel::traceLine(record);
    }
  });
  Snmp::contextIs("");
  Snmp::initNewRegistrations();
  agent_.open();
  clients_.emplace(options.client, options.clients, address_, options.seed);
  const Sources::Mount mount{mounts_.inputDir(), mounts_.statusDir(), scheduler_, {}};
  churn_.emplace(mount, aggregator(), random_, options.bigRules,
                 [this](const Key& key, const Rows& left) { presence_.cut(key, left); });
}

Soak::~Soak() {
  clients_.reset();
  churn_.reset();
  plugins_.unregisterContexts();
  Qel::traceSinkIs({});
}

void Soak::turn(bool churning) {
  const bool busy = churning || scheduler_->pending();
  agent_.serve(busy ? 0.0 : 0.1, clients_->descriptors(), [this](int descriptor) {
    clients_->handleReadable(descriptor,
                             [this](size_t client, Answer& answer) { handle(client, answer); });
  });
  if (churning) churn();
  const double begun = cpu();
  scheduler_->runFor(Mek::TaskScheduler::kDefaultQuantum);
  figures_.longestSlice = std::max(figures_.longestSlice, cpu() - begun);
  ++figures_.slices;
  if (!complaint_.empty()) fail(complaint_);
}

void Soak::churn() {
  // Mostly a few changes at a time, now and then as many as several slices can take.
  const uint32_t most = random_.oneIn(1000) ? 5000 : random_.oneIn(100) ? 500 : 16;
  const uint32_t steps = 1 + random_.below(most);
  for (uint32_t i = 0; i < steps; ++i) churn_->step();
}

void Soak::handle(size_t client, Answer& answer) {
  const std::string& kind = answer.words.at(0);
  if (kind == "failed") {
    std::string text;
    for (const std::string& word : answer.words) text += " " + word;
    fail("client " + std::to_string(client) + text);
  }
  if (kind == "column") return checkColumn(answer);
  if (kind == "paused") {
    paused_[client] = {std::stoull(answer.words.at(1)), std::stod(answer.words.at(2))};
    return;
  }
  answer_ = std::move(answer);
}

void Soak::checkColumn(const Answer& answer) {
  const double ended = std::stod(answer.words.at(2));
  const std::string& column = answer.words.at(3);
  const auto group = static_cast<uint32_t>(std::stoul(column.substr(0, 1)));
  const auto table = static_cast<uint32_t>(std::stoul(column.substr(2, 1)));
  const std::unordered_set<std::string> found(answer.lines.begin(), answer.lines.end());
  ++figures_.walks;
  figures_.rowsWalked += found.size();
  for (const std::string& row : presence_.until(group, table, ended)) {
    ++figures_.rowsRequired;
    if (!found.contains(row)) {
      fail("a walk of " + column + " has not the row " + row + " that was there all the time");
    }
  }
}

void Soak::settle() {
  while (scheduler_->pending()) turn(false);
}

void Soak::pause() {
  paused_.clear();
  clients_->tellAll("pause");
  while (paused_.size() != clients_->size()) turn(false);
  figures_.requests = 0;
  for (const auto& [client, counts] : paused_) {
    figures_.requests += counts.first;
    figures_.longestAnswer = std::max(figures_.longestAnswer, counts.second);
  }
}

Answer Soak::ask(size_t client, const std::string& command) {
  answer_.reset();
  clients_->tell(client, command);
  while (!answer_) turn(false);
  return *std::exchange(answer_, std::nullopt);
}

void Soak::compare(const Tree& expected) {
  const Answer answer = ask(0, "walk");
  const auto& words = answer.words;
  const double uptime = std::stod(words.at(3).substr(words.at(3).find(':') + 1)) / 100;
  const Interval start{std::stod(words.at(1)) - uptime - 0.01, std::stod(words.at(2)) - uptime};
  std::string differences;
  size_t count = 0;
  const auto differs = [&](const std::string& text) {
    if (++count <= 8) differences += "\n  " + text;
  };
  auto line = answer.lines.begin();
  for (const auto& [oid, value] : expected) {
    ++figures_.valuesCompared;
    const std::string name = dotted(oid);
    if (line == answer.lines.end()) {
      differs("the walk ends before " + name);
      break;
    }
    const size_t space = line->find(' ');
    const std::string found = line->substr(space + 1);
    if (line->substr(0, space) != name) {
      differs(*line + " where " + name + " should be");
      break;
    }
    if (!value.time) {
      if (found != value.value) differs(name + " is " + found + ", not " + value.value);
    } else {
      constexpr double kMargin = 0.02;
      const double ticks = found.starts_with("67:") ? std::stod(found.substr(3)) / 100 : -1e9;
      if (start.latest + ticks + 0.01 < value.time->earliest - kMargin ||
          start.earliest + ticks > value.time->latest + kMargin) {
        differs(name + " is " + found + ", which is from " +
                std::to_string(start.earliest + ticks) + " and not from " +
                std::to_string(value.time->earliest) + " to " + std::to_string(value.time->latest));
      }
    }
    ++line;
  }
  if (count == 0 && line != answer.lines.end()) differs("the walk goes on with " + *line);
  if (count != 0) fail("at a rest the MIB differs from the model" + differences);
}

/// Some values of the tree one by one, and some that are not there.
void Soak::sample(const Tree& expected) {
  constexpr const char* kNoSuchInstance = "129:";
  for (int batch = 0; batch < 4; ++batch) {
    std::vector<std::pair<std::string, std::string>> wanted;
    std::string command = "get";
    for (int i = 0; i < 20; ++i) {
      Oid oid = random_.pick(expected).first;
      const bool absent = oid.size() > 4 && random_.oneIn(5);
      if (absent) oid.back() ^= 0x100;
      const auto found = expected.find(oid);
      if (found != expected.end() && found->second.time) continue;
      wanted.emplace_back(dotted(oid),
                          found == expected.end() ? kNoSuchInstance : found->second.value);
      command += " " + wanted.back().first;
    }
    const Answer answer = ask(clients_->size() - 1, command);
    for (size_t i = 0; i < wanted.size(); ++i) {
      const std::string line = wanted[i].first + " " + wanted[i].second;
      ++figures_.valuesCompared;
      if (answer.lines.at(i) != line) fail("GET gives " + answer.lines.at(i) + ", not " + line);
    }
  }
}

void Soak::timeOneAcl() {
  for (const Churn::Trial trial : Churn::kTrials) {
    const double begun = cpu();
    churn_->trial(trial);
    if (trial == Churn::Trial::revise) {
      figures_.longestAcl = std::max(figures_.longestAcl, cpu() - begun);
    }
    while (true) {
      const double ran = cpu();
      if (!scheduler_->runNext()) break;
      figures_.longestAcl = std::max(figures_.longestAcl, cpu() - ran);
    }
  }
}

void Soak::rest() {
  settle();
  const Tree expected = oracle_.tree(churn_->mounted());
  compare(expected);
  sample(expected);
  timeOneAcl();
  ++figures_.rests;
  presence_.forget();
  for (const auto& [key, acl] : oracle_.acls(churn_->mounted())) {
    std::set<uint32_t> rows;
    if (const auto version = acl.config->currCfg()) {
      for (auto it = version->ruleBySequence().begin(); it; ++it) rows.insert(it.key());
      for (auto it = version->remarkBySequence().begin(); it; ++it) rows.insert(it.key());
    }
    presence_.confirm(key, rows);
  }
}

void Soak::emptied() {
  presence_.forget();
  churn_->clear();
  settle();
  compare(oracle_.tree(churn_->mounted()));
  oracle_.forget();
  figures_.heapEnd = heapInUse();
  figures_.residentEnd = resident();
  // The first cycle warms caches up.
  if (++figures_.emptied == 1) {
    figures_.heapStart = figures_.heapEnd;
    figures_.residentStart = figures_.residentEnd;
  }
}

Figures Soak::run() {
  const Qel::Seconds begun = Qel::now();
  do {
    // Each cycle begins with as many ACLs as snapshots can have, and so ends with the same room
    // for their names.
    churn_->fill();
    rest();
    for (unsigned i = 0; i < options_.restsPerCycle; ++i) {
      churn_->epoch();
      clients_->tellAll("go");
      const double churned = Qel::now();
      while (Qel::now() - churned < options_.epoch) turn(true);
      pause();
      figures_.churning += Qel::now() - churned;
      rest();
    }
    emptied();
  } while (figures_.emptied < 2 || Qel::now() - begun < options_.seconds);
  figures_.elapsed = Qel::now() - begun;
  figures_.changes = churn_->changes();
  return figures_;
}

}  // namespace Soak
