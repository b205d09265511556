#include "Commands.h"

#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <sstream>
#include <stdexcept>

#include "Model.h"
#include "Peers.h"
#include "snmp/Converters.h"
#include "snmp/Registration.h"

namespace Bench {

namespace {

double processorSeconds() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

/// Wall and processor time since it was made.
class Stopwatch {
 public:
  double wall() const { return Qel::now() - wall_; }
  double processor() const { return processorSeconds() - processor_; }

 private:
  Qel::Seconds wall_ = Qel::now();
  double processor_ = processorSeconds();
};

/// Octets that the allocator has handed out.
double heap() {
  const auto info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

/// A line of JSON: {"name": number, ...}
std::string json(std::initializer_list<std::pair<const char*, double>> members) {
  std::string text = "{";
  for (const auto& [name, value] : members) {
    char member[128];
    std::snprintf(member, sizeof member, "%s\"%s\": %.9g", text.size() == 1 ? "" : ", ", name,
                  value);
    text += member;
  }
  return text + "}";
}

Acl::AclType typeOf(const std::string& name) {
  for (const Acl::AclType type : Acl::kAclTypes) {
    if (name == Acl::stringValue(type)) return type;
  }
  throw std::runtime_error("no ACL type " + name);
}

constexpr auto kIpv4 = Acl::AclType::ipv4;

}  // namespace

/// Counts what happens to the rows of the IPv4 ACL table: an ACL that is taken from the backlog
/// loses its row and gets it again.
class Commands::RowCount final : public AclSnmp::AclMib::NotifieeConst {
 public:
  explicit RowCount(const Qel::Ptr<AclSnmp::AclMib>& mib) { notifierIs(mib); }
  using AclSnmp::AclMib::NotifieeConst::onIpAclTable;
  void onIpAclTable(Snmp::String /*key*/) override {
    ++events;
    last = watch.wall();
    processor = watch.processor();
  }

  size_t events = 0;
  double last = 0;
  double processor = 0;

