#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <sstream>

#include "Documents.h"
#include "acl/Aggregator.h"
#include "apply/Applier.h"
#include "dump/ModelSnapshot.h"
#include "snapshot/Text.h"

namespace OpenConfig {
namespace {

using Acl::AclType;
using Acl::RangeOperator;
using Acl::UniqueId;

/// What the model holds after a source has published a snapshot.
Snapshot published(const Snapshot& snapshot) {
  const auto scheduler = Qel::make<Mek::TaskScheduler>();
  const auto inputDir = Qel::make<Qel::Dir>("input");
  const auto statusDir = Qel::make<Qel::Dir>("status");
  const auto config = Qel::make<Acl::Config>("config");
  const auto status = Qel::make<Acl::Status>("status");
  const auto configs =
      Qel::make<Acl::AclConfigAggregatorSm>(inputDir, Qel::make<Acl::Input::Config>("cli"), config);
  const auto statuses = Qel::make<Acl::AclStatusAggregatorSm>(inputDir, statusDir, config, status);
  const auto applier = Qel::make<Sources::Applier>(
      Sources::Mount{inputDir, statusDir, scheduler, nullptr}, "source");
  applier->snapshotIs(snapshot);
  while (scheduler->runNext()) {
  }
  return Dump::snapshotOf(*config, *status);
}

/// Seeded snapshots of everything that the model can carry and a column can show.
class Random {
 public:
  explicit Random(uint32_t seed) : engine_(seed) {}

  Snapshot snapshot() {
    Snapshot made;
    made.dataPlane = {flag(), flag(), flag(), flag()};
    for (uint64_t i = number(0, 8); i > 0; --i) {
      const AclType type = pick({AclType::ipv4, AclType::ipv6, AclType::mac});
      made.acls.insert_or_assign(Snapshot::Key(type, name()), acl(type));
    }
    return made;
  }

 private:
  uint64_t number(uint64_t least, uint64_t most) {
    return std::uniform_int_distribution<uint64_t>(least, most)(engine_);
  }
  uint32_t u32(uint32_t most) { return static_cast<uint32_t>(number(0, most)); }
  uint16_t u16(uint16_t most) { return static_cast<uint16_t>(number(0, most)); }
  bool flag() { return number(0, 1) != 0; }
  template <class T>
  T pick(std::initializer_list<T> values) {
    return values.begin()[number(0, values.size() - 1)];
  }
  std::string octets(size_t most) {
    std::string made(number(0, most), 'x');
    for (char& octet : made) octet = static_cast<char>(number(0, 255));
    return Sources::withoutControls(made);
  }
  std::string text(size_t most) {
    std::string made(number(0, most), 'x');
    for (char& octet : made) octet = static_cast<char>(number(0x20, 0x7e));
    return made;
  }
  /// The keys that names of other octets are given are names too.
  std::string name() {
    return pick<std::string>({octets(100), text(100), "octets-1", "octets-2", "table/chain",
                              "na\xc3\xafve \xe2\x82\xac", "a\xff\"b", "\xc3", ""});
  }

