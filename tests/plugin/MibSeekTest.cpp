// Requests through the whole chain of handlers, for any index: what is answered is what a plain
// list of all OIDs says, and no request looks at more than a few rows.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "MibAgent.h"

namespace MibTest {
namespace {

using Oid = std::vector<oid>;

constexpr double kStart = 1000;

class Seek : public AgentTest, public testing::WithParamInterface<TableCase> {
 protected:
  struct Answer {
    Oid name;
    u_char type;
    friend bool operator==(const Answer&, const Answer&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Answer& answer) {
      for (const oid id : answer.name) out << "." << id;
      return out << " type " << static_cast<int>(answer.type);
    }
  };

  Seek() { init_AclMIB(""); }

  const TableCase& table() const { return GetParam(); }

  /// What the chain makes of one varbind; type 5 (NULL) is no answer of this table.
  Answer ask(int mode, const Oid& name) {
    netsnmp_agent_request_info info{};
    info.mode = mode;
    netsnmp_request_info request{};
    request.agent_req_info = &info;
    netsnmp_variable_list* variable = SNMP_MALLOC_TYPEDEF(netsnmp_variable_list);
    snmp_set_var_objid(variable, name.data(), name.size());
    variable->type = ASN_NULL;
    request.requestvb = variable;
    const Oid at = table().tableOid();
    request.subtree = netsnmp_subtree_find(at.data(), at.size(), nullptr, "");
    netsnmp_call_handlers(request.subtree->reginfo, &info, &request);
    Answer answer{{variable->name, variable->name + variable->name_length}, variable->type};
    if (answer.type == ASN_NULL || answer.type == ASN_PRIV_RETRY) answer = {{}, ASN_NULL};
    netsnmp_free_request_data_sets(&request);
    snmp_free_var(variable);
    return answer;
  }

  void add(const std::string& name, uint32_t seqId, double ticks) {
    table().addRow(*mib, name, seqId, kStart + ticks / 100);
    rows_[row(name, seqId)] = ticks;
  }
  void remove(const std::string& name, uint32_t seqId) {
    table().deleteRow(*mib, name, seqId);
    rows_.erase(row(name, seqId));
  }
  /// A row's index without the time mark.
  Oid row(const std::string& name, uint32_t seqId) const {
    Oid index = {name.size()};
    for (const char octet : name) index.push_back(static_cast<unsigned char>(octet));
    if (table().hasSequence()) index.push_back(seqId);
    return index;
  }
  Oid column(unsigned number) const {
    Oid name = table().tableOid();
    name.insert(name.end(), {1, number});
    return name;
  }

  /// What a plain list of all OIDs says.
  Answer expected(int mode, const Oid& name) const {
    const size_t first = table().tableOid().size() + 2;
    const bool before = name[first - 1] < 2;  // and so is all of the table's
    Oid index = before ? Oid() : Oid(name.begin() + static_cast<ptrdiff_t>(first), name.end());
    oid mark = 0;
    if (table().hasTimeMark() && !index.empty()) {
      mark = index.front();
      index.erase(index.begin());
    }
    const auto answer = [&](oid number, const Oid& row) {
      Oid found = column(static_cast<unsigned>(number));
      if (table().hasTimeMark()) found.push_back(mark);
      found.insert(found.end(), row.begin(), row.end());
      return Answer{found, table().columns()[number - 2].type};
    };
    const auto passes = [&](double ticks) {
      return !table().hasTimeMark() || ticks + 2 >= static_cast<double>(mark);
    };
    for (oid number = before ? 2 : name[first - 1]; number <= table().lastColumn(); ++number) {
      if (mode == MODE_GET) {
        const auto row = rows_.find(index);
        const bool there = !before && row != rows_.end() && passes(row->second);
        return there ? answer(number, index) : Answer{{}, ASN_NULL};
      }
      const bool whole = number != name[first - 1];
      auto row = whole ? rows_.begin() : rows_.upper_bound(index);
      while (row != rows_.end() && !passes(row->second)) ++row;
      if (row != rows_.end()) return answer(number, row->first);
    }
    return {{}, ASN_NULL};
  }

