#pragma once

/// Rulesets as libnftables writes them, and rows as short text.

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "nftables/Ruleset.h"

namespace Sources::Nftables {

inline std::string rulesetOf(const std::string& elements) {
  return R"({"nftables":[{"metainfo":{"version":"1.0.6","json_schema_version":1}})" +
         (elements.empty() ? "" : "," + elements) + "]}";
}

inline std::string chainOf(const std::string& family, const std::string& table = "t",
                           const std::string& name = "c") {
  return R"({"chain":{"family":")" + family + R"(","table":")" + table + R"(","name":")" + name +
         R"(","handle":1}})";
}

/// A rule of the chain t/c; `more` stands before the expressions, such as a comment.
inline std::string ruleOf(const std::string& family, uint64_t handle, const std::string& statements,
                          const std::string& more = "", const std::string& table = "t",
                          const std::string& chain = "c") {
  return R"({"rule":{"family":")" + family + R"(","table":")" + table + R"(","chain":")" + chain +
         R"(","handle":)" + std::to_string(handle) + "," + more + R"("expr":[)" + statements +
         "]}}";
}

inline std::string matchOf(const std::string& left, const std::string& oper,
                           const std::string& right) {
  return R"({"match":{"op":")" + oper + R"(","left":)" + left + R"(,"right":)" + right + "}}";
}

inline std::string payload(const std::string& protocol, const std::string& field) {
  return R"({"payload":{"protocol":")" + protocol + R"(","field":")" + field + R"("}})";
}

inline Ruleset read(const std::string& json) {
  auto result = readRuleset(json);
  if (const auto* error = std::get_if<std::string>(&result)) {
    ADD_FAILURE() << *error << "\n" << json;
    return {};
  }
  return std::move(std::get<Ruleset>(result));
}

namespace Text {

inline std::string octets(const uint8_t* data, size_t size) {
  std::ostringstream out;
  for (size_t i = 0; i < size; ++i) {
    static constexpr const char* kDigits = "0123456789abcdef";
    out << kDigits[data[i] >> 4] << kDigits[data[i] & 15];
  }
  return out.str();
}
template <class Address>
std::string address(const Address& address) {
  const auto& all = address.octets();
  return octets(all.data(), all.size());
}
inline std::string oper(Acl::RangeOperator oper) {
  static constexpr const char* kNames[] = {"any", "eq", "gt", "lt", "neq", "range"};
  return kNames[static_cast<size_t>(oper)];
}

inline void common(std::ostream& out, const Acl::IpFilterBase& filter) {
  using Acl::RangeOperator;
  if (filter.proto != 0) out << " proto=" << filter.proto;
  if (filter.sport.oper != RangeOperator::any) {
    out << " sport=" << oper(filter.sport.oper) << ":" << filter.sport.ports;
  }
  if (filter.dport.oper != RangeOperator::any) {
    out << " dport=" << oper(filter.dport.oper) << ":" << filter.dport.ports;
  }
  if (filter.ttl.oper != RangeOperator::any) {
    out << " ttl=" << oper(filter.ttl.oper) << ":" << filter.ttl.value;
  }
  if (filter.tcpFlags != 0) out << " flags=" << filter.tcpFlags;
  if (filter.established) out << " established";
  if (filter.tracked) out << " tracked";
  if (filter.icmpType != 0) out << " icmptype=" << filter.icmpType;
  if (filter.icmpCode != 0) out << " icmpcode=" << filter.icmpCode;
}
inline void filter(std::ostream& out, const Acl::IpFilter& filter) {
  common(out, filter);
  if (filter.sourceMask != Kavet::IpAddr()) {
    out << " src=" << address(filter.source) << "/" << address(filter.sourceMask);
  }
  if (filter.destinationMask != Kavet::IpAddr()) {
    out << " dst=" << address(filter.destination) << "/" << address(filter.destinationMask);
  }
  if (filter.fragments) out << " fragments";
}
inline void filter(std::ostream& out, const Acl::Ip6Filter& filter) {
  common(out, filter);
  for (const auto& [name, prefix] :
       {std::pair(" src=", filter.source()), std::pair(" dst=", filter.destination())}) {
    if (prefix.length != 0) out << name << address(prefix.address) << "/" << prefix.length;
  }
}
inline void filter(std::ostream& out, const Acl::MacFilter& filter) {
  if (filter.sourceMask != Kavet::EthAddr()) {
    out << " src=" << address(filter.source) << "/" << address(filter.sourceMask);
  }
  if (filter.destinationMask != Kavet::EthAddr()) {
    out << " dst=" << address(filter.destination) << "/" << address(filter.destinationMask);
  }
  if (filter.proto != 0) out << " type=" << filter.proto;
}

}  // namespace Text

/// Such as "ipv4 deny log proto=6 dport=eq:22 # comment".
inline std::string textOf(const Row& row) {
  std::ostringstream out;
  out << row.type;
  std::visit(
      [&](const auto& config) {
        out << (config.action == Acl::Action::permit ? " permit" : " deny");
        if (config.log) out << " log";
        Text::filter(out, config.filter);
      },
      row.config);
  if (!row.remark.empty()) out << " # " << row.remark;
  return out.str();
}

inline std::vector<std::string> rowsOf(const std::string& family, const std::string& statements,
                                       const std::string& more = "") {
  const Ruleset ruleset =
      read(rulesetOf(chainOf(family) + "," + ruleOf(family, 4, statements, more)));
  std::vector<std::string> rows;
  for (const Chain& chain : ruleset.chains) {
    for (const Rule& rule : chain.rules) {
      for (const Row& row : rule.rows) rows.push_back(textOf(row));
    }
  }
  return rows;
}

}  // namespace Sources::Nftables
