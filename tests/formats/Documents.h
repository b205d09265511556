#pragma once

/// Documents for tests: whole ones around the part that a test is about.

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "openconfig/Document.h"

namespace OpenConfig {

/// A document with the ACLs given, elements of acl-set.
inline std::string documentOf(const std::string& sets) {
  return R"({"openconfig-acl:acl":{"acl-sets":{"acl-set":[)" + sets + "]}}}";
}

/// An ACL "a" with the entries given.
inline std::string setOf(const std::string& type, const std::string& entries) {
  return R"({"name":"a","type":")" + type + R"(","acl-entries":{"acl-entry":[)" + entries + "]}}";
}

/// An entry 10 that accepts, with the members given beside its action.
inline std::string entryOf(const std::string& members) {
  return R"({"sequence-id":10,)" + members + (members.empty() ? "" : ",") +
         R"("actions":{"config":{"forwarding-action":"ACCEPT"}}})";
}

inline Snapshot parsed(const std::string& text) {
  Parsed result = parse(text);
  if (const auto* error = std::get_if<DocumentError>(&result)) {
    ADD_FAILURE() << error->text("document");
    return {};
  }
  return std::move(std::get<Snapshot>(result));
}

inline std::string written(const Snapshot& snapshot) {
  std::ostringstream out;
  write(out, snapshot);
  return out.str();
}

/// The error line of a document that is refused.
inline std::string refusal(const std::string& text, const Limits& limits = {}) {
  const Parsed result = parse(text, limits);
  const auto* error = std::get_if<DocumentError>(&result);
  return error == nullptr ? "accepted" : error->text("f");
}

}  // namespace OpenConfig
