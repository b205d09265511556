// aclsnmpd: an SNMP agent that publishes the access control lists of its sources.

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>

#include "Dump.h"
#include "Identity.h"
#include "Loop.h"
#include "Mounts.h"
#include "Options.h"
#include "Plugins.h"
#include "TraceFile.h"
#include "dump/TextTable.h"
#include "file/FileSource.h"
#include "nftables/RulesetSource.h"
#include "openconfig/Document.h"
#include "qel/Trace.h"
#include "snmp/Agent.h"
#include "snmp/Registration.h"

namespace Daemon {

namespace {

/// How `--acl` files are read.
Sources::FileFormat documentFormat(const Options& options) {
  OpenConfig::Limits limits;
  limits.octets = options.maxAclFileSize;
  limits.entriesOfAcl = options.maxAclEntries;
  limits.acls = options.maxAcls;
  // Whoever allows more says so with these options; what else counts grows along.
  limits.entries = std::max(limits.entries, limits.entriesOfAcl);
  limits.nodes = std::max(limits.nodes, limits.octets / 8);
  return {[limits](std::string_view text, const std::string& path, const std::stop_token& stop) {
            return OpenConfig::parseFile(text, path, limits, stop);
          },
          limits.octets};
}

/// Validates the documents; 0 when all are good, else 1.
int check(const Options& options) {
  int result = 0;
  for (const std::string& file : options.aclFiles) {
    const auto error = Sources::check(file, documentFormat(options));
    if (error) {
      std::fprintf(stderr, "%s\n", error->c_str());
      result = 1;
    } else {
      std::printf("%s: good\n", file.c_str());
    }
  }
  return result;
}

/// Sources by their place on the command line, so that they are mounted in that order.
SourceList makeSources(const Options& options, const Sources::Mount& mount) {
  SourceList sources;
  for (const std::string& file : options.aclFiles) {
    sources.push_back(std::make_unique<Sources::FileSource>(
        mount, file + "#" + std::to_string(sources.size()), file, documentFormat(options)));
  }
  if (options.nftables) {
    sources.push_back(std::make_unique<Sources::Nftables::RulesetSource>(
        mount, "nftables#" + std::to_string(sources.size()), options.nftablesInterval));
  }
  return sources;
}

/// Prints what is published; 0, or 1 when a source cannot be read.
int dump(const Options& options) {
  std::optional<TraceFile> traceFile;
  if (!options.traceFile.empty()) traceFile.emplace(options.traceFile);
  const auto snapshot =
      readOnce([&](const Sources::Mount& mount) { return makeSources(options, mount); });
  if (!snapshot) return 1;
  if (options.dump == DumpForm::json) {
    OpenConfig::write(std::cout, *snapshot);
  } else {
    Dump::printTable(std::cout, *snapshot);
  }
  if (!std::cout.flush()) throw std::runtime_error("standard output cannot be written");
  return 0;
}

/// Who the process is to become, by the command line or else by the configuration.
std::optional<Identity> wantedIdentity(const Options& options, const Snmp::Agent& agent) {
  if (!options.user.empty()) return identityOf(options.user);
  std::optional<Identity> identity;
  if (agent.user()) identity = identityOf(std::to_string(*agent.user()));
  if (agent.group()) identity = Identity{identity ? identity->user : geteuid(), *agent.group()};
  return identity;
}

int run(const Options& options) {
  const Signals signals;
  // Destroyed in reverse: sources, MIB objects and rows, the plug-ins' code, the agent.
  Snmp::Agent agent({"aclsnmpd", options.listen, options.configFile, options.streams});
  std::optional<TraceFile> traceFile;
  if (!options.traceFile.empty()) {
    traceFile.emplace(options.traceFile);
  } else {
    Qel::traceSinkIs(
        [](const Qel::TraceRecord& record) { Snmp::logTrace(Qel::traceLine(record)); });
  }
  Plugins plugins(options.pluginDir);
  const auto scheduler = Qel::make<Mek::TaskScheduler>();
  const Mounts mounts(scheduler);
  Snmp::contextIs("");
  for (const std::string& context : options.contexts) Snmp::contextIs(context);
  Snmp::initNewRegistrations();
  const struct Unregister {
    Plugins& plugins;
    ~Unregister() { plugins.unregisterContexts(); }
  } unregister{plugins};

  const auto identity = wantedIdentity(options, agent);
  agent.open();
  // Before any source opens what it reads, or begins a thread. The ruleset takes a capability.
  if (identity) identityIs(*identity, options.nftables);
  const auto sources =
      makeSources(options, {mounts.inputDir(), mounts.statusDir(), scheduler, Snmp::log});
  for (const auto& source : sources) source->start();
  Snmp::log(Qel::Severity::info, "aclsnmpd " ACLSNMPD_VERSION " is ready");
  runLoop(agent, *scheduler, signals, sources);
  Snmp::log(Qel::Severity::info, "aclsnmpd ends");
  return 0;
}

}  // namespace

}  // namespace Daemon

int main(int argc, char** argv) {
  Daemon::openStandardDescriptors();
  Daemon::keepHeapEven();
  try {
    const auto parsed = Daemon::parseOptions(argc, argv);
    if (const int* exitCode = std::get_if<int>(&parsed)) return *exitCode;
    const auto& options = std::get<Daemon::Options>(parsed);
    if (options.check) return Daemon::check(options);
    if (options.dump != Daemon::DumpForm::none) return Daemon::dump(options);
    return Daemon::run(options);
  } catch (const std::bad_alloc&) {
    std::fputs("aclsnmpd: not enough memory\n", stderr);
    return 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "aclsnmpd: %s\n", error.what());
    return 1;
  }
}
