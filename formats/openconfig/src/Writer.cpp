#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <utility>

#include "Epoch.h"
#include "Names.h"
#include "openconfig/Document.h"
#include "snapshot/Snapshot.h"
#include "snapshot/Text.h"

namespace OpenConfig {

namespace {

using Sources::Entry;
using Sources::prefixLength;
using Sources::textOf;

// Members keep the order in which they are put.
using Json = nlohmann::ordered_json;

std::string ours(const std::string& leaf) { return "zorlen-acl-ext:" + leaf; }

using Errors = Json::error_handler_t;

std::string jsonText(const Json& value, Errors errors = Errors::replace) {
  return value.dump(-1, ' ', false, errors);
}

bool isUtf8(const std::string& octets) {
  return jsonText(octets, Errors::replace) == jsonText(octets, Errors::ignore);
}

std::string hexadecimal(std::string_view octets) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const char octet : octets) {
    text += kDigits[static_cast<uint8_t>(octet) >> 4];
    text += kDigits[static_cast<uint8_t>(octet) & 15];
  }
  return text;
}

/// The name of a value, or its number where it has none.
template <class T, size_t N>
Json named(const std::array<Named<T>, N>& table, const T& value) {
  const auto found = std::find_if(table.begin(), table.end(),
                                  [&](const Named<T>& entry) { return entry.value == value; });
  if (found == table.end()) return static_cast<uint32_t>(value);
  return std::string(found->name);
}

void putFlag(Json& leafs, const std::string& leaf, bool flag) {
  if (flag) leafs[ours(leaf)] = true;
}

void putConfig(Json& parent, const char* container, Json leafs) {
  if (!leafs.empty()) parent[container]["config"] = std::move(leafs);
}

void putEnd(Json& leafs, const std::string& side, const Kavet::IpAddr& address,
            const Kavet::IpAddr& mask) {
  if (address == Kavet::IpAddr() && mask == Kavet::IpAddr()) return;
  const auto length = prefixLength(mask);
  leafs[side + "-address"] = textOf(address) + (length ? "/" + std::to_string(*length) : "");
  if (!length) leafs[ours(side + "-mask")] = textOf(mask);
}

void putEnd(Json& leafs, const std::string& side, const Acl::Ip6Prefix& prefix) {
  if (prefix == Acl::Ip6Prefix()) return;
  leafs[side + "-address"] = textOf(prefix.address) + "/" + std::to_string(prefix.length);
}

