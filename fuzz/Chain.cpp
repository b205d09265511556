#include "Chain.h"

#include <cstring>
#include <fstream>
#include <iterator>

#include "MibRequests.h"
#include "Require.h"
#include "qel/Trace.h"
#include "snmp/Registration.h"

namespace Fuzz {

namespace {

constexpr Qel::Seconds kStart = 1000;
constexpr Qel::Seconds kNow = 5000;

Row rowOf(const MibTest::TableCase& table, MibTest::Walk& walk) {
  Row row;
  const size_t name = table.hasTimeMark() ? 1 : 0;
  row.name = MibTest::stringOf(walk.index().at(name));
  if (table.hasSequence()) {
    row.seqId = static_cast<uint32_t>(*walk.index().at(name + 1)->val.integer);
  }
  for (const MibTest::ColumnCase& column : table.columns()) {
    MibTest::Batch batch(MODE_GET);
    const netsnmp_request_info& request = batch.add(column.number, table, walk);
    require(table.handler(nullptr, nullptr, batch.info(), batch.head()) == SNMP_ERR_NOERROR &&
                request.status == SNMP_ERR_NOERROR && request.requestvb->type == column.type,
            "every cell of every row can be read");
    row.cells[column.number] = {request.requestvb->type, MibTest::stringOf(request.requestvb)};
  }
  return row;
}

bool inOrder(const Row& before, const Row& after) {
  if (before.name.size() != after.name.size()) return before.name.size() < after.name.size();
  if (before.name != after.name) return before.name < after.name;  // by unsigned octets
  return before.seqId < after.seqId;
}

}  // namespace

uint32_t Row::changed() const {
  long ticks = 0;
  std::memcpy(&ticks, cells.rbegin()->second.octets.data(), sizeof ticks);
  return static_cast<uint32_t>(ticks);
}

Chain::Chain()
    : clock_(kNow),
      scheduler_(Qel::make<Mek::TaskScheduler>()),
      mounts_(scheduler_),
      applier_(Qel::make<Sources::Applier>(
          Sources::Mount{mounts_.inputDir(), mounts_.statusDir(), scheduler_,
                         [](Sources::Severity, const std::string&) {}},
          "fuzz")) {
  SnmpUtil::agentStartIs(kStart);
  // Level 0 is what hostile input causes; nobody reads it here.
  Qel::traceSinkIs([](const Qel::TraceRecord&) {});
}

Chain::~Chain() {
  Qel::traceSinkIs({});
  SnmpUtil::agentStartIs({});
}

void Chain::apply(Sources::Snapshot snapshot) {
  applier_->snapshotIs(std::move(snapshot));
  while (scheduler_->runNext()) {
  }
}

const AclSnmp::AclMib& Chain::mib() const {
  return *Qel::ptrCast<AclSnmp::AclMib>(SnmpUtil::getEntityRelative("snmp/acl/aclMIB"));
}

Served Chain::served() const {
  Served all;
  for (const MibTest::TableCase& table : MibTest::tables()) {
    std::vector<Row>& rows = all.emplace_back();
    MibTest::Walk walk(table, mib());
    for (auto* at = walk.first(); at != nullptr; at = walk.next()) {
      rows.push_back(rowOf(table, walk));
      require(rows.size() == 1 || inOrder(rows[rows.size() - 2], rows.back()),
              "a walk is strictly increasing");
    }
  }
  return all;
}

Sources::Snapshot snapshotOf(const std::string& document) {
  auto parsed = OpenConfig::parse(document);
  if (const auto* error = std::get_if<OpenConfig::DocumentError>(&parsed)) {
    broken(error->text("a good document"));
  }
  return std::move(std::get<Sources::Snapshot>(parsed));
}

Sources::Snapshot exampleSnapshot() {
  std::ifstream in(EXAMPLES "/acls.json");
  Sources::Snapshot snapshot = snapshotOf({std::istreambuf_iterator<char>(in), {}});
  Qel::Seconds changed = kStart;
  for (auto& [key, acl] : snapshot.acls) {
    for (auto& [sequence, rule] : acl.rules) {
      if (rule.counter) rule.counter->lastUpdate = changed += 7.77;
    }
  }
  return snapshot;
}

}  // namespace Fuzz
