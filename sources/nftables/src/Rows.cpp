#include "Rows.h"

#include <array>

#include "Conditions.h"
#include "Words.h"
#include "apply/Remark.h"

namespace Sources::Nftables {

namespace {

/// Values are not looked into any deeper for the digest.
constexpr size_t kMaxDepth = 64;

/// Statements that let only some packets go on to the rest of the rule.
bool isCondition(std::string_view statement) {
  constexpr std::array kConditions = {"match", "limit", "quota", "ct count", "vmap", "meter", "xt"};
  for (const std::string_view condition : kConditions) {
    if (statement == condition) return true;
  }
  return false;
}

/// One rule being read for ACLs of one type.
class RowReader {
 public:
  explicit RowReader(Acl::AclType type) : draft_(type) {}

  /// Nothing when no packet of the type can match.
  std::optional<Row> read(const Json& rule, bool always) {
    const Json* statements = member(rule, "expr");
    if (statements != nullptr && statements->is_array()) {
      for (const Json& statement : *statements) imply(draft_, statement);
      for (const Json& statement : *statements) take(statement);
    }
    if (draft_.impossible && !always) return std::nullopt;
    if (!verdict_) remark_.add("no verdict");
    std::visit(
        [this](auto& config) {
          config.action = action_;
          config.log = log_;
        },
        draft_.config);
    return Row{draft_.type(), std::move(draft_.config),
               remark_.text(word(member(rule, "comment")))};
  }

  /// What the columns do not show.
  const std::set<std::string>& kinds() const { return remark_.kinds(); }

 private:
  void take(const Json& statement) {
    const auto [kind, content] = only(statement);
    if (content == nullptr) return remark_.add("a statement of unknown form");
    if (counted_ && isCondition(kind)) {
      remark_.add("conditions after the counter");
      counted_ = false;
    }
    if (kind == "match") return takeMatch(*content);
    if (kind == "counter") return takeCounter(*content);
    if (kind == "log") {
      log_ = true;
    } else if (kind == "accept") {
      verdictIs(Acl::Action::permit);
    } else if (kind == "drop" || kind == "reject") {
      verdictIs(Acl::Action::deny);
    } else {
      takeOther(kind, *content);
    }
  }

  void takeMatch(const Json& match) {
    const Condition condition(match);
    if (!show(draft_, condition)) {
      remark_.add(condition.name.empty() ? "match" : condition.name,
                  condition.name.empty() ? "match" : condition.text());
    }
  }

  void takeCounter(const Json& counter) {
    counted_ = true;
    if (!counter.is_string() && member(counter, "packets") == nullptr) remark_.add("counter map");
  }

  void takeOther(std::string_view kind, const Json& content) {
    const std::string name(kind);
    if (kind == "jump" || kind == "goto") {
      verdict_ = true;
      return remark_.add(
          name, name + " " +
                    valueText(member(content, "target") == nullptr ? content
                                                                   : *member(content, "target")));
    }
    constexpr std::array kVerdicts = {"return", "continue",   "queue",    "vmap",     "snat",
                                      "dnat",   "masquerade", "redirect", "synproxy", "xt"};
    for (const std::string_view one : kVerdicts) verdict_ = verdict_ || kind == one;
    if (kind == "vmap") {
      const Json* key = member(content, "key");
      return remark_.add(name, key == nullptr ? name : nameOf(*key) + " vmap");
    }
    if (kind == "mangle") {
      const Json* key = member(content, "key");
      return remark_.add("set a field", key == nullptr ? name : "set " + nameOf(*key));
    }
    remark_.add(name);
  }

  void verdictIs(Acl::Action action) {
    verdict_ = true;
    action_ = action;
  }

  RowDraft draft_;
  Remark remark_;
  Acl::Action action_ = Acl::Action::permit;
  bool log_ = false;
  bool verdict_ = false;
  bool counted_ = false;
};

/// FNV-1a over the octets of a value's names and leaves.
class Digest {
 public:
  void add(std::string_view octets) {
    for (const char octet : octets) add(static_cast<uint8_t>(octet));
    add(uint8_t{0xFF});
  }
  void add(const Json& value, size_t depth) {
    if (depth == kMaxDepth) return;
    add(static_cast<uint8_t>(value.type()));
    if (value.is_string()) return add(word(&value));
    if (!value.is_structured()) return add(value.dump());
    for (const auto& [name, part] : value.items()) {
      if (value.is_object()) {
        if (isCount(name)) continue;
        add(name);
      }
      add(part, depth + 1);
    }
    add(uint8_t{0xFE});
  }
  uint64_t value() const { return value_; }

 private:
  /// What the kernel counts, wherever it stands in a rule.
  static bool isCount(std::string_view name) {
    return name == "packets" || name == "bytes" || name == "used" || name == "used_unit";
  }
  void add(uint8_t octet) { value_ = (value_ ^ octet) * 0x100000001B3U; }

  uint64_t value_ = 0xCBF29CE484222325U;
};

void readCounter(const Json& rule, Rule& made) {
  const Json* statements = member(rule, "expr");
  if (statements == nullptr || !statements->is_array()) return;
  for (const Json& statement : *statements) {
    const Json* counter = member(statement, "counter");
    if (counter == nullptr) continue;
    made.packets = natural(member(*counter, "packets"));
    made.counter = word(counter);
    return;
  }
}

}  // namespace

Rule readRule(const Json& rule, Family family, std::set<std::string>& unshown) {
  Rule made;
  made.handle = natural(member(rule, "handle")).value_or(0);
  Digest digest;
  if (const Json* statements = member(rule, "expr")) digest.add(*statements, 0);
  digest.add(word(member(rule, "comment")));
  made.digest = digest.value();
  readCounter(rule, made);
  // A rule that contradicts itself matches nothing, but stands in the chain all the same.
  for (const bool always : {false, true}) {
    if (!made.rows.empty()) break;
    for (const Acl::AclType type : aclTypes(family)) {
      RowReader reader(type);
      auto row = reader.read(rule, always);
      if (!row) continue;
      made.rows.push_back(std::move(*row));
      unshown.insert(reader.kinds().begin(), reader.kinds().end());
    }
  }
  return made;
}

}  // namespace Sources::Nftables
