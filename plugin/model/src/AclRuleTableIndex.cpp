#include "model/AclRuleTableIndex.h"

#include "qel/Exception.h"

namespace AclSnmp {

AclRuleTableIndex::AclRuleTableIndex(Qel::StrepIterator& current, Qel::StrepIterator end) {
  Qel::requireLiteral(current, end, "Value('AclSnmp::AclRuleTableIndex', ** {");
  Qel::requireLiteral(current, end, "'aclName': ");
  try {
    aclName_ = Snmp::String(current, end);
  } catch (const Qel::RangeException& exception) {
    Qel::rethrowInAttribute(exception, "aclName");
  }
  Qel::requireLiteral(current, end, ", 'seqId': ");
  seqId_ = Qel::readU32Attribute(current, end, "seqId");
  Qel::requireLiteral(current, end, "})");
}

std::string valueToStrep(const AclRuleTableIndex& index) {
  return "Value('AclSnmp::AclRuleTableIndex', ** {'aclName': " +
         Snmp::valueToStrep(index.aclName()) + ", 'seqId': " + Qel::valueToStrep(index.seqId()) +
         "})";
}

std::ostream& operator<<(std::ostream& out, const AclRuleTableIndex& index) {
  return out << valueToStrep(index);
}

}  // namespace AclSnmp
