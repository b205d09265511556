// Observers of the rows that change the mirrors from inside a row's notification.

#include "Fixtures.h"
#include "agent/AclTypeMibSm.h"

namespace {

using AclSnmp::AclSnmpTypeConfig;
using AclSnmp::AclSnmpTypeStatus;
using AclSnmp::AclTypeMibSm;
using Fixtures::acl;
using Fixtures::AclMib;
using Fixtures::AllTypes;
using Fixtures::idOf;
using Fixtures::keys;
using Fixtures::MibLog;
using Fixtures::Ptr;
using Fixtures::Strings;
using Fixtures::subConfig;
using Fixtures::TypeNames;
using testing::ElementsAre;
using testing::IsEmpty;

/// ACL "a" with rules 10 and 20, and nobody who keeps its rule machine but the type's.
template <class T>
class RowObserver : public testing::Test {
 protected:
  RowObserver() { config_->aclIs(config()); }

  static std::string table(const char* suffix) { return std::string(T::kTable) + suffix; }
  Ptr<Acl::AclConfig> config() { return acl("a", T::kType, sub_); }
  Ptr<Acl::AclConfig> a() {
    return Ptr<Acl::AclConfig>(const_cast<Acl::AclConfig*>(config_->acl("a").get()));
  }
  /// Calls `act` at the first notification of this line.
  void once(const std::string& line, const std::function<void()>& act) {
    log_.take();
    log_.action = [line, act, done = false](const std::string& told) mutable {
      if (done || told != line) return;
      done = true;
      act();
    };
  }
  void expectRows(const Strings& expected) {
    EXPECT_EQ(keys<typename T::RuleEntry>(*mib_), expected);
    EXPECT_EQ(keys<typename T::StatsEntry>(*mib_), expected);
  }
  /// An ACL that is gone left nothing and may come again.
  void expectGone() {
    EXPECT_THAT(keys<typename T::AclEntry>(*mib_), IsEmpty());
    expectRows({});
    EXPECT_EQ(sm_->aclRuleSm("a"), nullptr);
    config_->aclIs(acl("a", T::kType, subConfig({30})));
    expectRows({"a 30"});
  }

