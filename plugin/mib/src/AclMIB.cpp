#include <iostream>

#include "Register.h"

namespace AclSnmp {

// The order of these is the order of their construction; unloading takes them down in reverse, the
// auto-registree first.
std::map<Qel::String8, std::list<netsnmp_handler_registration*>> handlerRegistrationsByContext;
std::map<Qel::String8, std::list<netsnmp_column_info*>> columnInfosByContext;

namespace {

class AclMIB_HandlerRegistration final : public Snmp::HandlerRegistration {
 public:
  void initHandler(Qel::String8 context) override { init_AclMIB(context); }
};

constinit AclMIB_HandlerRegistration registration;
const Snmp::AutoRegistree autoRegistree(&registration);

void registerScalar(const Call& call, const char* signature, const Qel::String8& context) {
  constexpr auto scalarOid = objectOid(kDpSupportFlagsPlace);
  traceInitializing(call, scalarOid.data(), scalarOid.size(), context);
  netsnmp_handler_registration* reg = netsnmp_create_handler_registration(
      ("zorlenAclDpSupportFlags_" + context.str()).c_str(), handle_zorlenAclDpSupportFlags,
      scalarOid.data(), scalarOid.size(), HANDLER_CAN_RONLY);
  if (reg == nullptr) {
    Qel::assertionFailed("reg_zorlenAclDpSupportFlags", {kMibSource, __LINE__, signature});
  }
  reg->priority = 64;
  if (context != kDefaultContext) {
    call.tell(2, " in context \"", context,
              "\": lumdbPathWithContext not specified for zorlenAclDpSupportFlags; "
              "skipping registration");
    netsnmp_handler_registration_free(reg);
    return;
  }
  handlerRegistrationsByContext[context].push_back(reg);
  const auto entity = SnmpUtil::getEntityRelative(kMibPath);
  if (!entity) {
    std::cerr << "Can not getEntityRelative( " << kMibPath
              << " ) for scalar zorlenAclDpSupportFlags. Is this path correct?" << std::endl;
    Qel::assertionFailed("e_zorlenAclDpSupportFlags", {kMibSource, __LINE__, signature});
  }
  const auto mib = Qel::ptrCast<AclMib>(entity);
  if (!mib) {
    std::cerr << kMibPath
              << " does not appear to be of type AclSnmp::AclMib for scalar "
                 "zorlenAclDpSupportFlags."
              << std::endl;
    Qel::assertionFailed("ptr_zorlenAclDpSupportFlags", {kMibSource, __LINE__, signature});
  }
  reg->my_reg_void = mib.get();
  if (netsnmp_register_scalar(reg) != MIB_REGISTERED_OK) {
    // A duplicate: the library has freed it.
    handlerRegistrationsByContext[context].pop_back();
  }
}

}  // namespace

Qel::TraceHandle& mibTrace() {
  static Qel::TraceHandle handle("Snmp");
  return handle;
}

void traceInitializing(const Call& call, const oid* name, size_t length,
                       const Qel::String8& context) {
  if (!mibTrace().enabled(1)) return;
  char text[200];
  snprint_objid(text, sizeof text, name, length);
  call.tell(1, " initializing oid ", text, " in context \"", context, "\"");
}

}  // namespace AclSnmp

void init_AclMIB(Qel::String8 context) {
  if (snmp_get_do_debugging() != 0) {
    debugmsgtoken("trace", "%s(): %s, %d:\n", "init_AclMIB", "AclMIB", 40);
    debugmsg("trace", "%s(): %s, %d:\n", "init_AclMIB", "AclMIB", 40);
    debugmsgtoken("AclMIB", "Initializing in context \"%s\"\n", context.str().c_str());
    debugmsg("AclMIB", "Initializing in context \"%s\"\n", context.str().c_str());
  }
  AclSnmp::registerScalar(AclSnmp::Call(__func__), __PRETTY_FUNCTION__, context);
#define ACLSNMP_INITIALIZE_TABLE(table) initialize_table_zorlen##table(context)
  ACLSNMP_FOR_EACH_TABLE(ACLSNMP_INITIALIZE_TABLE);
#undef ACLSNMP_INITIALIZE_TABLE
  Snmp::registerMibContext(context, "AclMIB");
}

void unregister_AclMIB(Qel::String8 context) {
  AclSnmp::Call(__func__).trace(2, "Unregistering AclMIB in context \"", context, "\"");
  const auto registrations = AclSnmp::handlerRegistrationsByContext[context];
  for (netsnmp_handler_registration* reg : registrations) netsnmp_unregister_handler(reg);
  AclSnmp::handlerRegistrationsByContext.erase(context);
  const auto columnInfos = AclSnmp::columnInfosByContext[context];
  for (netsnmp_column_info* info : columnInfos) {
    while (info != nullptr) {
      netsnmp_column_info* next = info->next;
      free(info);
      info = next;
    }
  }
  AclSnmp::columnInfosByContext.erase(context);
  Snmp::unregisterMibContext(context, "AclMIB");
}
