#include "nftables/Publication.h"

#include <absl/hash/hash.h>

#include <algorithm>
#include <map>
#include <unordered_map>

#include "Words.h"
#include "acl/Limits.h"
#include "apply/Numbering.h"
#include "snapshot/Text.h"

namespace Sources::Nftables {

namespace {

/// Different lines that are said at all; a ruleset that keeps on inventing faults is told so often.
constexpr size_t kMaxSaid = 200;

/// The handle alone would do until it is used anew after a flush.
Acl::UniqueId identityOf(uint64_t handle, uint64_t digest) {
  const uint64_t mixed = (digest ^ (handle >> 32)) * 0x9E3779B97F4A7C15U;
  return {static_cast<uint32_t>(handle), static_cast<uint16_t>(mixed >> 48),
          static_cast<uint16_t>(mixed >> 32)};
}

void addRow(AclSnapshot& acl, uint32_t sequence, Acl::UniqueId id, Row& row,
            std::optional<uint64_t> packets) {
  const auto* ip = std::get_if<Acl::IpRuleConfig>(&row.config);
  acl.fragmentsEnabled = acl.fragmentsEnabled || (ip != nullptr && ip->filter.fragments);
  acl.countersEnabled = acl.countersEnabled || packets.has_value();
  acl.countersIncomplete = acl.countersIncomplete || !packets;
  std::optional<RuleCounter> counter;
  if (packets) counter = RuleCounter{*packets, std::nullopt};
  acl.rules.emplace(sequence, RuleSnapshot{id, std::move(row.config), counter});
  if (!row.remark.empty()) acl.remarks.emplace(sequence, std::move(row.remark));
}

}  // namespace

struct Publication::PublishedRule : NumberedRule {
  Acl::UniqueId id;
  std::optional<uint64_t> packets;
};

struct Publication::PublishedChain {
  Family family = Family::ip;
  std::string table;
  std::string chain;
  /// That of its ACLs; empty for a chain that has none.
  std::string name;
  std::vector<PublishedRule> rules;

