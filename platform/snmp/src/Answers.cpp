#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

// After the general ones: it needs their types.
#include <net-snmp/agent/net-snmp-agent-includes.h>

#include "Answers.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "Framer.h"

#ifndef NETSNMP_USE_REVERSE_ASNENCODING
#error "messages are taken to be built from the end of their buffer"
#endif

namespace Snmp {

namespace {

// The message that is being answered: its command, whether it asks for too much, and what the
// answer may take.
int served = 0;
bool tooMany = false;
size_t most = kMaxMessage;

bool hasTooMany(const netsnmp_variable_list* variables) {
  size_t count = 0;
  while (variables != nullptr && count <= kMaxVariables) {
    variables = variables->next_variable;
    ++count;
  }
  return count > kMaxVariables;
}

/// No less than what a message takes besides its variables.
size_t overheadOf(const netsnmp_pdu& pdu) {
  // All headers and numbers of version 3 at their longest, with authentication and privacy.
  constexpr size_t kFixed = 192;
  return kFixed + pdu.community_len + pdu.securityEngineIDLen + pdu.contextEngineIDLen +
         pdu.contextNameLen + pdu.securityNameLen;
}

/// No less than what a variable takes, without encoding it.
size_t boundOf(const netsnmp_variable_list& variable) {
  constexpr size_t kSubIdentifier = 5;
  constexpr size_t kHeaders = 16;
  const size_t value = variable.type == ASN_OBJECT_ID
                           ? variable.val_len / sizeof(oid) * kSubIdentifier
                           : variable.val_len;
  return kHeaders + variable.name_length * kSubIdentifier + value;
}

/// What a variable takes; `room` + 1 where it takes more.
size_t sizeOf(netsnmp_variable_list& variable, size_t room) {
  static std::array<u_char, kMaxMessage + 16> scratch;
  // The library always builds this header with four octets.
  constexpr size_t kHeader = 4;
  size_t left = std::min(room + kHeader, scratch.size());
  const u_char* end =
      snmp_build_var_op(scratch.data(), variable.name, &variable.name_length, variable.type,
                        variable.val_len, variable.val.string, &left);
  if (end == nullptr) return room + 1;
  const size_t content = static_cast<size_t>(end - scratch.data()) - kHeader;
  return content + (content < 0x80 ? 2 : content < 0x100 ? 3 : kHeader);
}

/// How many of the variables fit into so many octets.
size_t countFitting(netsnmp_variable_list* variables, size_t room) {
  size_t bound = 0;
  size_t count = 0;
  for (auto* each = variables; each != nullptr; each = each->next_variable, ++count) {
    bound += boundOf(*each);
  }
  if (bound <= room) return count;
  count = 0;
  for (auto* each = variables; each != nullptr; each = each->next_variable, ++count) {
    const size_t size = sizeOf(*each, room);
    if (size > room) break;
    room -= size;
  }
  return count;
}

void makeTooBig(netsnmp_pdu& pdu) {
  pdu.errstat = SNMP_ERR_TOOBIG;
  pdu.errindex = 0;
  snmp_free_varbind(pdu.variables);
  pdu.variables = nullptr;
}

bool fit(netsnmp_pdu& pdu) {
  const size_t overhead = overheadOf(pdu);
  const size_t count = countFitting(pdu.variables, most > overhead ? most - overhead : 0);
  netsnmp_variable_list** rest = &pdu.variables;
  for (size_t i = 0; i < count; ++i) rest = &(*rest)->next_variable;
  if (*rest == nullptr) return true;
  if (pdu.errstat != SNMP_ERR_NOERROR) {
    makeTooBig(pdu);
    return true;
  }
  if (served != SNMP_MSG_GETBULK || count == 0) {
    return false;
  }
  snmp_free_varbind(*rest);
  *rest = nullptr;
  return true;
}

}  // namespace

int serveMessage(int operation, netsnmp_session* session, int number, netsnmp_pdu* pdu,
                 void* magic) {
  if (operation == NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE && pdu != nullptr) {
    served = pdu->command;
    most = std::min(snmp_sess_transport(snmp_sess_pointer(session))->msgMaxSize, kMaxMessage);
    if (pdu->msgMaxSize > 0) most = std::min(most, static_cast<size_t>(pdu->msgMaxSize));
    // For the library, which is to leave it to us.
    pdu->msgMaxSize = SNMP_MAX_PACKET_LEN;
    tooMany = hasTooMany(pdu->variables);
    if (tooMany) {
      // Who may ask is the library's to say; one variable that is read says as much as all.
      pdu->command = SNMP_MSG_GET;
      pdu->errstat = 0;
      pdu->errindex = 0;
      snmp_free_varbind(pdu->variables->next_variable);
      pdu->variables->next_variable = nullptr;
    }
  }
  return handle_snmp_packet(operation, session, number, pdu, magic);
}

int buildToFit(netsnmp_session* session, netsnmp_pdu* pdu, u_char** packet, size_t* room,
               size_t* length) {
  if (pdu->command == SNMP_MSG_RESPONSE && tooMany && pdu->errstat != SNMP_ERR_AUTHORIZATIONERROR) {
    makeTooBig(*pdu);
    snmp_increment_statistic(STAT_SNMPOUTTOOBIGS);
  }
  if (pdu->command == SNMP_MSG_RESPONSE && !fit(*pdu)) {
    session->s_snmp_errno = SNMPERR_TOO_LONG;
    return -1;
  }
  const int result = snmp_build(packet, room, length, session, pdu);
  if (result != 0) return result;
  if (*length > most) {
    session->s_snmp_errno = SNMPERR_TOO_LONG;
    return -1;
  }
  std::memmove(*packet, *packet + *room - *length, *length);
  return 0;
}

}  // namespace Snmp
