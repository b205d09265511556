#include <limits>
#include <memory>
#include <new>

#include "Fixtures.h"
#include "qel/Dir.h"
#include "qel/Type.h"

namespace {
bool noMemory = false;
}  // namespace

// Entities are made with this form, which may give null.
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return noMemory ? nullptr : ::operator new(size);
}

namespace {

using AclSnmp::AclConfigPtr;
using Fixtures::acl;
using Fixtures::AclMib;
using Fixtures::AclRuleTableIndex;
using Fixtures::AllTypes;
using Fixtures::keys;
using Fixtures::MibLog;
using Fixtures::Ptr;
using Fixtures::Strings;
using Fixtures::text;
using Fixtures::TypeNames;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

constexpr Qel::Seconds kRowsCreated = 12.5;

Snmp::String keyOf(const char* name, const Snmp::String*) { return name; }
AclRuleTableIndex keyOf(const char* name, const AclRuleTableIndex*) { return {name, 10}; }

/// The operations of one table under its own names.
#define TABLE(lower, Upper, ...)                                                        \
  struct Upper##Table {                                                                 \
    static constexpr const char* kName = #lower;                                        \
    using Entry = AclSnmp::Upper##Entry;                                                \
    using Key = AclMib::Upper##Key;                                                     \
    static auto make(AclMib& mib, const Key& key, const AclConfigPtr& config) {         \
      return mib.new##Upper(key, config __VA_OPT__(, ) __VA_ARGS__);                    \
    }                                                                                   \
    static auto is(AclMib& mib, const Key& key, const AclConfigPtr& config) {           \
      return mib.lower##Is(key, config __VA_OPT__(, ) __VA_ARGS__);                     \
    }                                                                                   \
    static auto del(AclMib& mib, const Key& key) { return mib.lower##Del(key); }        \
    static void delAll(AclMib& mib) { mib.lower##DelAll(); }                            \
    static void notify(const AclMib& mib, const Key& key) { mib.lower##Notify(key); }   \
    static Ptr<Entry> get(const AclMib& mib, const Key& key) { return mib.lower(key); } \
    static const auto& table(const AclMib& mib) { return mib.lower(); }                 \
    static size_t size(const AclMib& mib) { return mib.lower##s(); }                    \
  };
TABLE(ipAclTable, IpAclTable)
TABLE(ipAclRuleTable, IpAclRuleTable)
TABLE(ipAclRuleStatsTable, IpAclRuleStatsTable, kRowsCreated)
TABLE(macAclTable, MacAclTable)
TABLE(macAclRuleTable, MacAclRuleTable)
TABLE(macAclRuleStatsTable, MacAclRuleStatsTable, kRowsCreated)
TABLE(ipv6AclTable, Ipv6AclTable)
TABLE(ipv6AclRuleTable, Ipv6AclRuleTable)
TABLE(ipv6AclRuleStatsTable, Ipv6AclRuleStatsTable, kRowsCreated)
#undef TABLE

using Tables = testing::Types<IpAclTableTable, IpAclRuleTableTable, IpAclRuleStatsTableTable,
                              MacAclTableTable, MacAclRuleTableTable, MacAclRuleStatsTableTable,
                              Ipv6AclTableTable, Ipv6AclRuleTableTable, Ipv6AclRuleStatsTableTable>;
struct TableNames {
  template <class T>
  static std::string GetName(int) {
    return T::kName;
  }
};

template <class T>
class Table : public testing::Test {
 protected:
  using Key = typename T::Key;
  static Key key(const char* name) { return keyOf(name, static_cast<const Key*>(nullptr)); }
  /// The line that `MibLog` writes.
  static std::string line(char there, const char* name) {
    return there + std::string(T::kName) + " " + text(key(name));
  }
  Strings tableKeys() const { return keys<typename T::Entry>(*mib_); }

  Ptr<AclMib> mib_ = AclSnmp::AclMibIs("mib");
  Ptr<Acl::AclConfig> config_ = acl("a", Acl::ipv4());
  Ptr<Acl::AclConfig> other_ = acl("a", Acl::ipv4());
  MibLog log_{mib_};
};
TYPED_TEST_SUITE(Table, Tables, TableNames);

TYPED_TEST(Table, StartsEmpty) {
  EXPECT_TRUE(TypeParam::table(*this->mib_).empty());
  EXPECT_EQ(TypeParam::size(*this->mib_), 0U);
  EXPECT_EQ(TypeParam::get(*this->mib_, this->key("a")), nullptr);
}

TYPED_TEST(Table, NewPutsARowInPlaceOfAnyOtherWithoutANotification) {
  const auto first = TypeParam::make(*this->mib_, this->key("a"), this->config_);
  EXPECT_EQ(TypeParam::get(*this->mib_, this->key("a")), first);
  EXPECT_EQ(first->aclConfig(), this->config_);
  const auto second = TypeParam::make(*this->mib_, this->key("a"), this->other_);
  EXPECT_FALSE(first == second);
  EXPECT_EQ(TypeParam::get(*this->mib_, this->key("a")), second);
  EXPECT_EQ(TypeParam::size(*this->mib_), 1U);
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

TYPED_TEST(Table, ARowThatCannotBeMadeIsRefused) {
  noMemory = true;
  EXPECT_THAT([this] { TypeParam::is(*this->mib_, this->key("a"), this->config_); },
              ThrowsMessage<Qel::RangeException>("null ValidPtr"));
  noMemory = false;
  EXPECT_EQ(this->mib_->template entries<typename TypeParam::Entry>().size(), 0U);
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

TYPED_TEST(Table, ARowWhoseReplacementCannotBeMadeStays) {
  const auto row = TypeParam::make(*this->mib_, this->key("a"), this->config_);
  noMemory = true;
  EXPECT_THAT([this] { TypeParam::make(*this->mib_, this->key("a"), this->other_); },
              ThrowsMessage<Qel::RangeException>("null ValidPtr"));
  noMemory = false;
  EXPECT_EQ(TypeParam::get(*this->mib_, this->key("a")), row);
}

TYPED_TEST(Table, IsMakesARowOnceAndNotifiesOnce) {
  const auto first = TypeParam::is(*this->mib_, this->key("a"), this->config_);
  ASSERT_TRUE(first);
  EXPECT_EQ(first->aclConfig(), this->config_);
  EXPECT_EQ(TypeParam::is(*this->mib_, this->key("a"), this->config_), first);
  EXPECT_EQ(TypeParam::get(*this->mib_, this->key("a")), first);
  EXPECT_THAT(this->log_.take(), ElementsAre(this->line('+', "a")));
}

TYPED_TEST(Table, IsTakesANullConfigurationLikeAnyOther) {
  const auto row = TypeParam::is(*this->mib_, this->key("a"), nullptr);
  EXPECT_EQ(row->aclConfig(), nullptr);
  EXPECT_EQ(TypeParam::is(*this->mib_, this->key("a"), nullptr), row);
}

TYPED_TEST(Table, IsRefusesAnotherConfigurationAndChangesNothing) {
  const auto row = TypeParam::is(*this->mib_, this->key("a"), this->config_);
  this->log_.take();
  const std::string stored = Qel::valueToStrep(static_cast<const void*>(this->config_.get()));
  for (const Ptr<Acl::AclConfig>& given : {this->other_, Ptr<Acl::AclConfig>()}) {
    EXPECT_THAT([&] { TypeParam::is(*this->mib_, this->key("a"), given); },
                ThrowsMessage<Qel::NameInUseException>(
                    "Reinstantiating the pointer interface where constructor parameter attribute "
                    "_aclConfig has a different value of " +
                    Qel::valueToStrep(static_cast<const void*>(given.get())) +
                    " than the current value of " + stored + " not allowed"));
  }
  EXPECT_EQ(TypeParam::get(*this->mib_, this->key("a")), row);
  EXPECT_EQ(TypeParam::size(*this->mib_), 1U);
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

TYPED_TEST(Table, DelRemovesARowAndNotifiesWhenItIsGone) {
  const auto row = TypeParam::is(*this->mib_, this->key("a"), this->config_);
  this->log_.take();
  EXPECT_EQ(TypeParam::del(*this->mib_, this->key("a")), row);
  EXPECT_THAT(this->log_.take(), ElementsAre(this->line('-', "a")));
  EXPECT_TRUE(this->tableKeys().empty());
  EXPECT_EQ(TypeParam::del(*this->mib_, this->key("a")), nullptr);
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

TYPED_TEST(Table, DelByTheRowsOwnKeyIsSafe) {
  const char* name = "a name that is too long to stand in a string object itself";
  TypeParam::is(*this->mib_, this->key(name), this->config_);
  this->log_.take();
  TypeParam::del(*this->mib_, TypeParam::table(*this->mib_).firstKey());
  EXPECT_THAT(this->log_.take(), ElementsAre(this->line('-', name)));
}

TYPED_TEST(Table, ADeletedRowWorksWhileItIsHeld) {
  const auto row = TypeParam::is(*this->mib_, this->key("a"), this->config_);
  EXPECT_EQ(row->references(), 2U);
  TypeParam::del(*this->mib_, this->key("a"));
  EXPECT_EQ(row->references(), 1U);
  const auto* config = this->config_.get();
  this->config_ = nullptr;
  EXPECT_EQ(row->aclConfig().get(), config);
  EXPECT_EQ(row->aclConfig()->name(), Qel::Name("a"));
}

TYPED_TEST(Table, WalksInKeyOrderFromAnyKey) {
  for (const char* name : {"b", "aa", "a", "c"}) {
    TypeParam::is(*this->mib_, this->key(name), this->config_);
  }
  Strings expected;
  for (const char* name : {"a", "b", "c", "aa"}) expected.push_back(text(this->key(name)));
  EXPECT_EQ(this->tableKeys(), expected);
  EXPECT_EQ(TypeParam::size(*this->mib_), 4U);
  EXPECT_EQ(TypeParam::table(*this->mib_).startAt(this->key("bb")).atEnd(), true);
  EXPECT_EQ(TypeParam::table(*this->mib_).startAt(this->key("b")).key(), this->key("b"));
  EXPECT_EQ(TypeParam::table(*this->mib_).startAt(this->key("d")).key(), this->key("aa"));
}

TYPED_TEST(Table, DelAllRemovesInKeyOrderWithOneNotificationEach) {
  for (const char* name : {"b", "a", "c"}) {
    TypeParam::is(*this->mib_, this->key(name), this->config_);
  }
  this->log_.take();
  TypeParam::delAll(*this->mib_);
  EXPECT_THAT(this->log_.take(),
              ElementsAre(this->line('-', "a"), this->line('-', "b"), this->line('-', "c")));
  EXPECT_EQ(TypeParam::size(*this->mib_), 0U);
  TypeParam::delAll(*this->mib_);
  EXPECT_THAT(this->log_.take(), IsEmpty());
}

TYPED_TEST(Table, DelAllGoesOnWhenAnObserverDeletesOtherRows) {
  for (const char* name : {"a", "b", "c", "d"}) {
    TypeParam::is(*this->mib_, this->key(name), this->config_);
  }
  this->log_.take();
  this->log_.action = [&](const std::string& line) {
    if (line == this->line('-', "a")) TypeParam::del(*this->mib_, this->key("b"));
    if (line == this->line('-', "c")) TypeParam::del(*this->mib_, this->key("d"));
  };
  TypeParam::delAll(*this->mib_);
  EXPECT_THAT(this->log_.take(), ElementsAre(this->line('-', "a"), this->line('-', "b"),
                                             this->line('-', "c"), this->line('-', "d")));
  EXPECT_EQ(TypeParam::size(*this->mib_), 0U);
}

TYPED_TEST(Table, DelAllTakesRowsAlongThatComeFurtherOn) {
  for (const char* name : {"a", "b"}) TypeParam::is(*this->mib_, this->key(name), this->config_);
  this->log_.take();
  this->log_.action = [&](const std::string& line) {
    if (line == this->line('-', "b")) {
      TypeParam::is(*this->mib_, this->key("c"), this->config_);
    }
  };
  TypeParam::delAll(*this->mib_);
  EXPECT_THAT(this->log_.take(), ElementsAre(this->line('-', "a"), this->line('-', "b"),
                                             this->line('+', "c"), this->line('-', "c")));
  EXPECT_EQ(TypeParam::size(*this->mib_), 0U);
}

TYPED_TEST(Table, AnObserverMayDeleteTheRowThatCame) {
  this->log_.action = [&](const std::string& line) {
    if (line == this->line('+', "a")) TypeParam::del(*this->mib_, this->key("a"));
  };
  const auto row = TypeParam::is(*this->mib_, this->key("a"), this->config_);
  ASSERT_TRUE(row);
  EXPECT_EQ(row->aclConfig(), this->config_);
  EXPECT_EQ(TypeParam::size(*this->mib_), 0U);
  EXPECT_THAT(this->log_.take(), ElementsAre(this->line('+', "a"), this->line('-', "a")));
}

TYPED_TEST(Table, AnObserverMayDropTheCallersKeyAndTheRowThatCame) {
  // A name too long to be kept inside the object: the next observer would read freed memory.
  const std::string name(100, 'n');
  MibLog second(this->mib_);
  auto key = std::make_unique<typename TypeParam::Key>(this->key(name.c_str()));
  this->log_.action = [&](const std::string& line) {
    if (line != this->line('+', name.c_str())) return;
    TypeParam::del(*this->mib_, *key);
    key.reset();
  };
  TypeParam::is(*this->mib_, *key, this->config_);
  const std::string gone = this->line('-', name.c_str());
  EXPECT_THAT(this->log_.take(), ElementsAre(this->line('+', name.c_str()), gone));
  EXPECT_THAT(second.take(), ElementsAre(gone, gone));
}

TYPED_TEST(Table, NotifyTellsEveryObserverWithoutAChange) {
  MibLog second(this->mib_);
  TypeParam::notify(*this->mib_, this->key("a"));
  EXPECT_THAT(this->log_.take(), ElementsAre(this->line('-', "a")));
  EXPECT_THAT(second.take(), ElementsAre(this->line('-', "a")));
}

TYPED_TEST(Table, ItsRowsAreInNoOtherTable) {
  TypeParam::make(*this->mib_, this->key("a"), this->config_);
  const AclMib& mib = *this->mib_;
  EXPECT_EQ(mib.ipAclTables() + mib.ipAclRuleTables() + mib.ipAclRuleStatsTables() +
                mib.macAclTables() + mib.macAclRuleTables() + mib.macAclRuleStatsTables() +
                mib.ipv6AclTables() + mib.ipv6AclRuleTables() + mib.ipv6AclRuleStatsTables(),
            1U);
  EXPECT_EQ(TypeParam::size(mib), 1U);
}

TYPED_TEST(Table, TheDefaultCallbacksDoNothing) {
  AclMib::NotifieeConst silent;
  silent.notifierIs(this->mib_);
  TypeParam::is(*this->mib_, this->key("a"), this->config_);
  silent.onIpAclTable();
  silent.onIpAclTableqelImmediate();
  this->mib_->aclStatusIs(Qel::make<Acl::Status>("status"));
  EXPECT_THAT(this->log_.take(), ElementsAre(this->line('+', "a"), "aclStatus"));
}

template <class T>
class StatsTable : public testing::Test {
 protected:
  using Entry = typename T::StatsEntry;
  Ptr<AclMib> mib_ = AclSnmp::AclMibIs("mib");
  Ptr<Acl::AclConfig> config_ = acl("a", T::kType);
  const AclRuleTableIndex index_{"a", 10};
};
TYPED_TEST_SUITE(StatsTable, AllTypes, TypeNames);

TYPED_TEST(StatsTable, RefusesAnotherCreationTimeAndChangesNothing) {
  using Entry = typename TypeParam::StatsEntry;
  const auto row = this->mib_->template entryIs<Entry>(this->index_, this->config_, 12.5);
  MibLog log(this->mib_);
  for (const double given : {12.0, 12.500000000000002, 0.0}) {
    EXPECT_THAT([&] { this->mib_->template entryIs<Entry>(this->index_, this->config_, given); },
                ThrowsMessage<Qel::NameInUseException>(
                    "Reinstantiating the pointer interface where constructor parameter attribute "
                    "_creationTime has a different value of " +
                    Qel::valueToStrep(given) + " than the current value of 12.5 not allowed"));
  }
  EXPECT_EQ(this->mib_->template entry<Entry>(this->index_), row);
  EXPECT_EQ(row->creationTime(), 12.5);
  EXPECT_THAT(log.take(), IsEmpty());
}

TYPED_TEST(StatsTable, ComparesCreationTimesAsNumbers) {
  using Entry = typename TypeParam::StatsEntry;
  const auto row = this->mib_->template entryIs<Entry>(this->index_, this->config_, 0.0);
  EXPECT_EQ(this->mib_->template entryIs<Entry>(this->index_, this->config_, -0.0), row);
  // What is no number equals nothing, itself included.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  this->mib_->template entryDel<Entry>(this->index_);
  this->mib_->template entryIs<Entry>(this->index_, this->config_, nan);
  EXPECT_THAT([&] { this->mib_->template entryIs<Entry>(this->index_, this->config_, nan); },
              ThrowsMessage<Qel::NameInUseException>(
                  testing::HasSubstr("_creationTime has a different value of nan")));
}

TYPED_TEST(StatsTable, ChecksTheConfigurationBeforeTheCreationTime) {
  using Entry = typename TypeParam::StatsEntry;
  this->mib_->template entryIs<Entry>(this->index_, this->config_, 12.5);
  EXPECT_THAT([&] { this->mib_->template entryIs<Entry>(this->index_, nullptr, 1.0); },
              ThrowsMessage<Qel::NameInUseException>(testing::HasSubstr("_aclConfig")));
}

TYPED_TEST(StatsTable, TakesAnotherCreationTimeAfterADeletion) {
  using Entry = typename TypeParam::StatsEntry;
  this->mib_->template entryIs<Entry>(this->index_, this->config_, 12.5);
  this->mib_->template entryDel<Entry>(this->index_);
  const auto row = this->mib_->template entryIs<Entry>(this->index_, this->config_, 13.5);
  EXPECT_EQ(row->creationTime(), 13.5);
}

TEST(AclMib, StartsWithItsNameAndNoStatus) {
  for (const auto& make : {&AclSnmp::AclMibIs, &AclSnmp::aclMibFactory}) {
    const auto mib = make("acl mib");
    EXPECT_EQ(mib->name(), Qel::Name("acl mib"));
    EXPECT_EQ(mib->fwkType(), "AclSnmp::AclMib");
    EXPECT_EQ(mib->aclStatus(), nullptr);
    EXPECT_EQ(mib->references(), 1U);
  }
}

TEST(AclMib, EveryCallMakesAnotherOne) {
  for (const auto& make : {&AclSnmp::AclMibIs, &AclSnmp::aclMibFactory}) {
    EXPECT_FALSE(make("mib") == make("mib"));
  }
}

TEST(AclMib, IsMadeByItsTypeNameInADirectory) {
  const auto dir = Qel::make<Qel::Dir>("acl");
  const auto mib = Qel::ptrCast<AclMib>(dir->newEntity("AclSnmp::AclMib", "mib"));
  ASSERT_TRUE(mib);
  EXPECT_EQ(mib->name(), Qel::Name("mib"));
  EXPECT_EQ(dir->entity("mib"), mib);
}

TEST(AclMib, AnotherStatusObjectNotifiesTheSameOneDoesNot) {
  const auto mib = AclSnmp::AclMibIs("mib");
  MibLog log(mib);
  const auto first = Qel::make<Acl::Status>("status");
  const auto second = Qel::make<Acl::Status>("status");
  mib->aclStatusIs(nullptr);
  EXPECT_THAT(log.take(), IsEmpty());
  for (const Ptr<Acl::Status>& status : {first, second, Ptr<Acl::Status>()}) {
    mib->aclStatusIs(status);
    EXPECT_EQ(mib->aclStatus(), status);
    EXPECT_THAT(log.take(), ElementsAre("aclStatus"));
    mib->aclStatusIs(status);
    EXPECT_THAT(log.take(), IsEmpty());
  }
}

TEST(AclMib, KeepsItsStatusAlive) {
  const auto mib = AclSnmp::AclMibIs("mib");
  mib->aclStatusIs(Qel::make<Acl::Status>("status"));
  EXPECT_EQ(mib->aclStatus()->name(), Qel::Name("status"));
}

}  // namespace
