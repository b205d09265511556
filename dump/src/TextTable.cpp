#include "dump/TextTable.h"

#include <algorithm>
#include <array>
#include <vector>

#include "qel/Strep.h"
#include "snapshot/Text.h"

namespace Dump {

namespace {

using Sources::AclSnapshot;
using Sources::Entry;
using Sources::prefixLength;
using Sources::Snapshot;
using Sources::textOf;

enum Column {
  kSequence,
  kAction,
  kProtocol,
  kSource,
  kSourcePorts,
  kDestination,
  kDestinationPorts,
  kFlags,
  kPackets,
  kRemark,
  kColumns
};
using Line = std::array<std::string, kColumns>;

const Line& titles() {
  static const Line kTitles = {"SEQ",         "ACTION", "PROTO", "SOURCE",  "PORTS",
                               "DESTINATION", "PORTS",  "FLAGS", "PACKETS", "REMARK"};
  return kTitles;
}

/// Words between commas.
class Words {
 public:
  void add(bool present, const std::string& word) {
    if (present) text_ += (text_.empty() ? "" : ",") + word;
  }
  std::string orElse(const char* none) const { return text_.empty() ? none : text_; }

 private:
  std::string text_;
};

const char* sign(Acl::RangeOperator oper) {
  constexpr std::array kSigns = {"", "=", ">", "<", "!=", ""};
  return kSigns.at(static_cast<size_t>(oper));
}

std::string portsText(const Acl::PortRange& range) {
  if (range.oper == Acl::RangeOperator::any) return "any";
  const bool plain = range.oper == Acl::RangeOperator::eq;
  return (plain ? "" : sign(range.oper)) + range.ports.str();
}

std::string protocolText(uint32_t protocol) {
  switch (protocol) {
    case 0:
      return "any";
    case 1:
      return "icmp";
    case 6:
      return "tcp";
    case 17:
      return "udp";
    case 58:
      return "icmpv6";
    default:
      return std::to_string(protocol);
  }
}

std::string etherTypeText(uint32_t type) {
  if (type == 0) return "any";
  std::array<char, 11> text{};
  std::snprintf(text.data(), text.size(), "0x%04x", type);
  return text.data();
}

template <class Address>
std::string maskedText(const Address& address, const Address& mask) {
  return mask == Address() && address == Address() ? "any" : textOf(address) + " & " + textOf(mask);
}

std::string endText(const Kavet::IpAddr& address, const Kavet::IpAddr& mask) {
  const auto length = prefixLength(mask);
  if (!length || (*length == 0 && address != Kavet::IpAddr())) return maskedText(address, mask);
  return *length == 0 ? "any" : textOf(address) + "/" + std::to_string(*length);
}

std::string endText(const Acl::Ip6Prefix& prefix) {
  return prefix == Acl::Ip6Prefix() ? "any"
                                    : textOf(prefix.address) + "/" + std::to_string(prefix.length);
}

std::string endText(const Kavet::EthAddr& address, const Kavet::EthAddr& mask) {
  constexpr Kavet::EthAddr kExact({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
  return mask == kExact ? textOf(address) : maskedText(address, mask);
}

void putCommon(Line& line, Words& flags, const Acl::IpFilterBase& filter) {
  line[kProtocol] = protocolText(filter.proto);
  line[kSourcePorts] = portsText(filter.sport);
  line[kDestinationPorts] = portsText(filter.dport);
  for (const auto& [name, flag] : Acl::kTcpFlagNames) {
    flags.add((filter.tcpFlags & flag) != 0, name);
  }
  flags.add(filter.established, "established");
  flags.add(filter.tracked, "tracked");
  flags.add(filter.icmpType != 0 || filter.icmpCode != 0,
            "icmp=" + std::to_string(filter.icmpType) + "/" + std::to_string(filter.icmpCode));
  flags.add(filter.ttl.oper != Acl::RangeOperator::any,
            std::string("ttl") + sign(filter.ttl.oper) + std::to_string(filter.ttl.value));
}

void putFilter(Line& line, Words& flags, const Acl::IpFilter& filter) {
  putCommon(line, flags, filter);
  line[kSource] = endText(filter.source, filter.sourceMask);
  line[kDestination] = endText(filter.destination, filter.destinationMask);
  flags.add(filter.fragments, "fragments");
}
void putFilter(Line& line, Words& flags, const Acl::Ip6Filter& filter) {
  putCommon(line, flags, filter);
  line[kSource] = endText(filter.source());
  line[kDestination] = endText(filter.destination());
}
void putFilter(Line& line, Words&, const Acl::MacFilter& filter) {
  line[kProtocol] = etherTypeText(filter.proto);
  line[kSource] = endText(filter.source, filter.sourceMask);
  line[kDestination] = endText(filter.destination, filter.destinationMask);
}

Line lineOf(uint32_t sequence, const Entry& entry) {
  Line line;
  line[kSequence] = std::to_string(sequence);
  if (entry.remark != nullptr) line[kRemark] = Qel::quotedStrep(*entry.remark);
  if (entry.rule == nullptr) {
    line[kAction] = "remark";
    return line;
  }
  const auto& counter = entry.rule->counter;
  line[kPackets] = counter ? std::to_string(counter->pkts) : "-";
  Words flags;
  std::visit(
      [&](const auto& rule) {
        line[kAction] = rule.action == Acl::Action::permit ? "permit" : "deny";
        putFilter(line, flags, rule.filter);
        flags.add(rule.log, "log");
      },
      entry.rule->config);
  line[kFlags] = flags.orElse("-");
  return line;
}

bool isNumber(size_t column) { return column == kSequence || column == kPackets; }

void printLines(std::ostream& out, const std::vector<Line>& lines) {
  std::array<size_t, kColumns> widths{};
  for (const Line& line : lines) {
    for (size_t i = 0; i < kColumns; ++i) widths[i] = std::max(widths[i], line[i].size());
  }
  for (const Line& line : lines) {
    std::string text;
    for (size_t i = 0; i < kColumns; ++i) {
      if (widths[i] == 0) continue;
      const std::string space(widths[i] - line[i].size(), ' ');
      text += "  " + (isNumber(i) ? space + line[i] : line[i] + space);
    }
    out << text.substr(0, text.find_last_not_of(' ') + 1) << '\n';
  }
}

void printAcl(std::ostream& out, const Snapshot::Key& key, const AclSnapshot& acl) {
  Words flags;
  flags.add(acl.readonly, "read-only");
  flags.add(acl.countersEnabled, "counters");
  flags.add(acl.countersIncomplete, "counters-incomplete");
  flags.add(acl.fragmentsEnabled, "fragments");
  out << '\n'
      << key.first << ' ' << Qel::quotedStrep(key.second) << ": " << flags.orElse("-") << '\n';
  if (acl.rules.empty() && acl.remarks.empty()) return;
  std::vector<Line> lines = {titles()};
  for (const auto& [sequence, entry] : entriesOf(acl)) lines.push_back(lineOf(sequence, entry));
  // A MAC ACL has no ports.
  if (key.first == Acl::AclType::mac) {
    lines[0][kSourcePorts].clear();
    lines[0][kDestinationPorts].clear();
  }
  printLines(out, lines);
}

}  // namespace

void printTable(std::ostream& out, const Sources::Snapshot& snapshot) {
  Words features;
  features.add(snapshot.dataPlane.acl, "acl");
  features.add(snapshot.dataPlane.logging, "logging");
  features.add(snapshot.dataPlane.counters, "counters");
  features.add(snapshot.dataPlane.routerAcl, "router-acl");
  out << "data plane: " << features.orElse("-") << '\n';
  for (const auto& [key, acl] : snapshot.acls) printAcl(out, key, acl);
}

}  // namespace Dump
