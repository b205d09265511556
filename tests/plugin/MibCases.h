#pragma once

/// What the tests know about the nine tables, told apart from the descriptions that the code under
/// test goes by.

#include <ostream>
#include <string>
#include <vector>

#include "mib/EntryPoints.h"
#include "model/AclMib.h"

namespace MibTest {

/// A column that is served.
struct ColumnCase {
  unsigned number;
  std::string name;
  std::string attribute;
  std::string encoder;
  u_char type;
  int bufferSize;
};

enum class Kind { acls, rules, stats };

struct TableCase {
  std::string family;  // "Ip", "Mac" or "Ipv6"
  Kind kind;
  std::vector<oid> place;

  Netsnmp_First_Data_Point* first;
  Netsnmp_Next_Data_Point* next;
  Netsnmp_Make_Data_Context* makeData;
  Netsnmp_Free_Data_Context* freeData;
  Netsnmp_Free_Loop_Context* freeLoopAtEnd;
  Netsnmp_Node_Handler* handler;
  void (*initialize)(Qel::String8 context);

  /// Adds a row; only rule and statistics tables use the number, only the latter the time.
  void (*addRow)(AclSnmp::AclMib& mib, const std::string& name, uint32_t seqId, double changed);
  void (*deleteRow)(AclSnmp::AclMib& mib, const std::string& name, uint32_t seqId);
  /// How many references to a row there are beside the entity's.
  uint32_t (*holders)(const AclSnmp::AclMib& mib, const std::string& name, uint32_t seqId);

  std::string name() const;
  std::string nameObject() const { return "zorlen" + family + "AclName"; }
  std::string seqObject() const { return "zorlen" + family + "AclRuleSeqId"; }
  std::string markObject() const { return "zorlen" + family + "AclRuleTimeMark"; }
  /// How many objects the index has.
  unsigned indexes() const { return kind == Kind::acls ? 1 : kind == Kind::rules ? 2 : 3; }
  bool hasSequence() const { return kind != Kind::acls; }
  bool hasTimeMark() const { return kind == Kind::stats; }
  std::vector<u_char> indexTypes() const;
  std::vector<ColumnCase> columns() const;
  unsigned lastColumn() const { return columns().back().number; }
  std::vector<oid> tableOid() const;
  /// How traces print a row's key.
  std::string key(const std::string& name, uint32_t seqId) const;
};

/// In the order in which they are registered.
const std::vector<TableCase>& tables();
const TableCase& table(const std::string& name);
/// Those whose key has a sequence number; those whose index has a time mark.
std::vector<TableCase> withSequence();
std::vector<TableCase> withTimeMark();

inline std::ostream& operator<<(std::ostream& out, const TableCase& t) { return out << t.name(); }
template <class Info>
std::string caseName(const Info& info) {
  return info.param.name();
}

/// zorlenAclMIB and the node of its objects.
std::vector<oid> objectsOid();
std::vector<oid> scalarOid();

}  // namespace MibTest
