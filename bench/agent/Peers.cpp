#include "Peers.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

// After the general ones: it needs their types.
#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <array>
#include <memory>
#include <stdexcept>
#include <vector>

#include "Model.h"

namespace Bench {
namespace {

constexpr std::array<oid, 8> kPeers = {1, 3, 6, 1, 4, 1, 32473, 99};
enum : oid { kOneColumn = 1, kAllColumns = 2, kPending = 9 };

/// What a row holds: plain values, as such a table would.
struct PeerRow {
  int number;
  Acl::IpRuleConfig rule;
  std::string remark;
};

std::function<bool()>& pendingWork() {
  static std::function<bool()> pending;
  return pending;
}

struct PeerTable {
  netsnmp_tdata* rows = nullptr;
  std::vector<std::unique_ptr<PeerRow>> values;
};
PeerTable oneColumn;
PeerTable allColumns;

void integerIs(netsnmp_variable_list* variable, u_char type, long value) {
  const auto number = static_cast<int32_t>(value);
  snmp_set_var_typed_value(variable, type, &number, sizeof number);
}
void octetsAre(netsnmp_variable_list* variable, const std::string_view octets) {
  snmp_set_var_typed_value(variable, ASN_OCTET_STR, octets.data(), octets.size());
}
void addressIs(netsnmp_variable_list* variable, const Kavet::IpAddr& address) {
  const auto octets = address.octets();
  snmp_set_var_typed_value(variable, ASN_IPADDRESS, octets.data(), octets.size());
}
void truthIs(netsnmp_variable_list* variable, bool value) {
  integerIs(variable, ASN_INTEGER, value ? 1 : 2);
}

void columnOf(const PeerRow& row, unsigned column, netsnmp_variable_list* variable) {
  const Acl::IpFilter& filter = row.rule.filter;
  switch (column) {
    case 2:
      return integerIs(variable, ASN_UNSIGNED, filter.proto);
    case 3:
      return addressIs(variable, filter.source);
    case 4:
      return addressIs(variable, filter.sourceMask);
    case 5:
      return addressIs(variable, filter.destination);
    case 6:
      return addressIs(variable, filter.destinationMask);
    case 7:
      return integerIs(variable, ASN_INTEGER, static_cast<long>(filter.sport.oper));
    case 8:
      return octetsAre(variable, filter.sport.ports.view());
    case 9:
      return integerIs(variable, ASN_INTEGER, static_cast<long>(filter.dport.oper));
    case 10:
      return octetsAre(variable, filter.dport.ports.view());
    case 11:
      return integerIs(variable, ASN_INTEGER, static_cast<long>(filter.ttl.oper));
    case 12:
      return integerIs(variable, ASN_UNSIGNED, filter.ttl.value);
    case 13:
      return truthIs(variable, filter.tracked);
    case 14:
      return truthIs(variable, filter.fragments);
    case 15: {
      const char flags = static_cast<char>(filter.tcpFlags);
      return octetsAre(variable, {&flags, 1});
    }
    case 16:
      return truthIs(variable, filter.established);
    case 17:
      return integerIs(variable, ASN_UNSIGNED, filter.icmpType);
    case 18:
      return integerIs(variable, ASN_UNSIGNED, filter.icmpCode);
    case 19:
      return integerIs(variable, ASN_INTEGER, static_cast<long>(row.rule.action));
    case 20:
      return truthIs(variable, row.rule.log);
    default:
      return octetsAre(variable, row.remark);
  }
}

int answer(netsnmp_mib_handler* /*handler*/, netsnmp_handler_registration* registration,
           netsnmp_agent_request_info* info, netsnmp_request_info* requests) {
  if (info->mode != MODE_GET) return SNMP_ERR_NOERROR;
  const bool one = registration->rootoid[kPeers.size()] == kOneColumn;
  for (netsnmp_request_info* request = requests; request != nullptr; request = request->next) {
    if (request->processed != 0) continue;
    const auto* row = static_cast<const PeerRow*>(netsnmp_tdata_extract_entry(request));
    const netsnmp_table_request_info* table = netsnmp_extract_table_info(request);
    if (row == nullptr || table == nullptr) {
      netsnmp_set_request_error(info, request, SNMP_NOSUCHINSTANCE);
    } else if (one) {
      integerIs(request->requestvb, ASN_INTEGER, row->number);
    } else {
      columnOf(*row, table->colnum, request->requestvb);
    }
  }
  return SNMP_ERR_NOERROR;
}

int answerPending(netsnmp_mib_handler*, netsnmp_handler_registration*,
                  netsnmp_agent_request_info* info, netsnmp_request_info* requests) {
  if (info->mode == MODE_GET) integerIs(requests->requestvb, ASN_INTEGER, pendingWork()() ? 1 : 0);
  return SNMP_ERR_NOERROR;
}

netsnmp_handler_registration* registration(const char* name, Netsnmp_Node_Handler* handler,
                                           oid place) {
  std::array<oid, kPeers.size() + 1> root{};
  std::copy(kPeers.begin(), kPeers.end(), root.begin());
  root.back() = place;
  return netsnmp_create_handler_registration(name, handler, root.data(), root.size(),
                                             HANDLER_CAN_RONLY);
}

void registerTable(PeerTable& table, const char* name, oid place, unsigned lastColumn) {
  table.rows = netsnmp_tdata_create_table(name, 0);
  auto* info = SNMP_MALLOC_TYPEDEF(netsnmp_table_registration_info);
  netsnmp_table_helper_add_indexes(info, ASN_OCTET_STR, ASN_UNSIGNED, 0);
  info->min_column = 2;
  info->max_column = lastColumn;
  if (netsnmp_tdata_register(registration(name, answer, place), table.rows, info) !=
      MIB_REGISTERED_OK) {
    throw std::runtime_error(std::string("cannot register ") + name);
  }
}

void rowsAre(PeerTable& table, const Shape& shape) {
  for (size_t number = 0; number < shape.rules(); ++number) {
    netsnmp_tdata_row* row = netsnmp_tdata_create_row();
    const std::string name = Shape::aclName(number / shape.rulesPerAcl);
    const u_long sequence = Shape::sequence(number % shape.rulesPerAcl);
    netsnmp_tdata_row_add_index(row, ASN_OCTET_STR, name.data(), name.size());
    netsnmp_tdata_row_add_index(row, ASN_UNSIGNED, &sequence, sizeof sequence);
    table.values.push_back(std::make_unique<PeerRow>(
        PeerRow{static_cast<int>(number), ipRule(number), remarkOf(number)}));
    row->data = table.values.back().get();
    if (netsnmp_tdata_add_row(table.rows, row) != SNMPERR_SUCCESS) {
      throw std::runtime_error("cannot add a row");
    }
  }
}

}  // namespace

void registerPeers(const std::function<bool()>& pending) {
  pendingWork() = pending;
  registerTable(oneColumn, "benchOneColumn", kOneColumn, 2);
  registerTable(allColumns, "benchAllColumns", kAllColumns, 21);
  if (netsnmp_register_scalar(registration("benchPending", answerPending, kPending)) !=
      MIB_REGISTERED_OK) {
    throw std::runtime_error("cannot register benchPending");
  }
}

void peerRowsAre(const Shape& shape) {
  rowsAre(oneColumn, shape);
  rowsAre(allColumns, shape);
}

}  // namespace Bench
