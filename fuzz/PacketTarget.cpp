// Raw SNMP packets into the registered agent, by the agent library's own way from a transport to
// the tables. Whatever comes in, what is served stays as it was.

#include <cstdlib>
#include <deque>

#include "Ber.h"
#include "Chain.h"
#include "CpuLimit.h"
#include "Loopback.h"
#include "Pool.h"
#include "Require.h"
#include "snmp/Registration.h"

namespace Fuzz {

namespace {

// Everybody may read and write everything. The system group is fixed, so that a SET does not make
// the library save its configuration; the engine is the one that the seeds of version 3 name.
constexpr const char* kConfiguration = R"(
rwcommunity public
createUser open
createUser reader SHA "reader-auth-pass" AES "reader-priv-pass"
rwuser open noauth
rwuser reader priv
exactEngineID 0x80007ed90466757a7a
sysContact nobody
sysName fuzz
sysLocation nowhere
)";

size_t packets = 0;
size_t reached = 0;
bool reachedNow = false;

int countRequest(netsnmp_mib_handler* handler, netsnmp_handler_registration* registration,
                 netsnmp_agent_request_info* info, netsnmp_request_info* requests) {
  reachedNow = true;
  return netsnmp_call_next_handler(handler, registration, info, requests);
}

/// A request of version 2c by the community of the configuration.
std::string request(uint8_t kind, int first, int second, const std::vector<oid>& name) {
  const auto integer = [](int value) {
    Ber made;
    made.tag = Ber::kInteger;
    made.content = {static_cast<char>(value >> 8), static_cast<char>(value)};
    return made;
  };
  const auto sequence = [](uint8_t tag, std::vector<Ber> parts) {
    Ber made;
    made.tag = tag;
    made.constructed = true;
    made.parts = std::move(parts);
    return made;
  };
  Ber community;
  community.tag = Ber::kOctets;
  community.content = "public";
  Ber object;
  object.tag = Ber::kOid;
  object.content = static_cast<char>(40 * name[0] + name[1]);
  for (size_t i = 2; i < name.size(); ++i) object.content += Ber::subIdentifier(name[i]);
  Ber null;
  null.tag = ASN_NULL;
  return sequence(Ber::kSequence,
                  {integer(1), community,
                   sequence(kind, {integer(77), integer(first), integer(second),
                                   sequence(Ber::kSequence,
                                            {sequence(Ber::kSequence, {object, null})})})})
      .written();
}

/// The agent with the example's ACLs, and what it answers to a walk over the MIB.
class Agent {
 public:
  Agent() : loopback_(kConfiguration) {
    Snmp::contextIs("");
    Snmp::initNewRegistrations();
    for (const auto& [context, registrations] : AclSnmp::handlerRegistrationsByContext) {
      for (netsnmp_handler_registration* registration : registrations) {
        netsnmp_inject_handler(registration, netsnmp_create_handler("counted", countRequest));
      }
    }
    chain_.apply(exampleSnapshot());
    served_ = chain_.served();
    askWalk();
  }
  ~Agent() {
    std::fprintf(stderr,
                 "counted: %zu packets\ncounted: %zu packets that reached a table or the scalar\n",
                 packets, reached);
    unregister_AclMIB("");
    Snmp::contextDel("");
  }
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  std::vector<std::string> serve(std::string_view packet) { return loopback_.serve(packet); }

  /// A part of the walk each time, and now and then everything at its source.
  void check() {
    const Exchange& exchange = walk_[packets % walk_.size()];
    require(serve(exchange.question) == exchange.answer, "the agent answers as it did before");
    if (packets % 4096 == 0) {
      require(chain_.served() == served_, "what is served stays as it was");
    }
  }

 private:
  struct Exchange {
    std::string question;
    std::vector<std::string> answer;
  };

  /// Each table's first column by a GETBULK over its rows, and the scalar.
  void askWalk() {
    constexpr int kRows = 20;
    for (const MibTest::TableCase& table : MibTest::tables()) {
      for (const MibTest::ColumnCase& column : table.columns()) {
        std::vector<oid> name = table.tableOid();
        name.push_back(1);
        name.push_back(column.number);
        ask(request(SNMP_MSG_GETBULK, 0, kRows, name));
      }
    }
    ask(request(SNMP_MSG_GETNEXT, 0, 0, MibTest::scalarOid()));
  }
  void ask(const std::string& question) {
    auto answer = serve(question);
    constexpr std::string_view kEndOfView("\x82\0", 2);
    require(answer.size() == 1 && !answer[0].ends_with(kEndOfView), "the agent answers");
    walk_.push_back({question, std::move(answer)});
  }

  Loopback loopback_;
  Chain chain_;
  Served served_;
  std::vector<Exchange> walk_;
};

}  // namespace

}  // namespace Fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace Fuzz;
  static Agent agent;
  const CpuLimit limit;
  reachedNow = false;
  agent.serve({reinterpret_cast<const char*>(data), size});
  ++packets;
  if (reachedNow) {
    ++reached;
    pool().keep({reinterpret_cast<const char*>(data), size}, packets);
  }
  agent.check();
  return 0;
}
