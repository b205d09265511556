#include <map>
#include <random>
#include <set>

#include "Fixtures.h"
#include "agent/AclMibSm.h"

namespace {

using AclSnmp::AclMibSm;
using Fixtures::acl;
using Fixtures::AclMib;
using Fixtures::AclRuleTableIndex;
using Fixtures::AllTypes;
using Fixtures::idOf;
using Fixtures::keys;
using Fixtures::Ptr;
using Fixtures::Strings;
using Fixtures::subConfig;
using Fixtures::TypeNames;

/// The whole way of a change: configuration and status, processors, mirrors, machines, rows.
template <class T>
class Chain : public testing::Test {
 protected:
  using AclEntry = typename T::AclEntry;
  using RuleEntry = typename T::RuleEntry;
  using StatsEntry = typename T::StatsEntry;
  using Rule = typename T::Rule;

  Chain() { status_->statusIs(T::kType); }

  void make() { sm_ = Qel::make<AclMibSm>(scheduler_, config_, status_, mib_); }
  void rest() {
    while (scheduler_->runNext()) {
    }
  }
  Ptr<Acl::AclTypeConfig> configs() { return config_->typeConfig(T::kType); }
  Ptr<Acl::AclTypeStatus> statuses() { return status_->status(T::kType); }
  Ptr<StatsEntry> statsRow(const char* name, uint32_t seq) {
    return mib_->template entry<StatsEntry>({name, seq});
  }

  /// The sequence numbers that an ACL should have rows for.
  static std::set<uint32_t> sequences(const Acl::AclConfig& config) {
    std::set<uint32_t> all;
    if (!config.currCfg()) return all;
    for (auto it = config.currCfg()->ruleBySequence().begin(); it; ++it) all.insert(it.key());
    for (auto it = config.currCfg()->remarkBySequence().begin(); it; ++it) all.insert(it.key());
    return all;
  }

  /// What holds at every moment.
  void expectPairedRows() {
    ASSERT_EQ(keys<RuleEntry>(*mib_), keys<StatsEntry>(*mib_));
    for (auto it = mib_->template entries<RuleEntry>().begin(); it; ++it) {
      ASSERT_TRUE(mib_->template entry<AclEntry>(it.key().aclName())) << it.key();
      ASSERT_EQ(it.value()->index(), it.key());
    }
  }

  /// What holds when nothing is pending: the rows are the model.
  void expectRowsEqualModel() {
    size_t rules = 0;
    ASSERT_EQ(mib_->template entries<AclEntry>().size(), configs()->acl().size());
    for (auto it = configs()->acl().begin(); it; ++it) {
      const auto& config = it.value().acl;
      const auto status = std::as_const(*statuses()).acl(it.key());
      const auto row = mib_->template entry<AclEntry>(Snmp::String(it.key()));
      ASSERT_TRUE(row) << it.key();
      ASSERT_EQ(row->aclConfig(), config) << it.key();
      ASSERT_EQ(row->aclStatus(), status) << it.key();
      for (const uint32_t seq : sequences(*config)) {
        const AclRuleTableIndex index(Snmp::String(it.key()), seq);
        const auto rule = mib_->template entry<RuleEntry>(index);
        const auto stats = mib_->template entry<StatsEntry>(index);
        ASSERT_TRUE(rule && stats) << index;
        ASSERT_EQ(rule->aclConfig(), config) << index;
        ASSERT_EQ(stats->aclConfig(), config) << index;
        ASSERT_EQ(stats->aclStatus(), status) << index;
        ASSERT_LE(stats->creationTime(), Qel::now()) << index;
        ASSERT_EQ(rule->uniqueId(), config->currCfg()->ruleBySequence(seq)) << index;
        ++rules;
      }
    }
    ASSERT_EQ(mib_->template entries<RuleEntry>().size(), rules);
    ASSERT_EQ(mib_->template entries<StatsEntry>().size(), rules);
  }

