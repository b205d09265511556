// The plug-in as the agent uses it: loaded from its file, mounted by its types' names, and taken
// down again, many times in one process.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "Mounts.h"
#include "Plugins.h"
#include "qel/Type.h"
#include "snmp/Agent.h"
#include "snmp/Registration.h"
#include "support/TraceCapture.h"

namespace {

/// A folder of its own, gone with it; the agent library keeps its state there too.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    char pattern[] = "/tmp/aclsnmp-test-XXXXXX";
    path_ = mkdtemp(pattern);
    setenv("SNMP_PERSISTENT_DIR", path_.c_str(), 1);
    setenv("SNMPCONFPATH", path_.c_str(), 1);
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

Qel::Ptr<Acl::AclConfig> oneRuleAcl(const char* name) {
  const auto rules = Qel::make<Acl::AclSubConfig>();
  rules->ruleBySequenceIs(10, Acl::UniqueId(10, 0, 0));
  rules->ipRuleByIdIs(Acl::UniqueId(10, 0, 0), Acl::IpRuleConfig());
  const auto acl = Qel::make<Acl::AclConfig>(name, Acl::AclType::ipv4);
  acl->currCfgIs(rules);
  return acl;
}

void cycle(const std::vector<Qel::String8>& contexts) {
  Daemon::Plugins plugins(PLUGIN_DIR);
  EXPECT_TRUE(Qel::hasType("AclSnmp::Root"));
  const auto scheduler = Qel::make<Mek::TaskScheduler>();
  const Daemon::Mounts mounts(scheduler);
  for (const auto& context : contexts) Snmp::contextIs(context);
  Snmp::initNewRegistrations();
  EXPECT_EQ(Snmp::mibContexts().size(), contexts.size());

  const auto input = Qel::make<Acl::Input::Config>("input");
  input->typeConfig(Acl::AclType::ipv4)->aclIs(oneRuleAcl("edge"));
  mounts.inputDir()->entityIs(input);
  EXPECT_TRUE(scheduler->pending());
  while (scheduler->runNext()) {
  }
  plugins.unregisterContexts();
  EXPECT_TRUE(Snmp::mibContexts().empty());
  EXPECT_TRUE(Snmp::contexts().empty());
}

}  // namespace

TEST(PluginCycle, AHundredLoadsAndUnloadsLeaveNothingBehind) {
  const TemporaryFolder folder;
  {
    Snmp::Agent agent({"aclsnmptest", {}, {}});
    for (int i = 0; i < 100; ++i) {
      cycle({"", "blue"});
      ASSERT_EQ(dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_NOLOAD), nullptr)
          << "the code is still in the process";
      ASSERT_FALSE(Qel::hasType("AclSnmp::Root"));
      ASSERT_FALSE(Qel::hasType("AclSnmp::AclMib"));
    }
  }
}

TEST(PluginFile, RegistersItsTypesWhenItIsLoaded) {
  const std::vector<const char*> types = {
      "AclSnmp::Root",
      "AclSnmp::AclMib",
      "AclSnmp::AclSnmpTypeConfig",
      "AclSnmp::AclSnmpTypeStatus",
      "AclSnmp::AclSnmpTypeConfigCodef",
      "AclSnmp::AclSnmpTypeStatusCodef",
  };
  {
    const Daemon::Plugins plugins(PLUGIN_DIR);
    for (const char* type : types) EXPECT_TRUE(Qel::hasType(type)) << type;
    EXPECT_TRUE(Snmp::mibContexts().empty());
  }
  for (const char* type : types) EXPECT_FALSE(Qel::hasType(type)) << type;
}

// The set-ups are C++ functions: whoever calls a C function init_AclMIB does not reach them.
TEST(PluginFile, ExportsItsEntryPointsByTheirNames) {
  void* const library = dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  std::vector<std::string> plain = {"unregister_AclMIB", "handle_zorlenAclDpSupportFlags"};
  std::vector<std::string> setUps = {"init_AclMIB"};
  for (const std::string family : {"Ip", "Mac", "Ipv6"}) {
    for (const char* kind : {"", "Rule", "RuleStats"}) {
      const std::string table = "zorlen" + family + "Acl" + kind + "Table";
      setUps.push_back("initialize_table_" + table);
      for (const char* hook :
           {"_handler", "_get_first_data_point", "_get_next_data_point", "_make_data_context",
            "_free_data_context", "_free_loop_context_at_end"}) {
        plain.push_back(table + hook);
      }
    }
  }
  EXPECT_EQ(plain.size(), 56U);
  for (const std::string& name : plain) EXPECT_NE(dlsym(library, name.c_str()), nullptr) << name;
  for (const std::string& name : setUps) {
    EXPECT_EQ(dlsym(library, name.c_str()), nullptr) << name;
    const std::string mangled = "_Z" + std::to_string(name.size()) + name + "N3Qel7String8E";
    EXPECT_NE(dlsym(library, mangled.c_str()), nullptr) << mangled;
  }
  dlclose(library);
}

TEST(Plugins, AFolderThatCannotBeReadIsNamed) {
  try {
    const Daemon::Plugins plugins("/nowhere/at/all");
    FAIL() << "loaded";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(),
                 "plug-in folder '/nowhere/at/all' cannot be read: No such file or directory");
  }
}

TEST(Plugins, AnEmptyFolderIsAnError) {
  const TemporaryFolder folder;
  try {
    const Daemon::Plugins plugins(folder.path().string());
    FAIL() << "loaded";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(error.what(), "plug-in folder '" + folder.path().string() + "' holds no plug-in");
  }
}

TEST(Plugins, AFileThatIsNoLibraryIsNamedAndNothingStaysLoaded) {
  const TemporaryFolder folder;
  std::filesystem::create_symlink(PLUGIN_FILE, folder.path() / "a.so");
  std::ofstream(folder.path() / "b.so") << "not a library";
  try {
    const Daemon::Plugins plugins(folder.path().string());
    FAIL() << "loaded";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(std::string(error.what())
                  .find("plug-in '" + (folder.path() / "b.so").string() + "' cannot be loaded: "),
              0U)
        << error.what();
  }
  EXPECT_EQ(dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_NOLOAD), nullptr);
  EXPECT_FALSE(Qel::hasType("AclSnmp::Root"));
}
