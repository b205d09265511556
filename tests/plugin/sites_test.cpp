// Traces and assertions say where they stand: the source unit, the function and the line.

#include <cctype>
#include <fstream>
#include <map>
#include <regex>

#include "Fixtures.h"
#include "agent/AclMibSm.h"
#include "conversions/SnmpConversions.h"
#include "mib_agent.h"

namespace {

using Fixtures::acl;
using Fixtures::Ptr;
using Fixtures::Strings;
using Fixtures::subConfig;
using MibTest::TableCase;

/// The files of each source unit.
const std::map<std::string, Strings> kFiles = {
    {"AclMIB",
     {"plugin/mib/src/Hooks.h", "plugin/mib/src/Register.h", "plugin/mib/src/AclMIB.cpp",
      "plugin/mib/src/Scalar.cpp"}},
    {"SnmpConversions", {"plugin/conversions/src/SnmpConversions.cpp"}},
    {"AclSnmpTypeCodef", {"plugin/codef/include/codef/TypeCodef.h"}},
    {"AclSnmpAgent",
     {"plugin/agent/src/AclMibSm.cpp", "plugin/agent/src/AclTypeMibSm.cpp",
      "plugin/agent/src/AclRuleMibSm.cpp"}}};

/// Whether a text stands at a line of one of a unit's files. A statement over several lines has the
/// number of its first one.
bool standsAt(const std::string& unit, int line, const std::string& text) {
  constexpr int kLongestStatement = 5;
  for (const std::string& file : kFiles.at(unit)) {
    std::ifstream in(std::string(SOURCE_DIR) + "/" + file);
    EXPECT_TRUE(in) << file;
    std::string statement;
    std::string part;
    for (int number = 1; std::getline(in, part); ++number) {
      if (number >= line && number < line + kLongestStatement) statement += part + "\n";
      if (number >= line && part.ends_with(";")) break;
    }
    if (statement.find(text) != std::string::npos) return true;
  }
  return false;
}

struct Sited {
  std::string unit;
  int line;
  std::string function;
  std::string message;
};

/// Collects traces of all levels with their sites.
class Sites {
 public:
  Sites() {
    Qel::traceSettingsIs("Snmp=8,AclSnmpSm=8,AclSnmpTypeCodef=8");
    Qel::traceSinkIs([this](const Qel::TraceRecord& record) {
      all.push_back({record.site.source, record.site.line, record.site.function,
                     std::string(record.message)});
    });
  }
  ~Sites() {
    Qel::traceSinkIs({});
    Qel::traceSettingsIs("Snmp=0,AclSnmpSm=0,AclSnmpTypeCodef=0");
  }
  Sites(const Sites&) = delete;
  Sites& operator=(const Sites&) = delete;

