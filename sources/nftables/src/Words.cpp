#include "Words.h"

namespace Sources::Nftables {

namespace {

/// Deeper values than any of nft's own are not followed.
constexpr size_t kMaxDepth = 16;
/// Longer texts than any remark are not made.
constexpr size_t kMaxOctets = 256;

template <class Text>
std::string joined(const Json& list, const char* separator, Text&& text) {
  if (!list.is_array()) return text(list);
  std::string all;
  for (const Json& part : list) {
    if (all.size() > kMaxOctets) break;
    if (!all.empty()) all += separator;
    all += text(part);
  }
  return all;
}

std::string nameAt(const Json& expression, size_t depth) {
  const auto [kind, content] = only(expression);
  if (content == nullptr || depth == kMaxDepth) return "expression";
  const auto next = [depth](const Json& part) { return nameAt(part, depth + 1); };
  if (kind == "&" || kind == "|" || kind == "^" || kind == "<<" || kind == ">>") {
    const Json* first = content->is_array() && !content->empty() ? &content->front() : nullptr;
    return first == nullptr ? "expression" : next(*first);
  }
  if (kind == "concat") return joined(*content, " . ", next);
  std::string name;
  if (kind != "payload") name = kind;
  for (const char* part : {"tunnel", "protocol", "dir", "key", "name", "field"}) {
    const std::string_view text = word(member(*content, part));
    if (text.empty()) continue;
    if (!name.empty()) name += ' ';
    name += text;
  }
  return name.empty() ? std::string(kind) : name;
}

std::string textAt(const Json& value, size_t depth) {
  if (value.is_string()) return std::string(word(&value));
  if (depth == kMaxDepth) return "...";
  if (value.is_number() || value.is_boolean()) return value.dump();
  const auto next = [depth](const Json& part) { return textAt(part, depth + 1); };
  if (value.is_array()) return joined(value, ",", next);
  const auto [kind, content] = only(value);
  if (content == nullptr) return "...";
  if (kind == "set") return "{" + joined(*content, ",", next) + "}";
  if (kind == "range") return joined(*content, "-", next);
  if (kind == "concat") return joined(*content, " . ", next);
  if (kind == "|") return joined(*content, "|", next);
  if (kind == "prefix") {
    const Json* address = member(*content, "addr");
    const auto length = natural(member(*content, "len"));
    if (address != nullptr && length) return next(*address) + "/" + std::to_string(*length);
  }
  if (kind == "elem") {
    const Json* inner = member(*content, "val");
    return inner == nullptr ? "..." : next(*inner);
  }
  return nameAt(value, depth);
}

}  // namespace

std::string nameOf(const Json& expression) { return nameAt(expression, 0); }

std::string valueText(const Json& value) { return textAt(value, 0); }

}  // namespace Sources::Nftables
