#pragma once

/// Registration of a table with the agent library, written once for every table.

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include "Seek.h"
#include "Tables.h"
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
void traceInitializing(const Call& call, const oid* name, size_t length,
                       const Qel::String8& context);

/// Memory for what the agent library frees with free(), or null where there is none.
template <class T>
using Allocated = std::unique_ptr<T, decltype(&std::free)>;
template <class T>
Allocated<T> allocated() {
  return {SNMP_MALLOC_TYPEDEF(T), &std::free};
}

template <const auto& table>
class Registration : private Call {
 public:
  Registration(const char* function, const char* signature, const Qel::String8& context)
      : Call(function), signature_(signature), context_(context) {}

  void make(const Doors& doors) const {
    constexpr auto tableOid = objectOid(table.place);
    traceInitializing(*this, tableOid.data(), tableOid.size(), context_);
    netsnmp_handler_registration* reg = netsnmp_create_handler_registration(
        (std::string(table.name) + "_" + context_.str()).c_str(), doors.handler, tableOid.data(),
        tableOid.size(), HANDLER_CAN_RONLY);
    if (context_ != kDefaultContext) {
      netsnmp_handler_registration_free(reg);
      tell(2, " in context \"", context_, "\" lumdbPathWithContext not specified ");
      return;
    }
    auto columns = allocated<netsnmp_column_info>();
    auto info = allocated<netsnmp_table_registration_info>();
    auto iterator = allocated<netsnmp_iterator_info>();
    if (reg == nullptr || !columns || !info || !iterator) {
      netsnmp_handler_registration_free(reg);
      trace(0, "Failed to set up ", table.name, " in context \"", context_, "\": no memory");
      return;
    }
    handlerRegistrationsByContext[context_].push_back(reg);
    reg->my_reg_void = entity().get();
    fill(*columns);
    fill(*info);
    info->valid_columns = columns.get();
    iterator->get_first_data_point = doors.first;
    iterator->get_next_data_point = doors.next;
    iterator->make_data_context = doors.makeData;
    iterator->free_data_context = doors.freeData;
    iterator->free_loop_context_at_end = doors.freeLoopAtEnd;
    iterator->myvoid = reg->my_reg_void;
    iterator->flags |= NETSNMP_ITERATOR_FLAG_SORTED | NETSNMP_HANDLER_OWNS_IINFO;
    iterator->table_reginfo = info.release();

    columnInfosByContext[context_].push_back(columns.release());
    const int result = netsnmp_register_table_iterator(reg, iterator.release());
    if (result != 0) fail("result == 0");
    const int injected = netsnmp_inject_handler(reg, netsnmp_get_serialize_handler());
    if (injected != 0) fail("injected == (0)");
    // Without it requests are answered as well, only by a walk.
    netsnmp_mib_handler* seek = netsnmp_create_handler("zorlenSeek", &Seek<table>::handle);
    if (netsnmp_inject_handler_before(reg, seek, TABLE_ITERATOR_NAME) != SNMPERR_SUCCESS) {
      netsnmp_handler_free(seek);
      trace(0, "Failed to set up the search of ", table.name);
    }
    trace(8, "Initialized table ", table.name, " in context \"", context_, "\"");
  }

 private:
  [[noreturn]] void fail(const char* expression, int line = __builtin_LINE()) const {
    Qel::assertionFailed(expression, {kMibSource, line, signature_});
  }

  Qel::Ptr<AclMib> entity() const {
    const auto found = SnmpUtil::getEntityRelative(kMibPath);
    if (!found) {
      std::cerr << "Can not getEntityRelative( " << kMibPath << " ) for table " << table.name
                << ". Is this path correct?" << std::endl;
      fail("e");
    }
    const auto mib = Qel::ptrCast<AclMib>(found);
    if (!mib) {
      std::cerr << kMibPath << " does not appear to be of type AclSnmp::AclMib." << std::endl;
      fail("ptr");
    }
    return mib;
  }

  static void fill(netsnmp_column_info& columns) {
    static std::array<unsigned, table.columns.size()> numbers = [] {
      std::array<unsigned, table.columns.size()> made{};
      for (unsigned i = 0; i < made.size(); ++i) made[i] = table.kFirstColumn + i;
      return made;
    }();
    columns.isRange = 0;
    columns.list_count = static_cast<char>(numbers.size());
    columns.details.list = numbers.data();
  }

  void fill(netsnmp_table_registration_info& info) const {
    for (const IndexObject& object : table.index) {
      if (snmp_varlist_add_variable(&info.indexes, nullptr, 0, object.asnType, nullptr, 0) ==
          nullptr) {
        trace(0, "Failed to set up ", object.name, " in netsnmp table_info in context \"", context_,
              "\"");
      }
    }
    info.number_indexes = static_cast<unsigned>(table.index.size());
    info.min_column = table.kFirstColumn;
    info.max_column = table.kLastColumn;
  }

  const char* signature_;
  const Qel::String8& context_;
};

}  // namespace AclSnmp
