// aclsnmp-bench-micro: the parts that a request or a change is made of, one by one.

#include <benchmark/benchmark.h>

#include <random>

#include "Chain.h"
#include "conversions/SnmpConversions.h"
#include "snmp/Converters.h"

namespace Bench {
namespace {

const Chain& large() {
  static const Chain chain({10, 10000});
  return chain;
}

/// Indexes of random rows of the large table.
const std::vector<AclSnmp::AclRuleTableIndex>& indexes() {
  static const auto made = [] {
    std::mt19937 random(1);
    std::vector<AclSnmp::AclRuleTableIndex> all;
    for (size_t i = 0; i < 4096; ++i) all.push_back(large().index(random() % 100000));
    return all;
  }();
  return made;
}
const AclSnmp::AclRuleTableIndex& anIndex(size_t i) { return indexes()[i % indexes().size()]; }

void compareIndexes(benchmark::State& state) {
  indexes();  // made before it is timed
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(anIndex(i) < anIndex(i + 1));
    ++i;
  }
}
BENCHMARK(compareIndexes);

void lookUpRow(benchmark::State& state) {
  indexes();
  size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(large().mib().ipAclRuleTable(anIndex(i++)));
}
BENCHMARK(lookUpRow);

void positionIterator(benchmark::State& state) {
  indexes();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(large().mib().ipAclRuleTable().startAt(anIndex(i++)));
  }
}
BENCHMARK(positionIterator);

void advanceIterator(benchmark::State& state) {
  auto it = large().mib().ipAclRuleTable().begin();
  for (auto _ : state) {
    ++it;
    if (it.atEnd()) it = large().mib().ipAclRuleTable().begin();
    benchmark::DoNotOptimize(it);
  }
}
BENCHMARK(advanceIterator);

template <auto attribute>
void readRow(benchmark::State& state) {
  std::vector<Qel::Ptr<AclSnmp::IpAclRuleTableEntry>> rows;
  for (const auto& index : indexes()) rows.push_back(large().mib().ipAclRuleTable(index));
  size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(((*rows[i++ % rows.size()]).*attribute)());
}
void readAction(benchmark::State& state) { readRow<&AclSnmp::IpAclRuleTableEntry::action>(state); }
BENCHMARK(readAction);
void readPorts(benchmark::State& state) { readRow<&AclSnmp::IpAclRuleTableEntry::dports>(state); }
BENCHMARK(readPorts);
void readRemark(benchmark::State& state) { readRow<&AclSnmp::IpAclRuleTableEntry::remark>(state); }
BENCHMARK(readRemark);
void readCounter(benchmark::State& state) {
  std::vector<Qel::Ptr<AclSnmp::IpAclRuleStatsTableEntry>> rows;
  for (const auto& index : indexes()) rows.push_back(large().mib().ipAclRuleStatsTable(index));
  size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(rows[i++ % rows.size()]->pkts());
}
BENCHMARK(readCounter);

template <class Encoder, class Value>
void encode(benchmark::State& state, const Value& value) {
  unsigned char buffer[1024];
  for (auto _ : state) benchmark::DoNotOptimize(Encoder()(value, buffer, sizeof buffer));
}
void encodeUnsigned(benchmark::State& state) { encode<U32ToAsnUnsignedF>(state, uint32_t{7}); }
BENCHMARK(encodeUnsigned);
void encodeCounter(benchmark::State& state) { encode<U64ToCounter64F>(state, 7ULL); }
BENCHMARK(encodeCounter);
void encodeString(benchmark::State& state) {
  encode<StringToAsnOctetStringF>(state, Qel::String8("1024-65535"));
}
BENCHMARK(encodeString);
void encodeAddress(benchmark::State& state) {
  encode<KavetIpAddrToAsnOctetStringF>(state, Kavet::IpAddr(0x0A000001));
}
BENCHMARK(encodeAddress);
void encodeTcpFlags(benchmark::State& state) {
  const Acl::IpRuleConfig rule = ipRule(1);
  unsigned char buffer[8];
  for (auto _ : state) {
    benchmark::DoNotOptimize(TcpFlagsToAsnBits(rule.filter, buffer, sizeof buffer));
  }
}
BENCHMARK(encodeTcpFlags);
void encodeUptime(benchmark::State& state) {
  encode<NowSecondsToUptimeTimeTicksF>(state, Qel::now());
}
BENCHMARK(encodeUptime);

void insertIntoBacklog(benchmark::State& state) {
  Backlog backlog;
  for (auto _ : state) {
    backlog.insert(Backlog::kNames);
    state.PauseTiming();
    backlog.drain();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(Backlog::kNames));
}
BENCHMARK(insertIntoBacklog)->Name("insert1000IntoBacklog");
void drainBacklog(benchmark::State& state) {
  Backlog backlog;
  for (auto _ : state) {
    state.PauseTiming();
    backlog.insert(Backlog::kNames);
    state.ResumeTiming();
    backlog.drain();
  }
}
BENCHMARK(drainBacklog)->Name("drainBacklogOf1000");

void replaceAcl(benchmark::State& state) {
  Chain chain({static_cast<size_t>(state.range(0)), 10});
  for (auto _ : state) {
    chain.replaceFirst();
    chain.drain();
  }
}
BENCHMARK(replaceAcl)->Name("replaceAclOf10RulesAmong")->Arg(1)->Arg(100)->Arg(1000);

void notifyOne(benchmark::State& state) {
  class Reactor final : public Acl::AclConfig::NotifieeConst {
   public:
    void onReadonly() override { ++calls; }
    size_t calls = 0;
  };
  const auto acl = Qel::make<Acl::AclConfig>("acl", Acl::AclType::ipv4);
  Reactor reactor;
  reactor.notifierIs(acl);
  bool value = false;
  for (auto _ : state) acl->readonlyIs(value = !value);
  benchmark::DoNotOptimize(reactor.calls);
}
BENCHMARK(notifyOne);

}  // namespace
}  // namespace Bench

BENCHMARK_MAIN();
