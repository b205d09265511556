// Registration with the agent library, which runs in this process without any port.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MibAgent.h"

namespace MibTest {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

const Qel::String8 kDefault("");

class Registration : public AgentTest {
 protected:
  static std::vector<std::string> names() {
    std::vector<std::string> found;
    for (const auto* reg : AclSnmp::handlerRegistrationsByContext[kDefault]) {
      found.emplace_back(reg->handlerName);
    }
    return found;
  }
  static std::vector<std::string> allNames() {
    std::vector<std::string> expected = {"zorlenAclDpSupportFlags_"};
    for (const TableCase& t : tables()) expected.push_back(t.name() + "_");
    return expected;
  }
  static netsnmp_subtree* find(std::vector<oid> name, const char* context = "") {
    return netsnmp_subtree_find(name.data(), name.size(), nullptr, context);
  }
  /// The registration that answers exactly at an OID, or null.
  static netsnmp_handler_registration* registeredAt(const std::vector<oid>& name,
                                                    const char* context = "") {
    const netsnmp_subtree* found = find(name, context);
    if (found == nullptr || found->reginfo == nullptr) return nullptr;
    const std::vector<oid> at(found->reginfo->rootoid,
                              found->reginfo->rootoid + found->reginfo->rootoid_len);
    return at == name ? found->reginfo : nullptr;
  }
  static std::vector<std::string> chain(const netsnmp_handler_registration* reg) {
    std::vector<std::string> found;
    for (const auto* h = reg->handler; h != nullptr; h = h->next) {
      found.emplace_back(h->handler_name);
    }
    return found;
  }
  static std::string oidText(const std::vector<oid>& name) {
    std::string out;
    for (const oid part : name) out += "." + std::to_string(part);
    return out;
  }
};

TEST_F(Registration, TheDefaultContextGetsTheScalarAndTheTablesInOrder) {
  init_AclMIB(kDefault);
  EXPECT_EQ(names(), allNames());
  EXPECT_THAT(AclSnmp::columnInfosByContext[kDefault], SizeIs(9));
  EXPECT_THAT(Snmp::mibContexts(), ElementsAre(Pair(kDefault, ElementsAre("AclMIB"))));
}

TEST_F(Registration, EachObjectStandsReadOnlyAtItsOidWithTheEntity) {
  init_AclMIB(kDefault);
  const auto* scalar = registeredAt(scalarOid());
  ASSERT_NE(scalar, nullptr);
  EXPECT_EQ(scalar->modes, HANDLER_CAN_RONLY);
  EXPECT_EQ(scalar->priority, 64);
  EXPECT_EQ(scalar->my_reg_void, mib.get());
  EXPECT_THAT(scalar->rootoid_len, 11U);
  for (const TableCase& t : tables()) {
    SCOPED_TRACE(t.name());
    const auto* reg = registeredAt(t.tableOid());
    ASSERT_NE(reg, nullptr);
    EXPECT_EQ(reg->rootoid_len, 12U);
    // The library's table iterator adds the stash mode.
    EXPECT_EQ(reg->modes, HANDLER_CAN_RONLY | HANDLER_CAN_STASH);
    EXPECT_EQ(reg->my_reg_void, mib.get());
    EXPECT_THAT(chain(reg), ElementsAre("serialize", "bulk_to_next", "table", "zorlenSeek",
                                        "table_iterator", t.name() + "_"));
    const auto* handler = netsnmp_find_handler_by_name(
        const_cast<netsnmp_handler_registration*>(reg), (t.name() + "_").c_str());
    ASSERT_NE(handler, nullptr);
    EXPECT_EQ(handler->access_method, t.handler);
  }
}

TEST_F(Registration, TheScalarsHandlerIsItsOwn) {
  init_AclMIB(kDefault);
  const auto* handler =
      netsnmp_find_handler_by_name(registeredAt(scalarOid()), "zorlenAclDpSupportFlags_");
  ASSERT_NE(handler, nullptr);
  EXPECT_EQ(handler->access_method, handle_zorlenAclDpSupportFlags);
}

TEST_F(Registration, TablesDeclareTheirIndexesAndColumns) {
  init_AclMIB(kDefault);
  auto columnInfo = AclSnmp::columnInfosByContext[kDefault].begin();
  for (const TableCase& t : tables()) {
    SCOPED_TRACE(t.name());
    const auto* info = netsnmp_find_table_registration_info(registeredAt(t.tableOid()));
    ASSERT_NE(info, nullptr);
    std::vector<u_char> types;
    for (const auto* v = info->indexes; v != nullptr; v = v->next_variable) {
      types.push_back(v->type);
    }
    EXPECT_EQ(types, t.indexTypes());
    EXPECT_EQ(info->number_indexes, t.indexes());
    EXPECT_EQ(info->min_column, 2U);
    EXPECT_EQ(info->max_column, t.lastColumn());
    const netsnmp_column_info* columns = *columnInfo++;
    ASSERT_EQ(info->valid_columns, columns);
    EXPECT_EQ(columns->isRange, 0);
    EXPECT_EQ(columns->next, nullptr);
    std::vector<unsigned> numbers;
    for (const ColumnCase& c : t.columns()) numbers.push_back(c.number);
    EXPECT_EQ(
        std::vector<unsigned>(columns->details.list, columns->details.list + columns->list_count),
        numbers);
  }
}

TEST_F(Registration, IteratorsNameTheTablesOwnHooks) {
  init_AclMIB(kDefault);
  for (const TableCase& t : tables()) {
    SCOPED_TRACE(t.name());
    const auto* handler =
        netsnmp_find_handler_by_name(registeredAt(t.tableOid()), TABLE_ITERATOR_NAME);
    ASSERT_NE(handler, nullptr);
    const auto* info = static_cast<const netsnmp_iterator_info*>(handler->myvoid);
    EXPECT_EQ(info->get_first_data_point, t.first);
    EXPECT_EQ(info->get_next_data_point, t.next);
    EXPECT_EQ(info->make_data_context, t.makeData);
    EXPECT_EQ(info->free_data_context, t.freeData);
    EXPECT_EQ(info->free_loop_context_at_end, t.freeLoopAtEnd);
    EXPECT_EQ(info->free_loop_context, nullptr);
    EXPECT_EQ(info->myvoid, mib.get());
    EXPECT_EQ(info->flags, 3);
    // The library's handler is its one owner.
    EXPECT_EQ(info->refcnt, 1);
    EXPECT_EQ(info->table_reginfo,
              netsnmp_find_table_registration_info(registeredAt(t.tableOid())));
  }
}

TEST_F(Registration, TracesAnnounceEveryObjectInOrder) {
  const TraceCapture capture("Snmp=9");
  init_AclMIB(kDefault);
  std::vector<Traced> expected = {
      snmp(1, "init_AclMIB initializing oid " + oidText(scalarOid()) + " in context \"\"")};
  for (const TableCase& t : tables()) {
    expected.push_back(snmp(1, "initialize_table_" + t.name() + " initializing oid " +
                                   oidText(t.tableOid()) + " in context \"\""));
    expected.push_back(snmp(8, "Initialized table " + t.name() + " in context \"\""));
  }
  EXPECT_THAT(capture.traced(), ElementsAreArray(expected));
  EXPECT_THAT(capture.sources(), testing::Each("AclMIB"));
  EXPECT_EQ(capture.functions().front(), "init_AclMIB");
  EXPECT_EQ(capture.functions().back(), "initialize_table_zorlenIpv6AclRuleStatsTable");
}

TEST_F(Registration, AnyOtherContextIsAnnouncedWithoutObjects) {
  for (const std::string context : {"vrf", " ", "default"}) {
    SCOPED_TRACE(context);
    TraceCapture capture("Snmp=9");
    init_AclMIB(Qel::String8(context));
    const std::string in = " in context \"" + context + "\"";
    std::vector<Traced> expected = {
        snmp(1, "init_AclMIB initializing oid " + oidText(scalarOid()) + in),
        snmp(2, "init_AclMIB" + in +
                    ": lumdbPathWithContext not specified for zorlenAclDpSupportFlags; "
                    "skipping registration")};
    for (const TableCase& t : tables()) {
      expected.push_back(snmp(
          1, "initialize_table_" + t.name() + " initializing oid " + oidText(t.tableOid()) + in));
      expected.push_back(
          snmp(2, "initialize_table_" + t.name() + in + " lumdbPathWithContext not specified "));
    }
    EXPECT_THAT(capture.traced(), ElementsAreArray(expected));
    EXPECT_THAT(AclSnmp::handlerRegistrationsByContext, IsEmpty());
    EXPECT_THAT(AclSnmp::columnInfosByContext, IsEmpty());
    EXPECT_THAT(Snmp::mibContexts(),
                ElementsAre(Pair(Qel::String8(context), ElementsAre("AclMIB"))));
    EXPECT_EQ(registeredAt(scalarOid(), context.c_str()), nullptr);
    for (const TableCase& t : tables()) EXPECT_EQ(registeredAt(t.tableOid()), nullptr);
    unregister_AclMIB(Qel::String8(context));
    EXPECT_THAT(Snmp::mibContexts(), IsEmpty());
  }
}

TEST_F(Registration, TheModuleIsAnnouncedAfterItsObjects) {
  for (const Qel::String8 context : {"", "vrf"}) {
    std::vector<size_t> announced;
    {
      const TraceCapture levels("Snmp=8");
      Qel::traceSinkIs(
          [&](const Qel::TraceRecord&) { announced.push_back(Snmp::mibContexts().size()); });
      init_AclMIB(context);
    }
    EXPECT_GE(announced.size(), 19U);
    EXPECT_THAT(announced, testing::Each(0U));
    EXPECT_THAT(Snmp::mibContexts(), ElementsAre(Pair(context, ElementsAre("AclMIB"))));
    unregister_AclMIB(context);
  }
}

// A context other than the default one needs no entity.
TEST_F(Registration, AnyOtherContextDoesNotLookTheEntityUp) {
  Snmp::mountPointIs(nullptr);
  init_AclMIB("vrf");
  EXPECT_THAT(Snmp::mibContexts(), SizeIs(1));
  unregister_AclMIB("vrf");
}

TEST_F(Registration, KeepsNoReferenceToTheEntity) {
  const uint32_t before = mib->references();
  init_AclMIB(kDefault);
  EXPECT_EQ(mib->references(), before);
}

TEST_F(Registration, UnregisteringTakesEverythingDown) {
  init_AclMIB(kDefault);
  init_AclMIB("vrf");
  const TraceCapture capture("Snmp=9");
  unregister_AclMIB(kDefault);
  EXPECT_THAT(capture.traced(), ElementsAre(snmp(2, "Unregistering AclMIB in context \"\"")));
  EXPECT_THAT(capture.functions(), ElementsAre("unregister_AclMIB"));
  EXPECT_THAT(AclSnmp::handlerRegistrationsByContext, IsEmpty());
  EXPECT_THAT(AclSnmp::columnInfosByContext, IsEmpty());
  EXPECT_EQ(registeredAt(scalarOid()), nullptr);
  for (const TableCase& t : tables()) EXPECT_EQ(registeredAt(t.tableOid()), nullptr);
  EXPECT_THAT(Snmp::mibContexts(), ElementsAre(Pair(Qel::String8("vrf"), ElementsAre("AclMIB"))));
  unregister_AclMIB("vrf");
}

TEST_F(Registration, UnregisteringAnUnknownContextWithdrawsItsModuleOnly) {
  init_AclMIB(kDefault);
  Snmp::registerMibContext("never", "AclMIB");
  const TraceCapture capture("Snmp=9");
  unregister_AclMIB("never");
  EXPECT_THAT(capture.traced(), ElementsAre(snmp(2, "Unregistering AclMIB in context \"never\"")));
  EXPECT_THAT(Snmp::mibContexts(), ElementsAre(Pair(kDefault, ElementsAre("AclMIB"))));
  EXPECT_EQ(AclSnmp::handlerRegistrationsByContext.count("never"), 0U);
  EXPECT_EQ(AclSnmp::columnInfosByContext.count("never"), 0U);
  EXPECT_EQ(names(), allNames());
}

// Leaks show under the leak checker.
TEST_F(Registration, UnregisteringFreesEveryRecordOfAChain) {
  auto* first = SNMP_MALLOC_TYPEDEF(netsnmp_column_info);
  first->next = SNMP_MALLOC_TYPEDEF(netsnmp_column_info);
  first->next->next = SNMP_MALLOC_TYPEDEF(netsnmp_column_info);
  AclSnmp::columnInfosByContext["chained"].push_back(first);
  unregister_AclMIB("chained");
  EXPECT_THAT(AclSnmp::columnInfosByContext, IsEmpty());
}

TEST_F(Registration, CanBeRepeatedAfterUnregistering) {
  for (int round = 0; round < 3; ++round) {
    init_AclMIB(kDefault);
    EXPECT_EQ(names(), allNames());
    EXPECT_THAT(AclSnmp::columnInfosByContext[kDefault], SizeIs(9));
    unregister_AclMIB(kDefault);
  }
}

TEST_F(Registration, EachTableCanBeRegisteredAlone) {
  for (const TableCase& t : tables()) {
    t.initialize(kDefault);
    EXPECT_THAT(names(), ElementsAre(t.name() + "_"));
    EXPECT_THAT(AclSnmp::columnInfosByContext[kDefault], SizeIs(1));
    EXPECT_NE(registeredAt(t.tableOid()), nullptr);
    unregister_AclMIB(kDefault);
  }
}

TEST_F(Registration, TheFrameworkReachesItOncePerContext) {
  Snmp::contextIs("vrf");
  Snmp::initNewRegistrations();
  EXPECT_THAT(Snmp::mibContexts(), ElementsAre(Pair(Qel::String8("vrf"), ElementsAre("AclMIB"))));
  Snmp::contextIs(kDefault);
  EXPECT_EQ(names(), allNames());
  unregister_AclMIB(kDefault);
  unregister_AclMIB("vrf");
  Snmp::contextDel(kDefault);
  Snmp::contextDel("vrf");
}

/// What setting up another context writes with the library's debugging on or off.
std::string debugOutput(bool on) {
  debug_register_tokens("trace,AclMIB");
  snmp_set_do_debugging(on ? 1 : 0);
  testing::internal::CaptureStderr();
  snmp_enable_stderrlog();
  init_AclMIB("vrf");
  snmp_disable_stderrlog();
  snmp_set_do_debugging(0);
  unregister_AclMIB("vrf");
  return testing::internal::GetCapturedStderr();
}

TEST_F(Registration, DebugOutputNamesTheContext) {
  EXPECT_THAT(debugOutput(true), testing::HasSubstr("trace: init_AclMIB(): AclMIB, 40:\n"
                                                    "AclMIB: Initializing in context \"vrf\"\n"));
  EXPECT_EQ(debugOutput(false), "");
}

TEST_F(Registration, DebugOutputComesBeforeTheTraces) {
  const TraceCapture levels("Snmp=1");
  Qel::traceSinkIs({});
  EXPECT_THAT(debugOutput(true), testing::ContainsRegex("AclMIB: Initializing in context \"vrf\"\n"
                                                        "[^\n]* init_AclMIB initializing oid "));
}

}  // namespace
}  // namespace MibTest