  Qel::ManualClock clock_{100};
  Ptr<Mek::TaskScheduler> scheduler_ = Qel::make<Mek::TaskScheduler>();
  Ptr<Acl::Config> config_ = Qel::make<Acl::Config>("config");
  Ptr<Acl::Status> status_ = Qel::make<Acl::Status>("status");
  Ptr<AclMib> mib_ = AclSnmp::AclMibIs("mib");
  Ptr<AclMibSm> sm_;
};
TYPED_TEST_SUITE(Chain, AllTypes, TypeNames);

TYPED_TEST(Chain, ChangesBeforeARunShowAfterItOnly) {
  using AclEntry = typename TypeParam::AclEntry;
  this->make();
  const auto a = acl("a", TypeParam::kType, subConfig({10}));
  this->configs()->aclIs(a);
  EXPECT_TRUE(this->mib_->template entries<AclEntry>().empty());
  this->rest();
  this->expectRowsEqualModel();
  this->configs()->aclDel("a");
  EXPECT_EQ(keys<AclEntry>(*this->mib_), Strings{"a"});
  this->rest();
  this->expectRowsEqualModel();
}

TYPED_TEST(Chain, EditsOfAMirroredAclShowAtOnce) {
  this->make();
  const auto sub = subConfig({10});
  const auto a = acl("a", TypeParam::kType, sub);
  this->configs()->aclIs(a);
  this->rest();
  sub->ruleBySequenceIs(20, idOf(20));
  this->expectRowsEqualModel();
  a->currCfgIs(subConfig({30}, {40}));
  this->expectRowsEqualModel();
  EXPECT_FALSE(this->scheduler_->pending());
}

TYPED_TEST(Chain, AnAclThatIsSetAgainIsBuiltAnew) {
  this->make();
  const auto a = acl("a", TypeParam::kType, subConfig({10}));
  this->configs()->aclIs(a);
  this->rest();
  const auto held = this->statsRow("a", 10);
  this->clock_.nowIs(200);
  this->configs()->aclNotify("a");
  this->rest();
  EXPECT_FALSE(this->statsRow("a", 10) == held);
  EXPECT_EQ(this->statsRow("a", 10)->creationTime(), 200);
  EXPECT_EQ(held->creationTime(), 100);
  EXPECT_EQ(held->uniqueId(), idOf(10));
  this->expectRowsEqualModel();
}

TYPED_TEST(Chain, AReplacedAclIsBuiltFromItsNewObject) {
  this->make();
  this->configs()->aclIs(acl("a", TypeParam::kType, subConfig({10, 20})));
  this->statuses()->aclIs(Qel::make<Acl::AclStatus>("a"));
  this->rest();
  this->configs()->aclIs(acl("a", TypeParam::kType, subConfig({20, 30})));
  this->rest();
  this->expectRowsEqualModel();
}

TYPED_TEST(Chain, OneAclIsTakenAtATimeWhenTheTimeIsShort) {
  using AclEntry = typename TypeParam::AclEntry;
  this->make();
  this->sm_->aclSnmpTypeConfigCodef(TypeParam::kType)->backlogQuantumIs(0);
  for (const char* name : {"a", "b", "c"}) this->configs()->aclIs(acl(name, TypeParam::kType));
  for (size_t taken = 1; taken <= 3; ++taken) {
    ASSERT_TRUE(this->scheduler_->runNext());
    EXPECT_EQ(this->mib_->template entries<AclEntry>().size(), taken);
  }
  EXPECT_FALSE(this->scheduler_->runNext());
}

TYPED_TEST(Chain, CountersShowWithoutARun) {
  this->make();
  this->configs()->aclIs(acl("a", TypeParam::kType, subConfig({10})));
  const auto counted = Qel::make<Acl::AclStatus>("a");
  this->statuses()->aclIs(counted);
  this->rest();
  EXPECT_EQ(this->statsRow("a", 10)->lastUpdateTime(), 100);
  counted->ruleStatusIs(idOf(10), {5, 150});
  EXPECT_EQ(this->statsRow("a", 10)->pkts(), 5U);
  EXPECT_EQ(this->statsRow("a", 10)->lastUpdateTime(), 150);
  EXPECT_FALSE(this->scheduler_->pending());
}

/// Random edits of one type's ACLs.
template <class T>
class Editor {
 public:
  Editor(uint32_t seed, Ptr<Acl::AclTypeConfig> configs, Ptr<Acl::AclTypeStatus> statuses)
      : random_(seed), configs_(std::move(configs)), statuses_(std::move(statuses)) {}

  uint32_t below(uint32_t end) { return std::uniform_int_distribution(0U, end - 1)(random_); }

  void edit() {
    static constexpr const char* kNames[] = {"a", "b", "c", "aa", "ab", "zz", "a longer name"};
    const char* name = kNames[below(std::size(kNames))];
    switch (below(10)) {
      case 0:
        configs_->aclIs(newAcl(name));
        return;
      case 1:
        configs_->aclDel(name);
        return;
      case 2:
        configs_->aclNotify(name);
        return;
      case 3:
        statuses_->aclIs(Qel::make<Acl::AclStatus>(name));
        return;
      case 4:
        statuses_->aclDel(name);
        return;
      case 5:
        if (const auto found = acls_.find(name); found != acls_.end()) {
          found->second->currCfgIs(below(4) == 0 ? nullptr : newSubConfig(found->second));
        }
        return;
      default:
        editCurrent(name);
    }
  }

