// What happens when the agent library refuses: its functions are replaced at link time.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <functional>

#include "MibAgent.h"

namespace {

bool noRegistration = false;
bool noInjection = false;
bool noValue = false;
/// Which allocation from now on fails, counted from 1; 0 for none.
int noMemoryAt = 0;
/// The ASN.1 type of the index objects that cannot be set up; 0 for none.
u_char noIndexOf = 0;
std::vector<std::string> unregistered;
/// What was done and told, in order.
std::vector<std::string> events;
/// Called when a handler is unregistered.
std::function<void()> atUnregistration;
/// The buffers' sizes of the OIDs that were formatted.
std::vector<size_t> formatted;

}  // namespace

extern "C" {

void* __real_calloc(size_t count, size_t size);
void* __wrap_calloc(size_t count, size_t size) {
  return noMemoryAt > 0 && --noMemoryAt == 0 ? nullptr : __real_calloc(count, size);
}

netsnmp_handler_registration* __real_netsnmp_create_handler_registration(
    const char* name, Netsnmp_Node_Handler* handler, const oid* at, size_t length, int modes);
netsnmp_handler_registration* __wrap_netsnmp_create_handler_registration(
    const char* name, Netsnmp_Node_Handler* handler, const oid* at, size_t length, int modes) {
  if (noRegistration) return nullptr;
  events.push_back("made " + std::string(name) + (modes == HANDLER_CAN_RONLY ? "" : " not RONLY"));
  return __real_netsnmp_create_handler_registration(name, handler, at, length, modes);
}

void __real_netsnmp_handler_registration_free(netsnmp_handler_registration* reg);
void __wrap_netsnmp_handler_registration_free(netsnmp_handler_registration* reg) {
  events.push_back("freed " + std::string(reg == nullptr ? "nothing" : reg->handlerName));
  __real_netsnmp_handler_registration_free(reg);
}

int __real_netsnmp_inject_handler(netsnmp_handler_registration* reg, netsnmp_mib_handler* handler);
int __wrap_netsnmp_inject_handler(netsnmp_handler_registration* reg, netsnmp_mib_handler* handler) {
  return noInjection ? SNMPERR_GENERR : __real_netsnmp_inject_handler(reg, handler);
}

int __real_netsnmp_unregister_handler(netsnmp_handler_registration* reg);
int __wrap_netsnmp_unregister_handler(netsnmp_handler_registration* reg) {
  unregistered.emplace_back(reg->handlerName);
  if (atUnregistration) atUnregistration();
  return __real_netsnmp_unregister_handler(reg);
}

netsnmp_variable_list* __real_snmp_varlist_add_variable(netsnmp_variable_list** list,
                                                        const oid* name, size_t nameLength,
                                                        u_char type, const void* value,
                                                        size_t length);
netsnmp_variable_list* __wrap_snmp_varlist_add_variable(netsnmp_variable_list** list,
                                                        const oid* name, size_t nameLength,
                                                        u_char type, const void* value,
                                                        size_t length) {
  if (type == noIndexOf) return nullptr;
  return __real_snmp_varlist_add_variable(list, name, nameLength, type, value, length);
}

int __real_snmp_set_var_typed_value(netsnmp_variable_list* variable, u_char type, const void* value,
                                    size_t length);
int __wrap_snmp_set_var_typed_value(netsnmp_variable_list* variable, u_char type, const void* value,
                                    size_t length) {
  return noValue ? 1 : __real_snmp_set_var_typed_value(variable, type, value, length);
}

int __real_snprint_objid(char* buffer, size_t size, const oid* name, size_t length);
int __wrap_snprint_objid(char* buffer, size_t size, const oid* name, size_t length) {
  formatted.push_back(size);
  return __real_snprint_objid(buffer, size, name, length);
}

}  // extern "C"

