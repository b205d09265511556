#include "Options.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <map>

#include "nftables/RulesetSource.h"
#include "openconfig/Document.h"
#include "qel/Exception.h"
#include "qel/Trace.h"

namespace Daemon {

namespace {

/// Where the plug-ins stand when nothing is said: beside the program's own library folder.
std::string defaultPluginDir() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  return (program.parent_path().parent_path() / "lib" / "plugins").string();
}

// A number with a sign would be taken for a huge one.
std::string complaintOf(const std::string& text) {
  const bool good = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos &&
                    text.find_first_not_of('0') != std::string::npos;
  return good ? "" : "'" + text + "' is not a number of 1 or more";
}

}  // namespace

std::variant<Options, int> parseOptions(int argc, char** argv) {
  Options options;
  options.pluginDir = defaultPluginDir();
  const OpenConfig::Limits limits;
  options.maxAclFileSize = limits.octets;
  options.maxAclEntries = limits.entriesOfAcl;
  options.maxAcls = limits.acls;
  options.nftablesInterval = Sources::Nftables::RulesetSource::kDefaultInterval;

  const CLI::Validator count(complaintOf, "");
  CLI::App app("Publishes access control lists over SNMP (ZORLEN-ACL-MIB).", "aclsnmpd");
  app.set_version_flag("--version", "aclsnmpd " ACLSNMPD_VERSION);
  app.add_option("--acl", options.aclFiles, "OpenConfig ACL document to publish (repeatable)")
      ->type_name("FILE");
  app.add_option("--listen", options.listen,
                 "address to listen on, such as udp:127.0.0.1:161 (repeatable; in place of the "
                 "configuration's agentaddress)")
      ->type_name("ADDRESS");
  app.add_option("--conf", options.configFile,
                 "Net-SNMP configuration, in place of aclsnmpd.conf in the usual places")
      ->type_name("FILE");
  app.add_option("--plugin-dir", options.pluginDir, "folder whose plug-ins are loaded")
      ->type_name("DIR")
      ->capture_default_str();
  app.add_option("--context", options.contexts, "SNMP context besides the default one (repeatable)")
      ->type_name("NAME");
  app.add_option("--user", options.user,
                 "user to become once the addresses are open, also USER:GROUP (in place of the "
                 "configuration's agentuser and agentgroup)")
      ->type_name("USER");
  app.add_option("--trace", options.traceSettings, "trace levels, such as Snmp=2,AclSnmpSm=8")
      ->type_name("SETTINGS");
  app.add_option("--trace-file", options.traceFile, "append traces to a file, not standard error")
      ->type_name("FILE");
  app.add_option("--max-acl-file-size", options.maxAclFileSize,
                 "largest ACL document that is read, in octets")
      ->type_name("OCTETS")
      ->check(count)
      ->capture_default_str();
  constexpr uint64_t kMostAllowed = 1'000'000'000;
  app.add_option("--max-acl-entries", options.maxAclEntries,
                 "most entries of one ACL in an ACL document")
      ->type_name("NUMBER")
      ->check(CLI::Range(uint64_t{1}, kMostAllowed).description(""))
      ->capture_default_str();
  app.add_option("--max-acls", options.maxAcls, "most ACLs in an ACL document")
      ->type_name("NUMBER")
      ->check(CLI::Range(uint64_t{1}, kMostAllowed).description(""))
      ->capture_default_str();
  app.add_flag("--nftables", options.nftables,
               "publish the nftables ruleset and its counters (needs CAP_NET_ADMIN)");
  app.add_option("--nftables-interval", options.nftablesInterval,
                 "seconds from one reading of the ruleset's counters to the next")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.1, 86400.0))
      ->capture_default_str();
  app.add_option("--max-connections", options.streams.connections,
                 "TCP and local connections that are served at once")
      ->type_name("NUMBER")
      ->check(count)
      ->capture_default_str();
  app.add_option("--max-connections-per-peer", options.streams.perPeer,
                 "of these, connections of one address, IPv6 network (/64) or local user")
      ->type_name("NUMBER")
      ->check(count)
      ->capture_default_str();
  app.add_option("--stream-timeout", options.streams.timeout,
                 "seconds after which a connection that is idle or sent half a message is ended")
      ->type_name("SECONDS")
      ->check(CLI::Range(1.0, 86400.0))
      ->capture_default_str();
  CLI::Option* check =
      app.add_flag("--check", options.check,
                   "validate the ACL documents and end: with 0 when all are good, else with 1");
  const std::map<std::string, DumpForm> dumps = {{"json", DumpForm::json},
                                                 {"table", DumpForm::table}};
  app.add_option("--dump", options.dump,
                 "read the sources once, print what is published as json (a document for --acl) or "
                 "as a table, and end: with 0, or with 1 when a source cannot be read")
      ->expected(0, 1)
      ->default_str("json")
      ->transform(CLI::CheckedTransformer(dumps).description(""))
      ->type_name("json|table")
      ->excludes(check);
  // A value list would swallow the next option's value.
  for (CLI::Option* option : app.get_options()) {
    if (option->get_expected_max() > 1)
      option->expected(1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  }
  try {
    app.parse(argc, argv);
    Qel::traceSettingsIs(options.traceSettings);
  } catch (const CLI::ParseError& error) {
    return app.exit(error);
  } catch (const Qel::RangeException& error) {
    return app.exit(CLI::ValidationError("--trace", error.what()));
  }
  return options;
}

}  // namespace Daemon
