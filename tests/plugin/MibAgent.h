#pragma once

/// The agent library in this process: no port, no MIB files, no settings from outside.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "MibRequests.h"
#include "snmp/Registration.h"

namespace MibTest {

/// The library's folders: one of this process, gone with it.
class AgentLibrary {
 public:
  static void start() { static const AgentLibrary library; }

 private:
  AgentLibrary() {
    std::string made = (std::filesystem::temp_directory_path() / "mib-test.XXXXXX").string();
    if (mkdtemp(made.data()) == nullptr) throw std::runtime_error("no temporary folder");
    folder_ = made;
    setenv("SNMPCONFPATH", made.c_str(), 1);
    setenv("SNMP_PERSISTENT_DIR", made.c_str(), 1);
    setenv("MIBS", "", 1);
    setenv("MIBDIRS", made.c_str(), 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
    netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OID_OUTPUT_FORMAT,
                       NETSNMP_OID_OUTPUT_NUMERIC);
    init_agent("mib-test");
    init_snmp("mib-test");
  }
  ~AgentLibrary() {
    snmp_shutdown("mib-test");
    shutdown_agent();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  std::filesystem::path folder_;
};

/// A mounted MIB entity; what a test registered is gone after it.
class AgentTest : public testing::Test {
 protected:
  AgentTest() {
    AgentLibrary::start();
    root->dirIs("snmp/acl")->entityIs(mib);
    Snmp::mountPointIs(root);
  }
  ~AgentTest() override {
    unregister_AclMIB("");
    unregister_AclMIB("vrf");
    Snmp::mountPointIs(nullptr);
  }

  const Qel::Ptr<Qel::Dir> root = Qel::make<Qel::Dir>();
  const Qel::Ptr<AclSnmp::AclMib> mib = AclSnmp::AclMibIs("aclMIB");
};

}  // namespace MibTest
