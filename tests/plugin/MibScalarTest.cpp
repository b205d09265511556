// The scalar's handler by direct calls.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MibRequests.h"

namespace MibTest {
namespace {

using testing::ElementsAre;

const std::string kHandler = "handle_zorlenAclDpSupportFlags";

class Scalar : public testing::Test {
 protected:
  Scalar() { registration.my_reg_void = mib.get(); }
  int handle(Batch& batch) {
    return handle_zorlenAclDpSupportFlags(nullptr, &registration, batch.info(), batch.head());
  }
  static Traced reading() { return snmp(2, kHandler + " - reading snmp/acl/aclMIB->aclStatus()"); }
  static Traced returned(int count) {
    return snmp(2, kHandler + " - DpAclSupportFlagsToAsnBits returned " + std::to_string(count) +
                       "bytes for snmp/acl/aclMIB->aclStatus()");
  }

  const Qel::Ptr<AclSnmp::AclMib> mib = AclSnmp::AclMibIs("aclMIB");
  const Qel::Ptr<Acl::Status> status = Qel::make<Acl::Status>("status");
  netsnmp_handler_registration registration{};
};

TEST_F(Scalar, GetReadsTheFlagsOfTheStatus) {
  mib->aclStatusIs(status);
  for (unsigned flags = 0; flags < 16; ++flags) {
    status->dpAclSupportedIs((flags & 8U) != 0);
    status->dpAclLoggingSupportedIs((flags & 4U) != 0);
    status->dpAclCountersSupportedIs((flags & 2U) != 0);
    status->dpRouterAclSupportedIs((flags & 1U) != 0);
    Batch batch(MODE_GET);
    const netsnmp_request_info& request = batch.add();
    EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
    EXPECT_EQ(request.status, SNMP_ERR_NOERROR);
    EXPECT_EQ(request.requestvb->type, ASN_OCTET_STR);
    EXPECT_EQ(octetsOf(request.requestvb), Octets{static_cast<unsigned char>(flags << 4)});
  }
}

TEST_F(Scalar, GetTracesTheReadingAndItsResult) {
  mib->aclStatusIs(status);
  Batch batch(MODE_GET);
  batch.add();
  const TraceCapture capture("Snmp=9");
  handle(batch);
  EXPECT_THAT(capture.traced(), ElementsAre(reading(), returned(1)));
  EXPECT_THAT(capture.sources(), testing::Each("AclMIB"));
  EXPECT_THAT(capture.functions(), testing::Each(kHandler));
}

TEST_F(Scalar, RoutineFlowIsSilentBelowLevelTwo) {
  mib->aclStatusIs(status);
  Batch batch(MODE_GET);
  batch.add();
  const TraceCapture capture("Snmp=1");
  handle(batch);
  EXPECT_THAT(capture.traced(), testing::IsEmpty());
}

TEST_F(Scalar, GetKeepsNoReferenceToTheStatus) {
  mib->aclStatusIs(status);
  const uint32_t before = status->references();
  Batch batch(MODE_GET);
  batch.add();
  handle(batch);
  EXPECT_EQ(status->references(), before);
}

TEST_F(Scalar, TheReferenceToTheStatusIsGoneWhenTheResultIsTraced) {
  mib->aclStatusIs(status);
  const uint32_t before = status->references();
  Batch batch(MODE_GET);
  batch.add();
  std::vector<uint32_t> references;
  const TraceCapture levels("Snmp=2");
  Qel::traceSinkIs([&](const Qel::TraceRecord&) { references.push_back(status->references()); });
  handle(batch);
  EXPECT_THAT(references, ElementsAre(before, before));
}

TEST_F(Scalar, WithoutAStatusNoFlagIsSet) {
  Batch batch(MODE_GET);
  const netsnmp_request_info& request = batch.add();
  EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
  EXPECT_EQ(request.requestvb->type, ASN_OCTET_STR);
  EXPECT_EQ(octetsOf(request.requestvb), Octets{0});
}

TEST_F(Scalar, OnlyTheFirstRequestIsLookedAt) {
  mib->aclStatusIs(status);
  for (const int mode : std::initializer_list<int>{MODE_GET, MODE_SET_RESERVE1, MODE_GETNEXT}) {
    Batch batch(mode);
    batch.add();
    const netsnmp_request_info& second = batch.add();
    handle(batch);
    EXPECT_EQ(second.requestvb->type, ASN_NULL);
    EXPECT_EQ(second.status, SNMP_ERR_NOERROR);
  }
}

TEST_F(Scalar, EverySetPhaseIsNotWritableButNoError) {
  for (int mode = 0; mode <= 5; ++mode) {
    Batch batch(mode);
    const netsnmp_request_info& request = batch.add();
    const TraceCapture capture("Snmp=9");
    EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
    EXPECT_EQ(request.status, SNMP_ERR_NOTWRITABLE);
    EXPECT_THAT(
        capture.traced(),
        ElementsAre(snmp(2, kHandler + " - SET is not configured for zorlenAclDpSupportFlags")));
  }
}

TEST_F(Scalar, AnUnknownModeIsAnError) {
  for (const int mode : {-1, 6, 128, 159, 161, 165}) {
    Batch batch(mode);
    const netsnmp_request_info& request = batch.add();
    const TraceCapture capture("Snmp=9");
    EXPECT_EQ(handle(batch), SNMP_ERR_GENERR) << mode;
    EXPECT_EQ(request.status, SNMP_ERR_GENERR) << mode;
    EXPECT_THAT(
        capture.traced(),
        ElementsAre(snmp(2, kHandler + " - unknown mode from request: " + std::to_string(mode))));
  }
}

TEST_F(Scalar, WithoutAnEntityGetIsAnErrorWhetherTracedOrNot) {
  registration.my_reg_void = nullptr;
  for (const char* level : {"Snmp=9", "Snmp=0"}) {
    Batch batch(MODE_GET);
    const netsnmp_request_info& request = batch.add();
    const TraceCapture capture(level);
    EXPECT_EQ(handle(batch), SNMP_ERR_GENERR);
    EXPECT_EQ(request.status, SNMP_ERR_GENERR);
    if (level == std::string("Snmp=0")) continue;
    EXPECT_THAT(
        capture.traced(),
        ElementsAre(snmp(2, kHandler + " - entity /<sysname>/snmp/acl/aclMIB is not of type "
                                       "AclSnmp::AclMib")));
  }
}

// Only a reading asks for the entity.
TEST_F(Scalar, WithoutAnEntityEveryOtherModeIsAnsweredAsWithOne) {
  registration.my_reg_void = nullptr;
  for (const int mode :
       std::initializer_list<int>{MODE_SET_RESERVE1, MODE_SET_UNDO, MODE_GETNEXT}) {
    const bool isSet = mode <= MODE_SET_UNDO;
    Batch batch(mode);
    const netsnmp_request_info& request = batch.add();
    const TraceCapture capture("Snmp=9");
    EXPECT_EQ(handle(batch), isSet ? SNMP_ERR_NOERROR : SNMP_ERR_GENERR) << mode;
    EXPECT_EQ(request.status, isSet ? SNMP_ERR_NOTWRITABLE : SNMP_ERR_GENERR) << mode;
    const std::string said = isSet ? " - SET is not configured for zorlenAclDpSupportFlags"
                                   : " - unknown mode from request: " + std::to_string(mode);
    EXPECT_THAT(capture.traced(), ElementsAre(snmp(2, kHandler + said)));
  }
}

}  // namespace
}  // namespace MibTest
