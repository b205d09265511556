#pragma once

/// Looks into JSON values that may have any shape: what is not as wanted is absent, never an error.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Sources::Nftables {

using Json = nlohmann::json;

/// A member of an object, or null.
inline const Json* member(const Json& value, const char* name) {
  if (!value.is_object()) return nullptr;
  const auto found = value.find(name);
  return found == value.end() ? nullptr : &*found;
}

/// The one member of an object that has just one: how nft writes expressions and statements.
inline std::pair<std::string_view, const Json*> only(const Json& value) {
  if (!value.is_object() || value.size() != 1) return {{}, nullptr};
  const auto& member = *value.get_ptr<const Json::object_t*>()->begin();
  return {member.first, &member.second};
}

/// The text of a string, else nothing.
inline std::string_view word(const Json* value) {
  const auto* text = value == nullptr ? nullptr : value->get_ptr<const Json::string_t*>();
  return text == nullptr ? std::string_view() : std::string_view(*text);
}

inline std::optional<uint64_t> natural(const Json* value) {
  if (value == nullptr || !value->is_number_integer()) return std::nullopt;
  if (!value->is_number_unsigned() && value->get<int64_t>() < 0) return std::nullopt;
  return value->get<uint64_t>();
}

/// An element of a list of just `count`, or null.
inline const Json* element(const Json* list, size_t index, size_t count) {
  if (list == nullptr || !list->is_array() || list->size() != count) return nullptr;
  return &(*list)[index];
}

}  // namespace Sources::Nftables
