#include "Oracle.h"

#include <set>

namespace Soak {

namespace {

// ASN.1 types.
constexpr int kInteger = 2;
constexpr int kOctets = 4;
constexpr int kIpAddress = 64;
constexpr int kUnsigned = 66;
constexpr int kCounter64 = 70;

std::string number(int type, uint64_t value) {
  return std::to_string(type) + ":" + std::to_string(value);
}
std::string truth(bool value) { return number(kInteger, value ? 1 : 2); }
template <class Enumeration>
std::string code(Enumeration value) {
  return number(kInteger, static_cast<uint64_t>(value));
}
template <class Octets>
std::string octets(const Octets& octets, int type = kOctets) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string made = std::to_string(type) + ":";
  for (const auto octet : octets) {
    made += kDigits[static_cast<uint8_t>(octet) >> 4];
    made += kDigits[static_cast<uint8_t>(octet) & 15];
  }
  return made;
}
std::string text(const Qel::String8& value) { return octets(value.view()); }
std::string address(const Kavet::IpAddr& value) { return octets(value.octets(), kIpAddress); }

/// The first bit is the highest.
std::string flags(uint32_t bits) {
  uint8_t octet = 0;
  for (uint32_t bit = 0; bit < 8; ++bit) {
    if ((bits & (1U << bit)) != 0) octet = static_cast<uint8_t>(octet | (0x80U >> bit));
  }
  return octets(std::array<uint8_t, 1>{octet});
}

std::string mask(uint32_t length) {
  std::array<uint8_t, 16> made{};
  for (uint32_t bit = 0; bit < length; ++bit) {
    made[bit / 8] = static_cast<uint8_t>(made[bit / 8] | (0x80U >> (bit % 8)));
  }
  return octets(made);
}

using Row = std::vector<std::string>;

Row columns(const Acl::IpRuleConfig& rule) {
  const auto& f = rule.filter;
  return {number(kUnsigned, f.proto),
          address(f.source),
          address(f.sourceMask),
          address(f.destination),
          address(f.destinationMask),
          code(f.sport.oper),
          text(f.sport.ports),
          code(f.dport.oper),
          text(f.dport.ports),
          code(f.ttl.oper),
          number(kUnsigned, f.ttl.value),
          truth(f.tracked),
          truth(f.fragments),
          flags(f.tcpFlags),
          truth(f.established),
          number(kUnsigned, f.icmpType),
          number(kUnsigned, f.icmpCode),
          code(rule.action),
          truth(rule.log)};
}

Row columns(const Acl::Ip6RuleConfig& rule) {
  const auto& f = rule.filter;
  return {number(kUnsigned, f.proto),
          octets(f.source().address.octets()),
          mask(f.source().length),
          octets(f.destination().address.octets()),
          mask(f.destination().length),
          code(f.sport.oper),
          text(f.sport.ports),
          code(f.dport.oper),
          text(f.dport.ports),
          code(f.ttl.oper),
          number(kUnsigned, f.ttl.value),
          flags(f.tcpFlags),
          truth(f.established),
          number(kUnsigned, f.icmpType),
          number(kUnsigned, f.icmpCode),
          code(rule.action),
          truth(rule.log)};
}

Row columns(const Acl::MacRuleConfig& rule) {
  const auto& f = rule.filter;
  return {octets(f.source.octets()),
          octets(f.sourceMask.octets()),
          octets(f.destination.octets()),
          octets(f.destinationMask.octets()),
          number(kUnsigned, f.proto),
          code(rule.action),
          truth(rule.log)};
}

Row ruleColumns(Acl::AclType type, const Acl::AclSubConfig& version, const Acl::UniqueId& id) {
  switch (type) {
    case Acl::AclType::ipv4:
      return columns(version.ipRuleById(id));
    case Acl::AclType::ipv6:
      return columns(version.ip6RuleById(id));
    case Acl::AclType::mac:
      break;
  }
  return columns(version.macRuleById(id));
}

Oid cell(uint32_t group, uint32_t table, uint32_t column, const Oid& index) {
  Oid oid = {group, table, 1, column};
  oid.insert(oid.end(), index.begin(), index.end());
  return oid;
}

}  // namespace

