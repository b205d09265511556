#pragma once

/// Indexes and requests as the agent library hands them to hooks and handlers, made by hand.

#include <cstring>
#include <deque>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "MibCases.h"
#include "snmp/Converters.h"
#include "support/TraceCapture.h"

namespace MibTest {

using Support::TraceCapture;
using Support::Traced;
using Octets = std::vector<unsigned char>;

/// How traces print a pointer.
inline std::string text(const void* pointer) {
  std::ostringstream out;
  out << pointer;
  return out.str();
}

/// A trace of the MIB glue.
inline Traced snmp(int level, std::string message) { return {"Snmp", level, std::move(message)}; }

/// A list of index values.
class Index {
 public:
  Index() = default;
  ~Index() { snmp_free_varbind(head_); }
  Index(const Index&) = delete;
  Index& operator=(const Index&) = delete;

  netsnmp_variable_list* add(u_char type, const void* value, size_t length) {
    return snmp_varlist_add_variable(&head_, nullptr, 0, type, value, length);
  }
  Index& name(const std::string& octets) {
    add(ASN_OCTET_STR, octets.data(), octets.size());
    return *this;
  }
  Index& number(u_long value, u_char type = ASN_UNSIGNED) {
    const u_long none = 0;
    *add(type, &none, sizeof none)->val.integer = static_cast<long>(value);
    return *this;
  }
  /// A value of which there is only the type.
  Index& nothing(u_char type) {
    add(type, nullptr, 0)->val.string = nullptr;
    return *this;
  }
  void clear() {
    snmp_free_varbind(head_);
    head_ = nullptr;
  }
  /// The index objects of a table, without values; the time mark is 0.
  Index& blank(const TableCase& t) {
    for (const u_char type : t.indexTypes()) type == ASN_OCTET_STR ? name("") : number(0, type);
    return *this;
  }
  netsnmp_variable_list* head() const { return head_; }
  netsnmp_variable_list* at(size_t position) const {
    netsnmp_variable_list* variable = head_;
    while (position-- > 0) variable = variable->next_variable;
    return variable;
  }

 private:
  netsnmp_variable_list* head_ = nullptr;
};

inline std::string stringOf(const netsnmp_variable_list* v) {
  return {reinterpret_cast<const char*>(v->val.string), v->val_len};
}
inline Octets octetsOf(const netsnmp_variable_list* v) {
  return {v->val.string, v->val.string + v->val_len};
}

/// A walk over a table of an entity by direct calls of its hooks.
class Walk {
 public:
  Walk(const TableCase& t, const AclSnmp::AclMib& mib) : table_(t) {
    index_.blank(t);
    info_.myvoid = const_cast<AclSnmp::AclMib*>(&mib);
  }
  ~Walk() { end(); }
  Walk(const Walk&) = delete;
  Walk& operator=(const Walk&) = delete;

  void timeMarkIs(u_long mark) { *index_.head()->val.integer = static_cast<long>(mark); }

  netsnmp_variable_list* first() { return first(nullptr); }
  /// Starts with a hint that names `number_indexes` values.
  netsnmp_variable_list* first(const Index& hint, unsigned indexes) {
    netsnmp_table_request_info info{};
    info.number_indexes = indexes;
    info.indexes = hint.head();
    hint_ = &info;
    return first(&info);
  }
  netsnmp_variable_list* next(void** data = nullptr) {
    return table_.next(&loop_, data, index_.head(), &info_);
  }
  void* makeData() { return table_.makeData(loop_, &info_); }
  void freeData(void* data) { table_.freeData(data, &info_); }
  void end() {
    if (loop_ != nullptr) table_.freeLoopAtEnd(loop_, &info_);
    loop_ = nullptr;
  }

  void* loop() const { return loop_; }
  const void* hint() const { return hint_; }
  Index& index() { return index_; }
  netsnmp_iterator_info* info() { return &info_; }
  /// The row on which the index stands, as "name" or "name 10".
  std::string row() const {
    const unsigned at = table_.hasTimeMark() ? 1 : 0;
    std::string found = stringOf(index_.at(at));
    if (table_.hasSequence()) found += " " + std::to_string(*index_.at(at + 1)->val.integer);
    return found;
  }

 private:
  netsnmp_variable_list* first(netsnmp_table_request_info* hint) {
    end();
    loop_ = hint;
    return table_.first(&loop_, nullptr, index_.head(), &info_);
  }

  const TableCase& table_;
  netsnmp_iterator_info info_{};
  Index index_;
  void* loop_ = nullptr;
  const void* hint_ = nullptr;
};

/// Some requests of one mode, as one list.
class Batch {
 public:
  explicit Batch(int mode) { info_.mode = mode; }
  ~Batch() {
    for (Request& r : requests_) {
      if (r.data != nullptr) r.table->freeData(r.data, nullptr);
      netsnmp_free_request_data_sets(&r.request);
      snmp_free_var(r.request.requestvb);
    }
  }
  Batch(const Batch&) = delete;
  Batch& operator=(const Batch&) = delete;

  /// A request with neither table information nor row.
  netsnmp_request_info& add() {
    Request& made = requests_.emplace_back();
    made.request.agent_req_info = &info_;
    made.request.requestvb = SNMP_MALLOC_TYPEDEF(netsnmp_variable_list);
    made.request.requestvb->type = ASN_NULL;
    if (requests_.size() > 1) {
      netsnmp_request_info& before = requests_[requests_.size() - 2].request;
      before.next = &made.request;
      made.request.prev = &before;
    }
    return made.request;
  }
  /// A request for a column, without a row.
  netsnmp_request_info& add(unsigned column) {
    netsnmp_request_info& made = add();
    requests_.back().info.colnum = column;
    netsnmp_request_add_list_data(
        &made, netsnmp_create_data_list(TABLE_HANDLER_NAME, &requests_.back().info, nullptr));
    return made;
  }
  /// A request for a column of the row on which a walk stands.
  netsnmp_request_info& add(unsigned column, const TableCase& t, Walk& walk) {
    netsnmp_request_info& made = add(column);
    requests_.back().table = &t;
    requests_.back().data = walk.makeData();
    netsnmp_request_add_list_data(
        &made, netsnmp_create_data_list(TABLE_ITERATOR_NAME, requests_.back().data, nullptr));
    return made;
  }

  netsnmp_agent_request_info* info() { return &info_; }
  netsnmp_request_info* head() { return requests_.empty() ? nullptr : &requests_.front().request; }

 private:
  struct Request {
    netsnmp_request_info request{};
    netsnmp_table_request_info info{};
    const TableCase* table = nullptr;
    void* data = nullptr;
  };
  netsnmp_agent_request_info info_{};
  std::deque<Request> requests_;
};

/// The agent's start on the framework's clock, for as long as the object lives.
class AgentStart {
 public:
  explicit AgentStart(Qel::Seconds seconds) { SnmpUtil::agentStartIs(seconds); }
  ~AgentStart() { SnmpUtil::agentStartIs({}); }
  AgentStart(const AgentStart&) = delete;
  AgentStart& operator=(const AgentStart&) = delete;
};

}  // namespace MibTest