  Acl::PortRange ports() {
    const std::string one = std::to_string(number(0, 65535));
    const std::string other = std::to_string(number(0, 65536));
    const auto oper = pick({RangeOperator::eq, RangeOperator::neq, RangeOperator::gt,
                            RangeOperator::lt, RangeOperator::range});
    return pick<Acl::PortRange>({{},
                                 {oper, Qel::String8(one)},
                                 {oper, Qel::String8(one + "-" + other)},
                                 {oper, Qel::String8(one + " " + other)},
                                 {oper, "1-1023,8080"},
                                 {oper, "080"},
                                 {oper, Qel::String8(text(60))}});
  }
  void common(Acl::IpFilterBase& filter) {
    filter.proto = u32(255);
    const auto oper =
        pick({RangeOperator::eq, RangeOperator::gt, RangeOperator::lt, RangeOperator::neq});
    if (flag()) filter.ttl = {oper, u32(255)};
    filter.sport = ports();
    filter.dport = ports();
    filter.tcpFlags = u16(63);
    filter.established = flag();
    filter.tracked = flag();
    filter.icmpType = pick({uint16_t{0}, u16(255)});
    filter.icmpCode = pick({uint16_t{0}, u16(255)});
  }
  Kavet::IpAddr address4() { return Kavet::IpAddr(pick({0U, 0xC0000201U, u32(0xFFFFFFFF)})); }
  Kavet::IpAddr mask4() {
    return Kavet::IpAddr(pick({0U, 0xFFFFFFFFU, 0xFFFFFFFFU << number(0, 31), u32(0xFFFFFFFF)}));
  }
  Acl::Ip6Prefix prefix6() {
    Kavet::Ip6Addr address;
    for (uint32_t i = flag() ? 0 : 16; i < 16; ++i) address.u8Is(i, pick({uint8_t{0}, octet()}));
    return {address, u32(128)};
  }
  uint8_t octet() { return static_cast<uint8_t>(number(0, 255)); }
  Kavet::EthAddr mac() {
    Kavet::EthAddr::Octets made{octet(), octet(), octet(), octet(), octet(), octet()};
    return Kavet::EthAddr(pick<Kavet::EthAddr::Octets>({{}, {255, 255, 255, 255, 255, 255}, made}));
  }
  template <class Rule>
  Rule begun() {
    Rule made;
    made.action = pick({Acl::Action::permit, Acl::Action::deny});
    made.log = flag();
    return made;
  }
  RuleConfig ruleOf(AclType type) {
    switch (type) {
      case AclType::ipv4: {
        auto made = begun<Acl::IpRuleConfig>();
        common(made.filter);
        made.filter.source = address4();
        made.filter.sourceMask = mask4();
        made.filter.destination = address4();
        made.filter.destinationMask = mask4();
        made.filter.fragments = flag();
        return made;
      }
      case AclType::ipv6: {
        auto made = begun<Acl::Ip6RuleConfig>();
        common(made.filter);
        made.filter.sourceIs(prefix6());
        made.filter.destinationIs(prefix6());
        return made;
      }
      case AclType::mac:
        break;
    }
    auto made = begun<Acl::MacRuleConfig>();
    made.filter.source = mac();
    made.filter.sourceMask = mac();
    made.filter.destination = mac();
    made.filter.destinationMask = mac();
    made.filter.proto = pick({0U, 1U, 0x0800U, u32(65535)});
    return made;
  }
  AclSnapshot acl(AclType type) {
    AclSnapshot made{flag(), flag(), flag(), flag(), {}, {}};
    for (uint64_t i = number(0, 12); i > 0; --i) {
      const uint32_t sequence = pick({static_cast<uint32_t>(i), u32(0xFFFFFFFF), 0xFFFFFFFFU});
      const UniqueId id = pick({UniqueId(sequence, 0, 0), UniqueId(sequence, u16(2), u16(2)),
                                UniqueId(u32(0xFFFFFFFF), u16(65535), u16(65534))});
      const bool remark = flag();
      if (remark) made.remarks[sequence] = pick<std::string>({octets(127), text(127), ""});
      if (remark && flag()) continue;
      RuleSnapshot rule{id, ruleOf(type), std::nullopt};
      if (flag()) {
        // Before one second of the clock: no machine's clock is behind that, and what is to come
        // would count as now.
        const auto nanoseconds = static_cast<int64_t>(number(0, 4'000'000'000'000'000));
        rule.counter = RuleCounter{pick<uint64_t>({0, UINT64_MAX, number(0, UINT64_MAX)}),
                                   static_cast<double>(1'000'000'000 - nanoseconds) / 1e9};
      }
      made.rules.insert_or_assign(sequence, std::move(rule));
    }
    return made;
  }

  std::mt19937 engine_;
};

TEST(RoundTrip, AnySnapshotIsPublishedReadBackWrittenAndParsedUnchanged) {
  for (uint32_t seed = 1; seed <= 200; ++seed) {
    const Snapshot snapshot = Random(seed).snapshot();
    ASSERT_TRUE(published(snapshot) == snapshot) << seed;
    const std::string text = written(snapshot);
    ASSERT_TRUE(parsed(text) == snapshot) << seed << text;
    ASSERT_EQ(written(parsed(text)), text) << seed;
  }
}

TEST(RoundTrip, TheExampleComesBackWithItsCountersAndTheirTimes) {
  std::ifstream file(EXAMPLES "/acls.json");
  const std::string example(std::istreambuf_iterator<char>(file), {});
  const Snapshot first = published(parsed(example));
  ASSERT_GE(first.acls.size(), 6U);
  const Snapshot again = published(parsed(written(first)));
  EXPECT_TRUE(again == first);
  Snapshot timeless = again;
  for (auto& [key, acl] : timeless.acls) {
    for (auto& [sequence, rule] : acl.rules) {
      if (rule.counter) rule.counter->lastUpdate.reset();
    }
  }
  EXPECT_TRUE(timeless == parsed(example));
}

TEST(RoundTrip, ANumberThatNoLeafHasANameForIsWrittenAndRefused) {
  Acl::IpRuleConfig rule;
  rule.filter.ttl = {RangeOperator::range, 5};
  Snapshot snapshot;
  snapshot.acls[{AclType::ipv4, "a"}].rules.emplace(1, RuleSnapshot{{1, 0, 0}, rule, {}});
  EXPECT_EQ(refusal(written(snapshot)),
            "f:12: /openconfig-acl:acl/acl-sets/acl-set/0/acl-entries/acl-entry/0/ipv4/config/"
            "zorlen-acl-ext:hop-limit-operator: found 5, expected any, eq, gt, lt or neq");
}

}  // namespace
}  // namespace OpenConfig
