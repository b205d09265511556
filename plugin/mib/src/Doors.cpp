// The functions of each table by their names. Each hands its arguments and its name to the
// templates.

#include "Hooks.h"
#include "Register.h"

#define ACLSNMP_DEFINE_TABLE(table)                                                               \
  netsnmp_variable_list* zorlen##table##_get_first_data_point(                                    \
      void** loop, void**, netsnmp_variable_list* index, netsnmp_iterator_info* info) {           \
    return AclSnmp::Hooks<AclSnmp::zorlen##table>(__func__).first(loop, index, info);             \
  }                                                                                               \
  netsnmp_variable_list* zorlen##table##_get_next_data_point(                                     \
      void** loop, void** data, netsnmp_variable_list* index, netsnmp_iterator_info* info) {      \
    return AclSnmp::Hooks<AclSnmp::zorlen##table>(__func__).next(loop, data, index, info);        \
  }                                                                                               \
  netsnmp_variable_list* zorlen##table##IterationHelper(                                          \
      const AclSnmp::EntryTable<AclSnmp::table##Entry>::ConstIterator& iterator,                  \
      netsnmp_variable_list* index) {                                                             \
    return AclSnmp::Hooks<AclSnmp::zorlen##table>(__func__).fillIndex(iterator, index);           \
  }                                                                                               \
  void* zorlen##table##_make_data_context(void* loop, netsnmp_iterator_info*) {                   \
    return AclSnmp::Hooks<AclSnmp::zorlen##table>(__func__).makeDataContext(loop);                \
  }                                                                                               \
  void zorlen##table##_free_data_context(void* data, netsnmp_iterator_info*) {                    \
    AclSnmp::Hooks<AclSnmp::zorlen##table>(__func__).freeContext(data);                           \
  }                                                                                               \
  void zorlen##table##_free_loop_context_at_end(void* loop, netsnmp_iterator_info*) {             \
    AclSnmp::Hooks<AclSnmp::zorlen##table>(__func__).freeContext(loop);                           \
  }                                                                                               \
  int zorlen##table##_handler(netsnmp_mib_handler*, netsnmp_handler_registration*,                \
                              netsnmp_agent_request_info* info, netsnmp_request_info* requests) { \
    return AclSnmp::Hooks<AclSnmp::zorlen##table>(__func__).handle(info, requests);               \
  }                                                                                               \
  void initialize_table_zorlen##table(Qel::String8 context) {                                     \
    using Made = AclSnmp::Registration<AclSnmp::zorlen##table>;                                   \
    Made(__func__, __PRETTY_FUNCTION__, context)                                                  \
        .make({zorlen##table##_handler, zorlen##table##_get_first_data_point,                     \
               zorlen##table##_get_next_data_point, zorlen##table##_make_data_context,            \
               zorlen##table##_free_data_context, zorlen##table##_free_loop_context_at_end});     \
  }                                                                                               \
  static_assert(true)

ACLSNMP_FOR_EACH_TABLE(ACLSNMP_DEFINE_TABLE);
