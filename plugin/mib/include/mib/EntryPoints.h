#pragma once

/// The plug-in's entry points: the registration of the MIB with the agent, per SNMP context, and
/// the functions that the agent library calls for each table.
///
/// The objects are registered in the default context ("") only; any other context is announced
/// without objects. A missing MIB entity, one of the wrong type and a failed registration are fatal
/// assertions.

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

// After the general ones: it needs their types.
#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <list>
#include <map>

#include "model/AclMib.h"
#include "qel/String8.h"

namespace AclSnmp {

/// What is registered, by context name; empty for every other context than the default one. The
/// agent library owns the handler registrations, the plug-in the column records.
extern std::map<Qel::String8, std::list<netsnmp_handler_registration*>>
    handlerRegistrationsByContext;
extern std::map<Qel::String8, std::list<netsnmp_column_info*>> columnInfosByContext;

}  // namespace AclSnmp

/// Registers the scalar and the nine tables for a context and announces the module in it. Not a C
/// function: an agent that calls `init_AclMIB()` of every module, without arguments, passes it by.
void init_AclMIB(Qel::String8 context);

/// Takes down all that was registered for a context.
extern "C" void unregister_AclMIB(Qel::String8 context);

extern "C" Netsnmp_Node_Handler handle_zorlenAclDpSupportFlags;

/// The tables in the order in which they are registered, by their names without "zorlen".
#define ACLSNMP_FOR_EACH_TABLE(declare) \
  declare(IpAclTable);                  \
  declare(IpAclRuleTable);              \
  declare(IpAclRuleStatsTable);         \
  declare(MacAclTable);                 \
  declare(MacAclRuleTable);             \
  declare(MacAclRuleStatsTable);        \
  declare(Ipv6AclTable);                \
  declare(Ipv6AclRuleTable);            \
  declare(Ipv6AclRuleStatsTable)

/// The functions of one table: its set-up, the hooks and the handler that the agent library calls,
/// and the iteration helper, which fills the index varbinds from an iterator's row and returns the
/// first of them, or null at end.
#define ACLSNMP_DECLARE_TABLE(table)                                             \
  void initialize_table_zorlen##table(Qel::String8 context);                     \
  netsnmp_variable_list* zorlen##table##IterationHelper(                         \
      const AclSnmp::EntryTable<AclSnmp::table##Entry>::ConstIterator& iterator, \
      netsnmp_variable_list* index);                                             \
  extern "C" Netsnmp_First_Data_Point zorlen##table##_get_first_data_point;      \
  extern "C" Netsnmp_Next_Data_Point zorlen##table##_get_next_data_point;        \
  extern "C" Netsnmp_Make_Data_Context zorlen##table##_make_data_context;        \
  extern "C" Netsnmp_Free_Data_Context zorlen##table##_free_data_context;        \
  extern "C" Netsnmp_Free_Loop_Context zorlen##table##_free_loop_context_at_end; \
  extern "C" Netsnmp_Node_Handler zorlen##table##_handler

ACLSNMP_FOR_EACH_TABLE(ACLSNMP_DECLARE_TABLE);
#undef ACLSNMP_DECLARE_TABLE