void putEnd(Json& leafs, const std::string& side, const Kavet::EthAddr& address,
            const Kavet::EthAddr& mask) {
  if (address == Kavet::EthAddr() && mask == Kavet::EthAddr()) return;
  leafs[side + "-mac"] = textOf(address);
  constexpr Kavet::EthAddr kExact({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
  if (mask != kExact) leafs[side + "-mac-mask"] = textOf(mask);
}

/// The port that a text is, where it is written as a document's port would be published.
std::optional<uint32_t> plainPort(std::string_view text) {
  uint16_t port = 0;
  std::from_chars(text.data(), text.data() + text.size(), port);
  return std::to_string(port) == text ? std::optional<uint32_t>(port) : std::nullopt;
}

void putPorts(Json& leafs, const std::string& side, const Acl::PortRange& range) {
  using Acl::RangeOperator;
  if (range.oper == RangeOperator::any) return;
  const std::string_view text = range.ports.view();
  const size_t dash = std::min(text.find('-'), text.size());
  const auto low = plainPort(text.substr(0, dash));
  if (range.oper == RangeOperator::range && low && dash != text.size()) {
    const auto high = plainPort(text.substr(dash + 1));
    if (high && *low <= *high) {
      leafs[side + "-port"] = std::to_string(*low) + ".." + std::to_string(*high);
      return;
    }
  }
  if (low && dash == text.size() && range.oper != RangeOperator::range) {
    leafs[side + "-port"] = *low;
  } else {
    leafs[ours(side + "-port-text")] = std::string(text);
  }
  if (range.oper != RangeOperator::eq) {
    leafs[ours(side + "-port-operator")] = named(kPortOperators, range.oper);
  }
}

Json transportLeafs(const Acl::IpFilterBase& filter) {
  Json leafs;
  putPorts(leafs, "source", filter.sport);
  putPorts(leafs, "destination", filter.dport);
  Json flags;
  for (const auto& [name, flag] : kTcpFlags) {
    if ((filter.tcpFlags & flag) != 0) flags.push_back(std::string(name));
  }
  if (!flags.empty()) leafs["tcp-flags"] = std::move(flags);
  putFlag(leafs, "established", filter.established);
  return leafs;
}

/// What IPv4 and IPv6 have in common, in containers of different names.
void putIp(Json& entry, const char* container, const char* icmpContainer, Json leafs,
           const Acl::IpFilterBase& filter) {
  if (filter.proto != 0) leafs["protocol"] = named(kProtocols, filter.proto);
  if (filter.ttl.oper != Acl::RangeOperator::any) {
    leafs["hop-limit"] = filter.ttl.value;
    if (filter.ttl.oper != Acl::RangeOperator::eq) {
      leafs[ours("hop-limit-operator")] = named(kHopLimitOperators, filter.ttl.oper);
    }
  }
  putFlag(leafs, "tracked", filter.tracked);
  Json ip;
  if (!leafs.empty()) ip["config"] = std::move(leafs);
  Json icmp;
  if (filter.icmpType != 0) icmp["type"] = filter.icmpType;
  if (filter.icmpCode != 0) icmp["code"] = filter.icmpCode;
  putConfig(ip, icmpContainer, std::move(icmp));
  if (!ip.empty()) entry[container] = std::move(ip);
  putConfig(entry, "transport", transportLeafs(filter));
}

void putFilter(Json& entry, const Acl::IpFilter& filter) {
  Json leafs;
  putEnd(leafs, "source", filter.source, filter.sourceMask);
  putEnd(leafs, "destination", filter.destination, filter.destinationMask);
  putFlag(leafs, "fragments", filter.fragments);
  putIp(entry, "ipv4", "icmpv4", std::move(leafs), filter);
}

void putFilter(Json& entry, const Acl::Ip6Filter& filter) {
  Json leafs;
  putEnd(leafs, "source", filter.source());
  putEnd(leafs, "destination", filter.destination());
  putIp(entry, "ipv6", "icmpv6", std::move(leafs), filter);
}

void putFilter(Json& entry, const Acl::MacFilter& filter) {
  constexpr uint32_t kLeastEtherType = 1536;
  Json leafs;
  putEnd(leafs, "source", filter.source, filter.sourceMask);
  putEnd(leafs, "destination", filter.destination, filter.destinationMask);
  if (filter.proto >= kLeastEtherType) {
    leafs["ethertype"] = named(kEtherTypes, filter.proto);
  } else if (filter.proto != 0) {
    leafs[ours("ethertype")] = filter.proto;
  }
  putConfig(entry, "l2", std::move(leafs));
}

void putRule(Json& entry, const RuleSnapshot& rule) {
  std::visit(
      [&entry](const auto& config) {
        putFilter(entry, config.filter);
        Json actions;
        actions["forwarding-action"] = named(kForwardingActions, config.action);
        if (config.log) actions["log-action"] = named(kLogActions, true);
        putConfig(entry, "actions", std::move(actions));
      },
      rule.config);
  if (!rule.counter) return;
  Json& state = entry["state"];
  state["matched-packets"] = std::to_string(rule.counter->pkts);
  if (!rule.counter->lastUpdate) return;
  if (const auto time = toEpoch(*rule.counter->lastUpdate)) {
    state[ours("last-update")] = std::to_string(*time);
  }
}

std::string idText(const Acl::UniqueId& id) {
  return std::to_string(id.number()) + "." + std::to_string(id.majorNumber()) + "." +
         std::to_string(id.minorNumber());
}

Json entryJson(uint32_t sequence, const Entry& entry) {
  Json json;
  json["sequence-id"] = sequence;
  Json& config = json["config"];
  config["sequence-id"] = sequence;
  if (entry.remark != nullptr) {
    if (isUtf8(*entry.remark)) {
      config["description"] = *entry.remark;
    } else {
      config[ours("description-octets")] = hexadecimal(*entry.remark);
    }
  }
  if (entry.rule == nullptr) {
    putFlag(config, "remark-only", true);
    return json;
  }
  if (!(entry.rule->id == Acl::UniqueId(sequence, 0, 0))) {
    config[ours("rule-id")] = idText(entry.rule->id);
  }
  putRule(json, *entry.rule);
  return json;
}

/// The members of an acl-set but its entries, under the name that is the list's key.
Json setHead(const Snapshot::Key& key, const std::string& name, const AclSnapshot& acl) {
  const Json type = named(kAclTypes, key.first);
  Json config;
  config["name"] = name;
  config["type"] = type;
  if (name != key.second) config[ours("name-octets")] = hexadecimal(key.second);
  putFlag(config, "read-only", acl.readonly);
  putFlag(config, "counters-enabled", acl.countersEnabled);
  putFlag(config, "fragments-enabled", acl.fragmentsEnabled);
  Json head;
  head["name"] = name;
  head["type"] = type;
  head["config"] = std::move(config);
  if (acl.countersIncomplete) putFlag(head["state"], "counters-incomplete", true);
  return head;
}

Json dataPlaneJson(const DataPlane& dataPlane) {
  Json flags;
  flags["acl-supported"] = dataPlane.acl;
  flags["logging-supported"] = dataPlane.logging;
  flags["counters-supported"] = dataPlane.counters;
  flags["router-acl-supported"] = dataPlane.routerAcl;
  return flags;
}

void writeSet(std::ostream& out, const Json& head, const AclSnapshot& acl) {
  out << "        {\n";
  for (const auto& [name, value] : head.items()) {
    out << "          " << jsonText(name) << ": " << jsonText(value) << ",\n";
  }
  out << "          \"acl-entries\": {\n            \"acl-entry\": [";
  const char* separator = "\n";
  for (const auto& [sequence, entry] : entriesOf(acl)) {
    out << std::exchange(separator, ",\n") << "              "
        << jsonText(entryJson(sequence, entry));
  }
  out << "\n            ]\n          }\n        }";
}

}  // namespace

// One entry is held as a tree at a time: a whole document as one would take many times its size.
void write(std::ostream& out, const Snapshot& snapshot) {
  out << "{\n  \"openconfig-acl:acl\": {\n    \"zorlen-acl-ext:data-plane\": "
      << jsonText(dataPlaneJson(snapshot.dataPlane))
      << ",\n    \"acl-sets\": {\n      \"acl-set\": [";
  const char* separator = "\n";
  size_t keys = 0;
  for (const auto& [key, acl] : snapshot.acls) {
    std::string name = key.second;
    while (!isUtf8(name) || (name != key.second && snapshot.acls.contains({key.first, name}))) {
      name = "octets-" + std::to_string(++keys);
    }
    out << std::exchange(separator, ",\n");
    writeSet(out, setHead(key, name, acl), acl);
  }
  out << "\n      ]\n    }\n  }\n}\n";
}

}  // namespace OpenConfig