  std::vector<Sited> all;
};

/// What of a message stands in the source as it is: its first words, without the name in front.
std::string literalOf(std::string message, const Strings& names) {
  for (const std::string& name : names) {
    if (message.starts_with(name)) message = message.substr(name.size());
  }
  return message.substr(0, message.find_first_of("0123456789\"'"));
}

void expectAtTheirLines(const std::vector<Sited>& traces, const std::string& tableName = "") {
  for (const Sited& trace : traces) {
    std::string words = literalOf(trace.message, {trace.function, tableName});
    // A processor's messages go on with a name after a word.
    words = words.substr(0, trace.unit == "AclSnmpTypeCodef" ? 7 : 24);
    while (!words.empty() && words.back() != ' ' && words.size() > 12) words.pop_back();
    const bool found = words.empty() ? standsAt(trace.unit, trace.line, "TRACE") ||
                                           standsAt(trace.unit, trace.line, "entryTrace")
                                     : standsAt(trace.unit, trace.line, words);
    EXPECT_TRUE(found) << trace.unit << ":" << trace.line << " " << trace.function << ": "
                       << trace.message;
  }
}

/// Everything from the top-level machine down, on one ACL of each type.
struct World {
  World() {
    for (const Acl::AclType type : Acl::kAclTypes) {
      config->typeConfig(type)->aclIs(acl("a", type, subConfig({10}, {20})));
      status->statusIs(type)->aclIs(Qel::make<Acl::AclStatus>("a"));
    }
  }
  void run() {
    while (scheduler->runNext()) {
    }
  }
  Ptr<Mek::TaskScheduler> scheduler = Qel::make<Mek::TaskScheduler>();
  Ptr<Acl::Config> config = Qel::make<Acl::Config>("config");
  Ptr<Acl::Status> status = Qel::make<Acl::Status>("status");
  Ptr<AclSnmp::AclMib> mib = AclSnmp::AclMibIs("mib");
};

TEST(TraceSites, TheMachinesAndProcessorsNameTheirLines) {
  World world;
  Sites sites;
  const auto machine =
      Qel::make<AclSnmp::AclMibSm>(world.scheduler, world.config, world.status, world.mib);
  world.run();
  const auto configs = world.config->typeConfig(Acl::ipv6());
  const auto sub = subConfig({10, 30});
  const auto replaced = acl("a", Acl::ipv6(), sub);
  configs->aclDel("a");
  configs->aclIs(replaced);
  world.run();
  sub->ruleBySequenceDel(10);
  sub->ruleBySequenceIs(40, Fixtures::idOf(40));
  replaced->currCfgIs(subConfig({}));
  configs->aclDel("a");
  world.run();
  EXPECT_GT(sites.all.size(), 80U);
  expectAtTheirLines(sites.all);
}

TEST(TraceSites, TheHooksNameTheirLinesAndTheirDoor) {
  const auto mib = AclSnmp::AclMibIs("mib");
  for (const TableCase& t : MibTest::tables()) {
    t.addRow(*mib, "a", 10, 0);
    Sites sites;
    MibTest::Walk walk(t, *mib);
    MibTest::Index hint;
    for (const u_char type : t.indexTypes()) {
      type == ASN_OCTET_STR ? hint.name("absent") : hint.number(0, type);
    }
    walk.first(hint, t.indexes());
    {
      MibTest::Batch get(MODE_GET);
      get.add(2, t, walk);
      get.add(99, t, walk);
      t.handler(nullptr, nullptr, get.info(), get.head());
    }
    walk.next();
    walk.next();
    walk.end();
    if (t.hasTimeMark()) {
      walk.timeMarkIs(1000000);  // the row is filtered out
      EXPECT_EQ(walk.first(), nullptr);
    }
    EXPECT_GT(sites.all.size(), 12U);
    expectAtTheirLines(sites.all, t.name());
    for (const Sited& trace : sites.all) {
      EXPECT_EQ(trace.unit, "AclMIB");
      EXPECT_TRUE(trace.function.starts_with(t.name())) << trace.function;
    }
  }
}

TEST(TraceSites, TheScalarNamesItsLines) {
  const auto mib = AclSnmp::AclMibIs("mib");
  Sites sites;
  for (AclSnmp::AclMib* entity : {mib.get(), static_cast<AclSnmp::AclMib*>(nullptr)}) {
    netsnmp_handler_registration registration{};
    registration.my_reg_void = entity;
    for (const int mode : std::initializer_list<int>{MODE_GET, MODE_SET_RESERVE1, MODE_GETNEXT}) {
      MibTest::Batch batch(mode);
      batch.add();
      handle_zorlenAclDpSupportFlags(nullptr, &registration, batch.info(), batch.head());
    }
  }
  EXPECT_EQ(sites.all.size(), 7U);
  expectAtTheirLines(sites.all);
  for (const Sited& trace : sites.all) {
    EXPECT_EQ(trace.unit, "AclMIB");
    EXPECT_EQ(trace.function, "handle_zorlenAclDpSupportFlags");
  }
}

class RegistrationSites : public MibTest::AgentTest {};

TEST_F(RegistrationSites, TheRegistrationNamesItsLinesAndItsFunctions) {
  Sites sites;
  for (const char* context : {"", "vrf"}) {
    init_AclMIB(context);
    unregister_AclMIB(context);
  }
  std::map<std::string, int> functions;
  for (const Sited& trace : sites.all) ++functions[trace.function];
  EXPECT_EQ(functions.size(), 11U);
  EXPECT_EQ(functions["init_AclMIB"], 3);
  EXPECT_EQ(functions["unregister_AclMIB"], 2);
  for (const TableCase& t : MibTest::tables()) {
    EXPECT_EQ(functions["initialize_table_" + t.name()], 4) << t.name();
  }
  expectAtTheirLines(sites.all);
}

/// Matches what an assertion writes when it stands at the line that it names.
class AssertionAt {
 public:
  using is_gtest_matcher = void;
  AssertionAt(std::string unit, std::string function, std::string text)
      : unit_(std::move(unit)), function_(std::move(function)), text_(std::move(text)) {}
  bool MatchAndExplain(const std::string& output, std::ostream*) const {
    std::smatch found;
    // A message of the caller's own may come before.
    const std::regex form("(^|\n)" + unit_ +
                          ":([0-9]+): ([^\n]*): Assertion '([^\n]*)' failed\\.\n$");
    return std::regex_search(output, found, form) &&
           found[3].str().find(function_) != std::string::npos && found[4] == text_ &&
           (standsAt(unit_, std::stoi(found[2]), "ASSERT") ||
            standsAt(unit_, std::stoi(found[2]), "__LINE__"));
  }
  void DescribeTo(std::ostream* out) const {
    *out << "is the assertion '" << text_ << "' of " << function_ << " at its line of " << unit_;
  }
  void DescribeNegationTo(std::ostream* out) const { *out << "is no such assertion"; }

