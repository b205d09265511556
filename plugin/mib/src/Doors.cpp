// The functions that the agent library calls, nine tables by the same name pattern. Each recovers
// nothing itself: it hands its arguments and its name to the template and maps an exception to the
// result that means "no row" or "failed".

#include "Hooks.h"
#include "Register.h"

namespace {

/// The result of callbacks that have none.
struct Nothing {};

}  // namespace

#define ACLSNMP_TABLE_DOORS(table, description)                                                    \
  extern "C" netsnmp_variable_list* table##_get_first_data_point(                                  \
      void** loop, void** /*data*/, netsnmp_variable_list* index, netsnmp_iterator_info* info) {   \
    return AclSnmp::guarded<netsnmp_variable_list*>(__func__, nullptr, [&, f = __func__] {         \
      return AclSnmp::Hooks<AclSnmp::description>::first(f, loop, index, info);                    \
    });                                                                                            \
  }                                                                                                \
  extern "C" netsnmp_variable_list* table##_get_next_data_point(                                   \
      void** loop, void** data, netsnmp_variable_list* index, netsnmp_iterator_info*) {            \
    return AclSnmp::guarded<netsnmp_variable_list*>(__func__, nullptr, [&, f = __func__] {         \
      return AclSnmp::Hooks<AclSnmp::description>::next(f, loop, data, index);                     \
    });                                                                                            \
  }                                                                                                \
  extern "C" void* table##_make_data_context(void* loop, netsnmp_iterator_info*) {                 \
    return AclSnmp::guarded<void*>(__func__, nullptr, [&, f = __func__] {                          \
      return AclSnmp::Hooks<AclSnmp::description>::makeDataContext(f, loop);                       \
    });                                                                                            \
  }                                                                                                \
  extern "C" void table##_free_data_context(void* data, netsnmp_iterator_info*) {                  \
    AclSnmp::guarded(__func__, Nothing(), [&, f = __func__] {                                      \
      AclSnmp::Hooks<AclSnmp::description>::freeContext(f, data);                                  \
      return Nothing();                                                                            \
    });                                                                                            \
  }                                                                                                \
  extern "C" void table##_free_loop_context_at_end(void* loop, netsnmp_iterator_info*) {           \
    AclSnmp::guarded(__func__, Nothing(), [&, f = __func__] {                                      \
      AclSnmp::Hooks<AclSnmp::description>::freeContext(f, loop);                                  \
      return Nothing();                                                                            \
    });                                                                                            \
  }                                                                                                \
  extern "C" int table##_handler(netsnmp_mib_handler*, netsnmp_handler_registration*,              \
                                 netsnmp_agent_request_info* info,                                 \
                                 netsnmp_request_info* requests) {                                 \
    return AclSnmp::guarded<int>(__func__, SNMP_ERR_GENERR, [&, f = __func__] {                    \
      return AclSnmp::Hooks<AclSnmp::description>::handle(f, info, requests);                      \
    });                                                                                            \
  }                                                                                                \
  extern "C" void initialize_table_##table(Qel::String8 context) {                                 \
    static const AclSnmp::Doors doors = {table##_handler,                                          \
                                         table##_get_first_data_point,                             \
                                         table##_get_next_data_point,                              \
                                         table##_make_data_context,                                \
                                         table##_free_data_context,                                \
                                         table##_free_loop_context_at_end};                        \
    AclSnmp::initializeTable<AclSnmp::description>(__func__, __PRETTY_FUNCTION__, doors, context); \
  }

ACLSNMP_TABLE_DOORS(zorlenIpAclTable, kIpAclTable)
ACLSNMP_TABLE_DOORS(zorlenIpAclRuleTable, kIpAclRuleTable)
ACLSNMP_TABLE_DOORS(zorlenIpAclRuleStatsTable, kIpAclRuleStatsTable)
ACLSNMP_TABLE_DOORS(zorlenMacAclTable, kMacAclTable)
ACLSNMP_TABLE_DOORS(zorlenMacAclRuleTable, kMacAclRuleTable)
ACLSNMP_TABLE_DOORS(zorlenMacAclRuleStatsTable, kMacAclRuleStatsTable)
ACLSNMP_TABLE_DOORS(zorlenIpv6AclTable, kIpv6AclTable)
ACLSNMP_TABLE_DOORS(zorlenIpv6AclRuleTable, kIpv6AclRuleTable)
ACLSNMP_TABLE_DOORS(zorlenIpv6AclRuleStatsTable, kIpv6AclRuleStatsTable)
