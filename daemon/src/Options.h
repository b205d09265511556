#pragma once

/// The command line of `aclsnmpd`.

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "snmp/Agent.h"

namespace Daemon {

/// In which form `--dump` prints.
enum class DumpForm { none, json, table };

struct Options {
  std::vector<std::string> aclFiles;
  std::vector<std::string> listen;
  std::string configFile;
  std::string pluginDir;
  /// Contexts besides the default one.
  std::vector<std::string> contexts;
  /// Who the process becomes once its ports are open; empty where nothing is said.
  std::string user;
  std::string traceSettings;
  std::string traceFile;
  /// The largest ACL file that is read, in octets.
  uint64_t maxAclFileSize = 0;
  /// The most entries of one ACL, and the most ACLs, of a file.
  uint64_t maxAclEntries = 0;
  uint64_t maxAcls = 0;
  /// Whether the nftables ruleset is published, and how often it is read, in seconds.
  bool nftables = false;
  double nftablesInterval = 0;
  /// What clients may take of TCP and local connections.
  Snmp::StreamLimits streams = {};
  bool check = false;
  DumpForm dump = DumpForm::none;
};

/// The options, or the exit code of a run that ends at the command line: help, the version, a
/// mistake.
std::variant<Options, int> parseOptions(int argc, char** argv);

}  // namespace Daemon
