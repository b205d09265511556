#include "openconfig/Document.h"

#include <set>

#include "qel/Collection.h"

#include "AclEntry.h"
#include "Leaves.h"
#include "Names.h"
#include "Tree.h"
#include "acl/Limits.h"
#include "snapshot/Text.h"

namespace OpenConfig {

namespace {

/// A document on its way into a snapshot.
struct Reading {
  Snapshot snapshot;
  const Limits& limits;
  std::stop_token stop;
  size_t entries = 0;
  std::set<Snapshot::Key> listKeys;
  bool found = false;
};

/// The leafs of one acl-set as they are read.
struct SetDraft {
  std::optional<std::string> name;
  std::optional<Acl::AclType> type;
  std::optional<std::string> octets;
  AclSnapshot acl;
  Ref entries;
  size_t count = 0;
  Qel::HashCollection<Acl::UniqueId, bool> ruleIds;
};

using SetMember = Member<SetDraft>;
using DocumentMember = Member<Reading>;

void readName(SetDraft& draft, const Ref& leaf) {
  const std::string name = readString(leaf, Acl::kMaxNameOctets);
  if (draft.name && *draft.name != name) refuse(leaf, "the list's name " + shownText(*draft.name));
  draft.name = name;
}
void readType(SetDraft& draft, const Ref& leaf) {
  const Acl::AclType type = readNamed(leaf, kAclTypes, kAclModule);
  if (draft.type && *draft.type != type) {
    refuse(leaf,
           "the list's type " + std::string(kAclTypes[static_cast<size_t>(*draft.type)].name));
  }
  draft.type = type;
}
void readNameOctets(SetDraft& draft, const Ref& leaf) {
  draft.octets = readOctets(leaf, Acl::kMaxNameOctets);
}
void checkDescription(SetDraft&, const Ref& leaf) { requireKind(leaf, Kind::string, "a string"); }
template <bool AclSnapshot::*field>
void readAclFlag(SetDraft& draft, const Ref& leaf) {
  draft.acl.*field = readBoolean(leaf);
}

constexpr std::array kSetConfig = {
    SetMember{"name", readName},
    SetMember{"type", readType},
    SetMember{"description", checkDescription},
    SetMember{"zorlen-acl-ext:name-octets", readNameOctets},
    SetMember{"zorlen-acl-ext:read-only", readAclFlag<&AclSnapshot::readonly>},
    SetMember{"zorlen-acl-ext:counters-enabled", readAclFlag<&AclSnapshot::countersEnabled>},
    SetMember{"zorlen-acl-ext:fragments-enabled", readAclFlag<&AclSnapshot::fragmentsEnabled>},
};
constexpr std::array kSetState = {
    kSetConfig[0],
    kSetConfig[1],
    kSetConfig[2],
    kSetConfig[3],
    kSetConfig[4],
    kSetConfig[5],
    kSetConfig[6],
    SetMember{"zorlen-acl-ext:counters-incomplete", readAclFlag<&AclSnapshot::countersIncomplete>},
};
constexpr std::array kEntries = {
    SetMember{"acl-entry", [](SetDraft& draft, const Ref& list) { draft.entries = list; }},
};

constexpr std::array kSet = {
    SetMember{"name", readName},
    SetMember{"type", readType},
    SetMember{"state", [](SetDraft& d, const Ref& state) { readMembers(kSetState, d, state); }},
    SetMember{"config", [](SetDraft& d, const Ref& config) { readMembers(kSetConfig, d, config); }},
    SetMember{"acl-entries",
              [](SetDraft& d, const Ref& entries) { readMembers(kEntries, d, entries); }},
};

void readEntry(Reading& reading, const Ref& element, SetDraft& draft) {
  AclSnapshot& acl = draft.acl;
  if (reading.stop.stop_requested()) refuse(element, "a request to stop", "none");
  if (++reading.entries > reading.limits.entries) {
    refuse(element, "more entries",
           "at most " + std::to_string(reading.limits.entries) + " in the document");
  }
  if (++draft.count > reading.limits.entriesOfAcl) {
    refuse(element, "more entries",
           "at most " + std::to_string(reading.limits.entriesOfAcl) + " in an ACL");
  }
  AclEntry entry = readAclEntry(element, *draft.type);
  if (acl.rules.contains(entry.sequence) || acl.remarks.contains(entry.sequence)) {
    refuse(element, "a second entry with sequence-id " + std::to_string(entry.sequence),
           "each sequence-id once in an ACL");
  }
  if (entry.rule && !draft.ruleIds.insertOrAssign(entry.rule->id, true)) {
    refuse(element, "a second rule of one rule-id", "each rule-id once in an ACL");
  }
  if (entry.rule) acl.rules.emplace(entry.sequence, std::move(*entry.rule));
  if (entry.remark) acl.remarks.emplace(entry.sequence, std::move(*entry.remark));
}

void readSet(Reading& reading, const Ref& set) {
  SetDraft draft;
  readMembers(kSet, draft, set);
  if (!draft.name) refuse(set, "no name", "a name");
  if (!draft.type) refuse(set, "no type", namesOf(kAclTypes));
  Snapshot::Key key(*draft.type, draft.octets.value_or(*draft.name));
  if (Sources::hasControls(key.second)) {
    refuse(set, "the name " + shownText(key.second), "a name without control characters");
  }
  if (reading.snapshot.acls.size() == reading.limits.acls) {
    refuse(set, "more ACLs", "at most " + std::to_string(reading.limits.acls) + " in the document");
  }
  if (!reading.listKeys.emplace(*draft.type, *draft.name).second ||
      reading.snapshot.acls.contains(key)) {
    refuse(set, "a second ACL " + shownText(key.second) + " of its type",
           "each name once for a type");
  }
  if (draft.entries) {
    readList(draft.entries, [&](const Ref& element) { readEntry(reading, element, draft); });
  }
  reading.snapshot.acls.emplace(std::move(key), std::move(draft.acl));
}

template <bool DataPlane::*field>
void readSupport(Reading& reading, const Ref& leaf) {
  reading.snapshot.dataPlane.*field = readBoolean(leaf);
}

constexpr std::array kDataPlane = {
    DocumentMember{"acl-supported", readSupport<&DataPlane::acl>},
    DocumentMember{"logging-supported", readSupport<&DataPlane::logging>},
    DocumentMember{"counters-supported", readSupport<&DataPlane::counters>},
    DocumentMember{"router-acl-supported", readSupport<&DataPlane::routerAcl>},
};
constexpr std::array kSets = {
    DocumentMember{"acl-set",
                   [](Reading& reading, const Ref& list) {
                     readList(list, [&](const Ref& set) { readSet(reading, set); });
                   }},
};
constexpr std::array kAcl = {
    DocumentMember{"config", nullptr},
    DocumentMember{"state", nullptr},
    DocumentMember{"interfaces", nullptr},
    DocumentMember{"acl-sets", [](Reading& r, const Ref& sets) { readMembers(kSets, r, sets); }},
    DocumentMember{"zorlen-acl-ext:data-plane",
                   [](Reading& r, const Ref& flags) { readMembers(kDataPlane, r, flags); }},
};

void readAcl(Reading& reading, const Ref& acl) {
  reading.found = true;
  readMembers(kAcl, reading, acl);
}

constexpr std::array kTop = {DocumentMember{"acl", readAcl}};

// What RESTCONF and some clients put around the data.
void readData(Reading& reading, const Ref& data) { readMembers(kTop, reading, data); }

constexpr std::array kDocument = {
    DocumentMember{"acl", readAcl},
    DocumentMember{"data", readData},
    DocumentMember{kRestconfData, readData},
};

}  // namespace

Parsed parse(std::string_view text, const Limits& limits, std::stop_token stop) {
  // The tree counts octets in 32 bits.
  constexpr size_t kMostOctets = 0xFFFFFFFF;
  if (const size_t most = std::min(limits.octets, kMostOctets); text.size() > most) {
    return DocumentError{0, 0, "", "more than " + std::to_string(most) + " octets",
                         "a smaller document"};
  }
  try {
    const Tree tree(text, limits, stop);
    Reading reading{{}, limits, stop, 0, {}, false};
    readMembers(kDocument, reading, tree.root());
    if (!reading.found) {
      refuse(tree.root(), "no member openconfig-acl:acl", "an OpenConfig ACL document");
    }
    return std::move(reading.snapshot);
  } catch (Refused& refused) {
    return std::move(refused.error);
  }
}

std::variant<Snapshot, std::string> parseFile(std::string_view text, std::string_view file,
                                              const Limits& limits, std::stop_token stop) {
  Parsed parsed = parse(text, limits, std::move(stop));
  if (const auto* error = std::get_if<DocumentError>(&parsed)) return error->text(file);
  return std::get<Snapshot>(std::move(parsed));
}

}  // namespace OpenConfig