  std::map<Oid, double> rows_;
  const AgentStart start_{kStart};
};

INSTANTIATE_TEST_SUITE_P(Tables, Seek, testing::ValuesIn(tables()),
                         [](const auto& info) { return caseName(info); });

TEST_P(Seek, AnyRequestIsAnsweredAsAPlainListOfOidsSays) {
  std::mt19937 random(7);
  const auto below = [&random](uint32_t n) { return random() % n; };
  const std::vector<std::string> names = {"",   "a",     "b",    std::string("\xff", 1),
                                          "ab", "b\x01", "edge", std::string(100, 'n')};
  for (int step = 0; step < 12000; ++step) {
    const std::string& name = names[below(static_cast<uint32_t>(names.size()))];
    const uint32_t seqId = below(6) == 0 ? 4294967295U : below(4);
    if (step % 40 == 0) {
      below(3) == 0 ? remove(name, seqId) : add(name, seqId, below(50));
    }
    Oid asked = column(1 + below(table().lastColumn() + 1));
    if (table().hasTimeMark()) asked.push_back(below(60));
    const Oid index = row(name, seqId);
    asked.insert(asked.end(), index.begin(), index.end());
    const size_t first = table().tableOid().size() + 2;
    switch (below(6)) {
      case 0:
        break;
      case 1:
        asked.resize(first + below(static_cast<uint32_t>(asked.size() - first + 1)));
        break;
      case 2:
        asked.push_back(below(300));
        break;
      case 3:
        asked[first + below(static_cast<uint32_t>(asked.size() - first))] += 256;
        break;
      default: {
        oid& id = asked[first + below(static_cast<uint32_t>(asked.size() - first))];
        id = below(2) == 0 ? id + 1 : id == 0 ? 4294967295U : id - 1;
        id = std::min<oid>(id, 4294967295U);
        break;
      }
    }
    asked.resize(std::min<size_t>(asked.size(), MAX_OID_LEN));
    const int mode = below(2) == 0 ? MODE_GET : MODE_GETNEXT;
    const Answer wanted = expected(mode, asked);
    const Answer answer = ask(mode, asked);
    // A GET's column outside the table is the table helper's to refuse.
    if (mode == MODE_GET && answer.type == SNMP_NOSUCHOBJECT) {
      ASSERT_EQ(wanted.type, ASN_NULL);
      continue;
    }
    if (mode == MODE_GET && answer.type == SNMP_NOSUCHINSTANCE) {
      ASSERT_EQ(wanted.type, ASN_NULL);
      continue;
    }
    ASSERT_EQ(answer, wanted) << step << ": " << (mode == MODE_GET ? "GET " : "GETNEXT ")
                              << Answer{asked, 0};
  }
}

TEST_P(Seek, NoRequestLooksAtMoreThanAFewRows) {
  for (uint32_t row = 0; row < 300; ++row) add("acl" + std::to_string(1000 + row), 10, 0);
  for (const auto& [what, index] : std::map<std::string, Oid>{
           {"a row that is there", row("acl1150", 10)},
           {"a row that is gone", row("acl1150", 11)},
           {"an ACL that is gone", row("acl1150x", 10)},
           {"an index that is cut", {7, 'a', 'c', 'l', '1', '1'}},
           {"an octet above 255", {7, 'a', 'c', 'l', '1', '1', 300, 400, 10}}}) {
    for (const int mode : {MODE_GET, MODE_GETNEXT}) {
      Oid name = column(2);
      if (table().hasTimeMark()) name.push_back(0);
      name.insert(name.end(), index.begin(), index.end());
      const TraceCapture capture("Snmp=2");
      ask(mode, name);
      const auto traced = capture.traced();
      EXPECT_LE(std::ranges::count_if(traced,
                                      [](const Traced& trace) {
                                        return trace.message.find("advancing loop context") !=
                                               std::string::npos;
                                      }),
                1)
          << what << " mode " << mode;
    }
  }
}

}  // namespace
}  // namespace MibTest