  std::string title() const {
    return withoutControls(std::string(stringValue(family)) + " " + table + " " + chain);
  }
  bool isSame(const PublishedChain& other) const {
    return family == other.family && table == other.table && chain == other.chain;
  }
};

Publication::Publication() = default;
Publication::~Publication() = default;

Update Publication::next(Ruleset ruleset) {
  Update update;
  std::vector<PublishedChain> chains = chainsOf(ruleset, update);
  if (!first_ && isPublished(chains)) {
    update.content = changesTo(chains);
  } else {
    Snapshot snapshot;
    snapshot.dataPlane = {true, true, true, true};
    for (size_t i = 0; i < chains.size(); ++i) {
      const PublishedChain& chain = chains[i];
      if (chain.name.empty()) continue;
      for (const Acl::AclType type : aclTypes(chain.family)) snapshot.acls[{type, chain.name}];
      for (size_t k = 0; k < chain.rules.size(); ++k) {
        const PublishedRule& rule = chain.rules[k];
        for (Row& row : ruleset.chains[i].rules[k].rows) {
          addRow(snapshot.acls[{row.type, chain.name}], rule.sequence, rule.id, row, rule.packets);
        }
      }
    }
    summary_ = summaryOf(snapshot);
    update.content = std::move(snapshot);
  }
  update.summary = summary_;
  published_ = std::move(chains);
  first_ = false;
  return update;
}

std::vector<Publication::PublishedChain> Publication::chainsOf(const Ruleset& ruleset,
                                                               Update& update) {
  std::vector<PublishedChain> chains;
  chains.reserve(ruleset.chains.size());
  for (const Chain& chain : ruleset.chains) {
    PublishedChain& made = chains.emplace_back();
    made.family = chain.family;
    made.table = chain.table;
    made.chain = chain.name;
    made.rules.reserve(chain.rules.size());
    for (const Rule& rule : chain.rules) {
      made.rules.push_back({{rule.handle, rule.digest, 0},
                            identityOf(rule.handle, rule.digest),
                            ruleset.packets(chain, rule)});
    }
  }
  nameChains(chains, update);
  numberRules(chains, update);
  std::string kinds;
  for (const std::string& kind : ruleset.unshown) {
    if (unshown_.size() >= kMaxSaid || !unshown_.insert(kind).second) continue;
    kinds += (kinds.empty() ? "" : ", ") + kind;
  }
  if (!kinds.empty()) {
    update.lines.emplace_back(Severity::info,
                              "nftables: told in remarks for want of a column: " + kinds);
  }
  return chains;
}

void Publication::nameChains(std::vector<PublishedChain>& chains, Update& update) {
  std::vector<PublishedChain*> order;
  order.reserve(chains.size());
  for (PublishedChain& chain : chains) order.push_back(&chain);
  std::stable_sort(order.begin(), order.end(),
                   [](const auto* a, const auto* b) { return a->family < b->family; });
  std::set<Snapshot::Key> taken;
  const auto isFree = [&](Family family, const std::string& name) {
    return std::ranges::none_of(aclTypes(family), [&](Acl::AclType type) {
      return taken.contains({type, name});
    });
  };
  for (PublishedChain* chain : order) {
    std::string name = chain->table + "/" + chain->chain;
    if (hasControls(name)) {
      sayOnce(update, Severity::warning,
              "nftables: " + chain->title() + ": not published: its name has control characters");
      continue;
    }
    if (!isFree(chain->family, name)) {
      name.insert(0, std::string(stringValue(chain->family)) + " ");
      if (!isFree(chain->family, name)) {
        sayOnce(update, Severity::warning,
                "nftables: " + chain->title() + ": not published: another chain has the name '" +
                    name + "'");
        continue;
      }
      sayOnce(update, Severity::info,
              "nftables: " + chain->title() + ": published as '" + name +
                  "': another chain has the plain name");
    }
    if (name.size() > Acl::kMaxNameOctets) {
      sayOnce(update, Severity::warning,
              "nftables: " + chain->title() + ": not published: its name has more than " +
                  std::to_string(Acl::kMaxNameOctets) + " octets");
      continue;
    }
    for (const Acl::AclType type : aclTypes(chain->family)) taken.emplace(type, name);
    chain->name = name;
  }
}

void Publication::numberRules(std::vector<PublishedChain>& chains, Update& update) const {
  std::map<std::tuple<Family, std::string_view, std::string_view>, const PublishedChain*> known;
  for (const PublishedChain& chain : published_) {
    known[{chain.family, chain.table, chain.chain}] = &chain;
  }
  for (PublishedChain& chain : chains) {
    const auto found = known.find({chain.family, chain.table, chain.chain});
    static const PublishedChain kNone;
    const PublishedChain& before = found == known.end() ? kNone : *found->second;
    const std::vector<NumberedRule> numbered(before.rules.begin(), before.rules.end());
    std::vector<NumberedRule> rules(chain.rules.begin(), chain.rules.end());
    if (!Sources::numberRules(numbered, rules)) {
      update.lines.emplace_back(Severity::info,
                                "nftables: " + chain.title() +
                                    ": no sequence number was left between two rules; all of the "
                                    "chain's have new ones");
    }
    std::unordered_map<uint64_t, const PublishedRule*, absl::Hash<uint64_t>> byHandle;
    for (const PublishedRule& rule : before.rules) byHandle.emplace(rule.handle, &rule);
    for (size_t i = 0; i < rules.size(); ++i) {
      PublishedRule& rule = chain.rules[i];
      rule.sequence = rules[i].sequence;
      const auto earlier = byHandle.find(rule.handle);
      if (earlier == byHandle.end() || !(earlier->second->id == rule.id)) continue;
      if (rule.packets && earlier->second->packets > rule.packets) ++update.resets;
    }
  }
}

bool Publication::isPublished(const std::vector<PublishedChain>& chains) const {
  const auto sameRule = [](const PublishedRule& a, const PublishedRule& b) {
    return a.handle == b.handle && a.digest == b.digest && a.sequence == b.sequence &&
           a.packets.has_value() == b.packets.has_value();
  };
  return std::ranges::equal(
      chains, published_, [&](const PublishedChain& a, const PublishedChain& b) {
        return a.isSame(b) && a.name == b.name && std::ranges::equal(a.rules, b.rules, sameRule);
      });
}

CounterChanges Publication::changesTo(const std::vector<PublishedChain>& chains) const {
  CounterChanges changes;
  for (size_t i = 0; i < chains.size(); ++i) {
    std::vector<std::pair<Acl::UniqueId, uint64_t>> changed;
    for (size_t k = 0; k < chains[i].rules.size(); ++k) {
      const PublishedRule& rule = chains[i].rules[k];
      if (rule.packets != published_[i].rules[k].packets)
        changed.emplace_back(rule.id, *rule.packets);
    }
    if (changed.empty() || chains[i].name.empty()) continue;
    for (const Acl::AclType type : aclTypes(chains[i].family)) {
      changes[{type, chains[i].name}] = changed;
    }
  }
  return changes;
}

void Publication::sayOnce(Update& update, Severity severity, const std::string& line) {
  if (said_.size() < kMaxSaid && said_.insert(line).second) {
    update.lines.emplace_back(severity, line);
  }
}

}  // namespace Sources::Nftables
