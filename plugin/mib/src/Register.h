#pragma once

/// Registration of a table with the agent library, written once for every table.

#include <iostream>
#include <string>

#include "Tables.h"
#include "Trace.h"
#include "snmp/Registration.h"

namespace AclSnmp {

inline constexpr const char* kMibPath = "snmp/acl/aclMIB";
inline constexpr const char* kDefaultContext = "";

/// The hooks of one table.
struct Doors {
  Netsnmp_Node_Handler* handler;
  Netsnmp_First_Data_Point* first;
  Netsnmp_Next_Data_Point* next;
  Netsnmp_Make_Data_Context* makeData;
  Netsnmp_Free_Data_Context* freeData;
  Netsnmp_Free_Loop_Context* freeLoopAtEnd;
};

/// Announces an object at trace level 1. Formatting an OID is costly, so the level is asked first.
void traceInitializing(const char* function, const oid* name, size_t length,
                       const Qel::String8& context);

template <const auto& table>
void initializeTable(const char* function, const char* signature, const Doors& doors,
                     const Qel::String8& context) {
  constexpr auto tableOid = objectOid(table.place);
  traceInitializing(function, tableOid.data(), tableOid.size(), context);
  netsnmp_handler_registration* reg = netsnmp_create_handler_registration(
      (std::string(table.name) + "_" + context.str()).c_str(), doors.handler, tableOid.data(),
      tableOid.size(), HANDLER_CAN_RONLY);
  if (context != kDefaultContext) {
    netsnmp_handler_registration_free(reg);
    ACLSNMP_MIB_TRACE(
        2, function,
        function << " in context \"" << context << "\" lumdbPathWithContext not specified ");
    return;
  }
  handlerRegistrationsByContext[context].push_back(reg);

  const auto e = SnmpUtil::getEntityRelative(kMibPath);
  if (!e) {
    std::cerr << "Can not getEntityRelative( " << kMibPath << " ) for table " << table.name
              << ". Is this path correct?" << std::endl;
    Qel::assertionFailed("e", {kMibSource, __LINE__, signature});
  }
  const auto ptr = Qel::ptrCast<AclMib>(e);
  if (!ptr) {
    std::cerr << kMibPath << " does not appear to be of type AclSnmp::AclMib." << std::endl;
    Qel::assertionFailed("ptr", {kMibSource, __LINE__, signature});
  }
  reg->my_reg_void = ptr.get();

  static std::array<unsigned, table.columns.size()> columnNumbers = [] {
    std::array<unsigned, table.columns.size()> numbers{};
    for (size_t i = 0; i < numbers.size(); ++i) numbers[i] = table.columns[i].number;
    return numbers;
  }();
  auto* columns = SNMP_MALLOC_TYPEDEF(netsnmp_column_info);
  columns->isRange = 0;
  columns->list_count = static_cast<char>(columnNumbers.size());
  columns->details.list = columnNumbers.data();

  auto* info = SNMP_MALLOC_TYPEDEF(netsnmp_table_registration_info);
  for (const IndexObject& object : table.index) {
    if (snmp_varlist_add_variable(&info->indexes, nullptr, 0, object.asnType, nullptr, 0) ==
        nullptr) {
      ACLSNMP_MIB_TRACE(0, function,
                        "Failed to set up " << object.name << " in netsnmp table_info in context \""
                                            << context << "\"");
    }
  }
  info->number_indexes = static_cast<unsigned>(table.index.size());
  info->min_column = table.kFirstColumn;
  info->max_column = table.kLastColumn;
  info->valid_columns = columns;

  auto* iterator = SNMP_MALLOC_TYPEDEF(netsnmp_iterator_info);
  iterator->refcnt = 0;
  iterator->get_first_data_point = doors.first;
  iterator->get_next_data_point = doors.next;
  iterator->make_data_context = doors.makeData;
  iterator->free_data_context = doors.freeData;
  iterator->free_loop_context_at_end = doors.freeLoopAtEnd;
  iterator->myvoid = reg->my_reg_void;
  iterator->flags |= NETSNMP_ITERATOR_FLAG_SORTED | NETSNMP_HANDLER_OWNS_IINFO;
  iterator->table_reginfo = info;

  columnInfosByContext[context].push_back(columns);
  const int result = netsnmp_register_table_iterator(reg, iterator);
  if (result != 0) Qel::assertionFailed("result == 0", {kMibSource, __LINE__, signature});
  const int injected = netsnmp_inject_handler(reg, netsnmp_get_serialize_handler());
  if (injected != 0) Qel::assertionFailed("injected == (0)", {kMibSource, __LINE__, signature});
  ACLSNMP_MIB_TRACE(8, function,
                    "Initialized table " << table.name << " in context \"" << context << "\"");
}

}  // namespace AclSnmp