 private:
  std::string unit_;
  std::string function_;
  std::string text_;
};

const testing::KilledBySignal kAborted(SIGABRT);

TEST(AssertionSites, TheEncodersNameTheirLines) {
  unsigned char octets[4];
  EXPECT_EXIT(RangeOperCodeToAsnInteger(static_cast<Acl::RangeOperator>(6), octets, 4), kAborted,
              AssertionAt("SnmpConversions",
                          "int RangeOperCodeToAsnInteger(const Acl::RangeOperator&, unsigned "
                          "char*, int)",
                          "bad value for ZorlenAclRangeOperator"));
  EXPECT_EXIT(ActionCodeToAsnInteger(static_cast<Acl::Action>(2), octets, 4), kAborted,
              AssertionAt("SnmpConversions",
                          "int ActionCodeToAsnInteger(const Acl::Action&, unsigned char*, int)",
                          "bad value for ZorlenAclAction"));
}

TEST(AssertionSites, TheProcessorsNameTheirLines) {
  World world;
  const auto codef = AclSnmp::AclSnmpTypeConfigCodefIs(
      world.scheduler, 2, "task", world.config->typeConfig(Acl::ipv4()),
      Qel::make<AclSnmp::AclSnmpTypeConfig>("mirror", Acl::ipv4()));
  EXPECT_EXIT(codef->handleInitialized(), kAborted,
              AssertionAt("AclSnmpTypeCodef", "handleInitialized()", "!initialized()"));
  codef->initializedIs(false);
  EXPECT_EXIT(codef->handleAclConfig("a"), kAborted,
              AssertionAt("AclSnmpTypeCodef", "handleAcl(", "initialized()"));
}

TEST(AssertionSites, TheMachinesNameTheirLines) {
  const auto site = [](const std::string& function, const std::string& text) {
    return AssertionAt("AclSnmpAgent", function, text);
  };
  World world;
  const auto machine =
      Qel::make<AclSnmp::AclMibSm>(world.scheduler, world.config, world.status, world.mib);
  world.run();
  EXPECT_EXIT(world.status->statusDel(Acl::mac()), kAborted,
              site("void AclSnmp::AclMibSm::handleAclTypeStatus(Acl::AclType)",
                   "typeConfig && typeStatus"));
  EXPECT_EXIT(
      Qel::make<AclSnmp::AclTypeMibSm>(machine->codefedAclSnmpTypeConfig(Acl::mac()),
                                       machine->codefedAclSnmpTypeStatus(Acl::mac()), world.mib),
      kAborted,
      site("void AclSnmp::AclTypeMibSm::handleInitialized()", "!aclMib()->macAclTables()"));
  EXPECT_EXIT(
      Qel::make<AclSnmp::AclRuleMibSm>(acl("a", Acl::mac()), world.mib), kAborted,
      site("AclSnmp::AclRuleMibSm::handleInitialized()", "iter.key().aclName() != snmpName"));
  EXPECT_EXIT(Qel::make<AclSnmp::AclRuleMibSm>(acl("a", Fixtures::kNoType), world.mib), kAborted,
              site("AclSnmp::AclRuleMibSm::family() const", "config()->type() == Acl::ipv6()"));
  const auto typeMachine = machine->aclTypeMibSm(Acl::ipv4());
  const auto mirror = machine->codefedAclSnmpTypeConfig(Acl::ipv4());
  const auto statuses = machine->codefedAclSnmpTypeStatus(Acl::ipv4());
  typeMachine->aclRuleSmDel("a");
  EXPECT_EXIT(mirror->aclDel("a"), kAborted,
              site("void AclSnmp::AclTypeMibSm::handleAclConfig(const Qel::Name&)", "ruleSm"));
  EXPECT_EXIT(statuses->aclDel("a"), kAborted,
              site("void AclSnmp::AclTypeMibSm::handleAclStatus(const Qel::Name&)", "ruleSm"));
  world.mib->ipAclTableDel("a");
  EXPECT_EXIT(statuses->aclDel("a"), kAborted,
              site("void AclSnmp::AclTypeMibSm::handleAclStatus(const Qel::Name&)",
                   "aclMib()->ipAclTable( snmpName )"));
}

TEST_F(RegistrationSites, ItsAssertionsNameTheirLines) {
  const auto site = [](const std::string& function, const std::string& text) {
    return AssertionAt("AclMIB", "void " + function + "(Qel::String8)", text);
  };
  EXPECT_EXIT(
      {
        initialize_table_zorlenMacAclTable("");
        initialize_table_zorlenMacAclTable("");
      },
      kAborted, site("initialize_table_zorlenMacAclTable", "result == 0"));
  const auto folder = root->dirIs("snmp/acl");
  folder->entityIs(Qel::make<Acl::Status>("aclMIB"));
  EXPECT_EXIT(init_AclMIB(""), kAborted, site("init_AclMIB", "ptr_zorlenAclDpSupportFlags"));
  EXPECT_EXIT(initialize_table_zorlenIpAclTable(""), kAborted,
              site("initialize_table_zorlenIpAclTable", "ptr"));
  folder->entityDel("aclMIB");
  EXPECT_EXIT(init_AclMIB(""), kAborted, site("init_AclMIB", "e_zorlenAclDpSupportFlags"));
  EXPECT_EXIT(initialize_table_zorlenIpAclTable(""), kAborted,
              site("initialize_table_zorlenIpAclTable", "e"));
}

}  // namespace
