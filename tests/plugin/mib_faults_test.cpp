// What happens when the agent library refuses: its functions are replaced at link time.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mib_agent.h"

namespace {

bool noRegistration = false;
bool noInjection = false;
bool noValue = false;
/// The ASN.1 type of the index objects that cannot be set up; 0 for none.
u_char noIndexOf = 0;
std::vector<std::string> unregistered;
/// How many OIDs were formatted.
int formatted = 0;

}  // namespace

extern "C" {

netsnmp_handler_registration* __real_netsnmp_create_handler_registration(
    const char* name, Netsnmp_Node_Handler* handler, const oid* at, size_t length, int modes);
netsnmp_handler_registration* __wrap_netsnmp_create_handler_registration(
    const char* name, Netsnmp_Node_Handler* handler, const oid* at, size_t length, int modes) {
  if (noRegistration) return nullptr;
  return __real_netsnmp_create_handler_registration(name, handler, at, length, modes);
}

int __real_netsnmp_inject_handler(netsnmp_handler_registration* reg, netsnmp_mib_handler* handler);
int __wrap_netsnmp_inject_handler(netsnmp_handler_registration* reg, netsnmp_mib_handler* handler) {
  return noInjection ? SNMPERR_GENERR : __real_netsnmp_inject_handler(reg, handler);
}

int __real_netsnmp_unregister_handler(netsnmp_handler_registration* reg);
int __wrap_netsnmp_unregister_handler(netsnmp_handler_registration* reg) {
  unregistered.emplace_back(reg->handlerName);
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
  ++formatted;
  return __real_snprint_objid(buffer, size, name, length);
}

}  // extern "C"

namespace MibTest {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

class Faults : public AgentTest {
 protected:
  Faults() { unregistered.clear(); }
  ~Faults() override { noRegistration = noInjection = noValue = false, noIndexOf = 0; }
};

TEST_F(Faults, HandlersAreUnregisteredInTheOrderOfTheirRegistration) {
  init_AclMIB("");
  unregister_AclMIB("");
  std::vector<std::string> expected = {"zorlenAclDpSupportFlags_"};
  for (const TableCase& t : tables()) expected.push_back(t.name() + "_");
  EXPECT_EQ(unregistered, expected);
}

TEST_F(Faults, AnOidIsFormattedOnlyForATrace) {
  formatted = 0;
  for (const int level : {0, 1}) {
    const TraceCapture capture("Snmp=" + std::to_string(level));
    init_AclMIB("");
    unregister_AclMIB("");
    EXPECT_EQ(formatted, level == 0 ? 0 : 10);
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

}  // namespace
}  // namespace MibTest
