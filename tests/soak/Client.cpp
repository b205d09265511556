// One SNMP client of the soak: asks the agent at random until it is told to stop, and reads the
// whole MIB when it is told to. Commands come on standard input, one a line:
//
//     go                   ask at random
//     pause                finish the current walk and stop:    paused REQUESTS LONGEST
//     walk                 read everything:                     tree BEGUN ENDED UPTIME COUNT,
//     values get OID ...          read these:                          values COUNT, values
//
// A walk of a column at random answers with `column BEGUN ENDED COLUMN COUNT` and the index of each
// row; what must not be with `failed TEXT`. Times are seconds on the monotonic clock.

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Oid = std::vector<oid>;

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

bool below(const Oid& name, const Oid& root) {
  return name.size() > root.size() && std::equal(root.begin(), root.end(), name.begin());
}

std::string dotted(const Oid& name, size_t from = 0) {
  std::string made;
  for (size_t i = from; i < name.size(); ++i) {
    made += (made.empty() ? "" : ".") + std::to_string(name[i]);
  }
  return made;
}

Oid parse(const std::string& text) {
  Oid made;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, '.');) made.push_back(std::stoul(part));
  return made;
}

Oid join(Oid first, const Oid& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

/// One variable of an answer.
struct Value {
  Oid name;
  u_char type;
  std::string text;
};

bool isException(u_char type) {
  return type == SNMP_NOSUCHOBJECT || type == SNMP_NOSUCHINSTANCE || type == SNMP_ENDOFMIBVIEW;
}

std::string textOf(const netsnmp_variable_list& variable) {
  std::string made = std::to_string(variable.type) + ":";
  switch (variable.type) {
    case ASN_INTEGER:
    case ASN_UNSIGNED:
    case ASN_TIMETICKS:
      return made + std::to_string(*variable.val.integer);
    case ASN_COUNTER64:
      return made + std::to_string((static_cast<uint64_t>(variable.val.counter64->high) << 32) |
                                   variable.val.counter64->low);
    case ASN_OCTET_STR:
    case ASN_IPADDRESS:
      for (size_t i = 0; i < variable.val_len; ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", variable.val.string[i]);
        made += digits;
      }
      return made;
    default:
      return made;
  }
}

class Session {
 public:
  explicit Session(const std::string& peer) {
    netsnmp_session wanted;
    snmp_sess_init(&wanted);
    std::string address = peer;
    char community[] = "public";
    wanted.version = SNMP_VERSION_2c;
    wanted.peername = address.data();
    wanted.community = reinterpret_cast<u_char*>(community);
    wanted.community_len = sizeof community - 1;
    // On loopback nothing is lost, so nothing is sent twice.
    wanted.retries = 0;
    wanted.timeout = 120L * 1000 * 1000;
    session_ = snmp_sess_open(&wanted);
    if (session_ == nullptr) throw std::runtime_error("no session with " + peer);
  }
  ~Session() { snmp_sess_close(session_); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// One exchange. Throws for an answer that is an error, or for none.
  std::vector<Value> ask(int command, const std::vector<Oid>& names, long repetitions = 0) {
    netsnmp_pdu* pdu = snmp_pdu_create(command);
    if (command == SNMP_MSG_GETBULK) {
      pdu->non_repeaters = 0;
      pdu->max_repetitions = repetitions;
    }
    for (const Oid& name : names) snmp_add_null_var(pdu, name.data(), name.size());
    netsnmp_pdu* answer = nullptr;
    const double begun = now();
    const int status = snmp_sess_synch_response(session_, pdu, &answer);
    const double took = now() - begun;
    const std::unique_ptr<netsnmp_pdu, decltype(&snmp_free_pdu)> owner(answer, &snmp_free_pdu);
    ++requests;
    longest = std::max(longest, took);
    const std::string what = " for " + dotted(names.front());
    if (status != STAT_SUCCESS) throw std::runtime_error("no answer" + what);
    if (answer->errstat != SNMP_ERR_NOERROR) {
      throw std::runtime_error("error " + std::to_string(answer->errstat) + what);
    }
    std::vector<Value> values;
    for (const auto* v = answer->variables; v != nullptr; v = v->next_variable) {
      values.push_back({Oid(v->name, v->name + v->name_length), v->type, textOf(*v)});
    }
    return values;
  }

  uint64_t requests = 0;
  double longest = 0;

 private:
  void* session_;
};

struct TableShape {
  oid group;
  oid table;
  oid lastColumn;
};
constexpr TableShape kTables[] = {{1, 1, 4}, {1, 2, 21}, {1, 3, 3},  {2, 1, 4}, {2, 2, 9},
                                  {2, 3, 3}, {3, 1, 4},  {3, 2, 19}, {3, 3, 3}};

class Client {
 public:
  Client(const std::string& peer, Oid base, uint64_t seed)
      : session_(peer), base_(std::move(base)), random_(seed) {}

  void run() {
    bool going = false;
    while (true) {
      pollfd in{STDIN_FILENO, POLLIN, 0};
      if (::poll(&in, 1, going ? 0 : -1) <= 0) {
        guarded([this] { askAtRandom(); });
        continue;
      }
      std::string line;
      if (!readLine(line)) return;
      std::istringstream words(line);
      std::string command;
      words >> command;
      if (command == "go") going = true;
      if (command == "pause") {
        going = false;
        std::printf("paused %" PRIu64 " %.6f\n", session_.requests, session_.longest);
      }
      if (command == "walk") guarded([this] { tree(); });
      if (command == "get") guarded([&] { get(words); });
      std::fflush(stdout);
    }
  }

 private:
  template <class Work>
  void guarded(Work&& work) {
    try {
      work();
    } catch (const std::exception& error) {
      std::printf("failed %s\n", error.what());
      std::fflush(stdout);
    }
  }

  static bool readLine(std::string& line) {
    char octet = 0;
    while (::read(STDIN_FILENO, &octet, 1) == 1) {
      if (octet == '\n') return true;
      line += octet;
    }
    return false;
  }

  size_t chance(size_t n) { return random_() % n; }

  /// All values below a root, by GETNEXT or, with repetitions, by GETBULK.
  std::vector<Value> walk(const Oid& root, long repetitions) {
    std::vector<Value> found;
    Oid last = root;
    while (true) {
      const auto answer =
          session_.ask(repetitions == 0 ? SNMP_MSG_GETNEXT : SNMP_MSG_GETBULK, {last}, repetitions);
      if (answer.empty()) throw std::runtime_error("an empty answer after " + dotted(last));
      for (const Value& value : answer) {
        if (value.type == SNMP_ENDOFMIBVIEW) return found;
        if (isException(value.type)) throw std::runtime_error("no value at " + dotted(value.name));
        if (snmp_oid_compare(last.data(), last.size(), value.name.data(), value.name.size()) >= 0) {
          throw std::runtime_error("the walk goes back from " + dotted(last) + " to " +
                                   dotted(value.name));
        }
        if (!below(value.name, root)) return found;
        last = value.name;
        found.push_back(value);
      }
    }
  }

  void tree() {
    const double begun = now();
    const auto uptime = session_.ask(SNMP_MSG_GET, {{1, 3, 6, 1, 2, 1, 1, 3, 0}});
    const double ended = now();
    const auto found = walk(base_, 40);
    std::printf("tree %.6f %.6f %s %zu\n", begun, ended, uptime.at(0).text.c_str(), found.size());
    for (const Value& value : found) print(value);
  }

  void get(std::istringstream& words) {
    std::vector<Oid> names;
    for (std::string word; words >> word;) names.push_back(join(base_, parse(word)));
    const auto found = session_.ask(SNMP_MSG_GET, names);
    std::printf("values %zu\n", found.size());
    for (const Value& value : found) print(value);
  }

  void print(const Value& value) const {
    std::printf("%s %s\n", dotted(value.name, base_.size()).c_str(), value.text.c_str());
  }

  Oid columnAtRandom() {
    const TableShape& shape = kTables[chance(std::size(kTables))];
    return join(base_, {shape.group, shape.table, 1, 2 + chance(shape.lastColumn - 1)});
  }

  void askAtRandom() {
    static constexpr long kRepetitions[] = {0, 1, 3, 10, 40};
    const long repetitions = kRepetitions[chance(std::size(kRepetitions))];
    switch (chance(8)) {
      case 0:
        return wholeTable(std::max(10L, repetitions));
      case 1:
      case 2:
        return getAtRandom();
      case 3:
        return changedSince(repetitions);
      default:
        return column(repetitions);
    }
  }

  void column(long repetitions) {
    const Oid root = columnAtRandom();
    const double begun = now();
    const auto found = walk(root, repetitions);
    report(begun, now(), root, found);
  }

  void wholeTable(long repetitions) {
    const TableShape& shape = kTables[chance(std::size(kTables))];
    const Oid root = join(base_, {shape.group, shape.table});
    const double begun = now();
    const auto found = walk(root, repetitions);
    const double ended = now();
    for (oid number = 2; number <= shape.lastColumn; ++number) {
      const Oid column = join(root, {1, number});
      std::vector<Value> part;
      std::copy_if(found.begin(), found.end(), std::back_inserter(part),
                   [&](const Value& value) { return below(value.name, column); });
      report(begun, ended, column, part);
    }
  }

  void report(double begun, double ended, const Oid& column, const std::vector<Value>& found) {
    std::printf("column %.6f %.6f %s %zu\n", begun, ended, dotted(column, base_.size()).c_str(),
                found.size());
    for (const Value& value : found) {
      std::printf("%s\n", dotted(value.name, column.size()).c_str());
      if (known_.size() < kKnown) {
        known_.push_back(value.name);
      } else if (chance(8) == 0) {
        known_[chance(kKnown)] = value.name;
      }
    }
    std::fflush(stdout);
  }

  /// Several rows that were there once: each has a value or is gone.
  void getAtRandom() {
    std::vector<Oid> names = {join(base_, {4, 0})};
    for (size_t i = chance(10); i > 0 && !known_.empty(); --i) {
      names.push_back(known_[chance(known_.size())]);
    }
    const auto found = session_.ask(SNMP_MSG_GET, names);
    for (size_t i = 0; i < names.size(); ++i) {
      if (found.at(i).name != names[i]) throw std::runtime_error("not asked: " + dotted(names[i]));
      if (isException(found[i].type) && (i == 0 || found[i].type != SNMP_NOSUCHINSTANCE)) {
        throw std::runtime_error("no value at " + dotted(names[i]) + " but " + found[i].text);
      }
    }
  }

  /// A walk of what changed lately: all of it under the mark that was asked for.
  void changedSince(long repetitions) {
    const auto uptime = session_.ask(SNMP_MSG_GET, {{1, 3, 6, 1, 2, 1, 1, 3, 0}}).at(0).text;
    const oid ticks = std::stoul(uptime.substr(uptime.find(':') + 1));
    const oid mark = ticks - std::min<oid>(ticks, chance(300));
    const Oid root = join(base_, {1 + chance(3), 3, 1, 2 + chance(2), mark});
    walk(root, repetitions);
  }

  static constexpr size_t kKnown = 2000;

  Session session_;
  Oid base_;
  std::mt19937_64 random_;
  std::vector<Oid> known_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s PEER BASE-OID SEED\n", argv[0]);
    return 2;
  }
  try {
    setenv("MIBS", "", 1);
    init_snmp("aclsnmp-soak-client");
    Client(argv[1], parse(argv[2]), std::stoull(argv[3])).run();
    return 0;
  } catch (const std::exception& error) {
    std::printf("failed %s\n", error.what());
    return 1;
  }
}