 private:
  Stopwatch watch;
};

Commands::Commands(const Daemon::Mounts& mounts, const Qel::Ptr<Mek::TaskScheduler>& scheduler)
    : scheduler_(scheduler),
      mib_(Qel::ptrCast<AclSnmp::AclMib>(SnmpUtil::getEntityRelative("snmp/acl/aclMIB"))),
      config_(Qel::make<Acl::Input::Config>("bench")),
      status_(Qel::make<Acl::Input::Status>("bench")) {
  if (!mib_) throw std::runtime_error("no MIB entity");
  mounts.statusDir()->entityIs(status_);
  mounts.inputDir()->entityIs(config_);
}

Commands::~Commands() = default;

void Commands::handleReadable(int descriptor) {
  char buffer[4096];
  const ssize_t length = ::read(descriptor, buffer, sizeof buffer);
  if (length <= 0) {
    // Whoever gave the commands has gone.
    std::raise(SIGTERM);
    return;
  }
  input_.append(buffer, static_cast<size_t>(length));
  for (size_t end = input_.find('\n'); end != std::string::npos; end = input_.find('\n')) {
    const std::string line = input_.substr(0, end);
    input_.erase(0, end + 1);
    std::string answer;
    try {
      answer = run(line);
    } catch (const std::exception& error) {
      answer = std::string("{\"error\": \"") + error.what() + "\"}";
    }
    std::printf("%s\n", answer.c_str());
    std::fflush(stdout);
  }
}

std::string Commands::run(const std::string& line) {
  std::istringstream words(line);
  std::string command;
  std::string word;
  size_t first = 0;
  size_t second = 0;
  words >> command;
  if (command == "model" && words >> word >> first >> second)
    return model(typeOf(word), {first, second});
  if (command == "peers") {
    peerRowsAre(shapes_[static_cast<size_t>(kIpv4)]);
    return "{}";
  }
  if (command == "count" && words >> first) return count(first);
  if (command == "change" && words >> word) return change(word == "inplace");
  if (command == "delete" && words >> first) return remove(first);
  if (command == "burst" && words >> first >> second) return burst(first, second);
  if (command == "drained") return drained();
  if (command == "quit") {
    std::raise(SIGTERM);
    return "{}";
  }
  throw std::runtime_error("no command " + line);
}

void Commands::drain() {
  while (scheduler_->runNext()) {
  }
}

size_t Commands::rows(Acl::AclType type) const {
  switch (type) {
    case Acl::AclType::ipv4:
      return mib_->ipAclRuleTables();
    case Acl::AclType::mac:
      return mib_->macAclRuleTables();
    case Acl::AclType::ipv6:
      return mib_->ipv6AclRuleTables();
  }
  return 0;
}

std::string Commands::model(Acl::AclType type, const Shape& shape) {
  shapes_[static_cast<size_t>(type)] = shape;
  const double before = heap();
  std::vector<Qel::Ptr<Acl::AclStatus>> statuses;
  std::vector<Qel::Ptr<Acl::AclConfig>> configs;
  const Qel::Seconds now = Qel::now();
  for (size_t acl = 0; acl < shape.acls; ++acl) {
    statuses.push_back(aclStatus(shape, acl, now));
    configs.push_back(aclConfig(shape, type, acl));
  }
  const double modelled = heap();
  const Stopwatch watch;
  for (size_t acl = 0; acl < shape.acls; ++acl) {
    status_->statusIs(type)->aclIs(statuses[acl]);
    config_->typeConfig(type)->aclIs(configs[acl]);
  }
  drain();
  const double wall = watch.wall();
  const double processor = watch.processor();
  if (rows(type) != shape.rules()) throw std::runtime_error("not all rows are there");
  return json({{"rows", static_cast<double>(rows(type))},
               {"wall_s", wall},
               {"cpu_s", processor},
               {"model_bytes", modelled - before},
               {"row_bytes", heap() - modelled}});
}

std::string Commands::count(size_t step) {
  const Shape& shape = shapes_[static_cast<size_t>(kIpv4)];
  const Qel::Seconds now = Qel::now();
  size_t counted = 0;
  for (size_t rule = 0; rule < shape.rules(); rule += step) {
    const Qel::Name name(Qel::String8(Shape::aclName(rule / shape.rulesPerAcl)));
    const auto acl = Qel::Ptr<Acl::AclStatus>(
        const_cast<Acl::AclStatus*>(status_->statusIs(kIpv4)->acl(name).get()));
    const Acl::UniqueId id = idOf(rule % shape.rulesPerAcl);
    acl->ruleStatusIs(id, {acl->ruleStatus(id).pkts + 1, now});
    ++counted;
  }
  drain();
  return json({{"mark", SecondsToTimeTicks(NowSecondsToUptimeSeconds(now))},
               {"rows", static_cast<double>(counted)}});
}

std::string Commands::change(bool inPlace) {
  const Shape& shape = shapes_[static_cast<size_t>(kIpv4)];
  const Qel::Name name(Qel::String8(Shape::aclName(shape.acls / 2)));
  const auto acl = Qel::Ptr<Acl::AclConfig>(
      const_cast<Acl::AclConfig*>(config_->typeConfig(kIpv4)->acl(name).get()));
  const uint32_t sequence = nextSequence_;
  nextSequence_ += 10;
  const size_t before = rows(kIpv4);
  const auto changed =
      inPlace ? Qel::Ptr<Acl::AclSubConfig>(const_cast<Acl::AclSubConfig*>(acl->currCfg().get()))
              : version(shape, kIpv4, shape.acls / 2 * shape.rulesPerAcl);
  if (!inPlace) {
    // The additions of earlier commands stay.
    for (uint32_t earlier = 5; earlier < sequence; earlier += 10) {
      changed->ruleBySequenceIs(earlier, Acl::UniqueId(earlier, 0, 0));
    }
  }
  const Stopwatch watch;
  changed->ruleBySequenceIs(sequence, Acl::UniqueId(sequence, 0, 0));
  if (!inPlace) acl->currCfgIs(changed);
  drain();
  const double wall = watch.wall();
  if (rows(kIpv4) != before + 1) throw std::runtime_error("not one row more");
  return json({{"wall_s", wall}, {"cpu_s", watch.processor()}});
}

std::string Commands::remove(size_t acls) {
  const Shape& shape = shapes_[static_cast<size_t>(kIpv4)];
  const size_t before = rows(kIpv4);
  const Stopwatch watch;
  for (size_t acl = 0; acl < acls; ++acl) {
    const Qel::Name name(Qel::String8(Shape::aclName(acl)));
    config_->typeConfig(kIpv4)->aclDel(name);
    status_->statusIs(kIpv4)->aclDel(name);
  }
  drain();
  const double wall = watch.wall();
  const double processor = watch.processor();
  if (rows(kIpv4) + acls * shape.rulesPerAcl > before) throw std::runtime_error("rows are left");
  return json({{"rows_gone", static_cast<double>(before - rows(kIpv4))},
               {"wall_s", wall},
               {"cpu_s", processor}});
}

std::string Commands::burst(size_t names, size_t changes) {
  const Shape& shape = shapes_[static_cast<size_t>(kIpv4)];
  std::vector<Qel::Ptr<Acl::AclConfig>> configs;
  for (size_t change = 0; change < changes; ++change) {
    configs.push_back(aclConfig(shape, kIpv4, change % names));
  }
  rowCount_ = std::make_unique<RowCount>(mib_);
  changes_ = changes;
  const Stopwatch watch;
  for (const auto& config : configs) config_->typeConfig(kIpv4)->aclIs(config);
  return json({{"changes", static_cast<double>(changes)}, {"apply_s", watch.wall()}});
}

std::string Commands::drained() {
  if (scheduler_->pending()) throw std::runtime_error("not drained yet");
  if (!rowCount_) throw std::runtime_error("no burst");
  const auto count = std::move(rowCount_);
  return json({{"changes", static_cast<double>(changes_)},
               {"entries", static_cast<double>(count->events) / 2},
               {"wall_s", count->last},
               {"cpu_s", count->processor}});
}

}  // namespace Bench