namespace MibTest {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

class Faults : public AgentTest {
 protected:
  Faults() { unregistered.clear(), events.clear(), formatted.clear(); }
  ~Faults() override {
    noRegistration = noInjection = noValue = false, noIndexOf = 0;
    atUnregistration = {};
  }
};

TEST_F(Faults, HandlersAreUnregisteredInTheOrderOfTheirRegistration) {
  init_AclMIB("");
  unregister_AclMIB("");
  std::vector<std::string> expected = {"zorlenAclDpSupportFlags_"};
  for (const TableCase& t : tables()) expected.push_back(t.name() + "_");
  EXPECT_EQ(unregistered, expected);
}

// The trace tells what is to go, and the module is withdrawn when it has gone.
TEST_F(Faults, HandlersAreUnregisteredBetweenTheTraceAndTheWithdrawal) {
  init_AclMIB("");
  const TraceCapture levels("Snmp=2");
  std::vector<size_t> goneWhenTold;
  Qel::traceSinkIs([&](const Qel::TraceRecord&) { goneWhenTold.push_back(unregistered.size()); });
  atUnregistration = [] {
    EXPECT_EQ(AclSnmp::handlerRegistrationsByContext[""].size(), 10U);
    EXPECT_EQ(AclSnmp::columnInfosByContext[""].size(), 9U);
    EXPECT_EQ(Snmp::mibContexts().count(""), 1U);
  };
  unregister_AclMIB("");
  EXPECT_THAT(goneWhenTold, ElementsAre(0U));
  EXPECT_THAT(unregistered, testing::SizeIs(10));
  EXPECT_THAT(Snmp::mibContexts(), testing::IsEmpty());
}

TEST_F(Faults, AnotherContextsRegistrationsAreMadeUnderItsNameAndFreed) {
  const TraceCapture levels("Snmp=2");
  Qel::traceSinkIs([](const Qel::TraceRecord& record) {
    if (record.level == 2) events.push_back("told " + std::string(record.site.function));
  });
  init_AclMIB("vrf");
  std::vector<std::string> expected = {"made zorlenAclDpSupportFlags_vrf", "told init_AclMIB",
                                       "freed zorlenAclDpSupportFlags_vrf"};
  for (const TableCase& t : tables()) {
    expected.insert(expected.end(), {"made " + t.name() + "_vrf", "freed " + t.name() + "_vrf",
                                     "told initialize_table_" + t.name()});
  }
  EXPECT_THAT(events, ElementsAreArray(expected));
}

// Only the scalar's set-up asks whether there is one.
TEST_F(Faults, ATableWithoutARegistrationIsPassedOverInAnotherContextAsEver) {
  noRegistration = true;
  for (const TableCase& t : tables()) {
    events.clear();
    const TraceCapture capture("Snmp=8");
    t.initialize("vrf");
    EXPECT_THAT(events, ElementsAre("freed nothing"));
    EXPECT_EQ(capture.traced().back(), snmp(2, "initialize_table_" + t.name() +
                                                   " in context \"vrf\" lumdbPathWithContext not "
                                                   "specified "));
  }
  EXPECT_THAT(AclSnmp::handlerRegistrationsByContext, testing::IsEmpty());
}

TEST_F(Faults, ATableWithoutMemoryForItsSetUpIsTracedAndLeftOut) {
  for (const TableCase& t : tables()) {
    const auto expectLeftOut = [&] {
      const TraceCapture capture("Snmp=8");
      t.initialize("");
      EXPECT_EQ(capture.traced().back(),
                snmp(0, "Failed to set up " + t.name() + " in context \"\": no memory"));
      EXPECT_THAT(AclSnmp::handlerRegistrationsByContext, testing::IsEmpty());
      EXPECT_THAT(AclSnmp::columnInfosByContext, testing::IsEmpty());
    };
    noRegistration = true;
    expectLeftOut();
    noRegistration = false;
    for (const int allocation : {1, 2, 3}) {
      events.clear();
      noMemoryAt = allocation;
      expectLeftOut();
      EXPECT_EQ(noMemoryAt, 0);
      EXPECT_THAT(events, ElementsAre("made " + t.name() + "_", "freed " + t.name() + "_"));
    }
  }
}

TEST_F(Faults, AnOidIsFormattedOnlyForATrace) {
  for (const int level : {0, 1}) {
    const TraceCapture capture("Snmp=" + std::to_string(level));
    init_AclMIB("");
    unregister_AclMIB("");
    EXPECT_EQ(formatted, std::vector<size_t>(level == 0 ? 0 : 10, 200));
  }
}

TEST_F(Faults, AnIndexObjectThatCannotBeSetUpIsTracedAndSetUpGoesOn) {
  for (const TableCase& t : tables()) {
    const std::vector<u_char> types = t.indexTypes();
    const std::vector<std::string> names =
        t.kind == Kind::acls    ? std::vector{t.nameObject()}
        : t.kind == Kind::rules ? std::vector{t.nameObject(), t.seqObject()}
                                : std::vector{t.markObject(), t.nameObject(), t.seqObject()};
    for (size_t i = 0; i < types.size(); ++i) {
      const TraceCapture capture("Snmp=8");
      noIndexOf = types[i];
      t.initialize("");
      noIndexOf = 0;
      EXPECT_EQ(AclSnmp::columnInfosByContext[""].size(), 1U);
      // The other index objects, and all that comes after them.
      std::vector<u_char> others = types;
      others.erase(others.begin() + static_cast<long>(i));
      const auto* info =
          netsnmp_find_table_registration_info(AclSnmp::handlerRegistrationsByContext[""].front());
      ASSERT_NE(info, nullptr);
      std::vector<u_char> set;
      for (const auto* v = info->indexes; v != nullptr; v = v->next_variable) {
        set.push_back(v->type);
      }
      EXPECT_EQ(set, others);
      EXPECT_EQ(info->min_column, 2U);
      EXPECT_EQ(info->max_column, t.lastColumn());
      EXPECT_EQ(capture.traced()[1],
                snmp(0, "Failed to set up " + names[i] + " in netsnmp table_info in context \"\""));
      EXPECT_EQ(capture.traced().back(),
                snmp(8, "Initialized table " + t.name() + " in context \"\""));
      unregister_AclMIB("");
    }
  }
}

TEST_F(Faults, AColumnThatCannotBeSetIsAFailedEncoder) {
  const AgentStart start(1000);
  for (const TableCase& t : tables()) {
    t.addRow(*mib, "acl", 10, 1001);
    Walk walk(t, *mib);
    ASSERT_NE(walk.first(), nullptr);
    for (const ColumnCase& column : t.columns()) {
      Batch batch(MODE_GET);
      const netsnmp_request_info& request = batch.add(column.number, t, walk);
      const TraceCapture capture("Snmp=2");
      noValue = true;
      EXPECT_EQ(t.handler(nullptr, nullptr, batch.info(), batch.head()), SNMP_ERR_GENERR);
      noValue = false;
      EXPECT_EQ(request.status, SNMP_ERR_GENERR);
      EXPECT_EQ(capture.traced().back(), snmp(2, "handle_" + t.name() + " - " + column.encoder +
                                                     " failed for: " + column.attribute));
    }
  }
}

TEST_F(Faults, AnIndexThatCannotBeSetEndsTheWalk) {
  for (const TableCase& t : tables()) {
    t.addRow(*mib, "acl", 10, 1001);
    Walk walk(t, *mib);
    const TraceCapture capture("Snmp=0");
    noValue = true;
    EXPECT_EQ(walk.first(), nullptr);
    noValue = false;
    EXPECT_THAT(capture.traced(), testing::SizeIs(1));
  }
}

TEST_F(Faults, AScalarThatCannotBeSetIsAFailedEncoder) {
  netsnmp_handler_registration registration{};
  registration.my_reg_void = mib.get();
  for (const char* level : {"Snmp=2", "Snmp=0"}) {
    Batch batch(MODE_GET);
    const netsnmp_request_info& request = batch.add();
    const TraceCapture capture(level);
    noValue = true;
    EXPECT_EQ(handle_zorlenAclDpSupportFlags(nullptr, &registration, batch.info(), batch.head()),
              SNMP_ERR_GENERR);
    noValue = false;
    EXPECT_EQ(request.status, SNMP_ERR_GENERR);
    if (level == std::string("Snmp=0")) continue;
    EXPECT_EQ(capture.traced().back(),
              snmp(2,
                   "handle_zorlenAclDpSupportFlags - DpAclSupportFlagsToAsnBits failed for: "
                   "aclStatus"));
  }
}

using FaultsDeathTest = Faults;

TEST_F(FaultsDeathTest, AScalarWithoutARegistrationIsFatal) {
  noRegistration = true;
  EXPECT_DEATH(init_AclMIB(""),
               "^AclMIB:[0-9]+: void init_AclMIB\\(Qel::String8\\): Assertion "
               "'reg_zorlenAclDpSupportFlags' failed\\.\n$");
}

TEST_F(FaultsDeathTest, ATableThatCannotBeSerializedIsFatal) {
  noInjection = true;
  for (const TableCase& t : tables()) {
    EXPECT_DEATH(t.initialize(""), "^AclMIB:[0-9]+: void initialize_table_" + t.name() +
                                       "\\(Qel::String8\\): Assertion 'injected == \\(0\\)' "
                                       "failed\\.\n$");
  }
}

TEST_F(FaultsDeathTest, ATableThatCannotBeSerializedIsNotSaidToBeInitialized) {
  noInjection = true;
  for (const TableCase& t : tables()) {
    EXPECT_EXIT(
        {
          Qel::traceSettingsIs("Snmp=8");
          t.initialize("");
        },
        testing::KilledBySignal(SIGABRT),
        testing::AllOf(testing::HasSubstr("initialize_table_" + t.name() + " initializing oid "),
                       testing::HasSubstr("Assertion 'injected == (0)' failed."),
                       testing::Not(testing::HasSubstr("Initialized table"))));
  }
}

}  // namespace
}  // namespace MibTest
