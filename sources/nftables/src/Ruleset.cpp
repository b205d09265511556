#include "nftables/Ruleset.h"

#include <array>

#include "Rows.h"

namespace Sources::Nftables {

namespace {

using Acl::AclType;

constexpr std::array kFamilyNames = {"ip", "ip6", "inet", "bridge", "netdev", "arp"};
constexpr std::array kIpv4 = {AclType::ipv4};
constexpr std::array kIpv6 = {AclType::ipv6};
constexpr std::array kBoth = {AclType::ipv4, AclType::ipv6};
constexpr std::array kMac = {AclType::mac};

/// Objects and lists inside each other; far more than nft's own.
constexpr int kMaxDepth = 200;

std::optional<Family> familyOf(const Json* value) {
  const std::string_view name = word(value);
  for (size_t i = 0; i < kFamilyNames.size(); ++i) {
    if (name == kFamilyNames[i]) return static_cast<Family>(i);
  }
  return std::nullopt;
}

/// Takes the elements of the ruleset one by one as they are parsed.
class Reader {
 public:
  void take(const Json& element) {
    const auto [kind, content] = only(element);
    if (content == nullptr) return;
    const auto family = familyOf(member(*content, "family"));
    if (!family) return;
    if (kind == "chain") takeChain(*family, *content);
    if (kind == "counter") takeCounter(*family, *content);
    if (kind == "rule") takeRule(*family, *content);
  }

  Ruleset ruleset;

 private:
  using ChainKey = Ruleset::CounterKey;

  static ChainKey keyOf(Family family, const Json& content, const char* name) {
    return {family, std::string(word(member(content, "table"))),
            std::string(word(member(content, name)))};
  }

  void takeChain(Family family, const Json& content) {
    ChainKey key = keyOf(family, content, "name");
    if (!places_.try_emplace(key, ruleset.chains.size()).second) return;
    ruleset.chains.push_back({family, std::get<1>(key), std::get<2>(key), {}});
  }

  void takeCounter(Family family, const Json& content) {
    if (const auto packets = natural(member(content, "packets"))) {
      ruleset.counters.insert_or_assign(keyOf(family, content, "name"), *packets);
    }
  }

  void takeRule(Family family, const Json& content) {
    const auto place = places_.find(keyOf(family, content, "chain"));
    if (place == places_.end()) return;
    ruleset.chains[place->second].rules.push_back(readRule(content, family, ruleset.unshown));
  }

  std::map<ChainKey, size_t> places_;
};

}  // namespace

std::string_view stringValue(Family family) { return kFamilyNames[static_cast<size_t>(family)]; }

std::span<const AclType> aclTypes(Family family) {
  switch (family) {
    case Family::ip:
      return kIpv4;
    case Family::ip6:
      return kIpv6;
    case Family::inet:
      return kBoth;
    default:
      return kMac;
  }
}

std::optional<uint64_t> Ruleset::packets(const Chain& chain, const Rule& rule) const {
  if (rule.counter.empty()) return rule.packets;
  const auto found = counters.find({chain.family, chain.table, rule.counter});
  if (found == counters.end()) return std::nullopt;
  return found->second;
}

std::variant<Ruleset, std::string> readRuleset(std::string_view json) {
  Reader reader;
  bool isRuleset = false;
  bool tooDeep = false;
  // Each element is dropped when it has been read: a big ruleset never stands in memory as JSON.
  const Json::parser_callback_t callback = [&](int depth, Json::parse_event_t event, Json& parsed) {
    if (depth > kMaxDepth) tooDeep = true;
    if (tooDeep) return false;
    if (depth == 1 && event == Json::parse_event_t::key) {
      isRuleset = isRuleset || word(&parsed) == "nftables";
    }
    if (depth == 2 && event == Json::parse_event_t::object_end) {
      reader.take(parsed);
      return false;
    }
    return true;
  };
  try {
    [[maybe_unused]] const Json rest = Json::parse(json, callback);
  } catch (const Json::exception& error) {
    return std::string("libnftables wrote no JSON: ") + error.what();
  }
  if (tooDeep) return "libnftables wrote JSON with too many levels";
  if (!isRuleset) return "libnftables wrote no ruleset";
  return std::move(reader.ruleset);
}

}  // namespace Sources::Nftables
