// ACL documents: any text is refused with one line, or becomes exactly its rows; after either, the
// good document gives the good rows again.

#include <algorithm>
#include <cstring>

#include "Chain.h"
#include "CpuLimit.h"
#include "Require.h"

namespace Fuzz {

namespace {

using OpenConfig::DocumentError;
using OpenConfig::Limits;
using OpenConfig::parse;
using OpenConfig::Parsed;
using Sources::Snapshot;

constexpr const char* kGood = R"({"openconfig-acl:acl": {
  "zorlen-acl-ext:data-plane": {"acl-supported": true, "counters-supported": true},
  "acl-sets": {"acl-set": [
    {"name": "web", "type": "ACL_IPV4", "config": {"zorlen-acl-ext:counters-enabled": true},
     "acl-entries": {"acl-entry": [
       {"sequence-id": 5, "config": {"description": "remark", "zorlen-acl-ext:remark-only": true}},
       {"sequence-id": 10, "config": {"description": "rule"},
        "ipv4": {"config": {"source-address": "10.0.0.0/8", "protocol": "IP_TCP"}},
        "transport": {"config": {"destination-port": "1024..2048"}},
        "actions": {"config": {"forwarding-action": "ACCEPT"}},
        "state": {"matched-packets": "9007199254740993"}}]}},
    {"name": "web", "type": "ACL_IPV6", "acl-entries": {"acl-entry": [
       {"sequence-id": 10, "ipv6": {"config": {"destination-address": "2001:db8::/32"}},
        "actions": {"config": {"forwarding-action": "DROP", "log-action": "LOG_SYSLOG"}}}]}},
    {"name": "access", "type": "ACL_L2", "config": {"zorlen-acl-ext:read-only": true},
     "acl-entries": {"acl-entry": [
       {"sequence-id": 20, "l2": {"config": {"source-mac": "00:53:00:00:00:01"}},
        "actions": {"config": {"forwarding-action": "ACCEPT"}}}]}}]}}})";

struct Model {
  Model() {
    chain.apply(snapshotOf(kGood));
    good = chain.served();
  }
  Chain chain;
  Served good;
};

/// Rows as far as they can be told from a snapshot at a glance: keys, remarks, counters.
struct Outline {
  std::string name;
  uint32_t seqId = 0;
  std::string remark;
  uint64_t packets = 0;
  friend bool operator==(const Outline&, const Outline&) = default;
};
using Outlines = std::vector<std::vector<Outline>>;

bool before(const Outline& a, const Outline& b) {
  if (a.name.size() != b.name.size()) return a.name.size() < b.name.size();
  return a.name != b.name ? a.name < b.name : a.seqId < b.seqId;
}

/// In the order of the tables: IPv4, MAC, IPv6, each its ACLs, its rules, their statistics.
Outlines outlinesOf(const Snapshot& snapshot) {
  Outlines all(MibTest::tables().size());
  for (const auto& [key, acl] : snapshot.acls) {
    const size_t family = key.first == Acl::AclType::ipv4  ? 0
                          : key.first == Acl::AclType::mac ? 3
                                                           : 6;
    all[family].push_back({key.second, 0, "", 0});
    std::map<uint32_t, Outline> rows;
    for (const auto& [sequence, rule] : acl.rules) {
      Outline& row = rows[sequence] = {key.second, sequence, "", 0};
      if (rule.counter) row.packets = rule.counter->pkts;
    }
    for (const auto& [sequence, text] : acl.remarks) {
      Outline& row = rows[sequence];
      row.name = key.second;
      row.seqId = sequence;
      row.remark = text;
    }
    for (const auto& [sequence, row] : rows) {
      all[family + 1].push_back({row.name, sequence, row.remark, 0});
      all[family + 2].push_back({row.name, sequence, "", row.packets});
    }
  }
  for (auto& rows : all) std::sort(rows.begin(), rows.end(), before);
  return all;
}

Outlines outlinesOf(const Served& served) {
  Outlines all(served.size());
  for (size_t i = 0; i < served.size(); ++i) {
    const MibTest::Kind kind = MibTest::tables()[i].kind;
    for (const Row& row : served[i]) {
      Outline& outline = all[i].emplace_back(Outline{row.name, row.seqId, "", 0});
      if (kind == MibTest::Kind::rules) outline.remark = row.cells.rbegin()->second.octets;
      if (kind != MibTest::Kind::stats) continue;
      counter64 packets{};
      std::memcpy(&packets, row.cells.begin()->second.octets.data(), sizeof packets);
      outline.packets = uint64_t{packets.high} << 32 | packets.low;
    }
  }
  return all;
}

void checkRefusal(const Parsed& parsed) {
  const auto* error = std::get_if<DocumentError>(&parsed);
  if (error == nullptr) return;
  constexpr size_t kLongest = 16384;
  const std::string line = error->text("file");
  const bool printable =
      std::all_of(line.begin(), line.end(), [](char c) { return c >= 0x20 && c <= 0x7e; });
  if (!printable) broken("a refusal is one printable line: " + line);
  require(line.starts_with("file:") && line.size() < kLongest, "a refusal names the file and ends");
  require(!error->found.empty() && !error->expected.empty(), "a refusal says what and why");
}

bool isGood(const Parsed& parsed) { return std::holds_alternative<Snapshot>(parsed); }

/// What narrower limits let pass also passes without them.
void checkLimits(std::string_view text, bool good) {
  Limits exact;
  exact.octets = text.size();
  require(isGood(parse(text, exact)) == good, "a document may be as long as the limit");
  if (!text.empty()) {
    Limits shorter;
    shorter.octets = text.size() - 1;
    require(!isGood(parse(text, shorter)), "a document may not be longer than the limit");
  }
  for (const size_t few : {0, 1, 3, 9}) {
    Limits narrow;
    narrow.depth = narrow.entries = few;
    const Parsed parsed = parse(text, narrow);
    checkRefusal(parsed);
    require(good || !isGood(parsed), "narrow limits refuse what wide ones refuse");
  }
  std::stop_source stop;
  stop.request_stop();
  require(!isGood(parse(text, {}, stop.get_token())), "a stop ends the reading");
}

}  // namespace

}  // namespace Fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace Fuzz;
  static Model model;
  static size_t documents = 0;
  static size_t accepted = 0;
  static const struct Figures {
    ~Figures() {
      std::fprintf(stderr, "counted: %zu documents\ncounted: %zu documents accepted\n", documents,
                   accepted);
    }
  } figures;
  const CpuLimit limit;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  Parsed parsed = parse(text);
  ++documents;
  checkRefusal(parsed);
  checkLimits(text, isGood(parsed));
  if (!isGood(parsed)) return 0;
  ++accepted;
  const Outlines expected = outlinesOf(std::get<Snapshot>(parsed));
  model.chain.apply(std::move(std::get<Snapshot>(parsed)));
  const Served served = model.chain.served();
  require(outlinesOf(served) == expected, "a document becomes its rows, and no others");
  model.chain.apply(snapshotOf(std::string(text)));
  require(model.chain.served() == served, "a document that comes again changes nothing");
  model.chain.apply(snapshotOf(kGood));
  require(model.chain.served() == model.good, "the good document gives the good rows again");
  return 0;
}