std::string dotted(const Oid& oid) {
  std::string made;
  for (const uint32_t part : oid) made += (made.empty() ? "" : ".") + std::to_string(part);
  return made;
}

Oid nameIndex(const std::string& name) {
  Oid index = {static_cast<uint32_t>(name.size())};
  for (const char octet : name) index.push_back(static_cast<uint8_t>(octet));
  return index;
}

uint32_t groupOf(Acl::AclType type) {
  return type == Acl::AclType::ipv4 ? 1 : type == Acl::AclType::mac ? 2 : 3;
}

std::map<Key, Oracle::Acl> Oracle::acls(const std::vector<Qel::Name>& mounted) const {
  std::map<Key, Acl> found;
  for (const Qel::Name& input : mounted) {
    const auto config = Qel::ptrCast<const ::Acl::Input::Config>(inputDir_->entity(input));
    const auto status = Qel::ptrCast<const ::Acl::Input::Status>(statusDir_->entity(input));
    if (!config) continue;
    for (const auto type : ::Acl::kAclTypes) {
      const auto typeStatus = status ? status->status(type) : nullptr;
      for (auto it = config->typeConfig(type)->acl().begin(); it; ++it) {
        const Key key(type, it.key().string().str());
        found.try_emplace(key,
                          Acl{it.value().acl, typeStatus ? typeStatus->acl(it.key()) : nullptr});
      }
    }
  }
  return found;
}

void Oracle::addAcl(Tree& tree, const Key& key, const Acl& acl) {
  const auto& [type, name] = key;
  const uint32_t group = groupOf(type);
  const Oid index = nameIndex(name);
  const auto version = acl.config->currCfg();
  tree[cell(group, 1, 2, index)] = {truth(acl.config->readonly()), {}};
  tree[cell(group, 1, 3, index)] = {truth(version && version->countersEnabled()), {}};
  tree[cell(group, 1, 4, index)] = {truth(acl.status && acl.status->countersIncomplete()), {}};
  if (!version) return;
  std::set<uint32_t> sequences;
  for (auto it = version->ruleBySequence().begin(); it; ++it) sequences.insert(it.key());
  for (auto it = version->remarkBySequence().begin(); it; ++it) sequences.insert(it.key());
  for (const uint32_t sequence : sequences) {
    Oid row = index;
    row.push_back(sequence);
    const ::Acl::UniqueId id = version->ruleBySequence(sequence);
    Row values = ruleColumns(type, *version, id);
    values.push_back(text(version->remarkBySequence(sequence).text));
    for (uint32_t i = 0; i < values.size(); ++i) {
      tree[cell(group, 2, 2 + i, row)] = {values[i], {}};
    }
    const auto before = since_.find({key, sequence});
    const Qel::Seconds made = before == since_.end() ? last_ : before->second;
    seen_[{key, sequence}] = made;
    const ::Acl::RuleStatus* counted = acl.status ? acl.status->ruleStatus().find(id) : nullptr;
    const Interval changed = counted != nullptr
                                 ? Interval{counted->lastUpdateTime, counted->lastUpdateTime}
                                 : Interval{made, Qel::now()};
    row.insert(row.begin(), 0);
    tree[cell(group, 3, 2, row)] = {number(kCounter64, counted == nullptr ? 0 : counted->pkts), {}};
    tree[cell(group, 3, 3, row)] = {"", changed};
  }
}

Tree Oracle::tree(const std::vector<Qel::Name>& mounted) {
  Tree tree;
  seen_.clear();
  for (const auto& [key, acl] : acls(mounted)) addAcl(tree, key, acl);
  since_ = std::move(seen_);
  last_ = Qel::now();
  uint32_t bits = 0;
  for (auto it = statusDir_->entity().begin(); it; ++it) {
    const auto status = Qel::ptrCast<const ::Acl::Input::Status>(it.value());
    bits |= (status->dpAclSupported() ? 1U : 0U) | (status->dpAclLoggingSupported() ? 2U : 0U) |
            (status->dpAclCountersSupported() ? 4U : 0U) |
            (status->dpRouterAclSupported() ? 8U : 0U);
  }
  tree[{4, 0}] = {flags(bits), {}};
  return tree;
}

}  // namespace Soak
