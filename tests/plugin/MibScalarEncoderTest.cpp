// The scalar's handler with an encoder of our own in place of the room's.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "MibRequests.h"
#include "conversions/SnmpConversions.h"

namespace {
std::function<int(const Qel::Ptr<const Acl::Status>&, unsigned char*, int)> encoder;
}

int DpAclSupportFlagsToAsnBits(const Qel::Ptr<const Acl::Status>& status, unsigned char* buffer,
                               int length) {
  return encoder(status, buffer, length);
}
// The columns' encoders are not asked.
int RangeOperCodeToAsnInteger(const Acl::RangeOperator&, unsigned char*, int) { return -1; }
int ActionCodeToAsnInteger(const Acl::Action&, unsigned char*, int) { return -1; }
int TcpFlagsToAsnBits(const Acl::IpFilterBase&, unsigned char*, int) { return -1; }

namespace MibTest {
namespace {

using testing::ElementsAre;

const std::string kHandler = "handle_zorlenAclDpSupportFlags";

class ScalarEncoder : public testing::Test {
 protected:
  ScalarEncoder() { registration.my_reg_void = mib.get(); }
  ~ScalarEncoder() override { encoder = {}; }
  int handle(Batch& batch) {
    return handle_zorlenAclDpSupportFlags(nullptr, &registration, batch.info(), batch.head());
  }
  static std::vector<Traced> traces(int count) {
    return {snmp(2, kHandler + " - reading snmp/acl/aclMIB->aclStatus()"),
            snmp(2, kHandler + " - DpAclSupportFlagsToAsnBits returned " + std::to_string(count) +
                        "bytes for snmp/acl/aclMIB->aclStatus()")};
  }
  const Qel::Ptr<AclSnmp::AclMib> mib = AclSnmp::AclMibIs("aclMIB");
  netsnmp_handler_registration registration{};
};

TEST_F(ScalarEncoder, ItsFailureIsAnErrorWhetherTracedOrNot) {
  for (const int count : {-1, -5}) {
    encoder = [count](const auto&, unsigned char*, int) { return count; };
    for (const char* level : {"Snmp=9", "Snmp=0"}) {
      Batch batch(MODE_GET);
      const netsnmp_request_info& request = batch.add();
      const TraceCapture capture(level);
      EXPECT_EQ(handle(batch), SNMP_ERR_GENERR);
      EXPECT_EQ(request.status, SNMP_ERR_GENERR);
      EXPECT_EQ(request.requestvb->type, ASN_NULL);
      if (level == std::string("Snmp=0")) continue;
      std::vector<Traced> expected = traces(count);
      expected.push_back(snmp(2, kHandler + " - DpAclSupportFlagsToAsnBits failed for: aclStatus"));
      EXPECT_EQ(capture.traced(), expected);
    }
  }
}

TEST_F(ScalarEncoder, AsManyOctetsAsItWritesAreTheValue) {
  for (const int count : {0, 1, 3, 1024}) {
    const TraceCapture capture("Snmp=9");
    encoder = [&capture, count](const auto&, unsigned char* buffer, int length) {
      EXPECT_EQ(length, 1024);
      EXPECT_THAT(capture.traced(), ElementsAre(traces(count).front()));
      std::memset(buffer, 0x5A, static_cast<size_t>(count));
      return count;
    };
    Batch batch(MODE_GET);
    const netsnmp_request_info& request = batch.add();
    EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
    EXPECT_EQ(request.requestvb->type, ASN_OCTET_STR);
    EXPECT_EQ(octetsOf(request.requestvb), Octets(static_cast<size_t>(count), 0x5A));
    EXPECT_EQ(capture.traced(), traces(count));
  }
}

TEST_F(ScalarEncoder, AStatusThatIsReplacedMeanwhileLivesUntilItIsEncoded) {
  mib->aclStatusIs(Qel::make<Acl::Status>("old"));
  encoder = [this](const Qel::Ptr<const Acl::Status>& status, unsigned char*, int) {
    mib->aclStatusIs(nullptr);
    // Only the handler holds it now.
    EXPECT_EQ(status ? status->name() : Qel::Name(), Qel::Name("old"));
    EXPECT_EQ(status ? status->references() : 0, 1U);
    return 0;
  };
  Batch batch(MODE_GET);
  batch.add();
  EXPECT_EQ(handle(batch), SNMP_ERR_NOERROR);
}

// What the library calls must not throw at it.
TEST_F(ScalarEncoder, AnExceptionStopsShortOfTheLibrary) {
  Batch batch(MODE_GET);
  batch.add();
  const TraceCapture capture("Snmp=0");
  encoder = [](const auto&, unsigned char*, int) -> int { throw Qel::RangeException("broken"); };
  EXPECT_EQ(handle(batch), SNMP_ERR_GENERR);
  encoder = [](const auto&, unsigned char*, int) -> int { throw 1; };
  EXPECT_EQ(handle(batch), SNMP_ERR_GENERR);
  EXPECT_THAT(capture.traced(), ElementsAre(snmp(0, kHandler + " - broken"),
                                            snmp(0, kHandler + " - unknown exception")));
}

}  // namespace
}  // namespace MibTest
