// What stops the process while the MIB is registered.

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>

#include "MibAgent.h"

namespace MibTest {
namespace {

const Qel::String8 kDefaultContext("");

using RegistrationDeathTest = AgentTest;

/// What an assertion of a function writes.
std::string assertion(const std::string& function, const std::string& expected) {
  return "AclMIB:[0-9]+: void " + function + "\\(Qel::String8\\): Assertion '" + expected +
         "' failed\\.\n$";
}

TEST_F(RegistrationDeathTest, AMissingEntityIsFatal) {
  root->dirIs("snmp/acl")->entityDel("aclMIB");
  const std::string missing = "^Can not getEntityRelative\\( snmp/acl/aclMIB \\) for ";
  EXPECT_DEATH(init_AclMIB(kDefaultContext),
               missing + "scalar zorlenAclDpSupportFlags\\. Is this path correct\\?\n" +
                   assertion("init_AclMIB", "e_zorlenAclDpSupportFlags"));
  for (const TableCase& t : tables()) {
    EXPECT_DEATH(t.initialize(kDefaultContext), missing + "table " + t.name() +
                                                    "\\. Is this path correct\\?\n" +
                                                    assertion("initialize_table_" + t.name(), "e"));
  }
}

TEST_F(RegistrationDeathTest, WithoutAMountTheEntityIsMissing) {
  Snmp::mountPointIs(nullptr);
  EXPECT_DEATH(init_AclMIB(kDefaultContext), assertion("init_AclMIB", "e_zorlenAclDpSupportFlags"));
}

TEST_F(RegistrationDeathTest, AnEntityOfAnotherTypeIsFatal) {
  root->dirIs("snmp/acl")->entityIs(Qel::make<Acl::Status>("aclMIB"));
  const std::string other = "^snmp/acl/aclMIB does not appear to be of type AclSnmp::AclMib";
  EXPECT_DEATH(init_AclMIB(kDefaultContext),
               other + " for scalar zorlenAclDpSupportFlags\\.\n" +
                   assertion("init_AclMIB", "ptr_zorlenAclDpSupportFlags"));
  for (const TableCase& t : tables()) {
    EXPECT_DEATH(t.initialize(kDefaultContext),
                 other + "\\.\n" + assertion("initialize_table_" + t.name(), "ptr"));
  }
}

TEST_F(RegistrationDeathTest, ASecondRegistrationOfATableIsFatal) {
  for (const TableCase& t : tables()) {
    EXPECT_DEATH(
        {
          t.initialize(kDefaultContext);
          t.initialize(kDefaultContext);
        },
        assertion("initialize_table_" + t.name(), "result == 0"));
  }
}

/// Tells at the abort what the default context's lists hold.
void countAtAbort(int) {
  std::fprintf(stderr, "%zu registrations, %zu column records\n",
               AclSnmp::handlerRegistrationsByContext[kDefaultContext].size(),
               AclSnmp::columnInfosByContext[kDefaultContext].size());
  std::_Exit(1);
}

// The library has freed the scalar's duplicate; the first table's stops the process.
TEST_F(RegistrationDeathTest, ASecondRegistrationOfAContextDropsTheScalarsDuplicate) {
  EXPECT_EXIT(
      {
        init_AclMIB(kDefaultContext);
        std::signal(SIGABRT, countAtAbort);
        init_AclMIB(kDefaultContext);
      },
      testing::ExitedWithCode(1),
      "void initialize_table_zorlenIpAclTable\\(Qel::String8\\): Assertion 'result == 0' "
      "failed\\.\n11 registrations, 10 column records\n$");
}

// A registration is recorded before its entity is looked for, a column record after that.
TEST_F(RegistrationDeathTest, ARegistrationIsRecordedBeforeItsEntityIsLookedFor) {
  const std::map<std::string, Qel::Ptr<Qel::Entity>> entities = {
      {"e", nullptr}, {"ptr", Qel::make<Acl::Status>("aclMIB")}};
  std::vector<void (*)(Qel::String8)> setUps = {init_AclMIB};
  for (const TableCase& t : tables()) setUps.push_back(t.initialize);
  for (const auto& [assertionText, entity] : entities) {
    root->dirIs("snmp/acl")->entityDel("aclMIB");
    if (entity) root->dirIs("snmp/acl")->entityIs(entity);
    for (const auto setUp : setUps) {
      EXPECT_EXIT(
          {
            std::signal(SIGABRT, countAtAbort);
            setUp(kDefaultContext);
          },
          testing::ExitedWithCode(1),
          "Assertion '" + assertionText +
              "(_zorlenAclDpSupportFlags)?' failed\\.\n1 registrations, 0 column records\n$");
    }
  }
}

}  // namespace
}  // namespace MibTest
