#include "Call.h"
#include "Table.h"

namespace {

int fail(netsnmp_request_info* request) {
  netsnmp_request_set_error(request, SNMP_ERR_GENERR);
  return SNMP_ERR_GENERR;
}

int get(const AclSnmp::Call& call, const AclSnmp::AclMib* mib, netsnmp_request_info* request) {
  if (mib == nullptr) {
    call.tell(2, " - entity /<sysname>/snmp/acl/aclMIB is not of type AclSnmp::AclMib");
    return fail(request);
  }
  call.tell(2, " - reading snmp/acl/aclMIB->aclStatus()");
  unsigned char buffer[AclSnmp::kValueBuffer];
  // A reference for the encoding alone: the entity's own may be replaced meanwhile.
  const int count = DpAclSupportFlagsToAsnBits(Qel::Ptr<const Acl::Status>(mib->aclStatus()),
                                               buffer, sizeof buffer);
  call.tell(2, " - DpAclSupportFlagsToAsnBits returned ", count,
            "bytes for snmp/acl/aclMIB->aclStatus()");
  if (count >= 0 && snmp_set_var_typed_value(request->requestvb, ASN_OCTET_STR, buffer,
                                             static_cast<size_t>(count)) == 0) {
    return SNMP_ERR_NOERROR;
  }
  call.tell(2, " - DpAclSupportFlagsToAsnBits failed for: aclStatus");
  return fail(request);
}

}  // namespace

int handle_zorlenAclDpSupportFlags(netsnmp_mib_handler* /*handler*/,
                                   netsnmp_handler_registration* registration,
                                   netsnmp_agent_request_info* info,
                                   netsnmp_request_info* requests) {
  const AclSnmp::Call call(__func__);
  return call.guarded<int>(SNMP_ERR_GENERR, [&] {
    const int mode = info->mode;
    if (mode >= MODE_SET_RESERVE1 && mode <= MODE_SET_UNDO) {
      call.tell(2, " - SET is not configured for zorlenAclDpSupportFlags");
      netsnmp_request_set_error(requests, SNMP_ERR_NOTWRITABLE);
      return SNMP_ERR_NOERROR;
    }
    if (mode == MODE_GET) {
      return get(call, static_cast<const AclSnmp::AclMib*>(registration->my_reg_void), requests);
    }
    call.tell(2, " - unknown mode from request: ", mode);
    return fail(requests);
  });
}
