#pragma once

/// The plug-in's entry points: the registration of the MIB with the agent, per SNMP context.
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

#include "qel/String8.h"

namespace AclSnmp {

/// What is registered, by context name; empty for every other context than the default one. The
/// agent library owns the handler registrations, the plug-in the column records.
extern std::map<Qel::String8, std::list<netsnmp_handler_registration*>>
    handlerRegistrationsByContext;
extern std::map<Qel::String8, std::list<netsnmp_column_info*>> columnInfosByContext;

}  // namespace AclSnmp

extern "C" {

/// Registers the scalar and the nine tables for a context and announces the module in it.
void init_AclMIB(Qel::String8 context);
/// Takes down all that was registered for a context.
void unregister_AclMIB(Qel::String8 context);

// Each registers one table.
void initialize_table_zorlenIpAclTable(Qel::String8 context);
void initialize_table_zorlenIpAclRuleTable(Qel::String8 context);
void initialize_table_zorlenIpAclRuleStatsTable(Qel::String8 context);
void initialize_table_zorlenMacAclTable(Qel::String8 context);
void initialize_table_zorlenMacAclRuleTable(Qel::String8 context);
void initialize_table_zorlenMacAclRuleStatsTable(Qel::String8 context);
void initialize_table_zorlenIpv6AclTable(Qel::String8 context);
void initialize_table_zorlenIpv6AclRuleTable(Qel::String8 context);
void initialize_table_zorlenIpv6AclRuleStatsTable(Qel::String8 context);

Netsnmp_Node_Handler handle_zorlenAclDpSupportFlags;

}  // extern "C"

/// The doors of one table: the hooks that the agent library calls.
#define ACLSNMP_DECLARE_TABLE_DOORS(table)                    \
  extern "C" {                                                \
  Netsnmp_First_Data_Point table##_get_first_data_point;      \
  Netsnmp_Next_Data_Point table##_get_next_data_point;        \
  Netsnmp_Make_Data_Context table##_make_data_context;        \
  Netsnmp_Free_Data_Context table##_free_data_context;        \
  Netsnmp_Free_Loop_Context table##_free_loop_context_at_end; \
  Netsnmp_Node_Handler table##_handler;                       \
  }

ACLSNMP_DECLARE_TABLE_DOORS(zorlenIpAclTable)
ACLSNMP_DECLARE_TABLE_DOORS(zorlenIpAclRuleTable)
ACLSNMP_DECLARE_TABLE_DOORS(zorlenIpAclRuleStatsTable)
ACLSNMP_DECLARE_TABLE_DOORS(zorlenMacAclTable)
ACLSNMP_DECLARE_TABLE_DOORS(zorlenMacAclRuleTable)
ACLSNMP_DECLARE_TABLE_DOORS(zorlenMacAclRuleStatsTable)
ACLSNMP_DECLARE_TABLE_DOORS(zorlenIpv6AclTable)
ACLSNMP_DECLARE_TABLE_DOORS(zorlenIpv6AclRuleTable)
ACLSNMP_DECLARE_TABLE_DOORS(zorlenIpv6AclRuleStatsTable)
#undef ACLSNMP_DECLARE_TABLE_DOORS