 private:
  Ptr<Acl::AclConfig> newAcl(const char* name) {
    const auto made = acl(name, T::kType);
    if (below(5) != 0) made->currCfgIs(newSubConfig(made));
    acls_[name] = made;
    return made;
  }
  Ptr<Acl::AclSubConfig> newSubConfig(const Ptr<Acl::AclConfig>& owner) {
    const auto made = Qel::make<Acl::AclSubConfig>();
    for (uint32_t i = below(4); i != 0; --i) made->ruleBySequenceIs(sequence(), idOf(below(9)));
    for (uint32_t i = below(3); i != 0; --i) made->remarkBySequenceIs(sequence(), {"remark"});
    current_[owner.get()] = made;
    return made;
  }
  uint32_t sequence() { return below(6) * 10; }
  /// Edits the sub-configuration that was last made for an ACL, whether or not it is in force and
  /// whether or not the ACL is configured at the moment.
  void editCurrent(const char* name) {
    const auto owner = acls_.find(name);
    if (owner == acls_.end()) return;
    const auto sub = current_[owner->second.get()];
    if (!sub) return;
    switch (below(4)) {
      case 0:
        sub->ruleBySequenceIs(sequence(), idOf(below(9)));
        return;
      case 1:
        sub->ruleBySequenceDel(sequence());
        return;
      case 2:
        sub->remarkBySequenceIs(sequence(), {"edited"});
        return;
      default:
        sub->remarkBySequenceDel(sequence());
    }
  }

  std::mt19937 random_;
  Ptr<Acl::AclTypeConfig> configs_;
  Ptr<Acl::AclTypeStatus> statuses_;
  std::map<std::string, Ptr<Acl::AclConfig>> acls_;
  std::map<const Acl::AclConfig*, Ptr<Acl::AclSubConfig>> current_;
};

TYPED_TEST(Chain, AtRestTheRowsAreTheModelWhateverWasEdited) {
  for (uint32_t seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE(seed);
    this->sm_ = nullptr;
    this->config_ = Qel::make<Acl::Config>("config");
    this->status_ = Qel::make<Acl::Status>("status");
    this->status_->statusIs(TypeParam::kType);
    this->mib_ = AclSnmp::AclMibIs("mib");
    Editor<TypeParam> editor(seed, this->configs(), this->statuses());
    for (uint32_t i = 0; i < seed % 10; ++i) editor.edit();
    this->make();
    if (seed % 2 == 0) {
      this->sm_->aclSnmpTypeConfigCodef(TypeParam::kType)->backlogQuantumIs(0);
      this->sm_->aclSnmpTypeStatusCodef(TypeParam::kType)->backlogQuantumIs(0);
    }
    for (int step = 0; step < 300; ++step) {
      editor.edit();
      this->clock_.advance(1);
      if (editor.below(4) == 0) this->scheduler_->runNext();
      ASSERT_NO_FATAL_FAILURE(this->expectPairedRows());
      if (editor.below(20) != 0) continue;
      this->rest();
      ASSERT_NO_FATAL_FAILURE(this->expectRowsEqualModel());
    }
    this->rest();
    ASSERT_NO_FATAL_FAILURE(this->expectRowsEqualModel());
  }
}

TYPED_TEST(Chain, ARowKeepsItsCreationTimeThroughEditsOfItsAcl) {
  this->make();
  const auto a = acl("a", TypeParam::kType);
  this->configs()->aclIs(a);
  this->rest();
  std::mt19937 random(7);
  std::map<uint32_t, double> created;
  for (int step = 0; step < 500; ++step) {
    this->clock_.advance(1);
    const auto sub = Qel::make<Acl::AclSubConfig>();
    for (uint32_t seq = 0; seq < 8; ++seq) {
      if (random() % 2 != 0) sub->ruleBySequenceIs(seq, idOf(random() % 4));
      if (random() % 4 == 0) sub->remarkBySequenceIs(seq, {"remark"});
    }
    a->currCfgIs(sub);
    std::map<uint32_t, double> next;
    for (const uint32_t seq : this->sequences(*a)) {
      const auto known = created.find(seq);
      next[seq] = known == created.end() ? Qel::now() : known->second;
      ASSERT_EQ(this->statsRow("a", seq)->creationTime(), next[seq]) << step << " " << seq;
    }
    created = next;
  }
}

}  // namespace