  Qel::ManualClock clock_{100};
  Ptr<AclMib> mib_ = AclSnmp::AclMibIs("mib");
  Ptr<AclSnmpTypeConfig> config_ = Qel::make<AclSnmpTypeConfig>("config", T::kType);
  Ptr<AclSnmpTypeStatus> status_ = Qel::make<AclSnmpTypeStatus>("status", T::kType);
  Ptr<Acl::AclSubConfig> sub_ = subConfig({10, 20});
  Ptr<AclTypeMibSm> sm_;
  MibLog log_{mib_};
};
TYPED_TEST_SUITE(RowObserver, AllTypes, TypeNames);

TYPED_TEST(RowObserver, MayRemoveTheAclWhenARuleComesOrGoes) {
  for (const char* rows : {"RuleTable a ", "RuleStatsTable a "}) {
    for (const bool comes : {true, false}) {
      SCOPED_TRACE(this->table(rows) + (comes ? "comes" : "goes"));
      this->sub_ = subConfig({10, 20});
      this->config_->aclDelAll();
      this->sm_ = nullptr;
      this->config_->aclIs(this->config());
      this->sm_ = Qel::make<AclTypeMibSm>(this->config_, this->status_, this->mib_);
      this->once((comes ? "+" : "-") + this->table(rows) + (comes ? "15" : "10"),
                 [this] { this->config_->aclDel("a"); });
      if (comes) {
        this->sub_->ruleBySequenceIs(15, idOf(15));
      } else {
        this->sub_->ruleBySequenceDel(10);
      }
      this->expectGone();
    }
  }
}

TYPED_TEST(RowObserver, MayRemoveTheAclDuringAResynchronisation) {
  // The first and the last row that comes, the first that goes; in the rules and the statistics.
  for (const char* rows : {"RuleTable a ", "RuleStatsTable a "}) {
    for (const char* row : {"+12", "+15", "-10", "-20"}) {
      SCOPED_TRACE(this->table(rows) + row);
      this->sub_ = subConfig({10, 20});
      this->config_->aclDelAll();
      this->sm_ = nullptr;
      this->config_->aclIs(this->config());
      this->sm_ = Qel::make<AclTypeMibSm>(this->config_, this->status_, this->mib_);
      this->once(row[0] + this->table(rows) + (row + 1), [this] { this->config_->aclDel("a"); });
      this->a()->currCfgIs(subConfig({12, 15}));
      this->expectGone();
    }
  }
}

TYPED_TEST(RowObserver, AResynchronisationThatLosesItsAclTellsOfNoMoreRows) {
  this->sm_ = Qel::make<AclTypeMibSm>(this->config_, this->status_, this->mib_);
  Support::TraceCapture traces("AclSnmpSm=8");
  this->once("+" + this->table("RuleStatsTable a 12"), [this] { this->config_->aclDel("a"); });
  this->a()->currCfgIs(subConfig({12, 15}));
  EXPECT_THAT(traces.messages(),
              ElementsAre("AclRuleMibSm::handleAclCurrCfg a", "handleAclCurrCfg add rule : a : 12",
                          "AclTypeMibSm::handleAclConfig a", "handleIpAclConfig del : a",
                          "AclRuleMibSm::doClose: a"));
}

TYPED_TEST(RowObserver, MayReplaceTheAclWhenARowComesOrGoes) {
  for (const char* row :
       {"+RuleTable a 12", "+RuleStatsTable a 12", "-RuleTable a 10", "-RuleStatsTable a 10"}) {
    SCOPED_TRACE(row);
    this->sub_ = subConfig({10, 20});
    this->config_->aclDelAll();
    this->sm_ = nullptr;
    this->config_->aclIs(this->config());
    this->sm_ = Qel::make<AclTypeMibSm>(this->config_, this->status_, this->mib_);
    const auto other = acl("a", TypeParam::kType, subConfig({10, 12, 40}));
    this->once(row[0] + this->table(row + 1), [&] {
      this->config_->aclDel("a");
      this->config_->aclIs(other);
    });
    this->a()->currCfgIs(subConfig({12, 15}));
    this->expectRows({"a 10", "a 12", "a 40"});
    EXPECT_EQ(this->sm_->aclRuleSm("a")->config(), other);
    EXPECT_EQ(this->mib_->template entry<typename TypeParam::StatsEntry>({"a", 10})->aclConfig(),
              other);
  }
}

TYPED_TEST(RowObserver, AnAclAddedAgainInsideItsRemovalEndsWithItsRows) {
  for (const bool another : {false, true}) {
    for (const char* row : {"-Table a", "-RuleTable a 10", "-RuleTable a 20",
                            "-RuleStatsTable a 10", "-RuleStatsTable a 20"}) {
      SCOPED_TRACE(row);
      this->config_->aclDelAll();
      this->status_->aclDelAll();
      this->sm_ = nullptr;
      const auto first = this->config();
      const auto again = another ? acl("a", TypeParam::kType, subConfig({20, 30})) : first;
      this->config_->aclIs(first);
      this->sm_ = Qel::make<AclTypeMibSm>(this->config_, this->status_, this->mib_);
      const auto status = Qel::make<Acl::AclStatus>("a");
      this->once(row[0] + this->table(row + 1), [&] {
        this->config_->aclIs(again);
        this->status_->aclIs(status);
      });
      this->config_->aclDel("a");
      const auto entry = this->mib_->template entry<typename TypeParam::AclEntry>("a");
      ASSERT_TRUE(entry);
      EXPECT_EQ(entry->aclConfig(), again);
      EXPECT_EQ(entry->aclStatus(), status);
      this->expectRows(another ? Strings{"a 20", "a 30"} : Strings{"a 10", "a 20"});
      ASSERT_TRUE(this->sm_->aclRuleSm("a"));
      EXPECT_EQ(this->sm_->aclRuleSm("a")->config(), again);
      EXPECT_EQ(this->sm_->aclRuleSm("a")->status(), status);
      again->currCfgIs(subConfig({50}));
      this->expectRows({"a 50"});
      again->currCfgIs(this->sub_);
    }
  }
}

TYPED_TEST(RowObserver, AnAclAddedAndRemovedInsideItsRemovalIsGone) {
  this->sm_ = Qel::make<AclTypeMibSm>(this->config_, this->status_, this->mib_);
  this->once("-" + this->table("RuleTable a 10"), [this] {
    this->config_->aclIs(this->config());
    this->config_->aclDel("a");
  });
  this->config_->aclDel("a");
  this->expectGone();
}

TYPED_TEST(RowObserver, AnEditOfAnAclThatGoesMakesNoRow) {
  this->sm_ = Qel::make<AclTypeMibSm>(this->config_, this->status_, this->mib_);
  this->once("-" + this->table("RuleTable a 20"),
             [this] { this->sub_->ruleBySequenceIs(5, idOf(5)); });
  this->config_->aclDel("a");
  this->expectGone();
}

TYPED_TEST(RowObserver, MayEndTheWholeMachine) {
  for (const char* row : {"+Table b", "+RuleTable b 10", "-Table a", "-RuleTable a 10"}) {
    SCOPED_TRACE(row);
    this->config_->aclDelAll();
    this->mib_->template entryDelAll<typename TypeParam::AclEntry>();
    this->mib_->template entryDelAll<typename TypeParam::RuleEntry>();
    this->mib_->template entryDelAll<typename TypeParam::StatsEntry>();
    this->config_->aclIs(this->config());
    this->sm_ = Qel::make<AclTypeMibSm>(this->config_, this->status_, this->mib_);
    this->once(row[0] + this->table(row + 1), [this] { this->sm_ = nullptr; });
    if (row[0] == '+') {
      this->config_->aclIs(acl("b", TypeParam::kType, subConfig({10})));
    } else {
      this->config_->aclDel("a");
    }
    EXPECT_EQ(this->sm_, nullptr);
    EXPECT_EQ(this->config_->notifieeList().size(), 0U);
    EXPECT_EQ(this->status_->notifieeList().size(), 0U);
  }
}

}  // namespace
